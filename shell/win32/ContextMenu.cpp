// CLumenoContextMenu: the "Lumeno" submenu of the file manager's context menu on pictures. The
// entries come from the portable menu (ContextMenu.h); this object turns them into a Windows
// menu, answers the shell's questions about them, and runs the chosen one.
#include "Annotation.h"
#include "OptionsSheet.h"
#include "SlideShowCD.h"
#include "Server.h"

#include <Lumeno/Commands/FileCommands.h>
#include <Lumeno/Commands/InOrder.h>
#include <Lumeno/Shell/ContextMenu.h>

#include <cstring>
#include <memory>
#include <optional>

namespace Lumeno::Shell {

namespace {

// Copies `text` into the shell's buffer of `size` characters, cut to fit.
template <class Char> void copyOut(const std::basic_string<Char>& text, Char* out, UINT size)
{
    if (out == nullptr || size == 0) {
        return;
    }
    const std::size_t n = std::min<std::size_t>(text.size(), size - 1);
    std::memcpy(out, text.data(), n * sizeof(Char));
    out[n] = 0;
}

// A text in the system's ANSI code page, as the shell reads the narrow strings it asks for.
std::string ansi(const std::string& utf8)
{
    const std::basic_string<WCHAR> wide = toUtf16(utf8);
    const int n = WideCharToMultiByte(CP_ACP, 0, wide.c_str(), -1, nullptr, 0, nullptr, nullptr);
    if (n <= 1) {
        return std::string();
    }
    std::string out(static_cast<std::size_t>(n - 1), '\0');
    WideCharToMultiByte(CP_ACP, 0, wide.c_str(), -1, &out[0], n, nullptr, nullptr);
    return out;
}

class CLumenoContextMenu final : public ComObject, public IShellExtInit, public IContextMenu3 {
public:
    explicit CLumenoContextMenu(IUnknown* outer) : ComObject(outer) {}

    LUMENO_DELEGATING_UNKNOWN

    // ---- IShellExtInit ----
    HRESULT STDMETHODCALLTYPE Initialize(PCIDLIST_ABSOLUTE, IDataObject* data, HKEY) override
    {
        try {
            files_ = droppedFiles(data);
            menu_.reset();
            return files_.empty() ? E_INVALIDARG : S_OK;
        } catch (...) {
            return E_FAIL;
        }
    }

    // ---- IContextMenu ----
    HRESULT STDMETHODCALLTYPE QueryContextMenu(HMENU menu, UINT index, UINT first, UINT last, UINT flags) override
    {
        try {
            if ((flags & CMF_DEFAULTONLY) != 0 || menu == nullptr) {
                return MAKE_HRESULT(SEVERITY_SUCCESS, 0, 0);
            }
            build();
            if (!menu_) {
                return MAKE_HRESULT(SEVERITY_SUCCESS, 0, 0);
            }
            UINT offset = 0;
            UINT used = 0; // the offsets handed out: those past `last` are left out
            HMENU popup = CreatePopupMenu();
            if (popup == nullptr) {
                return E_OUTOFMEMORY;
            }
            fill(popup, *menu_, first, last, offset, used);
            if (!insert(menu, index, *menu_, popup, 0)) {
                DestroyMenu(popup);
                return HRESULT_FROM_WIN32(GetLastError());
            }
            return MAKE_HRESULT(SEVERITY_SUCCESS, 0, used);
        } catch (...) {
            return E_FAIL;
        }
    }

    HRESULT STDMETHODCALLTYPE InvokeCommand(CMINVOKECOMMANDINFO* info) override
    {
        try {
            if (info == nullptr) {
                return E_INVALIDARG;
            }
            build();
            if (!menu_) {
                return E_FAIL;
            }
            const MenuItem* item = nullptr;
            const auto* ex = reinterpret_cast<const CMINVOKECOMMANDINFOEX*>(info);
            const bool unicode = info->cbSize >= sizeof(CMINVOKECOMMANDINFOEX) && (info->fMask & CMIC_MASK_UNICODE) != 0;
            if (unicode && ex->lpVerbW != nullptr && !IS_INTRESOURCE(ex->lpVerbW)) {
                item = commandForVerb(*menu_, toUtf8(ex->lpVerbW));
            } else if (!IS_INTRESOURCE(info->lpVerb)) {
                item = commandForVerb(*menu_, info->lpVerb);
            } else {
                item = byOffset(LOWORD(reinterpret_cast<UINT_PTR>(info->lpVerb)));
            }
            if (item == nullptr) {
                return E_INVALIDARG;
            }
            if (!item->enabled) {
                return E_FAIL;
            }
            const bool control = (info->fMask & CMIC_MASK_CONTROL_DOWN) != 0 || GetKeyState(VK_CONTROL) < 0;
            return run(*item, info->hwnd, control);
        } catch (...) {
            return E_FAIL;
        }
    }

    HRESULT STDMETHODCALLTYPE GetCommandString(UINT_PTR command, UINT type, UINT*, CHAR* name, UINT size) override
    {
        try {
            build();
            const MenuItem* item = menu_ ? byOffset(static_cast<UINT>(command)) : nullptr;
            if (item == nullptr) {
                return E_INVALIDARG;
            }
            switch (type) {
            case GCS_VALIDATEA:
            case GCS_VALIDATEW:
                return S_OK;
            case GCS_VERBA:
                copyOut(ansi(item->verb), name, size);
                return S_OK;
            case GCS_HELPTEXTA:
                copyOut(ansi(item->help), name, size);
                return S_OK;
            case GCS_VERBW:
                copyOut(toUtf16(item->verb), reinterpret_cast<WCHAR*>(name), size);
                return S_OK;
            case GCS_HELPTEXTW:
                copyOut(toUtf16(item->help), reinterpret_cast<WCHAR*>(name), size);
                return S_OK;
            default:
                return E_INVALIDARG;
            }
        } catch (...) {
            return E_FAIL;
        }
    }

    // ---- IContextMenu2/3: the menu is plain text, nothing is drawn by us ----
    HRESULT STDMETHODCALLTYPE HandleMenuMsg(UINT, WPARAM, LPARAM) override { return S_OK; }
    HRESULT STDMETHODCALLTYPE HandleMenuMsg2(UINT, WPARAM, LPARAM, LRESULT* result) override
    {
        if (result != nullptr) {
            *result = 0;
        }
        return S_OK;
    }

protected:
    void* interfaceFor(REFIID riid) override
    {
        if (IsEqualIID(riid, IID_IShellExtInit)) {
            return static_cast<IShellExtInit*>(this);
        }
        if (IsEqualIID(riid, IID_IContextMenu) || IsEqualIID(riid, IID_IContextMenu2) ||
            IsEqualIID(riid, IID_IContextMenu3)) {
            return static_cast<IContextMenu3*>(this);
        }
        return nullptr;
    }

private:
    // The menu for the selection as it stands now (clipboard, templates, settings).
    void build()
    {
        if (menu_ || files_.empty()) {
            return;
        }
        MenuSelection selection;
        selection.files = files_;
        selection.iptcOnClipboard = IsClipboardFormatAvailable(rawIptcClipboardFormat()) != FALSE;
        selection.templates = templateNames();
        menu_ = contextMenu(selection, MenuParts::fromSettings());
        if (menu_) {
            commands_ = menuCommands(*menu_);
        }
    }

    const MenuItem* byOffset(UINT offset) const
    {
        return offset < commands_.size() ? commands_[offset] : nullptr;
    }

    // Appends `menu`'s entries to `popup`, numbering the commands from `first` on; commands past
    // `last` (no room left in the shell's range) are left out.
    void fill(HMENU popup, const MenuItem& menu, UINT first, UINT last, UINT& offset, UINT& used)
    {
        UINT position = 0;
        for (const MenuItem& item : menu.items) {
            if (item.kind == MenuItem::Kind::Submenu) {
                HMENU sub = CreatePopupMenu();
                if (sub == nullptr) {
                    continue;
                }
                fill(sub, item, first, last, offset, used);
                if (!insert(popup, position, item, sub, 0)) {
                    DestroyMenu(sub);
                    continue;
                }
            } else if (item.kind == MenuItem::Kind::Separator) {
                insert(popup, position, item, nullptr, 0);
            } else {
                const UINT id = first + offset++;
                if (id > last) {
                    continue;
                }
                insert(popup, position, item, nullptr, id);
                used = offset;
            }
            ++position;
        }
    }

    static bool insert(HMENU menu, UINT position, const MenuItem& item, HMENU sub, UINT id)
    {
        const std::basic_string<WCHAR> text = toUtf16(item.text);
        MENUITEMINFOW info = {};
        info.cbSize = sizeof info;
        if (item.kind == MenuItem::Kind::Separator) {
            info.fMask = MIIM_FTYPE;
            info.fType = MFT_SEPARATOR;
        } else {
            info.fMask = MIIM_STRING | MIIM_STATE | (sub != nullptr ? MIIM_SUBMENU : MIIM_ID);
            info.dwTypeData = const_cast<WCHAR*>(text.c_str());
            info.fState = item.enabled ? MFS_ENABLED : MFS_GRAYED;
            info.hSubMenu = sub;
            info.wID = id;
        }
        return InsertMenuItemW(menu, position, TRUE, &info) != FALSE;
    }

    HRESULT run(const MenuItem& item, HWND window, bool control);

    std::vector<std::string> files_;
    std::optional<MenuItem> menu_;
    std::vector<const MenuItem*> commands_;
};

// Runs a per-file command over the selection: the files are read side by side and finished in
// the order the shell gave them, under the system's progress dialog.
HRESULT runFiles(Commands::CommandBase& command, const std::vector<std::string>& files)
{
    command.runFiles(files, Commands::workerCount());
    return command.failures() == 0 ? S_OK : S_FALSE;
}

HRESULT CLumenoContextMenu::run(const MenuItem& item, HWND window, bool control)
{
    const auto count = static_cast<std::uint32_t>(files_.size());
    const auto parent = reinterpret_cast<std::uintptr_t>(window);
    switch (item.command) {
    case MenuCommand::Rename: {
        Commands::CommandFileRename command(count, parent);
        return runFiles(command, files_);
    }
    case MenuCommand::RotateRight:
    case MenuCommand::RotateLeft: {
        Commands::CommandRotateJPEG command(item.command == MenuCommand::RotateRight ? 1 : 3, count, parent);
        return runFiles(command, files_);
    }
    case MenuCommand::ExportExif:
    case MenuCommand::ExportIptc:
    case MenuCommand::ExportXmp: {
        const Commands::ExportKind kind = item.command == MenuCommand::ExportExif   ? Commands::ExportKind::EXIF
                                          : item.command == MenuCommand::ExportIptc ? Commands::ExportKind::IPTC
                                                                                    : Commands::ExportKind::XMP;
        Commands::CommandExport command(kind, count, parent);
        return runFiles(command, files_);
    }
    case MenuCommand::Synchronize: {
        // Ctrl held as the command is chosen: the thumbnails are made anew too.
        Commands::CommandUpdateStore command(control, count, parent);
        return runFiles(command, files_);
    }
    case MenuCommand::Options:
        return showOptions(window);
    case MenuCommand::CreateSlideShow:
        return createSlideShowCD(files_, window);
    case MenuCommand::Preview:
    case MenuCommand::SlideShow:
        return showPictures(item.command == MenuCommand::SlideShow, files_);
    default:
        return runAnnotation(item, files_, window);
    }
}

} // namespace

HRESULT createContextMenu(IUnknown* outer, IUnknown** inner)
{
    return createObject<CLumenoContextMenu>(inner, outer);
}

} // namespace Lumeno::Shell
