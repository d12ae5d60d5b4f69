#include <Metadata/DateTime.h>
#include <Metadata/Exceptions.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>

using namespace Metadata;

namespace {

ISODateTime parsed(const std::string& text)
{
    ISODateTime value;
    value.setText(text);
    value.parse();
    return value;
}

// Pins the machine's offset from UTC for the zone sentinels.
class FixedUtcOffset {
public:
    explicit FixedUtcOffset(UtcOffsetFunction f) { setUtcOffsetFunction(f); }
    ~FixedUtcOffset() { setUtcOffsetFunction(nullptr); }
};

} // namespace

TEST(ISODateTime, ParsesAndFormatsTheZuluAndOffsetForms)
{
    ISODateTime v = parsed("2003-07-14T09:05:03Z");
    EXPECT_EQ(v.year(), 2003);
    EXPECT_EQ(v.month(), 7);
    EXPECT_EQ(v.day(), 14);
    EXPECT_EQ(v.hour(), 9);
    EXPECT_EQ(v.minute(), 5);
    EXPECT_EQ(v.second(), 3);
    EXPECT_EQ(v.zoneHours(), 0);
    EXPECT_EQ(v.zoneMinutes(), 0);
    EXPECT_TRUE(v.isValid());
    v.format();
    EXPECT_EQ(v.text(), "2003-07-14T09:05:03Z");

    ISODateTime west = parsed("2003-07-14T09:05:03-05:30");
    EXPECT_EQ(west.zoneHours(), -5);
    EXPECT_EQ(west.zoneMinutes(), 30);
    EXPECT_TRUE(west.isValid());
    west.format();
    EXPECT_EQ(west.text(), "2003-07-14T09:05:03-05:30");

    // An offset of zero is always written as Z.
    ISODateTime zero = parsed("2003-07-14T09:05:03+00:00");
    zero.format();
    EXPECT_EQ(zero.text(), "2003-07-14T09:05:03Z");

    // Nothing after the seconds reads as Z.
    ISODateTime bare = parsed("2003-07-14T09:05:03");
    EXPECT_EQ(bare.second(), 3);
    bare.format();
    EXPECT_EQ(bare.text(), "2003-07-14T09:05:03Z");
}

TEST(ISODateTime, FractionsNeedAZoneDesignatorAndNegativeHalfHoursLoseTheirSign)
{
    ISODateTime v = parsed("2003-07-14T09:05:03.5+01:00");
    EXPECT_EQ(v.second(), 3);
    EXPECT_EQ(v.nanoseconds(), 500000000u);
    EXPECT_EQ(v.zoneHours(), 1);
    EXPECT_FALSE(v.isTextValid()); // 27 characters: not one of the forms
    EXPECT_FALSE(v.isValid());
    v.format();
    EXPECT_EQ(v.text(), "2003-07-14T09:05:03.5+01:00");

    ISODateTime noZone = parsed("2003-07-14T09:05:03.5");
    EXPECT_EQ(noZone.second(), 0);
    EXPECT_EQ(noZone.nanoseconds(), 0u);

    ISODateTime half = parsed("2003-07-14T09:05:03-00:30");
    EXPECT_EQ(half.zoneHours(), 0);
    EXPECT_EQ(half.zoneMinutes(), 30);
    half.format();
    EXPECT_EQ(half.text(), "2003-07-14T09:05:03+00:30");

    // One nanosecond is rescaled out of scientific notation.
    ISODateTime tiny(2003, 7, 14, 9, 5, 0, 0, 0);
    tiny.setNanoseconds(1);
    tiny.format();
    EXPECT_EQ(tiny.text(), "2003-07-14T09:05:00.0001Z");
    ISODateTime fraction(2003, 7, 14, 9, 5, 59, 2, 0);
    fraction.setNanoseconds(999999999);
    fraction.format();
    EXPECT_EQ(fraction.text(), "2003-07-14T09:05:59.999999999+02:00");
}

TEST(ISODateTime, RangeChecksAndPartialParses)
{
    EXPECT_TRUE(ISODateTime(2003, 2, 31, 23, 59, 59, 12, 59).isValid()); // the day is not checked against the month
    EXPECT_FALSE(ISODateTime(2003, 7, 14, 9, 5, 60, 0, 0).isTimeValid()); // no leap second
    EXPECT_FALSE(ISODateTime(2003, 7, 14, 9, 5, 3, 13, 0).isTimeValid());
    EXPECT_FALSE(ISODateTime(2003, 13, 1, 9, 5, 3, 0, 0).isDateValid());
    EXPECT_FALSE(ISODateTime(2003, 1, 0, 9, 5, 3, 0, 0).isDateValid());

    // A short year keeps its natural width.
    EXPECT_EQ(ISODateTime(999, 1, 2, 3, 4, 5, 0, 0).text(), "999-01-02T03:04:05Z");

    // format() on an invalid value leaves the text; setters do not re-format.
    ISODateTime v = parsed("2003-07-14T09:05:03Z");
    v.setMonth(13);
    v.format();
    EXPECT_EQ(v.text(), "2003-07-14T09:05:03Z");
    EXPECT_EQ(v.setMonth(8), 8);
    EXPECT_EQ(v.text(), "2003-07-14T09:05:03Z");

    // A text that matches in part sets the components up to the mismatch.
    ISODateTime partial(1999, 1, 1, 1, 1, 1, 0, 0);
    partial.setText("2003-07-XXT09");
    partial.parse();
    EXPECT_EQ(partial.year(), 2003);
    EXPECT_EQ(partial.month(), 7);
    EXPECT_EQ(partial.day(), 1);
    EXPECT_EQ(partial.hour(), 1);
}

TEST(ISODateTime, SentinelZonesTakeTheMachinesOffset)
{
    const FixedUtcOffset pinned([] { return -330; });
    const ISODateTime v(2003, 7, 14, 9, 5, 3);
    EXPECT_EQ(v.zoneHours(), -5);
    EXPECT_EQ(v.zoneMinutes(), 30);
    EXPECT_EQ(v.text(), "2003-07-14T09:05:03-05:30");
    EXPECT_EQ(ISOTime(9, 5, 3, 2, ISODateTime::LocalZoneMinutes).text(), "09:05:03-05:30");
    EXPECT_EQ(ISODateTime(2003, 7, 14, 9, 5, 3, 1, 0).text(), "2003-07-14T09:05:03+01:00");
}

TEST(ISODateTime, DatesAndTimesAlone)
{
    const ISODate d(2003, 7, 4);
    EXPECT_EQ(d.text(), "2003-07-04");
    EXPECT_TRUE(d.isValid());
    ISODate p;
    p.setText("1999-12-31");
    p.parse();
    EXPECT_EQ(p.year(), 1999);
    EXPECT_EQ(p.day(), 31);
    EXPECT_EQ(p.hour(), 0);

    ISOTime t;
    t.setText("09:05:03+02:00");
    t.parse();
    EXPECT_EQ(t.hour(), 9);
    EXPECT_EQ(t.second(), 3);
    EXPECT_EQ(t.zoneHours(), 2);
    EXPECT_TRUE(t.isValid());
    t.format();
    EXPECT_EQ(t.text(), "09:05:03+02:00");
    ISOTime f;
    f.setText("09:05:03.25Z");
    f.setYear(2000);
    f.parse();
    EXPECT_EQ(f.year(), 0); // a time clears the date
    EXPECT_EQ(f.nanoseconds(), 250000000u);
    f.format();
    EXPECT_EQ(f.text(), "09:05:03.25Z");
    EXPECT_EQ(ISOTime(9, 5, 3, 0, 0).text(), "09:05:03Z");
}

TEST(EXIFTimeStamp, NineteenCharactersOrNothing)
{
    const EXIFTimeStamp s("2003:07:14 09:05:03");
    EXPECT_TRUE(s.isValid());
    EXPECT_EQ(s.text(), "2003:07:14 09:05:03");
    EXPECT_EQ(s.isoDateTime().text(), "2003-07-14T09:05:03Z");

    for (const char* text : {"2003:07:14 09:05:0", "2003:07:14 09:05:03Z", "2003:13:14 09:05:03"}) {
        const EXIFTimeStamp bad(text);
        EXPECT_FALSE(bad.isValid()) << text;
        EXPECT_EQ(bad.text(), "") << text;
    }
    EXPECT_EQ(EXIFTimeStamp("2003:07:14 09:05:0").isoDateTime().text(), "");
    try {
        EXIFTimeStamp("    :  :     :  :  ");
        FAIL() << "blanks converted";
    } catch (const FileFormatException& e) {
        EXPECT_STREQ(e.what(), "bad lexical cast: source type value could not be interpreted as target");
    }
}

TEST(IPTCTimeStamp, CombinesDateAndTime)
{
    const IPTCDate date("20030714");
    const IPTCTime time("090503+0200");
    EXPECT_TRUE(date.isValid());
    EXPECT_TRUE(time.isValid());
    EXPECT_EQ(date.yearText(), "2003");
    EXPECT_EQ(date.dayText(), "14");
    EXPECT_EQ(time.zoneText(), "+0200");
    EXPECT_EQ(time.zoneMinutesText(), "00");
    EXPECT_EQ(time.zoneHours(), 2);
    const IPTCTimeStamp stamp(date, time);
    EXPECT_TRUE(stamp.isValid());
    EXPECT_EQ(stamp.isoDateTime().text(), "2003-07-14T09:05:03+02:00");
    EXPECT_EQ(stamp.text(), "20030714 090503+0200");

    EXPECT_EQ(IPTCTime("090503-0130").isoTime().text(), "09:05:03-01:30");
    const IPTCTime shortTime("0905");
    EXPECT_FALSE(shortTime.isValid());
    EXPECT_EQ(shortTime.zoneHours(), 65535);
    EXPECT_EQ(shortTime.zoneText(), "");
    EXPECT_EQ(IPTCTimeStamp(date, shortTime).text(), "");
    EXPECT_FALSE(IPTCDate("20031314").isValid());
    EXPECT_THROW(IPTCDate("2003O714"), FileFormatException);
}

TEST(DateConversions, WriteIPTCAndEXIFTextsZeroPadded)
{
    const ISODateTime v(2003, 7, 4, 9, 5, 3, -3, 30);
    EXPECT_EQ(IPTCDate::fromISO(v).text(), "20030704");
    EXPECT_EQ(IPTCTime::fromISO(v).text(), "090503-0330");
    EXPECT_EQ(EXIFTimeStamp::fromISO(v).text(), "2003:07:04 09:05:03");
    EXPECT_EQ(IPTCTime::fromISO(ISODateTime(2003, 7, 14, 23, 0, 0, 0, 0)).text(), "230000+0000");

    // The texts read back to the same components.
    const IPTCTimeStamp back(IPTCDate::fromISO(v), IPTCTime::fromISO(v));
    EXPECT_EQ(back.isoDateTime().text(), "2003-07-04T09:05:03-03:30");
    EXPECT_EQ(EXIFTimeStamp::fromISO(v).isoDateTime().text(), "2003-07-04T09:05:03Z");

    // Years below 1000 are padded to four digits, but the ISO side writes them shorter, so they
    // never count as valid dates when read back.
    const ISODateTime early(905, 7, 4, 9, 5, 3, 0, 0);
    EXPECT_EQ(IPTCDate::fromISO(early).text(), "09050704");
    EXPECT_FALSE(IPTCDate::fromISO(early).isValid());
    EXPECT_EQ(EXIFTimeStamp::fromISO(early).text(), "");

    ISODateTime bad = v;
    bad.setMonth(0);
    EXPECT_THROW(IPTCDate::fromISO(bad), LogicError);
    EXPECT_THROW(EXIFTimeStamp::fromISO(bad), LogicError);
    ISODateTime late = v;
    late.setHour(24);
    EXPECT_THROW(IPTCTime::fromISO(late), LogicError);
    ISODateTime big = v;
    big.setYear(10000);
    EXPECT_THROW(IPTCDate::fromISO(big), LogicError);
}

TEST(UtcOffset, DefaultFollowsTheTimeZone)
{
    const char* saved = std::getenv("TZ");
    const std::string before = saved ? saved : "";
    setenv("TZ", "<+0530>-5:30", 1); // POSIX counts west as positive: UTC+05:30
    tzset();
    EXPECT_EQ(currentUtcOffsetMinutes(), 330);
    EXPECT_EQ(ISODateTime(2003, 7, 14, 9, 5, 3).text(), "2003-07-14T09:05:03+05:30");
    if (saved) {
        setenv("TZ", before.c_str(), 1);
    } else {
        unsetenv("TZ");
    }
    tzset();
}
