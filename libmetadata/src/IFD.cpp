#include "Metadata/IFD.h"

#include "Metadata/Exceptions.h"
#include "Metadata/TIFFReader.h"

#include <algorithm>
#include <cstdio>
#include <ostream>

namespace Metadata {

IFD::IFD(std::shared_ptr<TIFFReader> reader, std::uint32_t id, std::uint32_t offset)
    : reader_(std::move(reader)), id_(id), offset_(offset)
{
    if (offset_ == 0) {
        return;
    }
    if (!reader_->enterDirectory(offset_)) {
        METADATA_THROW(FileFormatException, "IFD read twice (directories form a loop)");
    }
    const std::uint16_t count = reader_->read16(offset_);
    if (count > MaxEntries) {
        METADATA_THROW(Exception, "Invalid IFD");
    }
    // Entries and the next-directory offset must stay addressable by 32-bit offsets.
    const std::uint64_t end = std::uint64_t{offset_} + 2 + 12 * std::uint64_t{count} + 4;
    if (end > 0xFFFFFFFFu) {
        METADATA_THROW(Exception, "Invalid IFD");
    }
    fields_.reserve(count);
    for (std::uint32_t i = 0; i < count; ++i) {
        fields_.emplace_back(*reader_, id_, std::uint64_t{offset_} + 2 + 12 * std::uint64_t{i});
    }
    buildIndex();
    nextOffset_ = reader_->read32(end - 4);
}

void IFD::buildIndex()
{
    index_.clear();
    index_.reserve(fields_.size());
    for (std::uint32_t i = 0; i < fields_.size(); ++i) {
        index_.emplace_back(fields_[i].tag(), i);
    }
    // Sorting by (tag, position) puts a repeated tag's later entry last among its equals.
    std::sort(index_.begin(), index_.end());
    auto last = std::unique(index_.rbegin(), index_.rend(),
                            [](const auto& a, const auto& b) { return a.first == b.first; });
    index_.erase(index_.begin(), last.base());
}

const Field& IFD::at(std::size_t index) const
{
    if (index >= fields_.size()) {
        METADATA_THROW(LogicError, "IFD Array Bounds Violated");
    }
    return fields_[index];
}

const Field* IFD::find(std::uint16_t tag) const
{
    auto found = std::lower_bound(index_.begin(), index_.end(), std::make_pair(tag, std::uint32_t{0}));
    if (found == index_.end() || found->first != tag) {
        return nullptr;
    }
    return &fields_[found->second];
}

std::shared_ptr<IFD> IFD::subIFD(std::uint16_t tag)
{
    auto cached = subDirectories_.find(tag);
    if (cached != subDirectories_.end()) {
        return cached->second;
    }
    const Field* pointer = find(tag);
    if (pointer == nullptr) {
        return nullptr;
    }
    // The EXIF and interoperability pointers hold the directory's offset. A maker note holds the
    // directory itself, as the makers that use a plain IFD write it: reading an offset out of its
    // first bytes would only ever find garbage.
    const std::uint32_t offset =
        tag == DirectoryId::MakerNote ? pointer->valueOffset() : reader_->read32(pointer->valueOffset());
    std::shared_ptr<IFD> directory;
    if (!reader_->directoryRead(offset)) {
        directory = std::make_shared<IFD>(reader_, tag, offset);
    }
    subDirectories_.emplace(tag, directory);
    return directory;
}

bool IFD::addField(Field field)
{
    if (find(field.tag()) != nullptr) {
        return false;
    }
    fields_.push_back(std::move(field));
    buildIndex();
    return true;
}

std::string IFD::nameFor(std::uint32_t id)
{
    switch (id) {
    case DirectoryId::Primary:
        return "Primary Image";
    case DirectoryId::Thumbnail:
        return "Thumbnail Image";
    case DirectoryId::Exif:
        return "EXIF";
    case DirectoryId::Interoperability:
        return "Interoperability";
    case DirectoryId::MakerNote:
        return "MakerNote";
    default: {
        char text[16];
        std::snprintf(text, sizeof text, "IFD: %x", static_cast<unsigned>(id));
        return text;
    }
    }
}

void IFD::dump(std::ostream& out) const
{
    const char* header = nullptr;
    switch (id_) {
    case DirectoryId::Primary:
        header = "----------- IFD0 -----------";
        break;
    case DirectoryId::Thumbnail:
        header = "----------- IFD1 -----------";
        break;
    case DirectoryId::Exif:
        header = "----------- EXIF IFD -----------";
        break;
    case DirectoryId::Interoperability:
        header = "----------- INTEROPERABILITY IFD -----------";
        break;
    case DirectoryId::MakerNote:
        // The two blanks are part of the header as it has always been written.
        header = "-----------  MAKERNOTE IFD -----------";
        break;
    default:
        break;
    }
    if (header != nullptr) {
        out << '\n' << header << "\n\n";
    }
    for (const Field& field : fields_) {
        field.dump(out);
    }
}

} // namespace Metadata
