// Drives the server's IPTC filter as the desktop search does: made through the class factory by
// its CLSID, loaded from a file (IPersistFile) or a stream (IPersistStream), then chunk by chunk
// with its text read in small pieces and its dates as values.
//   filter-test chunks DLL FILE [stream]   prints each chunk: "SET:ID<TAB>text" or "SET:ID<TAB>@seconds"
//   filter-test load DLL FILE...           prints each file's Load result (hostile files)
//   filter-test check DLL SAMPLE           the protocol's checks
#include "TestHost.h"

#include <filter.h>
#include <filterr.h>
#include <shlwapi.h>

#include <cstdio>
#include <string>
#include <vector>

namespace {

const char* const FilterClsid = "{56216B02-5B31-48EB-A0B6-D86A595BCC3F}";

struct Chunk {
    std::string property;
    std::string text;
    bool value = false;
};

std::string setName(const GUID& g)
{
    const GUID summary = {0xF29F85E0, 0x4FF9, 0x1068, {0xAB, 0x91, 0x08, 0x00, 0x2B, 0x27, 0xB3, 0xD9}};
    const GUID media = {0x64440492, 0x4C8B, 0x11D1, {0x8B, 0x70, 0x08, 0x00, 0x36, 0xB1, 0x1A, 0x03}};
    const GUID photo = {0x14B81DA1, 0x0135, 0x4D31, {0x96, 0xD9, 0x6C, 0xBF, 0xC9, 0x67, 0x1A, 0x99}};
    const GUID own = {0x7D1ED887, 0x39C2, 0x4800, {0xB2, 0x2E, 0xFB, 0xD4, 0x6F, 0xAF, 0x9B, 0x47}};
    return IsEqualGUID(g, summary) ? "Summary" : IsEqualGUID(g, media) ? "Media" : IsEqualGUID(g, photo) ? "Photo"
                                              : IsEqualGUID(g, own)    ? "Lumeno" : "?";
}

IFilter* makeFilter(Module& m)
{
    return create<IFilter>(m, FilterClsid, IID_IFilter);
}

HRESULT loadFile(IFilter* filter, const std::string& path)
{
    IPersistFile* file = nullptr;
    if (FAILED(filter->QueryInterface(IID_IPersistFile, reinterpret_cast<void**>(&file)))) {
        return E_NOINTERFACE;
    }
    const HRESULT hr = file->Load(wide(path).c_str(), STGM_READ);
    file->Release();
    return hr;
}

HRESULT loadStream(IFilter* filter, const std::string& path)
{
    IPersistStream* persist = nullptr;
    if (FAILED(filter->QueryInterface(IID_IPersistStream, reinterpret_cast<void**>(&persist)))) {
        return E_NOINTERFACE;
    }
    IStream* stream = nullptr;
    HRESULT hr = SHCreateStreamOnFileEx(wide(path).c_str(), STGM_READ, 0, FALSE, nullptr, &stream);
    if (SUCCEEDED(hr)) {
        hr = persist->Load(stream);
        stream->Release();
    }
    persist->Release();
    return hr;
}

// Every chunk after Init, texts read `piece` characters at a time; `ok` false when the filter
// broke its protocol on the way.
std::vector<Chunk> chunksOf(IFilter* filter, ULONG piece, bool& ok, ULONG attributes = 0, const FULLPROPSPEC* wanted = nullptr)
{
    std::vector<Chunk> chunks;
    ULONG flags = 1;
    ok = filter->Init(IFILTER_INIT_CANON_PARAGRAPHS, attributes, wanted, &flags) == S_OK && flags == 0;
    ULONG expectedId = 1;
    for (int guard = 0; ok && guard < 100000; ++guard) {
        STAT_CHUNK stat = {};
        const HRESULT hr = filter->GetChunk(&stat);
        if (hr == FILTER_E_END_OF_CHUNKS) {
            break;
        }
        ok = ok && hr == S_OK && stat.idChunk == expectedId++ && stat.attribute.psProperty.ulKind == PRSPEC_PROPID;
        Chunk c;
        c.property = setName(stat.attribute.guidPropSet) + ":" + std::to_string(stat.attribute.psProperty.propid);
        if (stat.flags == CHUNK_TEXT) {
            std::basic_string<WCHAR> text;
            for (;;) {
                std::vector<WCHAR> buffer(piece + 1, 0);
                ULONG n = piece;
                const HRESULT got = filter->GetText(&n, buffer.data());
                if (got == FILTER_E_NO_MORE_TEXT) {
                    break;
                }
                ok = ok && (got == S_OK || got == FILTER_S_LAST_TEXT) && n <= piece;
                if (!ok) {
                    break;
                }
                text.append(buffer.data(), n);
            }
            PROPVARIANT* none = nullptr;
            ok = ok && filter->GetValue(&none) == FILTER_E_NO_VALUES && none == nullptr;
            c.text = narrow(text.c_str());
        } else {
            c.value = true;
            PROPVARIANT* value = nullptr;
            ok = ok && filter->GetValue(&value) == S_OK && value != nullptr && value->vt == VT_FILETIME;
            if (value != nullptr) {
                const unsigned long long ticks =
                    (static_cast<unsigned long long>(value->filetime.dwHighDateTime) << 32) | value->filetime.dwLowDateTime;
                c.text = "@" + std::to_string(static_cast<long long>(ticks / 10000000ULL) - 11644473600LL);
                PropVariantClear(value);
                CoTaskMemFree(value);
            }
            PROPVARIANT* again = nullptr;
            ok = ok && filter->GetValue(&again) == FILTER_E_NO_MORE_VALUES;
            ULONG n = 4;
            WCHAR buffer[4];
            ok = ok && filter->GetText(&n, buffer) == FILTER_E_NO_TEXT;
        }
        chunks.push_back(c);
    }
    return chunks;
}

void print(const std::vector<Chunk>& chunks)
{
    for (const Chunk& c : chunks) {
        std::string text = c.text;
        for (char& ch : text) {
            if (ch == '\n') ch = ' '; // one line per chunk
        }
        std::printf("%s\t%s\n", c.property.c_str(), text.c_str());
    }
}

int checks(Module& m, const std::string& sample)
{
    IFilter* filter = makeFilter(m);
    check(filter != nullptr, "the filter is made by its CLSID");
    if (filter == nullptr) {
        return checksDone();
    }
    ULONG flags = 0;
    check(filter->Init(0, 0, nullptr, &flags) == E_UNEXPECTED, "Init before Load is refused");
    STAT_CHUNK stat = {};
    check(filter->GetChunk(&stat) == FILTER_E_ACCESS, "GetChunk before Load is refused");
    check(loadFile(filter, sample) == S_OK, "Load takes the sample");
    IPersistFile* persist = nullptr;
    filter->QueryInterface(IID_IPersistFile, reinterpret_cast<void**>(&persist));
    LPOLESTR current = nullptr;
    CLSID own = {};
    check(persist != nullptr && persist->GetCurFile(&current) == S_OK && narrow(current) == sample &&
              persist->GetClassID(&own) == S_OK && IsEqualCLSID(own, clsid(FilterClsid)),
          "the filter names its file and class");
    CoTaskMemFree(current);
    if (persist != nullptr) persist->Release();

    bool ok = false;
    const std::vector<Chunk> whole = chunksOf(filter, 1000, ok);
    check(ok, "the protocol holds, texts read whole");
    const std::vector<Chunk> pieces = chunksOf(filter, 3, ok);
    check(ok, "the protocol holds, texts read three characters at a time");
    bool same = whole.size() == pieces.size();
    for (std::size_t i = 0; same && i < whole.size(); ++i) {
        same = whole[i].property == pieces[i].property && whole[i].text == pieces[i].text;
    }
    check(same && !whole.empty(), "Init starts again, and the pieces make the same texts");
    check(filter->GetChunk(&stat) == FILTER_E_END_OF_CHUNKS, "past the end, still the end");

    // Only the properties asked for.
    FULLPROPSPEC keywords = {};
    keywords.guidPropSet = {0xF29F85E0, 0x4FF9, 0x1068, {0xAB, 0x91, 0x08, 0x00, 0x2B, 0x27, 0xB3, 0xD9}};
    keywords.psProperty.ulKind = PRSPEC_PROPID;
    keywords.psProperty.propid = 5;
    const std::vector<Chunk> only = chunksOf(filter, 100, ok, 1, &keywords);
    check(ok && only.size() == 2 && only[0].text == "sunrise" && only[1].text == "lake", "Init with attributes gives only those");

    // A stream gives what the file gives.
    check(loadStream(filter, sample) == S_OK, "Load takes a stream");
    const std::vector<Chunk> streamed = chunksOf(filter, 1000, ok);
    same = ok && streamed.size() == whole.size();
    for (std::size_t i = 0; same && i < whole.size(); ++i) {
        same = whole[i].property == streamed[i].property && whole[i].text == streamed[i].text;
    }
    check(same, "the stream's chunks are the file's");

    check(loadFile(filter, sample + ".missing") == FILTER_E_ACCESS, "a missing file: FILTER_E_ACCESS");
    check(filter->Init(0, 0, nullptr, &flags) == E_UNEXPECTED && filter->GetChunk(&stat) == FILTER_E_ACCESS,
          "and nothing of the file loaded before is left");
    filter->Release();

    Outer outer;
    HRESULT hr = S_OK;
    IUnknown* inner = create<IUnknown>(m, FilterClsid, IID_IUnknown, &outer, &hr);
    IFilter* aggregated = nullptr;
    check(inner != nullptr && SUCCEEDED(inner->QueryInterface(IID_IFilter, reinterpret_cast<void**>(&aggregated))),
          "the filter made aggregated answers IFilter through its inner unknown");
    IPersistFile* file = nullptr;
    if (inner != nullptr && SUCCEEDED(inner->QueryInterface(IID_IPersistFile, reinterpret_cast<void**>(&file)))) {
        check(file->Load(wide(sample).c_str(), STGM_READ) == S_OK && chunksOf(aggregated, 100, ok).size() == whole.size() && ok,
              "and loads the sample");
    } else {
        check(false, "the filter made aggregated answers IPersistFile through its inner unknown");
    }
    if (inner != nullptr) inner->Release();
    return checksDone();
}

} // namespace

int main(int argc, char** argv)
{
    if (argc < 4) {
        std::fprintf(stderr, "usage: filter-test chunks|load|check DLL FILE...\n");
        return 2;
    }
    CoInitialize(nullptr);
    Module m(argv[2]);
    if (m.handle == nullptr) {
        std::printf("the server does not load\n");
        return 1;
    }
    const std::string mode = argv[1];
    int status = 0;
    if (mode == "chunks") {
        IFilter* filter = makeFilter(m);
        const bool stream = argc > 4 && std::string(argv[4]) == "stream";
        const HRESULT hr = filter == nullptr ? E_FAIL : stream ? loadStream(filter, argv[3]) : loadFile(filter, argv[3]);
        bool ok = false;
        if (SUCCEEDED(hr)) {
            print(chunksOf(filter, 7, ok));
        }
        status = SUCCEEDED(hr) && ok ? 0 : 1;
        if (filter != nullptr) filter->Release();
    } else if (mode == "load") {
        for (int i = 3; i < argc; ++i) {
            IFilter* filter = makeFilter(m);
            const HRESULT hr = loadFile(filter, argv[i]);
            bool ok = true;
            std::size_t n = 0;
            if (SUCCEEDED(hr)) {
                n = chunksOf(filter, 5, ok).size();
            }
            std::printf("%08lx %s %zu\t%s\n", static_cast<unsigned long>(hr), ok ? "ok" : "broken", n, argv[i]);
            filter->Release();
        }
    } else if (mode == "check") {
        status = checks(m, argv[3]);
    }
    CoUninitialize();
    return status;
}
