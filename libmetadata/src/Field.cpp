#include "Metadata/Field.h"

#include "Metadata/Exceptions.h"
#include "Metadata/ImageStream.h"
#include "Metadata/TIFFReader.h"
#include "Metadata/TagTable.h"

#include <boost/rational.hpp>

#include <ostream>
#include <sstream>

namespace Metadata {

namespace {

constexpr std::uint32_t TypeSizes[13] = {0, 1, 1, 2, 4, 8, 1, 1, 2, 4, 8, 4, 8};
constexpr const char* TypeNames[13] = {"?",         "BYTE",  "ASCII",  "SHORT",       "LONG",  "rational_t",
                                       "SBYTE",     "UNDEFINED", "SSHORT", "SLONG", "srational_t", "FLOAT",
                                       "DOUBLE"};

template <class T, class Variant> const T& held(const Variant& values)
{
    if (const T* list = std::get_if<T>(&values)) {
        return *list;
    }
    METADATA_THROW(LogicError, "wrong field type");
}

template <class T, class Variant> bool getAt(const Variant& values, std::size_t index, T& value)
{
    const ValueList<T>& list = held<ValueList<T>>(values);
    if (index >= list.size()) {
        return false;
    }
    value = list[index];
    return true;
}

// Reduces n/d by their greatest common divisor with the denominator made positive. A zero
// denominator is kept as it stands (n/0): the value is there, it just is no number.
template <class R> R normalised(std::int64_t n, std::int64_t d)
{
    if (d == 0) {
        return R{static_cast<decltype(R::numerator)>(n), 0};
    }
    const boost::rational<std::int64_t> r(n, d);
    return R{static_cast<decltype(R::numerator)>(r.numerator()), static_cast<decltype(R::denominator)>(r.denominator())};
}

} // namespace

std::uint32_t typeSize(std::uint16_t type) noexcept
{
    return type < 13 ? TypeSizes[type] : 0;
}

const char* typeName(std::uint16_t type) noexcept
{
    return type < 13 ? TypeNames[type] : TypeNames[0];
}

Field::Field(TIFFReader& reader, std::uint32_t directoryId, std::uint64_t entryOffset) : directoryId_(directoryId)
{
    // Read in place when the entry lies within the bytes (it nearly always does); a copy only
    // for an entry that runs past them, whose missing bytes read as zeros.
    std::uint8_t copy[12];
    const std::uint8_t* entry = reader.view(entryOffset, sizeof copy);
    if (entry == nullptr) {
        reader.read(entryOffset, copy, sizeof copy);
        entry = copy;
    }
    const bool big = reader.bigEndian();
    tag_ = decode16(entry, big);
    type_ = decode16(entry + 2, big);
    count_ = decode32(entry + 4, big);
    const std::uint64_t bytes = std::uint64_t{typeSize(type_)} * count_;
    if (bytes > 4) {
        valueOffset_ = decode32(entry + 8, big);
    } else {
        // Inline values are addressed like stored ones: the position of the value field itself.
        // Directories end below 2^32 (IFD checks), so this cannot wrap.
        valueOffset_ = static_cast<std::uint32_t>(entryOffset + 8);
    }
    load(reader);
}

Field::Field(TIFFReader& reader, std::uint32_t directoryId, std::uint16_t tag, std::uint16_t type,
             std::uint32_t count, std::uint32_t valueOffset)
    : directoryId_(directoryId), tag_(tag), type_(type), valueOffset_(valueOffset), count_(count)
{
    load(reader);
}

void Field::load(TIFFReader& reader)
{
    const auto type = static_cast<FieldType>(type_);
    if (type == FieldType::Float || type == FieldType::Double) {
        return; // deliberately kept without values
    }
    if (typeSize(type_) == 0) {
        // A type outside the twelve: its values cannot be sized, so the entry is kept for its
        // tag, type and count alone. The IFD type of TIFF Technical Note 1 is a directory
        // pointer that the directory reads itself; it is no fault.
        damaged_ = true;
        if (type_ != IFDType) {
            reader.warn("Zero-length Field", directoryId_, tag_);
        }
        return;
    }
    const std::uint64_t size = std::uint64_t{typeSize(type_)} * count_;
    if (size == 0) {
        // No values at all: an empty text, an empty list. The entry itself is kept.
        reader.warn("Zero-length Field", directoryId_, tag_);
    } else if (size > 4) {
        // Refuses what the data could not hold before anything is allocated.
        if (const char* problem = reader.chargeValueBytes(size)) {
            keepWithoutValues(reader, problem);
            return;
        }
    }
    if (valueOffset_ > reader.size() || size > reader.size() - valueOffset_) {
        keepWithoutValues(reader, "Field value past the end of the data");
        return;
    }
    const auto n = static_cast<std::size_t>(size);
    std::vector<std::uint8_t> scratch;
    const std::uint8_t* p = n == 0 ? nullptr : reader.view(valueOffset_, n);
    if (p == nullptr) {
        scratch.resize(std::max<std::size_t>(n, 1));
        reader.read(valueOffset_, scratch.data(), n);
        p = scratch.data();
    }
    const bool big = reader.bigEndian();

    try {
        bool badRational = false;
        switch (type) {
        case FieldType::Byte:
        case FieldType::Short:
        case FieldType::Long: {
            ValueList<std::uint32_t> list(count_);
            std::uint32_t* out = list.data();
            for (std::uint32_t i = 0; i < count_; ++i) {
                out[i] = type == FieldType::Byte    ? p[i]
                          : type == FieldType::Short ? decode16(p + 2 * i, big)
                                                     : decode32(p + 4 * i, big);
            }
            values_ = std::move(list);
            break;
        }
        case FieldType::SByte:
        case FieldType::SShort:
        case FieldType::SLong: {
            ValueList<std::int32_t> list(count_);
            std::int32_t* out = list.data();
            for (std::uint32_t i = 0; i < count_; ++i) {
                out[i] = type == FieldType::SByte    ? static_cast<std::int8_t>(p[i])
                          : type == FieldType::SShort ? static_cast<std::int16_t>(decode16(p + 2 * i, big))
                                                      : static_cast<std::int32_t>(decode32(p + 4 * i, big));
            }
            values_ = std::move(list);
            break;
        }
        case FieldType::Ascii:
            try {
                values_ = ValueList<char>(reinterpret_cast<const char*>(p), reinterpret_cast<const char*>(p + n));
            } catch (const std::bad_alloc&) {
                METADATA_THROW(Error, "no memory");
            }
            break;
        case FieldType::Undefined:
            values_ = ValueList<std::uint8_t>(p, p + n);
            break;
        case FieldType::Rational: {
            ValueList<URational> list(count_);
            URational* out = list.data();
            for (std::uint32_t i = 0; i < count_; ++i) {
                out[i] = normalised<URational>(decode32(p + 8 * i, big), decode32(p + 8 * i + 4, big));
                badRational = badRational || out[i].denominator == 0;
            }
            values_ = std::move(list);
            break;
        }
        case FieldType::SRational: {
            ValueList<SRational> list(count_);
            SRational* out = list.data();
            for (std::uint32_t i = 0; i < count_; ++i) {
                out[i] = normalised<SRational>(static_cast<std::int32_t>(decode32(p + 8 * i, big)),
                                               static_cast<std::int32_t>(decode32(p + 8 * i + 4, big)));
                badRational = badRational || out[i].denominator == 0;
            }
            values_ = std::move(list);
            break;
        }
        default:
            break;
        }
        if (badRational) {
            reader.warn("bad rational: zero denominator", directoryId_, tag_);
        }
    } catch (const std::bad_alloc&) {
        METADATA_THROW0(MemoryError);
    }
}

void Field::keepWithoutValues(TIFFReader& reader, const char* why)
{
    reader.warn(why, directoryId_, tag_);
    damaged_ = true;
    // The list of the field's own type, empty: typed readers find no value rather than a type
    // they did not ask for.
    switch (static_cast<FieldType>(type_)) {
    case FieldType::Byte:
    case FieldType::Short:
    case FieldType::Long:
        values_ = ValueList<std::uint32_t>();
        break;
    case FieldType::SByte:
    case FieldType::SShort:
    case FieldType::SLong:
        values_ = ValueList<std::int32_t>();
        break;
    case FieldType::Ascii:
        values_ = ValueList<char>();
        break;
    case FieldType::Undefined:
        values_ = ValueList<std::uint8_t>();
        break;
    case FieldType::Rational:
        values_ = ValueList<URational>();
        break;
    case FieldType::SRational:
        values_ = ValueList<SRational>();
        break;
    default:
        break;
    }
}

const ValueList<std::uint32_t>& Field::unsignedValues() const
{
    return held<ValueList<std::uint32_t>>(values_);
}
const ValueList<char>& Field::textBytes() const
{
    return held<ValueList<char>>(values_);
}
const ValueList<URational>& Field::unsignedRationals() const
{
    return held<ValueList<URational>>(values_);
}
const ValueList<std::int32_t>& Field::signedValues() const
{
    return held<ValueList<std::int32_t>>(values_);
}
const ValueList<std::uint8_t>& Field::rawBytes() const
{
    return held<ValueList<std::uint8_t>>(values_);
}
const ValueList<SRational>& Field::signedRationals() const
{
    return held<ValueList<SRational>>(values_);
}

bool Field::getUInt32(std::uint32_t& value, std::size_t index) const
{
    return getAt(values_, index, value);
}
bool Field::getInt32(std::int32_t& value, std::size_t index) const
{
    return getAt(values_, index, value);
}
// A rational with a zero denominator is no number: it is there, but cannot be read as one.
bool Field::getURational(URational& value, std::size_t index) const
{
    URational r;
    if (!getAt(values_, index, r) || r.denominator == 0) {
        return false;
    }
    value = r;
    return true;
}
bool Field::getSRational(SRational& value, std::size_t index) const
{
    SRational r;
    if (!getAt(values_, index, r) || r.denominator == 0) {
        return false;
    }
    value = r;
    return true;
}

bool Field::getText(std::string& value) const
{
    const ValueList<char>& text = textBytes();
    if (damaged_) {
        return false;
    }
    std::size_t length = 0;
    while (length < text.size() && text[length] != '\0') {
        ++length;
    }
    value.assign(text.data(), length);
    return true;
}

bool Field::getBytes(std::vector<std::uint8_t>& value) const
{
    const ValueList<std::uint8_t>& bytes = rawBytes();
    if (damaged_) {
        return false;
    }
    value.assign(bytes.begin(), bytes.end());
    return true;
}

const TagRow* Field::row(const DisplayContext& context, bool needFormatter) const noexcept
{
    return findTagRow(context, *this, needFormatter);
}

bool Field::display(std::ostream& out, const DisplayContext& context) const
{
    const TagRow* r = row(context, true);
    std::string value;
    ValueText text(value);
    if (r == nullptr || !r->formatter(text, *this, context)) {
        return false;
    }
    if (r->formatter != &Formatters::silent) { // silent rows show no line, deliberately
        out << r->name << ": " << value;
        if (context.lineEnds()) {
            out << '\n';
        }
    }
    return true;
}

bool Field::name(std::string& value, const DisplayContext& context) const
{
    const TagRow* r = row(context, false);
    if (r == nullptr) {
        return false;
    }
    value = r->name;
    return true;
}

bool Field::description(std::string& value, const DisplayContext& context) const
{
    const TagRow* r = row(context, false);
    if (r == nullptr) {
        return false;
    }
    value = r->description;
    return true;
}

void Field::dump(std::ostream& out, const DisplayContext& context) const
{
    if (!display(out, context)) {
        dumpGeneric(out, context);
    }
}

namespace {

constexpr char HexDigits[] = "0123456789abcdef";

// At most this many values of a long list are shown in the generic form.
constexpr std::size_t GenericValueLimit = 16;

template <class List, class Write> void writeList(std::ostream& out, const List& list, Write write)
{
    const std::size_t shown = std::min(list.size(), GenericValueLimit);
    for (std::size_t i = 0; i < shown; ++i) {
        if (i > 0) {
            out << ' ';
        }
        write(list[i]);
    }
    if (shown < list.size()) {
        out << " ... (" << list.size() << " values)";
    }
}

void writeEscaped(std::ostream& out, const ValueList<char>& text)
{
    out << '"';
    for (char c : text) {
        const auto b = static_cast<unsigned char>(c);
        if (b == 0) {
            break;
        }
        if (b < 0x20 || b >= 0x7F || c == '"' || c == '\\') {
            out << "\\x" << HexDigits[b >> 4] << HexDigits[b & 15];
        } else {
            out << c;
        }
    }
    out << '"';
}

} // namespace

namespace {

std::string hexTag(std::uint16_t tag)
{
    std::string text = "Tag 0x";
    for (int shift = 12; shift >= 0; shift -= 4) {
        text += HexDigits[(tag >> shift) & 15];
    }
    return text;
}

} // namespace

void Field::writeGenericValue(std::ostream& out) const
{
    std::visit(
        [&out](const auto& list) {
            using T = std::decay_t<decltype(list)>;
            if constexpr (std::is_same_v<T, ValueList<std::uint32_t>> || std::is_same_v<T, ValueList<std::int32_t>>) {
                writeList(out, list, [&out](auto v) { out << v; });
            } else if constexpr (std::is_same_v<T, ValueList<char>>) {
                writeEscaped(out, list);
            } else if constexpr (std::is_same_v<T, ValueList<std::uint8_t>>) {
                writeList(out, list, [&out](std::uint8_t b) { out << HexDigits[b >> 4] << HexDigits[b & 15]; });
            } else if constexpr (std::is_same_v<T, ValueList<URational>> || std::is_same_v<T, ValueList<SRational>>) {
                writeList(out, list, [&out](const auto& r) { out << r.numerator << '/' << r.denominator; });
            }
        },
        values_);
}

std::string Field::genericValueText() const
{
    std::ostringstream out;
    writeGenericValue(out);
    return out.str();
}

void Field::dumpGeneric(std::ostream& out, const DisplayContext& context) const
{
    // Straight into the output: a string stream per field costs more than the field itself.
    out << hexTag(tag_) << " (" << typeName(type_) << ", " << count_ << ")";
    if (!damaged_ && !std::holds_alternative<std::monostate>(values_)) {
        out << ": ";
        writeGenericValue(out);
    }
    if (context.lineEnds()) {
        out << '\n';
    }
}

bool Field::displayText(std::string& value, const DisplayContext& context) const
{
    const TagRow* r = row(context, true);
    std::string text;
    ValueText out(text);
    if (r == nullptr || !r->formatter(out, *this, context)) {
        return false;
    }
    value = std::move(text);
    return true;
}

std::string Field::valueText(const DisplayContext& context) const
{
    std::string text;
    if (displayText(text, context) && !text.empty()) {
        return text;
    }
    return genericValueText();
}

bool Field::dumpLine(std::string& name, std::string& text, const DisplayContext& context) const
{
    const TagRow* r = row(context, true);
    std::string value;
    ValueText out(value);
    if (r != nullptr && r->formatter(out, *this, context)) {
        if (r->formatter == &Formatters::silent) {
            return false;
        }
        name = r->name;
        text = std::move(value);
        return true;
    }
    std::ostringstream generic;
    generic << hexTag(tag_) << " (" << typeName(type_) << ", " << count_ << ")";
    name = generic.str();
    text = damaged_ ? std::string() : genericValueText();
    return true;
}

std::string Field::label(const DisplayContext& context) const
{
    std::string text;
    return name(text, context) ? text : hexTag(tag_);
}

} // namespace Metadata
