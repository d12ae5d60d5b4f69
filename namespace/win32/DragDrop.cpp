// Pictures in and out of My Galleries: files dropped on a gallery are added to it (and to the
// store); pictures dragged out are the files themselves (CF_HDROP), with their gallery in a
// format of our own, so that dropped on another gallery they move there (copied with Ctrl).
#include "DragDrop.h"

#include "Server.h"

#include <Lumeno/DB/Store.h>
#include <Lumeno/Shell/ShellCore.h>

#include <shlobj.h>

#include <cstring>

namespace Lumeno::Namespace {

using Shell::ComObject;
using Shell::toUtf16;
using Shell::toUtf8;

namespace {

// "Lumeno Gallery Pictures": the gallery the pictures come from, then their paths, a line each
// (UTF-8).
UINT picturesFormat()
{
    static const UINT format = RegisterClipboardFormatA("Lumeno Gallery Pictures");
    return format;
}

struct Dragged {
    std::string gallery; // empty: files from elsewhere
    std::vector<std::string> files;
};

Dragged draggedOf(IDataObject* data)
{
    Dragged dragged;
    if (data == nullptr) {
        return dragged;
    }
    FORMATETC ours = {static_cast<CLIPFORMAT>(picturesFormat()), nullptr, DVASPECT_CONTENT, -1, TYMED_HGLOBAL};
    STGMEDIUM medium = {};
    if (SUCCEEDED(data->GetData(&ours, &medium))) {
        const SIZE_T size = GlobalSize(medium.hGlobal);
        if (const auto* text = static_cast<const char*>(GlobalLock(medium.hGlobal))) {
            const std::string all(text, strnlen(text, size));
            std::size_t start = 0;
            bool first = true;
            while (start < all.size()) {
                const std::size_t end = all.find('\n', start);
                const std::string line = all.substr(start, end == std::string::npos ? std::string::npos : end - start);
                if (first) {
                    dragged.gallery = line;
                    first = false;
                } else if (!line.empty()) {
                    dragged.files.push_back(line);
                }
                start = end == std::string::npos ? all.size() : end + 1;
            }
            GlobalUnlock(medium.hGlobal);
        }
        ReleaseStgMedium(&medium);
        if (!validGalleryPath(dragged.gallery)) {
            dragged = Dragged{}; // not ours after all: taken as plain files below
        } else {
            return dragged;
        }
    }
    dragged.files = Shell::droppedFiles(data);
    return dragged;
}

// ---- the drop target of a gallery ----------------------------------------------------------------

class GalleryDropTarget final : public ComObject, public IDropTarget {
public:
    GalleryDropTarget(std::string gallery, IUnknown* outer) : ComObject(outer), gallery_(std::move(gallery)) {}
    LUMENO_DELEGATING_UNKNOWN

    HRESULT STDMETHODCALLTYPE DragEnter(IDataObject* data, DWORD keys, POINTL, DWORD* effect) override
    {
        if (effect == nullptr) {
            return E_INVALIDARG;
        }
        dragged_ = draggedOf(data);
        *effect = effectFor(keys, *effect);
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE DragOver(DWORD keys, POINTL, DWORD* effect) override
    {
        if (effect == nullptr) {
            return E_INVALIDARG;
        }
        *effect = effectFor(keys, *effect);
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE DragLeave() override
    {
        dragged_ = Dragged{};
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE Drop(IDataObject* data, DWORD keys, POINTL, DWORD* effect) override
    {
        if (effect == nullptr) {
            return E_INVALIDARG;
        }
        dragged_ = draggedOf(data);
        *effect = effectFor(keys, *effect);
        if (*effect == DROPEFFECT_NONE) {
            return S_OK;
        }
        HRESULT result = S_OK;
        DB::Store& store = DB::Store::instance();
        for (const std::string& file : dragged_.files) {
            try {
                if (!Shell::servedExtension(file)) {
                    result = S_FALSE; // no picture of ours: left out
                    continue;
                }
                store.addImage(gallery_, file, true);
                if (*effect == DROPEFFECT_MOVE) {
                    store.removeImage(dragged_.gallery, file);
                }
            } catch (const std::exception&) {
                result = S_FALSE; // the others are still taken
            }
        }
        SHChangeNotify(SHCNE_UPDATEDIR, SHCNF_FLUSH, nullptr, nullptr);
        dragged_ = Dragged{};
        return result;
    }

protected:
    void* interfaceFor(REFIID riid) override
    {
        return IsEqualIID(riid, IID_IDropTarget) ? static_cast<IDropTarget*>(this) : nullptr;
    }

private:
    // Pictures of another gallery move here (with Ctrl they are copied); files from elsewhere
    // are added, which the shell shows as a copy.
    DWORD effectFor(DWORD keys, DWORD allowed) const
    {
        if (dragged_.files.empty() || dragged_.gallery == gallery_) {
            return DROPEFFECT_NONE;
        }
        DWORD wanted = DROPEFFECT_COPY;
        if (!dragged_.gallery.empty() && (keys & MK_CONTROL) == 0) {
            wanted = DROPEFFECT_MOVE;
        }
        if ((allowed & wanted) != 0) {
            return wanted;
        }
        return (allowed & DROPEFFECT_COPY) != 0 ? DROPEFFECT_COPY : DROPEFFECT_NONE;
    }

    std::string gallery_;
    Dragged dragged_;
};

// ---- the data object of pictures -----------------------------------------------------------------

class PicturesData final : public ComObject, public IDataObject {
public:
    PicturesData(std::string gallery, std::vector<std::string> files, IUnknown* outer)
        : ComObject(outer), gallery_(std::move(gallery)), files_(std::move(files))
    {
    }
    LUMENO_DELEGATING_UNKNOWN

    HRESULT STDMETHODCALLTYPE GetData(FORMATETC* format, STGMEDIUM* medium) override
    {
        if (format == nullptr || medium == nullptr) {
            return E_INVALIDARG;
        }
        const HRESULT offered = QueryGetData(format);
        if (offered != S_OK) {
            return offered;
        }
        HGLOBAL global = format->cfFormat == CF_HDROP ? dropFiles() : picturesText();
        if (global == nullptr) {
            return E_OUTOFMEMORY;
        }
        medium->tymed = TYMED_HGLOBAL;
        medium->hGlobal = global;
        medium->pUnkForRelease = nullptr;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetDataHere(FORMATETC*, STGMEDIUM*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE QueryGetData(FORMATETC* format) override
    {
        if (format == nullptr) {
            return E_INVALIDARG;
        }
        const bool known = format->cfFormat == CF_HDROP || (format->cfFormat == picturesFormat() && !gallery_.empty());
        if (!known) {
            return DV_E_FORMATETC;
        }
        return (format->tymed & TYMED_HGLOBAL) != 0 ? S_OK : DV_E_TYMED;
    }
    HRESULT STDMETHODCALLTYPE GetCanonicalFormatEtc(FORMATETC*, FORMATETC* out) override
    {
        if (out != nullptr) {
            out->ptd = nullptr;
        }
        return DATA_S_SAMEFORMATETC;
    }
    HRESULT STDMETHODCALLTYPE SetData(FORMATETC*, STGMEDIUM*, BOOL) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE EnumFormatEtc(DWORD direction, IEnumFORMATETC** out) override
    {
        if (out == nullptr) {
            return E_POINTER;
        }
        *out = nullptr;
        if (direction != DATADIR_GET) {
            return E_NOTIMPL;
        }
        FORMATETC formats[] = {{CF_HDROP, nullptr, DVASPECT_CONTENT, -1, TYMED_HGLOBAL},
                               {static_cast<CLIPFORMAT>(picturesFormat()), nullptr, DVASPECT_CONTENT, -1, TYMED_HGLOBAL}};
        return SHCreateStdEnumFmtEtc(gallery_.empty() ? 1 : 2, formats, out);
    }
    HRESULT STDMETHODCALLTYPE DAdvise(FORMATETC*, DWORD, IAdviseSink*, DWORD*) override
    {
        return OLE_E_ADVISENOTSUPPORTED;
    }
    HRESULT STDMETHODCALLTYPE DUnadvise(DWORD) override { return OLE_E_ADVISENOTSUPPORTED; }
    HRESULT STDMETHODCALLTYPE EnumDAdvise(IEnumSTATDATA**) override { return OLE_E_ADVISENOTSUPPORTED; }

protected:
    void* interfaceFor(REFIID riid) override
    {
        return IsEqualIID(riid, IID_IDataObject) ? static_cast<IDataObject*>(this) : nullptr;
    }

private:
    // DROPFILES and the paths in UTF-16, each ended by a NUL, the list by another.
    HGLOBAL dropFiles() const
    {
        std::basic_string<WCHAR> paths;
        for (const std::string& file : files_) {
            paths += toUtf16(file);
            paths += WCHAR(0);
        }
        paths += WCHAR(0);
        const SIZE_T size = sizeof(DROPFILES) + paths.size() * sizeof(WCHAR);
        HGLOBAL global = GlobalAlloc(GMEM_MOVEABLE | GMEM_ZEROINIT, size);
        if (global == nullptr) {
            return nullptr;
        }
        auto* drop = static_cast<DROPFILES*>(GlobalLock(global));
        drop->pFiles = sizeof(DROPFILES);
        drop->fWide = TRUE;
        std::memcpy(reinterpret_cast<BYTE*>(drop) + sizeof(DROPFILES), paths.data(), paths.size() * sizeof(WCHAR));
        GlobalUnlock(global);
        return global;
    }

    HGLOBAL picturesText() const
    {
        std::string text = gallery_;
        for (const std::string& file : files_) {
            text += "\n" + file;
        }
        HGLOBAL global = GlobalAlloc(GMEM_MOVEABLE, text.size() + 1);
        if (global == nullptr) {
            return nullptr;
        }
        std::memcpy(GlobalLock(global), text.c_str(), text.size() + 1);
        GlobalUnlock(global);
        return global;
    }

    std::string gallery_;
    std::vector<std::string> files_;
};

} // namespace

HRESULT createGalleryDropTarget(const std::string& gallery, REFIID riid, void** out)
{
    return Shell::createInterface<GalleryDropTarget>(riid, out, gallery);
}

HRESULT createPicturesData(const std::string& gallery, const std::vector<std::string>& files, REFIID riid, void** out)
{
    return Shell::createInterface<PicturesData>(riid, out, gallery, files);
}

} // namespace Lumeno::Namespace
