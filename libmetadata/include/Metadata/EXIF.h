// The EXIF directory tree of one TIFF structure: IFD0, its EXIF sub-directory with the
// interoperability and maker-note directories below it, its GPS sub-directory, and IFD1 (EXIF 2.3
// section 4.6).
#pragma once

#include "Metadata/IFD.h"
#include "Metadata/ReadWarning.h"
#include "Metadata/TagTable.h"

#include <cstdint>
#include <iosfwd>
#include <memory>
#include <string>
#include <vector>

namespace Metadata {

class ByteSource;
class TIFFReader;

class EXIF {
public:
    // An empty tree: no directories.
    EXIF() = default;
    // Reads every directory of the tree from the structure `reader` describes. Broken entries
    // and directories cost themselves, not the tree (see warnings()). A maker's note is read
    // in the maker's own layout when the library knows it, as a plain directory when it reads as
    // one, and left out otherwise: never a fault of the file.
    explicit EXIF(std::shared_ptr<TIFFReader> reader);

    // Reads the TIFF header at `base` of `source`, then the tree.
    static EXIF read(std::shared_ptr<const ByteSource> source, std::uint64_t base = 0);

    bool empty() const noexcept { return directories().empty(); }

    // What could not be read while the rest of the tree was, in the order it was met.
    const std::vector<ReadWarning>& warnings() const noexcept;

    // The directory with this id (DirectoryId), or null when the file has none.
    const IFD* directory(std::uint32_t id) const noexcept;
    // The present directories in the order IFD0, EXIF, interoperability, GPS, IFD1, maker note
    // and the maker's other directories.
    std::vector<const IFD*> directories() const;

    // The maker's group name ("Canon", "Nikon", "Olympus"), or empty when the note's maker is
    // not known (or there is no note).
    const std::string& makerNoteGroup() const noexcept { return makerGroup_; }
    // The group of one of the maker's directories: the note's, or one of its own
    // ("CanonCustom" for a Canon's custom functions).
    std::string makerNoteGroup(std::uint32_t directoryId) const;
    // The maker's directories other than the note's main one, in the order the dump shows them.
    std::vector<const IFD*> makerNoteDirectories() const;
    // What a field of the maker's note means when the maker stores it in a code of its own (a
    // Canon aperture as its F number, a Pentax date kept as four bytes, a flag in some bits of
    // a byte, a preview's place in the file); false for every other field.
    bool makerValue(const Field& field, MakerValue& value) const;

    // The JPEG thumbnail IFD1 points to (JPEGInterchangeFormat and its length); false when there
    // is none, or its place or length lies outside the data, or it is no JPEG.
    bool thumbnailJpeg(std::vector<std::uint8_t>& jpeg) const;

    // The field `tag` of directory `id`, or null.
    const Field* find(std::uint32_t id, std::uint16_t tag) const noexcept;

    // Typed values by (directory, tag): false when the directory, the field or the value at
    // `index` is missing; LogicError "wrong field type" when the field holds another type.
    bool getUInt32(std::uint32_t id, std::uint16_t tag, std::uint32_t& value, std::size_t index = 0) const;
    bool getInt32(std::uint32_t id, std::uint16_t tag, std::int32_t& value, std::size_t index = 0) const;
    bool getURational(std::uint32_t id, std::uint16_t tag, URational& value, std::size_t index = 0) const;
    bool getSRational(std::uint32_t id, std::uint16_t tag, SRational& value, std::size_t index = 0) const;
    bool getText(std::uint32_t id, std::uint16_t tag, std::string& value) const;
    bool getBytes(std::uint32_t id, std::uint16_t tag, std::vector<std::uint8_t>& value) const;

    // The GPS position in signed decimal degrees (south and west below zero); false when the
    // tree has no readable latitude and longitude.
    bool gpsPosition(double& latitude, double& longitude) const noexcept;

    // The values of a FLOAT or DOUBLE field of this tree (IEEE 754 single or double precision).
    // Fields keep no such values; they are read from the tree's bytes on request. Empty for
    // fields of other types, or when the values lie past the end of the data.
    std::vector<double> realValues(const Field& field) const;

    // How this tree's fields are shown: resolutions name the unit of IFD0's ResolutionUnit
    // (inches when it has none, the TIFF default), no line ends, the table of each directory.
    const DisplayContext& displayContext() const noexcept { return display_; }

    // The dump of IFD0, EXIF, interoperability, GPS, IFD1, the maker's note and its other
    // directories, each with its header, one line per field.
    void dump(std::ostream& out) const;

private:
    std::shared_ptr<TIFFReader> reader_;
    std::shared_ptr<IFD> primary_;
    std::shared_ptr<IFD> exif_;
    std::shared_ptr<IFD> interoperability_;
    std::shared_ptr<IFD> gps_;
    std::shared_ptr<IFD> thumbnail_;
    std::shared_ptr<IFD> makerNote_;
    std::vector<std::shared_ptr<IFD>> makerDirectories_;
    std::shared_ptr<TIFFReader> makerReader_; // what the note's offsets count from
    std::string makerGroup_;
    std::vector<std::pair<std::uint32_t, const char*>> makerGroups_;
    DisplayContext display_;
};

} // namespace Metadata
