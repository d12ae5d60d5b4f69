// CLumenoInfoTip: the tip shown when the pointer rests on a JPEG or TIFF file.
#include "Server.h"

#include <Lumeno/Shell/ShellCore.h>

#include <cstring>

namespace Lumeno::Shell {

namespace {

const CLSID InfoTipClass = {0xF36B4023, 0xB4F2, 0x4C40, {0x9C, 0xDC, 0x0E, 0x1B, 0x0C, 0x66, 0xF1, 0xFC}};

class CLumenoInfoTip final : public ComObject, public IPersistFile, public IQueryInfo {
public:
    explicit CLumenoInfoTip(IUnknown* outer) : ComObject(outer) {}

    LUMENO_DELEGATING_UNKNOWN

    // IPersist / IPersistFile: only Load matters, it gives the file.
    HRESULT STDMETHODCALLTYPE GetClassID(CLSID* clsid) override
    {
        if (clsid == nullptr) {
            return E_POINTER;
        }
        *clsid = InfoTipClass;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE IsDirty() override { return S_FALSE; }
    HRESULT STDMETHODCALLTYPE Load(LPCOLESTR path, DWORD) override
    {
        if (path == nullptr) {
            return E_POINTER;
        }
        try {
            path_.assign(path, static_cast<std::size_t>(lstrlenW(path)));
            return S_OK;
        } catch (...) {
            return E_OUTOFMEMORY;
        }
    }
    HRESULT STDMETHODCALLTYPE Save(LPCOLESTR, BOOL) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE SaveCompleted(LPCOLESTR) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetCurFile(LPOLESTR*) override { return E_NOTIMPL; }

    // IQueryInfo
    HRESULT STDMETHODCALLTYPE GetInfoTip(DWORD, WCHAR** tip) override
    {
        if (tip == nullptr) {
            return E_POINTER;
        }
        *tip = nullptr;
        try {
            const std::optional<std::string> text = infoTipForFile(portablePath(path_.c_str()));
            if (!text) {
                return S_FALSE; // no tip
            }
            const std::basic_string<WCHAR> wide = toUtf16(*text);
            auto* copy = static_cast<WCHAR*>(CoTaskMemAlloc((wide.size() + 1) * sizeof(WCHAR)));
            if (copy == nullptr) {
                return E_OUTOFMEMORY;
            }
            std::memcpy(copy, wide.c_str(), (wide.size() + 1) * sizeof(WCHAR));
            *tip = copy;
            return S_OK;
        } catch (...) {
            return S_FALSE;
        }
    }
    HRESULT STDMETHODCALLTYPE GetInfoFlags(DWORD* flags) override
    {
        if (flags == nullptr) {
            return E_POINTER;
        }
        *flags = 0;
        return S_OK;
    }

protected:
    void* interfaceFor(REFIID riid) override
    {
        if (IsEqualIID(riid, IID_IPersistFile) || IsEqualIID(riid, IID_IPersist)) {
            return static_cast<IPersistFile*>(this);
        }
        if (IsEqualIID(riid, IID_IQueryInfo)) {
            return static_cast<IQueryInfo*>(this);
        }
        return nullptr;
    }

private:
    std::basic_string<WCHAR> path_;
};

} // namespace

HRESULT createInfoTip(IUnknown* outer, IUnknown** inner)
{
    return createObject<CLumenoInfoTip>(inner, outer);
}

} // namespace Lumeno::Shell
