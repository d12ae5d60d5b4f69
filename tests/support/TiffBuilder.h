// Builds TIFF structures byte by byte for tests and benchmarks, in either byte order, with
// exact control over every entry so that broken and hostile files can be made as easily as
// good ones.
#pragma once

#include <cstdint>
#include <deque>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace TestSupport {

class TiffBuilder {
public:
    struct Dir;

    struct Entry {
        std::uint16_t tag = 0;
        std::uint16_t type = 0;
        std::uint32_t count = 0;
        std::vector<std::uint32_t> units;          // values (two units per rational), in type order
        std::optional<std::uint32_t> valueField;   // written as is; nothing is placed
        const Dir* target = nullptr;               // LONG pointer to another directory
    };

    struct Dir {
        std::vector<Entry> entries;
        const Dir* next = nullptr;
        std::optional<std::uint32_t> rawNext;      // next-directory offset written as is
        std::optional<std::uint16_t> rawCount;     // entry count written as is

        Dir& ascii(std::uint16_t tag, const std::string& text);  // NUL appended
        Dir& bytes(std::uint16_t tag, std::vector<std::uint8_t> values, std::uint16_t type = 7);
        Dir& shorts(std::uint16_t tag, std::vector<std::uint32_t> values, std::uint16_t type = 3);
        Dir& longs(std::uint16_t tag, std::vector<std::uint32_t> values, std::uint16_t type = 4);
        Dir& rationals(std::uint16_t tag, std::vector<std::pair<std::uint32_t, std::uint32_t>> values,
                       std::uint16_t type = 5);
        Dir& srationals(std::uint16_t tag, std::vector<std::pair<std::int32_t, std::int32_t>> values);
        // An entry written exactly as given; its value field is not interpreted.
        Dir& raw(std::uint16_t tag, std::uint16_t type, std::uint32_t count, std::uint32_t valueField);
        // A LONG entry holding the offset of `target`.
        Dir& pointer(std::uint16_t tag, const Dir& target);
    };

    explicit TiffBuilder(bool bigEndian = false) : bigEndian_(bigEndian) { dirs_.emplace_back(); }

    Dir& ifd0() { return dirs_.front(); }
    // Another directory, laid out after the ones made before it; references stay valid.
    Dir& newDir() { return dirs_.emplace_back(); }
    void setFirstOffset(std::uint32_t offset) { firstOffset_ = offset; }
    // Bytes placed right after the header, before every directory (image data, for instance).
    void setPreamble(std::vector<std::uint8_t> bytes) { preamble_ = std::move(bytes); }
    // Bytes appended after all directories and values.
    void setTrailer(std::vector<std::uint8_t> bytes) { trailer_ = std::move(bytes); }

    std::vector<std::uint8_t> build() const;
    // Offset of a directory in the last build (valid after build()).
    std::uint32_t offsetOf(const Dir& dir) const;

private:
    bool bigEndian_;
    std::deque<Dir> dirs_;
    std::optional<std::uint32_t> firstOffset_;
    std::vector<std::uint8_t> preamble_;
    std::vector<std::uint8_t> trailer_;
    mutable std::vector<std::uint32_t> offsets_;
};

void writeFile(const std::string& path, const std::vector<std::uint8_t>& bytes);

// A valid 1x1 8-bit grey TIFF with the few tags an image needs, for tools to add metadata to.
std::vector<std::uint8_t> minimalTiff(bool bigEndian);

} // namespace TestSupport
