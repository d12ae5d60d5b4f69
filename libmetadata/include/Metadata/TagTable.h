// The tag tables of the standard EXIF directories and the formatters that turn a field's value
// into its display line "Name: value".
#pragma once

#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <string>

namespace Metadata {

class Field;

// Writes the display line of `field` under `label`; false, with nothing written, when the value
// cannot be read as the formatter needs it. Formatters never throw.
using Formatter = bool (*)(std::ostream& out, const char* label, const Field& field);

// One known tag. A table is an array of rows ended by a row whose name is null.
struct TagRow {
    std::uint32_t key;         // field type in the high 16 bits, tag in the low 16 bits
    std::uint32_t reserved;    // always 0
    const char* description;   // "Image width"
    const char* name;          // "ImageWidth", the label of the display line
    std::uint32_t count;       // expected number of values, or AnyCount / CountPerStrip
    Formatter formatter;       // null: the tag is never displayed

    constexpr std::uint16_t tag() const noexcept { return static_cast<std::uint16_t>(key & 0xFFFF); }
    constexpr std::uint16_t type() const noexcept { return static_cast<std::uint16_t>(key >> 16); }
};

constexpr std::uint32_t AnyCount = 65;      // 'A'
constexpr std::uint32_t CountPerStrip = 83; // 'S'

// Table A (IFD0 and IFD1, 30 rows) and Table B (EXIF and interoperability, 44 rows), each ended
// by its null row.
const TagRow* primaryTagTable() noexcept;
const TagRow* exifTagTable() noexcept;
constexpr std::size_t PrimaryTagCount = 30;
constexpr std::size_t ExifTagCount = 44;

// Both tables as one list: indexes below 30 are Table A, the rest Table B.
constexpr std::size_t GlobalTagCount = PrimaryTagCount + ExifTagCount;
// Throws LogicError for an index of GlobalTagCount or more.
const TagRow& globalTagRow(std::size_t index);

// The table for a directory id: Table A for 1 and 2, Table B for 34665 and 40965, otherwise the
// maker-note table registered for that id; null when there is none.
const TagRow* tagTableFor(std::uint32_t directoryId) noexcept;
// The first row with this tag (and, when `needFormatter`, a formatter); null when none.
const TagRow* findTagRow(const TagRow* table, std::uint16_t tag, bool needFormatter) noexcept;

// Maker-note tables, keyed by the directory id (the maker-note directory is keyed by 37500).
// A table must stay alive while registered; registering null removes it.
void registerMakerNoteTable(std::uint32_t directoryId, const TagRow* table);

// Whether display lines end with a line end. Library-wide; starts off.
void setLineEnds(bool on) noexcept;
bool lineEnds() noexcept;

// The unit that resolution lines name: "inch" for 2, "centimeter" for 3, "?" otherwise.
// Library-wide; starts as "?". Unit lines set it, and so does the tree before a dump.
void setResolutionUnit(std::uint32_t unit) noexcept;
const char* resolutionUnitText() noexcept;

// Rounds to `decimals` places by adding (or, below zero, subtracting) half a unit of the last
// place and flooring. Below zero this lands one step further down than rounding half away from
// zero (-1.22 to one place gives -1.3); displays have always shown it so.
double roundTo(double value, int decimals) noexcept;

// The formatters, for maker-note tables built elsewhere.
namespace Formatters {
bool silent(std::ostream&, const char*, const Field&);
bool text(std::ostream&, const char*, const Field&);
bool number(std::ostream&, const char*, const Field&);
bool pixels(std::ostream&, const char*, const Field&);
bool list(std::ostream&, const char*, const Field&);
bool firstNumber(std::ostream&, const char*, const Field&);
bool version(std::ostream&, const char*, const Field&);
bool components(std::ostream&, const char*, const Field&);
bool ellipsis(std::ostream&, const char*, const Field&);
bool unit(std::ostream&, const char*, const Field&);
bool resolution(std::ostream&, const char*, const Field&);
bool fraction(std::ostream&, const char*, const Field&);
bool ratio(std::ostream&, const char*, const Field&);
bool exposureTime(std::ostream&, const char*, const Field&);
bool shutter(std::ostream&, const char*, const Field&);
bool aperture(std::ostream&, const char*, const Field&);
bool ev(std::ostream&, const char*, const Field&);
bool distance(std::ostream&, const char*, const Field&);
bool focalLength(std::ostream&, const char*, const Field&);
bool fileSource(std::ostream&, const char*, const Field&);
bool compression(std::ostream&, const char*, const Field&);
bool photometric(std::ostream&, const char*, const Field&);
bool orientation(std::ostream&, const char*, const Field&);
bool planar(std::ostream&, const char*, const Field&);
bool positioning(std::ostream&, const char*, const Field&);
bool colorSpace(std::ostream&, const char*, const Field&);
bool exposureProgram(std::ostream&, const char*, const Field&);
bool meteringMode(std::ostream&, const char*, const Field&);
bool lightSource(std::ostream&, const char*, const Field&);
bool flash(std::ostream&, const char*, const Field&);
bool sensingMethod(std::ostream&, const char*, const Field&);
} // namespace Formatters

} // namespace Metadata
