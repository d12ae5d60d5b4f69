// A small streaming JSON writer for the tool's --json output: two-space indentation, arrays of
// plain values on one line, strings always valid UTF-8.
#pragma once

#include <cstdint>
#include <iosfwd>
#include <string_view>
#include <vector>

namespace Lumeno::Cli {

class JsonWriter {
public:
    explicit JsonWriter(std::ostream& out) : out_(out) {}

    // A writer of one element of an array another writer writes: the element is made apart (on
    // another thread, say), indented as that array's elements are, and handed over with element().
    static JsonWriter forElement(std::ostream& out);
    // Writes an element made by such a writer as the next value.
    void element(std::string_view made);

    // Containers. An array begun `inline` is written on one line with everything in it.
    void beginObject();
    void endObject();
    void beginArray(bool inLine = false);
    void endArray();
    // The name of the next member of an object.
    void key(std::string_view name);

    // Text of unknown encoding is written as UTF-8 (bytes that are not UTF-8 taken as Latin-1).
    void value(std::string_view text);
    void value(const char* text) { value(std::string_view(text)); }
    void value(std::int64_t number);
    void value(std::uint64_t number);
    void value(std::int32_t number) { value(std::int64_t{number}); }
    void value(std::uint32_t number) { value(std::uint64_t{number}); }
    // The shortest form that reads back as the same double; null for NaN and infinities.
    void value(double number);
    void value(bool flag);
    void null();

private:
    struct Level {
        bool object;
        bool inLine;
        bool empty;
    };
    void beforeValue();
    void newLine();
    void writeString(std::string_view text);

    std::ostream& out_;
    std::vector<Level> levels_;
    bool afterKey_ = false;
};

} // namespace Lumeno::Cli
