// The IPTC indexing filter: the desktop search loads a photo through IPersistFile (or hands it
// over as a stream) and reads its IPTC texts chunk by chunk, each chunk a property: the standard
// document properties where one means the same, the program's own property set for the rest,
// and the dates as values. A file that cannot be read is refused at Load with the filter's own
// codes; nothing a file holds can take the indexer's process down.
#include "Server.h"

#include <Lumeno/Scripting/IndexText.h>
#include <Metadata/Exceptions.h>

#include <filter.h>
#include <filterr.h>

#include <algorithm>
#include <mutex>
#include <new>
#include <vector>

namespace Lumeno::Shell {

namespace {

const CLSID FilterClass = {0x56216B02, 0x5B31, 0x48EB, {0xA0, 0xB6, 0xD8, 0x6A, 0x59, 0x5B, 0xCC, 0x3F}};
// The document properties the texts fill (the summary information set), the copyright and date
// taken of the shell's properties, and the program's own set, whose ids are the datasets'.
const GUID SummaryInformation = {0xF29F85E0, 0x4FF9, 0x1068, {0xAB, 0x91, 0x08, 0x00, 0x2B, 0x27, 0xB3, 0xD9}};
const GUID MediaProperties = {0x64440492, 0x4C8B, 0x11D1, {0x8B, 0x70, 0x08, 0x00, 0x36, 0xB1, 0x1A, 0x03}};
const GUID PhotoProperties = {0x14B81DA1, 0x0135, 0x4D31, {0x96, 0xD9, 0x6C, 0xBF, 0xC9, 0x67, 0x1A, 0x99}};
const GUID LumenoIptcProperties = {0x7D1ED887, 0x39C2, 0x4800, {0xB2, 0x2E, 0xFB, 0xD4, 0x6F, 0xAF, 0x9B, 0x47}};

// The most of a stream read for its metadata: far beyond any photo's headers, and a bound on
// what a stream that never ends can cost.
constexpr ULONGLONG MaxStreamBytes = 512ull << 20;

FULLPROPSPEC propertyOf(const Scripting::IndexChunk& chunk)
{
    FULLPROPSPEC spec = {};
    spec.psProperty.ulKind = PRSPEC_PROPID;
    using P = Scripting::IndexProperty;
    switch (chunk.property) {
    case P::Title:
    case P::Subject:
    case P::Author:
    case P::Keywords:
    case P::Comments:
        spec.guidPropSet = SummaryInformation;
        spec.psProperty.propid = 2 + static_cast<PROPID>(chunk.property) - static_cast<PROPID>(P::Title);
        break;
    case P::Copyright:
        spec.guidPropSet = MediaProperties;
        spec.psProperty.propid = 11;
        break;
    case P::DateTaken:
        spec.guidPropSet = PhotoProperties;
        spec.psProperty.propid = 36867;
        break;
    case P::Own:
        spec.guidPropSet = LumenoIptcProperties;
        spec.psProperty.propid = chunk.dataSet;
        break;
    }
    return spec;
}

bool sameProperty(const FULLPROPSPEC& a, const FULLPROPSPEC& b)
{
    if (!IsEqualGUID(a.guidPropSet, b.guidPropSet) || a.psProperty.ulKind != b.psProperty.ulKind) {
        return false;
    }
    if (a.psProperty.ulKind == PRSPEC_PROPID) {
        return a.psProperty.propid == b.psProperty.propid;
    }
    return a.psProperty.lpwstr != nullptr && b.psProperty.lpwstr != nullptr &&
           lstrcmpiW(a.psProperty.lpwstr, b.psProperty.lpwstr) == 0;
}

FILETIME fileTimeOf(long long utcSeconds)
{
    const unsigned long long ticks = static_cast<unsigned long long>(utcSeconds + 11644473600LL) * 10000000ULL;
    return FILETIME{static_cast<DWORD>(ticks), static_cast<DWORD>(ticks >> 32)};
}

class IptcFilter final : public ComObject, public IFilter, public IPersistFile, public IPersistStream {
public:
    explicit IptcFilter(IUnknown* outer) : ComObject(outer) {}
    LUMENO_DELEGATING_UNKNOWN

    // ---- IFilter
    HRESULT STDMETHODCALLTYPE Init(ULONG, ULONG count, const FULLPROPSPEC* attributes, ULONG* flags) override
    {
        if (flags == nullptr || (count > 0 && attributes == nullptr)) {
            return E_INVALIDARG;
        }
        *flags = 0;
        std::lock_guard<std::mutex> lock(mutex_);
        if (!loaded_) {
            return E_UNEXPECTED;
        }
        // Only the properties asked for, when the indexer names some.
        chunks_.clear();
        for (const Chunk& c : all_) {
            const bool wanted = count == 0 || std::any_of(attributes, attributes + count, [&c](const FULLPROPSPEC& a) {
                                    return sameProperty(a, c.property);
                                });
            if (wanted) {
                chunks_.push_back(c);
            }
        }
        current_ = 0;
        textGiven_ = 0;
        valueGiven_ = false;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetChunk(STAT_CHUNK* stat) override
    {
        if (stat == nullptr) {
            return E_INVALIDARG;
        }
        std::lock_guard<std::mutex> lock(mutex_);
        if (!loaded_) {
            return FILTER_E_ACCESS;
        }
        if (current_ >= chunks_.size()) {
            return FILTER_E_END_OF_CHUNKS;
        }
        ++current_;
        textGiven_ = 0;
        valueGiven_ = false;
        const Chunk& c = chunks_[current_ - 1];
        *stat = STAT_CHUNK{};
        stat->idChunk = static_cast<ULONG>(current_);
        stat->breakType = CHUNK_EOP;
        stat->flags = c.isDate ? CHUNK_VALUE : CHUNK_TEXT;
        stat->locale = GetUserDefaultLCID();
        stat->attribute = c.property;
        stat->idChunkSource = stat->idChunk;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetText(ULONG* length, WCHAR* buffer) override
    {
        if (length == nullptr || buffer == nullptr) {
            return E_INVALIDARG;
        }
        std::lock_guard<std::mutex> lock(mutex_);
        if (current_ == 0 || current_ > chunks_.size()) {
            return FILTER_E_NO_MORE_TEXT;
        }
        const Chunk& c = chunks_[current_ - 1];
        if (c.isDate) {
            return FILTER_E_NO_TEXT;
        }
        const std::size_t left = c.text.size() - textGiven_;
        if (left == 0) {
            return FILTER_E_NO_MORE_TEXT;
        }
        const std::size_t n = std::min<std::size_t>(left, *length);
        std::copy_n(c.text.data() + textGiven_, n, buffer);
        textGiven_ += n;
        *length = static_cast<ULONG>(n);
        return textGiven_ == c.text.size() ? FILTER_S_LAST_TEXT : S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetValue(PROPVARIANT** value) override
    {
        if (value == nullptr) {
            return E_INVALIDARG;
        }
        *value = nullptr;
        std::lock_guard<std::mutex> lock(mutex_);
        if (current_ == 0 || current_ > chunks_.size()) {
            return FILTER_E_NO_MORE_VALUES;
        }
        const Chunk& c = chunks_[current_ - 1];
        if (!c.isDate) {
            return FILTER_E_NO_VALUES;
        }
        if (valueGiven_) {
            return FILTER_E_NO_MORE_VALUES;
        }
        auto* made = static_cast<PROPVARIANT*>(CoTaskMemAlloc(sizeof(PROPVARIANT)));
        if (made == nullptr) {
            return E_OUTOFMEMORY;
        }
        PropVariantInit(made);
        made->vt = VT_FILETIME;
        made->filetime = c.time;
        *value = made;
        valueGiven_ = true;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE BindRegion(FILTERREGION, REFIID, void** object) override
    {
        if (object != nullptr) {
            *object = nullptr;
        }
        return E_NOTIMPL;
    }

    // ---- IPersist, IPersistFile, IPersistStream
    HRESULT STDMETHODCALLTYPE GetClassID(CLSID* clsid) override
    {
        return clsid == nullptr ? E_POINTER : (*clsid = FilterClass, S_OK);
    }
    HRESULT STDMETHODCALLTYPE IsDirty() override { return S_FALSE; }
    HRESULT STDMETHODCALLTYPE Load(LPCOLESTR path, DWORD) override
    {
        if (path == nullptr || path[0] == 0) {
            return E_INVALIDARG;
        }
        const HRESULT hr = loadFile(portablePath(path));
        if (SUCCEEDED(hr)) {
            std::lock_guard<std::mutex> lock(mutex_);
            fileName_ = path;
        }
        return hr;
    }
    HRESULT STDMETHODCALLTYPE Save(LPCOLESTR, BOOL) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE SaveCompleted(LPCOLESTR) override { return S_OK; }
    HRESULT STDMETHODCALLTYPE GetCurFile(LPOLESTR* path) override
    {
        if (path == nullptr) {
            return E_POINTER;
        }
        std::lock_guard<std::mutex> lock(mutex_);
        *path = static_cast<LPOLESTR>(CoTaskMemAlloc((fileName_.size() + 1) * sizeof(WCHAR)));
        if (*path == nullptr) {
            return E_OUTOFMEMORY;
        }
        std::copy_n(fileName_.c_str(), fileName_.size() + 1, *path);
        return fileName_.empty() ? S_FALSE : S_OK;
    }
    HRESULT STDMETHODCALLTYPE Load(IStream* stream) override
    {
        if (stream == nullptr) {
            return E_POINTER;
        }
        // The library reads files: the stream is copied to a private temporary one.
        WCHAR folder[MAX_PATH + 1] = {};
        WCHAR name[MAX_PATH + 1] = {};
        if (GetTempPathW(MAX_PATH, folder) == 0 || GetTempFileNameW(folder, L"lmf", 0, name) == 0) {
            return HRESULT_FROM_WIN32(GetLastError());
        }
        HRESULT hr = copyStream(stream, name);
        if (SUCCEEDED(hr)) {
            hr = loadFile(portablePath(name));
        }
        DeleteFileW(name);
        return hr;
    }
    HRESULT STDMETHODCALLTYPE Save(IStream*, BOOL) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetSizeMax(ULARGE_INTEGER*) override { return E_NOTIMPL; }

protected:
    void* interfaceFor(REFIID riid) override
    {
        if (IsEqualIID(riid, IID_IFilter)) {
            return static_cast<IFilter*>(this);
        }
        if (IsEqualIID(riid, IID_IPersistFile) || IsEqualIID(riid, IID_IPersist)) {
            return static_cast<IPersistFile*>(this);
        }
        if (IsEqualIID(riid, IID_IPersistStream)) {
            return static_cast<IPersistStream*>(this);
        }
        return nullptr;
    }

private:
    struct Chunk {
        FULLPROPSPEC property;
        bool isDate;
        std::basic_string<WCHAR> text;
        FILETIME time;
    };

    HRESULT loadFile(const std::string& path)
    {
        std::vector<Chunk> chunks;
        // A file that cannot be read leaves nothing of the one before it.
        {
            std::lock_guard<std::mutex> lock(mutex_);
            loaded_ = false;
            all_.clear();
            chunks_.clear();
            current_ = 0;
        }
        try {
            for (const Scripting::IndexChunk& c : Scripting::indexChunksOf(path)) {
                chunks.push_back(Chunk{propertyOf(c), c.isDate, c.isDate ? std::basic_string<WCHAR>() : toUtf16(c.text),
                                       fileTimeOf(c.utcSeconds)});
            }
        } catch (const Metadata::IOOpenError&) {
            return FILTER_E_ACCESS;
        } catch (const std::bad_alloc&) {
            return E_OUTOFMEMORY;
        } catch (...) {
            // Not a JPEG or TIFF file, or one too damaged to read.
            return FILTER_E_UNKNOWNFORMAT;
        }
        std::lock_guard<std::mutex> lock(mutex_);
        all_ = std::move(chunks);
        chunks_.clear();
        current_ = 0;
        loaded_ = true;
        return S_OK;
    }

    static HRESULT copyStream(IStream* stream, const WCHAR* path)
    {
        HANDLE file = CreateFileW(path, GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_TEMPORARY, nullptr);
        if (file == INVALID_HANDLE_VALUE) {
            return HRESULT_FROM_WIN32(GetLastError());
        }
        std::vector<BYTE> buffer(64 * 1024);
        ULONGLONG total = 0;
        HRESULT hr = S_OK;
        for (;;) {
            ULONG got = 0;
            hr = stream->Read(buffer.data(), static_cast<ULONG>(buffer.size()), &got);
            if (FAILED(hr) || got == 0) {
                break;
            }
            total += got;
            DWORD written = 0;
            if (total > MaxStreamBytes) {
                hr = E_OUTOFMEMORY; // too big to be taken in
                break;
            }
            if (!WriteFile(file, buffer.data(), got, &written, nullptr) || written != got) {
                hr = HRESULT_FROM_WIN32(GetLastError());
                break;
            }
        }
        CloseHandle(file);
        return FAILED(hr) ? hr : S_OK;
    }

    std::mutex mutex_;
    bool loaded_ = false;
    std::vector<Chunk> all_;
    std::vector<Chunk> chunks_;
    std::size_t current_ = 0; // the chunk GetChunk gave last, from 1; 0 before the first
    std::size_t textGiven_ = 0;
    bool valueGiven_ = false;
    std::basic_string<WCHAR> fileName_;
};

} // namespace

HRESULT createIptcFilter(int, IUnknown* outer, IUnknown** inner)
{
    return createObject<IptcFilter>(inner, outer);
}

} // namespace Lumeno::Shell
