// The base of the metadata containers (one per image file format).
#pragma once

#include <cstdint>
#include <ios>

namespace Metadata {

class ByteSource;
class ImageStreamT;

class ImageMetadata {
public:
    // The 8-byte header of a TIFF structure (TIFF 6.0 section 2): byte order, the magic 42 and the
    // offset of the first directory. Every offset read later is relative to its base position.
    class TIFFHeader {
    public:
        // Reads the header at the stream's current position. "MM" sets the stream's big-endian
        // flag; "II" leaves it as it was (a stream reads one TIFF structure, so it never needs
        // clearing). Throws FileFormatException "unknown byte ordering" or "Bad EXIF magic".
        explicit TIFFHeader(ImageStreamT& stream);
        // Reads the header at `base` of a source; bytes past its end read as zeros.
        TIFFHeader(const ByteSource& source, std::uint64_t base);
        virtual ~TIFFHeader() = default;
        TIFFHeader(const TIFFHeader&) = delete;
        TIFFHeader& operator=(const TIFFHeader&) = delete;

        virtual bool bigEndian() const noexcept { return bigEndian_; }
        virtual std::uint32_t size() const noexcept { return 8; }
        virtual std::streampos basePosition() const noexcept { return base_; }
        std::uint32_t firstIFDOffset() const noexcept { return firstIFDOffset_; }

    private:
        void decode(const std::uint8_t bytes[8]);

        std::streampos base_ = 0;
        bool bigEndian_ = false;
        std::uint32_t firstIFDOffset_ = 0;
    };

    virtual ~ImageMetadata() = default;
    ImageMetadata(const ImageMetadata&) = delete;
    ImageMetadata& operator=(const ImageMetadata&) = delete;

protected:
    ImageMetadata() = default;
};

} // namespace Metadata
