#include "Metadata/IFD.h"

#include "Metadata/Exceptions.h"
#include "Metadata/TIFFReader.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <ostream>

namespace Metadata {

IFD::IFD(std::shared_ptr<TIFFReader> reader, std::uint32_t id, std::uint32_t offset)
    : reader_(std::move(reader)), id_(id), offset_(offset)
{
    // Every fault of the directory itself stops this directory alone: it stays empty (or keeps
    // the entries read so far) and the reader's warnings say why.
    if (offset_ == 0) {
        return;
    }
    if (!reader_->enterDirectory(offset_)) {
        reader_->warn("IFD read twice (directories form a loop)", id_);
        return;
    }
    if (offset_ > reader_->size() || reader_->size() - offset_ < 2) {
        reader_->warn("IFD past the end of the data", id_);
        return;
    }
    const std::uint16_t count = reader_->read16(offset_);
    if (count > MaxEntries) {
        reader_->warn("Invalid IFD", id_);
        return;
    }
    // Entries and the next-directory offset must stay addressable by 32-bit offsets.
    const std::uint64_t end = std::uint64_t{offset_} + 2 + 12 * std::uint64_t{count} + 4;
    if (end > 0xFFFFFFFFu) {
        reader_->warn("Invalid IFD", id_);
        return;
    }
    // A directory cut short by the end of the data keeps its whole entries.
    std::uint32_t whole = count;
    if (end - 4 > reader_->size()) {
        whole = static_cast<std::uint32_t>((reader_->size() - offset_ - 2) / 12);
        reader_->warn("IFD cut short by the end of the data", id_);
    }
    fields_.reserve(whole);
    for (std::uint32_t i = 0; i < whole; ++i) {
        fields_.emplace_back(*reader_, id_, std::uint64_t{offset_} + 2 + 12 * std::uint64_t{i});
    }
    buildIndex();
    if (whole == count) {
        nextOffset_ = reader_->read32(end - 4);
    }
}

IFD::IFD(std::shared_ptr<TIFFReader> reader, std::uint32_t id, std::vector<Field> fields, std::string name)
    : reader_(std::move(reader)), id_(id), offset_(0), fields_(std::move(fields)), name_(std::move(name))
{
    buildIndex();
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
    if (pointer == nullptr || (pointer->damaged() && pointer->type() != IFDType)) {
        return nullptr;
    }
    // The EXIF and interoperability pointers hold the directory's offset: a LONG (or the IFD
    // type, the same four bytes). A maker note holds the directory itself, as the makers that use
    // a plain IFD write it: reading an offset out of its first bytes would only ever find garbage.
    std::uint32_t offset = 0;
    if (tag == DirectoryId::MakerNote) {
        offset = pointer->valueOffset();
    } else if (pointer->type() == IFDType) {
        offset = reader_->read32(pointer->valueOffset());
    } else {
        try {
            if (!pointer->getUInt32(offset)) {
                return nullptr; // a pointer without a value points nowhere
            }
        } catch (const LogicError&) {
            reader_->warn("IFD pointer of the wrong type", id_, tag);
            return nullptr;
        }
    }
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
    case DirectoryId::Gps:
        return "GPS";
    default: {
        char text[16];
        std::snprintf(text, sizeof text, "IFD: %x", static_cast<unsigned>(id));
        return text;
    }
    }
}

void IFD::dump(std::ostream& out, const DisplayContext& context) const
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
    case DirectoryId::Gps:
        header = "----------- GPS IFD -----------";
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
    } else if (!name_.empty()) {
        // A maker's directory, in the style of the others: "----------- CANON CAMERASETTINGS IFD".
        std::string upper = name_;
        std::transform(upper.begin(), upper.end(), upper.begin(),
                       [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
        out << "\n----------- " << upper << " IFD -----------\n\n";
    }
    for (const Field& field : fields_) {
        field.dump(out, context);
    }
}

} // namespace Metadata
