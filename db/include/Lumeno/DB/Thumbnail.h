// Thumbnails for the gallery store: a small JPEG of an image.
#pragma once

#include <string>

namespace Metadata {
class ImageMetadata;
}

namespace Lumeno::DB {

// The longer side of a thumbnail, in pixels.
constexpr unsigned ThumbnailSize = 160;

// A JPEG no larger than ThumbnailSize on either side, turned upright; ErrorDb when the image
// cannot be read. `image`: the file's metadata when the caller has read it already (its
// orientation and the camera's embedded thumbnail come from there).
std::string makeThumbnail(const std::string& path, const Metadata::ImageMetadata* image = nullptr);

} // namespace Lumeno::DB
