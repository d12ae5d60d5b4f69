// The seven overlay identifiers: one class per combination of EXIF, IPTC and XMP, all asking the
// one shared decision.
#include "Server.h"

#include <Lumeno/Shell/ShellCore.h>
#include <Lumeno/UI/Settings.h>


namespace Lumeno::Shell {

namespace {

class COverlayIdentifier final : public ComObject, public IShellIconOverlayIdentifier {
public:
    COverlayIdentifier(OverlayKind kind, IUnknown* outer) : ComObject(outer), kind_(kind) {}

    LUMENO_DELEGATING_UNKNOWN

    HRESULT STDMETHODCALLTYPE IsMemberOf(LPCWSTR path, DWORD) override
    {
        if (path == nullptr) {
            return E_POINTER;
        }
        try {
            switch (IconOverlay::isMemberOf(portablePath(path), kind_)) {
            case IconOverlay::Answer::Yes:
                return S_OK;
            case IconOverlay::Answer::No:
                return S_FALSE;
            case IconOverlay::Answer::Failed:
                return E_FAIL;
            }
        } catch (...) {
        }
        return E_FAIL;
    }

    HRESULT STDMETHODCALLTYPE GetOverlayInfo(LPWSTR iconFile, int size, int* index, DWORD* flags) override
    {
        HRESULT answer = S_OK;
        bool enabled = true;
        try {
            enabled = overlaysEnabled();
        } catch (...) {
        }
        if (!enabled) {
            answer = S_FALSE;
        } else if (index == nullptr || flags == nullptr) {
            return E_INVALIDARG;
        } else {
            if (iconFile != nullptr && size > 0) {
                lstrcpynW(iconFile, modulePath().c_str(), size);
            }
            *flags = ISIOI_ICONFILE | ISIOI_ICONINDEX;
        }
        const OverlayInfo* info = overlayFor(kind_);
        if (index != nullptr && info != nullptr) {
            *index = info->iconIndex;
        }
        return answer;
    }

    HRESULT STDMETHODCALLTYPE GetPriority(int* priority) override
    {
        if (priority == nullptr) {
            return E_INVALIDARG;
        }
        *priority = 0;
        return S_OK;
    }

protected:
    void* interfaceFor(REFIID riid) override
    {
        return IsEqualIID(riid, IID_IShellIconOverlayIdentifier) ? static_cast<IShellIconOverlayIdentifier*>(this)
                                                                : nullptr;
    }

private:
    OverlayKind kind_;
};

} // namespace

HRESULT createOverlayIdentifier(int kind, IUnknown* outer, IUnknown** inner)
{
    return createObject<COverlayIdentifier>(inner, outer, static_cast<OverlayKind>(kind));
}

} // namespace Lumeno::Shell
