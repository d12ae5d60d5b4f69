#include "Metadata/TIFFReader.h"

#include "Metadata/Exceptions.h"
#include "Metadata/ImageMetadata.h"
#include "Metadata/ImageStream.h"

#include <algorithm>
#include <cstring>

namespace Metadata {

const std::uint8_t* ByteSource::view(std::uint64_t, std::size_t) const
{
    return nullptr;
}

MemorySource::MemorySource(std::vector<std::uint8_t> bytes)
    : owned_(std::move(bytes)), data_(owned_.data()), size_(owned_.size())
{
}

MemorySource::MemorySource(const std::uint8_t* data, std::size_t size) : data_(data), size_(size) {}

std::size_t MemorySource::read(std::uint64_t position, std::uint8_t* destination, std::size_t n) const
{
    std::size_t present = 0;
    if (position < size_) {
        present = static_cast<std::size_t>(std::min<std::uint64_t>(n, size_ - position));
        std::memcpy(destination, data_ + position, present);
    }
    std::memset(destination + present, 0, n - present);
    return present;
}

const std::uint8_t* MemorySource::view(std::uint64_t position, std::size_t n) const
{
    if (position > size_ || n > size_ - position) {
        return nullptr;
    }
    return data_ + position;
}

StreamSource::StreamSource(std::istream& stream) : stream_(stream)
{
    std::streambuf* buffer = stream_.rdbuf();
    if (buffer == nullptr) {
        return;
    }
    const std::streampos here = buffer->pubseekoff(0, std::ios::cur, std::ios::in);
    const std::streampos end = buffer->pubseekoff(0, std::ios::end, std::ios::in);
    if (end != std::streampos(-1)) {
        size_ = static_cast<std::uint64_t>(static_cast<std::streamoff>(end));
    }
    if (here != std::streampos(-1)) {
        buffer->pubseekpos(here, std::ios::in);
    }
}

const std::vector<std::uint8_t>& StreamSource::page(std::uint64_t index) const
{
    auto found = pages_.find(index);
    if (found != pages_.end()) {
        return found->second;
    }
    if (pages_.size() >= MaxPages) {
        pages_.clear();
    }
    std::vector<std::uint8_t> bytes(PageSize);
    std::size_t got = 0;
    std::streambuf* buffer = stream_.rdbuf();
    const std::streampos here = buffer->pubseekoff(0, std::ios::cur, std::ios::in);
    if (buffer->pubseekpos(static_cast<std::streamoff>(index * PageSize), std::ios::in) != std::streampos(-1)) {
        got = static_cast<std::size_t>(
            std::max<std::streamsize>(0, buffer->sgetn(reinterpret_cast<char*>(bytes.data()), PageSize)));
    }
    if (here != std::streampos(-1)) {
        buffer->pubseekpos(here, std::ios::in);
    }
    bytes.resize(got);
    return pages_.emplace(index, std::move(bytes)).first->second;
}

std::size_t StreamSource::read(std::uint64_t position, std::uint8_t* destination, std::size_t n) const
{
    std::size_t done = 0;
    std::size_t present = 0;
    while (done < n && position + done < size_) {
        const std::uint64_t at = position + done;
        const std::vector<std::uint8_t>& bytes = page(at / PageSize);
        const std::size_t within = static_cast<std::size_t>(at % PageSize);
        if (within >= bytes.size()) {
            break; // the file shrank under us: the rest reads as zeros
        }
        const std::size_t take = std::min(n - done, bytes.size() - within);
        std::memcpy(destination + done, bytes.data() + within, take);
        done += take;
        present += take;
    }
    std::memset(destination + done, 0, n - done);
    return present;
}

TIFFReader::TIFFReader(std::shared_ptr<const ByteSource> source, std::uint64_t base, bool bigEndian,
                       std::uint32_t firstIFDOffset)
    : source_(std::move(source)),
      base_(base),
      size_(source_->size() > base ? source_->size() - base : 0),
      bigEndian_(bigEndian),
      firstIFDOffset_(firstIFDOffset)
{
}

std::shared_ptr<TIFFReader> TIFFReader::open(std::shared_ptr<const ByteSource> source, std::uint64_t base)
{
    const ImageMetadata::TIFFHeader header(*source, base);
    return std::make_shared<TIFFReader>(std::move(source), base, header.bigEndian(), header.firstIFDOffset());
}

void TIFFReader::read(std::uint64_t offset, std::uint8_t* destination, std::size_t n) const
{
    if (n == 0) {
        return; // an empty value: `destination` may be no buffer at all
    }
    if (offset >= size_) {
        std::memset(destination, 0, n);
        return;
    }
    source_->read(base_ + offset, destination, n);
}

const std::uint8_t* TIFFReader::view(std::uint64_t offset, std::size_t n) const
{
    if (offset > size_ || n > size_ - offset) {
        return nullptr;
    }
    return source_->view(base_ + offset, n);
}

std::uint16_t TIFFReader::read16(std::uint64_t offset) const
{
    std::uint8_t b[2];
    read(offset, b, sizeof b);
    return decode16(b, bigEndian_);
}

std::uint32_t TIFFReader::read32(std::uint64_t offset) const
{
    std::uint8_t b[4];
    read(offset, b, sizeof b);
    return decode32(b, bigEndian_);
}

bool TIFFReader::enterDirectory(std::uint32_t offset)
{
    if (directoryRead(offset)) {
        return false;
    }
    directories_.push_back(offset);
    return true;
}

bool TIFFReader::directoryRead(std::uint32_t offset) const
{
    return offset != 0 && std::find(directories_.begin(), directories_.end(), offset) != directories_.end();
}

const char* TIFFReader::chargeValueBytes(std::uint64_t bytes)
{
    if (bytes > size_) {
        return "Field value larger than the file";
    }
    // Four times the data, plus slack for tiny structures whose inline values are not charged.
    if (charged_ + bytes > 4 * size_ + 65536) {
        return "Field values larger than the file could hold";
    }
    charged_ += bytes;
    return nullptr;
}

void TIFFReader::warn(std::string text, std::uint32_t directory, std::int32_t tag)
{
    // A hostile structure could repeat one fault without end: what is known is kept, the rest
    // adds nothing.
    if (warnings_.size() < MaxWarnings) {
        warnings_.push_back(ReadWarning{std::move(text), directory, tag});
    }
}

void TIFFReader::dropWarnings(std::size_t count)
{
    if (count < warnings_.size()) {
        warnings_.resize(count);
    }
}

} // namespace Metadata
