#include "JpegBuilder.h"

#include <Metadata/Exceptions.h>
#include <Metadata/IPTC.h>
#include <Metadata/MD5.h>

#include <gtest/gtest.h>

#include <set>

using namespace Metadata;
using R2 = Record2DataSet;

namespace {

using TestSupport::Bytes;
using TestSupport::operator+;

Bytes dataSet(std::uint8_t record, std::uint8_t number, const std::string& value)
{
    return TestSupport::iptcDataSet(record, number, value);
}


IPTC read(const Bytes& block)
{
    // Exactly sized, so that reading one byte too far is caught by the sanitizers.
    auto copy = std::make_unique<std::uint8_t[]>(block.size());
    std::copy(block.begin(), block.end(), copy.get());
    return IPTC(copy.get(), block.size());
}

std::vector<std::pair<int, std::string>> contents(const IPTC& iptc)
{
    std::vector<std::pair<int, std::string>> out;
    for (const Record2DataSet& d : iptc.dataSets()) {
        out.emplace_back(d.dataSet(), d.text());
    }
    return out;
}

std::string refusal(const std::function<void()>& edit)
{
    try {
        edit();
    } catch (const Exception& e) {
        return e.what();
    }
    return "accepted";
}

} // namespace

TEST(Record2Table, HoldsFortySixKnownDatasetsWithTheirLimits)
{
    const DataSetInfo* t = R2::table();
    std::size_t n = 0;
    int previous = 0;
    for (; t[n].number != 0; ++n) {
        EXPECT_GT(t[n].number, previous) << t[n].name;
        EXPECT_LE(t[n].minLength, t[n].maxLength) << t[n].name;
        EXPECT_LE(t[n].maxLength, IPTC::MaxReadLength) << t[n].name;
        previous = t[n].number;
    }
    EXPECT_EQ(n, R2::TableSize);
    EXPECT_STREQ(R2::info(95)->name, "Province/ State");
    EXPECT_STREQ(R2::info(120)->name, "Caption");
    EXPECT_EQ(R2::info(200), nullptr);
    EXPECT_EQ(R2::info(0), nullptr);

    const std::pair<R2::Number, R2::MaxSize> named[] = {
        {R2::E_OBJECT_NAME, R2::E_OBJECT_NAME_MAX_SIZE},
        {R2::E_CATEGORY, R2::E_CATEGORY_MAX_SIZE},
        {R2::E_SUPPLEMENTAL_CATEGORY, R2::E_SUPPLEMENTAL_CATEGORY_MAX_SIZE},
        {R2::E_KEYWORD, R2::E_KEYWORD_MAX_SIZE},
        {R2::E_SPECIAL_INSTRUCTIONS, R2::E_SPECIAL_INSTRUCTIONS_MAX_SIZE},
        {R2::E_BY_LINE, R2::E_BY_LINE_MAX_SIZE},
        {R2::E_BY_LINE_TITLE, R2::E_BY_LINE_TITLE_MAX_SIZE},
        {R2::E_CITY, R2::E_CITY_MAX_SIZE},
        {R2::E_PROVINCE_STATE, R2::E_PROVINCE_STATE_MAX_SIZE},
        {R2::E_COUNTRY_NAME, R2::E_COUNTRY_NAME_MAX_SIZE},
        {R2::E_ORIGINAL_TRANSMISSION_REFERENCE, R2::E_ORIGINAL_TRANSMISSION_REFERENCE_MAX_SIZE},
        {R2::E_HEADLINE, R2::E_HEADLINE_MAX_SIZE},
        {R2::E_CREDIT, R2::E_CREDIT_MAX_SIZE},
        {R2::E_SOURCE, R2::E_SOURCE_MAX_SIZE},
        {R2::E_COPYRIGHT_NOTICE, R2::E_COPYRIGHT_NOTICE_MAX_SIZE},
        {R2::E_CAPTION, R2::E_CAPTION_MAX_SIZE},
        {R2::E_CAPTION_WRITER, R2::E_CAPTION_WRITER_MAX_SIZE},
    };
    for (const auto& [number, max] : named) {
        ASSERT_NE(R2::info(number), nullptr) << int{number};
        EXPECT_EQ(R2::info(number)->maxLength, max) << R2::info(number)->name;
    }
}

TEST(IPTCReader, SkipsWhatComesBeforeRecordTwoAndStopsAtItsEnd)
{
    const IPTC empty = read({});
    EXPECT_TRUE(empty.empty());
    EXPECT_EQ(empty.recordVersion().record(), 2);
    EXPECT_EQ(empty.recordVersion().dataSet(), 0);
    ASSERT_EQ(empty.recordVersion().length(), 2);
    EXPECT_EQ(empty.recordVersion().data()[1], 2);

    // Record 1 first, then record 2 with a repeated keyword; record 3 ends the reading.
    const IPTC iptc = read(dataSet(1, 90, "\x1B%G") + Bytes{0x00, 0x07} + dataSet(2, 0, std::string("\0\4", 2)) +
                           dataSet(2, 25, "tree1") + dataSet(2, 25, "tree2") + dataSet(2, 120, "A caption") +
                           dataSet(3, 10, "x") + dataSet(2, 5, "after"));
    EXPECT_EQ(contents(iptc), (std::vector<std::pair<int, std::string>>{{25, "tree1"}, {25, "tree2"}, {120, "A caption"}}));
    EXPECT_EQ(iptc.recordVersion().data()[1], 4);
    EXPECT_EQ(iptc.values(25), (std::vector<std::string>{"tree1", "tree2"}));
    EXPECT_EQ(iptc.joined(25), "tree1; tree2");
    std::string caption;
    EXPECT_TRUE(iptc.get(120, caption));
    EXPECT_EQ(caption, "A caption");
    EXPECT_FALSE(iptc.get(80, caption));

    // Any other byte after record 2 ends it too.
    EXPECT_EQ(contents(read(dataSet(2, 25, "a") + Bytes{0x00} + dataSet(2, 25, "b"))).size(), 1u);
}

TEST(IPTCReader, KeepsEveryDatasetAsStoredAndWritesBackOnlyWhatChanged)
{
    // Values longer than the standard allows (other programs write them), of numbers the
    // library does not know, with a NUL inside: all read, all written back byte for byte.
    const std::string longest(2000, 'c');
    const Bytes record = dataSet(2, 0, std::string("\0\4", 2)) + dataSet(2, 120, std::string(2345, 'x')) +
                         dataSet(2, 200, "unknown") + dataSet(2, 105, std::string("Head\0line", 9)) +
                         dataSet(2, 120, longest);
    IPTC iptc = read(record);
    EXPECT_EQ(contents(iptc), (std::vector<std::pair<int, std::string>>{
                                  {120, std::string(2345, 'x')}, {200, "unknown"}, {105, "Head"}, {120, longest}}));
    EXPECT_EQ(iptc.dataSets()[2].length(), 9);
    EXPECT_EQ(iptc.warnings(), std::vector<std::string>{"Caption: 2345 bytes is longer than its limit of 2000 bytes"});
    EXPECT_EQ(Record2DataSet::nameOf(200), "2:200");
    EXPECT_EQ(iptc.serialize(), record);
    // An edit of one dataset leaves the bytes of every other as they were.
    iptc.set(90, "Oslo");
    EXPECT_EQ(iptc.serialize(), record + dataSet(2, 90, "Oslo"));

    // An extended length (high bit set) stops the reading at once; what follows is kept.
    const Bytes extended = dataSet(2, 25, "a") + Bytes{0x1C, 2, 25, 0x80, 0x04, 0, 0, 1, 0} + dataSet(2, 25, "b");
    const IPTC stopped = read(extended);
    EXPECT_EQ(contents(stopped), (std::vector<std::pair<int, std::string>>{{25, "a"}}));
    EXPECT_EQ(stopped.serialize(), dataSet(2, 0, std::string("\0\2", 2)) + extended);
    // A value or header cut off by the end of the block is not read past it.
    Bytes cut = dataSet(2, 25, "a") + dataSet(2, 25, "truncated");
    cut.resize(cut.size() - 3);
    EXPECT_EQ(contents(read(cut)).size(), 1u);
    EXPECT_EQ(contents(read(Bytes{0x1C, 2, 25, 0})).size(), 0u);
    EXPECT_EQ(contents(read(Bytes{0x1C})).size(), 0u);
    // With no whole dataset before the cut, a record written into the block goes in front of
    // the broken bytes, which would otherwise take its first bytes as their value.
    const Bytes broken = Bytes{0x1C, 1, 90, 0, 0, 0x1C, 2, 5, 0, 1};
    IPTC none = read(broken);
    EXPECT_TRUE(none.empty());
    EXPECT_TRUE(read(none.serialize()).empty());
    none.set(5, "Title");
    const Bytes written = Bytes{0x1C, 1, 90, 0, 0} + dataSet(2, 0, std::string("\0\2", 2)) + dataSet(2, 5, "Title") +
                          Bytes{0x1C, 2, 5, 0, 1};
    EXPECT_EQ(none.serialize(), written);
    EXPECT_EQ(contents(read(none.serialize())), contents(none));
    // The zeros writers pad blocks with are not kept.
    EXPECT_EQ(read(record + Bytes{0, 0, 0}).serialize(), record);
}

TEST(IPTCReader, TextBecomesUtf8AfterTheDeclaredCharacterSet)
{
    const std::string mixed = "Caf\xC3\xA9 na\xEFve"; // UTF-8 with one stray Latin-1 byte
    // Declared UTF-8 (1:90 ESC % G): the stray byte alone is taken as Latin-1.
    const IPTC declared = read(dataSet(1, 90, "\x1B%G") + dataSet(2, 120, mixed));
    EXPECT_EQ(declared.toUtf8(mixed), "Caf\xC3\xA9 na\xC3\xAFve");
    // Undeclared: not UTF-8 as a whole, so Latin-1 throughout; never cut at the bad byte.
    const IPTC undeclared = read(dataSet(2, 120, mixed));
    EXPECT_EQ(undeclared.toUtf8(mixed), "Caf\xC3\x83\xC2\xA9 na\xC3\xAFve");
    EXPECT_EQ(undeclared.toUtf8("Caf\xC3\xA9"), "Caf\xC3\xA9");
}

TEST(IPTCEditing, SetAddAndRemoveKeepTheOrderAndTheLimits)
{
    IPTC iptc = read(dataSet(2, 5, "Title") + dataSet(2, 25, "a") + dataSet(2, 80, "Me") + dataSet(2, 25, "b"));
    iptc.set(25, std::vector<std::string>{"x", "y"});
    EXPECT_EQ(contents(iptc),
              (std::vector<std::pair<int, std::string>>{{5, "Title"}, {25, "x"}, {25, "y"}, {80, "Me"}}));
    iptc.add(25, "z");
    iptc.set(120, "New caption");
    iptc.set(5, "Other title");
    EXPECT_EQ(contents(iptc), (std::vector<std::pair<int, std::string>>{
                                  {5, "Other title"}, {25, "x"}, {25, "y"}, {80, "Me"}, {25, "z"}, {120, "New caption"}}));
    EXPECT_TRUE(iptc.remove(25));
    EXPECT_FALSE(iptc.remove(25));
    EXPECT_EQ(iptc.values(25).size(), 0u);

    EXPECT_EQ(refusal([&] { iptc.add(25, std::string(65, 'k')); }),
              "Keyword: 65 bytes is longer than its limit of 64 bytes");
    EXPECT_EQ(refusal([&] { iptc.set(120, std::string(2001, 'c')); }),
              "Caption: 2001 bytes is longer than its limit of 2000 bytes");
    EXPECT_EQ(refusal([&] { iptc.set(55, "2003"); }), "Date Created: 4 bytes is shorter than its minimum of 8 bytes");
    EXPECT_EQ(refusal([&] { iptc.add(200, "x"); }), "unknown IPTC dataset 2:200");
    // Dates and times of the right length must still name a moment.
    EXPECT_EQ(refusal([&] { iptc.set(60, "250000+0000"); }), "Time Created: '250000+0000' is not a valid time (HHMMSS+HHMM)");
    EXPECT_EQ(refusal([&] { iptc.set(63, "12ab00+0100"); }),
              "Digital Creation Time: '12ab00+0100' is not a valid time (HHMMSS+HHMM)");
    EXPECT_EQ(refusal([&] { iptc.set(55, "20241332"); }), "Date Created: '20241332' is not a valid date (CCYYMMDD)");
    EXPECT_EQ(refusal([&] { iptc.add(30, "2024-5-6"); }), "Release Date: '2024-5-6' is not a valid date (CCYYMMDD)");
    EXPECT_EQ(refusal([&] { iptc.set(60, "235959-0130"); }), "accepted");
    EXPECT_EQ(refusal([&] { iptc.set(55, "20240229"); }), "accepted");
    EXPECT_EQ(refusal([&] { iptc.add(25, std::string(64, 'k')); }), "accepted");
    // A refused set changes nothing.
    EXPECT_EQ(refusal([&] { iptc.set(5, std::vector<std::string>{"ok", std::string(65, 'x')}); }),
              "Object Name: 65 bytes is longer than its limit of 64 bytes");
    EXPECT_EQ(iptc.values(5), (std::vector<std::string>{"Other title"}));
}

TEST(IPTCWriting, SerialisesVersionFirstAndReadsBackTheSame)
{
    IPTC iptc;
    iptc.add(25, "tree1");
    iptc.add(120, "Line one\rLine two");
    iptc.add(25, "tree2");
    const Bytes bytes = iptc.serialize();
    EXPECT_EQ(bytes, dataSet(2, 0, std::string("\0\2", 2)) + dataSet(2, 25, "tree1") +
                         dataSet(2, 120, "Line one\rLine two") + dataSet(2, 25, "tree2"));
    EXPECT_EQ(contents(read(bytes)), contents(iptc));

    // A record read from a file writes back its own version and every dataset as read,
    // datasets of 256 bytes and more included, and the records around it.
    const Bytes original = Bytes{0x1C, 1, 90, 0, 0} + dataSet(2, 0, std::string("\0\4", 2)) +
                           dataSet(2, 105, std::string(300, 'h')) + dataSet(2, 25, "");
    const IPTC fromFile = read(original);
    const Bytes written = fromFile.serialize();
    EXPECT_EQ(written, original); // record 1 before it included
    EXPECT_EQ(contents(read(written)), contents(fromFile));
}

TEST(IPTCEditing, DateAndTimePairsGoThroughTheDateValues)
{
    IPTC iptc = read(dataSet(2, 55, "20030714") + dataSet(2, 60, "090503+0200"));
    IPTCTimeStamp stamp;
    ASSERT_TRUE(iptc.getTimeStamp(R2::E_DATE_CREATED, R2::E_TIME_CREATED, stamp));
    EXPECT_EQ(stamp.isoDateTime().text(), "2003-07-14T09:05:03+02:00");
    EXPECT_FALSE(iptc.getTimeStamp(R2::E_DIGITAL_CREATION_DATE, R2::E_DIGITAL_CREATION_TIME, stamp));

    iptc.setTimeStamp(R2::E_DIGITAL_CREATION_DATE, R2::E_DIGITAL_CREATION_TIME,
                      ISODateTime(2024, 5, 6, 7, 8, 9, -4, 0));
    EXPECT_EQ(iptc.values(62), (std::vector<std::string>{"20240506"}));
    EXPECT_EQ(iptc.values(63), (std::vector<std::string>{"070809-0400"}));
    ASSERT_TRUE(iptc.getTimeStamp(62, 63, stamp));
    EXPECT_EQ(stamp.isoDateTime().text(), "2024-05-06T07:08:09-04:00");

    // A date without its time gives an invalid pair.
    const IPTC dateOnly = read(dataSet(2, 55, "20030714"));
    ASSERT_TRUE(dateOnly.getTimeStamp(55, 60, stamp));
    EXPECT_FALSE(stamp.isValid());
}

TEST(EOLMassager, ConvertsEveryKindOfLineBreak)
{
    EXPECT_EQ(EOLMassager::toDisplay("one\rtwo\r\nthree\nfour", "\n"), "one\ntwo\nthree\nfour");
    EXPECT_EQ(EOLMassager::toDisplay("one\rtwo", "\r\n"), "one\r\ntwo");
    EXPECT_EQ(EOLMassager::toStorage("one\r\ntwo\nthree\rfour\r"), "one\rtwo\rthree\rfour\r");
    EXPECT_EQ(EOLMassager::toStorage(EOLMassager::toDisplay("a\r\rb")), "a\r\rb");
    EXPECT_STREQ(EOLMassager::nativeLineEnd(), "\n");
}

TEST(IPTCDigest, IsTheMD5OfRFC1321)
{
    const auto hex = [](const std::string& text) {
        const auto d = Metadata::md5(reinterpret_cast<const std::uint8_t*>(text.data()), text.size());
        std::string out;
        for (std::uint8_t b : d) {
            out += "0123456789abcdef"[b >> 4];
            out += "0123456789abcdef"[b & 15];
        }
        return out;
    };
    // RFC 1321, appendix A.5.
    EXPECT_EQ(hex(""), "d41d8cd98f00b204e9800998ecf8427e");
    EXPECT_EQ(hex("abc"), "900150983cd24fb0d6963f7d28e17f72");
    EXPECT_EQ(hex("message digest"), "f96b697d7cb7938d525a2f31aaf161d0");
    EXPECT_EQ(hex("12345678901234567890123456789012345678901234567890123456789012345678901234567890"),
              "57edf4a22be3c955ac49da2e2107b67a");
}
