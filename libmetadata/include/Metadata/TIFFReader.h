// Bounds-checked access to the bytes of one TIFF structure (a TIFF file, or the EXIF block of a
// JPEG). All directory and field code reads file bytes through TIFFReader and nothing else.
#pragma once

#include "Metadata/ReadWarning.h"

#include <cstddef>
#include <cstdint>
#include <istream>
#include <memory>
#include <unordered_map>
#include <vector>

namespace Metadata {

// Random-access bytes of known size.
class ByteSource {
public:
    virtual ~ByteSource() = default;
    virtual std::uint64_t size() const = 0;
    // Copies the bytes [position, position + n) that exist into `destination` and sets the rest
    // to zero; returns how many existed.
    virtual std::size_t read(std::uint64_t position, std::uint8_t* destination, std::size_t n) const = 0;
    // The bytes [position, position + n) in place, when the source holds them in memory; null
    // otherwise (also when any of them lies past the end).
    virtual const std::uint8_t* view(std::uint64_t position, std::size_t n) const;
};

// Bytes held in memory.
class MemorySource : public ByteSource {
public:
    explicit MemorySource(std::vector<std::uint8_t> bytes);
    // A view of bytes that someone else keeps alive for as long as this source lives.
    MemorySource(const std::uint8_t* data, std::size_t size);

    std::uint64_t size() const override { return size_; }
    std::size_t read(std::uint64_t position, std::uint8_t* destination, std::size_t n) const override;
    const std::uint8_t* view(std::uint64_t position, std::size_t n) const override;

private:
    std::vector<std::uint8_t> owned_;
    const std::uint8_t* data_;
    std::size_t size_;
};

// Bytes of a seekable stream, read through a small page cache so that scattered directory
// entries and values do not cost a system call each. The stream is not owned and must outlive
// the source; its position is restored after every read.
class StreamSource : public ByteSource {
public:
    explicit StreamSource(std::istream& stream);

    std::uint64_t size() const override { return size_; }
    std::size_t read(std::uint64_t position, std::uint8_t* destination, std::size_t n) const override;

private:
    static constexpr std::size_t PageSize = 16 * 1024;
    static constexpr std::size_t MaxPages = 64;
    const std::vector<std::uint8_t>& page(std::uint64_t index) const;

    std::istream& stream_;
    std::uint64_t size_ = 0;
    mutable std::unordered_map<std::uint64_t, std::vector<std::uint8_t>> pages_;
};

// One TIFF structure inside a source: where it starts, its byte order, and the guards that keep
// a hostile structure from looping or inflating memory. Offsets are relative to the start (the
// TIFF base position); bytes past the end of the source read as zeros.
class TIFFReader {
public:
    TIFFReader(std::shared_ptr<const ByteSource> source, std::uint64_t base, bool bigEndian,
               std::uint32_t firstIFDOffset);

    // Reads the 8-byte TIFF header at `base` (see ImageMetadata::TIFFHeader for its errors).
    static std::shared_ptr<TIFFReader> open(std::shared_ptr<const ByteSource> source, std::uint64_t base = 0);

    bool bigEndian() const noexcept { return bigEndian_; }
    std::uint64_t base() const noexcept { return base_; }
    const std::shared_ptr<const ByteSource>& source() const noexcept { return source_; }
    std::uint32_t firstIFDOffset() const noexcept { return firstIFDOffset_; }
    // Bytes of the source from the base to its end.
    std::uint64_t size() const noexcept { return size_; }

    void read(std::uint64_t offset, std::uint8_t* destination, std::size_t n) const;
    // The bytes in place when the source is in memory and holds all of them; null otherwise.
    const std::uint8_t* view(std::uint64_t offset, std::size_t n) const;
    std::uint16_t read16(std::uint64_t offset) const;
    std::uint32_t read32(std::uint64_t offset) const;

    // Records that the directory at `offset` is being read; false when it was read already, so
    // that directories pointing at each other cannot make a reader go round for ever.
    bool enterDirectory(std::uint32_t offset);
    // Whether the directory at `offset` was read already (offset 0, the empty directory, never is).
    bool directoryRead(std::uint32_t offset) const;
    // Accounts for `bytes` of field values about to be loaded. Null when they may be loaded;
    // otherwise why not: one value larger than the whole source, or all values together far
    // more than the source could hold (honest files stay well below: values overlap only in
    // maker notes). Nothing is charged for a value that is refused.
    const char* chargeValueBytes(std::uint64_t bytes);

    // What could not be read, in the order it was met. Readers record a problem here and go on
    // with the rest of the structure.
    void warn(std::string text, std::uint32_t directory, std::int32_t tag = -1);
    const std::vector<ReadWarning>& warnings() const noexcept { return warnings_; }
    // Forgets the warnings from the `count`th on (a tentative reading that is given up).
    void dropWarnings(std::size_t count);

private:
    static constexpr std::size_t MaxWarnings = 1000;

    std::shared_ptr<const ByteSource> source_;
    std::uint64_t base_;
    std::uint64_t size_;
    bool bigEndian_;
    std::uint32_t firstIFDOffset_;
    std::vector<std::uint32_t> directories_;
    std::uint64_t charged_ = 0;
    std::vector<ReadWarning> warnings_;
};

} // namespace Metadata
