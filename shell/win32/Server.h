// The component server: its module state, its classes and the helpers its objects share.
#pragma once

#include "ShellInterfaces.h"
#include "Text.h"

#include <cstddef>
#include <memory>
#include <new>
#include <string>
#include <utility>
#include <vector>

namespace Lumeno::Shell {

// The module: its handle, the lock count that DllCanUnloadNow consults, and the clipboard format
// of raw IPTC blocks registered at load.
HMODULE moduleHandle();
void lockModule();
void unlockModule();
LONG moduleLocks();
UINT rawIptcClipboardFormat();
// The module's own path, as Windows names it.
std::basic_string<WCHAR> modulePath();

// The files a data object from the shell names (CF_HDROP), as the portable code opens them.
std::vector<std::string> droppedFiles(IDataObject* data);

// The common part of every object: a reference count that keeps the module loaded, and the
// controlling unknown when the object is aggregated. Each class answers its interfaces in
// `interfaceFor`; the IUnknown methods of all its interfaces delegate to the controlling
// unknown (the outer object, or the object's own inner unknown).
class ComObject {
public:
    explicit ComObject(IUnknown* outer);
    virtual ~ComObject();
    ComObject(const ComObject&) = delete;
    ComObject& operator=(const ComObject&) = delete;

    // The non-delegating unknown, what an aggregating object holds.
    IUnknown* innerUnknown() { return &inner_; }
    IUnknown* controllingUnknown() { return outer_; }
    // Takes a reference unless the last one is gone already (the object is on its way out): for
    // an object that others find through a pointer of their own, which takes no reference.
    bool addRefUnlessGone();

protected:
    // The interface for `riid` other than IUnknown, or null.
    virtual void* interfaceFor(REFIID riid) = 0;

private:
    class Inner : public IUnknown {
    public:
        explicit Inner(ComObject& owner) : owner_(owner) {}
        HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppv) override;
        ULONG STDMETHODCALLTYPE AddRef() override;
        ULONG STDMETHODCALLTYPE Release() override;

    private:
        ComObject& owner_;
    };

    Inner inner_;
    IUnknown* outer_;
    LONG references_ = 1;
};

// The IUnknown methods of a class's interfaces, delegating to the controlling unknown.
#define LUMENO_DELEGATING_UNKNOWN                                                                  \
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppv) override                    \
    {                                                                                              \
        return controllingUnknown()->QueryInterface(riid, ppv);                                    \
    }                                                                                              \
    ULONG STDMETHODCALLTYPE AddRef() override { return controllingUnknown()->AddRef(); }          \
    ULONG STDMETHODCALLTYPE Release() override { return controllingUnknown()->Release(); }

// Makes an object of class T (aggregated when `outer` is given) and answers its inner unknown.
template <class T, class... Arguments> HRESULT createObject(IUnknown** inner, IUnknown* outer, Arguments... arguments)
{
    T* object = new (std::nothrow) T(arguments..., outer);
    if (object == nullptr) {
        return E_OUTOFMEMORY;
    }
    *inner = object->innerUnknown();
    return S_OK;
}

// Makes an object of class T, not aggregated, and answers its interface `riid` (the object goes
// when that is released).
template <class T, class... Arguments> HRESULT createInterface(REFIID riid, void** out, Arguments&&... arguments)
{
    T* made = new (std::nothrow) T(std::forward<Arguments>(arguments)..., nullptr);
    if (made == nullptr) {
        return E_OUTOFMEMORY;
    }
    const HRESULT result = made->innerUnknown()->QueryInterface(riid, out);
    made->innerUnknown()->Release();
    return result;
}

// An enumerator (IEnumString, IEnumIDList: the same four calls) over a list that its clones
// share; each item handed out is made by `Make` in memory from CoTaskMemAlloc (null when there is
// none to be had).
template <class Interface, class Element, class Out, Out (*Make)(const Element&)>
class ListEnumerator final : public ComObject, public Interface {
public:
    ListEnumerator(std::shared_ptr<const std::vector<Element>> items, std::size_t next, IUnknown* outer)
        : ComObject(outer), items_(std::move(items)), next_(next)
    {
    }
    LUMENO_DELEGATING_UNKNOWN

    HRESULT STDMETHODCALLTYPE Next(ULONG count, Out* out, ULONG* fetched) override
    {
        if (out == nullptr || (count > 1 && fetched == nullptr)) {
            return E_POINTER;
        }
        ULONG given = 0;
        for (; given < count && next_ < items_->size(); ++given, ++next_) {
            out[given] = Make((*items_)[next_]);
            if (out[given] == nullptr) {
                for (ULONG i = 0; i < given; ++i) {
                    CoTaskMemFree(out[i]);
                }
                return E_OUTOFMEMORY;
            }
        }
        if (fetched != nullptr) {
            *fetched = given;
        }
        return given == count ? S_OK : S_FALSE;
    }
    HRESULT STDMETHODCALLTYPE Skip(ULONG count) override
    {
        const std::size_t left = items_->size() - next_;
        next_ += count < left ? count : left;
        return count <= left ? S_OK : S_FALSE;
    }
    HRESULT STDMETHODCALLTYPE Reset() override
    {
        next_ = 0;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE Clone(Interface** copy) override
    {
        if (copy == nullptr) {
            return E_POINTER;
        }
        *copy = nullptr;
        return createInterface<ListEnumerator>(__uuidof(Interface), reinterpret_cast<void**>(copy), items_, next_);
    }

protected:
    void* interfaceFor(REFIID riid) override
    {
        return IsEqualIID(riid, __uuidof(Interface)) ? static_cast<Interface*>(this) : nullptr;
    }

private:
    std::shared_ptr<const std::vector<Element>> items_;
    std::size_t next_;
};

// The classes' creators, for the class table: each makes an object (aggregated when `outer`
// is given) and answers its inner unknown with one reference.
HRESULT createColumnProvider(IUnknown* outer, IUnknown** inner);
HRESULT createInfoTip(IUnknown* outer, IUnknown** inner);
HRESULT createContextMenu(IUnknown* outer, IUnknown** inner);
HRESULT createPropertySheet(IUnknown* outer, IUnknown** inner);
HRESULT createOverlayIdentifier(int kind, IUnknown* outer, IUnknown** inner);
// The automation objects (EXIF.EXIFImage, EXIF.IFDs, EXIF.IFD, EXIF.Fields, EXIF.Field) and the
// IPTC indexing filter.
HRESULT createExifImage(int, IUnknown* outer, IUnknown** inner);
HRESULT createIfds(int, IUnknown* outer, IUnknown** inner);
HRESULT createIfd(int, IUnknown* outer, IUnknown** inner);
HRESULT createFields(int, IUnknown* outer, IUnknown** inner);
HRESULT createField(int, IUnknown* outer, IUnknown** inner);
HRESULT createIptcFilter(int, IUnknown* outer, IUnknown** inner);
// The preview and the slide show: one object per process for every request that does not
// aggregate it (an aggregated one belongs to its outer object alone, so it is made anew).
HRESULT createPreview(IUnknown* outer, IUnknown** inner);
HRESULT createSlideShow(IUnknown* outer, IUnknown** inner);
// Opens the preview or starts the slide show on the files, as the context menu does: the paths
// in a string enumerator handed to the class's object.
HRESULT showPictures(bool slideShow, const std::vector<std::string>& files);

// The CLSID of the info tip class, which the per-extension registration names.
constexpr const char* InfoTipClsid = "{F36B4023-B4F2-4C40-9CDC-0E1B0C66F1FC}";
constexpr const char* PropertySheetClsid = "{0DF49261-F891-4A12-9092-EC3566EADCCC}";
constexpr const char* ContextMenuClsid = "{E376AE75-7C59-4487-B40C-082CCBB4ABDE}";
constexpr UINT SlideShowScript = 115;

// One row of the class table.
struct ClassEntry {
    const char* clsid;
    UINT script; // the id of its registration script among the module's REGISTRY resources
    HRESULT (*create)(int kind, IUnknown* outer, IUnknown** inner);
    int kind;
    bool aggregatable;
};
const ClassEntry* classTable(std::size_t& count);

// Registration: the class scripts, the type library and the per-extension handlers.
HRESULT registerServer(bool install);
HRESULT registerSlideShowServer(bool install);

} // namespace Lumeno::Shell
