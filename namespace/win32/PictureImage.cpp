// A picture's thumbnail for the view: the gallery store's thumbnail (or, when it holds none, one
// made from the file), fitted into the size the view asks for, as a bitmap the view owns.
#include "PictureImage.h"

#include "Server.h"
#include "Text.h"
#include "ViewerParts.h"

#include <Lumeno/Shell/Viewer.h>

#include <shlobj.h>
#include <shlwapi.h>

#include <algorithm>

namespace Lumeno::Namespace {

using Shell::ComObject;

namespace {

class PictureImage final : public ComObject, public IExtractImage2 {
public:
    PictureImage(std::string file, IUnknown* outer) : ComObject(outer), file_(std::move(file)) {}
    LUMENO_DELEGATING_UNKNOWN

    HRESULT STDMETHODCALLTYPE GetLocation(LPWSTR path, DWORD size, DWORD* priority, const SIZE* wanted, DWORD,
                                          DWORD* flags) override
    {
        if (wanted == nullptr || flags == nullptr) {
            return E_POINTER;
        }
        wanted_ = *wanted;
        if (path != nullptr && size > 0) {
            // Where the picture is: the view's cache keeps its thumbnail under that name.
            const std::wstring name = Shell::toUtf16(file_);
            lstrcpynW(path, name.c_str(), static_cast<int>(size));
        }
        if (priority != nullptr) {
            *priority = IEIT_PRIORITY_NORMAL;
        }
        // Made on the view's background thread when it offers one: decoding is not for the
        // thread the user types and scrolls on.
        const bool later = (*flags & IEIFLAG_ASYNC) != 0;
        *flags = IEIFLAG_CACHE;
        return later ? E_PENDING : S_OK;
    }

    HRESULT STDMETHODCALLTYPE Extract(HBITMAP* out) override
    {
        if (out == nullptr) {
            return E_POINTER;
        }
        *out = nullptr;
        if (wanted_.cx <= 0 || wanted_.cy <= 0) {
            return E_UNEXPECTED; // GetLocation first
        }
        try {
            const std::shared_ptr<const Shell::Bitmap> thumbnail = Shell::thumbnailBitmap(file_);
            // Fitted into the size asked for, never enlarged, its proportions kept.
            Shell::Viewport fit;
            fit.setArea(Shell::Rect{0, 0, static_cast<int>(wanted_.cx), static_cast<int>(wanted_.cy)});
            fit.setPicture(thumbnail->width, thumbnail->height);
            fit.fit();
            const Shell::Rect fitted = fit.pictureRect();
            *out = Shell::copyBitmap(*thumbnail, std::max(fitted.width, 1), std::max(fitted.height, 1));
            return *out != nullptr ? S_OK : E_OUTOFMEMORY;
        } catch (const std::exception&) {
            return E_FAIL; // no picture to be made of the file: the view shows its icon
        }
    }

    HRESULT STDMETHODCALLTYPE GetDateStamp(FILETIME* stamp) override
    {
        if (stamp == nullptr) {
            return E_POINTER;
        }
        WIN32_FILE_ATTRIBUTE_DATA data = {};
        if (!GetFileAttributesExW(Shell::toUtf16(file_).c_str(), GetFileExInfoStandard, &data)) {
            return HRESULT_FROM_WIN32(GetLastError());
        }
        *stamp = data.ftLastWriteTime; // a thumbnail cached before the file changed is made anew
        return S_OK;
    }

protected:
    void* interfaceFor(REFIID riid) override
    {
        if (IsEqualIID(riid, IID_IExtractImage) || IsEqualIID(riid, IID_IExtractImage2)) {
            return static_cast<IExtractImage2*>(this);
        }
        return nullptr;
    }

private:
    std::string file_;
    SIZE wanted_ = {0, 0};
};

} // namespace

HRESULT createPictureImage(const std::string& file, REFIID riid, void** out)
{
    return Shell::createInterface<PictureImage>(riid, out, file);
}

} // namespace Lumeno::Namespace
