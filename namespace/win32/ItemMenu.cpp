// The context menu of My Galleries' items and of a gallery's background: the folder's own
// commands, and for pictures the picture commands of the file manager's Lumeno menu after them.
#include "ItemMenu.h"

#include "DragDrop.h"
#include "Server.h"

#include <Lumeno/DB/Store.h>
#include <Lumeno/Namespace/Commands.h>
#include <Lumeno/Namespace/Folder.h>

#include <commctrl.h>
#include <shlobj.h>

#include <cstring>

namespace Lumeno::Namespace {

using Shell::ComObject;
using Shell::toUtf16;
using Shell::toUtf8;

namespace {

class ItemMenu final : public ComObject, public IContextMenu {
public:
    ItemMenu(std::vector<ItemId> selection, std::optional<ItemId> folder, IUnknown* outer)
        : ComObject(outer), selection_(std::move(selection)), folder_(std::move(folder)),
          entries_(folderMenu(selection_, folder_ ? &*folder_ : nullptr))
    {
    }
    ~ItemMenu() override
    {
        if (pictureMenu_ != nullptr) {
            pictureMenu_->Release();
        }
    }
    LUMENO_DELEGATING_UNKNOWN

    HRESULT STDMETHODCALLTYPE QueryContextMenu(HMENU menu, UINT index, UINT first, UINT last, UINT flags) override
    {
        UINT added = 0;
        for (const FolderMenuEntry& entry : entries_) {
            if (first + added > last) {
                break;
            }
            if ((flags & CMF_DEFAULTONLY) != 0 && entry.command != FolderCommand::Open) {
                continue;
            }
            InsertMenuW(menu, index + added, MF_BYPOSITION | MF_STRING, first + added, toUtf16(entry.text).c_str());
            if (entry.command == FolderCommand::Open) {
                SetMenuDefaultItem(menu, first + added, FALSE);
            }
            ++added;
        }
        ours_ = added;
        // Pictures: the file manager's Lumeno menu on their files.
        theirs_ = 0;
        if ((flags & CMF_DEFAULTONLY) == 0 && !files().empty() && first + added <= last && makePictureMenu()) {
            const HRESULT r = pictureMenu_->QueryContextMenu(menu, index + added, first + added, last, flags);
            theirs_ = SUCCEEDED(r) ? HRESULT_CODE(r) : 0;
        }
        return MAKE_HRESULT(SEVERITY_SUCCESS, 0, static_cast<USHORT>(ours_ + theirs_));
    }

    HRESULT STDMETHODCALLTYPE InvokeCommand(CMINVOKECOMMANDINFO* info) override
    {
        if (info == nullptr) {
            return E_INVALIDARG;
        }
        std::optional<FolderCommand> command;
        if (IS_INTRESOURCE(info->lpVerb)) {
            const UINT offset = LOWORD(reinterpret_cast<UINT_PTR>(info->lpVerb));
            if (offset >= ours_) {
                return delegate(info, offset - ours_);
            }
            command = offset < entries_.size() ? std::optional<FolderCommand>(entries_[offset].command) : std::nullopt;
        } else {
            command = commandForVerb(entries_, info->lpVerb);
            if (!command) {
                return pictureMenu_ != nullptr ? pictureMenu_->InvokeCommand(info) : E_INVALIDARG;
            }
        }
        if (!command) {
            return E_INVALIDARG;
        }
        std::string parameters;
        if (info->lpParameters != nullptr) {
            parameters = info->lpParameters;
        }
        if (info->cbSize >= sizeof(CMINVOKECOMMANDINFOEX) && (info->fMask & CMIC_MASK_UNICODE) != 0) {
            const auto* wide = reinterpret_cast<CMINVOKECOMMANDINFOEX*>(info);
            if (wide->lpParametersW != nullptr) {
                parameters = toUtf8(wide->lpParametersW);
            }
        }
        try {
            return run(*command, info->hwnd, parameters);
        } catch (const std::exception&) {
            return E_FAIL;
        }
    }

    HRESULT STDMETHODCALLTYPE GetCommandString(UINT_PTR offset, UINT type, UINT* reserved, CHAR* name, UINT size) override
    {
        if (offset >= ours_) {
            return pictureMenu_ != nullptr ? pictureMenu_->GetCommandString(offset - ours_, type, reserved, name, size)
                                           : E_INVALIDARG;
        }
        if (offset >= entries_.size() || name == nullptr || size == 0) {
            return E_INVALIDARG;
        }
        const FolderMenuEntry& entry = entries_[offset];
        const char* text = (type == GCS_HELPTEXTA || type == GCS_HELPTEXTW) ? entry.help : entry.verb;
        switch (type) {
        case GCS_VERBA:
        case GCS_HELPTEXTA:
            lstrcpynA(name, text, static_cast<int>(size));
            return S_OK;
        case GCS_VERBW:
        case GCS_HELPTEXTW:
            lstrcpynW(reinterpret_cast<LPWSTR>(name), toUtf16(text).c_str(), static_cast<int>(size));
            return S_OK;
        case GCS_VALIDATEA:
        case GCS_VALIDATEW:
            return S_OK;
        default:
            return E_INVALIDARG;
        }
    }

protected:
    void* interfaceFor(REFIID riid) override
    {
        return IsEqualIID(riid, IID_IContextMenu) ? static_cast<IContextMenu*>(this) : nullptr;
    }

private:
    std::vector<std::string> files() const
    {
        std::vector<std::string> out;
        for (const ItemId& item : selection_) {
            if (item.kind != ItemKind::Picture) {
                return {};
            }
            out.push_back(item.name);
        }
        return out;
    }

    // The file manager's menu object, given the pictures' files as the shell gives a selection.
    bool makePictureMenu()
    {
        if (pictureMenu_ != nullptr) {
            return true;
        }
        IUnknown* inner = nullptr;
        if (FAILED(Shell::createContextMenu(nullptr, &inner))) {
            return false;
        }
        IShellExtInit* init = nullptr;
        IDataObject* data = nullptr;
        bool made = SUCCEEDED(inner->QueryInterface(IID_IShellExtInit, reinterpret_cast<void**>(&init))) &&
                    SUCCEEDED(createPicturesData(std::string(), files(), IID_IDataObject, reinterpret_cast<void**>(&data))) &&
                    SUCCEEDED(init->Initialize(nullptr, data, nullptr)) &&
                    SUCCEEDED(inner->QueryInterface(IID_IContextMenu, reinterpret_cast<void**>(&pictureMenu_)));
        if (data != nullptr) {
            data->Release();
        }
        if (init != nullptr) {
            init->Release();
        }
        inner->Release();
        return made;
    }

    HRESULT delegate(CMINVOKECOMMANDINFO* info, UINT offset)
    {
        if (pictureMenu_ == nullptr || offset >= theirs_) {
            return E_INVALIDARG;
        }
        CMINVOKECOMMANDINFO copy = *info;
        copy.cbSize = sizeof copy;
        copy.fMask &= ~CMIC_MASK_UNICODE;
        copy.lpVerb = MAKEINTRESOURCEA(offset);
        return pictureMenu_->InvokeCommand(&copy);
    }

    // The gallery a command on the background or on one gallery works in.
    std::string gallery() const
    {
        if (selection_.size() == 1 && selection_[0].kind == ItemKind::Gallery) {
            return selection_[0].name;
        }
        return folder_ && folder_->kind == ItemKind::Gallery ? folder_->name : std::string();
    }

    HRESULT run(FolderCommand command, HWND window, const std::string& parameters)
    {
        DB::Store& store = DB::Store::instance();
        HRESULT result = S_OK;
        switch (command) {
        case FolderCommand::Open:
            for (const std::string& file : files()) {
                const auto opened = reinterpret_cast<INT_PTR>(
                    ShellExecuteW(window, nullptr, toUtf16(file).c_str(), nullptr, nullptr, SW_SHOWNORMAL));
                result = opened > 32 ? result : S_FALSE;
            }
            break;
        case FolderCommand::Preview:
            return Shell::showPictures(false, files());
        case FolderCommand::RemoveFromGallery:
            result = removeFromGalleries(store, selection_) == selection_.size() ? S_OK : S_FALSE;
            break;
        case FolderCommand::NewGallery:
            createNewGallery(store, gallery());
            break;
        case FolderCommand::Rename:
            // The name given with the command (scripts, tests), else typed where the gallery is
            // listed, as the view lets names be edited (which ends in the folder's SetNameOf).
            if (!parameters.empty()) {
                try {
                    renameGallery(store, gallery(), parameters);
                } catch (const std::invalid_argument&) {
                    return E_INVALIDARG;
                }
                break;
            }
            return editName(window, GalleryFolder::displayName(ItemId::gallery(gallery())));
        case FolderCommand::Delete:
            for (const ItemId& item : selection_) {
                if (item.kind == ItemKind::Gallery) {
                    store.removeGallery(item.name);
                }
            }
            break;
        case FolderCommand::Export: {
            // The folder given with the command (scripts, tests), else the one the user picks.
            std::string target = parameters;
            if (target.empty()) {
                const std::basic_string<WCHAR> title = toUtf16("The folder for the web page of " + gallery());
                BROWSEINFOW browse = {};
                browse.hwndOwner = window;
                browse.lpszTitle = title.c_str();
                browse.ulFlags = BIF_RETURNONLYFSDIRS | BIF_NEWDIALOGSTYLE;
                PIDLIST_ABSOLUTE chosen = SHBrowseForFolderW(&browse);
                if (chosen == nullptr) {
                    return S_FALSE; // cancelled
                }
                WCHAR path[MAX_PATH] = {};
                const bool named = SHGetPathFromIDListW(chosen, path) != FALSE;
                CoTaskMemFree(chosen);
                if (!named) {
                    return E_FAIL;
                }
                target = toUtf8(path);
            }
            store.exportGallery(gallery(), target);
            break;
        }
        case FolderCommand::Synchronize:
            result = synchronizeGallery(store, gallery()).empty() ? S_OK : S_FALSE;
            break;
        }
        SHChangeNotify(SHCNE_UPDATEDIR, SHCNF_FLUSH, nullptr, nullptr);
        return result;
    }

    // Starts the editing of `name` in the view's list (the window the command came from, or
    // its list).
    static HRESULT editName(HWND window, const std::string& name)
    {
        HWND list = window;
        WCHAR type[64] = {};
        if (window == nullptr || GetClassNameW(window, type, 64) == 0 || lstrcmpiW(type, WC_LISTVIEWW) != 0) {
            list = window != nullptr ? FindWindowExW(window, nullptr, WC_LISTVIEWW, nullptr) : nullptr;
        }
        if (list == nullptr) {
            return E_INVALIDARG; // no view to type the name in, and none given
        }
        const std::basic_string<WCHAR> text = toUtf16(name);
        LVFINDINFOW find = {};
        find.flags = LVFI_STRING;
        find.psz = text.c_str();
        const auto at = static_cast<int>(SendMessageW(list, LVM_FINDITEMW, static_cast<WPARAM>(-1), reinterpret_cast<LPARAM>(&find)));
        if (at < 0) {
            return E_FAIL;
        }
        SetFocus(list);
        return SendMessageW(list, LVM_EDITLABELW, static_cast<WPARAM>(at), 0) != 0 ? S_OK : E_FAIL;
    }

    std::vector<ItemId> selection_;
    std::optional<ItemId> folder_;
    std::vector<FolderMenuEntry> entries_;
    UINT ours_ = 0;
    UINT theirs_ = 0;
    IContextMenu* pictureMenu_ = nullptr;
};

} // namespace

HRESULT createItemMenu(const std::vector<ItemId>& selection, const ItemId* folder, REFIID riid, void** out)
{
    return Shell::createInterface<ItemMenu>(riid, out, selection,
                                            folder != nullptr ? std::optional<ItemId>(*folder) : std::nullopt);
}

} // namespace Lumeno::Namespace
