// Drag and drop for My Galleries: a gallery's drop target, and the data object of pictures
// dragged out of a gallery or a keyword.
#pragma once

#include <Lumeno/Namespace/ItemId.h>

#include <windows.h>

#include <string>
#include <vector>

namespace Lumeno::Namespace {

// The drop target of the gallery at `gallery`: files dropped on it are added to it; pictures
// of another gallery move to it, or with Ctrl are copied.
HRESULT createGalleryDropTarget(const std::string& gallery, REFIID riid, void** out);

// The data object of pictures: the files (CF_HDROP), and, when they come from a gallery
// (`gallery` not empty), that gallery with them.
HRESULT createPicturesData(const std::string& gallery, const std::vector<std::string>& files, REFIID riid, void** out);

} // namespace Lumeno::Namespace
