#include "Lumeno/Scripting/IndexText.h"

#include <Metadata/DateTime.h>
#include <Metadata/ImageFactory.h>
#include <Metadata/ImageMetadata.h>
#include <Metadata/ImageStream.h>
#include <Metadata/IPTC.h>

namespace Lumeno::Scripting {

namespace {

using D = Metadata::Record2DataSet;

// The date datasets with their times, and the property each fills.
struct DatePair {
    std::uint8_t date;
    std::uint8_t time;
    IndexProperty property;
};
constexpr DatePair Dates[] = {
    {D::E_DATE_CREATED, D::E_TIME_CREATED, IndexProperty::DateTaken},
    {D::E_DIGITAL_CREATION_DATE, D::E_DIGITAL_CREATION_TIME, IndexProperty::Own},
    {30, 35, IndexProperty::Own}, // Release Date, Release Time
    {37, 38, IndexProperty::Own}, // Expiration Date, Expiration Time
};

bool isDateOrTime(std::uint8_t dataSet)
{
    for (const DatePair& d : Dates) {
        if (dataSet == d.date || dataSet == d.time) {
            return true;
        }
    }
    return false;
}

IndexProperty propertyOf(std::uint8_t dataSet)
{
    switch (dataSet) {
    case D::E_OBJECT_NAME:
        return IndexProperty::Title;
    case D::E_HEADLINE:
        return IndexProperty::Subject;
    case D::E_BY_LINE:
        return IndexProperty::Author;
    case D::E_KEYWORD:
        return IndexProperty::Keywords;
    case D::E_CAPTION:
        return IndexProperty::Comments;
    case D::E_COPYRIGHT_NOTICE:
        return IndexProperty::Copyright;
    default:
        return IndexProperty::Own;
    }
}

// A date dataset's moment: with its time when that reads, at local midnight when only the date
// does; false when the date does not read.
bool momentOf(const Metadata::IPTC& record, const DatePair& pair, long long& seconds)
{
    Metadata::IPTCTimeStamp stamp;
    if (record.getTimeStamp(pair.date, pair.time, stamp) && stamp.isValid()) {
        seconds = stamp.isoDateTime().utcSeconds();
        return true;
    }
    std::string text;
    if (!record.get(pair.date, text)) {
        return false;
    }
    const Metadata::IPTCDate date(text);
    if (!date.isValid()) {
        return false;
    }
    const Metadata::ISODate& day = date.isoDate();
    seconds = Metadata::ISODateTime(day.year(), day.month(), day.day(), 0, 0, 0).utcSeconds();
    return true;
}

} // namespace

std::vector<IndexChunk> indexChunks(const Metadata::IPTC& record)
{
    std::vector<IndexChunk> chunks;
    for (const D& d : record.dataSets()) {
        // The object's own data and its preview (2:200 and after) are no text; 2:0 and 2:1 would
        // fill the property ids a property set reserves (its dictionary and code page).
        if (isDateOrTime(d.dataSet()) || d.dataSet() < 2 || d.dataSet() >= 200 || d.text().empty()) {
            continue;
        }
        IndexChunk chunk;
        chunk.property = propertyOf(d.dataSet());
        chunk.dataSet = d.dataSet();
        chunk.text = Metadata::EOLMassager::toDisplay(record.toUtf8(d.text()), "\n");
        chunks.push_back(std::move(chunk));
    }
    for (const DatePair& pair : Dates) {
        IndexChunk chunk;
        if (momentOf(record, pair, chunk.utcSeconds)) {
            chunk.property = pair.property;
            chunk.dataSet = pair.date;
            chunk.isDate = true;
            chunks.push_back(std::move(chunk));
        }
    }
    return chunks;
}

std::vector<IndexChunk> indexChunksOf(const std::string& path)
{
    Metadata::ImageStreamT stream;
    return indexChunks(Metadata::openImage(path, stream)->iptc());
}

} // namespace Lumeno::Scripting
