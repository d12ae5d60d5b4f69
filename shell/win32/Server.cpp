// The module: load-time initialisation, the class table, the class factories and the exported
// entry points.
#include "Server.h"
#include "Automation.h"
#include "ViewerParts.h"

#include <NamespaceFolder.h>

#include <Lumeno/Platform/Services.h>
#include <Lumeno/Platform/Images.h>
#include <Lumeno/Shell/ShellCore.h>

#include <commctrl.h>

#include <new>

namespace Lumeno::Shell {

namespace {

HMODULE g_module = nullptr;
LONG g_locks = 0;
UINT g_rawIptcFormat = 0;

HRESULT createColumnProviderEntry(int, IUnknown* outer, IUnknown** inner)
{
    return createColumnProvider(outer, inner);
}
HRESULT createInfoTipEntry(int, IUnknown* outer, IUnknown** inner)
{
    return createInfoTip(outer, inner);
}
HRESULT createContextMenuEntry(int, IUnknown* outer, IUnknown** inner)
{
    return createContextMenu(outer, inner);
}
HRESULT createPropertySheetEntry(int, IUnknown* outer, IUnknown** inner)
{
    return createPropertySheet(outer, inner);
}
HRESULT createPreviewEntry(int, IUnknown* outer, IUnknown** inner)
{
    return createPreview(outer, inner);
}
HRESULT createSlideShowEntry(int, IUnknown* outer, IUnknown** inner)
{
    return createSlideShow(outer, inner);
}
HRESULT createNamespaceEntry(int, IUnknown* outer, IUnknown** inner)
{
    return Namespace::createNamespaceFolder(outer, inner);
}

// The class table: identifier, registration script, the creator of the class's objects, and
// whether they may be aggregated.
const ClassEntry ClassTable[] = {
    {"{86B404E0-5673-4F00-8AFF-335DAEF6C2DF}", 207, createExifImage, 0, false}, // CEXIFImage
    {"{246AE10A-11B0-4507-9441-79321B2B6DE7}", 102, createIfd, 0, true},  // CIFD
    {"{DB7EA6DF-BB68-486F-936C-ABCD1949FC3B}", 208, createField, 0, false}, // CField
    {"{2DF2EB8B-BCD5-4736-9D48-085144E70BF3}", 104, createIfds, 0, true},  // CIFDs
    {"{D236AA06-A5A9-438B-87A3-D51D8FD38093}", 105, createFields, 0, true},  // CFields
    {"{0DF49261-F891-4A12-9092-EC3566EADCCC}", 101, createPropertySheetEntry, 0, true},
    {"{E376AE75-7C59-4487-B40C-082CCBB4ABDE}", 103, createContextMenuEntry, 0, true},
    {"{FC7BBDBC-7E6D-4911-9CC3-E0B46EB48244}", 206, createPreviewEntry, 0, true},
    {"{4B0D5947-C512-4028-93B6-FD94EEF5AECA}", 115, createSlideShowEntry, 0, true},
    {"{F36B4023-B4F2-4C40-9CDC-0E1B0C66F1FC}", 124, createInfoTipEntry, 0, true},
    {"{5D2257E7-CCBF-496F-A579-0E5625E2E15B}", 126, createColumnProviderEntry, 0, true},
    {"{89434BB7-16EA-4562-8372-5AD47F18F97B}", 129, createNamespaceEntry, 0, false}, // CLumenoNamespaceFolder
    {"{0117FFFB-91FD-414E-AC34-A00531032006}", 136, createOverlayIdentifier, XmpIptc, false},
    {"{3E57A8B6-849B-476E-A3E9-CFCE49E3662A}", 140, createOverlayIdentifier, Exif, false},
    {"{F0C13C81-FB8D-464e-873F-F8FF999E3EEC}", 276, createOverlayIdentifier, Xmp, false},
    {"{BCA5FB3A-9FC1-4465-ACE3-8C2072449164}", 142, createOverlayIdentifier, Iptc, false},
    {"{E1C1BE26-35A8-4999-A3A6-235CB7BD558B}", 277, createOverlayIdentifier, ExifXmp, false},
    {"{E3F36090-0540-418f-8136-074D5B255B59}", 278, createOverlayIdentifier, ExifIptc, false},
    {"{2E9BD3CA-A57F-450b-B1BA-A6A58C0C1D51}", 279, createOverlayIdentifier, ExifXmpIptc, false},
    {"{56216B02-5B31-48EB-A0B6-D86A595BCC3F}", 156, createIptcFilter, 0, true}, // CLumenoFilterIPTC
};

bool sameClass(REFCLSID clsid, const char* text)
{
    CLSID parsed;
    return SUCCEEDED(CLSIDFromString(toUtf16(text).c_str(), &parsed)) && IsEqualCLSID(clsid, parsed);
}

class ClassFactory final : public IClassFactory {
public:
    explicit ClassFactory(const ClassEntry& entry) : entry_(entry) {}

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppv) override
    {
        if (ppv == nullptr) {
            return E_POINTER;
        }
        if (IsEqualIID(riid, IID_IUnknown) || IsEqualIID(riid, IID_IClassFactory)) {
            *ppv = static_cast<IClassFactory*>(this);
            AddRef();
            return S_OK;
        }
        *ppv = nullptr;
        return E_NOINTERFACE;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return static_cast<ULONG>(InterlockedIncrement(&references_)); }
    ULONG STDMETHODCALLTYPE Release() override
    {
        const LONG left = InterlockedDecrement(&references_);
        if (left == 0) {
            delete this;
        }
        return static_cast<ULONG>(left);
    }

    HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown* outer, REFIID riid, void** ppv) override
    {
        if (ppv == nullptr) {
            return E_POINTER;
        }
        *ppv = nullptr;
        // An aggregated object hands out its inner unknown only.
        if (outer != nullptr && (!entry_.aggregatable || !IsEqualIID(riid, IID_IUnknown))) {
            return CLASS_E_NOAGGREGATION;
        }
        IUnknown* inner = nullptr;
        const HRESULT created = entry_.create(entry_.kind, outer, &inner);
        if (FAILED(created)) {
            return created;
        }
        const HRESULT answer = inner->QueryInterface(riid, ppv);
        inner->Release();
        return answer;
    }

    HRESULT STDMETHODCALLTYPE LockServer(BOOL lock) override
    {
        lock ? lockModule() : unlockModule();
        return S_OK;
    }

private:
    const ClassEntry& entry_;
    LONG references_ = 1;
};

} // namespace

const ClassEntry* classTable(std::size_t& count)
{
    count = sizeof ClassTable / sizeof ClassTable[0];
    return ClassTable;
}

HMODULE moduleHandle()
{
    return g_module;
}
void lockModule()
{
    InterlockedIncrement(&g_locks);
}
void unlockModule()
{
    InterlockedDecrement(&g_locks);
}
LONG moduleLocks()
{
    return g_locks;
}
UINT rawIptcClipboardFormat()
{
    return g_rawIptcFormat;
}

std::basic_string<WCHAR> modulePath()
{
    WCHAR path[MAX_PATH] = {};
    const DWORD n = GetModuleFileNameW(g_module, path, MAX_PATH);
    return std::basic_string<WCHAR>(path, n < MAX_PATH ? n : 0);
}

// The selected files of a data object, as the shell hands them over (CF_HDROP).
std::vector<std::string> droppedFiles(IDataObject* data)
{
    std::vector<std::string> files;
    FORMATETC format = {CF_HDROP, nullptr, DVASPECT_CONTENT, -1, TYMED_HGLOBAL};
    STGMEDIUM medium = {};
    if (data == nullptr || FAILED(data->GetData(&format, &medium))) {
        return files;
    }
    if (auto* drop = static_cast<HDROP>(GlobalLock(medium.hGlobal))) {
        const UINT count = DragQueryFileW(drop, 0xFFFFFFFF, nullptr, 0);
        for (UINT i = 0; i < count; ++i) {
            const UINT length = DragQueryFileW(drop, i, nullptr, 0);
            std::basic_string<WCHAR> path(length + 1, 0);
            if (DragQueryFileW(drop, i, &path[0], length + 1) == length) {
                path.resize(length);
                files.push_back(portablePath(path.c_str()));
            }
        }
        GlobalUnlock(medium.hGlobal);
    }
    ReleaseStgMedium(&medium);
    return files;
}

// ---- ComObject -------------------------------------------------------------------------------

ComObject::ComObject(IUnknown* outer) : inner_(*this), outer_(outer != nullptr ? outer : &inner_)
{
    lockModule();
}

ComObject::~ComObject()
{
    unlockModule();
}

HRESULT STDMETHODCALLTYPE ComObject::Inner::QueryInterface(REFIID riid, void** ppv)
{
    if (ppv == nullptr) {
        return E_POINTER;
    }
    if (IsEqualIID(riid, IID_IUnknown)) {
        *ppv = static_cast<IUnknown*>(this);
        AddRef();
        return S_OK;
    }
    void* found = owner_.interfaceFor(riid);
    *ppv = found;
    if (found == nullptr) {
        return E_NOINTERFACE;
    }
    static_cast<IUnknown*>(found)->AddRef();
    return S_OK;
}

bool ComObject::addRefUnlessGone()
{
    for (LONG now = references_; now > 0; now = references_) {
        if (InterlockedCompareExchange(&references_, now + 1, now) == now) {
            return true;
        }
    }
    return false;
}

ULONG STDMETHODCALLTYPE ComObject::Inner::AddRef()
{
    return static_cast<ULONG>(InterlockedIncrement(&owner_.references_));
}

ULONG STDMETHODCALLTYPE ComObject::Inner::Release()
{
    const LONG left = InterlockedDecrement(&owner_.references_);
    if (left == 0) {
        delete &owner_;
    }
    return static_cast<ULONG>(left);
}

} // namespace Lumeno::Shell

using namespace Lumeno::Shell;

extern "C" BOOL WINAPI DllMain(HINSTANCE instance, DWORD reason, LPVOID reserved)
{
    if (reason == DLL_PROCESS_DETACH && reserved == nullptr) {
        // Unloaded while the process goes on (no window of ours can be open then).
        unregisterViewerClasses();
        releaseTypeInfos();
    }
    if (reason == DLL_PROCESS_ATTACH) {
        g_rawIptcFormat = RegisterClipboardFormatA("LUMENO_RAW_IPTC");
        g_module = instance;
        DisableThreadLibraryCalls(instance);
        INITCOMMONCONTROLSEX controls = {sizeof controls, ICC_LISTVIEW_CLASSES | ICC_DATE_CLASSES | ICC_COOL_CLASSES};
        if (!InitCommonControlsEx(&controls)) {
            return FALSE;
        }
        const std::string path = toUtf8(modulePath().c_str());
        if (path.empty()) {
            return FALSE;
        }
        // The image library of Windows (the Imaging Component) is loaded with the module; its
        // objects are made per thread when pictures are first made there.
        Lumeno::Platform::imageService().start();
        // Dates in local time and new GUIDs come from the system.
        Lumeno::Platform::installMetadataServices();
    }
    return TRUE;
}

extern "C" HRESULT WINAPI DllCanUnloadNow()
{
    // Deliberately: while the clipboard offers no raw IPTC block, the module stays loaded.
    if (!IsClipboardFormatAvailable(g_rawIptcFormat)) {
        return S_FALSE;
    }
    return g_locks == 0 ? S_OK : S_FALSE;
}

extern "C" HRESULT WINAPI DllGetClassObject(REFCLSID clsid, REFIID riid, void** ppv)
{
    if (ppv == nullptr) {
        return E_POINTER;
    }
    *ppv = nullptr;
    for (const ClassEntry& entry : ClassTable) {
        if (sameClass(clsid, entry.clsid)) {
            ClassFactory* factory = new (std::nothrow) ClassFactory(entry);
            if (factory == nullptr) {
                return E_OUTOFMEMORY;
            }
            const HRESULT answer = factory->QueryInterface(riid, ppv);
            factory->Release();
            return answer;
        }
    }
    return CLASS_E_CLASSNOTAVAILABLE;
}

extern "C" HRESULT WINAPI DllRegisterServer()
{
    return registerServer(true);
}

extern "C" HRESULT WINAPI DllUnregisterServer()
{
    return registerServer(false);
}

extern "C" HRESULT WINAPI DllRegisterSlideShowServer()
{
    return registerSlideShowServer(true);
}

extern "C" HRESULT WINAPI DllUnregisterSlideShowServer()
{
    return registerSlideShowServer(false);
}
