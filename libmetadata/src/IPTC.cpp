#include "Metadata/IPTC.h"

#include "Metadata/Exceptions.h"

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

IPTC::IPTC() : version_(ApplicationRecord, 0, 2, DefaultVersion) {}

IPTC::IPTC(const std::uint8_t* block, std::size_t size) : IPTC()
{
    bool inRecord = false;
    std::size_t at = 0;
    // A dataset starts with the marker and record 2; before the first one anything is skipped
    // (record 1 among it), after it record 2 must continue without a gap.
    while (size - at >= 2) {
        if (block[at] != TagMarker || block[at + 1] != ApplicationRecord) {
            if (inRecord) {
                break;
            }
            ++at;
            continue;
        }
        inRecord = true;
        if (size - at < DataSet::HeaderSize) {
            break;
        }
        const std::uint8_t number = block[at + 2];
        if ((block[at + 3] & 0x80) != 0) {
            break; // extended-length datasets are not supported
        }
        const auto length = static_cast<std::uint16_t>((block[at + 3] << 8) | block[at + 4]);
        at += DataSet::HeaderSize;
        if (length > size - at) {
            break; // the value would run past the end of the block
        }
        const std::uint8_t* value = block + at;
        at += length;
        if (length > MaxReadLength) {
            continue;
        }
        if (number == 0) {
            version_ = DataSet(ApplicationRecord, 0, length, value);
        } else if (Record2DataSet::info(number) != nullptr) {
            const auto* end = std::find(value, value + length, std::uint8_t{0});
            dataSets_.emplace_back(number, std::string(value, end));
        }
    }
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
    std::size_t size = DataSet::HeaderSize + version_.length();
    for (const Record2DataSet& d : dataSets_) {
        size += DataSet::HeaderSize + d.length();
    }
    out.reserve(size);
    version_.write(out);
    for (const Record2DataSet& d : dataSets_) {
        d.write(out);
    }
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
