// The automation objects through which scripts read a photo: EXIF.EXIFImage opens a file, its
// IFDs give the directories, each with its Fields. They are views over one picture read once
// (Scripting::Picture, which the Python module shares), kept alive by every object that shows a
// part of it, so a script may let go of the image and keep walking its fields.
#include "Automation.h"

#include "lumeno_h.h"

#include <Lumeno/Commands/Command.h>
#include <Lumeno/Scripting/Picture.h>

#include <climits>
#include <cstring>
#include <cwchar>
#include <map>
#include <memory>
#include <mutex>
#include <new>

namespace Lumeno::Shell {
namespace {
using Scripting::Picture;
using PictureRef = std::shared_ptr<const Picture>;

constexpr const wchar_t* ImageSource = L"EXIF.EXIFImage";
constexpr const wchar_t* IfdsSource = L"EXIF.IFDs";
constexpr const wchar_t* FieldsSource = L"EXIF.Fields";

BSTR newString(const std::string& utf8)
{
    return SysAllocString(toUtf16(utf8).c_str());
}

// A string answer; E_OUTOFMEMORY when it cannot be made.
HRESULT answer(const std::string& text, BSTR* out)
{
    if (out == nullptr) {
        return E_POINTER;
    }
    *out = newString(text);
    return *out != nullptr ? S_OK : E_OUTOFMEMORY;
}

// The message of the exception being handled.
std::string currentMessage()
{
    return Commands::failureReason(std::current_exception());
}

// An index argument: a name (`byName`), or a position from 0 (any other variant that turns into
// a number).
bool indexOf(const VARIANT& index, long& position, std::string& name, bool& byName)
{
    byName = false;
    VARIANT copy;
    VariantInit(&copy);
    const VARIANT* given = &index;
    if (V_VT(given) == (VT_VARIANT | VT_BYREF) && V_VARIANTREF(given) != nullptr) {
        given = V_VARIANTREF(given);
    }
    if (V_VT(given) == VT_BSTR || V_VT(given) == (VT_BSTR | VT_BYREF)) {
        const BSTR text = V_VT(given) == VT_BSTR ? V_BSTR(given) : *V_BSTRREF(given);
        name = text != nullptr ? toUtf8(text) : std::string();
        byName = true;
        return true;
    }
    if (FAILED(VariantChangeType(&copy, const_cast<VARIANT*>(given), 0, VT_I4))) {
        return false;
    }
    position = V_I4(&copy);
    return true;
}

// ---- Field -------------------------------------------------------------------------------

class Field final : public DispatchObject<IField> {
public:
    Field(PictureRef picture, const Scripting::FieldEntry& entry, IUnknown* outer)
        : DispatchObject(outer), picture_(std::move(picture)), entry_(entry)
    {
    }

    HRESULT STDMETHODCALLTYPE get_Value(VARIANT* value) override
    {
        if (value == nullptr) {
            return E_POINTER;
        }
        VariantInit(value);
        const Scripting::FieldValue& v = entry_.value;
        using Kind = Scripting::FieldValue::Kind;
        if (v.kind == Kind::None) {
            return S_OK;
        }
        if (v.kind == Kind::Text) {
            V_VT(value) = VT_BSTR;
            V_BSTR(value) = newString(v.text);
            return V_BSTR(value) != nullptr ? S_OK : E_OUTOFMEMORY;
        }
        auto number = [&v](std::size_t i, VARIANT* out) {
            if (v.kind == Kind::Integers) {
                const long long n = v.integers[i];
                if (n >= LONG_MIN && n <= LONG_MAX) {
                    V_VT(out) = VT_I4;
                    V_I4(out) = static_cast<LONG>(n);
                } else {
                    V_VT(out) = VT_R8; // an unsigned LONG past what VT_I4 holds
                    V_R8(out) = static_cast<double>(n);
                }
            } else {
                V_VT(out) = VT_R8;
                V_R8(out) = v.reals[i];
            }
        };
        if (v.size() == 1) {
            number(0, value);
            return S_OK;
        }
        // Several values: an array of variants, which VBScript indexes and JScript reads
        // through VBArray.
        SAFEARRAY* array = SafeArrayCreateVector(VT_VARIANT, 0, static_cast<ULONG>(v.size()));
        if (array == nullptr) {
            return E_OUTOFMEMORY;
        }
        VARIANT* items = nullptr;
        SafeArrayAccessData(array, reinterpret_cast<void**>(&items));
        for (std::size_t i = 0; i < v.size(); ++i) {
            number(i, &items[i]);
        }
        SafeArrayUnaccessData(array);
        V_VT(value) = VT_ARRAY | VT_VARIANT;
        V_ARRAY(value) = array;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE get_Tag(LONG* tag) override
    {
        return tag == nullptr ? E_POINTER : (*tag = entry_.tag, S_OK);
    }
    HRESULT STDMETHODCALLTYPE get_Name(BSTR* name) override { return answer(entry_.name, name); }
    HRESULT STDMETHODCALLTYPE get_Type(BSTR* type) override { return answer(entry_.typeName, type); }
    HRESULT STDMETHODCALLTYPE get_Count(LONG* count) override
    {
        return count == nullptr ? E_POINTER : (*count = static_cast<LONG>(entry_.count), S_OK);
    }
    HRESULT STDMETHODCALLTYPE get_Text(BSTR* text) override { return answer(entry_.text, text); }
    HRESULT STDMETHODCALLTYPE get_Shown(VARIANT_BOOL* shown) override
    {
        return shown == nullptr ? E_POINTER : (*shown = entry_.shown ? VARIANT_TRUE : VARIANT_FALSE, S_OK);
    }

private:
    PictureRef picture_; // keeps entry_ alive
    const Scripting::FieldEntry& entry_;
};

// A field made on its own (CoCreateInstance("EXIF.Field")): an empty one.
const Scripting::FieldEntry& noField()
{
    static const Scripting::FieldEntry none{};
    return none;
}

// ---- Collections -------------------------------------------------------------------------

// What the two collections share: Count, Item by position or name, and _NewEnum. `List` gives
// the items' count, finds one by name and makes the object of one.
template <class Interface, class ItemInterface, class List>
class Collection : public DispatchObject<Interface> {
public:
    Collection(List list, IUnknown* outer) : DispatchObject<Interface>(outer), list_(std::move(list)) {}

    HRESULT STDMETHODCALLTYPE get_Count(LONG* count) override
    {
        return count == nullptr ? E_POINTER : (*count = static_cast<LONG>(list_.size()), S_OK);
    }
    HRESULT STDMETHODCALLTYPE Item(VARIANT index, ItemInterface** item) override
    {
        if (item == nullptr) {
            return E_POINTER;
        }
        *item = nullptr;
        long position = -1;
        std::string name;
        bool byName = false;
        if (!indexOf(index, position, name, byName)) {
            return reportError(__uuidof(Interface), List::Source, "the index is neither a number nor a name",
                               DISP_E_TYPEMISMATCH);
        }
        if (byName) {
            position = list_.find(name);
            if (position < 0) {
                return reportError(__uuidof(Interface), List::Source, "there is no " + std::string(List::What) + " called '" + name + "'",
                                   DISP_E_BADINDEX);
            }
        } else if (position < 0 || static_cast<std::size_t>(position) >= list_.size()) {
            return reportError(__uuidof(Interface), List::Source,
                               "there is no " + std::string(List::What) + " " + std::to_string(position) + " (there are " +
                                   std::to_string(list_.size()) + ", counted from 0)",
                               DISP_E_BADINDEX);
        }
        return list_.make(static_cast<std::size_t>(position), __uuidof(ItemInterface), reinterpret_cast<void**>(item));
    }
    HRESULT STDMETHODCALLTYPE get__NewEnum(IUnknown** enumerator) override
    {
        if (enumerator == nullptr) {
            return E_POINTER;
        }
        *enumerator = nullptr;
        const List list = list_;
        return createVariantEnumerator(
            list_.size(),
            [list](std::size_t i, VARIANT* out) {
                IDispatch* item = nullptr;
                const HRESULT hr = list.make(i, IID_IDispatch, reinterpret_cast<void**>(&item));
                if (SUCCEEDED(hr)) {
                    V_VT(out) = VT_DISPATCH;
                    V_DISPATCH(out) = item;
                }
                return hr;
            },
            enumerator);
    }

private:
    List list_;
};

// The fields of one directory.
struct FieldList {
    static constexpr const wchar_t* Source = FieldsSource;
    static constexpr const char* What = "field";
    PictureRef picture;
    const Scripting::Directory* directory = nullptr;

    std::size_t size() const { return directory != nullptr ? directory->fields.size() : 0; }
    long find(const std::string& name) const
    {
        const Scripting::FieldEntry* found = directory != nullptr ? directory->find(name) : nullptr;
        return found != nullptr ? static_cast<long>(found - directory->fields.data()) : -1;
    }
    HRESULT make(std::size_t i, REFIID riid, void** out) const
    {
        return createInterface<Field>(riid, out, picture, directory->fields[i]);
    }
};
using Fields = Collection<IFields, IField, FieldList>;

// ---- IFD -----------------------------------------------------------------------------------

class Ifd final : public DispatchObject<IIFD> {
public:
    Ifd(PictureRef picture, const Scripting::Directory* directory, IUnknown* outer)
        : DispatchObject(outer), picture_(std::move(picture)), directory_(directory)
    {
    }

    HRESULT STDMETHODCALLTYPE get_Name(BSTR* name) override
    {
        return answer(directory_ != nullptr ? directory_->name : std::string(), name);
    }
    HRESULT STDMETHODCALLTYPE get_Id(LONG* id) override
    {
        return id == nullptr ? E_POINTER : (*id = directory_ != nullptr ? static_cast<LONG>(directory_->id) : 0, S_OK);
    }
    HRESULT STDMETHODCALLTYPE get_Fields(IFields** fields) override
    {
        if (fields == nullptr) {
            return E_POINTER;
        }
        *fields = nullptr;
        return createInterface<Fields>(__uuidof(IFields), reinterpret_cast<void**>(fields), FieldList{picture_, directory_});
    }

private:
    PictureRef picture_;
    const Scripting::Directory* directory_;
};

// The directories of a picture.
struct DirectoryList {
    static constexpr const wchar_t* Source = IfdsSource;
    static constexpr const char* What = "IFD";
    PictureRef picture;

    std::size_t size() const { return picture != nullptr ? picture->directories().size() : 0; }
    long find(const std::string& name) const
    {
        const Scripting::Directory* found = picture != nullptr ? picture->directory(name) : nullptr;
        return found != nullptr ? static_cast<long>(found - picture->directories().data()) : -1;
    }
    HRESULT make(std::size_t i, REFIID riid, void** out) const
    {
        return createInterface<Ifd>(riid, out, picture, &picture->directories()[i]);
    }
};
using Ifds = Collection<IIFDs, IIFD, DirectoryList>;

// ---- EXIFImage ---------------------------------------------------------------------------

class ExifImage final : public DispatchObject<IEXIFImage> {
public:
    explicit ExifImage(IUnknown* outer) : DispatchObject(outer) {}

    HRESULT STDMETHODCALLTYPE Open(BSTR path) override
    {
        if (path == nullptr || SysStringLen(path) == 0) {
            return reportError(__uuidof(IEXIFImage), ImageSource, "no file name was given", E_INVALIDARG);
        }
        try {
            auto picture = std::make_shared<const Picture>(portablePath(path));
            std::lock_guard<std::mutex> lock(mutex_);
            picture_ = std::move(picture);
            fileName_.assign(path, SysStringLen(path));
            return S_OK;
        } catch (...) {
            return reportError(__uuidof(IEXIFImage), ImageSource, toUtf8(path) + ": " + currentMessage());
        }
    }
    HRESULT STDMETHODCALLTYPE get_FileName(BSTR* path) override
    {
        if (path == nullptr) {
            return E_POINTER;
        }
        std::lock_guard<std::mutex> lock(mutex_);
        *path = SysAllocStringLen(fileName_.data(), static_cast<UINT>(fileName_.size()));
        return *path != nullptr ? S_OK : E_OUTOFMEMORY;
    }
    HRESULT STDMETHODCALLTYPE get_IFDs(IIFDs** directories) override
    {
        if (directories == nullptr) {
            return E_POINTER;
        }
        *directories = nullptr;
        const PictureRef picture = opened();
        if (picture == nullptr) {
            return notOpen();
        }
        return createInterface<Ifds>(__uuidof(IIFDs), reinterpret_cast<void**>(directories), DirectoryList{picture});
    }
    HRESULT STDMETHODCALLTYPE IPTC(BSTR name, BSTR* values) override
    {
        if (values == nullptr) {
            return E_POINTER;
        }
        *values = nullptr;
        const PictureRef picture = opened();
        if (picture == nullptr) {
            return notOpen();
        }
        try {
            return answer(picture->iptcJoined(toUtf8(name != nullptr ? name : L"")), values);
        } catch (...) {
            return reportError(__uuidof(IEXIFImage), ImageSource, currentMessage(), E_INVALIDARG);
        }
    }
    HRESULT STDMETHODCALLTYPE Value(BSTR name, BSTR* value) override
    {
        if (value == nullptr) {
            return E_POINTER;
        }
        *value = nullptr;
        const PictureRef picture = opened();
        if (picture == nullptr) {
            return notOpen();
        }
        try {
            return answer(picture->value(toUtf8(name != nullptr ? name : L"")), value);
        } catch (...) {
            return E_OUTOFMEMORY;
        }
    }

private:
    PictureRef opened()
    {
        std::lock_guard<std::mutex> lock(mutex_);
        return picture_;
    }
    static HRESULT notOpen()
    {
        return reportError(__uuidof(IEXIFImage), ImageSource, "no file is open (call Open first)", E_UNEXPECTED);
    }

    std::mutex mutex_;
    PictureRef picture_;
    std::basic_string<WCHAR> fileName_;
};

// ---- The enumerator -------------------------------------------------------------------------

struct EnumeratorItems {
    std::size_t count;
    std::function<HRESULT(std::size_t, VARIANT*)> item;
};

class VariantEnumerator final : public ComObject, public IEnumVARIANT {
public:
    VariantEnumerator(std::shared_ptr<const EnumeratorItems> items, std::size_t next, IUnknown* outer)
        : ComObject(outer), items_(std::move(items)), next_(next)
    {
    }
    LUMENO_DELEGATING_UNKNOWN

    HRESULT STDMETHODCALLTYPE Next(ULONG count, VARIANT* out, ULONG* fetched) override
    {
        if (out == nullptr || (count > 1 && fetched == nullptr)) {
            return E_POINTER;
        }
        ULONG given = 0;
        for (; given < count && next_ < items_->count; ++given, ++next_) {
            VariantInit(&out[given]);
            const HRESULT hr = items_->item(next_, &out[given]);
            if (FAILED(hr)) {
                for (ULONG i = 0; i < given; ++i) {
                    VariantClear(&out[i]);
                }
                return hr;
            }
        }
        if (fetched != nullptr) {
            *fetched = given;
        }
        return given == count ? S_OK : S_FALSE;
    }
    HRESULT STDMETHODCALLTYPE Skip(ULONG count) override
    {
        const std::size_t left = items_->count - next_;
        next_ += count < left ? count : left;
        return count <= left ? S_OK : S_FALSE;
    }
    HRESULT STDMETHODCALLTYPE Reset() override
    {
        next_ = 0;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE Clone(IEnumVARIANT** copy) override
    {
        if (copy == nullptr) {
            return E_POINTER;
        }
        *copy = nullptr;
        return createInterface<VariantEnumerator>(IID_IEnumVARIANT, reinterpret_cast<void**>(copy), items_, next_);
    }

protected:
    void* interfaceFor(REFIID riid) override
    {
        return IsEqualIID(riid, IID_IEnumVARIANT) ? static_cast<IEnumVARIANT*>(this) : nullptr;
    }

private:
    std::shared_ptr<const EnumeratorItems> items_;
    std::size_t next_;
};

// ---- Type information -----------------------------------------------------------------------

std::mutex g_typeInfoMutex;
std::map<GUID, ITypeInfo*, bool (*)(const GUID&, const GUID&)> g_typeInfos(
    [](const GUID& a, const GUID& b) { return std::memcmp(&a, &b, sizeof(GUID)) < 0; });

} // namespace

ITypeInfo* typeInfoOf(REFIID iid)
{
    std::lock_guard<std::mutex> lock(g_typeInfoMutex);
    const auto found = g_typeInfos.find(iid);
    if (found != g_typeInfos.end()) {
        return found->second;
    }
    ITypeLib* library = nullptr;
    if (FAILED(LoadTypeLibEx(modulePath().c_str(), REGKIND_NONE, &library))) {
        return nullptr;
    }
    ITypeInfo* info = nullptr;
    library->GetTypeInfoOfGuid(iid, &info);
    library->Release();
    if (info != nullptr) {
        g_typeInfos.emplace(iid, info);
    }
    return info;
}

void releaseTypeInfos()
{
    std::lock_guard<std::mutex> lock(g_typeInfoMutex);
    for (auto& entry : g_typeInfos) {
        entry.second->Release();
    }
    g_typeInfos.clear();
}

HRESULT reportError(REFIID iid, const wchar_t* source, const std::string& message, HRESULT code)
{
    ICreateErrorInfo* create = nullptr;
    if (SUCCEEDED(CreateErrorInfo(&create))) {
        create->SetGUID(iid);
        std::basic_string<WCHAR> from(source, source + wcslen(source));
        create->SetSource(&from[0]);
        std::basic_string<WCHAR> text = toUtf16(message);
        create->SetDescription(&text[0]);
        IErrorInfo* info = nullptr;
        if (SUCCEEDED(create->QueryInterface(IID_IErrorInfo, reinterpret_cast<void**>(&info)))) {
            SetErrorInfo(0, info);
            info->Release();
        }
        create->Release();
    }
    return code;
}

HRESULT asException(HRESULT failure, EXCEPINFO* exception)
{
    IErrorInfo* info = nullptr;
    if (GetErrorInfo(0, &info) != S_OK || info == nullptr) {
        return failure;
    }
    if (exception == nullptr) {
        info->Release();
        return failure;
    }
    *exception = EXCEPINFO{};
    info->GetSource(&exception->bstrSource);
    info->GetDescription(&exception->bstrDescription);
    info->GetHelpFile(&exception->bstrHelpFile);
    info->GetHelpContext(&exception->dwHelpContext);
    exception->scode = failure;
    info->Release();
    return DISP_E_EXCEPTION;
}

HRESULT createVariantEnumerator(std::size_t count, std::function<HRESULT(std::size_t, VARIANT*)> item, IUnknown** out)
{
    std::shared_ptr<const EnumeratorItems> items;
    try {
        items = std::make_shared<const EnumeratorItems>(EnumeratorItems{count, std::move(item)});
    } catch (...) {
        return E_OUTOFMEMORY;
    }
    return createInterface<VariantEnumerator>(IID_IUnknown, reinterpret_cast<void**>(out), items, std::size_t{0});
}

// The classes' creators. The collections and the directory made on their own are empty; they
// may be aggregated, the image and the field may not (the class table says which).
HRESULT createExifImage(int, IUnknown* outer, IUnknown** inner)
{
    return createObject<ExifImage>(inner, outer);
}
HRESULT createIfds(int, IUnknown* outer, IUnknown** inner)
{
    return createObject<Ifds>(inner, outer, DirectoryList{});
}
HRESULT createIfd(int, IUnknown* outer, IUnknown** inner)
{
    return createObject<Ifd>(inner, outer, PictureRef(), static_cast<const Scripting::Directory*>(nullptr));
}
HRESULT createFields(int, IUnknown* outer, IUnknown** inner)
{
    return createObject<Fields>(inner, outer, FieldList{});
}
HRESULT createField(int, IUnknown* outer, IUnknown** inner)
{
    return createObject<Field>(inner, outer, PictureRef(), std::cref(noField()));
}

} // namespace Lumeno::Shell
