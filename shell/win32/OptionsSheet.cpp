// The "Lumeno Settings" sheet: a page per group of settings, each field laid out from the
// portable table (Options.h) and bound to its setting. A field shows the stored value or its
// default; Apply checks every field of the page first ("Invalid Value!", the field focused) and
// then stores the fields the user changed, and only those.
#include "OptionsSheet.h"

#include "Server.h"
#include "resource.h"

#include <Lumeno/Shell/Options.h>
#include <Lumeno/UI/Settings.h>

#include <commctrl.h>
#include <commdlg.h>
#include <prsht.h>

#include <memory>

namespace Lumeno::Shell {

namespace {

struct PageState {
    const OptionsPage* page;
    int index;
    std::vector<std::string> shown; // each field's text when the page opened
};

// A field's value as the table's rules read it: check boxes "0" or "1", the rest as typed.
std::string fieldText(HWND dialog, std::size_t index, const OptionField& field)
{
    HWND control = GetDlgItem(dialog, IDC_OPTION_FIRST + static_cast<int>(index));
    if (field.control == OptionControl::Check) {
        return SendMessageW(control, BM_GETCHECK, 0, 0) == BST_CHECKED ? "1" : "0";
    }
    return windowText(control);
}

HWND make(HWND dialog, const char* className, const std::string& text, DWORD style, RECT r, int id)
{
    MapDialogRect(dialog, &r);
    HWND control = CreateWindowExW(0, toUtf16(className).c_str(), toUtf16(text).c_str(), WS_CHILD | WS_VISIBLE | style,
                                   r.left, r.top, r.right - r.left, r.bottom - r.top, dialog,
                                   reinterpret_cast<HMENU>(static_cast<INT_PTR>(id)), moduleHandle(), nullptr);
    SendMessageW(control, WM_SETFONT, SendMessageW(dialog, WM_GETFONT, 0, 0), TRUE);
    return control;
}

// The page's fields, a row each, from the settings as they stand.
void layOut(HWND dialog, PageState& state)
{
    const UI::Settings settings;
    int y = 7;
    for (std::size_t i = 0; i < state.page->fields.size(); ++i) {
        const OptionField& field = state.page->fields[i];
        const int id = IDC_OPTION_FIRST + static_cast<int>(i);
        const std::string text = optionText(settings, field);
        state.shown.push_back(field.control == OptionControl::Check ? (text == "1" ? "1" : "0") : text);
        if (field.control == OptionControl::Check) {
            HWND box = make(dialog, "BUTTON", field.label, BS_AUTOCHECKBOX | WS_TABSTOP, {7, y, 220, y + 12}, id);
            SendMessageW(box, BM_SETCHECK, text == "1" ? BST_CHECKED : BST_UNCHECKED, 0);
            y += 16;
            continue;
        }
        make(dialog, "STATIC", field.label, SS_LEFT, {7, y + 2, 97, y + 12}, -1);
        if (field.control == OptionControl::Choice) {
            HWND list = make(dialog, "COMBOBOX", "", CBS_DROPDOWNLIST | WS_VSCROLL | WS_TABSTOP, {100, y, 220, y + 90}, id);
            for (const char* choice : field.choices) {
                SendMessageW(list, CB_ADDSTRING, 0, reinterpret_cast<LPARAM>(toUtf16(choice).c_str()));
            }
            SendMessageW(list, CB_SELECTSTRING, static_cast<WPARAM>(-1), reinterpret_cast<LPARAM>(toUtf16(text).c_str()));
        } else {
            const bool picker = field.control == OptionControl::Colour || field.control == OptionControl::Font;
            make(dialog, "EDIT", text, WS_BORDER | ES_AUTOHSCROLL | WS_TABSTOP, {100, y, picker ? 198 : 220, y + 12}, id);
            if (picker) {
                make(dialog, "BUTTON", "...", BS_PUSHBUTTON | WS_TABSTOP, {201, y, 220, y + 12},
                     IDC_OPTION_BUTTON + static_cast<int>(i));
            }
        }
        y += 16;
    }
}

// The system's colour or font dialog for a field, its answer typed into the field.
void pick(HWND dialog, std::size_t index, const OptionField& field)
{
    HWND edit = GetDlgItem(dialog, IDC_OPTION_FIRST + static_cast<int>(index));
    if (field.control == OptionControl::Colour) {
        static COLORREF custom[16] = {};
        CHOOSECOLORW choose = {};
        choose.lStructSize = sizeof choose;
        choose.hwndOwner = dialog;
        choose.lpCustColors = custom;
        choose.Flags = CC_FULLOPEN;
        if (ChooseColorW(&choose)) {
            char text[16];
            // 0xRRGGBB, as people name colours; COLORREF holds 0x00BBGGRR.
            wsprintfA(text, "0x%02X%02X%02X", GetRValue(choose.rgbResult), GetGValue(choose.rgbResult),
                      GetBValue(choose.rgbResult));
            SetWindowTextW(edit, toUtf16(text).c_str());
        }
        return;
    }
    LOGFONTW font = {};
    CHOOSEFONTW choose = {};
    choose.lStructSize = sizeof choose;
    choose.hwndOwner = dialog;
    choose.lpLogFont = &font;
    choose.Flags = CF_SCREENFONTS;
    if (ChooseFontW(&choose)) {
        const std::string text = toUtf8(font.lfFaceName) + ", " + std::to_string(choose.iPointSize / 10) + " pt";
        SetWindowTextW(edit, toUtf16(text).c_str());
    }
}

// Checks every field of the page, then stores the changed ones. False (the field focused) when a
// field holds a value it does not take.
bool apply(HWND dialog, PageState& state)
{
    const std::vector<OptionField>& fields = state.page->fields;
    if (state.shown.size() != fields.size()) {
        return true; // the page could not be laid out: nothing on it to store
    }
    // Only what the user changed is checked: a stored value out of the page's bounds (set by the
    // tool) does not keep the sheet from closing.
    for (std::size_t i = 0; i < fields.size(); ++i) {
        const std::string text = fieldText(dialog, i, fields[i]);
        if (text != state.shown[i] && !optionAccepted(fields[i], text)) {
            MessageBoxW(GetParent(dialog), toUtf16("Invalid Value!").c_str(), toUtf16("Lumeno").c_str(),
                        MB_OK | MB_ICONEXCLAMATION);
            HWND control = GetDlgItem(dialog, IDC_OPTION_FIRST + static_cast<int>(i));
            SetFocus(control);
            SendMessageW(control, EM_SETSEL, 0, -1);
            return false;
        }
    }
    UI::Settings settings;
    bool stored = true;
    for (std::size_t i = 0; i < fields.size(); ++i) {
        const std::string text = fieldText(dialog, i, fields[i]);
        if (text == state.shown[i]) {
            continue;
        }
        if (storeOption(settings, fields[i], text)) {
            state.shown[i] = text;
        } else {
            stored = false; // the store could not write: the sheet stays open
        }
    }
    // The sheet opens again where the user left it; the first page is the default, not written.
    const UI::SettingInfo& last = UI::settingInfo(UI::Setting::LastPage);
    const HWND sheet = GetParent(dialog);
    const LRESULT current =
        SendMessageW(sheet, PSM_HWNDTOINDEX, static_cast<WPARAM>(SendMessageW(sheet, PSM_GETCURRENTPAGEHWND, 0, 0)), 0);
    bool found = false;
    const std::uint32_t before = settings.number(UI::Setting::LastPage, &found);
    if (current == 0 && found) {
        settings.accessor().remove(last.section, last.name);
    }
    if (current > 0 && static_cast<std::uint32_t>(current) != before) {
        settings.accessor().writeNumber(last.section, last.name, static_cast<std::uint32_t>(current));
    }
    return stored;
}

INT_PTR CALLBACK pageProc(HWND dialog, UINT message, WPARAM wParam, LPARAM lParam)
{
    try {
        if (message == WM_INITDIALOG) {
            auto* state = reinterpret_cast<PageState*>(reinterpret_cast<PROPSHEETPAGEW*>(lParam)->lParam);
            SetWindowLongPtrW(dialog, DWLP_USER, reinterpret_cast<LONG_PTR>(state));
            layOut(dialog, *state);
            return TRUE;
        }
        auto* state = reinterpret_cast<PageState*>(GetWindowLongPtrW(dialog, DWLP_USER));
        if (state == nullptr) {
            return FALSE;
        }
        if (message == WM_COMMAND) {
            const int id = LOWORD(wParam);
            const std::size_t count = state->page->fields.size();
            if (id >= IDC_OPTION_BUTTON && id < IDC_OPTION_BUTTON + static_cast<int>(count)) {
                const auto index = static_cast<std::size_t>(id - IDC_OPTION_BUTTON);
                pick(dialog, index, state->page->fields[index]);
                return TRUE;
            }
            const WORD code = HIWORD(wParam);
            if (id >= IDC_OPTION_FIRST && id < IDC_OPTION_FIRST + static_cast<int>(count) &&
                (code == EN_CHANGE || code == BN_CLICKED || code == CBN_SELCHANGE)) {
                PropSheet_Changed(GetParent(dialog), dialog);
                return TRUE;
            }
        }
        if (message == WM_NOTIFY && lParam != 0 && reinterpret_cast<NMHDR*>(lParam)->code == static_cast<UINT>(PSN_APPLY)) {
            SetWindowLongPtrW(dialog, DWLP_MSGRESULT, apply(dialog, *state) ? PSNRET_NOERROR : PSNRET_INVALID_NOCHANGEPAGE);
            return TRUE;
        }
    } catch (...) {
        // A page never lets an exception into the system's dialog code.
    }
    return FALSE;
}

} // namespace

HRESULT showOptions(HWND owner)
{
    const std::vector<OptionsPage>& pages = optionsPages();
    std::vector<PageState> states;
    states.reserve(pages.size());
    std::vector<std::basic_string<WCHAR>> titles;
    titles.reserve(pages.size());
    std::vector<PROPSHEETPAGEW> sheetPages(pages.size());
    for (std::size_t i = 0; i < pages.size(); ++i) {
        states.push_back({&pages[i], static_cast<int>(i), {}});
        titles.push_back(toUtf16(pages[i].title));
        PROPSHEETPAGEW& page = sheetPages[i];
        page.dwSize = sizeof page;
        page.dwFlags = PSP_USETITLE;
        page.hInstance = moduleHandle();
        page.pszTemplate = MAKEINTRESOURCEW(IDD_OPTIONS_PAGE);
        page.pfnDlgProc = pageProc;
        page.pszTitle = titles.back().c_str();
        page.lParam = reinterpret_cast<LPARAM>(&states.back());
    }
    std::uint32_t last = 0;
    try {
        last = UI::Settings().getLastPage();
    } catch (...) {
    }
    const std::basic_string<WCHAR> caption = toUtf16("Lumeno Settings");
    PROPSHEETHEADERW header = {};
    header.dwSize = sizeof header;
    header.dwFlags = PSH_PROPSHEETPAGE | PSH_NOCONTEXTHELP;
    header.hwndParent = owner;
    header.hInstance = moduleHandle();
    header.pszCaption = caption.c_str();
    header.nPages = static_cast<UINT>(sheetPages.size());
    header.nStartPage = last < pages.size() ? last : 0;
    header.ppsp = sheetPages.data();
    return PropertySheetW(&header) < 0 ? E_FAIL : S_OK;
}

} // namespace Lumeno::Shell
