// CLumenoPropertySheet: the "EXIF", "IPTC" and "XMP" pages of a picture's properties. What the
// pages show comes from portable code (PropertyPages.h, the IPTC form); the pages put it into
// their controls and, for IPTC, take the user's changes back.
#include "IptcPage.h"
#include "Server.h"
#include "resource.h"

#include <Lumeno/Commands/Command.h>

#include <Lumeno/Shell/ContextMenu.h>
#include <Lumeno/Shell/PropertyPages.h>
#include <Lumeno/UI/Settings.h>
#include <Metadata/ImageFactory.h>
#include <Metadata/ImageStream.h>

#include <commctrl.h>

#include <memory>

namespace Lumeno::Shell {

namespace {

// The files of the page in its chooser; a single file leaves it disabled.
void fillChooser(HWND dialog, const std::vector<std::string>& files)
{
    HWND chooser = GetDlgItem(dialog, IDC_FILE);
    for (const std::string& file : files) {
        SendMessageW(chooser, CB_ADDSTRING, 0, reinterpret_cast<LPARAM>(toUtf16(Commands::fileNameOf(file)).c_str()));
    }
    SendMessageW(chooser, CB_SETCURSEL, 0, 0);
    EnableWindow(chooser, files.size() > 1);
}

std::size_t chosenFile(HWND dialog)
{
    const LRESULT chosen = SendDlgItemMessageW(dialog, IDC_FILE, CB_GETCURSEL, 0, 0);
    return chosen == CB_ERR ? 0 : static_cast<std::size_t>(chosen);
}

void addRow(HWND list, const std::string& name, const std::string& text)
{
    const std::basic_string<WCHAR> first = toUtf16(name);
    const std::basic_string<WCHAR> second = toUtf16(text);
    LVITEMW item = {};
    item.mask = LVIF_TEXT;
    item.iItem = static_cast<int>(SendMessageW(list, LVM_GETITEMCOUNT, 0, 0));
    item.pszText = const_cast<WCHAR*>(first.c_str());
    const int row = static_cast<int>(SendMessageW(list, LVM_INSERTITEMW, 0, reinterpret_cast<LPARAM>(&item)));
    if (row < 0) {
        return;
    }
    item.iItem = row;
    item.iSubItem = 1;
    item.pszText = const_cast<WCHAR*>(second.c_str());
    SendMessageW(list, LVM_SETITEMTEXTW, static_cast<WPARAM>(row), reinterpret_cast<LPARAM>(&item));
}

// The EXIF page: the chosen file's directories, a heading row each, then its fields.
void showExif(HWND dialog, const std::string& file)
{
    HWND list = GetDlgItem(dialog, IDC_LIST);
    SendMessageW(list, WM_SETREDRAW, FALSE, 0);
    SendMessageW(list, LVM_DELETEALLITEMS, 0, 0);
    try {
        Metadata::ImageStreamT stream;
        const auto image = Metadata::openImage(file, stream);
        const std::vector<ExifSection> sections = exifSections(*image);
        if (sections.empty()) {
            addRow(list, "(no EXIF information)", "");
        }
        for (const ExifSection& section : sections) {
            addRow(list, "[" + section.directory + "]", "");
            for (const auto& [name, text] : section.rows) {
                addRow(list, name, text);
            }
        }
    } catch (const std::exception& e) {
        addRow(list, "(cannot be read)", e.what());
    }
    SendMessageW(list, WM_SETREDRAW, TRUE, 0);
}

void addNodes(HWND tree, HTREEITEM parent, const std::vector<XmpNode>& nodes)
{
    for (const XmpNode& node : nodes) {
        const std::basic_string<WCHAR> label = toUtf16(node.value.empty() ? node.name : node.name + " = " + node.value);
        TVINSERTSTRUCTW insert = {};
        insert.hParent = parent;
        insert.hInsertAfter = TVI_LAST;
        insert.item.mask = TVIF_TEXT;
        insert.item.pszText = const_cast<WCHAR*>(label.c_str());
        auto* item = reinterpret_cast<HTREEITEM>(SendMessageW(tree, TVM_INSERTITEMW, 0, reinterpret_cast<LPARAM>(&insert)));
        if (item != nullptr) {
            addNodes(tree, item, node.children);
            SendMessageW(tree, TVM_EXPAND, TVE_EXPAND, reinterpret_cast<LPARAM>(item));
        }
    }
}

// The XMP page: the chosen file's packet as a tree, read-only.
void showXmp(HWND dialog, const std::string& file)
{
    HWND tree = GetDlgItem(dialog, IDC_TREE);
    SendMessageW(tree, WM_SETREDRAW, FALSE, 0);
    SendMessageW(tree, TVM_DELETEITEM, 0, reinterpret_cast<LPARAM>(TVI_ROOT));
    std::vector<XmpNode> nodes;
    try {
        Metadata::ImageStreamT stream;
        nodes = xmpTree(*Metadata::openImage(file, stream));
        if (nodes.empty()) {
            nodes.push_back({"(no XMP information)", {}, {}});
        }
    } catch (const std::exception& e) {
        nodes.push_back({"(cannot be read)", e.what(), {}});
    }
    addNodes(tree, TVI_ROOT, nodes);
    SendMessageW(tree, WM_SETREDRAW, TRUE, 0);
}

// A page's own state, alive from AddPages until the system releases the page.
struct Page {
    enum Kind { Exif, Iptc, Xmp } kind;
    std::vector<std::string> files;
    std::unique_ptr<IptcPage> iptc;

    Page(Kind k, std::vector<std::string> f) : kind(k), files(std::move(f)) { lockModule(); }
    ~Page() { unlockModule(); }
    Page(const Page&) = delete;
    Page& operator=(const Page&) = delete;
};

INT_PTR CALLBACK pageProc(HWND dialog, UINT message, WPARAM wParam, LPARAM lParam)
{
    try {
        if (message == WM_INITDIALOG) {
            auto* page = reinterpret_cast<Page*>(reinterpret_cast<PROPSHEETPAGEW*>(lParam)->lParam);
            SetWindowLongPtrW(dialog, DWLP_USER, reinterpret_cast<LONG_PTR>(page));
            if (page->kind == Page::Iptc) {
                page->iptc = std::make_unique<IptcPage>(dialog, page->files);
                return TRUE;
            }
            fillChooser(dialog, page->files);
            if (page->kind == Page::Exif) {
                HWND list = GetDlgItem(dialog, IDC_LIST);
                SendMessageW(list, LVM_SETEXTENDEDLISTVIEWSTYLE, LVS_EX_FULLROWSELECT, LVS_EX_FULLROWSELECT);
                RECT r;
                GetClientRect(list, &r);
                const int width = r.right - r.left - GetSystemMetrics(SM_CXVSCROLL);
                WCHAR tag[] = {'T', 'a', 'g', 0};
                WCHAR value[] = {'V', 'a', 'l', 'u', 'e', 0};
                LVCOLUMNW column = {};
                column.mask = LVCF_TEXT | LVCF_WIDTH;
                column.cx = width * 2 / 5;
                column.pszText = tag;
                SendMessageW(list, LVM_INSERTCOLUMNW, 0, reinterpret_cast<LPARAM>(&column));
                column.cx = width - width * 2 / 5;
                column.pszText = value;
                SendMessageW(list, LVM_INSERTCOLUMNW, 1, reinterpret_cast<LPARAM>(&column));
                showExif(dialog, page->files.front());
            } else {
                showXmp(dialog, page->files.front());
            }
            return TRUE;
        }
        auto* page = reinterpret_cast<Page*>(GetWindowLongPtrW(dialog, DWLP_USER));
        if (page == nullptr) {
            return FALSE;
        }
        if (page->iptc) {
            return page->iptc->message(message, wParam, lParam);
        }
        if (message == WM_COMMAND && LOWORD(wParam) == IDC_FILE && HIWORD(wParam) == CBN_SELCHANGE) {
            const std::string& file = page->files[std::min(chosenFile(dialog), page->files.size() - 1)];
            page->kind == Page::Exif ? showExif(dialog, file) : showXmp(dialog, file);
            return TRUE;
        }
    } catch (...) {
        // A page never lets an exception into the system's dialog code.
    }
    return FALSE;
}

UINT CALLBACK pageCallback(HWND, UINT message, PROPSHEETPAGEW* sheetPage)
{
    if (message == PSPCB_RELEASE && sheetPage != nullptr) {
        delete reinterpret_cast<Page*>(sheetPage->lParam);
    }
    return 1;
}

class CLumenoPropertySheet final : public ComObject, public IShellExtInit, public IShellPropSheetExt {
public:
    explicit CLumenoPropertySheet(IUnknown* outer) : ComObject(outer) {}

    LUMENO_DELEGATING_UNKNOWN

    HRESULT STDMETHODCALLTYPE Initialize(PCIDLIST_ABSOLUTE, IDataObject* data, HKEY) override
    {
        try {
            files_.clear();
            for (std::string& file : droppedFiles(data)) {
                if (metadataFileType(file)) {
                    files_.push_back(std::move(file));
                }
            }
            return files_.empty() ? E_INVALIDARG : S_OK;
        } catch (...) {
            return E_FAIL;
        }
    }

    HRESULT STDMETHODCALLTYPE AddPages(LPFNSVADDPROPSHEETPAGE add, LPARAM lParam) override
    {
        try {
            if (add == nullptr) {
                return E_INVALIDARG;
            }
            if (files_.empty()) {
                return S_OK;
            }
            bool exif = true;
            bool iptc = true;
            try {
                const UI::Settings settings;
                exif = settings.getEnableExifProperties();
                iptc = settings.getEnableIptcProperties();
            } catch (...) {
                // Unreadable settings: their defaults, both pages.
            }
            if (exif) {
                addPage(add, lParam, Page::Exif, IDD_EXIF_PAGE);
            }
            if (iptc) {
                addPage(add, lParam, Page::Iptc, IDD_IPTC_PAGE);
            }
            addPage(add, lParam, Page::Xmp, IDD_XMP_PAGE);
            return S_OK;
        } catch (...) {
            return E_FAIL;
        }
    }

    // Only the control panel's sheets have pages to replace.
    HRESULT STDMETHODCALLTYPE ReplacePage(EXPPS, LPFNSVADDPROPSHEETPAGE, LPARAM) override { return E_NOTIMPL; }

protected:
    void* interfaceFor(REFIID riid) override
    {
        if (IsEqualIID(riid, IID_IShellExtInit)) {
            return static_cast<IShellExtInit*>(this);
        }
        if (IsEqualIID(riid, IID_IShellPropSheetExt)) {
            return static_cast<IShellPropSheetExt*>(this);
        }
        return nullptr;
    }

private:
    void addPage(LPFNSVADDPROPSHEETPAGE add, LPARAM lParam, Page::Kind kind, int dialog)
    {
        auto page = std::make_unique<Page>(kind, files_);
        PROPSHEETPAGEW sheetPage = {};
        sheetPage.dwSize = sizeof sheetPage;
        sheetPage.dwFlags = PSP_USECALLBACK;
        sheetPage.hInstance = moduleHandle();
        sheetPage.pszTemplate = MAKEINTRESOURCEW(dialog);
        sheetPage.pfnDlgProc = pageProc;
        sheetPage.pfnCallback = pageCallback;
        sheetPage.lParam = reinterpret_cast<LPARAM>(page.get());
        HPROPSHEETPAGE handle = CreatePropertySheetPageW(&sheetPage);
        if (handle == nullptr) {
            return;
        }
        page.release(); // the system owns it now, until PSPCB_RELEASE
        if (!add(handle, lParam)) {
            DestroyPropertySheetPage(handle);
        }
    }

    std::vector<std::string> files_;
};

} // namespace

HRESULT createPropertySheet(IUnknown* outer, IUnknown** inner)
{
    return createObject<CLumenoPropertySheet>(inner, outer);
}

} // namespace Lumeno::Shell
