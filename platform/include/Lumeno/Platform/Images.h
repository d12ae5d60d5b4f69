// What the pixels of pictures need (decoding, scaling, turning, encoding), behind one interface:
// ImageMagick (Magick++, in a module loaded the first time it is needed, so that programs which
// never need it do not load its thirty libraries) on POSIX, the Windows Imaging Component on
// Windows.
#pragma once

#include <string>

namespace Lumeno::Platform {

class ImageService {
public:
    virtual ~ImageService() = default;
    // Readies the library for this process, as a program that will use it from the start does
    // (the COM server when it is loaded). Every other operation readies it on first use.
    virtual void start() const = 0;
    // A JPEG of the picture at `path` no larger than `longerSide` pixels on either side (a
    // smaller picture keeps its size; the aspect is kept), turned
    // upright by `orientation` (the EXIF value, 1 to 8; any other value leaves it as stored).
    // Throws std::runtime_error with the reason when the picture cannot be made.
    virtual std::string thumbnail(const std::string& path, unsigned longerSide, int orientation) const = 0;
};

// The image service of the system the program runs on.
const ImageService& imageService();

} // namespace Lumeno::Platform
