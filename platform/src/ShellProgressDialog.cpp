#include "ShellProgressDialog.h"

#include <string>

namespace Lumeno::Shell {

namespace {

// UTF-8 to UTF-16 in a WCHAR buffer (the wide string types of the C++ library are not used in
// Win32 code: some Windows builds make wchar_t 16 bits, some 32).
std::basic_string<WCHAR> utf16(const std::string& text)
{
    const int n = MultiByteToWideChar(CP_UTF8, 0, text.c_str(), -1, nullptr, 0);
    std::basic_string<WCHAR> out(static_cast<std::size_t>(n > 0 ? n : 1), 0);
    if (n > 0) {
        MultiByteToWideChar(CP_UTF8, 0, text.c_str(), -1, &out[0], n);
    }
    return out;
}

} // namespace

CShellProgressDialog::CShellProgressDialog()
{
    if (FAILED(CoCreateInstance(CLSID_ProgressDialog, nullptr, CLSCTX_INPROC_SERVER, IID_IProgressDialog,
                                reinterpret_cast<void**>(&dialog_)))) {
        dialog_ = nullptr;
    }
}

CShellProgressDialog::~CShellProgressDialog()
{
    if (dialog_ != nullptr) {
        dialog_->StopProgressDialog();
        dialog_->Release();
    }
    if (shell32_ != nullptr) {
        FreeLibrary(shell32_);
    }
}

void CShellProgressDialog::setTitle(const std::string& title)
{
    if (dialog_ != nullptr) {
        dialog_->SetTitle(utf16(title).c_str());
    }
}

void CShellProgressDialog::showProgressBar(bool show)
{
    flags_ = show ? (flags_ & ~static_cast<DWORD>(PROGDLG_NOPROGRESSBAR)) : (flags_ | PROGDLG_NOPROGRESSBAR);
}

void CShellProgressDialog::setAnimation(int clip)
{
    if (dialog_ == nullptr) {
        return;
    }
    if (shell32_ == nullptr) {
        char folder[MAX_PATH] = {};
        const UINT n = GetSystemDirectoryA(folder, MAX_PATH);
        if (n == 0 || n >= MAX_PATH) {
            return;
        }
        shell32_ = LoadLibraryExA((std::string(folder) + "\\Shell32.dll").c_str(), nullptr, LOAD_LIBRARY_AS_DATAFILE);
    }
    if (shell32_ != nullptr) {
        dialog_->SetAnimation(shell32_, static_cast<UINT>(clip));
    }
}

bool CShellProgressDialog::start(std::uintptr_t parentWindow)
{
    if (dialog_ == nullptr) {
        return false;
    }
    return SUCCEEDED(dialog_->StartProgressDialog(reinterpret_cast<HWND>(parentWindow), nullptr, flags_, nullptr));
}

void CShellProgressDialog::stop()
{
    if (dialog_ != nullptr) {
        dialog_->StopProgressDialog();
    }
}

bool CShellProgressDialog::hasUserCancelled()
{
    return dialog_ != nullptr && dialog_->HasUserCancelled() != FALSE;
}

void CShellProgressDialog::setProgress(std::uint32_t completed, std::uint32_t total)
{
    if (dialog_ != nullptr) {
        dialog_->SetProgress(completed, total);
    }
}

void CShellProgressDialog::setLine(int line, const std::string& text)
{
    if (dialog_ != nullptr) {
        dialog_->SetLine(static_cast<DWORD>(line), utf16(text).c_str(), FALSE, nullptr);
    }
}

} // namespace Lumeno::Shell
