// A photo's metadata as scripts see it, read once and kept in memory: the EXIF directories with
// every field (its name and text as the dump shows them, and its values), the IPTC datasets, the
// XMP packet and the reconciled values; and IPTC edits, written back the way the tool writes them.
// The automation objects of the Windows server and the Python module are both made over it.
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace Lumeno::Scripting {

// A field's values as stored, for scripts: a text (ASCII), whole numbers (BYTE to SLONG, and the
// bytes of UNDEFINED), or reals (rationals as their quotient, FLOAT, DOUBLE). None when they
// could not be read.
struct FieldValue {
    enum class Kind { None, Text, Integers, Reals };
    Kind kind = Kind::None;
    std::string text;
    std::vector<long long> integers;
    std::vector<double> reals;

    std::size_t size() const noexcept
    {
        return kind == Kind::Text ? 1 : kind == Kind::Integers ? integers.size() : reals.size();
    }
};

struct FieldEntry {
    std::uint16_t tag = 0;
    // The name the dump's line gives the field: the tag table's name, or for a field the dump
    // shows in the generic form "Tag 0x829a (rational_t, 1)".
    std::string name;
    std::uint16_t type = 0;
    std::string typeName; // "SHORT", "ASCII", "rational_t"...
    std::uint32_t count = 0;
    FieldValue value;
    // The dump line's text after "name: "; empty when the dump shows no line for it.
    std::string text;
    // False for the tags whose display is deliberately silent: the dump shows no line for them.
    bool shown = true;
};

struct Directory {
    std::string name; // "Primary Image", "EXIF", "GPS", "Thumbnail Image", "MakerNote"...
    std::uint32_t id = 0;
    std::vector<FieldEntry> fields;

    // The field of that name (letter case aside) or tag table name; null when there is none.
    const FieldEntry* find(const std::string& name) const noexcept;
};

struct IptcEntry {
    std::string name; // as 'lumeno iptc' names the dataset: "Caption", "Keywords", "2:240"
    std::uint8_t dataSet = 0;
    std::string text; // UTF-8, line breaks as "\n"
};

class Picture {
public:
    // Reads the JPEG or TIFF file. Throws what reading throws (Metadata::Exception and its
    // kin, std::system_error), with a message for people.
    explicit Picture(std::string path);

    const std::string& path() const noexcept { return path_; }
    // The directories in the dump's order.
    const std::vector<Directory>& directories() const noexcept { return directories_; }
    // The directory of that name (letter case aside); null when the file has none.
    const Directory* directory(const std::string& name) const noexcept;
    const std::vector<IptcEntry>& iptc() const noexcept { return iptc_; }
    // The values of the dataset called `name` ("Caption", "keywords", "2:25", "120") joined by
    // "; ", empty when the file has none. Throws std::invalid_argument for an unknown dataset.
    std::string iptcJoined(const std::string& name) const;
    // The values of one dataset, in stored order.
    std::vector<std::string> iptcValues(const std::string& name) const;
    // The XMP packet, UTF-8; empty when the file has none.
    const std::string& xmp() const noexcept { return xmp_; }
    // The reconciled properties ("Title", "Creator", "DateTaken"...) the file has, in order.
    const std::vector<std::pair<std::string, std::string>>& values() const noexcept { return values_; }
    // One of them; empty when the file has none of that name (letter case aside).
    std::string value(const std::string& name) const;
    // What could not be read, each fault once.
    const std::vector<std::string>& warnings() const noexcept { return warnings_; }

    // Replaces every value of a dataset by `values` (none removes it). The change is checked
    // now (std::invalid_argument for an unknown dataset, Metadata::Exception for a value it
    // refuses) and written by save().
    void setIptc(const std::string& name, const std::vector<std::string>& values);
    // Whether there are changes that save() has not written.
    bool modified() const noexcept { return !edits_.empty(); }
    // Writes the changes into the file safely (the file is replaced only once the new one is
    // complete; its XMP brought in line with the record) and reads it again.
    void save();

private:
    void read();

    struct Edit {
        std::uint8_t dataSet;
        std::vector<std::string> values;
    };

    std::string path_;
    std::vector<Directory> directories_;
    std::vector<IptcEntry> iptc_;
    std::string xmp_;
    std::vector<std::pair<std::string, std::string>> values_;
    std::vector<std::string> warnings_;
    std::vector<Edit> edits_;
};

} // namespace Lumeno::Scripting
