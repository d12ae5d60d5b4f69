#include "Metadata/IPTC.h"

#include "Metadata/Exceptions.h"
#include "Metadata/Text.h"

#include <algorithm>

namespace Metadata {

namespace {

// Record 2 datasets (IIM 4.2, chapter 6), with their minimum and maximum lengths in bytes.
constexpr DataSetInfo Record2Table[Record2DataSet::TableSize + 1] = {
    {5, "Object Name", 0, 64},
    {7, "Edit Status", 0, 64},
    {8, "Editorial Update", 2, 2},
    {10, "Urgency", 1, 1},
    {12, "Subject Reference", 13, 236},
    {15, "Category", 0, 3},
    {20, "Supplemental Category", 0, 32},
    {22, "Fixture Identifier", 0, 32},
    {25, "Keyword", 0, 64},
    {26, "Content Location Code", 3, 3},
    {27, "Content Location Name", 0, 64},
    {30, "Release Date", 8, 8},
    {35, "Release Time", 11, 11},
    {37, "Expiration Date", 8, 8},
    {38, "Expiration Time", 11, 11},
    {40, "Special Instructions", 0, 256},
    {42, "Action Advised", 2, 2},
    {45, "Reference Service", 0, 10},
    {47, "Reference Date", 8, 8},
    {50, "Reference Number", 8, 8},
    {55, "Date Created", 8, 8},
    {60, "Time Created", 11, 11},
    {62, "Digital Creation Date", 8, 8},
    {63, "Digital Creation Time", 11, 11},
    {65, "Originating Program", 0, 32},
    {70, "Program Version", 0, 10},
    {75, "Object Cycle", 1, 1},
    {80, "By-line", 0, 32},
    {85, "By-line Title", 0, 32},
    {90, "City", 0, 32},
    {92, "Sub-location", 0, 32},
    {95, "Province/ State", 0, 32},
    {100, "Country Code", 3, 3},
    {101, "Country Name", 0, 64},
    {103, "Original Transmission Reference", 0, 32},
    {105, "Headline", 0, 256},
    {110, "Credit", 0, 32},
    {115, "Source", 0, 32},
    {116, "Copyright Notice", 0, 128},
    {118, "Contact", 0, 128},
    {120, "Caption", 0, 2000},
    {121, "Local Caption", 0, 32},
    {122, "Caption Writer", 0, 32},
    {130, "Image Type", 2, 2},
    {131, "Image Orientation", 1, 1},
    {135, "Language Identifier", 2, 3},
    {0, nullptr, 0, 0},
};

constexpr std::uint8_t TagMarker = 0x1C;
constexpr std::uint8_t ApplicationRecord = 2;
const std::uint8_t DefaultVersion[2] = {0x00, 0x02};

std::uint16_t textLength(const std::string& text)
{
    if (text.size() > DataSet::MaxStandardLength) {
        METADATA_THROW(LogicError, "IPTC value of " + std::to_string(text.size()) + " bytes is too long");
    }
    return static_cast<std::uint16_t>(text.size());
}

} // namespace

Record2DataSet::Record2DataSet(std::uint8_t dataSet, std::string text)
    : DataSet(ApplicationRecord, dataSet, textLength(text), reinterpret_cast<const std::uint8_t*>(text.data())),
      text_(std::move(text))
{
}

Record2DataSet::Record2DataSet(std::uint8_t dataSet, const std::uint8_t* bytes, std::uint16_t length)
    : DataSet(ApplicationRecord, dataSet, length, bytes),
      text_(bytes, std::find(bytes, bytes + length, std::uint8_t{0}))
{
}

const DataSetInfo* Record2DataSet::table() noexcept
{
    return Record2Table;
}

const DataSetInfo* Record2DataSet::info(std::uint8_t dataSet) noexcept
{
    for (const DataSetInfo* row = Record2Table; row->number != 0; ++row) {
        if (row->number == dataSet) {
            return row;
        }
    }
    return nullptr;
}

std::string Record2DataSet::nameOf(std::uint8_t dataSet)
{
    const DataSetInfo* row = info(dataSet);
    return row != nullptr ? std::string(row->name) : "2:" + std::to_string(dataSet);
}

IPTC::IPTC() : version_(ApplicationRecord, 0, 2, DefaultVersion) {}

IPTC::IPTC(const std::uint8_t* block, std::size_t size) : IPTC()
{
    bool inRecord = false;
    std::size_t at = 0;
    std::size_t recordStart = size;
    // A dataset starts with the marker and record 2; before the first one anything is passed
    // over (record 1 among it), after it record 2 must continue without a gap. What comes before
    // and after is kept as it is, for the record to be written back with it.
    while (size - at >= 2) {
        if (block[at] != TagMarker || block[at + 1] != ApplicationRecord) {
            if (inRecord) {
                break;
            }
            ++at;
            continue;
        }
        if (size - at < DataSet::HeaderSize || (block[at + 3] & 0x80) != 0) {
            break; // cut off, or an extended-length dataset: the rest is kept as it stands
        }
        const auto length = static_cast<std::uint16_t>((block[at + 3] << 8) | block[at + 4]);
        if (length > size - at - DataSet::HeaderSize) {
            break; // the value would run past the end of the block
        }
        if (!inRecord) {
            inRecord = true;
            recordStart = at;
        }
        const std::uint8_t number = block[at + 2];
        const std::uint8_t* value = block + at + DataSet::HeaderSize;
        at += DataSet::HeaderSize + length;
        // Every dataset is kept with its bytes exactly as stored: a value with a NUL in it, one
        // longer than any the standard allows, one of a number the library does not know. An
        // edit rewrites only the datasets it changes.
        if (number == 0) {
            version_ = DataSet(ApplicationRecord, 0, length, value);
            continue;
        }
        dataSets_.emplace_back(number, value, length);
        const DataSetInfo* row = Record2DataSet::info(number);
        if (row != nullptr && length > row->maxLength) {
            warnings_.push_back(std::string(row->name) + ": " + std::to_string(length) +
                                " bytes is longer than its limit of " + std::to_string(row->maxLength) + " bytes");
        }
    }
    if (!inRecord && at < size && size - at >= 2) {
        // No whole dataset, the reading stopped at a broken one: the record written into this
        // block goes before it. Kept in front, the broken header would take the record's own
        // first bytes as its value when read back.
        recordStart = at;
    }
    before_.assign(block, block + std::min(recordStart, size));
    if (recordStart < size) {
        // What follows record 2 (other records, what the reader stopped at), without the zeros
        // writers pad blocks with.
        std::size_t end = size;
        while (end > at && block[end - 1] == 0) {
            --end;
        }
        after_.assign(block + at, block + std::max(at, end));
    }
    utf8_ = declaresUtf8(before_);
}

bool IPTC::declaresUtf8(const std::vector<std::uint8_t>& envelope)
{
    // Coded Character Set (dataset 1:90, IIM 4.2 section 1.5.4): the escape sequence ESC % G
    // (ISO 2022) names UTF-8.
    for (std::size_t at = 0; at + DataSet::HeaderSize <= envelope.size(); ++at) {
        if (envelope[at] == TagMarker && envelope[at + 1] == 1 && envelope[at + 2] == 90 && (envelope[at + 3] & 0x80) == 0) {
            const std::size_t length = (envelope[at + 3] << 8) | envelope[at + 4];
            const std::size_t value = at + DataSet::HeaderSize;
            return length == 3 && value + 3 <= envelope.size() && envelope[value] == 0x1B &&
                   envelope[value + 1] == '%' && envelope[value + 2] == 'G';
        }
    }
    return false;
}

std::string IPTC::toUtf8(const std::string& text) const
{
    // Declared UTF-8: a stray byte that is not is taken as Latin-1, the rest stays. Undeclared:
    // text that reads as UTF-8 is taken so, anything else as Latin-1 throughout, the common code
    // page of the writers that declare nothing. Never cut short.
    if (utf8_) {
        return Text::toUtf8(text);
    }
    return Text::isUtf8(text) ? text : Text::latin1ToUtf8(text);
}

std::vector<std::string> IPTC::values(std::uint8_t dataSet) const
{
    std::vector<std::string> found;
    for (const Record2DataSet& d : dataSets_) {
        if (d.dataSet() == dataSet) {
            found.push_back(d.text());
        }
    }
    return found;
}

bool IPTC::get(std::uint8_t dataSet, std::string& value) const
{
    for (const Record2DataSet& d : dataSets_) {
        if (d.dataSet() == dataSet) {
            value = d.text();
            return true;
        }
    }
    return false;
}

std::string IPTC::joined(std::uint8_t dataSet) const
{
    std::string text;
    for (const Record2DataSet& d : dataSets_) {
        if (d.dataSet() == dataSet) {
            if (!text.empty()) {
                text += JoinSeparator;
            }
            text += d.text();
        }
    }
    return text;
}

void IPTC::check(std::uint8_t dataSet, const std::string& value)
{
    const DataSetInfo* row = Record2DataSet::info(dataSet);
    if (row == nullptr) {
        METADATA_THROW(Exception, "unknown IPTC dataset 2:" + std::to_string(dataSet));
    }
    if (value.size() > row->maxLength) {
        METADATA_THROW(Exception, std::string(row->name) + ": " + std::to_string(value.size()) +
                                      " bytes is longer than its limit of " + std::to_string(row->maxLength) +
                                      " bytes");
    }
    if (value.size() < row->minLength) {
        METADATA_THROW(Exception, std::string(row->name) + ": " + std::to_string(value.size()) +
                                      " bytes is shorter than its minimum of " + std::to_string(row->minLength) +
                                      " bytes");
    }
    // Dates and times must be ones (IIM 4.2: CCYYMMDD, HHMMSS+HHMM): a value of the right length
    // that names no moment would be written, and then neither read back nor mirrored into XMP.
    const auto refuse = [&](const char* form) {
        METADATA_THROW(Exception, std::string(row->name) + ": '" + value + "' is not a valid " + form);
    };
    switch (dataSet) {
    case 30: // Release Date
    case 37: // Expiration Date
    case 47: // Reference Date
    case Record2DataSet::E_DATE_CREATED:
    case Record2DataSet::E_DIGITAL_CREATION_DATE:
        try {
            if (!IPTCDate(value).isValid()) {
                refuse("date (CCYYMMDD)");
            }
        } catch (const FileFormatException&) {
            refuse("date (CCYYMMDD)");
        }
        break;
    case 35: // Release Time
    case 38: // Expiration Time
    case Record2DataSet::E_TIME_CREATED:
    case Record2DataSet::E_DIGITAL_CREATION_TIME:
        try {
            const IPTCTime time(value);
            if (!time.isValid() || !time.isoTime().isValid()) {
                refuse("time (HHMMSS+HHMM)");
            }
        } catch (const FileFormatException&) {
            refuse("time (HHMMSS+HHMM)");
        }
        break;
    default:
        break;
    }
}

void IPTC::set(std::uint8_t dataSet, const std::string& value)
{
    set(dataSet, std::vector<std::string>{value});
}

void IPTC::set(std::uint8_t dataSet, const std::vector<std::string>& values)
{
    for (const std::string& v : values) {
        check(dataSet, v);
    }
    auto first = std::find_if(dataSets_.begin(), dataSets_.end(),
                              [dataSet](const Record2DataSet& d) { return d.dataSet() == dataSet; });
    const auto position = static_cast<std::size_t>(first - dataSets_.begin());
    remove(dataSet);
    std::vector<Record2DataSet> fresh;
    for (const std::string& v : values) {
        fresh.emplace_back(dataSet, v);
    }
    dataSets_.insert(dataSets_.begin() + static_cast<std::ptrdiff_t>(std::min(position, dataSets_.size())),
                     fresh.begin(), fresh.end());
}

void IPTC::add(std::uint8_t dataSet, const std::string& value)
{
    check(dataSet, value);
    dataSets_.emplace_back(dataSet, value);
}

bool IPTC::remove(std::uint8_t dataSet)
{
    const auto before = dataSets_.size();
    dataSets_.erase(std::remove_if(dataSets_.begin(), dataSets_.end(),
                                   [dataSet](const Record2DataSet& d) { return d.dataSet() == dataSet; }),
                    dataSets_.end());
    return dataSets_.size() != before;
}

void IPTC::addDataSet(Record2DataSet dataSet)
{
    dataSets_.push_back(std::move(dataSet));
}

bool IPTC::getTimeStamp(std::uint8_t dateDataSet, std::uint8_t timeDataSet, IPTCTimeStamp& value) const
{
    std::string date;
    if (!get(dateDataSet, date)) {
        return false;
    }
    std::string time;
    get(timeDataSet, time);
    value = IPTCTimeStamp(IPTCDate(date), IPTCTime(time));
    return true;
}

void IPTC::setTimeStamp(std::uint8_t dateDataSet, std::uint8_t timeDataSet, const ISODateTime& value)
{
    const IPTCDate date = IPTCDate::fromISO(value);
    const IPTCTime time = IPTCTime::fromISO(value);
    set(dateDataSet, date.text());
    set(timeDataSet, time.text());
}

std::vector<std::uint8_t> IPTC::serialize() const
{
    std::vector<std::uint8_t> out;
    std::size_t size = before_.size() + DataSet::HeaderSize + version_.length() + after_.size();
    for (const Record2DataSet& d : dataSets_) {
        size += DataSet::HeaderSize + d.length();
    }
    out.reserve(size);
    out.insert(out.end(), before_.begin(), before_.end());
    version_.write(out);
    for (const Record2DataSet& d : dataSets_) {
        d.write(out);
    }
    out.insert(out.end(), after_.begin(), after_.end());
    return out;
}

// ---- EOLMassager -------------------------------------------------------------------------

const char* EOLMassager::nativeLineEnd() noexcept
{
#ifdef _WIN32
    return "\r\n";
#else
    return "\n";
#endif
}

namespace {

std::string replaceLineEnds(const std::string& text, const char* lineEnd)
{
    std::string out;
    out.reserve(text.size() + text.size() / 16);
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        if (c == '\r') {
            out += lineEnd;
            if (i + 1 < text.size() && text[i + 1] == '\n') {
                ++i;
            }
        } else if (c == '\n') {
            out += lineEnd;
        } else {
            out += c;
        }
    }
    return out;
}

} // namespace

std::string EOLMassager::toDisplay(const std::string& stored, const char* lineEnd)
{
    return replaceLineEnds(stored, lineEnd);
}

std::string EOLMassager::toStorage(const std::string& shown)
{
    return replaceLineEnds(shown, "\r");
}

} // namespace Metadata
