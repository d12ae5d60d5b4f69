// Opens an image file as the metadata container of its format, decided by its first bytes.
#pragma once

#include "Metadata/ImageMetadata.h"

#include <memory>
#include <string>

namespace Metadata {

class ImageStreamT;

class ImageFactory {
public:
    ImageFactory() = default;
    virtual ~ImageFactory() = default;
    ImageFactory(const ImageFactory&) = delete;
    ImageFactory& operator=(const ImageFactory&) = delete;

    // The program's one factory.
    static ImageFactory& instance();

    // The container for the stream's file: JPEG when it starts with FF D8, TIFF when it starts
    // with "II" 2A 00 or "MM" 00 2A. The extension plays no part. Throws IOReadException "read
    // failed" for a file too short to test and FileFormatException "Unsupported file format"
    // for any other file (leaving the stream where it was); a container's own failures pass
    // through.
    virtual std::unique_ptr<ImageMetadata> create(ImageStreamT& stream) const;
};

// Opens `path` in `stream` (which keeps the path as its file name) and creates its container.
// Throws IOOpenError when the file cannot be opened. The stream must outlive the container.
// Opens `path` for reading into `stream` and makes its container. A path that is not a
// regular file (after following links: a folder, a FIFO, a device, nothing at all) is refused
// before it is opened, with IOOpenError naming why.
std::unique_ptr<ImageMetadata> openImage(const std::string& path, ImageStreamT& stream);

// Empty when `path` is a regular file (after following links); otherwise why not, in words for
// the user ("No such file or directory", "Is a directory", "not a regular file (a FIFO)").
std::string whyNotARegularFile(const std::string& path);

} // namespace Metadata
