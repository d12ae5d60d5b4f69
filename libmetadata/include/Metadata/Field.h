// One entry of a TIFF/EXIF image file directory (TIFF 6.0 section 2), with its values loaded
// into typed storage as soon as it is read.
#pragma once

#include "Metadata/TagTable.h"

#include <cstddef>
#include <cstdint>
#include <algorithm>
#include <iosfwd>
#include <memory>
#include <string>
#include <type_traits>
#include <variant>
#include <vector>

namespace Metadata {

class TIFFReader;
struct TagRow;

// The twelve TIFF field types (TIFF 6.0 section 2, "Types").
enum class FieldType : std::uint16_t {
    Byte = 1,
    Ascii = 2,
    Short = 3,
    Long = 4,
    Rational = 5,
    SByte = 6,
    Undefined = 7,
    SShort = 8,
    SLong = 9,
    SRational = 10,
    Float = 11,
    Double = 12,
};

// The type of a directory pointer (TIFF Technical Note 1): the same four bytes as a LONG. It is
// not one of the twelve, and fields of it hold no values; directories read such pointers.
constexpr std::uint16_t IFDType = 13;

// Bytes per value of a type code; 0 for codes outside the twelve.
std::uint32_t typeSize(std::uint16_t type) noexcept;
// "BYTE", "ASCII", ..., "rational_t", "srational_t", ...; "?" for codes outside the twelve.
const char* typeName(std::uint16_t type) noexcept;

// Rationals as loaded: reduced by their greatest common divisor, denominator positive. A signed
// component needs 64 bits because -2^31 / -1 reduces to 2^31.
struct URational {
    std::uint32_t numerator = 0;
    std::uint32_t denominator = 1;
    friend bool operator==(const URational& a, const URational& b)
    {
        return a.numerator == b.numerator && a.denominator == b.denominator;
    }
};

struct SRational {
    std::int64_t numerator = 0;
    std::int64_t denominator = 1;
    friend bool operator==(const SRational& a, const SRational& b)
    {
        return a.numerator == b.numerator && a.denominator == b.denominator;
    }
};

// The values of a field, read-only to users. Most fields hold one number or a short text: those
// values are kept inside the object, so that reading a directory does not cost one allocation per
// field; longer lists live on the heap.
template <typename T>
class ValueList {
    static_assert(std::is_trivially_copyable_v<T>, "field values are plain data");

public:
    using value_type = T;
    using size_type = std::size_t;
    using const_iterator = const T*;
    using iterator = const_iterator;

    ValueList() = default;
    // n value-initialised values, to be filled through data().
    explicit ValueList(std::size_t n) { allocate(n); }
    ValueList(const T* first, const T* last)
    {
        allocate(static_cast<std::size_t>(last - first));
        std::copy(first, last, data());
    }
    ValueList(const ValueList& other) : ValueList(other.begin(), other.end()) {}
    ValueList(ValueList&& other) noexcept
        : size_(other.size_), heap_(std::move(other.heap_))
    {
        std::copy(other.local_, other.local_ + LocalCount, local_);
        other.size_ = 0;
    }
    ValueList& operator=(ValueList other) noexcept
    {
        size_ = other.size_;
        heap_ = std::move(other.heap_);
        std::copy(other.local_, other.local_ + LocalCount, local_);
        other.size_ = 0;
        return *this;
    }
    ~ValueList() = default;

    std::size_t size() const noexcept { return size_; }
    bool empty() const noexcept { return size_ == 0; }
    const T* data() const noexcept { return heap_ ? heap_.get() : local_; }
    T* data() noexcept { return heap_ ? heap_.get() : local_; }
    const T* begin() const noexcept { return data(); }
    const T* end() const noexcept { return data() + size_; }
    const T& operator[](std::size_t i) const noexcept { return data()[i]; }
    const T& front() const noexcept { return data()[0]; }
    std::vector<T> toVector() const { return std::vector<T>(begin(), end()); }

    friend bool operator==(const ValueList& a, const ValueList& b)
    {
        return std::equal(a.begin(), a.end(), b.begin(), b.end());
    }
    friend bool operator!=(const ValueList& a, const ValueList& b) { return !(a == b); }
    friend bool operator==(const ValueList& a, const std::vector<T>& b)
    {
        return std::equal(a.begin(), a.end(), b.begin(), b.end());
    }
    friend bool operator==(const std::vector<T>& a, const ValueList& b) { return b == a; }
    friend bool operator!=(const ValueList& a, const std::vector<T>& b) { return !(a == b); }
    friend bool operator!=(const std::vector<T>& a, const ValueList& b) { return !(b == a); }

private:
    static constexpr std::size_t LocalCount = sizeof(T) >= 24 ? 1 : 24 / sizeof(T);

    void allocate(std::size_t n)
    {
        if (n > LocalCount) {
            heap_.reset(new T[n]());
        }
        size_ = n;
    }

    std::size_t size_ = 0;
    std::unique_ptr<T[]> heap_;
    T local_[LocalCount]{};
};

class Field {
public:
    // Reads the 12-byte entry at `entryOffset` (relative to the TIFF base) and loads its values.
    // A broken entry is kept and its fault told to the reader's warnings: an unknown type or a
    // zero count ("Zero-length Field"; no values), values past the end of the data or more than
    // the data could hold (kept without values, see damaged()), a rational with a zero
    // denominator ("bad rational: zero denominator"; kept, but no typed getter reads it).
    Field(TIFFReader& reader, std::uint32_t directoryId, std::uint64_t entryOffset);
    // A field built from its parts; its values are loaded from `valueOffset` the same way.
    Field(TIFFReader& reader, std::uint32_t directoryId, std::uint16_t tag, std::uint16_t type,
          std::uint32_t count, std::uint32_t valueOffset);

    std::uint32_t directoryId() const noexcept { return directoryId_; }
    std::uint16_t tag() const noexcept { return tag_; }
    std::uint16_t type() const noexcept { return type_; }
    std::uint32_t count() const noexcept { return count_; }
    // Where the value lies, relative to the TIFF base; for a value of 4 bytes or less this is the
    // position of the entry's own value field.
    std::uint32_t valueOffset() const noexcept { return valueOffset_; }
    // True when the values could not be read (past the end of the data, more than it could
    // hold, or a type outside the twelve): the field is kept for its tag, type and count, and
    // no getter finds a value.
    bool damaged() const noexcept { return damaged_; }

    // The typed value lists. Each throws LogicError "wrong field type" when the field holds
    // another type. FLOAT and DOUBLE fields hold no values at all: they are kept for their tag,
    // type and count only.
    const ValueList<std::uint32_t>& unsignedValues() const;  // BYTE, SHORT, LONG
    const ValueList<char>& textBytes() const;                // ASCII, as stored (NULs included)
    const ValueList<URational>& unsignedRationals() const;   // RATIONAL
    const ValueList<std::int32_t>& signedValues() const;     // SBYTE, SSHORT, SLONG
    const ValueList<std::uint8_t>& rawBytes() const;         // UNDEFINED
    const ValueList<SRational>& signedRationals() const;     // SRATIONAL

    // Typed getters: false when the value at `index` does not exist (or is a rational with a
    // zero denominator); LogicError "wrong field type" when the field holds another type.
    bool getUInt32(std::uint32_t& value, std::size_t index = 0) const;
    bool getInt32(std::int32_t& value, std::size_t index = 0) const;
    bool getURational(URational& value, std::size_t index = 0) const;
    bool getSRational(SRational& value, std::size_t index = 0) const;
    // ASCII: the text up to its first NUL.
    bool getText(std::string& value) const;
    // UNDEFINED: all bytes.
    bool getBytes(std::vector<std::uint8_t>& value) const;

    // The display line "Name: value" of the tag's row, when a row with a formatter exists for
    // this tag in the table the context has for the field's directory and the value could be
    // read; false otherwise. Rows marked silent write nothing and still answer true. Without a
    // context: the standard tables, no line ends, no resolution unit ("?"); a tree's fields are
    // shown with the tree's context (EXIF::displayContext()).
    bool display(std::ostream& out, const DisplayContext& context = DisplayContext::standard()) const;
    bool name(std::string& value, const DisplayContext& context = DisplayContext::standard()) const;
    bool description(std::string& value, const DisplayContext& context = DisplayContext::standard()) const;
    // The display line, or, when there is none, the generic form:
    // "Tag 0x829a (rational_t, 1): 1/60".
    void dump(std::ostream& out, const DisplayContext& context = DisplayContext::standard()) const;
    void dumpGeneric(std::ostream& out, const DisplayContext& context = DisplayContext::standard()) const;
    // The value alone, as the display line shows it ("1/60 second(s)"); false, like display(),
    // when no row with a formatter shows it. A silent row gives true and an empty text.
    bool displayText(std::string& value, const DisplayContext& context = DisplayContext::standard()) const;
    // The display text, or the generic form ("1 2") when no display row shows it.
    std::string valueText(const DisplayContext& context = DisplayContext::standard()) const;
    // The values in the generic form; empty for FLOAT and DOUBLE fields.
    std::string genericValueText() const;
    // The row's name, or "Tag 0x829a" for a tag no table names.
    std::string label(const DisplayContext& context = DisplayContext::standard()) const;
    // The dump's line for the field split at its ": ", for those who show the dump's lines in
    // their own way (scripts): the row's name and the display text, or the generic form's
    // "Tag 0x829a (rational_t, 1)" and values. False for a silent row, which shows no line.
    bool dumpLine(std::string& name, std::string& text,
                  const DisplayContext& context = DisplayContext::standard()) const;

private:
    void load(TIFFReader& reader);
    void keepWithoutValues(TIFFReader& reader, const char* why);
    void writeGenericValue(std::ostream& out) const;
    const TagRow* row(const DisplayContext& context, bool needFormatter) const noexcept;

    std::uint32_t directoryId_;
    std::uint16_t tag_ = 0;
    std::uint16_t type_ = 0;
    std::uint32_t valueOffset_ = 0;
    std::uint32_t count_ = 0;
    bool damaged_ = false;
    std::variant<std::monostate, ValueList<std::uint32_t>, ValueList<char>, ValueList<URational>,
                 ValueList<std::int32_t>, ValueList<std::uint8_t>, ValueList<SRational>>
        values_;
};

} // namespace Metadata
