// What the desktop search's indexing filter hands over for a photo: the texts of its IPTC
// record and its dates, each as the property it fills. The standard document properties are
// used where one means the same (the object name is the title, the by-line the author, the
// caption the comments...); every other dataset fills the property of the same number in the
// program's own property set, so that a search can still name it.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace Metadata {
class IPTC;
}

namespace Lumeno::Scripting {

enum class IndexProperty {
    Title,     // Object Name
    Subject,   // Headline
    Author,    // By-line
    Keywords,  // Keywords
    Comments,  // Caption
    Copyright, // Copyright Notice
    DateTaken, // Date Created with Time Created
    Own,       // the program's property set; the id is the dataset's number
};

struct IndexChunk {
    IndexProperty property = IndexProperty::Own;
    std::uint8_t dataSet = 0; // where it came from (the date's dataset for a date)
    bool isDate = false;
    std::string text;        // UTF-8, for a text
    long long utcSeconds = 0; // since 1970, for a date
};

// The chunks of a record, texts in stored order (each value of a repeated dataset one chunk;
// none for the object data past 2:200, nor for 2:0 and 2:1), then the dates (a date without its time is taken at midnight, local time).
std::vector<IndexChunk> indexChunks(const Metadata::IPTC& record);
// The chunks of a JPEG or TIFF file; throws what reading it throws.
std::vector<IndexChunk> indexChunksOf(const std::string& path);

} // namespace Lumeno::Scripting
