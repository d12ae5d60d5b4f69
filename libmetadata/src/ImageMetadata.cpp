#include "Metadata/ImageMetadata.h"

#include "Metadata/Exceptions.h"
#include "Metadata/ImageStream.h"
#include "Metadata/TIFFReader.h"

namespace Metadata {

ImageMetadata::TIFFHeader::TIFFHeader(ImageStreamT& stream) : base_(stream.tellg())
{
    // Step by step as the stream reads, so that a bad byte order stops before anything else is
    // read; a short file leaves zeros, which then fail the magic test.
    std::uint8_t bytes[8] = {};
    stream.read(bytes, 2);
    if (bytes[0] == 'M' && bytes[1] == 'M') {
        stream.setBigEndian();
    } else if (!(bytes[0] == 'I' && bytes[1] == 'I')) {
        METADATA_THROW(FileFormatException, "unknown byte ordering");
    }
    stream.read(bytes + 2, 2);
    if (decode16(bytes + 2, bytes[0] == 'M') == 42) {
        stream.read(bytes + 4, 4);
    }
    decode(bytes);
}

ImageMetadata::TIFFHeader::TIFFHeader(const ByteSource& source, std::uint64_t base)
    : base_(static_cast<std::streamoff>(base))
{
    std::uint8_t bytes[8];
    source.read(base, bytes, sizeof bytes);
    decode(bytes);
}

void ImageMetadata::TIFFHeader::decode(const std::uint8_t bytes[8])
{
    if (bytes[0] == 'I' && bytes[1] == 'I') {
        bigEndian_ = false;
    } else if (bytes[0] == 'M' && bytes[1] == 'M') {
        bigEndian_ = true;
    } else {
        METADATA_THROW(FileFormatException, "unknown byte ordering");
    }
    if (decode16(bytes + 2, bigEndian_) != 42) {
        METADATA_THROW(FileFormatException, "Bad EXIF magic");
    }
    firstIFDOffset_ = decode32(bytes + 4, bigEndian_);
}

} // namespace Metadata
