#include "Metadata/DateTime.h"

#include "Metadata/Exceptions.h"

#include <boost/lexical_cast.hpp>

#include <atomic>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <locale>
#include <mutex>
#include <sstream>
#include <vector>

namespace Metadata {

namespace {

// Strict decimal conversion of one date or time piece: anything but a number fails with the
// conversion's own text.
std::int16_t piece(const std::string& text, std::size_t position, std::size_t length)
{
    try {
        return boost::lexical_cast<std::int16_t>(text.substr(position, length));
    } catch (const boost::bad_lexical_cast& e) {
        METADATA_THROW(FileFormatException, e.what());
    }
}

double decimalValue(const std::string& text)
{
    double value = 0;
    std::from_chars(text.data(), text.data() + text.size(), value);
    return value;
}

std::string writeDouble(double value)
{
    std::ostringstream out;
    out.imbue(std::locale::classic());
    out.precision(15);
    out << value;
    return out.str();
}

// Seconds since 1970 of a broken-down time read as UTC (proleptic Gregorian calendar).
long long secondsAsUtc(const std::tm& t)
{
    const long long y = t.tm_year + 1900LL - (t.tm_mon < 2 ? 1 : 0);
    const long long era = (y >= 0 ? y : y - 399) / 400;
    const long long yearOfEra = y - era * 400;
    const long long month = t.tm_mon + 1;
    const long long dayOfYear = (153 * (month + (month > 2 ? -3 : 9)) + 2) / 5 + t.tm_mday - 1;
    const long long dayOfEra = yearOfEra * 365 + yearOfEra / 4 - yearOfEra / 100 + dayOfYear;
    const long long days = era * 146097 + dayOfEra - 719468;
    return days * 86400 + t.tm_hour * 3600LL + t.tm_min * 60LL + t.tm_sec;
}

int standardLibraryUtcOffset()
{
    static std::mutex mutex; // localtime and gmtime share static storage
    std::lock_guard<std::mutex> lock(mutex);
    const std::time_t now = std::time(nullptr);
    const std::tm* local = std::localtime(&now);
    if (local == nullptr) {
        return 0;
    }
    const std::tm localCopy = *local;
    const std::tm* utc = std::gmtime(&now);
    if (utc == nullptr) {
        return 0;
    }
    return static_cast<int>((secondsAsUtc(localCopy) - secondsAsUtc(*utc)) / 60);
}

std::atomic<UtcOffsetFunction> g_utcOffset{nullptr};

} // namespace

void setUtcOffsetFunction(UtcOffsetFunction function) noexcept
{
    g_utcOffset.store(function);
}

int currentUtcOffsetMinutes()
{
    const UtcOffsetFunction f = g_utcOffset.load();
    return f != nullptr ? f() : standardLibraryUtcOffset();
}

// ---- ISODateTime -------------------------------------------------------------------------

ISODateTime::ISODateTime(std::int16_t year, std::int16_t month, std::int16_t day, std::int16_t hour,
                         std::int16_t minute, std::int16_t second, std::int16_t zoneHours, std::uint16_t zoneMinutes)
    : second_(second), minute_(minute), hour_(hour), day_(day), month_(month), year_(year)
{
    setZone(zoneHours, zoneMinutes);
    ISODateTime::format();
}

long long ISODateTime::utcSeconds() const noexcept
{
    std::tm t{};
    t.tm_year = year_ - 1900;
    t.tm_mon = month_ - 1;
    t.tm_mday = day_;
    t.tm_hour = hour_;
    t.tm_min = minute_;
    t.tm_sec = second_;
    const long long offsetMinutes = zoneHours_ * 60LL + (zoneHours_ < 0 ? -zoneMinutes_ : zoneMinutes_);
    return secondsAsUtc(t) - offsetMinutes * 60;
}

void ISODateTime::setZone(std::int16_t zoneHours, std::uint16_t zoneMinutes)
{
    if (zoneHours == LocalZoneHours || zoneMinutes == LocalZoneMinutes) {
        const int offset = currentUtcOffsetMinutes();
        zoneHours_ = static_cast<std::int16_t>(offset / 60);
        zoneMinutes_ = static_cast<std::int16_t>(std::abs(offset) % 60);
    } else {
        zoneHours_ = zoneHours;
        zoneMinutes_ = static_cast<std::int16_t>(zoneMinutes);
    }
}

bool ISODateTime::isDateValid() const
{
    return inRange(day_, 1, 31) && inRange(month_, 1, 12);
}

bool ISODateTime::isTimeValid() const
{
    return inRange(second_, 0, 59) && inRange(minute_, 0, 59) && inRange(hour_, 0, 23) &&
           inRange(zoneHours_, -12, 12) && inRange(zoneMinutes_, 0, 59);
}

bool ISODateTime::isTextValid() const
{
    return text_.size() == 20 || text_.size() == 25;
}

bool ISODateTime::isValueValid() const
{
    return isDateValid() && isTimeValid();
}

void ISODateTime::parseSecondsAndZone(const char* rest, bool fractional)
{
    std::string zone = "Z";
    if (fractional) {
        // "SS.fff" then a zone designator. Without a designator nothing is taken from the
        // seconds at all: such a time parses as second 0 without a fraction, deliberately.
        std::string r = rest;
        double whole = 0;
        double fraction = 0;
        const std::size_t designator = r.find_first_of("-+Z");
        if (designator != std::string::npos) {
            zone = r.substr(designator, 79);
            r.resize(designator);
            const std::size_t dot = r.find('.');
            if (dot != std::string::npos) {
                fraction = decimalValue(r.substr(dot));
                r.resize(dot + 1);
            }
            whole = decimalValue(r);
        }
        // Digits beyond any real second (or fraction) give a value that is simply not valid,
        // never one that wraps.
        second_ = whole >= 0 && whole < 100 ? static_cast<std::int16_t>(whole) : std::int16_t{-1};
        nanoseconds_ = fraction >= 0 && fraction < 1 ? static_cast<std::uint32_t>(fraction * 1e9) : 0u;
    } else if (*rest != '\0') {
        zone = rest;
    }

    if (zone[0] == 'Z') {
        zoneHours_ = 0;
        zoneMinutes_ = 0;
        return;
    }
    char sign = 0;
    int hours = 0;
    int minutes = 0;
    const int n = std::sscanf(zone.c_str(), "%c%d:%d", &sign, &hours, &minutes);
    if (n >= 2) {
        zoneHours_ = static_cast<std::int16_t>(sign == '+' ? hours : -hours);
    }
    if (n >= 3) {
        zoneMinutes_ = static_cast<std::int16_t>(minutes);
    }
}

namespace {

// Stores the first `n` of the scanned values (sscanf's count; EOF counts as none).
void assignScanned(int n, std::initializer_list<std::pair<std::int16_t*, int>> fields)
{
    int i = 0;
    for (const auto& [field, value] : fields) {
        if (i++ >= n) {
            break;
        }
        *field = static_cast<std::int16_t>(value);
    }
}

} // namespace

void ISODateTime::parse()
{
    // What %s takes can never be longer than the text.
    std::vector<char> rest(text_.size() + 1, '\0');
    int year = 0, month = 0, day = 0, hour = 0, minute = 0, second = 0;
    if (text_.find('.') != std::string::npos) {
        nanoseconds_ = 0;
        const int n = std::sscanf(text_.c_str(), "%4d-%2d-%2dT%2d:%2d:%s", &year, &month, &day, &hour, &minute,
                                  rest.data());
        assignScanned(n, {{&year_, year}, {&month_, month}, {&day_, day}, {&hour_, hour}, {&minute_, minute}});
        if (n == 6) {
            parseSecondsAndZone(rest.data(), true);
        }
    } else {
        const int n = std::sscanf(text_.c_str(), "%4d-%2d-%2dT%2d:%2d:%2d%s", &year, &month, &day, &hour, &minute,
                                  &second, rest.data());
        assignScanned(n, {{&year_, year}, {&month_, month}, {&day_, day}, {&hour_, hour}, {&minute_, minute},
                          {&second_, second}});
        if (n >= 6) {
            nanoseconds_ = 0;
            parseSecondsAndZone(rest.data(), false);
        }
    }
}

std::string ISODateTime::secondsText() const
{
    char buffer[16];
    if (nanoseconds_ == 0) {
        std::snprintf(buffer, sizeof buffer, "%02d", second_);
        return buffer;
    }
    const double exact = second_ + nanoseconds_ * 1e-9;
    double v = exact;
    std::string s = writeDouble(v);
    // Scientific notation is shifted a decimal at a time until it disappears. This rescales very
    // small fractions (one nanosecond comes out as 00.0001); the seconds have always been
    // written so.
    while (s.find_first_of("eE") != std::string::npos) {
        const double whole = std::trunc(v);
        v = whole + (v - whole) * 10;
        s = writeDouble(v);
        if (v == 0.0 || v > 0.5) {
            s = writeDouble(std::trunc(exact) + 1.0);
            break;
        }
    }
    return v < 10 ? "0" + s : s;
}

std::string ISODateTime::zoneText() const
{
    if (zoneHours_ == 0 && zoneMinutes_ == 0) {
        return "Z";
    }
    char buffer[32];
    std::snprintf(buffer, sizeof buffer, "%s%02d:%02d", zoneHours_ >= 0 ? "+" : "-", std::abs(zoneHours_),
                  zoneMinutes_);
    return buffer;
}

void ISODateTime::format()
{
    if (!isValueValid()) {
        return;
    }
    const auto twoDigits = [](int v) { return v >= 0 && v < 100; };
    if (nanoseconds_ == 0 && twoDigits(month_) && twoDigits(day_) && twoDigits(hour_) && twoDigits(minute_) &&
        twoDigits(second_)) {
        // Whole seconds, the common case, without printf: every file of a rename goes through here.
        std::string text = std::to_string(year_);
        for (const auto& [separator, value] : {std::pair<char, int>{'-', month_}, {'-', day_}, {'T', hour_},
                                              {':', minute_}, {':', second_}}) {
            text += separator;
            text += static_cast<char>('0' + value / 10);
            text += static_cast<char>('0' + value % 10);
        }
        text += zoneText();
        text_ = std::move(text);
        return;
    }
    // The year is written at its natural width: a year below 1000 has fewer than four digits.
    char buffer[320];
    std::snprintf(buffer, sizeof buffer, "%d-%02d-%02dT%02d:%02d:%s%s", year_, month_, day_, hour_, minute_,
                  secondsText().c_str(), zoneText().c_str());
    text_ = buffer;
}

// ---- ISODate and ISOTime -----------------------------------------------------------------

ISODate::ISODate(std::int16_t year, std::int16_t month, std::int16_t day)
{
    year_ = year;
    month_ = month;
    day_ = day;
    ISODate::format();
}

void ISODate::parse()
{
    int year = 0, month = 0, day = 0;
    const int n = std::sscanf(text_.c_str(), "%4d-%2d-%2d", &year, &month, &day);
    assignScanned(n, {{&year_, year}, {&month_, month}, {&day_, day}});
}

void ISODate::format()
{
    if (!isValueValid()) {
        return;
    }
    char buffer[32];
    std::snprintf(buffer, sizeof buffer, "%d-%02d-%02d", year_, month_, day_);
    text_ = buffer;
}

bool ISODate::isTextValid() const
{
    return text_.size() == 10;
}

bool ISODate::isValueValid() const
{
    return isDateValid();
}

ISOTime::ISOTime(std::int16_t hour, std::int16_t minute, std::int16_t second, std::int16_t zoneHours,
                 std::uint16_t zoneMinutes)
{
    hour_ = hour;
    minute_ = minute;
    second_ = second;
    setZone(zoneHours, zoneMinutes);
    ISOTime::format();
}

void ISOTime::parse()
{
    year_ = month_ = day_ = 0;
    std::vector<char> rest(text_.size() + 1, '\0');
    int hour = 0, minute = 0, second = 0;
    if (text_.find('.') != std::string::npos) {
        nanoseconds_ = 0;
        const int n = std::sscanf(text_.c_str(), "%2d:%2d:%s", &hour, &minute, rest.data());
        assignScanned(n, {{&hour_, hour}, {&minute_, minute}});
        if (n == 3) {
            parseSecondsAndZone(rest.data(), true);
        }
    } else {
        const int n = std::sscanf(text_.c_str(), "%2d:%2d:%2d%s", &hour, &minute, &second, rest.data());
        assignScanned(n, {{&hour_, hour}, {&minute_, minute}, {&second_, second}});
        if (n >= 3) {
            nanoseconds_ = 0;
            parseSecondsAndZone(rest.data(), false);
        }
    }
}

void ISOTime::format()
{
    if (!isValueValid()) {
        return;
    }
    char buffer[320];
    std::snprintf(buffer, sizeof buffer, "%02d:%02d:%s%s", hour_, minute_, secondsText().c_str(),
                  zoneText().c_str());
    text_ = buffer;
}

bool ISOTime::isTextValid() const
{
    return text_.size() == 9 || text_.size() == 14;
}

bool ISOTime::isValueValid() const
{
    return isTimeValid();
}

// ---- EXIF and IPTC texts -----------------------------------------------------------------

namespace {

std::string substring(const std::string& text, std::size_t position, std::size_t length)
{
    return text.size() >= position + length ? text.substr(position, length) : std::string();
}

void requireFourDigitYear(const ISODateTime& value)
{
    if (!ISODateTime::inRange(value.year(), 0, 9999) || !value.isDateValid()) {
        METADATA_THROW(LogicError, "date out of range: " + std::to_string(value.year()) + "-" +
                                       std::to_string(value.month()) + "-" + std::to_string(value.day()));
    }
}

void requireTime(const ISODateTime& value)
{
    if (!value.isTimeValid()) {
        METADATA_THROW(LogicError, "time out of range: " + std::to_string(value.hour()) + ":" +
                                       std::to_string(value.minute()) + ":" + std::to_string(value.second()));
    }
}

} // namespace

EXIFTimeStamp::EXIFTimeStamp(std::string text) : text_(std::move(text))
{
    if (text_.size() == 19) {
        // EXIF times carry no zone: they are taken as UTC.
        iso_ = ISODateTime(piece(text_, 0, 4), piece(text_, 5, 2), piece(text_, 8, 2), piece(text_, 11, 2),
                           piece(text_, 14, 2), piece(text_, 17, 2), 0, 0);
    }
    if (!isValid()) {
        text_.clear();
    }
}

EXIFTimeStamp EXIFTimeStamp::fromISO(const ISODateTime& value)
{
    requireFourDigitYear(value);
    requireTime(value);
    char buffer[64];
    std::snprintf(buffer, sizeof buffer, "%04d:%02d:%02d %02d:%02d:%02d", value.year(), value.month(), value.day(),
                  value.hour(), value.minute(), value.second());
    return EXIFTimeStamp(buffer);
}

IPTCDate::IPTCDate(std::string text) : text_(std::move(text))
{
    if (text_.size() == 8) {
        iso_ = ISODate(piece(text_, 0, 4), piece(text_, 4, 2), piece(text_, 6, 2));
    }
}

IPTCDate IPTCDate::fromISO(const ISODateTime& value)
{
    requireFourDigitYear(value);
    char buffer[32];
    std::snprintf(buffer, sizeof buffer, "%04d%02d%02d", value.year(), value.month(), value.day());
    return IPTCDate(buffer);
}

std::string IPTCDate::yearText() const
{
    return substring(text_, 0, 4);
}
std::string IPTCDate::monthText() const
{
    return substring(text_, 4, 2);
}
std::string IPTCDate::dayText() const
{
    return substring(text_, 6, 2);
}

IPTCTime::IPTCTime(std::string text) : text_(std::move(text))
{
    if (text_.size() == 11) {
        std::int16_t zoneHours = piece(text_, 7, 2);
        if (text_[6] == '-') {
            zoneHours = static_cast<std::int16_t>(-zoneHours);
        }
        iso_ = ISOTime(piece(text_, 0, 2), piece(text_, 2, 2), piece(text_, 4, 2), zoneHours,
                       static_cast<std::uint16_t>(piece(text_, 9, 2)));
    }
}

IPTCTime IPTCTime::fromISO(const ISODateTime& value)
{
    requireTime(value);
    char buffer[64];
    std::snprintf(buffer, sizeof buffer, "%02d%02d%02d%c%02d%02d", value.hour(), value.minute(), value.second(),
                  value.zoneHours() >= 0 ? '+' : '-', std::abs(value.zoneHours()), value.zoneMinutes());
    return IPTCTime(buffer);
}

std::string IPTCTime::hourText() const
{
    return substring(text_, 0, 2);
}
std::string IPTCTime::minuteText() const
{
    return substring(text_, 2, 2);
}
std::string IPTCTime::secondText() const
{
    return substring(text_, 4, 2);
}
std::string IPTCTime::zoneText() const
{
    return substring(text_, 6, 5);
}
std::string IPTCTime::zoneHoursText() const
{
    return substring(text_, 7, 2);
}
std::string IPTCTime::zoneMinutesText() const
{
    return substring(text_, 9, 2);
}

std::int32_t IPTCTime::zoneHours() const
{
    return isValid() ? iso_.zoneHours() : 65535;
}

IPTCTimeStamp::IPTCTimeStamp(const IPTCDate& date, const IPTCTime& time) : date_(date), time_(time)
{
    if (isValid()) {
        const ISODate& d = date_.isoDate();
        const ISOTime& t = time_.isoTime();
        iso_ = ISODateTime(d.year(), d.month(), d.day(), t.hour(), t.minute(), t.second(), t.zoneHours(),
                           static_cast<std::uint16_t>(t.zoneMinutes()));
        text_ = date_.text() + " " + time_.text();
    } else {
        text_.clear();
    }
}

} // namespace Metadata
