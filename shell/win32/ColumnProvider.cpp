// CLumenoColumnProvider: the EXIF and IPTC columns of the details view.
#include "Server.h"

#include <Lumeno/Shell/ShellCore.h>
#include <Lumeno/UI/Settings.h>


namespace Lumeno::Shell {

namespace {

// The column numbering is fixed at the first call of each operation in the process, from the
// settings then in force: a change of the settings renumbers columns only in a new process.
const ColumnLayout& infoLayout(bool exif, bool iptc)
{
    static const ColumnLayout layout(exif, iptc);
    return layout;
}

const ColumnLayout& dataLayout(bool exif, bool iptc)
{
    static const ColumnLayout layout(exif, iptc);
    return layout;
}

// The property-key format of every column.
const GUID ColumnFormat = {0x394C3DE0, 0x3C6F, 0x11D2, {0x81, 0x7B, 0x00, 0xC0, 0x4F, 0x79, 0x7A, 0xB7}};

void copyAnsi(const std::string& text, WCHAR* out, int size)
{
    const int n = MultiByteToWideChar(CP_ACP, 0, text.c_str(), -1, out, size);
    if (n == 0) {
        out[size - 1] = 0; // cut to the field's size
    }
}

class CLumenoColumnProvider final : public ComObject, public IColumnProvider {
public:
    explicit CLumenoColumnProvider(IUnknown* outer) : ComObject(outer) {}

    LUMENO_DELEGATING_UNKNOWN

    HRESULT STDMETHODCALLTYPE Initialize(LPCSHCOLUMNINIT) override
    {
        try {
            const UI::Settings settings;
            exif_ = settings.getEnableExifColumns();
            iptc_ = settings.getEnableIptcColumns();
        } catch (...) {
            // Unreadable settings: their defaults, both on.
        }
        return S_OK;
    }

    HRESULT STDMETHODCALLTYPE GetColumnInfo(DWORD index, SHCOLUMNINFO* info) override
    {
        try {
            if (info == nullptr) {
                return E_POINTER;
            }
            const ColumnLayout& layout = infoLayout(exif_, iptc_);
            if (!exif_ && !iptc_) {
                return S_FALSE;
            }
            ColumnInfo column;
            if (!layout.info(index, column)) {
                return S_FALSE;
            }
            ZeroMemory(info, sizeof *info);
            info->scid.fmtid = ColumnFormat;
            info->scid.pid = index;
            info->vt = VT_LPSTR;
            info->fmt = LVCFMT_LEFT;
            info->cChars = 20;
            info->csFlags = SHCOLSTATE_TYPE_STR | SHCOLSTATE_SLOW;
            copyAnsi(column.title, info->wszTitle, MAX_COLUMN_NAME_LEN);
            copyAnsi(column.description, info->wszDescription, MAX_COLUMN_DESC_LEN);
            return S_OK;
        } catch (...) {
            return S_FALSE;
        }
    }

    HRESULT STDMETHODCALLTYPE GetItemData(LPCSHCOLUMNID key, LPCSHCOLUMNDATA data, VARIANT* value) override
    {
        try {
            if (key == nullptr || data == nullptr || value == nullptr) {
                return S_FALSE;
            }
            const ColumnLayout& layout = dataLayout(exif_, iptc_);
            if ((!exif_ && !iptc_) || data->pwszExt == nullptr || lstrlenW(data->pwszExt) > 32) {
                return S_FALSE;
            }
            if (!servedExtension(toUtf8(data->pwszExt))) {
                return S_FALSE;
            }
            const std::size_t index = key->pid;
            const bool exifColumn = index < layout.exifCount() && exif_;
            const bool iptcColumn = !exifColumn && index >= layout.exifCount() && index < layout.count() && iptc_;
            if (!exifColumn && !iptcColumn) {
                return S_FALSE;
            }
            const std::optional<std::string> text = itemText(portablePath(data->wszFile), layout, index);
            if (!text) {
                return S_FALSE;
            }
            VariantClear(value);
            const BSTR string = SysAllocString(toUtf16(*text).c_str());
            if (string == nullptr) {
                return S_FALSE;
            }
            V_VT(value) = VT_BSTR;
            V_BSTR(value) = string;
            return S_OK;
        } catch (...) {
            return S_FALSE;
        }
    }

protected:
    void* interfaceFor(REFIID riid) override
    {
        return IsEqualIID(riid, IID_IColumnProvider) ? static_cast<IColumnProvider*>(this) : nullptr;
    }

private:
    bool exif_ = true;
    bool iptc_ = true;
};

} // namespace

HRESULT createColumnProvider(IUnknown* outer, IUnknown** inner)
{
    return createObject<CLumenoColumnProvider>(inner, outer);
}

} // namespace Lumeno::Shell
