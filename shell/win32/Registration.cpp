// DllRegisterServer and its kin: each class's registration script (a REGISTRY resource run
// through the system's ATL registrar), the type library, and the handlers of the image file
// types.
#include "Server.h"

#include <Lumeno/Shell/ShellCore.h>

#include <string>

namespace Lumeno::Shell {

namespace {

// {066EFA48-AC3A-4B5A-BDCE-434BA4C203C3}, "LUMENOLib".
const GUID TypeLibrary = {0x066EFA48, 0xAC3A, 0x4B5A, {0xBD, 0xCE, 0x43, 0x4B, 0xA4, 0xC2, 0x03, 0xC3}};

const char* const Extensions[] = {".jpg", ".jpeg", ".tif", ".tiff", ".png", ".gif", ".psd", ".bmp"};
constexpr int InfoTipExtensions = 4; // the first four also get the info tip

HRESULT runScript(UINT id, bool install)
{
    const WCHAR registryType[] = {'R', 'E', 'G', 'I', 'S', 'T', 'R', 'Y', 0};
    HRSRC found = FindResourceW(moduleHandle(), MAKEINTRESOURCEW(id), registryType);
    HGLOBAL loaded = found != nullptr ? LoadResource(moduleHandle(), found) : nullptr;
    const char* data = loaded != nullptr ? static_cast<const char*>(LockResource(loaded)) : nullptr;
    if (data == nullptr) {
        return HRESULT_FROM_WIN32(ERROR_RESOURCE_DATA_NOT_FOUND);
    }
    const std::string script(data, SizeofResource(moduleHandle(), found));
    const int n = MultiByteToWideChar(CP_ACP, 0, script.c_str(), -1, nullptr, 0);
    std::basic_string<WCHAR> text(static_cast<std::size_t>(n), 0);
    MultiByteToWideChar(CP_ACP, 0, script.c_str(), -1, &text[0], n);

    IRegistrar* registrar = nullptr;
    HRESULT hr = CoCreateInstance(RegistrarClass, nullptr, CLSCTX_INPROC_SERVER, RegistrarInterface,
                                  reinterpret_cast<void**>(&registrar));
    if (FAILED(hr)) {
        return hr;
    }
    const WCHAR module[] = {'M', 'O', 'D', 'U', 'L', 'E', 0};
    hr = registrar->AddReplacement(module, modulePath().c_str());
    if (SUCCEEDED(hr)) {
        hr = install ? registrar->StringRegister(text.c_str()) : registrar->StringUnregister(text.c_str());
    }
    registrar->Release();
    return hr;
}

HRESULT runScripts(bool install)
{
    std::size_t count = 0;
    const ClassEntry* table = classTable(count);
    HRESULT result = S_OK;
    for (std::size_t i = 0; i < count; ++i) {
        const HRESULT hr = runScript(table[i].script, install);
        if (FAILED(hr)) {
            if (install) {
                return hr;
            }
            result = hr;
        }
    }
    return result;
}

// The file-type name of an extension: its HKCR key's default value, or the extension itself.
// False (with the error) when the extension has no key.
LONG fileTypeOf(const char* extension, std::string& fileType)
{
    HKEY key = nullptr;
    const LONG opened = RegOpenKeyExA(HKEY_CLASSES_ROOT, extension, 0, KEY_READ, &key);
    if (opened != ERROR_SUCCESS) {
        fileType = extension;
        return opened;
    }
    char name[260] = {};
    DWORD size = sizeof name;
    DWORD type = 0;
    const LONG read = RegQueryValueExA(key, nullptr, nullptr, &type, reinterpret_cast<BYTE*>(name), &size);
    RegCloseKey(key);
    const bool usable = read == ERROR_SUCCESS && type == REG_SZ && size > 0 && name[0] != '\0';
    fileType = usable ? std::string(name, strnlen(name, sizeof name)) : extension;
    return ERROR_SUCCESS;
}

// The program the user chose for an extension, or empty.
std::string userApplication(const char* extension)
{
    HKEY key = nullptr;
    const std::string path = std::string("Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\FileExts\\") + extension;
    if (RegOpenKeyExA(HKEY_CURRENT_USER, path.c_str(), 0, KEY_READ, &key) != ERROR_SUCCESS) {
        return {};
    }
    char application[260] = {};
    DWORD size = sizeof application;
    DWORD type = 0;
    const LONG read = RegQueryValueExA(key, "Application", nullptr, &type, reinterpret_cast<BYTE*>(application), &size);
    RegCloseKey(key);
    return read == ERROR_SUCCESS && type == REG_SZ ? std::string(application, strnlen(application, sizeof application))
                                                   : std::string();
}

// Creates HKCR\path with `clsid` as its default value; the registry's status.
LONG setHandler(const std::string& path, const char* clsid)
{
    HKEY key = nullptr;
    LONG status = RegCreateKeyExA(HKEY_CLASSES_ROOT, path.c_str(), 0, nullptr, REG_OPTION_NON_VOLATILE, KEY_WRITE,
                                  nullptr, &key, nullptr);
    if (status != ERROR_SUCCESS) {
        return status;
    }
    status = RegSetValueExA(key, nullptr, 0, REG_SZ, reinterpret_cast<const BYTE*>(clsid),
                            static_cast<DWORD>(strlen(clsid) + 1));
    RegCloseKey(key);
    return status;
}

const char* const InfoTipKey = "\\ShellEx\\{00021500-0000-0000-C000-000000000046}";
const char* const PropertySheetKey = "\\ShellEx\\PropertySheetHandlers\\LumenoPropertySheet";
const char* const ContextMenuKey = "\\ShellEx\\ContextMenuHandlers\\LumenoContextMenu";

HRESULT registerExtensions()
{
    LONG status = ERROR_SUCCESS;
    for (int i = 0; i < static_cast<int>(sizeof Extensions / sizeof Extensions[0]); ++i) {
        std::string fileType;
        status = fileTypeOf(Extensions[i], fileType);
        if (status != ERROR_SUCCESS) {
            continue; // no key: nothing for this extension, and its error stays the status
        }
        if (i < InfoTipExtensions) {
            setHandler(fileType + InfoTipKey, InfoTipClsid); // not fatal
        }
        status = setHandler(fileType + PropertySheetKey, PropertySheetClsid);
        if (status != ERROR_SUCCESS) {
            return HRESULT_FROM_WIN32(status);
        }
        status = setHandler(fileType + ContextMenuKey, ContextMenuClsid);
        if (status != ERROR_SUCCESS) {
            return HRESULT_FROM_WIN32(status);
        }
        const std::string application = userApplication(Extensions[i]);
        if (!application.empty()) {
            setHandler("Applications\\" + application + PropertySheetKey, PropertySheetClsid);
            setHandler("Applications\\" + application + ContextMenuKey, ContextMenuClsid);
        }
    }
    // Deliberately the status of the last extension's last step: with no .bmp key this is the
    // open's error although everything else was registered.
    return HRESULT_FROM_WIN32(status);
}

// Deletes HKCR\path, then each key above it, up to `depth` of them, that it leaves with neither
// keys nor values: the ShellEx folders registration made for our handlers hold nothing once they
// go, and a machine that had them with other handlers keeps them.
void deleteHandler(const std::string& path, int depth)
{
    std::string key = path;
    RegDeleteKeyA(HKEY_CLASSES_ROOT, key.c_str());
    for (int up = 0; up < depth; ++up) {
        const std::size_t cut = key.rfind('\\');
        if (cut == std::string::npos) {
            return;
        }
        key.erase(cut);
        HKEY open = nullptr;
        if (RegOpenKeyExA(HKEY_CLASSES_ROOT, key.c_str(), 0, KEY_READ, &open) != ERROR_SUCCESS) {
            return;
        }
        DWORD subkeys = 0;
        DWORD values = 0;
        const LONG info = RegQueryInfoKeyA(open, nullptr, nullptr, nullptr, &subkeys, nullptr, nullptr, &values, nullptr,
                                           nullptr, nullptr, nullptr);
        RegCloseKey(open);
        if (info != ERROR_SUCCESS || subkeys != 0 || values != 0 || RegDeleteKeyA(HKEY_CLASSES_ROOT, key.c_str()) != ERROR_SUCCESS) {
            return;
        }
    }
}

void unregisterExtensions()
{
    for (int i = 0; i < static_cast<int>(sizeof Extensions / sizeof Extensions[0]); ++i) {
        std::string fileType;
        fileTypeOf(Extensions[i], fileType);
        // Below the file type: its ShellEx\<handlers> folders and ShellEx, never the type itself.
        if (i < InfoTipExtensions) {
            deleteHandler(fileType + InfoTipKey, 1);
        }
        deleteHandler(fileType + PropertySheetKey, 2);
        deleteHandler(fileType + ContextMenuKey, 2);
        const std::string application = userApplication(Extensions[i]);
        if (!application.empty()) {
            // Applications\<program> was made for our handlers alone when it is empty now.
            deleteHandler("Applications\\" + application + PropertySheetKey, 3);
            deleteHandler("Applications\\" + application + ContextMenuKey, 3);
        }
    }
}

// The scripts' approvals are values of a key they must not remove. Windows' registrar deletes
// such values when it unregisters, Wine's leaves them: they are deleted here so that both end
// alike.
void removeApprovals()
{
    HKEY key = nullptr;
    if (RegOpenKeyExA(HKEY_LOCAL_MACHINE, "Software\\Microsoft\\Windows\\CurrentVersion\\Shell Extensions\\Approved", 0,
                      KEY_SET_VALUE, &key) != ERROR_SUCCESS) {
        return;
    }
    std::size_t count = 0;
    const ClassEntry* table = classTable(count);
    for (std::size_t i = 0; i < count; ++i) {
        RegDeleteValueA(key, table[i].clsid);
    }
    RegCloseKey(key);
}

// The overlay names are keys the scripts must not remove (the shell lists overlays by them), so
// unregistering leaves them behind: empty where Windows' registrar deleted their value, still
// naming our class under Wine's. A name that is ours and holds nothing else goes here, so that
// removing the server leaves no trace; a name some other program took meanwhile stays.
void removeOverlayNames()
{
    const std::string root = "Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\ShellIconOverlayIdentifiers\\";
    std::size_t count = 0;
    const ClassEntry* table = classTable(count);
    for (const OverlayInfo& overlay : overlays()) {
        HKEY key = nullptr;
        if (RegOpenKeyExA(HKEY_LOCAL_MACHINE, (root + overlay.name).c_str(), 0, KEY_READ, &key) != ERROR_SUCCESS) {
            continue;
        }
        char data[64] = {};
        DWORD size = sizeof data - 1;
        DWORD type = 0;
        const LONG read = RegQueryValueExA(key, nullptr, nullptr, &type, reinterpret_cast<BYTE*>(data), &size);
        DWORD subkeys = 0;
        DWORD values = 0;
        RegQueryInfoKeyA(key, nullptr, nullptr, nullptr, &subkeys, nullptr, nullptr, &values, nullptr, nullptr, nullptr,
                         nullptr);
        RegCloseKey(key);
        bool ours = read == ERROR_FILE_NOT_FOUND && values == 0;
        for (std::size_t i = 0; i < count && read == ERROR_SUCCESS && type == REG_SZ; ++i) {
            ours = ours || lstrcmpiA(data, table[i].clsid) == 0;
        }
        if (ours && subkeys == 0 && values <= 1) {
            RegDeleteKeyA(HKEY_LOCAL_MACHINE, (root + overlay.name).c_str());
        }
    }
}

// Registers the module's type library (its TYPELIB resource 1) under the module's path.
HRESULT registerTypeLibrary()
{
    ITypeLib* library = nullptr;
    const HRESULT hr = LoadTypeLibEx(modulePath().c_str(), REGKIND_REGISTER, &library);
    if (SUCCEEDED(hr)) {
        library->Release();
    }
    return hr;
}

} // namespace

HRESULT registerServer(bool install)
{
    try {
        if (!install) {
            unregisterExtensions();
            const HRESULT scripts = runScripts(false);
            removeApprovals();
            removeOverlayNames();
            UnRegisterTypeLib(TypeLibrary, 1, 0, LOCALE_NEUTRAL, sizeof(void*) == 8 ? SYS_WIN64 : SYS_WIN32);
            return scripts;
        }
        const HRESULT scripts = runScripts(true);
        if (FAILED(scripts)) {
            return scripts;
        }
        const HRESULT library = registerTypeLibrary();
        if (FAILED(library)) {
            return library;
        }
        return registerExtensions();
    } catch (...) {
        return E_UNEXPECTED;
    }
}

HRESULT registerSlideShowServer(bool install)
{
    try {
        return runScript(SlideShowScript, install);
    } catch (...) {
        return E_UNEXPECTED;
    }
}

} // namespace Lumeno::Shell
