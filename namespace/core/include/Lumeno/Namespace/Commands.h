// The commands of My Galleries' items: what their context menu offers for a selection, and what
// each does to the store. The shell's menu object (Windows) shows these and runs them.
#pragma once

#include "Lumeno/Namespace/ItemId.h"

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace Lumeno::DB {
class Store;
}

namespace Lumeno::Namespace {

enum class FolderCommand { Open, Preview, RemoveFromGallery, NewGallery, Rename, Delete, Export, Synchronize };

struct FolderMenuEntry {
    FolderCommand command;
    const char* text;
    const char* verb;
    const char* help;
};

// The entries for the selected items of a folder: pictures get Open, Preview and, in a gallery,
// Remove from gallery; one gallery gets Open, New gallery, Rename, Delete, Export as web page
// and Synchronize. A selection of galleries and pictures together, or of several galleries, gets
// only what applies to all (Delete for galleries). `inFolder` is the folder they are listed in
// (null at the top): its own background menu is asked with an empty selection.
std::vector<FolderMenuEntry> folderMenu(const std::vector<ItemId>& selection, const ItemId* inFolder);
// The entry of a verb (letter case aside); nothing for a verb the menu does not have.
std::optional<FolderCommand> commandForVerb(const std::vector<FolderMenuEntry>& menu, const std::string& verb);

// A free name for a new gallery inside `parent` ("" for the top): "New Gallery", then
// "New Gallery (2)" and so on. Makes it and answers its path.
std::string createNewGallery(DB::Store& store, const std::string& parent);
// Gives the gallery at `gallery` the name `newName` where it is (its sub-galleries go with
// it); answers its new path. Throws std::invalid_argument for a name that is no gallery's (empty,
// holding '/' or '\\', "." or "..") and DB::ErrorDb when the store refuses (the name is taken).
std::string renameGallery(DB::Store& store, const std::string& gallery, const std::string& newName);
// Takes the pictures out of the galleries they are listed in (the catalogue keeps them).
// Answers how many were taken out.
std::size_t removeFromGalleries(DB::Store& store, const std::vector<ItemId>& pictures);
// Brings the records and thumbnails of a gallery's pictures up to date from their files;
// answers the pictures that could not be read.
std::vector<std::string> synchronizeGallery(DB::Store& store, const std::string& gallery);

} // namespace Lumeno::Namespace
