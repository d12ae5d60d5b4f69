#include "SlideShowCD.h"

#include "Server.h"
#include "resource.h"

#include <Lumeno/Commands/SlideShowCD.h>
#include <Lumeno/Platform/Services.h>
#include <Lumeno/UI/Settings.h>

#include <charconv>
#include <filesystem>

namespace Lumeno::Shell {

namespace {

struct DialogState {
    Commands::SlideShowCDOptions options;
    // What the dialog showed, to store only what the user changed.
    Commands::SlideShowCDOptions shown;
    // The viewer program is installed beside the server: only then can it go on the CD.
    bool viewerInstalled = false;
};

bool numberIn(const std::string& text, unsigned least, unsigned most, unsigned& value)
{
    const char* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, value);
    return error == std::errc() && stop == end && !text.empty() && value >= least && value <= most;
}

void enablePdfFields(HWND dialog)
{
    const bool pdf = IsDlgButtonChecked(dialog, IDC_CD_PDF) == BST_CHECKED;
    for (int id : {IDC_CD_QUALITY, IDC_CD_WIDTH, IDC_CD_HEIGHT, IDC_CD_ORIGINALS, IDC_CD_AUTORUN_PDF}) {
        EnableWindow(GetDlgItem(dialog, id), pdf);
    }
}

void browse(HWND dialog)
{
    const std::basic_string<WCHAR> title = toUtf16("The folder for the slide-show CD");
    BROWSEINFOW info = {};
    info.hwndOwner = dialog;
    info.lpszTitle = title.c_str();
    info.ulFlags = BIF_RETURNONLYFSDIRS | BIF_NEWDIALOGSTYLE;
    if (PIDLIST_ABSOLUTE chosen = SHBrowseForFolderW(&info)) {
        WCHAR path[MAX_PATH] = {};
        if (SHGetPathFromIDListW(chosen, path)) {
            SetDlgItemTextW(dialog, IDC_CD_FOLDER, path);
        }
        CoTaskMemFree(chosen);
    }
}

// Takes the dialog's values; false (the field focused, "Invalid Value!" said) when one is not.
bool take(HWND dialog, DialogState& state)
{
    Commands::SlideShowCDOptions& o = state.options;
    o.folder = windowText(dialog, IDC_CD_FOLDER);
    o.pdf = IsDlgButtonChecked(dialog, IDC_CD_PDF) == BST_CHECKED;
    o.originals = IsDlgButtonChecked(dialog, IDC_CD_ORIGINALS) == BST_CHECKED;
    o.autorunPdf = IsDlgButtonChecked(dialog, IDC_CD_AUTORUN_PDF) == BST_CHECKED;
    o.viewer = state.viewerInstalled && IsDlgButtonChecked(dialog, IDC_CD_VIEWER) == BST_CHECKED;
    struct Check {
        int id;
        unsigned least, most;
        unsigned* value;
    };
    const Check checks[] = {{IDC_CD_QUALITY, 1, 100, &o.quality},
                            {IDC_CD_WIDTH, 16, 16384, &o.width},
                            {IDC_CD_HEIGHT, 16, 16384, &o.height}};
    int bad = o.folder.empty() ? IDC_CD_FOLDER : 0;
    for (const Check& check : checks) {
        if (bad == 0 && o.pdf && !numberIn(windowText(dialog, check.id), check.least, check.most, *check.value)) {
            bad = check.id;
        }
    }
    if (bad != 0) {
        MessageBoxW(dialog, toUtf16("Invalid Value!").c_str(), toUtf16("Lumeno").c_str(), MB_OK | MB_ICONEXCLAMATION);
        SetFocus(GetDlgItem(dialog, bad));
        SendDlgItemMessageW(dialog, bad, EM_SETSEL, 0, -1);
        return false;
    }
    return true;
}

INT_PTR CALLBACK dialogProc(HWND dialog, UINT message, WPARAM wParam, LPARAM lParam)
{
    auto* state = reinterpret_cast<DialogState*>(GetWindowLongPtrW(dialog, DWLP_USER));
    try {
        switch (message) {
        case WM_INITDIALOG: {
            SetWindowLongPtrW(dialog, DWLP_USER, lParam);
            const auto* shownState = reinterpret_cast<DialogState*>(lParam);
            const auto& o = shownState->shown;
            SetDlgItemTextW(dialog, IDC_CD_FOLDER, toUtf16(o.folder).c_str());
            CheckDlgButton(dialog, IDC_CD_PDF, o.pdf ? BST_CHECKED : BST_UNCHECKED);
            SetDlgItemInt(dialog, IDC_CD_QUALITY, o.quality, FALSE);
            SetDlgItemInt(dialog, IDC_CD_WIDTH, o.width, FALSE);
            SetDlgItemInt(dialog, IDC_CD_HEIGHT, o.height, FALSE);
            CheckDlgButton(dialog, IDC_CD_ORIGINALS, o.originals ? BST_CHECKED : BST_UNCHECKED);
            CheckDlgButton(dialog, IDC_CD_AUTORUN_PDF, o.autorunPdf ? BST_CHECKED : BST_UNCHECKED);
            // Without the program the box cannot be ticked: o.viewer is off then.
            CheckDlgButton(dialog, IDC_CD_VIEWER, o.viewer ? BST_CHECKED : BST_UNCHECKED);
            EnableWindow(GetDlgItem(dialog, IDC_CD_VIEWER), shownState->viewerInstalled);
            enablePdfFields(dialog);
            return TRUE;
        }
        case WM_COMMAND:
            switch (LOWORD(wParam)) {
            case IDC_CD_PDF:
                enablePdfFields(dialog);
                return TRUE;
            case IDC_CD_BROWSE:
                browse(dialog);
                return TRUE;
            case IDOK:
                if (state != nullptr && take(dialog, *state)) {
                    EndDialog(dialog, IDOK);
                }
                return TRUE;
            case IDCANCEL:
                EndDialog(dialog, IDCANCEL);
                return TRUE;
            default:
                break;
            }
            break;
        default:
            break;
        }
    } catch (...) {
        // Nothing may leave a dialog procedure.
    }
    return FALSE;
}

// The values the user changed, kept for the next time; the others stay as they were stored
// (or unstored, their defaults).
void remember(const DialogState& state)
{
    UI::Settings settings;
    UI::SettingsAccessor& store = settings.accessor();
    const Commands::SlideShowCDOptions& now = state.options;
    const Commands::SlideShowCDOptions& before = state.shown;
    auto number = [&](UI::Setting id, unsigned value, unsigned old) {
        if (value != old) {
            store.writeNumber(UI::settingInfo(id).section, UI::settingInfo(id).name, value);
        }
    };
    if (now.folder != before.folder) {
        store.writeText(UI::settingInfo(UI::Setting::SlideshowFolder).section,
                        UI::settingInfo(UI::Setting::SlideshowFolder).name, now.folder);
    }
    number(UI::Setting::EnablePDF, now.pdf, before.pdf);
    number(UI::Setting::PDFImageUseOriginal, now.originals, before.originals);
    number(UI::Setting::AutorunPDF, now.autorunPdf, before.autorunPdf);
    // A grey box (no viewer installed) shows nothing of EnableLumeno, which is then left alone.
    if (state.viewerInstalled) {
        number(UI::Setting::EnableLumeno, now.viewer, before.viewer);
    }
    if (now.pdf) {
        number(UI::Setting::PDFImageQuality, now.quality, before.quality);
        number(UI::Setting::PDFImageWidth, now.width, before.width);
        number(UI::Setting::PDFImageHeight, now.height, before.height);
    }
}

} // namespace

HRESULT createSlideShowCD(const std::vector<std::string>& files, HWND owner)
{
    DialogState state;
    try {
        state.shown = Commands::SlideShowCDOptions::fromSettings(UI::Settings());
    } catch (...) {
        // Unreadable settings: their defaults.
    }
    state.options = state.shown;
    std::error_code ec;
    state.viewerInstalled = std::filesystem::is_regular_file(std::filesystem::u8path(state.shown.viewerProgram), ec);
    if (DialogBoxParamW(moduleHandle(), MAKEINTRESOURCEW(IDD_SLIDESHOW_CD), owner, dialogProc,
                        reinterpret_cast<LPARAM>(&state)) != IDOK) {
        return S_FALSE; // cancelled
    }
    try {
        remember(state);
    } catch (...) {
        // Not remembered: the slide show is still made.
    }
    std::unique_ptr<Platform::ProgressDisplay> progress = Platform::services().makeProgressDisplay();
    progress->setTitle("Creating slide show...");
    progress->showProgressBar(true);
    progress->setAnimation(161);
    progress->start(reinterpret_cast<std::uintptr_t>(owner));
    state.options.progress = [&](std::size_t done, std::size_t total) {
        if (progress->hasUserCancelled()) {
            return false;
        }
        char line[64];
        wsprintfA(line, "%u of %u files...", static_cast<unsigned>(done + 1), static_cast<unsigned>(total));
        progress->setLine(2, line);
        progress->setProgress(static_cast<std::uint32_t>(done), static_cast<std::uint32_t>(total));
        return true;
    };
    HRESULT result = S_OK;
    try {
        const Commands::SlideShowCDResult written = Commands::writeSlideShowCD(files, state.options);
        result = written.failures.empty() && !written.cancelled ? S_OK : S_FALSE;
    } catch (const std::exception&) {
        result = E_FAIL;
    }
    progress->stop();
    if (result != S_OK) {
        try {
            if (UI::Settings().getEnableMessageBeeps()) {
                Platform::services().beep();
            }
        } catch (...) {
        }
    }
    return result;
}

} // namespace Lumeno::Shell
