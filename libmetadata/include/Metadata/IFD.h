// One TIFF image file directory: its entries in file order, a tag index, and the directories its
// pointer tags lead to.
#pragma once

#include "Metadata/Field.h"

#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace Metadata {

class TIFFReader;

// Directory ids: IFD0 and IFD1 are numbered, sub-directories carry the tag that points to them.
namespace DirectoryId {
constexpr std::uint32_t Primary = 1;          // IFD0
constexpr std::uint32_t Thumbnail = 2;        // IFD1
constexpr std::uint32_t Exif = 34665;         // EXIF sub-directory
constexpr std::uint32_t Interoperability = 40965;
constexpr std::uint32_t MakerNote = 37500;
constexpr std::uint32_t Gps = 34853;          // GPS sub-directory of IFD0
} // namespace DirectoryId

class IFD {
public:
    // More entries than this are refused: no real directory comes near it, and it bounds what a
    // hostile one can make us read.
    static constexpr std::uint16_t MaxEntries = 100;

    // Reads the directory at `offset` (relative to the TIFF base); offset 0 is an empty directory.
    // A fault of the directory stops it alone, told to the reader's warnings: "Invalid IFD" for
    // more than 100 entries or entries beyond what 32-bit offsets reach, a directory read once
    // already (a loop) or past the end of the data (empty), one cut short by the end of the data
    // (its whole entries kept). Broken entries cost themselves (see Field).
    IFD(std::shared_ptr<TIFFReader> reader, std::uint32_t id, std::uint32_t offset);
    // A directory of fields made elsewhere (the values of a maker's array, one field each),
    // under its own name.
    IFD(std::shared_ptr<TIFFReader> reader, std::uint32_t id, std::vector<Field> fields, std::string name);

    std::uint32_t id() const noexcept { return id_; }
    std::uint32_t offset() const noexcept { return offset_; }
    std::uint32_t nextOffset() const noexcept { return nextOffset_; }
    std::size_t size() const noexcept { return fields_.size(); }
    bool empty() const noexcept { return fields_.empty(); }

    const std::vector<Field>& fields() const noexcept { return fields_; }
    std::vector<Field>::const_iterator begin() const noexcept { return fields_.begin(); }
    std::vector<Field>::const_iterator end() const noexcept { return fields_.end(); }
    // Throws LogicError "IFD Array Bounds Violated" past the last entry.
    const Field& at(std::size_t index) const;

    // The field with this tag; when a tag occurs twice the later entry is found.
    const Field* find(std::uint16_t tag) const;

    // The directory a pointer tag leads to (EXIF 34665, interoperability 40965, GPS 34853,
    // maker note 37500), read on the first request and kept. Null when there is no such field, when it has
    // no value, or when the directory it names was read already (a loop).
    std::shared_ptr<IFD> subIFD(std::uint16_t tag);

    // Appends `field` when no field with its tag is present; an existing field is never replaced.
    bool addField(Field field);

    // "Primary Image", "Thumbnail Image", "EXIF", "Interoperability", "MakerNote", "GPS", the
    // name it was given (a maker's directories: "Canon CameraSettings"), or "IFD: " and the id
    // in lower-case hex.
    std::string name() const { return name_.empty() ? nameFor(id_) : name_; }
    void setName(std::string name) { name_ = std::move(name); }
    static std::string nameFor(std::uint32_t id);

    // The header line of the directory's kind, then every field's display line in entry order,
    // as the context shows them.
    void dump(std::ostream& out, const DisplayContext& context = DisplayContext::standard()) const;

private:
    void buildIndex();

    std::shared_ptr<TIFFReader> reader_;
    std::uint32_t id_;
    std::uint32_t offset_;
    std::uint32_t nextOffset_ = 0;
    std::vector<Field> fields_;
    std::vector<std::pair<std::uint16_t, std::uint32_t>> index_; // tag -> position, sorted by tag
    std::map<std::uint16_t, std::shared_ptr<IFD>> subDirectories_;
    std::string name_;
};

} // namespace Metadata
