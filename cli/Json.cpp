#include "Json.h"

#include <Metadata/Text.h>

#include <charconv>
#include <cmath>
#include <ostream>
#include <string>

namespace Lumeno::Cli {

void JsonWriter::newLine()
{
    out_ << '\n';
    for (std::size_t i = 0; i < levels_.size(); ++i) {
        out_ << "  ";
    }
}

void JsonWriter::beforeValue()
{
    if (afterKey_) {
        afterKey_ = false;
        return;
    }
    if (levels_.empty()) {
        return;
    }
    Level& level = levels_.back();
    if (!level.empty) {
        out_ << (level.inLine ? ", " : ",");
    }
    if (!level.inLine) {
        newLine();
    }
    level.empty = false;
}

JsonWriter JsonWriter::forElement(std::ostream& out)
{
    JsonWriter writer(out);
    writer.levels_.push_back({false, false, true});
    writer.afterKey_ = true; // the element's first character is written where it stands
    return writer;
}

void JsonWriter::element(std::string_view made)
{
    beforeValue();
    out_ << made;
}

void JsonWriter::beginObject()
{
    beforeValue();
    out_ << '{';
    const bool inLine = !levels_.empty() && levels_.back().inLine;
    levels_.push_back({true, inLine, true});
}

void JsonWriter::endObject()
{
    const Level level = levels_.back();
    levels_.pop_back();
    if (!level.inLine && !level.empty) {
        newLine();
    }
    out_ << '}';
    if (levels_.empty()) {
        out_ << '\n';
    }
}

void JsonWriter::beginArray(bool inLine)
{
    beforeValue();
    out_ << '[';
    levels_.push_back({false, inLine || (!levels_.empty() && levels_.back().inLine), true});
}

void JsonWriter::endArray()
{
    const Level level = levels_.back();
    levels_.pop_back();
    if (!level.inLine && !level.empty) {
        newLine();
    }
    out_ << ']';
    if (levels_.empty()) {
        out_ << '\n';
    }
}

void JsonWriter::key(std::string_view name)
{
    beforeValue();
    writeString(name);
    out_ << ": ";
    afterKey_ = true;
}

void JsonWriter::value(std::string_view text)
{
    beforeValue();
    writeString(text);
}

void JsonWriter::writeString(std::string_view text)
{
    const std::string utf8 = Metadata::Text::isUtf8(text) ? std::string(text) : Metadata::Text::toUtf8(text);
    static constexpr char Hex[] = "0123456789abcdef";
    out_ << '"';
    for (char c : utf8) {
        const auto b = static_cast<unsigned char>(c);
        switch (c) {
        case '"':
            out_ << "\\\"";
            break;
        case '\\':
            out_ << "\\\\";
            break;
        case '\n':
            out_ << "\\n";
            break;
        case '\r':
            out_ << "\\r";
            break;
        case '\t':
            out_ << "\\t";
            break;
        default:
            if (b < 0x20 || b == 0x7F) {
                out_ << "\\u00" << Hex[b >> 4] << Hex[b & 15];
            } else {
                out_ << c;
            }
        }
    }
    out_ << '"';
}

void JsonWriter::value(std::int64_t number)
{
    beforeValue();
    out_ << number;
}

void JsonWriter::value(std::uint64_t number)
{
    beforeValue();
    out_ << number;
}

void JsonWriter::value(double number)
{
    if (!std::isfinite(number)) {
        null();
        return;
    }
    beforeValue();
    char text[32];
    const auto result = std::to_chars(text, text + sizeof text, number);
    out_.write(text, result.ptr - text);
}

void JsonWriter::value(bool flag)
{
    beforeValue();
    out_ << (flag ? "true" : "false");
}

void JsonWriter::null()
{
    beforeValue();
    out_ << "null";
}

} // namespace Lumeno::Cli
