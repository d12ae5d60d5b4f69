#include "Lumeno/Namespace/Commands.h"

#include <Lumeno/DB/Store.h>

#include <algorithm>
#include <cctype>
#include <stdexcept>

namespace Lumeno::Namespace {

namespace {

const FolderMenuEntry Open = {FolderCommand::Open, "Open", "open", "Open the selected item"};
const FolderMenuEntry Preview = {FolderCommand::Preview, "Preview", "preview", "Preview the selected pictures"};
const FolderMenuEntry Remove = {FolderCommand::RemoveFromGallery, "Remove from gallery", "remove",
                                "Take the selected pictures out of this gallery (the files stay)"};
const FolderMenuEntry NewGallery = {FolderCommand::NewGallery, "New gallery", "newgallery",
                                    "Make a new gallery inside this one"};
const FolderMenuEntry Rename = {FolderCommand::Rename, "Rename", "rename", "Give the gallery another name"};
const FolderMenuEntry Delete = {FolderCommand::Delete, "Delete", "delete",
                                "Delete the selected galleries and the galleries inside them (the files stay)"};
const FolderMenuEntry Export = {FolderCommand::Export, "Export as web page...", "export",
                                "Write the gallery as a web page into a folder"};
const FolderMenuEntry Synchronize = {FolderCommand::Synchronize, "Synchronize", "synchronize",
                                     "Bring the gallery's information and thumbnails up to date from the files"};

bool sameVerb(const std::string& a, const char* b)
{
    const std::string other(b);
    return a.size() == other.size() && std::equal(a.begin(), a.end(), other.begin(), [](char x, char y) {
               return std::tolower(static_cast<unsigned char>(x)) == std::tolower(static_cast<unsigned char>(y));
           });
}

} // namespace

std::vector<FolderMenuEntry> folderMenu(const std::vector<ItemId>& selection, const ItemId* inFolder)
{
    if (selection.empty()) {
        // The folder's own background: a new gallery where galleries can be.
        if (inFolder == nullptr || inFolder->kind == ItemKind::Gallery) {
            return {NewGallery};
        }
        return {};
    }
    const bool pictures = std::all_of(selection.begin(), selection.end(),
                                      [](const ItemId& item) { return item.kind == ItemKind::Picture; });
    const bool galleries = std::all_of(selection.begin(), selection.end(),
                                       [](const ItemId& item) { return item.kind == ItemKind::Gallery; });
    if (pictures) {
        std::vector<FolderMenuEntry> menu = {Open, Preview};
        if (std::none_of(selection.begin(), selection.end(), [](const ItemId& item) { return item.underKeyword; })) {
            menu.push_back(Remove);
        }
        return menu;
    }
    if (galleries && selection.size() == 1) {
        return {Open, NewGallery, Rename, Delete, Export, Synchronize};
    }
    if (galleries) {
        return {Delete};
    }
    if (selection.size() == 1) {
        return {Open}; // the Keywords folder, a keyword
    }
    return {};
}

std::optional<FolderCommand> commandForVerb(const std::vector<FolderMenuEntry>& menu, const std::string& verb)
{
    for (const FolderMenuEntry& entry : menu) {
        if (sameVerb(verb, entry.verb)) {
            return entry.command;
        }
    }
    return std::nullopt;
}

std::string createNewGallery(DB::Store& store, const std::string& parent)
{
    for (int n = 1;; ++n) {
        const std::string name = n == 1 ? "New Gallery" : "New Gallery (" + std::to_string(n) + ")";
        const std::string path = parent.empty() ? name : parent + "/" + name;
        if (!store.galleryExists(path)) {
            store.createGallery(path);
            return path;
        }
    }
}

std::string renameGallery(DB::Store& store, const std::string& gallery, const std::string& newName)
{
    const std::size_t slash = gallery.rfind('/');
    const std::string renamed = (slash == std::string::npos ? std::string() : gallery.substr(0, slash + 1)) + newName;
    if (newName.find_first_of("/\\") != std::string::npos || !validGalleryPath(renamed)) {
        throw std::invalid_argument("'" + newName + "' cannot name a gallery");
    }
    store.renameGallery(gallery, renamed);
    return renamed;
}

std::size_t removeFromGalleries(DB::Store& store, const std::vector<ItemId>& pictures)
{
    std::size_t removed = 0;
    for (const ItemId& item : pictures) {
        if (item.kind == ItemKind::Picture && !item.underKeyword && store.removeImage(item.container, item.name)) {
            ++removed;
        }
    }
    return removed;
}

std::vector<std::string> synchronizeGallery(DB::Store& store, const std::string& gallery)
{
    std::vector<std::string> failed;
    for (const std::string& file : store.images(gallery)) {
        try {
            store.update(file, true);
        } catch (const std::exception&) {
            failed.push_back(file); // a file gone or unreadable: its record stays as it was
        }
    }
    return failed;
}

} // namespace Lumeno::Namespace
