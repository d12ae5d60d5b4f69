// Reaches "My Galleries" as the file manager does, from the desktop folder, and prints what the
// folder answers, a line each, for the test script to compare; then checks its answers to
// damaged identifiers and bad calls.
//   namespace-test list PATH           the items of the folder at PATH ("" for the top, else
//                                      "Holidays\Lakes"), each with its attributes, names and
//                                      every column's text
//   namespace-test sort PATH COLUMN    the items in the order CompareIDs gives for the column
//   namespace-test rename PATH NAME    SetNameOf on the gallery at PATH
//   namespace-test drop GALLERY [ctrl] FROM FILE...
//                                      drops on the gallery at GALLERY either files (FROM "-": a
//                                      data object of the file system's) or the named pictures
//                                      of the gallery FROM, as dragged out of it; prints the
//                                      effect
//   namespace-test out PATH            the files a drag of every picture of PATH carries
//   namespace-test menu PATH [NAME...]   the context menu of the named items of PATH (none: the
//                                      folder's background): text, verb and help of each entry
//   namespace-test invoke PATH VERB PARAMETERS [NAME...]
//                                      runs an entry of that menu by its verb
//   namespace-test check               the answers to damaged identifiers and bad calls
//   namespace-test thumbnail PATH NAME SIZE
//                                      the thumbnail of the picture NAME of PATH, as the view
//                                      asks for it in a box of SIZE x SIZE
//   namespace-test view PATH [PICTURE|- [TITLE;TITLE...|- [NAME NEWNAME]]]
//                                      the folder in the system's view (details) in a browser
//                                      of our own: its columns and rows; the window pictured
//                                      into PICTURE (a BMP file); the columns then left as the
//                                      titles say (the others hidden); the item NAME renamed
//                                      from its menu, typed in the view; the view closed
//   namespace-test bench PATH          enumerating the folder and sorting it by date, timed
#include "../../../shell/win32/tests/TestHost.h"

#include <commctrl.h>
#include <shlobj.h>
#include <shlwapi.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <functional>
#include <set>

namespace {

const char* const Clsid = "{89434BB7-16EA-4562-8372-5AD47F18F97B}";

std::string strret(STRRET& value, PCUITEMID_CHILD pidl)
{
    WCHAR text[MAX_PATH * 2] = {};
    StrRetToBufW(&value, pidl, text, MAX_PATH * 2);
    return narrow(text);
}

// The folder at PATH below My Galleries, through the desktop as the shell reaches it.
IShellFolder2* folderAt(const std::string& path, PIDLIST_ABSOLUTE* absolute = nullptr)
{
    IShellFolder* desktop = nullptr;
    if (FAILED(SHGetDesktopFolder(&desktop))) {
        return nullptr;
    }
    std::basic_string<WCHAR> name = wide(std::string("::") + Clsid + (path.empty() ? "" : "\\" + path));
    PIDLIST_RELATIVE pidl = nullptr;
    HRESULT hr = desktop->ParseDisplayName(nullptr, nullptr, &name[0], nullptr, &pidl, nullptr);
    IShellFolder2* folder = nullptr;
    if (SUCCEEDED(hr)) {
        hr = desktop->BindToObject(pidl, nullptr, IID_IShellFolder2, reinterpret_cast<void**>(&folder));
        if (absolute != nullptr) {
            *absolute = reinterpret_cast<PIDLIST_ABSOLUTE>(pidl);
        } else {
            CoTaskMemFree(pidl);
        }
    }
    desktop->Release();
    if (FAILED(hr)) {
        std::printf("cannot reach %s: 0x%08lX\n", path.c_str(), static_cast<unsigned long>(hr));
    }
    return folder;
}

std::vector<PITEMID_CHILD> items(IShellFolder2* folder)
{
    std::vector<PITEMID_CHILD> out;
    IEnumIDList* list = nullptr;
    if (SUCCEEDED(folder->EnumObjects(nullptr, SHCONTF_FOLDERS | SHCONTF_NONFOLDERS, &list)) && list != nullptr) {
        PITEMID_CHILD item = nullptr;
        ULONG got = 0;
        while (list->Next(1, &item, &got) == S_OK && got == 1) {
            out.push_back(item);
        }
        list->Release();
    }
    return out;
}

int columnCount(IShellFolder2* folder)
{
    int n = 0;
    SHELLDETAILS details = {};
    while (SUCCEEDED(folder->GetDetailsOf(nullptr, static_cast<UINT>(n), &details))) {
        CoTaskMemFree(details.str.uType == STRRET_WSTR ? details.str.pOleStr : nullptr);
        ++n;
    }
    return n;
}

int list(const std::string& path)
{
    IShellFolder2* folder = folderAt(path);
    if (folder == nullptr) {
        return 1;
    }
    std::printf("columns:");
    for (int c = 0, n = columnCount(folder); c < n; ++c) {
        SHELLDETAILS details = {};
        folder->GetDetailsOf(nullptr, static_cast<UINT>(c), &details);
        SHCOLSTATEF state = 0;
        folder->GetDefaultColumnState(static_cast<UINT>(c), &state);
        std::printf(" %s%s", strret(details.str, nullptr).c_str(), (state & SHCOLSTATE_ONBYDEFAULT) ? "" : "(hidden)");
    }
    std::printf("\n");
    for (PITEMID_CHILD item : items(folder)) {
        SFGAOF attributes = SFGAO_FOLDER | SFGAO_CANRENAME | SFGAO_DROPTARGET | SFGAO_CANCOPY;
        PCUITEMID_CHILD one = item;
        folder->GetAttributesOf(1, &one, &attributes);
        STRRET name = {}, parsing = {};
        folder->GetDisplayNameOf(item, SHGDN_NORMAL, &name);
        folder->GetDisplayNameOf(item, SHGDN_FORPARSING, &parsing);
        std::printf("%s [%s%s%s%s] %s", strret(name, item).c_str(), (attributes & SFGAO_FOLDER) ? "F" : "-",
                    (attributes & SFGAO_CANRENAME) ? "R" : "-", (attributes & SFGAO_DROPTARGET) ? "D" : "-",
                    (attributes & SFGAO_CANCOPY) ? "C" : "-", strret(parsing, item).c_str());
        for (int c = 1, n = columnCount(folder); c < n; ++c) {
            SHELLDETAILS details = {};
            folder->GetDetailsOf(item, static_cast<UINT>(c), &details);
            std::printf(" | %s", strret(details.str, item).c_str());
        }
        std::printf("\n");
        CoTaskMemFree(item);
    }
    folder->Release();
    return 0;
}

int sort(const std::string& path, int column)
{
    IShellFolder2* folder = folderAt(path);
    if (folder == nullptr) {
        return 1;
    }
    std::vector<PITEMID_CHILD> all = items(folder);
    std::stable_sort(all.begin(), all.end(), [&](PITEMID_CHILD a, PITEMID_CHILD b) {
        return static_cast<short>(HRESULT_CODE(folder->CompareIDs(column, a, b))) < 0;
    });
    for (PITEMID_CHILD item : all) {
        STRRET name = {};
        folder->GetDisplayNameOf(item, SHGDN_NORMAL, &name);
        std::printf("%s\n", strret(name, item).c_str());
        CoTaskMemFree(item);
    }
    folder->Release();
    return 0;
}

int renameGallery(const std::string& path, const std::string& name)
{
    const std::size_t slash = path.rfind('\\');
    IShellFolder2* parent = folderAt(slash == std::string::npos ? "" : path.substr(0, slash));
    if (parent == nullptr) {
        return 1;
    }
    std::basic_string<WCHAR> last = wide(slash == std::string::npos ? path : path.substr(slash + 1));
    PIDLIST_RELATIVE item = nullptr;
    HRESULT hr = parent->ParseDisplayName(nullptr, nullptr, &last[0], nullptr, &item, nullptr);
    PITEMID_CHILD renamed = nullptr;
    if (SUCCEEDED(hr)) {
        hr = parent->SetNameOf(nullptr, reinterpret_cast<PCUITEMID_CHILD>(item), wide(name).c_str(), SHGDN_INFOLDER, &renamed);
    }
    STRRET text = {};
    if (renamed != nullptr) {
        parent->GetDisplayNameOf(renamed, SHGDN_NORMAL, &text);
    }
    std::printf("0x%08lX %s\n", static_cast<unsigned long>(hr), renamed != nullptr ? strret(text, renamed).c_str() : "");
    CoTaskMemFree(item);
    CoTaskMemFree(renamed);
    parent->Release();
    return SUCCEEDED(hr) ? 0 : 1;
}

// The child at the last name of PATH, with its parent folder.
PITEMID_CHILD childAt(const std::string& path, IShellFolder2** parent)
{
    const std::size_t slash = path.rfind('\\');
    *parent = folderAt(slash == std::string::npos ? "" : path.substr(0, slash));
    if (*parent == nullptr) {
        return nullptr;
    }
    std::basic_string<WCHAR> last = wide(slash == std::string::npos ? path : path.substr(slash + 1));
    PIDLIST_RELATIVE item = nullptr;
    if (FAILED((*parent)->ParseDisplayName(nullptr, nullptr, &last[0], nullptr, &item, nullptr))) {
        return nullptr;
    }
    return reinterpret_cast<PITEMID_CHILD>(item);
}

int drop(const std::string& gallery, bool control, const std::string& from, const std::vector<std::string>& names)
{
    IShellFolder2* parent = nullptr;
    PITEMID_CHILD target = childAt(gallery, &parent);
    IDropTarget* dropTarget = nullptr;
    if (target == nullptr || FAILED(parent->GetUIObjectOf(nullptr, 1, const_cast<PCUITEMID_CHILD*>(&target), IID_IDropTarget,
                                                          nullptr, reinterpret_cast<void**>(&dropTarget)))) {
        std::printf("no drop target\n");
        return 1;
    }
    IDataObject* data = nullptr;
    if (from == "-") {
        data = dataObjectFor(names); // files, as the file system's folder hands them out
    } else {
        IShellFolder2* source = folderAt(from);
        std::vector<PITEMID_CHILD> chosen;
        for (PITEMID_CHILD item : source != nullptr ? items(source) : std::vector<PITEMID_CHILD>{}) {
            STRRET name = {};
            source->GetDisplayNameOf(item, SHGDN_NORMAL, &name);
            if (std::find(names.begin(), names.end(), strret(name, item)) != names.end()) {
                chosen.push_back(item);
            } else {
                CoTaskMemFree(item);
            }
        }
        if (source != nullptr && !chosen.empty()) {
            source->GetUIObjectOf(nullptr, static_cast<UINT>(chosen.size()), const_cast<PCUITEMID_CHILD*>(chosen.data()),
                                  IID_IDataObject, nullptr, reinterpret_cast<void**>(&data));
        }
        for (PITEMID_CHILD item : chosen) {
            CoTaskMemFree(item);
        }
        if (source != nullptr) {
            source->Release();
        }
    }
    if (data == nullptr) {
        std::printf("no data object\n");
        return 1;
    }
    const DWORD keys = MK_LBUTTON | (control ? MK_CONTROL : 0);
    POINTL at = {10, 10};
    DWORD effect = DROPEFFECT_COPY | DROPEFFECT_MOVE | DROPEFFECT_LINK;
    dropTarget->DragEnter(data, keys, at, &effect);
    const DWORD entered = effect;
    effect = DROPEFFECT_COPY | DROPEFFECT_MOVE | DROPEFFECT_LINK;
    const HRESULT hr = dropTarget->Drop(data, keys & ~MK_LBUTTON, at, &effect);
    std::printf("%s %s 0x%08lX\n", entered == DROPEFFECT_MOVE ? "move" : entered == DROPEFFECT_COPY ? "copy" : "none",
                effect == DROPEFFECT_MOVE ? "moved" : effect == DROPEFFECT_COPY ? "copied" : "nothing",
                static_cast<unsigned long>(hr));
    data->Release();
    dropTarget->Release();
    CoTaskMemFree(target);
    parent->Release();
    return 0;
}

int out(const std::string& path)
{
    IShellFolder2* folder = folderAt(path);
    if (folder == nullptr) {
        return 1;
    }
    std::vector<PITEMID_CHILD> pictures;
    for (PITEMID_CHILD item : items(folder)) {
        SFGAOF attributes = SFGAO_FOLDER;
        PCUITEMID_CHILD one = item;
        folder->GetAttributesOf(1, &one, &attributes);
        if ((attributes & SFGAO_FOLDER) == 0) {
            pictures.push_back(item);
        } else {
            CoTaskMemFree(item);
        }
    }
    IDataObject* data = nullptr;
    if (!pictures.empty() &&
        SUCCEEDED(folder->GetUIObjectOf(nullptr, static_cast<UINT>(pictures.size()), const_cast<PCUITEMID_CHILD*>(pictures.data()),
                                        IID_IDataObject, nullptr, reinterpret_cast<void**>(&data)))) {
        FORMATETC format = {CF_HDROP, nullptr, DVASPECT_CONTENT, -1, TYMED_HGLOBAL};
        STGMEDIUM medium = {};
        if (SUCCEEDED(data->GetData(&format, &medium))) {
            auto drop = static_cast<HDROP>(GlobalLock(medium.hGlobal));
            const UINT n = DragQueryFileW(drop, 0xFFFFFFFF, nullptr, 0);
            for (UINT i = 0; i < n; ++i) {
                WCHAR file[MAX_PATH] = {};
                DragQueryFileW(drop, i, file, MAX_PATH);
                std::printf("%s\n", narrow(file).c_str());
            }
            GlobalUnlock(medium.hGlobal);
            ReleaseStgMedium(&medium);
        }
        data->Release();
    }
    for (PITEMID_CHILD item : pictures) {
        CoTaskMemFree(item);
    }
    folder->Release();
    return 0;
}

// The context menu of the named items of the folder at PATH, or of its background.
// GetUIObjectOf for the named items of the folder at PATH (none: the folder's background, through
// CreateViewObject); the folder is handed back too, for the caller to release.
void* objectOf(const std::string& path, const std::vector<std::string>& names, REFIID riid, IShellFolder2** folder)
{
    *folder = folderAt(path);
    if (*folder == nullptr) {
        return nullptr;
    }
    void* object = nullptr;
    if (names.empty()) {
        (*folder)->CreateViewObject(nullptr, riid, &object);
        return object;
    }
    std::vector<PITEMID_CHILD> chosen;
    for (PITEMID_CHILD item : items(*folder)) {
        STRRET name = {};
        (*folder)->GetDisplayNameOf(item, SHGDN_NORMAL, &name);
        if (std::find(names.begin(), names.end(), strret(name, item)) != names.end()) {
            chosen.push_back(item);
        } else {
            CoTaskMemFree(item);
        }
    }
    if (!chosen.empty()) {
        (*folder)->GetUIObjectOf(nullptr, static_cast<UINT>(chosen.size()), const_cast<PCUITEMID_CHILD*>(chosen.data()),
                                 riid, nullptr, &object);
    }
    for (PITEMID_CHILD item : chosen) {
        CoTaskMemFree(item);
    }
    return object;
}

IContextMenu* menuOf(const std::string& path, const std::vector<std::string>& names, IShellFolder2** folder)
{
    return static_cast<IContextMenu*>(objectOf(path, names, IID_IContextMenu, folder));
}

// The thumbnail of the picture NAME of PATH as the view asks for it (IExtractImage): where it is,
// whether it would be made on the view's background thread, the bitmap's size and whether it
// shows something, the date stamp.
int thumbnail(const std::string& path, const std::string& name, int size)
{
    IShellFolder2* folder = nullptr;
    auto* image = static_cast<IExtractImage*>(objectOf(path, {name}, IID_IExtractImage, &folder));
    if (image == nullptr) {
        std::printf("no thumbnail\n");
        if (folder != nullptr) {
            folder->Release();
        }
        return 1;
    }
    HBITMAP early = nullptr;
    std::printf("before its size: 0x%08lX\n", static_cast<unsigned long>(image->Extract(&early)));
    WCHAR location[MAX_PATH] = {};
    const SIZE wanted = {size, size};
    DWORD priority = 0, flags = IEIFLAG_ASYNC;
    HRESULT hr = image->GetLocation(location, MAX_PATH, &priority, &wanted, 24, &flags);
    std::printf("in the background: 0x%08lX\n", static_cast<unsigned long>(hr));
    flags = 0;
    hr = image->GetLocation(location, MAX_PATH, &priority, &wanted, 24, &flags);
    std::printf("location: 0x%08lX %s\n", static_cast<unsigned long>(hr), narrow(location).c_str());
    HBITMAP bitmap = nullptr;
    hr = image->Extract(&bitmap);
    BITMAP info = {};
    if (SUCCEEDED(hr) && bitmap != nullptr && GetObjectW(bitmap, sizeof info, &info) != 0) {
        // Its colours, read back from the bitmap: a thumbnail shows many, a blank one one.
        std::set<DWORD> colours;
        if (info.bmBits != nullptr && info.bmBitsPixel == 24) {
            const auto* pixels = static_cast<const unsigned char*>(info.bmBits);
            for (int y = 0; y < info.bmHeight; ++y) {
                for (int x = 0; x < info.bmWidth; ++x) {
                    const unsigned char* p = pixels + static_cast<std::size_t>(y) * info.bmWidthBytes + x * 3;
                    colours.insert(static_cast<DWORD>(p[0] | p[1] << 8 | p[2] << 16));
                }
            }
        }
        std::printf("bitmap: %ldx%ld %s\n", static_cast<long>(info.bmWidth), static_cast<long>(info.bmHeight),
                    colours.size() > 16 ? "drawn" : "blank");
        DeleteObject(bitmap);
    } else {
        std::printf("bitmap: 0x%08lX\n", static_cast<unsigned long>(hr));
    }
    IExtractImage2* second = nullptr;
    if (SUCCEEDED(image->QueryInterface(IID_IExtractImage2, reinterpret_cast<void**>(&second)))) {
        FILETIME stamp = {};
        const HRESULT stamped = second->GetDateStamp(&stamp);
        std::printf("date stamp: 0x%08lX %s\n", static_cast<unsigned long>(stamped), stamp.dwHighDateTime != 0 ? "set" : "none");
        second->Release();
    }
    image->Release();
    folder->Release();
    return 0;
}

int showMenu(const std::string& path, const std::vector<std::string>& names)
{
    IShellFolder2* folder = nullptr;
    IContextMenu* menu = menuOf(path, names, &folder);
    if (menu == nullptr) {
        std::printf("no menu\n");
        return 1;
    }
    HMENU popup = CreatePopupMenu();
    const HRESULT hr = menu->QueryContextMenu(popup, 0, 1, 0x7FFF, CMF_NORMAL);
    std::printf("entries: %ld\n", static_cast<long>(HRESULT_CODE(hr)));
    for (int i = 0, n = GetMenuItemCount(popup); i < n; ++i) {
        WCHAR text[256] = {};
        MENUITEMINFOW info = {};
        info.cbSize = sizeof info;
        info.fMask = MIIM_ID | MIIM_STRING | MIIM_SUBMENU | MIIM_FTYPE;
        info.dwTypeData = text;
        info.cch = 255;
        GetMenuItemInfoW(popup, static_cast<UINT>(i), TRUE, &info);
        if ((info.fType & MFT_SEPARATOR) != 0) {
            std::printf("-\n");
            continue;
        }
        char verb[128] = {};
        if (info.hSubMenu == nullptr) {
            menu->GetCommandString(info.wID - 1, GCS_VERBA, nullptr, verb, sizeof verb);
        }
        std::printf("%s%s\t%s\n", narrow(text).c_str(), info.hSubMenu != nullptr ? " >" : "", verb);
    }
    DestroyMenu(popup);
    menu->Release();
    folder->Release();
    return 0;
}

// Runs the entry VERB of a menu as the file manager does, its menu made first.
HRESULT runVerb(IContextMenu* menu, const std::string& verb, const std::string& parameters, HWND window)
{
    HMENU popup = CreatePopupMenu();
    menu->QueryContextMenu(popup, 0, 1, 0x7FFF, CMF_NORMAL);
    CMINVOKECOMMANDINFO info = {};
    info.cbSize = sizeof info;
    info.hwnd = window;
    info.lpVerb = verb.c_str();
    info.lpParameters = parameters.empty() ? nullptr : parameters.c_str();
    info.nShow = SW_SHOWNORMAL;
    const HRESULT hr = menu->InvokeCommand(&info);
    DestroyMenu(popup);
    return hr;
}

int invoke(const std::string& path, const std::string& verb, const std::string& parameters,
           const std::vector<std::string>& names)
{
    IShellFolder2* folder = nullptr;
    IContextMenu* menu = menuOf(path, names, &folder);
    if (menu == nullptr) {
        std::printf("no menu\n");
        return 1;
    }
    std::printf("0x%08lX\n", static_cast<unsigned long>(runVerb(menu, verb, parameters, nullptr)));
    menu->Release();
    folder->Release();
    return 0;
}

int checks()
{
    PIDLIST_ABSOLUTE top = nullptr;
    IShellFolder2* folder = folderAt("", &top);
    check(folder != nullptr, "the desktop parses ::{CLSID} and binds to the folder");
    if (folder == nullptr) {
        return checksDone();
    }
    IPersistFolder2* persist = nullptr;
    PIDLIST_ABSOLUTE current = nullptr;
    check(SUCCEEDED(folder->QueryInterface(IID_IPersistFolder2, reinterpret_cast<void**>(&persist))) &&
              SUCCEEDED(persist->GetCurFolder(&current)) && ILIsEqual(current, top),
          "the folder knows its place (IPersistFolder2)");
    CLSID clsid = {};
    check(persist != nullptr && SUCCEEDED(persist->GetClassID(&clsid)) && IsEqualCLSID(clsid, ::clsid(Clsid)),
          "... and its class");
    CoTaskMemFree(current);
    if (persist != nullptr) {
        persist->Release();
    }

    std::vector<PITEMID_CHILD> all = items(folder);
    check(all.size() >= 2, "the top holds the galleries and Keywords");
    if (all.empty()) {
        return checksDone();
    }
    PITEMID_CHILD first = all[0];
    // The same item, each byte damaged in turn: every call refuses it.
    const USHORT cb = first->mkid.cb;
    bool refused = true;
    for (USHORT i = 0; i + 2 < cb; ++i) {
        std::vector<BYTE> bytes(reinterpret_cast<const BYTE*>(first), reinterpret_cast<const BYTE*>(first) + cb + 2);
        bytes[2 + i] ^= 0x41;
        auto* damaged = reinterpret_cast<PCUITEMID_CHILD>(bytes.data());
        SFGAOF attributes = SFGAO_FOLDER;
        STRRET name = {};
        IShellFolder* child = nullptr;
        SHELLDETAILS details = {};
        refused = refused && folder->GetAttributesOf(1, &damaged, &attributes) == E_INVALIDARG &&
                  folder->GetDisplayNameOf(damaged, SHGDN_NORMAL, &name) == E_INVALIDARG &&
                  folder->BindToObject(damaged, nullptr, IID_IShellFolder, reinterpret_cast<void**>(&child)) == E_INVALIDARG &&
                  child == nullptr && folder->CompareIDs(0, damaged, first) == E_INVALIDARG &&
                  folder->GetDetailsOf(damaged, 0, &details) == E_INVALIDARG;
    }
    check(refused, "an identifier damaged in any byte is refused by every call");
    // A foreign identifier: a file's, from the file system.
    PIDLIST_ABSOLUTE file = nullptr;
    WCHAR windows[MAX_PATH] = {};
    GetWindowsDirectoryW(windows, MAX_PATH);
    if (SUCCEEDED(SHParseDisplayName(windows, nullptr, &file, 0, nullptr))) {
        PCUITEMID_CHILD foreign = ILFindLastID(file);
        SFGAOF attributes = SFGAO_FOLDER;
        check(folder->GetAttributesOf(1, &foreign, &attributes) == E_INVALIDARG, "another folder's identifier is refused");
        CoTaskMemFree(file);
    }
    // A cut identifier: shorter than any of ours.
    BYTE tiny[] = {3, 0, 'L', 0, 0};
    auto* cut = reinterpret_cast<PCUITEMID_CHILD>(tiny);
    STRRET name = {};
    check(folder->GetDisplayNameOf(cut, SHGDN_NORMAL, &name) == E_INVALIDARG, "a cut identifier is refused");

    // The enumerator: Next, Skip, Reset, and a clone that goes on from where it was made.
    IEnumIDList* list = nullptr;
    if (SUCCEEDED(folder->EnumObjects(nullptr, SHCONTF_FOLDERS | SHCONTF_NONFOLDERS, &list)) && list != nullptr) {
        auto nameOf = [&](PITEMID_CHILD item) {
            STRRET text = {};
            folder->GetDisplayNameOf(item, SHGDN_NORMAL, &text);
            const std::string shown = strret(text, item);
            CoTaskMemFree(item);
            return shown;
        };
        PITEMID_CHILD two[2] = {};
        check(list->Next(2, two, nullptr) == E_POINTER, "Next of two without a count is refused");
        check(list->Skip(1) == S_OK, "Skip passes an item");
        IEnumIDList* clone = nullptr;
        check(list->Clone(&clone) == S_OK && clone != nullptr, "the enumerator clones");
        PITEMID_CHILD item = nullptr;
        ULONG got = 0;
        const bool nextOk = list->Next(1, &item, &got) == S_OK && got == 1;
        const std::string second = nextOk ? nameOf(item) : std::string();
        check(nextOk && second == "Keywords", "... then Next gives the second (" + second + ")");
        got = 0;
        item = nullptr;
        check(clone != nullptr && clone->Next(1, &item, &got) == S_OK && got == 1 && nameOf(item) == second,
              "the clone goes on from where it was made");
        check(list->Next(1, &item, &got) == S_FALSE && got == 0, "past the end, nothing");
        check(list->Skip(5) == S_FALSE, "skipping past the end is told");
        check(list->Reset() == S_OK && list->Next(1, &item, &got) == S_OK && nameOf(item) == "Holidays",
              "Reset starts again");
        if (clone != nullptr) {
            clone->Release();
        }
        list->Release();
    }

    SHELLDETAILS details = {};
    check(folder->GetDetailsOf(nullptr, 99, &details) == E_FAIL, "past the last column there is none");
    check(folder->CompareIDs(99, first, first) == E_INVALIDARG, "nor a column 99 to sort by");
    check(HRESULT_CODE(folder->CompareIDs(0, first, first)) == 0, "an item is equal to itself");
    std::basic_string<WCHAR> missing = wide("No such gallery");
    PIDLIST_RELATIVE none = nullptr;
    check(FAILED(folder->ParseDisplayName(nullptr, nullptr, &missing[0], nullptr, &none, nullptr)) && none == nullptr,
          "a name that is not there is not parsed");
    IShellFolder* picture = nullptr;
    check(folder->EnumObjects(nullptr, SHCONTF_FOLDERS, nullptr) == E_POINTER, "EnumObjects without a place for the list");
    (void)picture;

    // SHBindToParent on a picture's full identifier list gives its gallery's folder.
    PIDLIST_ABSOLUTE lakes = nullptr;
    IShellFolder2* gallery = folderAt("Holidays\\Lakes", &lakes);
    std::vector<PITEMID_CHILD> pictures = gallery != nullptr ? items(gallery) : std::vector<PITEMID_CHILD>{};
    if (!pictures.empty()) {
        PIDLIST_ABSOLUTE full = ILCombine(lakes, pictures[0]);
        IShellFolder* parent = nullptr;
        PCUITEMID_CHILD last = nullptr;
        STRRET parsing = {};
        check(SUCCEEDED(SHBindToParent(full, IID_IShellFolder, reinterpret_cast<void**>(&parent), &last)) &&
                  SUCCEEDED(parent->GetDisplayNameOf(last, SHGDN_FORPARSING, &parsing)) &&
                  strret(parsing, last).find(".jpg") != std::string::npos,
              "SHBindToParent reaches a picture's gallery, which names the file");
        IShellFolder* into = nullptr;
        check(parent != nullptr && parent->BindToObject(last, nullptr, IID_IShellFolder, reinterpret_cast<void**>(&into)) == E_INVALIDARG,
              "a picture is no folder to bind to");
        if (parent != nullptr) {
            parent->Release();
        }
        CoTaskMemFree(full);
    } else {
        check(false, "the gallery Holidays\\Lakes holds pictures");
    }
    for (PITEMID_CHILD item : pictures) {
        CoTaskMemFree(item);
    }
    if (gallery != nullptr) {
        gallery->Release();
    }
    CoTaskMemFree(lakes);
    for (PITEMID_CHILD item : all) {
        CoTaskMemFree(item);
    }
    CoTaskMemFree(top);
    folder->Release();
    return checksDone();
}

// Binds to the folder, enumerates it and sorts it by date taken, as a view does, timed: the
// first time in the process (the server loaded, the store opened) and twice again with both
// there, as in the file manager, which keeps them.
// ---- the folder's own view, in a browser of the least kind ----------------------------------------

// What the view asks of the window that holds it: its frame, and a place for menus, tool bars and
// status texts, which this one does without.
class Browser final : public IShellBrowser {
public:
    explicit Browser(HWND frame) : frame_(frame) {}
    IShellView* active = nullptr;
    int browsed = 0;

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** out) override
    {
        if (IsEqualIID(riid, IID_IUnknown) || IsEqualIID(riid, IID_IOleWindow) || IsEqualIID(riid, IID_IShellBrowser)) {
            *out = static_cast<IShellBrowser*>(this);
            AddRef();
            return S_OK;
        }
        *out = nullptr;
        return E_NOINTERFACE;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return ++references_; }
    ULONG STDMETHODCALLTYPE Release() override { return --references_; } // lives on the stack
    HRESULT STDMETHODCALLTYPE GetWindow(HWND* window) override
    {
        *window = frame_;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE ContextSensitiveHelp(BOOL) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE InsertMenusSB(HMENU, LPOLEMENUGROUPWIDTHS) override { return S_OK; }
    HRESULT STDMETHODCALLTYPE SetMenuSB(HMENU, HOLEMENU, HWND) override { return S_OK; }
    HRESULT STDMETHODCALLTYPE RemoveMenusSB(HMENU) override { return S_OK; }
    HRESULT STDMETHODCALLTYPE SetStatusTextSB(LPCWSTR) override { return S_OK; }
    HRESULT STDMETHODCALLTYPE EnableModelessSB(BOOL) override { return S_OK; }
    HRESULT STDMETHODCALLTYPE TranslateAcceleratorSB(MSG*, WORD) override { return S_FALSE; }
    HRESULT STDMETHODCALLTYPE BrowseObject(PCUIDLIST_RELATIVE, UINT) override
    {
        ++browsed;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetViewStateStream(DWORD, IStream** stream) override
    {
        *stream = nullptr;
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE GetControlWindow(UINT, HWND* window) override
    {
        *window = nullptr;
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE SendControlMsg(UINT, UINT, WPARAM, LPARAM, LRESULT* result) override
    {
        if (result != nullptr) {
            *result = 0;
        }
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE QueryActiveShellView(IShellView** view) override
    {
        *view = active;
        if (active != nullptr) {
            active->AddRef();
        }
        return active != nullptr ? S_OK : E_FAIL;
    }
    HRESULT STDMETHODCALLTYPE OnViewWindowActive(IShellView*) override { return S_OK; }
    HRESULT STDMETHODCALLTYPE SetToolbarItems(LPTBBUTTONSB, UINT, UINT) override { return S_OK; }

private:
    HWND frame_;
    ULONG references_ = 1;
};

void pump(int milliseconds)
{
    const DWORD until = GetTickCount() + static_cast<DWORD>(milliseconds);
    MSG message;
    while (GetTickCount() < until) {
        while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
            TranslateMessage(&message);
            DispatchMessageW(&message);
        }
        Sleep(10);
    }
}

// The number of columns of a list view, and the title of one (by its index).
int listColumnCount(HWND list)
{
    HWND header = reinterpret_cast<HWND>(SendMessageW(list, LVM_GETHEADER, 0, 0));
    return header != nullptr ? static_cast<int>(SendMessageW(header, HDM_GETITEMCOUNT, 0, 0)) : 0;
}

std::string columnTitle(HWND list, int index)
{
    WCHAR text[256] = {};
    LVCOLUMNW column = {};
    column.mask = LVCF_TEXT;
    column.pszText = text;
    column.cchTextMax = 256;
    SendMessageW(list, LVM_GETCOLUMNW, static_cast<WPARAM>(index), reinterpret_cast<LPARAM>(&column));
    return narrow(text);
}

// The list view's columns and rows, as the user reads them: "title|title..." and a line a row.
std::vector<std::string> rowsOf(HWND list, std::string& header)
{
    const int columns = listColumnCount(list);
    std::vector<int> order(static_cast<std::size_t>(std::max(columns, 1)));
    SendMessageW(list, LVM_GETCOLUMNORDERARRAY, static_cast<WPARAM>(columns), reinterpret_cast<LPARAM>(order.data()));
    header.clear();
    for (int c = 0; c < columns; ++c) {
        header += (c == 0 ? "" : "|") + columnTitle(list, order[static_cast<std::size_t>(c)]);
    }
    std::vector<std::string> rows;
    const int count = static_cast<int>(SendMessageW(list, LVM_GETITEMCOUNT, 0, 0));
    for (int i = 0; i < count; ++i) {
        std::string row;
        for (int c = 0; c < columns; ++c) {
            WCHAR text[512] = {};
            LVITEMW item = {};
            item.iSubItem = order[static_cast<std::size_t>(c)];
            item.pszText = text;
            item.cchTextMax = 512;
            SendMessageW(list, LVM_GETITEMTEXTW, static_cast<WPARAM>(i), reinterpret_cast<LPARAM>(&item));
            row += (c == 0 ? "" : "|") + narrow(text);
        }
        rows.push_back(row);
    }
    return rows;
}

// The columns of a list rearranged as a user leaves them in the view: those `keep` does not name
// taken away (as the system's view does with a column the user hides), the rest in its order.
void rearrange(HWND list, const std::vector<std::string>& keep)
{
    for (int c = listColumnCount(list) - 1; c >= 0; --c) {
        if (std::find(keep.begin(), keep.end(), columnTitle(list, c)) == keep.end()) {
            SendMessageW(list, LVM_DELETECOLUMN, static_cast<WPARAM>(c), 0);
        }
    }
    std::vector<int> order;
    for (const std::string& title : keep) {
        for (int c = 0, n = listColumnCount(list); c < n; ++c) {
            if (columnTitle(list, c) == title) {
                order.push_back(c);
            }
        }
    }
    SendMessageW(list, LVM_SETCOLUMNORDERARRAY, order.size(), reinterpret_cast<LPARAM>(order.data()));
}

// The folder at PATH in the system's view as the file manager shows it (details), in a window of
// our own: its columns and rows; the window pictured into PICTURE.
int view(const std::string& path, const std::string& picturePath, const std::vector<std::string>& keep,
         const std::string& renaming, const std::string& newName)
{
    IShellFolder2* folder = folderAt(path);
    if (folder == nullptr) {
        return 1;
    }
    WNDCLASSW frameClass = {};
    frameClass.lpfnWndProc = DefWindowProcW;
    frameClass.hInstance = GetModuleHandleW(nullptr);
    frameClass.lpszClassName = L"LumenoTestBrowser";
    frameClass.hbrBackground = reinterpret_cast<HBRUSH>(COLOR_WINDOW + 1);
    RegisterClassW(&frameClass);
    HWND frame = CreateWindowExW(0, frameClass.lpszClassName, L"My Galleries", WS_OVERLAPPEDWINDOW | WS_VISIBLE, 0, 0,
                                 860, 300, nullptr, nullptr, frameClass.hInstance, nullptr);
    Browser browser(frame);
    IShellView* shellView = nullptr;
    HRESULT hr = folder->CreateViewObject(frame, IID_IShellView, reinterpret_cast<void**>(&shellView));
    std::printf("view: 0x%08lX\n", static_cast<unsigned long>(hr));
    if (FAILED(hr) || shellView == nullptr) {
        DestroyWindow(frame);
        folder->Release();
        return 1;
    }
    browser.active = shellView;
    FOLDERSETTINGS settings = {FVM_DETAILS, 0};
    RECT client;
    GetClientRect(frame, &client);
    HWND viewWindow = nullptr;
    hr = shellView->CreateViewWindow(nullptr, &settings, &browser, &client, &viewWindow);
    std::printf("window: 0x%08lX\n", static_cast<unsigned long>(hr));
    int status = 1;
    if (SUCCEEDED(hr) && viewWindow != nullptr) {
        // The system's view tells its folder's callback of its window (Wine's tells none: told here
        // as Windows' view does).
        IShellFolderViewCB* callback = nullptr;
        if (SUCCEEDED(folder->QueryInterface(IID_IShellFolderViewCB, reinterpret_cast<void**>(&callback)))) {
            std::printf("callback: 0x%08lX\n",
                        static_cast<unsigned long>(callback->MessageSFVCB(SFVM_WINDOWCREATED, reinterpret_cast<WPARAM>(viewWindow), 0)));
            callback->Release();
        }
        shellView->UIActivate(SVUIA_ACTIVATE_NOFOCUS);
        pump(300);
        HWND list = FindWindowExW(viewWindow, nullptr, WC_LISTVIEWW, nullptr);
        if (list != nullptr) {
            std::string header;
            const std::vector<std::string> rows = rowsOf(list, header);
            std::printf("columns: %s\n", header.c_str());
            for (const std::string& row : rows) {
                std::printf("row: %s\n", row.c_str());
            }
            if (!keep.empty()) {
                rearrange(list, keep);
                rowsOf(list, header);
                std::printf("left: %s\n", header.c_str());
            }
            if (!renaming.empty()) {
                // Rename from the item's menu, run from the view: the name is typed in the list.
                IShellFolder2* again = nullptr;
                if (IContextMenu* menu = menuOf(path, {renaming}, &again)) {
                    std::printf("rename: 0x%08lX\n", static_cast<unsigned long>(runVerb(menu, "rename", "", viewWindow)));
                    menu->Release();
                }
                if (again != nullptr) {
                    again->Release();
                }
                HWND edit = reinterpret_cast<HWND>(SendMessageW(list, LVM_GETEDITCONTROL, 0, 0));
                std::printf("editing: %s\n", edit != nullptr ? "yes" : "no");
                if (edit != nullptr) {
                    SetWindowTextW(edit, wide(newName).c_str());
                    SendMessageW(edit, WM_KEYDOWN, VK_RETURN, 0);
                    pump(100);
                    for (const std::string& row : rowsOf(list, header)) {
                        std::printf("renamed: %s\n", row.substr(0, row.find('|')).c_str());
                    }
                }
            }
            if (!picturePath.empty() && picturePath != "-") {
                int width = 0, height = 0;
                const std::size_t colours = picture(frame, picturePath, width, height);
                std::printf("picture: %s\n", colours > 2 ? "drawn" : "blank");
            }
            status = 0;
        } else {
            std::printf("no list in the view\n");
        }
        shellView->UIActivate(SVUIA_DEACTIVATE);
        shellView->DestroyViewWindow();
    }
    browser.active = nullptr;
    shellView->Release();
    DestroyWindow(frame);
    folder->Release();
    return status;
}

int bench(const std::string& path)
{
    auto ms = [](auto a, auto b) { return std::chrono::duration<double, std::milli>(b - a).count(); };
    for (const char* when : {"first in the process", "again", "again"}) {
        const auto start = std::chrono::steady_clock::now();
        IShellFolder2* folder = folderAt(path);
        if (folder == nullptr) {
            return 1;
        }
        std::vector<PITEMID_CHILD> all = items(folder);
        const auto listed = std::chrono::steady_clock::now();
        std::sort(all.begin(), all.end(), [&](PITEMID_CHILD a, PITEMID_CHILD b) {
            return static_cast<short>(HRESULT_CODE(folder->CompareIDs(1, a, b))) < 0; // date taken
        });
        const auto sorted = std::chrono::steady_clock::now();
        std::printf("%zu pictures, %s: enumerated in %.1f ms, sorted by date in %.1f ms, together %.1f ms\n", all.size(),
                    when, ms(start, listed), ms(listed, sorted), ms(start, sorted));
        for (PITEMID_CHILD item : all) {
            CoTaskMemFree(item);
        }
        folder->Release();
    }
    return 0;
}

} // namespace

int main(int argc, char** argv)
{
    CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    const std::string mode = argc > 1 ? argv[1] : "";
    int status = 2;
    if (mode == "list" && argc == 3) {
        status = list(argv[2]);
    } else if (mode == "sort" && argc == 4) {
        status = sort(argv[2], std::atoi(argv[3]));
    } else if (mode == "rename" && argc == 4) {
        status = renameGallery(argv[2], argv[3]);
    } else if (mode == "drop" && argc >= 5) {
        const bool control = std::string(argv[3]) == "ctrl";
        const int from = control ? 4 : 3;
        status = from + 1 < argc ? drop(argv[2], control, argv[from], {argv + from + 1, argv + argc}) : 2;
    } else if (mode == "out" && argc == 3) {
        status = out(argv[2]);
    } else if (mode == "menu" && argc >= 3) {
        status = showMenu(argv[2], {argv + 3, argv + argc});
    } else if (mode == "invoke" && argc >= 5) {
        status = invoke(argv[2], argv[3], argv[4], {argv + 5, argv + argc});
    } else if (mode == "check") {
        status = checks();
    } else if (mode == "thumbnail" && argc == 5) {
        status = thumbnail(argv[2], argv[3], std::atoi(argv[4]));
    } else if (mode == "view" && argc >= 3) {
        std::vector<std::string> keep;
        if (argc > 4 && std::string(argv[4]) != "-") {
            std::string titles = argv[4];
            for (std::size_t start = 0; start <= titles.size();) {
                const std::size_t end = titles.find(';', start);
                keep.push_back(titles.substr(start, end == std::string::npos ? std::string::npos : end - start));
                start = end == std::string::npos ? titles.size() + 1 : end + 1;
            }
        }
        status = view(argv[2], argc > 3 ? argv[3] : "", keep, argc > 6 ? argv[5] : "", argc > 6 ? argv[6] : "");
    } else if (mode == "bench" && argc == 3) {
        status = bench(argv[2]);
    } else {
        std::fprintf(stderr, "usage: namespace-test list|sort|rename|check|bench ...\n");
    }
    CoUninitialize();
    return status;
}
