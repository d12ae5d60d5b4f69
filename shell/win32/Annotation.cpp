#include "Annotation.h"

#include "IptcPage.h"
#include "Server.h"
#include "resource.h"

#include <Lumeno/Commands/Annotation.h>
#include <Lumeno/Commands/Command.h>
#include <Lumeno/UI/Settings.h>

#include <commctrl.h>
#include <prsht.h>

#include <cstring>
#include <functional>
#include <memory>

namespace Lumeno::Shell {

namespace {

Commands::AnnotateOptions annotateOptions()
{
    Commands::AnnotateOptions options;
    try {
        options.backup = UI::Settings().getCreateBackup();
    } catch (...) {
        // Unreadable settings: no backup, the default.
    }
    return options;
}

// An annotation that changes each selected file, run as the other per-file commands are: under
// the progress dialog, a failing file reported by a beep, the next one going on.
class CommandEachFile final : public Commands::CommandBase {
public:
    CommandEachFile(const char* title, std::function<void(const std::string&)> work, std::uint32_t count, HWND window)
        : CommandBase(count, reinterpret_cast<std::uintptr_t>(window)), work_(std::move(work))
    {
        startProgress(title, FileCopyAnimation);
    }

protected:
    void finishFile(const std::string& path, std::unique_ptr<Prepared>) override { work_(path); }

private:
    std::function<void(const std::string&)> work_;
};

HRESULT eachFile(const char* title, const std::vector<std::string>& files, HWND window,
                 std::function<void(const std::string&)> work)
{
    CommandEachFile command(title, std::move(work), static_cast<std::uint32_t>(files.size()), window);
    // One after another: they are small rewrites, and a paste must not race a cut of the same file.
    command.runFiles(files, 1);
    return command.failures() == 0 ? S_OK : S_FALSE;
}

void failed()
{
    try {
        if (UI::Settings().getEnableMessageBeeps()) {
            MessageBeep(0xFFFFFFFF);
        }
    } catch (...) {
    }
}

// ---- The clipboard -------------------------------------------------------------------------------

// A window of our own for the clipboard while the shell gave none: a clipboard opened without a
// window has no owner once emptied, and then takes no data.
class ClipboardWindow {
public:
    explicit ClipboardWindow(HWND given)
        : window_(given != nullptr ? given
                                   : CreateWindowExW(0, toUtf16("STATIC").c_str(), nullptr, 0, 0, 0, 0, 0, HWND_MESSAGE,
                                                     nullptr, moduleHandle(), nullptr)),
          own_(given == nullptr && window_ != nullptr)
    {
    }
    ~ClipboardWindow()
    {
        if (own_) {
            DestroyWindow(window_);
        }
    }
    ClipboardWindow(const ClipboardWindow&) = delete;
    ClipboardWindow& operator=(const ClipboardWindow&) = delete;
    HWND get() const { return window_; }

private:
    HWND window_;
    bool own_;
};

bool putOnClipboard(HWND window, const std::vector<std::uint8_t>& block)
{
    HGLOBAL memory = GlobalAlloc(GMEM_MOVEABLE | GMEM_ZEROINIT, block.size());
    if (memory == nullptr) {
        return false;
    }
    void* bytes = GlobalLock(memory);
    if (bytes == nullptr) {
        GlobalFree(memory);
        return false;
    }
    std::memcpy(bytes, block.data(), block.size());
    GlobalUnlock(memory);
    const ClipboardWindow owner(window);
    if (owner.get() == nullptr || !OpenClipboard(owner.get())) {
        GlobalFree(memory);
        return false;
    }
    EmptyClipboard();
    const bool put = SetClipboardData(rawIptcClipboardFormat(), memory) != nullptr;
    CloseClipboard();
    if (!put) {
        GlobalFree(memory);
    }
    return put;
}

bool takeFromClipboard(HWND window, std::vector<std::uint8_t>& block)
{
    if (!OpenClipboard(window)) {
        return false;
    }
    bool taken = false;
    if (HANDLE memory = GetClipboardData(rawIptcClipboardFormat())) {
        const SIZE_T size = GlobalSize(memory);
        if (size <= Commands::MaxRawIptcSize) {
            if (const void* bytes = GlobalLock(memory)) {
                block.assign(static_cast<const std::uint8_t*>(bytes), static_cast<const std::uint8_t*>(bytes) + size);
                GlobalUnlock(memory);
                taken = true;
            }
        }
    }
    CloseClipboard();
    return taken;
}

// Copies the file's record; false (nothing copied) when it has none or cannot be read.
bool copyRecord(const std::string& file, HWND window)
{
    std::vector<std::uint8_t> block;
    try {
        block = Commands::rawIptcOf(file);
    } catch (const std::exception&) {
        return false;
    }
    return !block.empty() && putOnClipboard(window, block);
}

// ---- The template's name -------------------------------------------------------------------------

struct NameDialog {
    std::string name;
};

INT_PTR CALLBACK nameProc(HWND dialog, UINT message, WPARAM wParam, LPARAM lParam)
{
    auto* state = reinterpret_cast<NameDialog*>(GetWindowLongPtrW(dialog, DWLP_USER));
    switch (message) {
    case WM_INITDIALOG:
        SetWindowLongPtrW(dialog, DWLP_USER, lParam);
        SendDlgItemMessageW(dialog, IDC_TEMPLATE_NAME, EM_LIMITTEXT, Commands::AnnotationTemplates::MaxNameLength, 0);
        return TRUE;
    case WM_COMMAND:
        if (LOWORD(wParam) == IDOK && state != nullptr) {
            WCHAR text[Commands::AnnotationTemplates::MaxNameLength + 1] = {};
            GetDlgItemTextW(dialog, IDC_TEMPLATE_NAME, text, static_cast<int>(Commands::AnnotationTemplates::MaxNameLength + 1));
            const std::string name = toUtf8(text);
            const std::string why = Commands::AnnotationTemplates::whyNotAName(name);
            if (!why.empty()) {
                SetDlgItemTextW(dialog, IDC_STATUS, toUtf16(why).c_str());
                SetFocus(GetDlgItem(dialog, IDC_TEMPLATE_NAME));
                return TRUE;
            }
            state->name = name;
            EndDialog(dialog, IDOK);
            return TRUE;
        }
        if (LOWORD(wParam) == IDCANCEL) {
            EndDialog(dialog, IDCANCEL);
            return TRUE;
        }
        break;
    default:
        break;
    }
    return FALSE;
}

HRESULT createTemplate(const std::string& file, HWND window)
{
    std::string name;
    if (!askTemplateName(window, name)) {
        return S_FALSE; // cancelled
    }
    try {
        const std::unique_ptr<UI::SettingsStore> store = UI::userSettingsStore();
        Commands::AnnotationTemplates(*store).createFromFile(name, file);
        return S_OK;
    } catch (const std::exception&) {
        failed();
        return E_FAIL;
    }
}

} // namespace

bool askTemplateName(HWND owner, std::string& name)
{
    NameDialog state;
    if (DialogBoxParamW(moduleHandle(), MAKEINTRESOURCEW(IDD_TEMPLATE_NAME), owner, nameProc,
                        reinterpret_cast<LPARAM>(&state)) != IDOK) {
        return false;
    }
    name = state.name;
    return true;
}

namespace {

// ---- The editor ----------------------------------------------------------------------------------

struct EditorPage {
    std::vector<std::string> files;
    std::unique_ptr<IptcPage> page;
};

INT_PTR CALLBACK editorProc(HWND dialog, UINT message, WPARAM wParam, LPARAM lParam)
{
    try {
        if (message == WM_INITDIALOG) {
            auto* state = reinterpret_cast<EditorPage*>(reinterpret_cast<PROPSHEETPAGEW*>(lParam)->lParam);
            SetWindowLongPtrW(dialog, DWLP_USER, reinterpret_cast<LONG_PTR>(state));
            state->page = std::make_unique<IptcPage>(dialog, state->files);
            return TRUE;
        }
        auto* state = reinterpret_cast<EditorPage*>(GetWindowLongPtrW(dialog, DWLP_USER));
        if (state != nullptr && state->page) {
            return state->page->message(message, wParam, lParam);
        }
    } catch (...) {
    }
    return FALSE;
}

// The metadata editor: the IPTC page of the selection in a sheet of its own, modal.
HRESULT edit(const std::vector<std::string>& files, HWND window)
{
    EditorPage state{files, nullptr};
    PROPSHEETPAGEW page = {};
    page.dwSize = sizeof page;
    page.hInstance = moduleHandle();
    page.pszTemplate = MAKEINTRESOURCEW(IDD_IPTC_PAGE);
    page.pfnDlgProc = editorProc;
    page.lParam = reinterpret_cast<LPARAM>(&state);
    const std::basic_string<WCHAR> caption = toUtf16(files.size() == 1 ? "Edit metadata" : "Edit metadata of " +
                                                                                              std::to_string(files.size()) + " pictures");
    PROPSHEETHEADERW header = {};
    header.dwSize = sizeof header;
    header.dwFlags = PSH_PROPSHEETPAGE | PSH_NOAPPLYNOW;
    header.hwndParent = window;
    header.hInstance = moduleHandle();
    header.pszCaption = caption.c_str();
    header.nPages = 1;
    header.ppsp = &page;
    PropertySheetW(&header);
    return S_OK;
}

} // namespace

std::vector<std::string> templateNames()
{
    try {
        const std::unique_ptr<UI::SettingsStore> store = UI::userSettingsStore();
        return Commands::AnnotationTemplates(*store).names();
    } catch (...) {
        return {};
    }
}

HRESULT runAnnotation(const MenuItem& item, const std::vector<std::string>& files, HWND window)
{
    if (files.empty()) {
        return E_INVALIDARG;
    }
    const Commands::AnnotateOptions options = annotateOptions();
    switch (item.command) {
    case MenuCommand::AnnotateAdd:
        return edit(files, window);
    case MenuCommand::AnnotateRemove:
        return eachFile("Removing IPTC information...", files, window,
                        [&](const std::string& file) { Commands::removeIptc(file, options); });
    case MenuCommand::AnnotateCopy:
        if (!copyRecord(files.front(), window)) {
            failed();
            return E_FAIL;
        }
        return S_OK;
    case MenuCommand::AnnotateCut:
        if (!copyRecord(files.front(), window)) {
            failed();
            return E_FAIL;
        }
        return eachFile("Removing IPTC information...", {files.front()}, window,
                        [&](const std::string& file) { Commands::removeIptc(file, options); });
    case MenuCommand::AnnotatePaste: {
        std::vector<std::uint8_t> block;
        try {
            // A damaged block touches no file; nor does an empty one (another program's), which
            // would take every selected picture's record away.
            if (!takeFromClipboard(window, block) || Commands::parseRawIptc(block).empty()) {
                throw std::invalid_argument("nothing to paste");
            }
        } catch (const std::exception&) {
            failed();
            return E_FAIL;
        }
        return eachFile("Pasting IPTC information...", files, window,
                        [&](const std::string& file) { Commands::pasteRawIptc(file, block, options); });
    }
    case MenuCommand::AnnotateCreateTemplate:
        return createTemplate(files.front(), window);
    case MenuCommand::AnnotateApplyTemplate: {
        const std::unique_ptr<UI::SettingsStore> store = UI::userSettingsStore();
        const Commands::AnnotationTemplates templates(*store);
        return eachFile("Applying template...", files, window,
                        [&](const std::string& file) { templates.applyTo(item.templateName, file, options); });
    }
    case MenuCommand::AnnotateRemoveTemplate:
        try {
            const std::unique_ptr<UI::SettingsStore> store = UI::userSettingsStore();
            Commands::AnnotationTemplates(*store).remove(item.templateName);
            return S_OK;
        } catch (const std::exception&) {
            failed();
            return E_FAIL;
        }
    default:
        return E_NOTIMPL;
    }
}

} // namespace Lumeno::Shell
