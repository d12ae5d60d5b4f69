// Drives the context-menu extension as the file manager does: the data object of the selected
// files (parsed names, their folder's GetUIObjectOf), Initialize, QueryContextMenu, the menu read
// back, GetCommandString, InvokeCommand.
//   menu-test check DLL FILE             the object: made plain and aggregated, its interfaces,
//                                        its answers to bad calls: "N passed, M failed"
//   menu-test menu DLL FILE...           the menu tree, one line per entry: TEXT, [grey], #OFFSET,
//                                        the verb and the help text (each asked in ANSI and in
//                                        Unicode; a difference is printed)
//   menu-test invoke DLL VERB [--answer TEXT] FILE...
//                                        runs an entry: VERB by name in ANSI, "W:VERB" in Unicode,
//                                        "#N" by offset; a leading "^" holds Ctrl down. Prints the
//                                        result code. --answer: the dialog the entry opens is
//                                        answered as a user would: TEXT typed as the template's
//                                        name, or as the caption in the metadata editor, then OK.
//   menu-test cd DLL FOLDER FILE...      "Create Lumeno slide show" run from the menu, its dialog
//                                        answered: FOLDER, a quality refused ("Invalid Value!"),
//                                        then quality 60 at 320 x 240
//   menu-test options DLL FOLDER FILE    "Options..." run from the menu: each page of the settings
//                                        sheet pictured as FOLDER/options-TITLE.bmp (a line each:
//                                        title, colours); then on the first page "abc" typed as
//                                        the thumbnails kept and applied (the message box's caption
//                                        and text, and whether the field has the focus after it,
//                                        are printed), then "500" typed and OK pressed
#include "TestHost.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>
#include <vector>
#include <commctrl.h>
#include <prsht.h>

namespace {

const char* const ContextMenuClass = "{E376AE75-7C59-4487-B40C-082CCBB4ABDE}";
constexpr UINT FirstId = 100;

// A context menu initialised with the files, or null (the reason printed).
IContextMenu3* menuFor(Module& m, const std::vector<std::string>& files)
{
    HRESULT hr = S_OK;
    IShellExtInit* init = create<IShellExtInit>(m, ContextMenuClass, IID_IShellExtInit, nullptr, &hr);
    if (init == nullptr) {
        std::printf("cannot make the context menu: 0x%08lX\n", static_cast<unsigned long>(hr));
        return nullptr;
    }
    IDataObject* data = dataObjectFor(files);
    if (data == nullptr) {
        std::printf("cannot make the data object of the files\n");
        init->Release();
        return nullptr;
    }
    hr = init->Initialize(nullptr, data, nullptr);
    data->Release();
    IContextMenu3* menu = nullptr;
    if (SUCCEEDED(hr)) {
        hr = init->QueryInterface(IID_IContextMenu3, reinterpret_cast<void**>(&menu));
    }
    init->Release();
    if (FAILED(hr)) {
        std::printf("Initialize: 0x%08lX\n", static_cast<unsigned long>(hr));
        return nullptr;
    }
    return menu;
}

std::string commandString(IContextMenu* menu, UINT offset, UINT ansi, UINT unicode)
{
    char a[512] = {};
    WCHAR w[512] = {};
    const HRESULT ha = menu->GetCommandString(offset, ansi, nullptr, a, sizeof a);
    const HRESULT hw = menu->GetCommandString(offset, unicode, nullptr, reinterpret_cast<CHAR*>(w), 512);
    if (FAILED(ha) || FAILED(hw)) {
        return "<none>";
    }
    const std::string fromUnicode = narrow(w);
    return fromUnicode == a ? fromUnicode : std::string(a) + " <ANSI and Unicode differ: " + fromUnicode + ">";
}

void printMenu(IContextMenu* owner, HMENU menu, int depth)
{
    const int count = GetMenuItemCount(menu);
    for (int i = 0; i < count; ++i) {
        WCHAR text[256] = {};
        MENUITEMINFOW info = {};
        info.cbSize = sizeof info;
        info.fMask = MIIM_STRING | MIIM_STATE | MIIM_ID | MIIM_SUBMENU | MIIM_FTYPE;
        info.dwTypeData = text;
        info.cch = 256;
        if (!GetMenuItemInfoW(menu, static_cast<UINT>(i), TRUE, &info)) {
            std::printf("%*s<unreadable>\n", depth * 2, "");
            continue;
        }
        if ((info.fType & MFT_SEPARATOR) != 0) {
            std::printf("%*s-\n", depth * 2, "");
            continue;
        }
        const bool grey = (info.fState & MFS_GRAYED) != 0;
        if (info.hSubMenu != nullptr) {
            std::printf("%*s%s >%s\n", depth * 2, "", narrow(text).c_str(), grey ? " [grey]" : "");
            printMenu(owner, info.hSubMenu, depth + 1);
            continue;
        }
        const UINT offset = info.wID - FirstId;
        std::printf("%*s%s%s\t#%u\t%s\t%s\n", depth * 2, "", narrow(text).c_str(), grey ? " [grey]" : "", offset,
                    commandString(owner, offset, GCS_VERBA, GCS_VERBW).c_str(),
                    commandString(owner, offset, GCS_HELPTEXTA, GCS_HELPTEXTW).c_str());
    }
}

int printMenuOf(const char* dll, const std::vector<std::string>& files)
{
    Module m(dll);
    IContextMenu3* menu = m.handle != nullptr ? menuFor(m, files) : nullptr;
    if (menu == nullptr) {
        return 1;
    }
    HMENU popup = CreatePopupMenu();
    const HRESULT hr = menu->QueryContextMenu(popup, 0, FirstId, 0x7FFF, CMF_NORMAL);
    std::printf("commands: %u\n", static_cast<unsigned>(HRESULT_CODE(hr)));
    printMenu(menu, popup, 0);
    DestroyMenu(popup);
    menu->Release();
    return 0;
}

HWND waitForWindow(const char* title)
{
    for (int tries = 0; tries < 200; ++tries) {
        if (HWND window = FindWindowW(nullptr, wide(title).c_str())) {
            return window;
        }
        Sleep(50);
    }
    return nullptr;
}

// Types `text` over what the edit control holds, key by key.
void typeInto(HWND edit, const std::string& text)
{
    SendMessageW(edit, EM_SETSEL, 0, -1);
    SendMessageW(edit, WM_CHAR, VK_BACK, 1);
    for (WCHAR c : wide(text)) {
        SendMessageW(edit, WM_CHAR, c, 1);
    }
}

std::string textOf(HWND window)
{
    WCHAR text[256] = {};
    GetWindowTextW(window, text, 256);
    return narrow(text);
}

// Waits for the dialog an entry opens and answers it: the template's name, or the editor's
// caption, typed in, then OK. Gives up after some seconds.
void answerDialog(std::string text)
{
    for (int tries = 0; tries < 100; ++tries) {
        Sleep(50);
        if (HWND name = FindWindowW(nullptr, wide("Create template").c_str())) {
            SetDlgItemTextW(name, 1004, wide(text).c_str());
            PostMessageW(name, WM_COMMAND, IDOK, 0);
            return;
        }
        HWND editor = FindWindowW(nullptr, wide("Edit metadata").c_str());
        if (editor == nullptr) {
            editor = FindWindowW(nullptr, wide("Edit metadata Properties").c_str());
        }
        if (editor != nullptr) {
            Sleep(200);
            HWND page = reinterpret_cast<HWND>(SendMessageW(editor, PSM_GETCURRENTPAGEHWND, 0, 0));
            typeInto(GetDlgItem(page, 1012), text);
            Sleep(100);
            PostMessageW(editor, PSM_PRESSBUTTON, PSBTN_OK, 0);
            return;
        }
    }
}

// Plays the user of the settings sheet that "Options..." opens on the thread `owner`.
void driveOptions(std::string folder, DWORD owner)
{
    HWND sheet = waitForWindow("Lumeno Settings");
    if (sheet == nullptr) {
        std::printf("no settings sheet\n");
        return;
    }
    Sleep(300);
    HWND tabs = reinterpret_cast<HWND>(SendMessageW(sheet, PSM_GETTABCONTROL, 0, 0));
    const int count = static_cast<int>(SendMessageW(tabs, TCM_GETITEMCOUNT, 0, 0));
    for (int i = 0; i < count; ++i) {
        SendMessageW(sheet, PSM_SETCURSEL, static_cast<WPARAM>(i), 0);
        Sleep(200);
        WCHAR title[64] = {};
        TCITEMW item = {};
        item.mask = TCIF_TEXT;
        item.pszText = title;
        item.cchTextMax = 64;
        SendMessageW(tabs, TCM_GETITEMW, static_cast<WPARAM>(i), reinterpret_cast<LPARAM>(&item));
        HWND page = reinterpret_cast<HWND>(SendMessageW(sheet, PSM_GETCURRENTPAGEHWND, 0, 0));
        int width = 0, height = 0;
        const std::size_t colours = picture(page, folder + "\\options-" + narrow(title) + ".bmp", width, height);
        std::printf("page %s: %u colours\n", narrow(title).c_str(), static_cast<unsigned>(colours));
    }
    SendMessageW(sheet, PSM_SETCURSEL, 0, 0);
    Sleep(200);
    HWND page = reinterpret_cast<HWND>(SendMessageW(sheet, PSM_GETCURRENTPAGEHWND, 0, 0));
    HWND field = GetDlgItem(page, 2003); // the thumbnails kept
    typeInto(field, "abc");
    PostMessageW(sheet, PSM_APPLY, 0, 0);
    HWND box = waitForWindow("Lumeno");
    if (box == nullptr) {
        std::printf("no message box\n");
    } else {
        Sleep(200);
        std::printf("message: %s\n", textOf(GetDlgItem(box, 0xFFFF)).c_str());
        PostMessageW(box, WM_COMMAND, IDOK, 0);
        Sleep(300);
        GUITHREADINFO info = {};
        info.cbSize = sizeof info;
        GetGUIThreadInfo(owner, &info);
        std::printf("focus on the field: %s\n", info.hwndFocus == field ? "yes" : "no");
    }
    typeInto(field, "500");
    Sleep(100);
    PostMessageW(sheet, PSM_PRESSBUTTON, PSBTN_OK, 0);
}

// Plays the user of "Create Lumeno slide show": the folder typed, a quality that is no number
// (the message box's text and the field's focus printed), then quality 60 and 320 x 240, the
// "Autorun starts the PDF" box turned over, the state of the "Lumeno viewer" box printed, OK.
void driveSlideShowCD(std::string folder, DWORD owner)
{
    HWND dialog = waitForWindow("Create Lumeno slide show");
    if (dialog == nullptr) {
        std::printf("no slide-show dialog\n");
        return;
    }
    Sleep(200);
    SetDlgItemTextW(dialog, 2200, wide(folder).c_str());
    SetDlgItemTextW(dialog, 2203, wide("abc").c_str());
    PostMessageW(dialog, WM_COMMAND, IDOK, 0);
    HWND box = waitForWindow("Lumeno");
    if (box == nullptr) {
        std::printf("no message box\n");
        return;
    }
    Sleep(200);
    std::printf("message: %s\n", textOf(GetDlgItem(box, 0xFFFF)).c_str());
    PostMessageW(box, WM_COMMAND, IDOK, 0);
    Sleep(300);
    GUITHREADINFO info = {};
    info.cbSize = sizeof info;
    GetGUIThreadInfo(owner, &info);
    std::printf("focus on the quality: %s\n", info.hwndFocus == GetDlgItem(dialog, 2203) ? "yes" : "no");
    SetDlgItemTextW(dialog, 2203, wide("60").c_str());
    SetDlgItemTextW(dialog, 2204, wide("320").c_str());
    SetDlgItemTextW(dialog, 2205, wide("240").c_str());
    const bool autorunPdf = IsDlgButtonChecked(dialog, 2207) == BST_CHECKED;
    CheckDlgButton(dialog, 2207, autorunPdf ? BST_UNCHECKED : BST_CHECKED);
    std::printf("autorun starts the PDF: %s\n", autorunPdf ? "unticked" : "ticked");
    HWND viewer = GetDlgItem(dialog, 2208);
    std::printf("viewer: %s, %s\n", IsWindowEnabled(viewer) ? "enabled" : "grey",
                IsDlgButtonChecked(dialog, 2208) == BST_CHECKED ? "ticked" : "clear");
    PostMessageW(dialog, WM_COMMAND, IDOK, 0);
}

int invoke(const char* dll, std::string verb, std::vector<std::string> files)
{
    std::thread answering;
    if (files.size() >= 2 && files[0] == "--answer") {
        answering = std::thread(answerDialog, files[1]);
        files.erase(files.begin(), files.begin() + 2);
    } else if (files.size() >= 2 && files[0] == "--cd") {
        answering = std::thread(driveSlideShowCD, files[1], GetCurrentThreadId());
        files.erase(files.begin(), files.begin() + 2);
    } else if (files.size() >= 2 && files[0] == "--options") {
        answering = std::thread(driveOptions, files[1], GetCurrentThreadId());
        files.erase(files.begin(), files.begin() + 2);
    }
    Module m(dll);
    IContextMenu3* menu = m.handle != nullptr ? menuFor(m, files) : nullptr;
    if (menu == nullptr) {
        return 1;
    }
    // The shell asks for the menu before it runs an entry by offset.
    HMENU popup = CreatePopupMenu();
    menu->QueryContextMenu(popup, 0, FirstId, 0x7FFF, CMF_NORMAL);
    CMINVOKECOMMANDINFOEX info = {};
    info.cbSize = sizeof info;
    info.nShow = SW_SHOWNORMAL;
    if (!verb.empty() && verb[0] == '^') {
        info.fMask |= CMIC_MASK_CONTROL_DOWN;
        verb.erase(0, 1);
    }
    const std::basic_string<WCHAR> wideVerb = wide(verb.size() > 2 ? verb.substr(2) : std::string());
    if (!verb.empty() && verb[0] == '#') {
        info.lpVerb = MAKEINTRESOURCEA(std::atoi(verb.c_str() + 1));
    } else if (verb.rfind("W:", 0) == 0) {
        info.fMask |= CMIC_MASK_UNICODE;
        info.lpVerb = "ansi-verb-not-meant";
        info.lpVerbW = wideVerb.c_str();
    } else {
        info.lpVerb = verb.c_str();
    }
    const HRESULT hr = menu->InvokeCommand(reinterpret_cast<CMINVOKECOMMANDINFO*>(&info));
    std::printf("0x%08lX\n", static_cast<unsigned long>(hr));
    DestroyMenu(popup);
    menu->Release();
    if (answering.joinable()) {
        answering.join();
    }
    return 0;
}

int runChecks(const char* dll, const std::string& file)
{
    Module m(dll);
    check(m.handle != nullptr, "the server loads");
    if (m.handle == nullptr) {
        return checksDone();
    }
    HRESULT hr = S_OK;
    IContextMenu* plain = create<IContextMenu>(m, ContextMenuClass, IID_IContextMenu, nullptr, &hr);
    check(plain != nullptr, "the context menu is made");
    if (plain != nullptr) {
        IContextMenu2* two = nullptr;
        IShellExtInit* init = nullptr;
        check(SUCCEEDED(plain->QueryInterface(IID_IContextMenu2, reinterpret_cast<void**>(&two))), "it is an IContextMenu2");
        check(SUCCEEDED(plain->QueryInterface(IID_IShellExtInit, reinterpret_cast<void**>(&init))), "it is an IShellExtInit");
        if (init != nullptr) {
            check(init->Initialize(nullptr, nullptr, nullptr) == E_INVALIDARG, "no data object: refused");
            init->Release();
        }
        if (two != nullptr) {
            two->Release();
        }
        // Not initialised: no entries, no answers.
        HMENU popup = CreatePopupMenu();
        check(plain->QueryContextMenu(popup, 0, FirstId, 0x7FFF, CMF_NORMAL) == MAKE_HRESULT(SEVERITY_SUCCESS, 0, 0),
              "without files the menu adds nothing");
        char verb[64] = {};
        check(plain->GetCommandString(0, GCS_VERBA, nullptr, verb, sizeof verb) == E_INVALIDARG,
              "without files no command has a verb");
        DestroyMenu(popup);
        plain->Release();
    }
    Outer outer;
    IUnknown* inner = create<IUnknown>(m, ContextMenuClass, IID_IUnknown, &outer, &hr);
    check(inner != nullptr && hr == S_OK, "the context menu can be aggregated");
    if (inner != nullptr) {
        IContextMenu3* viaInner = nullptr;
        check(SUCCEEDED(inner->QueryInterface(IID_IContextMenu3, reinterpret_cast<void**>(&viaInner))),
              "the inner unknown answers IContextMenu3");
        inner->Release();
    }
    create<IUnknown>(m, ContextMenuClass, IID_IContextMenu, &outer, &hr);
    check(hr == CLASS_E_NOAGGREGATION, "aggregated, only the inner unknown is handed out");

    IContextMenu3* menu = menuFor(m, {file});
    check(menu != nullptr, "initialised with the file's data object");
    if (menu != nullptr) {
        HMENU popup = CreatePopupMenu();
        check(menu->QueryContextMenu(popup, 0, FirstId, 0x7FFF, CMF_DEFAULTONLY) == MAKE_HRESULT(SEVERITY_SUCCESS, 0, 0),
              "a double-click's menu (default entries only) gets nothing");
        // Room for three commands only: those that fit are numbered, the rest left out.
        const HRESULT few = menu->QueryContextMenu(popup, 0, FirstId, FirstId + 2, CMF_NORMAL);
        check(SUCCEEDED(few) && GetMenuItemCount(popup) == 1, "the menu is one submenu");
        check(HRESULT_CODE(few) == 3, "with room for three commands, three identifiers are taken");
        char verb[64] = {};
        check(menu->GetCommandString(999, GCS_VERBA, nullptr, verb, sizeof verb) == E_INVALIDARG, "an unknown offset");
        check(menu->GetCommandString(0, GCS_VALIDATEA, nullptr, nullptr, 0) == S_OK, "offset 0 is valid");
        char tiny[4] = {};
        check(menu->GetCommandString(0, GCS_VERBA, nullptr, tiny, sizeof tiny) == S_OK && std::strlen(tiny) == 3,
              "a verb is cut to the buffer");
        CMINVOKECOMMANDINFO info = {};
        info.cbSize = sizeof info;
        info.lpVerb = "nosuchverb";
        check(menu->InvokeCommand(&info) == E_INVALIDARG, "an unknown verb is refused");
        info.lpVerb = MAKEINTRESOURCEA(999);
        check(menu->InvokeCommand(&info) == E_INVALIDARG, "an unknown offset is refused");
        check(menu->InvokeCommand(nullptr) == E_INVALIDARG, "no invocation: refused");
        LRESULT result = 1;
        check(menu->HandleMenuMsg2(WM_INITMENUPOPUP, 0, 0, &result) == S_OK && result == 0, "menu messages are answered");
        DestroyMenu(popup);
        menu->Release();
    }
    return checksDone();
}

} // namespace

int main(int argc, char** argv)
{
    if (argc < 4) {
        std::printf("usage: menu-test check|menu|invoke DLL ...\n");
        return 2;
    }
    OleInitialize(nullptr);
    const std::string mode = argv[1];
    int status = 2;
    if (mode == "check" && argc == 4) {
        status = runChecks(argv[2], argv[3]);
    } else if (mode == "menu") {
        status = printMenuOf(argv[2], std::vector<std::string>(argv + 3, argv + argc));
    } else if (mode == "cd" && argc >= 5) {
        std::vector<std::string> rest = {"--cd", argv[3]};
        rest.insert(rest.end(), argv + 4, argv + argc);
        status = invoke(argv[2], "createSlideShowCD", rest);
    } else if (mode == "options" && argc == 5) {
        status = invoke(argv[2], "options", {"--options", argv[3], argv[4]});
    } else if (mode == "invoke" && argc >= 5) {
        status = invoke(argv[2], argv[3], std::vector<std::string>(argv + 4, argv + argc));
    }
    OleUninitialize();
    return status;
}
