// "My Galleries": the shell folder over the gallery store. A thin layer: what a folder holds,
// names, columns and their order come from the portable GalleryFolder; here they are put into
// the shell's terms (item identifier lists, STRRETs, attributes, details).
#include "NamespaceFolder.h"

#include "DragDrop.h"
#include "ItemMenu.h"
#include "PictureImage.h"

#include "Server.h"

#include <commctrl.h>
#include <shlwapi.h>

#include <Lumeno/DB/Store.h>
#include <Lumeno/Namespace/Commands.h>
#include <Lumeno/Namespace/Folder.h>
#include <Lumeno/UI/Settings.h>

#include <cstring>
#include <memory>
#include <mutex>

namespace Lumeno::Namespace {

using Shell::ComObject;
using Shell::toUtf16;
using Shell::toUtf8;

namespace {

constexpr const char* FolderClsid = "{89434BB7-16EA-4562-8372-5AD47F18F97B}";

CLSID folderClsid()
{
    CLSID clsid = {};
    CLSIDFromString(toUtf16(FolderClsid).c_str(), &clsid);
    return clsid;
}

// The model of the store, one per process: what it keeps (details of pictures read once) serves
// every folder object. The store is opened on first use.
GalleryFolder& model(std::unique_lock<std::mutex>& lock)
{
    static std::mutex mutex;
    static GalleryFolder folder(DB::Store::instance());
    lock = std::unique_lock<std::mutex>(mutex);
    return folder;
}

// ---- item identifier lists -----------------------------------------------------------------------

// One level of ours, as the shell hands it back: nothing when it is not ours, whole and sound.
std::optional<ItemId> itemOf(PCUIDLIST_RELATIVE pidl)
{
    if (pidl == nullptr || pidl->mkid.cb < sizeof(USHORT) + 1) {
        return std::nullopt;
    }
    return decodeItem(pidl->mkid.abID, pidl->mkid.cb - sizeof(USHORT));
}

// The same, its texts left in the list (for comparisons).
std::optional<ItemView> viewOf(PCUIDLIST_RELATIVE pidl)
{
    if (pidl == nullptr || pidl->mkid.cb < sizeof(USHORT) + 1) {
        return std::nullopt;
    }
    return viewItem(pidl->mkid.abID, pidl->mkid.cb - sizeof(USHORT));
}

// Every level of a relative list; nothing when one of them is not ours.
std::optional<std::vector<ItemId>> itemsOf(PCUIDLIST_RELATIVE pidl)
{
    std::vector<ItemId> items;
    for (PCUIDLIST_RELATIVE at = pidl; at != nullptr && at->mkid.cb != 0; at = ILNext(at)) {
        std::optional<ItemId> item = itemOf(at);
        if (!item) {
            return std::nullopt;
        }
        items.push_back(std::move(*item));
    }
    return items;
}

// A list of the items given, one level each; null when it cannot be made.
LPITEMIDLIST makeList(const std::vector<ItemId>& items) noexcept
{
    std::vector<std::string> levels;
    std::size_t total = sizeof(USHORT);
    try {
        for (const ItemId& item : items) {
            levels.push_back(encodeItem(item));
            total += sizeof(USHORT) + levels.back().size();
        }
    } catch (const std::exception&) {
        return nullptr; // no memory, or a name no identifier holds
    }
    auto* bytes = static_cast<BYTE*>(CoTaskMemAlloc(total));
    if (bytes == nullptr) {
        return nullptr;
    }
    BYTE* at = bytes;
    for (const std::string& level : levels) {
        const auto cb = static_cast<USHORT>(sizeof(USHORT) + level.size());
        std::memcpy(at, &cb, sizeof cb);
        std::memcpy(at + sizeof cb, level.data(), level.size());
        at += cb;
    }
    const USHORT end = 0;
    std::memcpy(at, &end, sizeof end);
    return reinterpret_cast<LPITEMIDLIST>(bytes);
}

// A search the user made, first in the history the find box offers again (SearchTermHistory).
void rememberTerm(const std::string& term)
{
    try {
        UI::Settings settings;
        const UI::SettingInfo& row = UI::settingInfo(UI::Setting::SearchTermHistory);
        settings.accessor().writeList(row.section, row.name, rememberSearch(settings.getSearchTermHistory(), term));
    } catch (...) {
        // Not remembered: the search is still made.
    }
}

// ---- columns the user leaves in a view -------------------------------------------------------------

// The titles of the columns a list view shows, in the order it shows them.
std::vector<std::string> shownColumns(HWND list)
{
    std::vector<std::string> titles;
    HWND header = reinterpret_cast<HWND>(SendMessageW(list, LVM_GETHEADER, 0, 0));
    const int count = header != nullptr ? static_cast<int>(SendMessageW(header, HDM_GETITEMCOUNT, 0, 0)) : 0;
    if (count <= 0) {
        return titles;
    }
    std::vector<int> order(static_cast<std::size_t>(count));
    if (!SendMessageW(list, LVM_GETCOLUMNORDERARRAY, static_cast<WPARAM>(count), reinterpret_cast<LPARAM>(order.data()))) {
        return titles;
    }
    for (int index : order) {
        WCHAR text[256] = {};
        LVCOLUMNW column = {};
        column.mask = LVCF_TEXT;
        column.pszText = text;
        column.cchTextMax = 256;
        if (SendMessageW(list, LVM_GETCOLUMNW, static_cast<WPARAM>(index), reinterpret_cast<LPARAM>(&column))) {
            titles.push_back(toUtf8(text));
        }
    }
    return titles;
}

// Kept as VisibleColumns and ColumnOrder when they differ from what the settings give already (a
// view left as it opened writes nothing, so defaults stay defaults).
void rememberColumns(const std::vector<std::string>& shown)
{
    if (shown.empty()) {
        return;
    }
    try {
        UI::Settings settings;
        const std::vector<std::string> storedOrder = settings.getColumnOrder();
        const std::vector<std::string> storedVisible = settings.getVisibleColumns();
        const std::vector<Column> before = columnOrder(storedOrder);
        std::vector<std::string> showing; // what the settings make a view show
        for (Column column : before) {
            if (storedVisible.empty() || isNamed(storedVisible, column) || column == Column::Name) {
                showing.emplace_back(columnInfo(column).title);
            }
        }
        const ColumnChoice left = columnsLeft(shown, before);
        if (left.visible == showing) {
            return;
        }
        const UI::SettingInfo& order = UI::settingInfo(UI::Setting::ColumnOrder);
        const UI::SettingInfo& visible = UI::settingInfo(UI::Setting::VisibleColumns);
        settings.accessor().writeList(order.section, order.name, left.order);
        settings.accessor().writeList(visible.section, visible.name, left.visible);
    } catch (...) {
        // Not remembered: the view closes all the same.
    }
}

// On the view's list: what it shows is read as it goes (its header still there).
LRESULT CALLBACK columnsWatcher(HWND list, UINT message, WPARAM wParam, LPARAM lParam, UINT_PTR id, DWORD_PTR)
{
    if (message == WM_DESTROY) {
        rememberColumns(shownColumns(list));
    } else if (message == WM_NCDESTROY) {
        RemoveWindowSubclass(list, columnsWatcher, id);
    }
    return DefSubclassProc(list, message, wParam, lParam);
}

HRESULT putString(const std::string& text, STRRET* out)
{
    out->uType = STRRET_WSTR;
    return SHStrDupW(toUtf16(text).c_str(), &out->pOleStr);
}

// The columns in the order the user left them (ColumnOrder), each shown or not (VisibleColumns);
// every column when nothing is stored.
struct ColumnLayout {
    std::vector<Column> order;
    std::vector<bool> visible; // by Column

    ColumnLayout()
    {
        std::vector<std::string> stored, shown;
        try {
            const UI::Settings settings;
            stored = settings.getColumnOrder();
            shown = settings.getVisibleColumns();
        } catch (...) {
            // Unreadable settings: every column, in its own order.
        }
        order = columnOrder(stored);
        for (std::size_t i = 0; i < ColumnCount; ++i) {
            visible.push_back(shown.empty() || isNamed(shown, static_cast<Column>(i)));
        }
        visible[static_cast<std::size_t>(Column::Name)] = true; // a view without names shows nothing
    }
};

// ---- the enumerator ------------------------------------------------------------------------------

// One item of the folder, as its enumerator hands it out.
PITEMID_CHILD childOf(const ItemId& item)
{
    return reinterpret_cast<PITEMID_CHILD>(makeList({item}));
}

using ItemEnumerator = Shell::ListEnumerator<IEnumIDList, ItemId, PITEMID_CHILD, childOf>;

// ---- the folder ----------------------------------------------------------------------------------

class Folder final : public ComObject, public IShellFolder2, public IPersistFolder2, public IShellFolderViewCB {
public:
    Folder(std::vector<ItemId> path, PIDLIST_ABSOLUTE root, IUnknown* outer)
        : ComObject(outer), path_(std::move(path)), root_(root)
    {
    }
    explicit Folder(IUnknown* outer) : ComObject(outer) {}
    ~Folder() override { CoTaskMemFree(root_); }

    LUMENO_DELEGATING_UNKNOWN

    // IPersist, IPersistFolder, IPersistFolder2
    HRESULT STDMETHODCALLTYPE GetClassID(CLSID* clsid) override
    {
        if (clsid == nullptr) {
            return E_POINTER;
        }
        *clsid = folderClsid();
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE Initialize(PCIDLIST_ABSOLUTE root) override
    {
        CoTaskMemFree(root_);
        root_ = root != nullptr ? ILCloneFull(root) : nullptr;
        return root == nullptr || root_ != nullptr ? S_OK : E_OUTOFMEMORY;
    }
    HRESULT STDMETHODCALLTYPE GetCurFolder(PIDLIST_ABSOLUTE* out) override
    {
        if (out == nullptr) {
            return E_POINTER;
        }
        *out = root_ != nullptr ? ILCloneFull(root_) : nullptr;
        return root_ == nullptr ? S_FALSE : (*out != nullptr ? S_OK : E_OUTOFMEMORY);
    }

    // IShellFolder
    HRESULT STDMETHODCALLTYPE ParseDisplayName(HWND, IBindCtx*, LPWSTR name, ULONG* eaten, PIDLIST_RELATIVE* out,
                                               ULONG* attributes) override
    {
        if (name == nullptr || out == nullptr) {
            return E_INVALIDARG;
        }
        *out = nullptr;
        try {
            std::unique_lock<std::mutex> lock;
            GalleryFolder& folder = model(lock);
            const std::optional<std::vector<ItemId>> items = folder.parse(here(), toUtf8(name));
            if (!items || items->empty()) {
                return HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND);
            }
            *out = makeList(*items);
            if (*out == nullptr) {
                return E_OUTOFMEMORY;
            }
            if (items->front().kind == ItemKind::Search) {
                rememberTerm(items->front().name);
            }
            if (eaten != nullptr) {
                *eaten = static_cast<ULONG>(lstrlenW(name));
            }
            if (attributes != nullptr) {
                *attributes &= attributesOf(items->back());
            }
            return S_OK;
        } catch (const std::exception&) {
            return E_FAIL;
        }
    }

    HRESULT STDMETHODCALLTYPE EnumObjects(HWND, SHCONTF flags, IEnumIDList** out) override
    {
        if (out == nullptr) {
            return E_POINTER;
        }
        *out = nullptr;
        if (!path_.empty() && path_.back().kind == ItemKind::Picture) {
            return E_INVALIDARG;
        }
        try {
            std::unique_lock<std::mutex> lock;
            std::vector<ItemId> items;
            for (ItemId& item : model(lock).children(here())) {
                if (item.isFolder() ? (flags & SHCONTF_FOLDERS) != 0 : (flags & SHCONTF_NONFOLDERS) != 0) {
                    items.push_back(std::move(item));
                }
            }
            return Shell::createInterface<ItemEnumerator>(
                IID_IEnumIDList, reinterpret_cast<void**>(out),
                std::shared_ptr<const std::vector<ItemId>>(std::make_shared<std::vector<ItemId>>(std::move(items))),
                std::size_t{0});
        } catch (const std::exception&) {
            return E_FAIL; // no store to read
        }
    }

    HRESULT STDMETHODCALLTYPE BindToObject(PCUIDLIST_RELATIVE pidl, IBindCtx*, REFIID riid, void** out) override
    {
        if (out == nullptr) {
            return E_POINTER;
        }
        *out = nullptr;
        const std::optional<std::vector<ItemId>> items = itemsOf(pidl);
        if (!items || items->empty()) {
            return E_INVALIDARG;
        }
        for (const ItemId& item : *items) {
            if (!item.isFolder()) {
                return E_INVALIDARG; // a picture is no folder
            }
        }
        std::vector<ItemId> path = path_;
        path.insert(path.end(), items->begin(), items->end());
        PIDLIST_ABSOLUTE root = root_ != nullptr ? ILCombine(root_, pidl) : nullptr;
        auto* made = new (std::nothrow) Folder(std::move(path), root, nullptr);
        if (made == nullptr) {
            CoTaskMemFree(root);
            return E_OUTOFMEMORY;
        }
        const HRESULT result = made->innerUnknown()->QueryInterface(riid, out);
        made->innerUnknown()->Release();
        return result;
    }

    HRESULT STDMETHODCALLTYPE BindToStorage(PCUIDLIST_RELATIVE, IBindCtx*, REFIID, void** out) override
    {
        if (out != nullptr) {
            *out = nullptr;
        }
        return E_NOTIMPL;
    }

    HRESULT STDMETHODCALLTYPE CompareIDs(LPARAM parameter, PCUIDLIST_RELATIVE one, PCUIDLIST_RELATIVE two) override
    {
        const std::optional<ItemView> a = viewOf(one);
        const std::optional<ItemView> b = viewOf(two);
        if (!a || !b) {
            return E_INVALIDARG;
        }
        const auto shown = static_cast<std::size_t>(parameter & SHCIDS_COLUMNMASK);
        const ColumnLayout& layout = columns();
        if (shown >= layout.order.size()) {
            return E_INVALIDARG;
        }
        int order = 0;
        {
            std::unique_lock<std::mutex> lock;
            order = model(lock).compare(*a, *b, layout.order[shown]);
        }
        if (order == 0) {
            // The same item here: the levels below decide.
            PCUIDLIST_RELATIVE nextOne = ILNext(one);
            PCUIDLIST_RELATIVE nextTwo = ILNext(two);
            const bool endOne = nextOne == nullptr || nextOne->mkid.cb == 0;
            const bool endTwo = nextTwo == nullptr || nextTwo->mkid.cb == 0;
            if (endOne || endTwo) {
                order = endOne == endTwo ? 0 : (endOne ? -1 : 1);
            } else {
                IShellFolder* child = nullptr;
                PITEMID_CHILD first = ILCloneFirst(one);
                HRESULT bound = BindToObject(first, nullptr, IID_IShellFolder, reinterpret_cast<void**>(&child));
                CoTaskMemFree(first);
                if (FAILED(bound)) {
                    return bound;
                }
                const HRESULT below = child->CompareIDs(parameter, nextOne, nextTwo);
                child->Release();
                return below;
            }
        }
        return MAKE_HRESULT(SEVERITY_SUCCESS, 0, static_cast<USHORT>(static_cast<short>(order)));
    }

    HRESULT STDMETHODCALLTYPE CreateViewObject(HWND, REFIID riid, void** out) override
    {
        if (out == nullptr) {
            return E_POINTER;
        }
        *out = nullptr;
        if (IsEqualIID(riid, IID_IShellView)) {
            SFV_CREATE create = {};
            create.cbSize = sizeof create;
            create.pshf = this;
            create.psfvcb = this; // told when the view's window is made, to keep its columns
            IShellView* view = nullptr;
            const HRESULT made = SHCreateShellFolderView(&create, &view);
            if (FAILED(made)) {
                return made;
            }
            *out = view;
            return S_OK;
        }
        if (IsEqualIID(riid, IID_IContextMenu)) {
            return createItemMenu({}, here(), riid, out); // the folder's background
        }
        if (IsEqualIID(riid, IID_IDropTarget) && here() != nullptr && here()->kind == ItemKind::Gallery) {
            return createGalleryDropTarget(here()->name, riid, out); // dropped into the open gallery
        }
        return E_NOINTERFACE;
    }

    HRESULT STDMETHODCALLTYPE GetAttributesOf(UINT count, PCUITEMID_CHILD_ARRAY items, SFGAOF* inOut) override
    {
        if (inOut == nullptr || (count > 0 && items == nullptr)) {
            return E_INVALIDARG;
        }
        SFGAOF all = ~SFGAOF(0);
        for (UINT i = 0; i < count; ++i) {
            const std::optional<ItemId> item = itemOf(items[i]);
            if (!item) {
                return E_INVALIDARG;
            }
            all &= attributesOf(*item);
        }
        *inOut &= count == 0 ? static_cast<SFGAOF>(SFGAO_FOLDER | SFGAO_HASSUBFOLDER) : all;
        return S_OK;
    }

    HRESULT STDMETHODCALLTYPE GetUIObjectOf(HWND, UINT count, PCUITEMID_CHILD_ARRAY pidls, REFIID riid, UINT*,
                                            void** out) override
    {
        if (out == nullptr) {
            return E_POINTER;
        }
        *out = nullptr;
        if (count == 0 || pidls == nullptr) {
            return E_INVALIDARG;
        }
        std::vector<ItemId> items;
        for (UINT i = 0; i < count; ++i) {
            std::optional<ItemId> item = itemOf(pidls[i]);
            if (!item) {
                return E_INVALIDARG;
            }
            items.push_back(std::move(*item));
        }
        try {
            if (IsEqualIID(riid, IID_IDropTarget)) {
                // A gallery takes pictures dropped on it.
                if (count != 1 || items[0].kind != ItemKind::Gallery) {
                    return E_NOINTERFACE;
                }
                return createGalleryDropTarget(items[0].name, riid, out);
            }
            if (IsEqualIID(riid, IID_IContextMenu)) {
                return createItemMenu(items, here(), riid, out);
            }
            if (IsEqualIID(riid, IID_IExtractImage) || IsEqualIID(riid, IID_IExtractImage2)) {
                // A picture's thumbnail, from the store.
                if (count != 1 || items[0].kind != ItemKind::Picture) {
                    return E_NOINTERFACE;
                }
                return createPictureImage(items[0].name, riid, out);
            }
            if (IsEqualIID(riid, IID_IDataObject)) {
                // Pictures, dragged or copied out: the files, and the gallery they are in.
                std::vector<std::string> files;
                std::string gallery;
                for (const ItemId& item : items) {
                    if (item.kind != ItemKind::Picture) {
                        return E_NOINTERFACE;
                    }
                    files.push_back(item.name);
                    gallery = item.underKeyword ? std::string() : item.container;
                }
                return createPicturesData(gallery, files, riid, out);
            }
        } catch (const std::exception&) {
            return E_OUTOFMEMORY;
        }
        return E_NOINTERFACE;
    }

    HRESULT STDMETHODCALLTYPE GetDisplayNameOf(PCUITEMID_CHILD pidl, SHGDNF flags, STRRET* out) override
    {
        if (out == nullptr) {
            return E_POINTER;
        }
        const std::optional<std::vector<ItemId>> items = itemsOf(pidl);
        if (!items || items->empty()) {
            return E_INVALIDARG;
        }
        const ItemId& item = items->back();
        try {
            if ((flags & SHGDN_FORPARSING) != 0 && (flags & SHGDN_INFOLDER) == 0) {
                if (item.kind == ItemKind::Picture) {
                    return putString(item.name, out); // the file itself, for whatever opens it
                }
                // "::{CLSID}\Holidays\Lakes": what ParseDisplayName of the desktop takes back.
                std::string path = std::string("::") + FolderClsid;
                std::vector<ItemId> all = path_;
                all.insert(all.end(), items->begin(), items->end());
                for (const ItemId& level : all) {
                    path += "\\" + GalleryFolder::displayName(level);
                }
                return putString(path, out);
            }
            return putString(GalleryFolder::displayName(item), out);
        } catch (const std::exception&) {
            return E_OUTOFMEMORY;
        }
    }

    HRESULT STDMETHODCALLTYPE SetNameOf(HWND, PCUITEMID_CHILD pidl, LPCWSTR name, SHGDNF, PITEMID_CHILD* out) override
    {
        if (out != nullptr) {
            *out = nullptr;
        }
        const std::optional<ItemId> item = itemOf(pidl);
        if (!item || name == nullptr) {
            return E_INVALIDARG;
        }
        if (item->kind != ItemKind::Gallery) {
            return E_NOTIMPL; // only galleries are renamed here; files keep their names
        }
        std::string renamed;
        try {
            renamed = renameGallery(DB::Store::instance(), item->name, toUtf8(name));
        } catch (const std::invalid_argument&) {
            return E_INVALIDARG;
        } catch (const std::exception&) {
            return E_FAIL;
        }
        if (out != nullptr) {
            *out = reinterpret_cast<PITEMID_CHILD>(makeList({ItemId::gallery(renamed)}));
        }
        SHChangeNotify(SHCNE_UPDATEDIR, SHCNF_IDLIST | SHCNF_FLUSH, root_, nullptr);
        return S_OK;
    }

    // IShellFolder2
    HRESULT STDMETHODCALLTYPE GetDefaultSearchGUID(GUID*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE EnumSearches(IEnumExtraSearch** out) override
    {
        if (out != nullptr) {
            *out = nullptr;
        }
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE GetDefaultColumn(DWORD, ULONG* sort, ULONG* display) override
    {
        if (sort == nullptr || display == nullptr) {
            return E_POINTER;
        }
        *sort = 0;
        *display = 0;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetDefaultColumnState(UINT column, SHCOLSTATEF* state) override
    {
        if (state == nullptr) {
            return E_POINTER;
        }
        const ColumnLayout& layout = columns();
        if (column >= layout.order.size()) {
            return E_INVALIDARG;
        }
        const Column which = layout.order[column];
        *state = (columnInfo(which).rightAligned ? SHCOLSTATE_TYPE_INT : SHCOLSTATE_TYPE_STR) |
                 (layout.visible[static_cast<std::size_t>(which)] ? SHCOLSTATE_ONBYDEFAULT : 0);
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetDetailsEx(PCUITEMID_CHILD, const SHCOLUMNID*, VARIANT*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetDetailsOf(PCUITEMID_CHILD pidl, UINT column, SHELLDETAILS* details) override
    {
        if (details == nullptr) {
            return E_POINTER;
        }
        const ColumnLayout& layout = columns();
        if (column >= layout.order.size()) {
            return E_FAIL; // past the last column, as the view probes
        }
        const Column which = layout.order[column];
        const ColumnInfo& info = columnInfo(which);
        details->fmt = info.rightAligned ? LVCFMT_RIGHT : LVCFMT_LEFT;
        details->cxChar = info.width;
        if (pidl == nullptr) {
            return putString(info.title, &details->str);
        }
        const std::optional<ItemId> item = itemOf(pidl);
        if (!item) {
            return E_INVALIDARG;
        }
        try {
            std::unique_lock<std::mutex> lock;
            return putString(model(lock).text(*item, which), &details->str);
        } catch (const std::exception&) {
            return E_FAIL;
        }
    }
    HRESULT STDMETHODCALLTYPE MapColumnToSCID(UINT, SHCOLUMNID*) override { return E_NOTIMPL; }

    // The system's view tells of its window: the columns the user leaves in its list (moved,
    // hidden, shown) are remembered when the list goes.
    HRESULT STDMETHODCALLTYPE MessageSFVCB(UINT message, WPARAM wParam, LPARAM) override
    {
        if (message != SFVM_WINDOWCREATED) {
            return E_NOTIMPL;
        }
        HWND list = FindWindowExW(reinterpret_cast<HWND>(wParam), nullptr, WC_LISTVIEWW, nullptr);
        if (list != nullptr) {
            SetWindowSubclass(list, columnsWatcher, 1, 0);
        }
        return S_OK;
    }

protected:
    void* interfaceFor(REFIID riid) override
    {
        if (IsEqualIID(riid, IID_IShellFolder) || IsEqualIID(riid, IID_IShellFolder2)) {
            return static_cast<IShellFolder2*>(this);
        }
        if (IsEqualIID(riid, IID_IPersist) || IsEqualIID(riid, IID_IPersistFolder) ||
            IsEqualIID(riid, IID_IPersistFolder2)) {
            return static_cast<IPersistFolder2*>(this);
        }
        if (IsEqualIID(riid, IID_IShellFolderViewCB)) {
            return static_cast<IShellFolderViewCB*>(this);
        }
        return nullptr;
    }

private:
    const ItemId* here() const { return path_.empty() ? nullptr : &path_.back(); }
    // The columns as the settings had them when the folder was first asked (a view opened
    // later reads them again in its own folder object).
    const ColumnLayout& columns()
    {
        std::call_once(columnsRead_, [this] { columns_ = std::make_unique<ColumnLayout>(); });
        return *columns_;
    }

    static SFGAOF attributesOf(const ItemId& item)
    {
        switch (item.kind) {
        case ItemKind::Gallery:
            return SFGAO_FOLDER | SFGAO_HASSUBFOLDER | SFGAO_BROWSABLE | SFGAO_DROPTARGET | SFGAO_CANRENAME |
                   SFGAO_CANDELETE;
        case ItemKind::KeywordsFolder:
            return SFGAO_FOLDER | SFGAO_HASSUBFOLDER | SFGAO_BROWSABLE;
        case ItemKind::Keyword:
        case ItemKind::Search:
            return SFGAO_FOLDER | SFGAO_BROWSABLE;
        case ItemKind::Picture:
            return SFGAO_CANCOPY | (item.underKeyword ? 0 : SFGAO_CANMOVE | SFGAO_CANDELETE);
        }
        return 0;
    }

    std::vector<ItemId> path_; // from the top of My Galleries to this folder
    PIDLIST_ABSOLUTE root_ = nullptr;
    std::once_flag columnsRead_;
    std::unique_ptr<ColumnLayout> columns_;
};

} // namespace

HRESULT createNamespaceFolder(IUnknown* outer, IUnknown** inner)
{
    return Shell::createObject<Folder>(inner, outer);
}

} // namespace Lumeno::Namespace
