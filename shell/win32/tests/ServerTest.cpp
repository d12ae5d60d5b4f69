// Tests of the COM server under Wine.
//   server-test check DLL JPEG             registration, objects, unloading: "N passed, M failed"
//   server-test columns DLL UNIX WINDOWS... the column provider's answers, as 'lumeno columns --json'
//   server-test tip DLL WINDOWS            the info tip, as 'lumeno tip'
//   server-test overlay DLL UNIX WINDOWS...  the claiming overlay, as 'lumeno overlay'
//   server-test bench DLL FOLDER COUNT     every column of IMG_0000.JPG... in FOLDER, twice, timed
#include "TestHost.h"

#include <set>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace {

const std::string Missing = "<missing>";

HKEY rootOf(const std::string& path, std::string& rest)
{
    const std::size_t slash = path.find('\\');
    const std::string root = path.substr(0, slash);
    rest = slash == std::string::npos ? std::string() : path.substr(slash + 1);
    if (root == "HKCR") return HKEY_CLASSES_ROOT;
    if (root == "HKLM") return HKEY_LOCAL_MACHINE;
    return HKEY_CURRENT_USER;
}

bool keyExists(const std::string& path)
{
    std::string rest;
    HKEY root = rootOf(path, rest);
    HKEY key = nullptr;
    if (RegOpenKeyExA(root, rest.c_str(), 0, KEY_READ, &key) != ERROR_SUCCESS) {
        return false;
    }
    RegCloseKey(key);
    return true;
}

// A value's data as text (strings as they are, binary as hex), or <missing>.
std::string value(const std::string& path, const char* name = nullptr)
{
    std::string rest;
    HKEY root = rootOf(path, rest);
    HKEY key = nullptr;
    if (RegOpenKeyExA(root, rest.c_str(), 0, KEY_READ, &key) != ERROR_SUCCESS) {
        return Missing;
    }
    BYTE data[1024] = {};
    DWORD size = sizeof data;
    DWORD type = 0;
    const LONG r = RegQueryValueExA(key, name, nullptr, &type, data, &size);
    RegCloseKey(key);
    if (r != ERROR_SUCCESS) {
        return Missing;
    }
    if (type == REG_BINARY) {
        std::string hex;
        char b[4];
        for (DWORD i = 0; i < size; ++i) {
            std::snprintf(b, sizeof b, "%02X", data[i]);
            hex += b;
        }
        return "hex:" + hex;
    }
    return std::string(reinterpret_cast<char*>(data));
}

void setString(const std::string& path, const char* name, const std::string& text)
{
    std::string rest;
    HKEY root = rootOf(path, rest);
    HKEY key = nullptr;
    RegCreateKeyExA(root, rest.c_str(), 0, nullptr, 0, KEY_WRITE, nullptr, &key, nullptr);
    RegSetValueExA(key, name, 0, REG_SZ, reinterpret_cast<const BYTE*>(text.c_str()), static_cast<DWORD>(text.size() + 1));
    RegCloseKey(key);
}

void deleteTree(const std::string& path)
{
    std::string rest;
    HKEY root = rootOf(path, rest);
    RegDeleteTreeA(root, rest.c_str());
}

struct ClassRow {
    const char* clsid;
    const char* versioned;
    const char* independent;
    const char* description;
    const char* typeLib; // null: none
    bool programmable;
    bool approved;
    bool curVer;
    const char* overlay; // null: none
};

const char* const Own = "{066EFA48-AC3A-4B5A-BDCE-434BA4C203C3}";
const char* const Automation = "{450CC99B-54D8-4059-B236-447856A47FA6}";

const ClassRow Rows[] = {
    {"{86B404E0-5673-4F00-8AFF-335DAEF6C2DF}", "EXIF.EXIFImage.1", "EXIF.EXIFImage", "EXIFImage Class", Automation, true, false, true, nullptr},
    {"{246AE10A-11B0-4507-9441-79321B2B6DE7}", "EXIF.IFD.1", "EXIF.IFD", "IFD Class", Automation, true, false, true, nullptr},
    {"{DB7EA6DF-BB68-486F-936C-ABCD1949FC3B}", "EXIF.Field.1", "EXIF.Field", "Field Class", Automation, true, false, true, nullptr},
    {"{2DF2EB8B-BCD5-4736-9D48-085144E70BF3}", "EXIF.IFDs.1", "EXIF.IFDs", "IFDs Class", Automation, true, false, true, nullptr},
    {"{D236AA06-A5A9-438B-87A3-D51D8FD38093}", "EXIF.Fields.1", "EXIF.Fields", "Fields Class", Automation, true, false, true, nullptr},
    {"{0DF49261-F891-4A12-9092-EC3566EADCCC}", "Lumeno.LumenoPropertySheet.1", "Lumeno.LumenoPropertySheet", "LumenoPropertySheet Class", nullptr, false, true, true, nullptr},
    {"{E376AE75-7C59-4487-B40C-082CCBB4ABDE}", "Lumeno.LumenoContextMenu.1", "Lumeno.LumenoContextMenu", "LumenoContextMenu Class", Own, false, true, true, nullptr},
    {"{4B0D5947-C512-4028-93B6-FD94EEF5AECA}", "Lumeno.LumenoSlideShow.1", "Lumeno.LumenoSlideShow", "LumenoSlideShow Class", Own, true, false, true, nullptr},
    {"{F36B4023-B4F2-4C40-9CDC-0E1B0C66F1FC}", "Lumeno.LumenoInfoTip.1", "Lumeno.LumenoInfoTip", "LumenoInfoTip Class", Own, true, true, true, nullptr},
    {"{5D2257E7-CCBF-496F-A579-0E5625E2E15B}", "Lumeno.LumenoColumnProvider.1", "Lumeno.LumenoColumnProvider", "LumenoColumnProvider Class", Own, true, true, true, nullptr},
    {"{89434BB7-16EA-4562-8372-5AD47F18F97B}", "Lumeno.LumenoNamespace.1", "Lumeno.LumenoNamespace", "My Galleries", Own, false, true, true, nullptr},
    {"{0117FFFB-91FD-414E-AC34-A00531032006}", "Lumeno.LumenoShellIconOverlayIdentifier.1", "Lumeno.LumenoShellIconOverlayIdentifier", "LumenoShellIconOverlayIdentifier Class", Own, false, true, true, "Lumeno XMP & IPTC"},
    {"{3E57A8B6-849B-476E-A3E9-CFCE49E3662A}", "Lumeno.LumenoExifShellIconOverlayIdentifier.1", "Lumeno.LumenoExifShellIconOverlayIdentifier", "LumenoExifShellIconOverlayIdentifier Class", nullptr, false, true, false, "Lumeno EXIF"},
    {"{F0C13C81-FB8D-464e-873F-F8FF999E3EEC}", "Lumeno.LumenoXmpShellIconOverlayIdentifier.1", "Lumeno.LumenoXmpShellIconOverlayIdentifier", "LumenoXmpShellIconOverlayIdentifier Class", nullptr, false, true, false, "Lumeno XMP"},
    {"{BCA5FB3A-9FC1-4465-ACE3-8C2072449164}", "Lumeno.LumenoIptcShellIconOverlayIdentifier.1", "Lumeno.LumenoIptcShellIconOverlayIdentifier", "LumenoIptcShellIconOverlayIdentifier Class", nullptr, false, true, false, "Lumeno IPTC"},
    {"{E1C1BE26-35A8-4999-A3A6-235CB7BD558B}", "Lumeno.LumenoExifXmpShellIconOverlayIdentifier.1", "Lumeno.LumenoExifXmpShellIconOverlayIdentifier", "LumenoExifXmpShellIconOverlayIdentifier Class", nullptr, false, true, false, "Lumeno EXIF & XMP"},
    {"{E3F36090-0540-418f-8136-074D5B255B59}", "Lumeno.LumenoExifIptcShellIconOverlayIdentifier.1", "Lumeno.LumenoExifIptcShellIconOverlayIdentifier", "LumenoExifIptcShellIconOverlayIdentifier Class", nullptr, false, true, false, "Lumeno EXIF & IPTC"},
    {"{2E9BD3CA-A57F-450b-B1BA-A6A58C0C1D51}", "Lumeno.LumenoExifBothShellIconOverlayIdentifier.1", "Lumeno.LumenoExifBothShellIconOverlayIdentifier", "LumenoExifBothShellIconOverlayIdentifier Class", nullptr, false, true, false, "Lumeno EXIF & XMP & IPTC"},
    {"{56216B02-5B31-48EB-A0B6-D86A595BCC3F}", "Lumeno.LumenoFilterIPTC.1", "Lumeno.LumenoFilterIPTC", "LumenoFilterIPTC Class", Own, true, false, true, nullptr},
};

const char* const Approved = "HKLM\\Software\\Microsoft\\Windows\\CurrentVersion\\Shell Extensions\\Approved";
const char* const Overlays = "HKLM\\Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\ShellIconOverlayIdentifiers\\";

void checkRegistered(const std::string& module)
{
    for (const ClassRow& r : Rows) {
        const std::string key = std::string("HKCR\\CLSID\\") + r.clsid;
        const std::string name = r.description;
        if (name == "LumenoFilterIPTC Class") {
            continue; // below: its HKLM blocks replace its CLSID key
        }
        check(value(key) == r.description, name + ": CLSID description");
        check(value(key + "\\InprocServer32") == module, name + ": InprocServer32 is " + value(key + "\\InprocServer32"));
        check(value(key + "\\InprocServer32", "ThreadingModel") == "Apartment", name + ": apartment");
        const bool sheet = std::string(r.clsid) == "{0DF49261-F891-4A12-9092-EC3566EADCCC}";
        check(value(key + "\\ProgID") == (sheet ? Missing : std::string(r.versioned)), name + ": ProgID value");
        check(value(key + "\\VersionIndependentProgID") == (sheet ? Missing : std::string(r.independent)), name + ": VI ProgID");
        check(value(key + "\\TypeLib") == (r.typeLib ? std::string(r.typeLib) : Missing), name + ": TypeLib");
        check(keyExists(key + "\\Programmable") == r.programmable, name + ": Programmable");
        check(value(std::string("HKCR\\") + r.versioned + "\\CLSID") == r.clsid, name + ": versioned ProgID");
        check(value(std::string("HKCR\\") + r.independent + "\\CLSID") == r.clsid, name + ": independent ProgID");
        check(value(std::string("HKCR\\") + r.independent + "\\CurVer") == (r.curVer ? std::string(r.versioned) : Missing),
              name + ": CurVer");
        check(value(Approved, r.clsid) == (r.approved ? (name == "My Galleries" ? "LumenoNamespace Class" : name) : Missing),
              name + ": Approved");
        if (r.overlay != nullptr) {
            check(value(std::string(Overlays) + r.overlay) == r.clsid, name + ": overlay name");
        }
    }
    // The preview's irregular ProgIDs.
    const std::string preview = "HKCR\\CLSID\\{FC7BBDBC-7E6D-4911-9CC3-E0B46EB48244}";
    check(value(preview) == "LumenoPreview Class", "preview description");
    check(value(preview + "\\ProgID") == "Lumeno.LumenoPreview.1", "preview ProgID value");
    check(value(preview + "\\VersionIndependentProgID") == "Lumeno.LumenoPreview", "preview VI ProgID value");
    check(value("HKCR\\Lumeno.ImagePreview.1\\CLSID") == "{FC7BBDBC-7E6D-4911-9CC3-E0B46EB48244}", "preview ProgID key");
    check(value("HKCR\\Lumeno.ImagePreview\\CurVer") == "Lumeno.LumenoPreview.1", "preview CurVer");
    check(value(Approved, "{FC7BBDBC-7E6D-4911-9CC3-E0B46EB48244}") == Missing, "preview not approved");
    // The column handler and the gallery folder.
    check(value("HKCR\\Folder\\ShellEx\\ColumnHandlers\\{5D2257E7-CCBF-496F-A579-0E5625E2E15B}") ==
              "LumenoColumnProvider Class", "column handler");
    const std::string folder = "HKCR\\CLSID\\{89434BB7-16EA-4562-8372-5AD47F18F97B}";
    check(value(folder + "\\ShellFolder", "Attributes") == "hex:300100A0", "ShellFolder attributes");
    check(value(folder + "\\DefaultIcon") == module + ",1", "gallery folder icon");
    const std::string junction =
        "HKLM\\Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\Desktop\\NameSpace\\{89434BB7-16EA-4562-8372-5AD47F18F97B}";
    check(value(junction) == "LumenoNamespace Class", "desktop junction");
    check(value(junction, "Removal Message") == "Remove access to Lumeno?", "removal message");
    // The filter's two HKLM blocks, in their order. HKCR\CLSID shows HKLM\SOFTWARE\Classes\CLSID,
    // so each ForceRemove block replaces the class key before it: what stays is the second
    // block's, the description and PersistentHandler.
    const std::string filter = "HKLM\\SOFTWARE\\Classes\\CLSID\\{56216B02-5B31-48EB-A0B6-D86A595BCC3F}";
    check(value(filter) == "LumenoFilterIPTC Class", "filter description");
    check(value(filter + "\\PersistentHandler") == "{56216B02-5B31-48EB-A0B6-D86A595BCC3F}", "filter handler");
    check(!keyExists(filter + "\\PersistentAddinsRegistered"), "the second filter block replaced the first");
    check(!keyExists(filter + "\\InprocServer32"), "and the class key its HKCR part wrote");
    check(value("HKCR\\Lumeno.LumenoFilterIPTC\\CurVer") == "Lumeno.LumenoFilterIPTC.1", "filter ProgID");
    // The type library.
    check(value("HKCR\\TypeLib\\{066EFA48-AC3A-4B5A-BDCE-434BA4C203C3}\\1.0") == "Lumeno 1.0 Type Library", "type library");
}

void checkHandlers(const std::string& fileType, bool infoTip)
{
    const std::string base = "HKCR\\" + fileType + "\\ShellEx\\";
    check(value(base + "{00021500-0000-0000-C000-000000000046}") ==
              (infoTip ? "{F36B4023-B4F2-4C40-9CDC-0E1B0C66F1FC}" : Missing), fileType + ": info tip");
    check(value(base + "PropertySheetHandlers\\LumenoPropertySheet") == "{0DF49261-F891-4A12-9092-EC3566EADCCC}",
          fileType + ": property sheet");
    check(value(base + "ContextMenuHandlers\\LumenoContextMenu") == "{E376AE75-7C59-4487-B40C-082CCBB4ABDE}",
          fileType + ": context menu");
}

int runChecks(const char* dll, const char* jpeg)
{
    Module m(dll);
    check(m.handle != nullptr, "the server loads");
    if (m.handle == nullptr) {
        return checksDone();
    }
    check(m.canUnload && m.getClassObject && m.reg && m.unreg && m.regSlideShow && m.unregSlideShow, "six exports");
    WCHAR path[MAX_PATH] = {};
    GetModuleFileNameW(m.handle, path, MAX_PATH);
    const std::string module = narrow(path);

    // The file types as this machine has them: .jpg named "jpegfile", .png without a name, .tif
    // with a name of the wrong type, no .bmp at all, and a program chosen for .jpg.
    setString("HKCR\\.jpg", nullptr, "jpegfile");
    deleteTree("HKCR\\.png");
    setString("HKCR\\.png", "Content Type", "image/png");
    deleteTree("HKCR\\.tif");
    {
        HKEY key = nullptr;
        RegCreateKeyExA(HKEY_CLASSES_ROOT, ".tif", 0, nullptr, 0, KEY_WRITE, nullptr, &key, nullptr);
        const DWORD number = 7;
        RegSetValueExA(key, nullptr, 0, REG_DWORD, reinterpret_cast<const BYTE*>(&number), sizeof number);
        RegCloseKey(key);
    }
    deleteTree("HKCR\\.bmp");
    setString("HKCU\\Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\FileExts\\.jpg", "Application", "viewer.exe");

    const HRESULT noBmp = m.reg();
    check(noBmp == HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND), "without .bmp the last status is the open's error");
    checkRegistered(module);
    checkHandlers("jpegfile", true);
    checkHandlers(".png", false);
    checkHandlers(".tif", true);
    check(!keyExists("HKCR\\.bmp"), "no .bmp key was made");
    check(value("HKCR\\Applications\\viewer.exe\\ShellEx\\ContextMenuHandlers\\LumenoContextMenu") ==
              "{E376AE75-7C59-4487-B40C-082CCBB4ABDE}", "the user's program gets the context menu");
    setString("HKCR\\.bmp", nullptr, "Paint.Picture");
    check(m.reg() == S_OK, "with every type present registration succeeds");
    checkHandlers("Paint.Picture", false);

    // Objects: every class is served; those the table marks are made aggregated too, the others
    // refuse an outer object.
    HRESULT hr = S_OK;
    IColumnProvider* columns = create<IColumnProvider>(m, "{5D2257E7-CCBF-496F-A579-0E5625E2E15B}", IID_IColumnProvider);
    check(columns != nullptr, "column provider created");
    IQueryInfo* tip = create<IQueryInfo>(m, "{F36B4023-B4F2-4C40-9CDC-0E1B0C66F1FC}", IID_IQueryInfo);
    check(tip != nullptr, "info tip created");
    create<IUnknown>(m, "{00000000-1111-2222-3333-444444444444}", IID_IUnknown, nullptr, &hr);
    check(hr == CLASS_E_CLASSNOTAVAILABLE, "an unknown class is not available");
    Outer outer;
    const std::set<std::string> aggregatable = {
        "{246AE10A-11B0-4507-9441-79321B2B6DE7}", "{2DF2EB8B-BCD5-4736-9D48-085144E70BF3}",
        "{D236AA06-A5A9-438B-87A3-D51D8FD38093}", "{0DF49261-F891-4A12-9092-EC3566EADCCC}",
        "{E376AE75-7C59-4487-B40C-082CCBB4ABDE}", "{FC7BBDBC-7E6D-4911-9CC3-E0B46EB48244}",
        "{4B0D5947-C512-4028-93B6-FD94EEF5AECA}", "{F36B4023-B4F2-4C40-9CDC-0E1B0C66F1FC}",
        "{5D2257E7-CCBF-496F-A579-0E5625E2E15B}", "{56216B02-5B31-48EB-A0B6-D86A595BCC3F}"};
    for (const ClassRow& r : Rows) {
        const std::string name = r.description;
        IUnknown* plain = create<IUnknown>(m, r.clsid, IID_IUnknown, nullptr, &hr);
        check(plain != nullptr && hr == S_OK, name + ": served");
        if (plain != nullptr) plain->Release();
        IUnknown* inner = create<IUnknown>(m, r.clsid, IID_IUnknown, &outer, &hr);
        const bool expected = aggregatable.count(r.clsid) > 0;
        check(expected ? inner != nullptr && hr == S_OK : inner == nullptr && hr == CLASS_E_NOAGGREGATION,
              name + (expected ? ": made aggregated" : ": refuses aggregation"));
        if (inner != nullptr) inner->Release();
    }
    create<IUnknown>(m, "{5D2257E7-CCBF-496F-A579-0E5625E2E15B}", IID_IColumnProvider, &outer, &hr);
    check(hr == CLASS_E_NOAGGREGATION, "an aggregated object hands out its inner unknown alone");
    IUnknown* inner = create<IUnknown>(m, "{5D2257E7-CCBF-496F-A579-0E5625E2E15B}", IID_IUnknown, &outer, &hr);
    IColumnProvider* viaInner = nullptr;
    check(inner != nullptr && SUCCEEDED(inner->QueryInterface(IID_IColumnProvider, reinterpret_cast<void**>(&viaInner))),
          "the inner unknown answers its interface");
    if (viaInner) viaInner->Release();
    if (inner) inner->Release();
    // The automation collections made aggregated answer their dispatch interface through the
    // inner unknown, and are empty.
    IUnknown* ifds = create<IUnknown>(m, "{2DF2EB8B-BCD5-4736-9D48-085144E70BF3}", IID_IUnknown, &outer, &hr);
    IDispatch* ifdsDispatch = nullptr;
    check(ifds != nullptr && SUCCEEDED(ifds->QueryInterface(IID_IDispatch, reinterpret_cast<void**>(&ifdsDispatch))),
          "aggregated IFDs answer IDispatch");
    if (ifdsDispatch != nullptr) {
        DISPID count = 0;
        LPOLESTR name = const_cast<LPOLESTR>(L"Count");
        DISPPARAMS none = {};
        VARIANT result;
        VariantInit(&result);
        check(ifdsDispatch->GetIDsOfNames(IID_NULL, &name, 1, 0, &count) == S_OK &&
                  ifdsDispatch->Invoke(count, IID_NULL, 0, DISPATCH_PROPERTYGET, &none, &result, nullptr, nullptr) == S_OK &&
                  V_VT(&result) == VT_I4 && V_I4(&result) == 0,
              "an IFDs collection made on its own counts 0");
        ifdsDispatch->Release();
    }
    if (ifds != nullptr) ifds->Release();

    if (columns != nullptr) {
        columns->Initialize(nullptr);
        SHCOLUMNINFO info;
        check(columns->GetColumnInfo(0, &info) == S_OK && narrow(info.wszTitle) == "ImageWidth" &&
                  narrow(info.wszDescription) == "Image width" && info.vt == VT_LPSTR && info.cChars == 20 &&
                  info.csFlags == 0x21 && info.fmt == LVCFMT_LEFT && info.scid.pid == 0,
              "column 0 described");
        const GUID format = {0x394C3DE0, 0x3C6F, 0x11D2, {0x81, 0x7B, 0x00, 0xC0, 0x4F, 0x79, 0x7A, 0xB7}};
        check(IsEqualGUID(info.scid.fmtid, format), "column format identifier");
        check(columns->GetColumnInfo(89, &info) == S_OK && narrow(info.wszTitle) == "Time Created", "column 89");
        check(columns->GetColumnInfo(90, &info) == S_FALSE, "no column 90");
        SHCOLUMNDATA data = {};
        WCHAR ext[] = {'.', 'p', 'n', 'g', 0};
        data.pwszExt = ext;
        lstrcpyW(data.wszFile, wide(jpeg).c_str());
        SHCOLUMNID key = {format, 25};
        VARIANT v;
        VariantInit(&v);
        check(columns->GetItemData(&key, &data, &v) == S_FALSE, "no answer for a .png name");
        WCHAR jpg[] = {'.', 'J', 'P', 'G', 0};
        data.pwszExt = jpg;
        check(columns->GetItemData(&key, &data, &v) == S_OK && V_VT(&v) == VT_BSTR && narrow(V_BSTR(&v)) == "Acme",
              "Make of the JPEG");
        VariantClear(&v);
        key.pid = 90;
        check(columns->GetItemData(&key, &data, &v) == S_FALSE, "no answer for column 90");
        columns->Release();
    }
    if (tip != nullptr) {
        tip->Release();
    }

    // Overlay identifiers: information and priority.
    for (const ClassRow& r : Rows) {
        if (r.overlay == nullptr) continue;
        IShellIconOverlayIdentifier* o = create<IShellIconOverlayIdentifier>(m, r.clsid, IID_IShellIconOverlayIdentifier);
        check(o != nullptr, std::string(r.overlay) + ": created");
        if (o == nullptr) continue;
        WCHAR file[MAX_PATH] = {};
        int index = -1;
        DWORD flags = 0;
        check(o->GetOverlayInfo(file, MAX_PATH, &index, &flags) == S_OK && narrow(file) == module && flags == 3 &&
                  index >= 8 && index <= 14, std::string(r.overlay) + ": overlay information");
        check(o->GetOverlayInfo(file, MAX_PATH, nullptr, &flags) == E_INVALIDARG, std::string(r.overlay) + ": null index");
        int priority = -1;
        check(o->GetPriority(&priority) == S_OK && priority == 0, std::string(r.overlay) + ": priority");
        check(o->GetPriority(nullptr) == E_INVALIDARG, std::string(r.overlay) + ": null priority");
        o->Release();
    }

    // Unloading: never while the clipboard has no raw IPTC block; with one, when no object lives.
    const UINT format = RegisterClipboardFormatA("LUMENO_RAW_IPTC");
    if (OpenClipboard(nullptr)) {
        EmptyClipboard();
        CloseClipboard();
        check(m.canUnload() == S_FALSE, "no raw IPTC on the clipboard: stay");
        OpenClipboard(nullptr);
        HGLOBAL block = GlobalAlloc(GMEM_MOVEABLE, 4);
        SetClipboardData(format, block);
        CloseClipboard();
        check(m.canUnload() == S_OK, "raw IPTC on the clipboard and no object: may unload");
        IQueryInfo* alive = create<IQueryInfo>(m, "{F36B4023-B4F2-4C40-9CDC-0E1B0C66F1FC}", IID_IQueryInfo);
        check(m.canUnload() == S_FALSE, "an object alive: stay");
        if (alive) alive->Release();
        check(m.canUnload() == S_OK, "the object gone: may unload again");
        OpenClipboard(nullptr);
        EmptyClipboard();
        CloseClipboard();
    } else {
        check(m.canUnload() == S_FALSE, "no clipboard: stay");
    }

    // Unregistration removes what registration wrote, our overlay names among them; a name that
    // another program has taken since stays.
    const std::string taken = std::string(Overlays) + "Lumeno EXIF";
    setString(taken, nullptr, "{11111111-2222-3333-4444-555555555555}");
    check(SUCCEEDED(m.unreg()), "unregistration succeeds");
    for (const ClassRow& r : Rows) {
        check(!keyExists(std::string("HKCR\\CLSID\\") + r.clsid), std::string(r.description) + ": CLSID key removed");
        check(value(Approved, r.clsid) == Missing, std::string(r.description) + ": approval removed");
        if (r.overlay != nullptr && std::string(r.overlay) != "Lumeno EXIF") {
            check(!keyExists(std::string(Overlays) + r.overlay), std::string(r.overlay) + ": overlay name removed");
        }
    }
    check(value(taken) == "{11111111-2222-3333-4444-555555555555}", "an overlay name another program took stays");
    deleteTree(taken);
    check(!keyExists("HKCR\\jpegfile\\ShellEx\\PropertySheetHandlers\\LumenoPropertySheet"), "handlers removed");
    check(!keyExists("HKCR\\jpegfile\\ShellEx\\{00021500-0000-0000-C000-000000000046}"), "info tip handler removed");
    check(!keyExists("HKCR\\Applications\\viewer.exe\\ShellEx\\ContextMenuHandlers\\LumenoContextMenu"),
          "the program's handler removed");

    // The slide show registers alone.
    check(SUCCEEDED(m.regSlideShow()), "slide show registers");
    check(value("HKCR\\CLSID\\{4B0D5947-C512-4028-93B6-FD94EEF5AECA}") == "LumenoSlideShow Class", "slide show key");
    check(!keyExists("HKCR\\CLSID\\{F36B4023-B4F2-4C40-9CDC-0E1B0C66F1FC}"), "nothing else registered with it");
    check(SUCCEEDED(m.unregSlideShow()), "slide show unregisters");
    check(!keyExists("HKCR\\CLSID\\{4B0D5947-C512-4028-93B6-FD94EEF5AECA}"), "slide show key removed");

    return checksDone();
}

std::string json(const std::string& text)
{
    std::string out = "\"";
    for (char c : text) {
        if (c == '"' || c == '\\') {
            out += '\\';
        }
        out += c;
    }
    return out + "\"";
}

int printColumns(const char* dll, int count, char** files)
{
    Module m(dll);
    IColumnProvider* columns = create<IColumnProvider>(m, "{5D2257E7-CCBF-496F-A579-0E5625E2E15B}", IID_IColumnProvider);
    if (columns == nullptr) return 1;
    columns->Initialize(nullptr);
    std::printf("[");
    for (int f = 0; f + 1 < count; f += 2) {
        std::printf("%s{\"path\": %s, \"values\": {", f > 0 ? ",\n " : "\n ", json(files[f]).c_str());
        const std::string file = files[f + 1];
        const std::basic_string<WCHAR> path = wide(file);
        const std::basic_string<WCHAR> ext = wide(file.substr(file.rfind('.')));
        SHCOLUMNDATA data = {};
        data.pwszExt = const_cast<WCHAR*>(ext.c_str());
        lstrcpyW(data.wszFile, path.c_str());
        bool first = true;
        SHCOLUMNINFO info;
        for (DWORD i = 0; columns->GetColumnInfo(i, &info) == S_OK; ++i) {
            VARIANT v;
            VariantInit(&v);
            if (columns->GetItemData(&info.scid, &data, &v) == S_OK) {
                std::printf("%s%s: %s", first ? "" : ", ", json(narrow(info.wszTitle)).c_str(),
                            json(narrow(V_BSTR(&v))).c_str());
                first = false;
            }
            VariantClear(&v);
        }
        std::printf("}}");
    }
    std::printf(count > 0 ? "\n]\n" : "]\n");
    columns->Release();
    return 0;
}

int printTip(const char* dll, const char* file)
{
    Module m(dll);
    IPersistFile* persist = create<IPersistFile>(m, "{F36B4023-B4F2-4C40-9CDC-0E1B0C66F1FC}", IID_IPersistFile);
    if (persist == nullptr) return 1;
    persist->Load(wide(file).c_str(), STGM_READ);
    IQueryInfo* info = nullptr;
    persist->QueryInterface(IID_IQueryInfo, reinterpret_cast<void**>(&info));
    WCHAR* text = nullptr;
    if (info != nullptr && info->GetInfoTip(0, &text) == S_OK && text != nullptr) {
        std::printf("%s\n", narrow(text).c_str());
        CoTaskMemFree(text);
    }
    if (info) info->Release();
    persist->Release();
    return 0;
}

int printOverlays(const char* dll, int count, char** files)
{
    Module m(dll);
    for (int f = 0; f + 1 < count; f += 2) {
        std::string claimed = "none";
        for (const ClassRow& r : Rows) {
            if (r.overlay == nullptr) continue;
            IShellIconOverlayIdentifier* o = create<IShellIconOverlayIdentifier>(m, r.clsid, IID_IShellIconOverlayIdentifier);
            if (o != nullptr && o->IsMemberOf(wide(files[f + 1]).c_str(), 0) == S_OK) {
                claimed = claimed == "none" ? r.overlay : claimed + " AND " + r.overlay;
            }
            if (o) o->Release();
        }
        std::printf("%s\t%s\n", files[f], claimed.c_str());
    }
    return 0;
}

// A details view over COUNT files: every column of every file, a first pass (each file read) and a
// second (answers kept), with the cells per second of each.
int bench(const char* dll, const char* folder, int count)
{
    Module m(dll);
    IColumnProvider* columns = create<IColumnProvider>(m, "{5D2257E7-CCBF-496F-A579-0E5625E2E15B}", IID_IColumnProvider);
    if (columns == nullptr) return 1;
    columns->Initialize(nullptr);
    std::vector<SHCOLUMNINFO> infos;
    SHCOLUMNINFO info;
    for (DWORD i = 0; columns->GetColumnInfo(i, &info) == S_OK; ++i) {
        infos.push_back(info);
    }
    WCHAR ext[] = {'.', 'J', 'P', 'G', 0};
    LARGE_INTEGER frequency;
    QueryPerformanceFrequency(&frequency);
    for (const char* pass : {"first pass", "second pass"}) {
        LARGE_INTEGER start, end;
        QueryPerformanceCounter(&start);
        long answered = 0;
        for (int f = 0; f < count; ++f) {
            char name[MAX_PATH];
            std::snprintf(name, sizeof name, "%s\\IMG_%04d.JPG", folder, f);
            SHCOLUMNDATA data = {};
            data.pwszExt = ext;
            lstrcpyW(data.wszFile, wide(name).c_str());
            for (const SHCOLUMNINFO& column : infos) {
                VARIANT v;
                VariantInit(&v);
                answered += columns->GetItemData(&column.scid, &data, &v) == S_OK ? 1 : 0;
                VariantClear(&v);
            }
        }
        QueryPerformanceCounter(&end);
        const double seconds = static_cast<double>(end.QuadPart - start.QuadPart) / static_cast<double>(frequency.QuadPart);
        const double cells = static_cast<double>(count) * static_cast<double>(infos.size());
        std::printf("COM under Wine, %s: %d files x %u columns in %.3f s: %.0f cells/s (%ld answered)\n", pass, count,
                    static_cast<unsigned>(infos.size()), seconds, cells / seconds, answered);
    }
    columns->Release();
    return 0;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc < 3) {
        std::printf("usage: server-test check|columns|tip|overlay DLL ...\n");
        return 2;
    }
    CoInitialize(nullptr);
    const std::string mode = argv[1];
    int status = 2;
    if (mode == "check" && argc == 4) {
        status = runChecks(argv[2], argv[3]);
    } else if (mode == "columns") {
        status = printColumns(argv[2], argc - 3, argv + 3);
    } else if (mode == "tip" && argc == 4) {
        status = printTip(argv[2], argv[3]);
    } else if (mode == "overlay") {
        status = printOverlays(argv[2], argc - 3, argv + 3);
    } else if (mode == "bench" && argc == 5) {
        status = bench(argv[2], argv[3], std::atoi(argv[4]));
    }
    CoUninitialize();
    return status;
}
