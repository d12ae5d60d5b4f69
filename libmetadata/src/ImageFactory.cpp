#include "Metadata/ImageFactory.h"

#include "Metadata/Exceptions.h"
#include "Metadata/ImageStream.h"
#include "Metadata/JPEGImageMetadata.h"
#include "Metadata/TIFFImageMetadata.h"

#include <new>

namespace Metadata {

namespace {

// Reads `n` bytes at the start of the file and puts the stream back where it was. Each byte
// must arrive: a file too short to test is a read failure, not an unknown format.
void peek(ImageStreamT& stream, std::uint8_t* bytes, int n)
{
    stream.clear();
    const std::streampos here = stream.tellg();
    stream.seekg(0);
    for (int i = 0; i < n; ++i) {
        const int c = stream.get();
        if (c == std::char_traits<char>::eof() || stream.fail() || stream.bad()) {
            stream.clear();
            stream.seekg(here);
            METADATA_THROW0(IOReadException);
        }
        bytes[i] = static_cast<std::uint8_t>(c);
    }
    stream.seekg(here);
}

} // namespace

ImageFactory& ImageFactory::instance()
{
    static ImageFactory factory;
    return factory;
}

std::unique_ptr<ImageMetadata> ImageFactory::create(ImageStreamT& stream) const
{
    try {
        std::uint8_t b[4] = {};
        peek(stream, b, 2);
        if (b[0] == 0xFF && b[1] == 0xD8) {
            return std::make_unique<JPEGImageMetadata>(stream);
        }
        peek(stream, b, 4);
        if ((b[0] == 'I' && b[1] == 'I' && b[2] == 0x2A && b[3] == 0x00) ||
            (b[0] == 'M' && b[1] == 'M' && b[2] == 0x00 && b[3] == 0x2A)) {
            return std::make_unique<TIFFImageMetadata>(stream);
        }
    } catch (const std::bad_alloc&) {
        METADATA_THROW0(MemoryError);
    }
    METADATA_THROW(FileFormatException, "Unsupported file format");
}

std::unique_ptr<ImageMetadata> openImage(const std::string& path, ImageStreamT& stream)
{
    stream.setFileName(path);
    stream.open(path, std::ios::in | std::ios::binary);
    if (!stream.good() || !stream.is_open()) {
        METADATA_THROW0(IOOpenError);
    }
    return ImageFactory::instance().create(stream);
}

} // namespace Metadata
