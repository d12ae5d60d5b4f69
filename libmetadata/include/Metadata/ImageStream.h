// The file stream every container reads and writes, with the byte order of the TIFF structure
// it holds.
#pragma once

#include <cstddef>
#include <cstdint>
#include <fstream>
#include <memory>
#include <string>

namespace Metadata {

namespace Detail {
// The stream's buffer, in a base of its own so that it is made before the file stream that uses
// it and outlives that stream's closing (which still writes through it).
struct StreamBuffer {
    std::unique_ptr<char[]> storage;
};
} // namespace Detail

class ImageStreamT : private Detail::StreamBuffer, public std::fstream {
public:
    // Containers read a file's metadata from its first tens of kilobytes: a buffer of that size
    // reads them in one go.
    static constexpr std::size_t BufferSize = 64 * 1024;

    ImageStreamT();

    // False: "II" (little-endian) order; true: "MM" (big-endian). Only the TIFF header reader sets
    // it, and only ever to true.
    bool bigEndian() const noexcept { return bigEndian_; }
    void setBigEndian() noexcept { bigEndian_ = true; }

    // The path the stream was opened from, for messages.
    const std::string& fileName() const noexcept { return fileName_; }
    void setFileName(std::string name) { fileName_ = std::move(name); }

    // Reads n bytes. At end of file nothing is thrown and the bytes not read keep what the buffer
    // held: callers test eof() themselves. Any other shortfall throws IOReadException.
    void read(void* buffer, std::size_t n);
    // Writes n bytes or throws IOWriteException.
    void write(const void* buffer, std::size_t n);

    // 16- and 32-bit values in the stream's byte order.
    std::uint16_t read16();
    std::uint32_t read32();
    // Always most significant byte first, whatever the flag (IPTC and Photoshop structures).
    void writeBig32(std::uint32_t value);

private:
    bool bigEndian_ = false;
    std::string fileName_;
};

// Big-endian values in memory buffers (Photoshop resource blocks, IPTC data). The readers advance
// the cursor and reduce `remaining` by the bytes taken, and throw FileFormatException when fewer
// bytes remain than the value needs.
std::uint16_t readBig16(const std::uint8_t*& cursor, std::size_t& remaining);
std::uint32_t readBig32(const std::uint8_t*& cursor, std::size_t& remaining);
void storeBig32(std::uint8_t* destination, std::uint32_t value) noexcept;

// Decoding of already-read bytes in either order.
inline std::uint16_t decode16(const std::uint8_t* p, bool bigEndian) noexcept
{
    return bigEndian ? static_cast<std::uint16_t>((p[0] << 8) | p[1])
                     : static_cast<std::uint16_t>(p[0] | (p[1] << 8));
}

inline std::uint32_t decode32(const std::uint8_t* p, bool bigEndian) noexcept
{
    return bigEndian ? (std::uint32_t{p[0]} << 24) | (std::uint32_t{p[1]} << 16) | (std::uint32_t{p[2]} << 8) | p[3]
                     : (std::uint32_t{p[3]} << 24) | (std::uint32_t{p[2]} << 16) | (std::uint32_t{p[1]} << 8) | p[0];
}

} // namespace Metadata
