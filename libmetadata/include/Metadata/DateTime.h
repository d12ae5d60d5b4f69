// Date and time values: the ISO 8601 form that XMP stores, and the EXIF and IPTC texts that are
// converted to and from it. Every conversion between families goes through ISODateTime's
// components.
#pragma once

#include <cstdint>
#include <string>

namespace Metadata {

class ISODateTime {
public:
    // Zone arguments that ask for the machine's current offset from UTC instead.
    static constexpr std::int16_t LocalZoneHours = -13;
    static constexpr std::uint16_t LocalZoneMinutes = 0xFFFF;

    // Empty text, every component 0.
    ISODateTime() = default;
    // Stores the components (the local offset when either zone argument is its sentinel) and
    // formats the text.
    ISODateTime(std::int16_t year, std::int16_t month, std::int16_t day, std::int16_t hour, std::int16_t minute,
                std::int16_t second, std::int16_t zoneHours = LocalZoneHours,
                std::uint16_t zoneMinutes = LocalZoneMinutes);
    virtual ~ISODateTime() = default;
    ISODateTime(const ISODateTime&) = default;
    ISODateTime& operator=(const ISODateTime&) = default;

    std::int16_t second() const noexcept { return second_; }
    std::int16_t minute() const noexcept { return minute_; }
    std::int16_t hour() const noexcept { return hour_; }
    std::int16_t day() const noexcept { return day_; }
    std::int16_t month() const noexcept { return month_; }
    std::int16_t year() const noexcept { return year_; }
    std::int16_t zoneHours() const noexcept { return zoneHours_; }
    std::int16_t zoneMinutes() const noexcept { return zoneMinutes_; }
    std::uint32_t nanoseconds() const noexcept { return nanoseconds_; }
    // The moment as seconds since 1970-01-01 00:00 UTC, the zone's offset taken off.
    long long utcSeconds() const noexcept;

    // The text as it stands: what parse() reads and format() writes.
    const std::string& text() const noexcept { return text_; }
    void setText(std::string text) { text_ = std::move(text); }

    virtual bool isValid() const { return isTextValid() && isValueValid(); }
    // Fills the components from the text. Never fails: a text that matches only in part sets the
    // components up to the first mismatch.
    virtual void parse();
    // Rebuilds the text from the components, when isValueValid(); otherwise leaves it alone.
    virtual void format();

    // Range checks of the components. The year is never checked, nor the day against the month,
    // and a leap second is refused.
    bool isDateValid() const;
    bool isTimeValid() const;

    // Setters store and return their argument; they do not re-format the text.
    std::int16_t setSecond(std::int16_t v) { return second_ = v; }
    std::int16_t setMinute(std::int16_t v) { return minute_ = v; }
    std::int16_t setHour(std::int16_t v) { return hour_ = v; }
    std::int16_t setDay(std::int16_t v) { return day_ = v; }
    std::int16_t setMonth(std::int16_t v) { return month_ = v; }
    std::int16_t setYear(std::int16_t v) { return year_ = v; }
    std::int16_t setZoneHours(std::int16_t v) { return zoneHours_ = v; }
    std::int16_t setZoneMinutes(std::int16_t v) { return zoneMinutes_ = v; }
    std::uint32_t setNanoseconds(std::uint32_t v) { return nanoseconds_ = v; }

    // The text has the length of one of the class's forms without a fraction: 20 ("...Z") or 25
    // ("...+HH:MM"). A text with fractional seconds is therefore never text-valid.
    virtual bool isTextValid() const;
    virtual bool isValueValid() const;
    static bool inRange(std::int16_t value, std::int16_t low, std::int16_t high) noexcept
    {
        return low <= value && value <= high;
    }

protected:
    // The seconds with their fraction, as format() writes them ("05", "03.5").
    std::string secondsText() const;
    // "Z", or the sign, hours and minutes of the zone ("+01:00").
    std::string zoneText() const;
    // Parses "SS[.fff]ZONE" (what follows the minutes) into second, nanoseconds and zone.
    void parseSecondsAndZone(const char* rest, bool fractional);
    void setZone(std::int16_t zoneHours, std::uint16_t zoneMinutes);

    std::string text_;
    std::int16_t second_ = 0;
    std::int16_t minute_ = 0;
    std::int16_t hour_ = 0;
    std::int16_t day_ = 0;
    std::int16_t month_ = 0;
    std::int16_t year_ = 0;
    std::int16_t zoneHours_ = 0;
    std::int16_t zoneMinutes_ = 0;
    std::uint32_t nanoseconds_ = 0;
};

// A calendar date alone: "2003-07-14".
class ISODate : public ISODateTime {
public:
    ISODate() = default;
    ISODate(std::int16_t year, std::int16_t month, std::int16_t day);
    void parse() override;
    void format() override;
    bool isTextValid() const override;
    bool isValueValid() const override;
};

// A time of day with zone: "09:05:03Z", "09:05:03+02:00".
class ISOTime : public ISODateTime {
public:
    ISOTime() = default;
    ISOTime(std::int16_t hour, std::int16_t minute, std::int16_t second, std::int16_t zoneHours = LocalZoneHours,
            std::uint16_t zoneMinutes = LocalZoneMinutes);
    void parse() override;
    void format() override;
    bool isTextValid() const override;
    bool isValueValid() const override;
};

// An EXIF date-time text, "YYYY:MM:DD HH:MM:SS" (EXIF 2.2 section 4.6.4, DateTime), which
// carries no zone and is taken as UTC.
class EXIFTimeStamp {
public:
    EXIFTimeStamp() = default;
    // Keeps the text and, when it is 19 characters long, derives the ISO value. A text that does
    // not give a valid value is cleared. A piece that is not a number throws FileFormatException
    // with the strict conversion's text.
    explicit EXIFTimeStamp(std::string text);
    // The EXIF text of an ISO value's date and time (its zone is not written). Throws LogicError
    // for a value that is not a valid date and time of a four-digit year.
    static EXIFTimeStamp fromISO(const ISODateTime& value);

    bool isValid() const { return iso_.isValid() && text_.size() == 19; }
    const std::string& text() const noexcept { return text_; }
    const ISODateTime& isoDateTime() const noexcept { return iso_; }

private:
    std::string text_;
    ISODateTime iso_;
};

// An IPTC date text, "CCYYMMDD" (IIM 4.2, Date Created and its kin).
class IPTCDate {
public:
    IPTCDate() = default;
    explicit IPTCDate(std::string text);
    static IPTCDate fromISO(const ISODateTime& value);

    bool isValid() const { return text_.size() == 8 && iso_.isValid(); }
    const std::string& text() const noexcept { return text_; }
    const ISODate& isoDate() const noexcept { return iso_; }
    // Pieces of the text; empty when it is too short to hold them.
    std::string yearText() const;
    std::string monthText() const;
    std::string dayText() const;

private:
    std::string text_;
    ISODate iso_;
};

// An IPTC time text, "HHMMSS+HHMM" (IIM 4.2, Time Created and its kin).
class IPTCTime {
public:
    IPTCTime() = default;
    explicit IPTCTime(std::string text);
    static IPTCTime fromISO(const ISODateTime& value);

    bool isValid() const { return text_.size() == 11; }
    const std::string& text() const noexcept { return text_; }
    const ISOTime& isoTime() const noexcept { return iso_; }
    std::string hourText() const;
    std::string minuteText() const;
    std::string secondText() const;
    std::string zoneText() const;        // sign and four digits
    std::string zoneHoursText() const;
    std::string zoneMinutesText() const;
    // The zone's signed hours, or 65535 when the text is not valid.
    std::int32_t zoneHours() const;

private:
    std::string text_;
    ISOTime iso_;
};

// An IPTC date and time pair (Date Created with Time Created, for instance).
class IPTCTimeStamp {
public:
    IPTCTimeStamp() = default;
    // When both are valid, combines them into one ISO value and the text "CCYYMMDD HHMMSS+HHMM";
    // otherwise the combined text is empty.
    IPTCTimeStamp(const IPTCDate& date, const IPTCTime& time);

    bool isValid() const { return date_.isValid() && time_.isValid(); }
    const IPTCDate& date() const noexcept { return date_; }
    const IPTCTime& time() const noexcept { return time_; }
    const ISODateTime& isoDateTime() const noexcept { return iso_; }
    const std::string& text() const noexcept { return text_; }

private:
    IPTCDate date_;
    IPTCTime time_;
    ISODateTime iso_;
    std::string text_;
};

// Where the library learns the machine's current offset from UTC, in minutes east of UTC. The
// program installs the operating system's answer at start; until then the standard C library's
// local time is used.
using UtcOffsetFunction = int (*)();
void setUtcOffsetFunction(UtcOffsetFunction function) noexcept;
int currentUtcOffsetMinutes();

} // namespace Metadata
