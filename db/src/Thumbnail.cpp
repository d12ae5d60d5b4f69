#include "Lumeno/DB/Thumbnail.h"

#include "Lumeno/DB/Engine.h"

#include <Lumeno/Platform/Thumbnail.h>
#include <Metadata/EXIF.h>
#include <Metadata/ImageFactory.h>
#include <Metadata/ImageStream.h>

#include <cerrno>
#include <stdexcept>
#include <vector>

namespace Lumeno::DB {

namespace {

// What the picture's EXIF says of it: its orientation (1, upright, when it says nothing) and
// the small picture the camera embedded. Read here for every image service: the Windows Imaging
// Component under Wine reads no EXIF at all.
struct Described {
    int orientation = 1;
    std::vector<std::uint8_t> embedded;
};

Described describe(const Metadata::ImageMetadata& image)
{
    Described d;
    std::uint32_t value = 1;
    try {
        if (image.exif().getUInt32(Metadata::DirectoryId::Primary, 274, value) && value >= 1 && value <= 8) {
            d.orientation = static_cast<int>(value);
        }
    } catch (const std::exception&) {
        // an orientation of the wrong type says nothing
    }
    if (!image.exif().thumbnailJpeg(d.embedded)) {
        d.embedded.clear();
    }
    return d;
}

Described describe(const std::string& path)
{
    try {
        Metadata::ImageStreamT stream;
        return describe(*Metadata::openImage(path, stream));
    } catch (const std::exception&) {
        return {}; // not one of ours (a PNG, say): the image service reads it as it is
    }
}

} // namespace

std::string makeThumbnail(const std::string& path, const Metadata::ImageMetadata* image)
{
    try {
        const Described d = image != nullptr ? describe(*image) : describe(path);
        return Platform::thumbnail(path, ThumbnailSize, d.orientation, {d.embedded.data(), d.embedded.size()});
    } catch (const std::runtime_error& e) {
        throw ErrorDb(EIO, "cannot make a thumbnail of " + path + ": " + e.what());
    }
}

} // namespace Lumeno::DB
