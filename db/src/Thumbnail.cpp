#include "Thumbnail.h"

#include "Lumeno/DB/Engine.h"

#include <Lumeno/Platform/Images.h>
#include <Metadata/EXIF.h>
#include <Metadata/ImageFactory.h>
#include <Metadata/ImageStream.h>

#include <cerrno>
#include <stdexcept>

namespace Lumeno::DB {

namespace {

// The picture's orientation as its EXIF says (1, upright, when it says nothing). Read here for
// every image service: the Windows Imaging Component under Wine reads no EXIF at all.
int orientationOf(const std::string& path)
{
    try {
        Metadata::ImageStreamT stream;
        const auto image = Metadata::openImage(path, stream);
        std::uint32_t value = 1;
        if (image->exif().getUInt32(Metadata::DirectoryId::Primary, 274, value) && value >= 1 && value <= 8) {
            return static_cast<int>(value);
        }
    } catch (const std::exception&) {
        // Not one of ours (a PNG, say): the image service reads it as it is.
    }
    return 1;
}

} // namespace

std::string makeThumbnail(const std::string& path)
{
    try {
        return Platform::imageService().thumbnail(path, ThumbnailSize, orientationOf(path));
    } catch (const std::runtime_error& e) {
        throw ErrorDb(EIO, "cannot make a thumbnail of " + path + ": " + e.what());
    }
}

} // namespace Lumeno::DB
