#include "Thumbnail.h"

#include "Lumeno/DB/Engine.h"

#include <Magick++.h>

#include <cerrno>
#include <mutex>

namespace Lumeno::DB {

std::string makeThumbnail(const std::string& path)
{
    static std::once_flag started;
    std::call_once(started, [] { Magick::InitializeMagick(nullptr); });
    try {
        Magick::Image image;
        // The size hint lets the JPEG decoder scale while it decodes: far less work than
        // decoding every pixel of a large photo.
        image.read(Magick::Geometry(2 * ThumbnailSize, 2 * ThumbnailSize), path);
        image.autoOrient();
        image.thumbnail(Magick::Geometry(ThumbnailSize, ThumbnailSize));
        image.strip();
        image.magick("JPEG");
        image.quality(85);
        Magick::Blob blob;
        image.write(&blob);
        return std::string(static_cast<const char*>(blob.data()), blob.length());
    } catch (const Magick::Exception& e) {
        throw ErrorDb(EIO, "cannot make a thumbnail of " + path + ": " + e.what());
    }
}

} // namespace Lumeno::DB
