// Thumbnails of pictures. A JPEG is decoded by the JPEG codec at a fraction of its size (the
// codec leaves out the detail it would throw away anyway: at one eighth, a twelve-megapixel
// photo costs about what a 0.2-megapixel one does), then scaled down to the size asked for;
// every other picture, and a JPEG the codec cannot give as RGB, goes to the image service.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace Lumeno::Platform {

// The quality thumbnails are encoded with.
constexpr int ThumbnailQuality = 85;

// A small picture a camera embeds in its JPEG (EXIF's IFD1 thumbnail), stored as the picture
// is: the thumbnail is made from it instead of the picture when it is at least as large as the
// thumbnail asked for and has the picture's aspect (a camera whose sensor is 3:2 often embeds a
// 4:3 one with black bars, which is refused).
struct Embedded {
    const std::uint8_t* data = nullptr;
    std::size_t size = 0;
};

// A JPEG of the picture at `path` no larger than `longerSide` pixels on either side (a smaller
// picture keeps its size; the aspect is kept), turned upright by `orientation` (the EXIF value,
// 1 to 8; any other value leaves it as stored), encoded at `quality` (1 to 100). Throws
// std::runtime_error with the reason when the picture cannot be made.
std::string thumbnail(const std::string& path, unsigned longerSide, int orientation, Embedded embedded = {},
                      int quality = ThumbnailQuality);

// The same of a JPEG in memory, by the JPEG codec alone; nothing when the bytes are no JPEG it
// decodes (a CMYK one, a damaged one), which the image service may still read.
std::optional<std::string> jpegThumbnail(const std::uint8_t* data, std::size_t size, unsigned longerSide,
                                         int orientation, Embedded embedded = {}, int quality = ThumbnailQuality);

// A picture's pixels, three bytes each (red, green, blue; or blue, green, red when `bgr`, as
// Windows' bitmaps have them), row after row without padding.
struct Picture {
    int width = 0;
    int height = 0;
    // The picture's own size as seen, before it was fitted (as far as known: a picture from the
    // image service that was made smaller tells only its fitted size).
    int fullWidth = 0;
    int fullHeight = 0;
    bool bgr = false;
    std::vector<std::uint8_t> pixels;
};

// The picture at `path` as it is meant to be seen (turned upright by `orientation`), fitted into
// `boxWidth` x `boxHeight` (never enlarged): a viewer's picture. A JPEG is decoded at the
// codec's smallest reduction that still covers the box, other pictures through the image
// service. Throws std::runtime_error with the reason when the picture cannot be made.
Picture fittedPicture(const std::string& path, unsigned boxWidth, unsigned boxHeight, int orientation,
                      bool bgr = false);

// A JPEG in memory decoded whole (a thumbnail); nothing when the codec cannot decode it.
std::optional<Picture> jpegPicture(const std::uint8_t* data, std::size_t size, bool bgr = false);

} // namespace Lumeno::Platform
