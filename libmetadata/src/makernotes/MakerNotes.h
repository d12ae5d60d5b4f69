// Makers' notes: which maker wrote a note (its first bytes and the camera's Make), where its
// directory lies and what its offsets count from, the table of each of its directories, and the
// arrays and sub-directories its entries hold. One file per maker describes its notes as data.
#pragma once

#include "Metadata/EXIF.h"
#include "Metadata/Field.h"
#include "Metadata/IFD.h"
#include "Metadata/TagTable.h"
#include "Metadata/TIFFReader.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace Metadata::MakerNotes {

// What a note's offsets count from.
enum class Base : std::uint8_t {
    Tiff,       // the TIFF header of the EXIF block, as in the camera's other directories
    Note,       // the first byte of the note
    OwnHeader,  // a TIFF header of the note's own, at `directoryAt`
    Binary,     // no directory: the note from `directoryAt` on is an array the table describes
                // (a row's tag is its place in bytes)
};

// The note's byte order.
enum class Order : std::uint8_t {
    Parent,  // that of the EXIF block, or the other one when the directory only reads so
    Little,
    Big,
    Marked,  // "II" or "MM" at `orderAt`; the parent's when neither
};

class Builder;

// A value the maker stores in a code of its own: as the number it means (an aperture as an F
// number, a distance in metres), as a text (a date kept as four bytes), or as a place in the
// file (a preview's offset, counted from the note's base). Ended by a rule of directory 0.
struct Conversion {
    std::uint32_t directory;  // DirectoryId::MakerNote, or subDirectoryId(tag)
    std::uint16_t tag;
    bool (*convert)(const Field& field, double& value) = nullptr;  // false: the value cannot be read so
    bool (*text)(const Field& field, std::string& value) = nullptr;
    bool offset = false;
    double (*ofBits)(double bits) = nullptr;  // what the bits a row names (or its one number) mean
    // A value that needs the note's other fields (a count enciphered with the date).
    bool (*withContext)(const Field& field, const DisplayContext& context, double& value) = nullptr;
};

constexpr Conversion asText(std::uint32_t directory, std::uint16_t tag, bool (*text)(const Field&, std::string&))
{
    return Conversion{directory, tag, nullptr, text, false};
}

constexpr Conversion ofBits(std::uint32_t directory, std::uint16_t tag, double (*convert)(double))
{
    return Conversion{directory, tag, nullptr, nullptr, false, convert, nullptr};
}

constexpr Conversion withContext(std::uint32_t directory, std::uint16_t tag,
                                 bool (*convert)(const Field&, const DisplayContext&, double&))
{
    return Conversion{directory, tag, nullptr, nullptr, false, nullptr, convert};
}

constexpr Conversion asOffset(std::uint32_t directory, std::uint16_t tag)
{
    return Conversion{directory, tag, nullptr, nullptr, true};
}

inline double asStored(double v)
{
    return v;
}

// The first of a field's numbers, where the maker writes a pair that means one value.
template <double (*Convert)(double) = asStored> bool first(const Field& field, double& value)
{
    std::uint32_t u = 0;
    if (field.damaged() || field.count() == 0 || !field.getUInt32(u)) {
        return false;
    }
    value = Convert(u);
    return true;
}

// A field's one number, signed where its type is; false when it holds not exactly one.
bool oneNumber(const Field& field, double& value);

// A field's unsigned numbers (of BYTE, SHORT or LONG, or the bytes of UNDEFINED); false when
// it holds fewer than `least`.
bool numbers(const Field& field, std::vector<std::uint32_t>& values, std::size_t least);
// `v` in at least `width` decimal digits, zeros in front.
std::string zeroPadded(std::uint32_t v, int width);
// A big-endian unsigned number of up to eight bytes of an UNDEFINED field (a counter kept in
// more bits than a LONG has).
bool bigEndianNumber(const Field& field, double& value);

// A conversion of a field's one number.
template <double (*Convert)(double)> bool single(const Field& field, double& value)
{
    double v = 0;
    if (!oneNumber(field, v)) {
        return false;
    }
    value = Convert(v);
    return true;
}

// One form of a maker's notes.
struct Form {
    const char* group;                 // the maker's group name, as exiftool names it ("Canon")
    const char* signature;             // the note's first bytes; null: any
    std::size_t signatureSize;
    const char* make;                  // the start of the camera's Make, any letter case; null: any
    std::uint32_t directoryAt;         // where in the note the directory (or own header) starts
    bool directoryAtIsPointer;         // the 32-bit value at `directoryAt` gives the directory's place
    Base base;
    Order order;
    std::uint32_t orderAt;
    const TagRow* table;               // the main directory's table
    void (*subDirectories)(Builder&);  // the arrays and directories it holds; null: none
    const Conversion* conversions;     // null: every value means what it says
};

// A form's conversions by directory and tag, made once per form and shared by every tree.
class ConversionIndex {
public:
    explicit ConversionIndex(const Conversion* conversions);
    static const ConversionIndex* of(const Form& form);
    // The first conversion of this field's directory and tag; null when none.
    const Conversion* find(std::uint32_t directory, std::uint16_t tag) const noexcept;

private:
    std::vector<const Conversion*> sorted_;
};

// What a maker's field means, when its form converts it (or its row names some of its bits);
// false otherwise. An offset comes back counted from the note's base.
bool convertedValue(const ConversionIndex& conversions, const DisplayContext& context, const Field& field,
                    MakerValue& value);

// The field types, for the makers' tables.
constexpr std::uint16_t Byte = 1, Ascii = 2, Short = 3, Long = 4, Rational = 5, SByte = 6, Undefined = 7, SShort = 8,
                        SLong = 9, SRational = 10, Float = 11, Double = 12;

// Added to a type in an array's table: the value is stored in the other byte order than the
// note's (some makers mix both in one array).
constexpr std::uint16_t Reversed = 0x8000;

// A row of a maker's table. Makers' tags are known by their names alone.
constexpr TagRow row(std::uint16_t tag, std::uint16_t type, const char* name, Formatter formatter,
                     std::uint32_t count = 1)
{
    return TagRow{(std::uint32_t{type} << 16) | tag, 0, name, name, count, formatter};
}

// The tag of the row bits(place, part, ...), for its conversion.
constexpr std::uint16_t bitsTag(std::uint16_t place, std::uint16_t part) noexcept
{
    return static_cast<std::uint16_t>(part << 12 | place);
}

// A row of an array that names some bits of the number at `place` (below 4096): `part` (1 to 15)
// tells it from the other rows of the same place, `mask` says which bits. The value is those
// bits shifted down.
constexpr TagRow bits(std::uint16_t place, std::uint16_t part, std::uint16_t type, const char* name,
                      std::uint32_t mask)
{
    return TagRow{(std::uint32_t{type} << 16) | bitsTag(place, part), mask, name, name, 1,
                  Formatters::masked};
}

// A row of an array read at `place` (below 4096) under a tag of its own: `part` (1 to 15) keeps
// it apart from the other rows of the same place, where the maker reads the same byte two ways
// (a flash's output in its manual modes, its compensation otherwise) or where several layouts of
// one array put different values there, so that each keeps its own conversions. It names all
// the bits of its value.
constexpr TagRow at(std::uint16_t place, std::uint16_t part, std::uint16_t type, const char* name, Formatter formatter,
                    std::uint32_t count = 1)
{
    return TagRow{(std::uint32_t{type} << 16) | bitsTag(place, part), 0xFFFFFFFFu, name, name,
                  count, formatter};
}

// Where in its array a row's value lies, in the array's units.
constexpr std::uint16_t placeOf(const TagRow& row) noexcept
{
    return row.reserved != 0 ? static_cast<std::uint16_t>(row.tag() & 0x0FFF) : row.tag();
}

constexpr TagRow End{0, 0, nullptr, nullptr, 0, nullptr};

// Ids of a maker's directories: the main one is DirectoryId::MakerNote, the others carry the tag
// that holds them above 0xFFFF, clear of every standard id.
constexpr std::uint32_t subDirectoryId(std::uint16_t tag) noexcept
{
    return 0x10000u | tag;
}

// A note as read: its directories in the order the dump shows them, and each one's table.
struct Reading {
    const Form* form = nullptr;
    std::shared_ptr<TIFFReader> reader;     // what the note's offsets count from
    std::shared_ptr<IFD> main;
    std::vector<std::shared_ptr<IFD>> subDirectories;
    std::vector<std::pair<std::uint32_t, const TagRow*>> tables;
    std::vector<std::pair<std::uint32_t, const char*>> groups;  // directories of a group of their own
};

// Makes a note's sub-directories.
class Builder {
public:
    Builder(Reading& reading, std::string make, std::string model) noexcept
        : reading_(reading), make_(std::move(make)), model_(std::move(model))
    {
    }

    const IFD& main() const noexcept { return *reading_.main; }
    const std::string& make() const noexcept { return make_; }
    const std::string& model() const noexcept { return model_; }

    // The values of array entry `tag` as a directory of their own, one field per row of `table`
    // that the array holds: a row's tag is its place in the array in `unit`-byte steps, its type
    // (with Reversed: in the other byte order) and count say what it reads there.
    // `order`: the array's own byte order when the maker fixed one, whatever the note's.
    void array(std::uint16_t tag, const char* name, const TagRow* table, std::uint32_t unit,
               Order order = Order::Parent);
    // Whether the maker shows a row of an array, by the array's other bytes: some rows name a
    // value only in some modes, or only when it is not zero.
    using Applies = bool (*)(const TagRow& row, const std::uint8_t* bytes, std::size_t size);
    // The same, of the bytes the maker's code made of entry `tag`'s value (deciphered): the
    // directory keeps them.
    void array(std::uint16_t tag, const char* name, const TagRow* table, std::uint32_t unit,
               std::vector<std::uint8_t> bytes, Order order = Order::Parent, Applies applies = nullptr);
    // The directory entry `tag` points to (its offset counts from the note's base), or holds
    // (an entry of type UNDEFINED: the directory is its value).
    void directory(std::uint16_t tag, const char* name, const TagRow* table);

    // A directory inside entry `tag`'s value: after `signature` (null: none) and `skip` bytes,
    // in the byte order `order`, its offsets counting from the value's start when `ownBase`,
    // from the note's base otherwise.
    void embedded(std::uint16_t tag, const char* name, const TagRow* table, const char* signature,
                  std::uint32_t skip, Order order, bool ownBase);
    // A directory the maker's code made of `fields` (read with reader()), shown with `table`.
    void add(std::shared_ptr<IFD> directory, const TagRow* table);
    // Directory `id` belongs to a group of its own ("CanonCustom"), not the note's.
    void setGroup(std::uint32_t id, const char* group) { reading_.groups.emplace_back(id, group); }
    const std::shared_ptr<TIFFReader>& reader() const noexcept { return reading_.reader; }

private:
    // The rows of `table` that the `bytes` bytes at `offset` of `reader` hold.
    void readArray(std::uint32_t id, const char* name, const TagRow* table, std::uint32_t unit, Order order,
                   const std::shared_ptr<TIFFReader>& reader, std::uint32_t offset, std::uint64_t bytes,
                   Applies applies);

    Reading& reading_;
    std::string make_;
    std::string model_;
};

// Reads the note `note` of the tree `tree` reads: the first form whose signature and make match,
// else a plain directory when the note reads as one. Nothing when neither: a note is the maker's
// own, never damage.
Reading read(const std::shared_ptr<TIFFReader>& tree, const Field& note, const std::string& make,
             const std::string& model);

// Each maker's forms, in the order they are tried.
const std::vector<Form>& canonForms();
const std::vector<Form>& nikonForms();
const std::vector<Form>& olympusForms();
const std::vector<Form>& fujifilmForms();
const std::vector<Form>& pentaxForms();
const std::vector<Form>& panasonicForms();
const std::vector<Form>& sonyForms();
const std::vector<Form>& casioForms();
const std::vector<Form>& minoltaForms();
const std::vector<Form>& ricohForms();
const std::vector<Form>& sanyoForms();
const std::vector<Form>& sigmaForms();
const std::vector<Form>& appleForms();
const std::vector<Form>& kodakForms();

} // namespace Metadata::MakerNotes
