// Builds JPEG marker streams for tests: segments of any kind, garbage and fill bytes, and a
// frame and scan that decoders need not understand (the containers never decode).
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace TestSupport {

using Bytes = std::vector<std::uint8_t>;

class JpegBuilder {
public:
    JpegBuilder() { bytes_ = {0xFF, 0xD8}; }

    // FF, marker, big-endian length (payload + 2), payload.
    JpegBuilder& segment(std::uint8_t marker, const Bytes& payload);
    // Bytes as they are (garbage, fill bytes, a bare marker).
    JpegBuilder& raw(const Bytes& bytes);
    JpegBuilder& exif(const Bytes& tiff);
    JpegBuilder& xmp(const std::string& packet);
    JpegBuilder& photoshop(const Bytes& resources);
    // A quantisation table, a one-component frame header, a Huffman table.
    JpegBuilder& frame();
    // SOS, some entropy-coded bytes (with a stuffed FF 00) and EOI.
    JpegBuilder& scan();
    const Bytes& bytes() const { return bytes_; }

private:
    Bytes bytes_;
};

// One "8BIM" image resource block with an optional Pascal name.
Bytes resourceBlock(std::uint16_t id, const Bytes& data, const std::string& name = "");
// One standard IIM dataset: 1C, record, number, big-endian length, value.
Bytes iptcDataSet(std::uint8_t record, std::uint8_t number, const std::string& value);
Bytes operator+(Bytes a, const Bytes& b);
Bytes bytesOf(const std::string& text);

} // namespace TestSupport
