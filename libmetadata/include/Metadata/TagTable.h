// The tag tables of the standard EXIF directories and the formatters that turn a field's value
// into its display line "Name: value".
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace Metadata {

class Field;
class IFD;

class DisplayContext;

// The value text a formatter builds. It appends to a string: a stream per value would cost more
// than the value. Numbers are written as a standard stream writes them (doubles as "%g").
class ValueText {
public:
    explicit ValueText(std::string& text) noexcept : text_(text) {}
    ValueText& operator<<(const char* s) { text_ += s; return *this; }
    ValueText& operator<<(const std::string& s) { text_ += s; return *this; }
    ValueText& operator<<(char c) { text_ += c; return *this; }
    ValueText& operator<<(double v);
    ValueText& operator<<(std::uint32_t v) { return appendUnsigned(v); }
    ValueText& operator<<(std::uint16_t v) { return appendUnsigned(v); }
    ValueText& operator<<(std::uint64_t v) { return appendUnsigned(v); }
    ValueText& operator<<(std::int32_t v) { return appendSigned(v); }
    ValueText& operator<<(std::int64_t v) { return appendSigned(v); }

private:
    ValueText& appendUnsigned(std::uint64_t v);
    ValueText& appendSigned(std::int64_t v);
    std::string& text_;
};

// Writes the value text of `field` (no label, no line end) as the context shows it; false, with
// nothing written, when the value cannot be read as the formatter needs it. Formatters never
// throw, and depend on nothing but their arguments.
using Formatter = bool (*)(ValueText& out, const Field& field, const DisplayContext& context);

// One known tag. A table is an array of rows ended by a row whose name is null.
struct TagRow {
    std::uint32_t key;         // field type in the high 16 bits, tag in the low 16 bits
    std::uint32_t reserved;    // 0; in a maker's array, the bits of the number that the row names
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

// The table of a standard directory: Table A for 1 and 2, Table B for 34665 and 40965; null for
// any other id (maker notes get theirs from the tree's display context).
const TagRow* standardTagTable(std::uint32_t directoryId) noexcept;
// The first row with this tag (and, when `needFormatter`, a formatter); null when none.
const TagRow* findTagRow(const TagRow* table, std::uint16_t tag, bool needFormatter) noexcept;
// The row of `field` in the table the context has for its directory. A maker's tag that holds
// a number on some cameras and a record on others has a row for each type; the one of the
// field's type is taken.
const TagRow* findTagRow(const DisplayContext& context, const Field& field, bool needFormatter) noexcept;

// How the fields of one EXIF tree are shown: the unit its resolutions name, whether display
// lines end with a line end, and the table of each of its directories. A tree makes its own when
// it is read, so two files shown at once never see each other's unit or maker-note tables.
namespace MakerNotes {
struct Form;
class ConversionIndex;
}

// The rows of a table by tag (tables of makers hold hundreds of rows).
class TagIndex;

// A maker's value as it means it.
struct MakerValue {
    enum class Kind { Number, Text, Offset } kind = Kind::Number;
    double number = 0;
    std::string text;
    std::uint64_t offset = 0;  // counted from the note's base
};

class DisplayContext {
public:
    // Resolution unit "?", no line ends, the standard tables only.
    DisplayContext() = default;
    static const DisplayContext& standard() noexcept;

    // 2 inch, 3 centimeter; anything else names no unit ("?").
    std::uint32_t resolutionUnit() const noexcept { return resolutionUnit_; }
    const char* resolutionUnitText() const noexcept { return unitText(resolutionUnit_); }
    void setResolutionUnit(std::uint32_t unit) noexcept { resolutionUnit_ = unit; }
    static const char* unitText(std::uint32_t unit) noexcept;

    bool lineEnds() const noexcept { return lineEnds_; }
    void setLineEnds(bool on) noexcept { lineEnds_ = on; }
    // A copy with line ends on or off.
    DisplayContext withLineEnds(bool on) const;

    // The table of a standard directory, or the one set for this id; null when there is none.
    const TagRow* table(std::uint32_t directoryId) const noexcept;
    // Sets the table of a non-standard directory (a maker note, GPS); null removes it. The
    // table must outlive the context (tables are static data).
    void setTable(std::uint32_t directoryId, const TagRow* table);

    // The row of a field of directory `directoryId` with this tag and type: the first with the
    // tag (and a formatter, when `needFormatter`), or, in a maker's directory, a later one of the
    // field's type when the first is of another (a tag that holds a number on some cameras and a
    // record on others). Null when there is none.
    const TagRow* row(std::uint32_t directoryId, std::uint16_t tag, std::uint16_t type, bool needFormatter) const noexcept;

    // The maker's form of the tree's note, whose codes the maker's fields are shown in.
    void setMakerForm(const MakerNotes::Form* form);
    // What a maker's field means when the maker stores it in a code of its own; false for
    // every other field.
    bool makerValue(const Field& field, MakerValue& value) const;

    // The directories of the tree, for values shown with the help of another field (a latitude
    // with its reference, a maker's value with the camera model).
    void addDirectory(std::shared_ptr<const IFD> directory);
    // The field `tag` of directory `directoryId`; null when the tree has none.
    const Field* field(std::uint32_t directoryId, std::uint16_t tag) const noexcept;

private:
    std::uint32_t resolutionUnit_ = 0;
    bool lineEnds_ = false;
    struct Table {
        std::uint32_t id;
        const TagRow* rows;
        const TagIndex* index;  // shared by every context, made once per table
    };
    std::vector<Table> tables_;
    std::vector<std::shared_ptr<const IFD>> directories_;
    const MakerNotes::Form* makerForm_ = nullptr;
    const MakerNotes::ConversionIndex* makerConversions_ = nullptr;
};

// The GPS directory (EXIF 2.3 section 4.6.6): every tag of the standard, 32 rows.
const TagRow* gpsTagTable() noexcept;
constexpr std::size_t GpsTagCount = 32;
// A GPS position field (degrees, minutes, seconds, any of them fractional) as unsigned decimal
// degrees; false when it has no degrees. Throws LogicError for a field of another type.
bool gpsDegrees(const Field& field, double& value);

// The bits `mask` names of a field's one number, shifted down; false when the field holds no
// one number or the mask is 0.
bool maskedValue(const Field& field, std::uint32_t mask, std::uint32_t& value);

// Rounds to `decimals` places by adding (or, below zero, subtracting) half a unit of the last
// place and flooring. Below zero this lands one step further down than rounding half away from
// zero (-1.22 to one place gives -1.3); displays have always shown it so.
double roundTo(double value, int decimals) noexcept;

// The formatters, for maker-note tables built elsewhere.
namespace Formatters {
#define METADATA_FORMATTER(name) bool name(ValueText&, const Field&, const DisplayContext&)
METADATA_FORMATTER(silent);
METADATA_FORMATTER(text);
METADATA_FORMATTER(number);
METADATA_FORMATTER(pixels);
METADATA_FORMATTER(list);
METADATA_FORMATTER(firstNumber);
METADATA_FORMATTER(version);
METADATA_FORMATTER(components);
METADATA_FORMATTER(ellipsis);
METADATA_FORMATTER(unit);
METADATA_FORMATTER(resolution);
METADATA_FORMATTER(fraction);
METADATA_FORMATTER(ratio);
METADATA_FORMATTER(exposureTime);
METADATA_FORMATTER(shutter);
METADATA_FORMATTER(aperture);
METADATA_FORMATTER(ev);
METADATA_FORMATTER(distance);
METADATA_FORMATTER(focalLength);
METADATA_FORMATTER(fileSource);
METADATA_FORMATTER(compression);
METADATA_FORMATTER(photometric);
METADATA_FORMATTER(orientation);
METADATA_FORMATTER(planar);
METADATA_FORMATTER(positioning);
METADATA_FORMATTER(colorSpace);
METADATA_FORMATTER(exposureProgram);
METADATA_FORMATTER(meteringMode);
METADATA_FORMATTER(lightSource);
METADATA_FORMATTER(flash);
METADATA_FORMATTER(sensingMethod);
// The values as they are: a text, numbers separated by blanks, rationals as decimals; a long
// list cut after 16 values with its count. Makers' tags without a text of their own use it.
METADATA_FORMATTER(values);
// Some bits of a number (a row of a maker's array with a mask), shifted down.
METADATA_FORMATTER(masked);
// Data no one reads as text: "(Binary data N bytes, use -b option to extract)".
METADATA_FORMATTER(binary);
#undef METADATA_FORMATTER
} // namespace Formatters

} // namespace Metadata
