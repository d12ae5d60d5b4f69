// Drives the property-sheet extension as the file manager does: the data object of the selected
// files, Initialize, AddPages into a property sheet of our own, the pages shown and pictured,
// fields typed into and applied.
//   pages-test check DLL FILE              the object: made plain and aggregated, its answers to
//                                          bad calls: "N passed, M failed"
//   pages-test show DLL FOLDER FILE...     each page shown in turn and pictured (BitBlt from the
//                                          page's DC into a DIB section) as FOLDER/TITLE.bmp; a
//                                          line per page: its title, size and number of colours
//   pages-test edit DLL FIELD TEXT [--vanish FILE] FILE...
//                                          types TEXT into the IPTC page's field (its control
//                                          id), presses Apply; prints whether the page had the
//                                          sheet's Apply button turned on, its status line and the
//                                          field after Apply. --vanish: FILE is deleted once the
//                                          pages are shown
//   pages-test template DLL NAME TEXT FILE...
//                                          types TEXT as the IPTC page's caption, presses "Save as
//                                          template..." and names the template NAME in its dialog;
//                                          prints the page's status line
//   pages-test registered FILE             the handlers the shell finds for a JPEG through the
//                                          registry (SHCreatePropSheetExtArrayEx) and the pages
//                                          they add
#include "TestHost.h"

#include <commctrl.h>
#include <prsht.h>

#include <cstdio>
#include <cstdlib>
#include <set>
#include <string>
#include <thread>
#include <vector>

namespace {

const char* const PropertySheetClass = "{0DF49261-F891-4A12-9092-EC3566EADCCC}";

BOOL CALLBACK collectPage(HPROPSHEETPAGE page, LPARAM list)
{
    reinterpret_cast<std::vector<HPROPSHEETPAGE>*>(list)->push_back(page);
    return TRUE;
}

// The extension initialised with the files, or null (the reason printed).
IShellPropSheetExt* sheetFor(Module& m, const std::vector<std::string>& files)
{
    HRESULT hr = S_OK;
    IShellExtInit* init = create<IShellExtInit>(m, PropertySheetClass, IID_IShellExtInit, nullptr, &hr);
    if (init == nullptr) {
        std::printf("cannot make the property sheet extension: 0x%08lX\n", static_cast<unsigned long>(hr));
        return nullptr;
    }
    IDataObject* data = dataObjectFor(files);
    hr = data != nullptr ? init->Initialize(nullptr, data, nullptr) : E_FAIL;
    if (data != nullptr) {
        data->Release();
    }
    IShellPropSheetExt* sheet = nullptr;
    if (SUCCEEDED(hr)) {
        hr = init->QueryInterface(IID_IShellPropSheetExt, reinterpret_cast<void**>(&sheet));
    }
    init->Release();
    if (FAILED(hr)) {
        std::printf("Initialize: 0x%08lX\n", static_cast<unsigned long>(hr));
        return nullptr;
    }
    return sheet;
}

void pump()
{
    for (int round = 0; round < 20; ++round) {
        MSG message;
        while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
            TranslateMessage(&message);
            DispatchMessageW(&message);
        }
        Sleep(10);
    }
}

// A modeless sheet of the pages, shown.
HWND showSheet(std::vector<HPROPSHEETPAGE>& pages)
{
    PROPSHEETHEADERW header = {};
    header.dwSize = sizeof header;
    header.dwFlags = PSH_MODELESS;
    static WCHAR caption[] = {'P', 'r', 'o', 'p', 'e', 'r', 't', 'i', 'e', 's', 0};
    header.pszCaption = caption;
    header.nPages = static_cast<UINT>(pages.size());
    header.phpage = pages.data();
    HWND sheet = reinterpret_cast<HWND>(PropertySheetW(&header));
    if (sheet != nullptr) {
        ShowWindow(sheet, SW_SHOW);
        pump();
    }
    return sheet;
}

std::string windowText(HWND window)
{
    WCHAR text[1024] = {};
    GetWindowTextW(window, text, 1024);
    return narrow(text);
}

// The title of the sheet's page at `index`, from its tab.
std::string tabTitle(HWND sheet, int index)
{
    HWND tabs = reinterpret_cast<HWND>(SendMessageW(sheet, PSM_GETTABCONTROL, 0, 0));
    WCHAR text[128] = {};
    TCITEMW item = {};
    item.mask = TCIF_TEXT;
    item.pszText = text;
    item.cchTextMax = 128;
    SendMessageW(tabs, TCM_GETITEMW, static_cast<WPARAM>(index), reinterpret_cast<LPARAM>(&item));
    return narrow(text);
}

int showPages(const char* dll, const std::string& folder, const std::vector<std::string>& files)
{
    Module m(dll);
    IShellPropSheetExt* extension = m.handle != nullptr ? sheetFor(m, files) : nullptr;
    if (extension == nullptr) {
        return 1;
    }
    std::vector<HPROPSHEETPAGE> pages;
    const HRESULT added = extension->AddPages(collectPage, reinterpret_cast<LPARAM>(&pages));
    std::printf("AddPages: 0x%08lX, %u pages\n", static_cast<unsigned long>(added), static_cast<unsigned>(pages.size()));
    HWND sheet = pages.empty() ? nullptr : showSheet(pages);
    for (std::size_t i = 0; sheet != nullptr && i < pages.size(); ++i) {
        SendMessageW(sheet, PSM_SETCURSEL, i, 0);
        pump();
        HWND page = reinterpret_cast<HWND>(SendMessageW(sheet, PSM_GETCURRENTPAGEHWND, 0, 0));
        const std::string title = tabTitle(sheet, static_cast<int>(i));
        int width = 0, height = 0;
        const std::size_t colours = picture(page, folder + "\\" + title + ".bmp", width, height);
        std::printf("page %s: %d x %d, %u colours\n", title.c_str(), width, height, static_cast<unsigned>(colours));
    }
    if (sheet != nullptr) {
        DestroyWindow(sheet);
        pump();
    }
    extension->Release();
    return 0;
}

int editField(const char* dll, int control, const std::string& text, std::vector<std::string> files)
{
    // --vanish FILE: that file is deleted once the pages are shown, as if someone else had.
    std::string vanish;
    if (files.size() >= 2 && files[0] == "--vanish") {
        vanish = files[1];
        files.erase(files.begin(), files.begin() + 2);
    }
    Module m(dll);
    IShellPropSheetExt* extension = m.handle != nullptr ? sheetFor(m, files) : nullptr;
    if (extension == nullptr) {
        return 1;
    }
    std::vector<HPROPSHEETPAGE> pages;
    extension->AddPages(collectPage, reinterpret_cast<LPARAM>(&pages));
    HWND sheet = pages.empty() ? nullptr : showSheet(pages);
    HWND page = nullptr;
    for (std::size_t i = 0; sheet != nullptr && i < pages.size(); ++i) {
        if (tabTitle(sheet, static_cast<int>(i)) == "IPTC") {
            SendMessageW(sheet, PSM_SETCURSEL, i, 0);
            pump();
            page = reinterpret_cast<HWND>(SendMessageW(sheet, PSM_GETCURRENTPAGEHWND, 0, 0));
        }
    }
    if (page == nullptr) {
        std::printf("no IPTC page\n");
        return 1;
    }
    if (!vanish.empty()) {
        DeleteFileW(wide(vanish).c_str());
    }
    // Typed: the field's text selected and replaced key by key, then Apply.
    HWND field = GetDlgItem(page, control);
    SetFocus(field);
    SendMessageW(field, EM_SETSEL, 0, -1);
    for (WCHAR c : wide(text)) {
        SendMessageW(field, WM_CHAR, c, 1);
    }
    pump();
    // The page told the sheet of the change: its Apply button is on.
    std::printf("apply enabled: %s\n", IsWindowEnabled(GetDlgItem(sheet, 0x3021)) ? "yes" : "no");
    SendMessageW(sheet, PSM_APPLY, 0, 0);
    pump();
    std::printf("status: %s\n", windowText(GetDlgItem(page, 1003)).c_str());
    std::printf("field: %s\n", windowText(GetDlgItem(page, control)).c_str());
    DestroyWindow(sheet);
    pump();
    extension->Release();
    return 0;
}

// The IPTC page of a shown sheet of the files' pages, or null.
HWND iptcPage(HWND sheet, std::size_t count)
{
    for (std::size_t i = 0; sheet != nullptr && i < count; ++i) {
        if (tabTitle(sheet, static_cast<int>(i)) == "IPTC") {
            SendMessageW(sheet, PSM_SETCURSEL, i, 0);
            pump();
            return reinterpret_cast<HWND>(SendMessageW(sheet, PSM_GETCURRENTPAGEHWND, 0, 0));
        }
    }
    return nullptr;
}

int saveTemplate(const char* dll, const std::string& name, const std::string& text, const std::vector<std::string>& files)
{
    Module m(dll);
    IShellPropSheetExt* extension = m.handle != nullptr ? sheetFor(m, files) : nullptr;
    if (extension == nullptr) {
        return 1;
    }
    std::vector<HPROPSHEETPAGE> pages;
    extension->AddPages(collectPage, reinterpret_cast<LPARAM>(&pages));
    HWND sheet = pages.empty() ? nullptr : showSheet(pages);
    HWND page = iptcPage(sheet, pages.size());
    if (page == nullptr) {
        std::printf("no IPTC page\n");
        return 1;
    }
    HWND field = GetDlgItem(page, 1012);
    SendMessageW(field, EM_SETSEL, 0, -1);
    for (WCHAR c : wide(text)) {
        SendMessageW(field, WM_CHAR, c, 1);
    }
    // The name is asked in a modal dialog: answered from another thread, as a user would.
    std::thread answer([&name] {
        for (int tries = 0; tries < 100; ++tries) {
            Sleep(50);
            if (HWND dialog = FindWindowW(nullptr, wide("Create template").c_str())) {
                SetDlgItemTextW(dialog, 1004, wide(name).c_str());
                PostMessageW(dialog, WM_COMMAND, IDOK, 0);
                return;
            }
        }
    });
    SendMessageW(page, WM_COMMAND, MAKEWPARAM(1005, BN_CLICKED), reinterpret_cast<LPARAM>(GetDlgItem(page, 1005)));
    answer.join();
    pump();
    std::printf("status: %s\n", windowText(GetDlgItem(page, 1003)).c_str());
    DestroyWindow(sheet);
    pump();
    extension->Release();
    return 0;
}

int registeredHandlers(const std::string& file)
{
    IDataObject* data = dataObjectFor({file});
    if (data == nullptr) {
        std::printf("no data object\n");
        return 1;
    }
    // The handlers of the file type "jpegfile": its key's shellex\PropertySheetHandlers.
    const auto createArray = reinterpret_cast<CreatePropSheetExtArrayExFunction>(reinterpret_cast<void*>(
        GetProcAddress(GetModuleHandleA("shell32.dll"), MAKEINTRESOURCEA(CreatePropSheetExtArrayExOrdinal))));
    HPSXA array = createArray != nullptr ? createArray(HKEY_CLASSES_ROOT, wide("jpegfile").c_str(), 8, data) : nullptr;
    std::vector<HPROPSHEETPAGE> pages;
    const UINT added = array != nullptr ? SHAddFromPropSheetExtArray(array, collectPage, reinterpret_cast<LPARAM>(&pages)) : 0;
    std::printf("handlers found: %s, pages added: %u\n", array != nullptr ? "yes" : "no", added);
    for (HPROPSHEETPAGE page : pages) {
        DestroyPropertySheetPage(page);
    }
    if (array != nullptr) {
        SHDestroyPropSheetExtArray(array);
    }
    data->Release();
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
    IShellPropSheetExt* plain = create<IShellPropSheetExt>(m, PropertySheetClass, IID_IShellPropSheetExt, nullptr, &hr);
    check(plain != nullptr, "the property sheet extension is made");
    if (plain != nullptr) {
        std::vector<HPROPSHEETPAGE> pages;
        check(plain->AddPages(collectPage, reinterpret_cast<LPARAM>(&pages)) == S_OK && pages.empty(),
              "without files no pages");
        check(plain->AddPages(nullptr, 0) == E_INVALIDARG, "no callback: refused");
        check(plain->ReplacePage(0, collectPage, 0) == E_NOTIMPL, "no page to replace");
        IShellExtInit* init = nullptr;
        check(SUCCEEDED(plain->QueryInterface(IID_IShellExtInit, reinterpret_cast<void**>(&init))), "it is an IShellExtInit");
        if (init != nullptr) {
            check(init->Initialize(nullptr, nullptr, nullptr) == E_INVALIDARG, "no data object: refused");
            init->Release();
        }
        plain->Release();
    }
    Outer outer;
    IUnknown* inner = create<IUnknown>(m, PropertySheetClass, IID_IUnknown, &outer, &hr);
    check(inner != nullptr && hr == S_OK, "the property sheet extension can be aggregated");
    if (inner != nullptr) {
        IShellPropSheetExt* viaInner = nullptr;
        check(SUCCEEDED(inner->QueryInterface(IID_IShellPropSheetExt, reinterpret_cast<void**>(&viaInner))),
              "the inner unknown answers IShellPropSheetExt");
        inner->Release();
    }
    IShellPropSheetExt* sheet = sheetFor(m, {file});
    check(sheet != nullptr, "initialised with the file's data object");
    if (sheet != nullptr) {
        std::vector<HPROPSHEETPAGE> pages;
        check(sheet->AddPages(collectPage, reinterpret_cast<LPARAM>(&pages)) == S_OK && pages.size() == 3,
              "three pages for a JPEG");
        for (HPROPSHEETPAGE page : pages) {
            DestroyPropertySheetPage(page);
        }
        sheet->Release();
    }
    return checksDone();
}

} // namespace

int main(int argc, char** argv)
{
    if (argc < 3) {
        std::printf("usage: pages-test check|show|edit|registered ...\n");
        return 2;
    }
    OleInitialize(nullptr);
    INITCOMMONCONTROLSEX controls = {sizeof controls, ICC_WIN95_CLASSES};
    InitCommonControlsEx(&controls);
    const std::string mode = argv[1];
    int status = 2;
    if (mode == "check" && argc == 4) {
        status = runChecks(argv[2], argv[3]);
    } else if (mode == "show" && argc >= 5) {
        status = showPages(argv[2], argv[3], std::vector<std::string>(argv + 4, argv + argc));
    } else if (mode == "edit" && argc >= 6) {
        status = editField(argv[2], std::atoi(argv[3]), argv[4], std::vector<std::string>(argv + 5, argv + argc));
    } else if (mode == "template" && argc >= 6) {
        status = saveTemplate(argv[2], argv[3], argv[4], std::vector<std::string>(argv + 5, argv + argc));
    } else if (mode == "registered" && argc == 3) {
        status = registeredHandlers(argv[2]);
    }
    OleUninitialize();
    return status;
}
