// Thumbnails for the gallery store: a small JPEG of an image.
#pragma once

#include <string>

namespace Lumeno::DB {

// The longer side of a thumbnail, in pixels.
constexpr unsigned ThumbnailSize = 160;

// A JPEG no larger than ThumbnailSize on either side, turned upright; ErrorDb when the image
// cannot be read.
std::string makeThumbnail(const std::string& path);

} // namespace Lumeno::DB
