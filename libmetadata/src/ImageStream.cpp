#include "Metadata/ImageStream.h"

#include "Metadata/Exceptions.h"

namespace Metadata {

ImageStreamT::ImageStreamT() : Detail::StreamBuffer{std::unique_ptr<char[]>(new char[BufferSize])}
{
    // Must be set before the file is opened to take effect.
    rdbuf()->pubsetbuf(storage.get(), static_cast<std::streamsize>(BufferSize));
}

void ImageStreamT::read(void* buffer, std::size_t n)
{
    std::fstream::read(static_cast<char*>(buffer), static_cast<std::streamsize>(n));
    if (static_cast<std::size_t>(gcount()) == n && !fail() && !bad()) {
        return;
    }
    if (!eof()) {
        METADATA_THROW0(IOReadException);
    }
}

void ImageStreamT::write(const void* buffer, std::size_t n)
{
    std::fstream::write(static_cast<const char*>(buffer), static_cast<std::streamsize>(n));
    if (fail() || bad()) {
        METADATA_THROW0(IOWriteException);
    }
}

std::uint16_t ImageStreamT::read16()
{
    std::uint8_t b[2] = {0, 0};
    read(b, sizeof b);
    return decode16(b, bigEndian_);
}

std::uint32_t ImageStreamT::read32()
{
    std::uint8_t b[4] = {0, 0, 0, 0};
    read(b, sizeof b);
    return decode32(b, bigEndian_);
}

void ImageStreamT::writeBig32(std::uint32_t value)
{
    std::uint8_t b[4];
    storeBig32(b, value);
    for (std::uint8_t byte : b) {
        write(&byte, 1);
    }
}

std::uint16_t readBig16(const std::uint8_t*& cursor, std::size_t& remaining)
{
    if (remaining < 2) {
        METADATA_THROW(FileFormatException, "Unexpected end of data");
    }
    const std::uint16_t value = decode16(cursor, true);
    cursor += 2;
    remaining -= 2;
    return value;
}

std::uint32_t readBig32(const std::uint8_t*& cursor, std::size_t& remaining)
{
    if (remaining < 4) {
        METADATA_THROW(FileFormatException, "Unexpected end of data");
    }
    const std::uint32_t value = decode32(cursor, true);
    cursor += 4;
    remaining -= 4;
    return value;
}

void storeBig32(std::uint8_t* destination, std::uint32_t value) noexcept
{
    destination[0] = static_cast<std::uint8_t>(value >> 24);
    destination[1] = static_cast<std::uint8_t>(value >> 16);
    destination[2] = static_cast<std::uint8_t>(value >> 8);
    destination[3] = static_cast<std::uint8_t>(value);
}

} // namespace Metadata
