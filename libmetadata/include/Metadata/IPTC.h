// The IPTC-NAA Information Interchange Model application record (record 2, IIM 4.2): its
// datasets, the table of those the library knows, and the record set that reads, edits and
// writes them.
#pragma once

#include "Metadata/DateTime.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace Metadata {

// One IIM dataset: record and dataset number, and its value bytes, shared by all copies.
class DataSet {
public:
    // Size of a standard header: marker 0x1C, record, dataset, two length bytes.
    static constexpr std::uint16_t HeaderSize = 5;
    // The largest length a standard (not extended) header can carry.
    static constexpr std::uint16_t MaxStandardLength = 32767;

    DataSet() = default;
    // Copies `length` bytes. Throws MemoryError when they cannot be held.
    DataSet(std::uint8_t record, std::uint8_t dataSet, std::uint16_t length, const std::uint8_t* bytes);
    virtual ~DataSet() = default;

    std::uint8_t record() const noexcept { return record_; }
    std::uint8_t dataSet() const noexcept { return dataSet_; }
    std::uint16_t length() const noexcept { return length_; }
    // The value bytes; null for a default-constructed dataset.
    const std::uint8_t* data() const noexcept { return data_ ? data_->data() : nullptr; }

    // Appends the standard header and the value to `out`.
    void write(std::vector<std::uint8_t>& out) const;

private:
    std::shared_ptr<const std::vector<std::uint8_t>> data_;
    std::uint16_t length_ = 0;
    std::uint8_t record_ = 0;
    std::uint8_t dataSet_ = 0;
};

// What the library knows of one record-2 dataset.
struct DataSetInfo {
    std::uint8_t number;
    const char* name;
    std::uint16_t minLength;
    std::uint16_t maxLength;
};

// A textual dataset of record 2.
class Record2DataSet : public DataSet {
public:
    // The datasets the rest of the system edits and shows, with their maximum lengths.
    enum Number : std::uint8_t {
        E_OBJECT_NAME = 5,
        E_CATEGORY = 15,
        E_SUPPLEMENTAL_CATEGORY = 20,
        E_KEYWORD = 25,
        E_SPECIAL_INSTRUCTIONS = 40,
        E_BY_LINE = 80,
        E_BY_LINE_TITLE = 85,
        E_CITY = 90,
        E_PROVINCE_STATE = 95,
        E_COUNTRY_NAME = 101,
        E_ORIGINAL_TRANSMISSION_REFERENCE = 103,
        E_HEADLINE = 105,
        E_CREDIT = 110,
        E_SOURCE = 115,
        E_COPYRIGHT_NOTICE = 116,
        E_CAPTION = 120,
        E_CAPTION_WRITER = 122,
    };
    enum MaxSize : std::uint16_t {
        E_OBJECT_NAME_MAX_SIZE = 64,
        E_CATEGORY_MAX_SIZE = 3,
        E_SUPPLEMENTAL_CATEGORY_MAX_SIZE = 32,
        E_KEYWORD_MAX_SIZE = 64,
        E_SPECIAL_INSTRUCTIONS_MAX_SIZE = 256,
        E_BY_LINE_MAX_SIZE = 32,
        E_BY_LINE_TITLE_MAX_SIZE = 32,
        E_CITY_MAX_SIZE = 32,
        E_PROVINCE_STATE_MAX_SIZE = 32,
        E_COUNTRY_NAME_MAX_SIZE = 64,
        E_ORIGINAL_TRANSMISSION_REFERENCE_MAX_SIZE = 32,
        E_HEADLINE_MAX_SIZE = 256,
        E_CREDIT_MAX_SIZE = 32,
        E_SOURCE_MAX_SIZE = 32,
        E_COPYRIGHT_NOTICE_MAX_SIZE = 128,
        E_CAPTION_MAX_SIZE = 2000,
        E_CAPTION_WRITER_MAX_SIZE = 32,
    };
    // Other dataset numbers used by the date and time pairs.
    static constexpr std::uint8_t E_DATE_CREATED = 55;
    static constexpr std::uint8_t E_TIME_CREATED = 60;
    static constexpr std::uint8_t E_DIGITAL_CREATION_DATE = 62;
    static constexpr std::uint8_t E_DIGITAL_CREATION_TIME = 63;

    Record2DataSet(std::uint8_t dataSet, std::string text);
    // A dataset as read: its bytes kept exactly, its text the bytes up to the first NUL.
    Record2DataSet(std::uint8_t dataSet, const std::uint8_t* bytes, std::uint16_t length);

    const std::string& text() const noexcept { return text_; }

    // The table of the 46 record-2 datasets the library knows, ended by a row numbered 0.
    static const DataSetInfo* table() noexcept;
    static constexpr std::size_t TableSize = 46;
    // The row of a dataset number, or null when the library does not know it.
    static const DataSetInfo* info(std::uint8_t dataSet) noexcept;
    // The dataset's name, or "2:NNN" for a number the library does not know.
    static std::string nameOf(std::uint8_t dataSet);

private:
    std::string text_;
};

// The record-2 datasets of one image, in the order they are stored, with the Record Version.
class IPTC {
public:
    // The separator of joined() between the values of a repeated dataset.
    static constexpr const char* JoinSeparator = "; ";
    // The longest value the standard allows any dataset (Caption). Longer ones, which other
    // programs write, are read and kept all the same, with a warning.
    static constexpr std::uint16_t MaxReadLength = 2000;

    // No datasets, Record Version 2.
    IPTC();
    // Reads record 2 from an IIM block. Never fails on malformed bytes: reading simply stops
    // (at an extended-length dataset, at the first byte after record 2, at the end of the
    // block) and keeps what it has. Every dataset is kept with its bytes as stored (a value
    // with a NUL in it, one longer than the standard allows, one of a number the library does
    // not know), and so are the records before and after record 2, so that writing the record
    // back changes only what was edited.
    IPTC(const std::uint8_t* block, std::size_t size);

    // What the reader found amiss but kept (values longer than their dataset allows).
    const std::vector<std::string>& warnings() const noexcept { return warnings_; }
    // A text of the record as UTF-8, after the record's declared character set (1:90).
    std::string toUtf8(const std::string& text) const;

    const DataSet& recordVersion() const noexcept { return version_; }
    const std::vector<Record2DataSet>& dataSets() const noexcept { return dataSets_; }
    // True when no dataset besides the Record Version is held.
    bool empty() const noexcept { return dataSets_.empty(); }

    // Every value of a dataset, in stored order.
    std::vector<std::string> values(std::uint8_t dataSet) const;
    // The first value of a dataset; false when there is none.
    bool get(std::uint8_t dataSet, std::string& value) const;
    // All values of a dataset in one text, separated by JoinSeparator ("; ").
    std::string joined(std::uint8_t dataSet) const;

    // Editing. Values are checked against the dataset's length limits; a value outside them, or
    // a dataset the library does not know, is refused with Exception naming the dataset and the
    // limit. Nothing is ever cut short.
    // Replaces every occurrence by one value (or several), where the first occurrence stood, or
    // at the end when there was none.
    void set(std::uint8_t dataSet, const std::string& value);
    void set(std::uint8_t dataSet, const std::vector<std::string>& values);
    // Appends one more occurrence.
    void add(std::uint8_t dataSet, const std::string& value);
    // Removes every occurrence; false when there was none.
    bool remove(std::uint8_t dataSet);
    // Appends a dataset as read, unchecked.
    void addDataSet(Record2DataSet dataSet);

    // A date dataset with its time dataset (Date Created with Time Created, for instance).
    // False when the date is missing; a missing time gives an invalid pair.
    bool getTimeStamp(std::uint8_t dateDataSet, std::uint8_t timeDataSet, IPTCTimeStamp& value) const;
    // Writes both datasets from an ISO value ("CCYYMMDD" and "HHMMSS+HHMM").
    void setTimeStamp(std::uint8_t dateDataSet, std::uint8_t timeDataSet, const ISODateTime& value);

    // Record 2 as IIM bytes: the Record Version first, then every dataset in stored order, all
    // with standard headers; the records read before and after it around it, as they were.
    std::vector<std::uint8_t> serialize() const;

private:
    static void check(std::uint8_t dataSet, const std::string& value);
    static bool declaresUtf8(const std::vector<std::uint8_t>& envelope);

    DataSet version_;
    std::vector<Record2DataSet> dataSets_;
    std::vector<std::uint8_t> before_;
    std::vector<std::uint8_t> after_;
    std::vector<std::string> warnings_;
    bool utf8_ = false;
};

// Line ends of captions: IPTC stores a carriage return alone; the program shows the platform's
// line end. Either conversion accepts CR, LF and CR LF alike.
class EOLMassager {
public:
    // The platform's own line end: CR LF on Windows, LF elsewhere.
    static const char* nativeLineEnd() noexcept;

    // Stored text to text for showing, with `lineEnd` for every line break.
    static std::string toDisplay(const std::string& stored, const char* lineEnd = nativeLineEnd());
    // Text as typed or shown to the form IPTC stores.
    static std::string toStorage(const std::string& shown);
};

} // namespace Metadata
