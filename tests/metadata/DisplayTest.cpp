#include "TreeHelpers.h"

#include <Metadata/Exceptions.h>
#include <Metadata/TagTable.h>

#include <gtest/gtest.h>

#include <functional>
#include <set>
#include <sstream>

using namespace Metadata;
using TestSupport::TiffBuilder;

namespace {

struct Shown {
    bool ok;
    std::string text;
};

// What the tests show fields with: resolutions in inches, no line ends.
DisplayContext inches()
{
    DisplayContext context;
    context.setResolutionUnit(2);
    return context;
}

// The display of the single field that `add` puts into a directory with id `id`.
Shown display(std::uint32_t id, const std::function<void(TiffBuilder::Dir&)>& add,
              const DisplayContext& context = inches())
{
    TiffBuilder b;
    add(b.ifd0());
    const IFD d = TestSupport::directoryOf(b, id);
    std::ostringstream out;
    const bool ok = d.at(0).display(out, context);
    std::string value;
    // The value alone is the line's text after its label.
    if (ok != d.at(0).displayText(value, context)) {
        ADD_FAILURE() << "display and displayText disagree";
    }
    return {ok, out.str()};
}

std::string line(std::uint32_t id, const std::function<void(TiffBuilder::Dir&)>& add,
                 const DisplayContext& context = inches())
{
    const Shown s = display(id, add, context);
    return s.ok ? s.text : "(false)";
}

constexpr std::uint32_t A = DirectoryId::Primary;
constexpr std::uint32_t B = DirectoryId::Exif;

class Display : public ::testing::Test {};

} // namespace

TEST(TagTables, HoldTheirRowsOnceEachWithConsistentKeys)
{
    auto check = [](const TagRow* table, std::size_t expected) {
        std::set<std::uint16_t> tags;
        std::size_t n = 0;
        for (const TagRow* r = table; r->name != nullptr; ++r, ++n) {
            EXPECT_TRUE(tags.insert(r->tag()).second) << r->name << " twice";
            EXPECT_EQ(r->reserved, 0u);
            EXPECT_NE(r->description, nullptr);
            EXPECT_TRUE(r->type() == 1 || r->type() == 2 || r->type() == 3 || r->type() == 4 || r->type() == 5 ||
                        r->type() == 7 || r->type() == 10)
                << r->name;
        }
        EXPECT_EQ(n, expected);
        EXPECT_EQ(table[n].formatter, nullptr);
    };
    check(primaryTagTable(), PrimaryTagCount);
    check(exifTagTable(), ExifTagCount);

    EXPECT_EQ(GlobalTagCount, 74u);
    EXPECT_STREQ(globalTagRow(0).name, "ImageWidth");
    EXPECT_STREQ(globalTagRow(29).name, "Copyright");
    EXPECT_STREQ(globalTagRow(30).name, "InteroperabilityIdentification");
    EXPECT_STREQ(globalTagRow(73).name, "IFD Interoperability IFD Pointer");
    EXPECT_EQ(globalTagRow(73).key, (4u << 16) | 40965u);
    EXPECT_EQ(globalTagRow(13).count, CountPerStrip);
    EXPECT_EQ(globalTagRow(24).count, AnyCount);
    EXPECT_THROW(globalTagRow(74), LogicError);

    EXPECT_EQ(standardTagTable(1), standardTagTable(2));
    EXPECT_EQ(standardTagTable(34665), standardTagTable(40965));
    EXPECT_EQ(standardTagTable(12345), nullptr);
    EXPECT_EQ(DisplayContext::standard().table(1), primaryTagTable());
    EXPECT_EQ(DisplayContext::standard().table(DirectoryId::MakerNote), nullptr);
}

TEST_F(Display, SilentRowsAnswerTrueAndWriteNothing)
{
    for (std::uint16_t tag : {std::uint16_t{256}, std::uint16_t{273}, std::uint16_t{315}, std::uint16_t{33432}, std::uint16_t{530}}) {
        const Shown s = display(A, [&](auto& d) { d.ascii(tag, "x"); });
        EXPECT_TRUE(s.ok) << tag;
        EXPECT_EQ(s.text, "") << tag;
    }
    EXPECT_TRUE(display(B, [](auto& d) { d.bytes(41729, {1}); }).ok);
}

TEST_F(Display, TextNumbersAndLists)
{
    EXPECT_EQ(line(A, [](auto& d) { d.ascii(271, "Acme"); }), "Make: Acme");
    EXPECT_EQ(line(A, [](auto& d) { d.ascii(306, "2024:05:06 07:08:09"); }), "DateTime: 2024:05:06 07:08:09");
    EXPECT_EQ(line(B, [](auto& d) { d.ascii(1, "R98"); }), "InteroperabilityIdentification: R98");
    EXPECT_EQ(line(A, [](auto& d) { d.shorts(277, {3}); }), "SamplesPerPixel: 3");
    EXPECT_EQ(line(B, [](auto& d) { d.shorts(40962, {4000}); }), "PixelXDimension: 4000 pixels");
    EXPECT_EQ(line(B, [](auto& d) { d.longs(40963, {3000}); }), "PixelYDimension: 3000 pixels");
    EXPECT_EQ(line(A, [](auto& d) { d.shorts(258, {8, 8, 8}); }), "BitsPerSample: (8,8,8)");
    EXPECT_EQ(line(B, [](auto& d) { d.shorts(34855, {200, 400}); }), "ISOSpeedRatings: 200");
    EXPECT_EQ(line(B, [](auto& d) { d.bytes(37500, {1, 2, 3, 4, 5}); }), "MakerNote: ...");
    EXPECT_EQ(line(B, [](auto& d) { d.bytes(37510, {0}); }), "UserComment: ...");
}

TEST_F(Display, VersionsComponentsAndFileSource)
{
    EXPECT_EQ(line(B, [](auto& d) { d.bytes(36864, {'0', '2', '2', '0'}); }), "ExifVersion: 0220");
    EXPECT_EQ(line(B, [](auto& d) { d.bytes(40960, {'0', 1, '2', 0x7F}); }), "FlashPixVersion: 0 2 ");
    EXPECT_EQ(line(B, [](auto& d) { d.bytes(37121, {1, 2, 3, 0}); }), "ComponentsConfiguration: YCbCr");
    EXPECT_EQ(line(B, [](auto& d) { d.bytes(37121, {4, 5, 6, 0}); }), "ComponentsConfiguration: RGB");
    EXPECT_EQ(line(B, [](auto& d) { d.bytes(37121, {1, 2, 3}); }), "ComponentsConfiguration: ...");
    EXPECT_EQ(line(B, [](auto& d) { d.bytes(37121, {1, 2, 3, 0, 0}); }), "ComponentsConfiguration: ...");
    EXPECT_EQ(line(B, [](auto& d) { d.bytes(41728, {3}); }), "FileSource: DSC");
    EXPECT_EQ(line(B, [](auto& d) { d.bytes(41728, {1}); }), "FileSource: ...");
}

TEST_F(Display, Enumerations)
{
    auto shown = [](std::uint32_t id, std::uint16_t tag, std::uint32_t value) {
        return line(id, [&](auto& d) { d.shorts(tag, {value}); });
    };
    EXPECT_EQ(shown(A, 274, 6), "Orientation: Right, Top");
    EXPECT_EQ(shown(A, 274, 3), "Orientation: Bottom, Right");
    EXPECT_EQ(shown(A, 274, 9), "Orientation: ...");
    EXPECT_EQ(shown(A, 259, 32773), "Compression: PackBits");
    EXPECT_EQ(shown(A, 259, 4), "Compression: Group 4 Fax");
    EXPECT_EQ(shown(A, 262, 8), "PhotometricInterpretation: CIELab");
    EXPECT_EQ(shown(A, 262, 7), "PhotometricInterpretation: ...");
    EXPECT_EQ(shown(A, 284, 2), "PlanarConfiguration: Planar");
    EXPECT_EQ(shown(A, 531, 2), "YCbCrPositioning: co-sited");
    EXPECT_EQ(shown(B, 40961, 65535), "ColorSpace: Uncalibrated");
    EXPECT_EQ(shown(B, 34850, 7),
              "ExposureProgram: Portrait mode (for closeup photos with the background out of focus)");
    EXPECT_EQ(shown(B, 37383, 6), "MeteringMode: Partial");
    EXPECT_EQ(shown(B, 37383, 255), "MeteringMode: ...");
    EXPECT_EQ(shown(B, 37384, 22), "LightSource: D75 ");
    EXPECT_EQ(shown(B, 37384, 4), "LightSource: ...");
    EXPECT_EQ(shown(B, 37385, 1), "Flash: Yes");
    EXPECT_EQ(shown(B, 37385, 25), "Flash: ...");
    EXPECT_EQ(shown(B, 41495, 7), "SensingMethod: Trilinear sensor");
    EXPECT_EQ(shown(B, 41495, 6), "SensingMethod: ...");
    // An enumeration stored as LONG reads the same.
    EXPECT_EQ(line(A, [](auto& d) { d.longs(274, {8}); }), "Orientation: Left, Bottom");
}

TEST_F(Display, RationalsAndApexValues)
{
    auto u = [](std::uint32_t id, std::uint16_t tag, std::uint32_t n, std::uint32_t d) {
        return line(id, [&](auto& dir) { dir.rationals(tag, {{n, d}}); });
    };
    auto s = [](std::uint16_t tag, std::int32_t n, std::int32_t d) {
        return line(B, [&](auto& dir) { dir.srationals(tag, {{n, d}}); });
    };
    EXPECT_EQ(u(B, 33434, 1, 60), "ExposureTime: 1/60 second(s)");
    EXPECT_EQ(u(B, 33434, 10, 600), "ExposureTime: 1/60 second(s)");
    EXPECT_EQ(u(B, 33437, 0, 1), "FNumber: 0");
    EXPECT_EQ(u(B, 33437, 4, 1), "FNumber: 4");
    // Stored 28/10 is held reduced, as 14/5.
    EXPECT_EQ(u(B, 33437, 28, 10), "FNumber: 14/5");
    EXPECT_EQ(u(B, 41486, 3000, 7), "FocalPlaneXResolution: 3000/7");
    EXPECT_EQ(u(B, 37122, 5, 2), "CompressedBitsPerPixel: 2.5");
    EXPECT_EQ(u(B, 37122, 1, 3), "CompressedBitsPerPixel: 0.333333");
    EXPECT_EQ(s(37377, 6, 1), "ShutterSpeedValue: 0.0156 second(s)");
    EXPECT_EQ(s(37377, -1, 1), "ShutterSpeedValue: 2 second(s)");
    EXPECT_EQ(u(B, 37378, 4970, 1000), "ApertureValue: F5.6");
    EXPECT_EQ(u(B, 37381, 3, 1), "MaxApertureValue: F2.83");
    EXPECT_EQ(s(37380, -1, 3), "ExposureBiasValue: -0.34 EV");
    EXPECT_EQ(s(37380, 0, 1), "ExposureBiasValue: 0 EV");
    EXPECT_EQ(s(37379, 123, 100), "BrightnessValue: 1.23 EV");
    EXPECT_EQ(u(B, 37382, 1234, 1000), "SubjectDistance: 1.23 meters");
    // Components are unsigned 32-bit: 0xFFFFFFFF is 4294967295, not -1.
    EXPECT_EQ(u(B, 37382, 0xFFFFFFFF, 1), "SubjectDistance: 4.29497e+09 meters");
    EXPECT_EQ(u(B, 37386, 187, 10), "FocalLength: 18.7 mm");
    EXPECT_EQ(u(B, 37386, 50, 1), "FocalLength: 50 mm");
}

TEST_F(Display, ResolutionNamesTheUnitOfTheContext)
{
    EXPECT_EQ(line(A, [](auto& d) { d.rationals(282, {{300, 1}}); }), "XResolution: 300 pixels/inch");
    // A unit line shows its own value and changes nothing else.
    EXPECT_EQ(line(A, [](auto& d) { d.shorts(296, {3}); }), "ResolutionUnit: centimeter");
    EXPECT_EQ(line(B, [](auto& d) { d.shorts(41488, {5}); }), "FocalPlaneResolutionUnit: ?");
    EXPECT_EQ(line(A, [](auto& d) { d.rationals(283, {{7, 2}}); }), "YResolution: 3.5 pixels/inch");
    DisplayContext centimeters;
    centimeters.setResolutionUnit(3);
    EXPECT_EQ(line(A, [](auto& d) { d.rationals(283, {{7, 2}}); }, centimeters), "YResolution: 3.5 pixels/centimeter");
    EXPECT_EQ(line(A, [](auto& d) { d.rationals(282, {{72, 1}}); }, DisplayContext()), "XResolution: 72 pixels/?");
}

TEST_F(Display, RoundingStepsDownBelowZero)
{
    EXPECT_EQ(roundTo(0.0, 2), 0.0);
    EXPECT_DOUBLE_EQ(roundTo(0.015625, 4), 0.0156);
    EXPECT_DOUBLE_EQ(roundTo(1.25, 1), 1.3);
    EXPECT_DOUBLE_EQ(roundTo(-1.22, 1), -1.3);
    EXPECT_DOUBLE_EQ(roundTo(-1.0 / 3.0, 2), -0.34);
    EXPECT_DOUBLE_EQ(roundTo(-2.0, 1), -2.1);
    EXPECT_DOUBLE_EQ(roundTo(5.5990, 2), 5.6);
}

TEST_F(Display, LineEndsFollowTheContext)
{
    EXPECT_EQ(display(A, [](auto& d) { d.ascii(271, "Acme"); }).text, "Make: Acme");
    const DisplayContext lines = inches().withLineEnds(true);
    EXPECT_EQ(display(A, [](auto& d) { d.ascii(271, "Acme"); }, lines).text, "Make: Acme\n");
    EXPECT_EQ(display(A, [](auto& d) { d.longs(256, {1}); }, lines).text, "");
    // An empty text is still a line.
    EXPECT_EQ(display(A, [](auto& d) { d.ascii(271, ""); }, lines).text, "Make: \n");
}

TEST_F(Display, UnreadableValuesAndUnknownTagsAreNotDisplayed)
{
    // The wrong type for the formatter: false, nothing written.
    EXPECT_EQ(display(A, [](auto& d) { d.ascii(274, "6"); }).ok, false);
    EXPECT_EQ(display(A, [](auto& d) { d.ascii(274, "6"); }).text, "");
    EXPECT_EQ(display(B, [](auto& d) { d.shorts(33434, {1}); }).ok, false);
    // A tag with no row, a directory with no table, the interoperability pointer's null formatter.
    EXPECT_FALSE(display(A, [](auto& d) { d.shorts(33434, {1}); }).ok);
    EXPECT_FALSE(display(12345, [](auto& d) { d.ascii(271, "Acme"); }).ok);
    EXPECT_FALSE(display(B, [](auto& d) { d.longs(40965, {100}); }).ok);

    TiffBuilder b;
    b.ifd0().longs(40965, {100}).ascii(271, "x");
    const IFD d = TestSupport::directoryOf(b, B);
    std::string text;
    EXPECT_TRUE(d.at(0).name(text));
    EXPECT_EQ(text, "IFD Interoperability IFD Pointer");
    EXPECT_TRUE(d.at(0).description(text));
    EXPECT_EQ(text, "Pointer of Interoperability");
    EXPECT_FALSE(d.at(1).name(text));
}

TEST_F(Display, GenericFormShowsTagTypeCountAndValues)
{
    TiffBuilder b;
    std::vector<std::uint32_t> many(20, 7);
    b.ifd0()
        .shorts(0x9999, {1, 2})
        .ascii(0x9998, "a\"b\n")
        .raw(0x9997, 12, 1, 0)
        .shorts(0x9996, many)
        .srationals(0x9995, {{-1, 3}, {4, 2}})
        .bytes(0x9994, {0xAB, 0x01})
        .ascii(274, "6");
    const IFD d = TestSupport::directoryOf(b);
    std::ostringstream out;
    for (const Field& f : d) {
        f.dump(out, DisplayContext().withLineEnds(true));
    }
    EXPECT_EQ(out.str(),
              "Tag 0x9999 (SHORT, 2): 1 2\n"
              "Tag 0x9998 (ASCII, 5): \"a\\x22b\\x0a\"\n"
              "Tag 0x9997 (DOUBLE, 1)\n"
              "Tag 0x9996 (SHORT, 20): 7 7 7 7 7 7 7 7 7 7 7 7 7 7 7 7 ... (20 values)\n"
              "Tag 0x9995 (srational_t, 2): -1/3 2/1\n"
              "Tag 0x9994 (UNDEFINED, 2): ab 01\n"
              "Tag 0x0112 (ASCII, 2): \"6\"\n");
}

TEST_F(Display, OtherDirectoriesUseTheTableTheContextHasForThem)
{
    static constexpr TagRow Table[] = {
        {(3u << 16) | 1, 0, "Macro mode", "MacroMode", 1, Formatters::number},
        {0, 0, nullptr, nullptr, 0, nullptr},
    };
    const auto shown = [](const DisplayContext& context) {
        return display(DirectoryId::MakerNote, [](auto& d) { d.shorts(1, {2}); }, context);
    };
    DisplayContext context;
    EXPECT_FALSE(shown(context).ok);
    context.setTable(DirectoryId::MakerNote, Table);
    EXPECT_EQ(shown(context).text, "MacroMode: 2");
    // Standard directories keep their own tables whatever is set for their ids.
    context.setTable(DirectoryId::Exif, Table);
    EXPECT_EQ(context.table(DirectoryId::Exif), exifTagTable());
    context.setTable(DirectoryId::MakerNote, nullptr);
    EXPECT_FALSE(shown(context).ok);
}

TEST_F(Display, MakersValuesShowAsTheyAreAndDoublesAsAStreamWritesThem)
{
    static constexpr TagRow Table[] = {
        {(3u << 16) | 1, 0, "Values", "Values", AnyCount, Formatters::values},
        {(2u << 16) | 2, 0, "Text", "Text", AnyCount, Formatters::text},
        {0, 0, nullptr, nullptr, 0, nullptr},
    };
    DisplayContext context;
    context.setTable(DirectoryId::MakerNote, Table);
    const auto shown = [&](const std::function<void(TiffBuilder::Dir&)>& add) {
        return line(DirectoryId::MakerNote, add, context);
    };
    EXPECT_EQ(shown([](auto& d) { d.shorts(1, {1, 2, 3}); }), "Values: 1 2 3");
    EXPECT_EQ(shown([](auto& d) { d.ascii(1, "DX4900  "); }), "Values: DX4900  ");
    EXPECT_EQ(shown([](auto& d) { d.rationals(1, {{1, 3}, {5, 2}}); }), "Values: 0.333333 2.5");
    EXPECT_EQ(shown([](auto& d) { d.srationals(1, {{-7, 2}}); }), "Values: -3.5");
    EXPECT_EQ(shown([](auto& d) { d.bytes(1, {0, 255}); }), "Values: 0 255");
    EXPECT_EQ(shown([](auto& d) { d.shorts(1, std::vector<std::uint32_t>(20, 9), 8); }),
              "Values: 9 9 9 9 9 9 9 9 9 9 9 9 9 9 9 9 ... (20 values)");
    // Values a stream writes in exponent form keep it; FLOAT and DOUBLE hold none to show.
    EXPECT_EQ(shown([](auto& d) { d.rationals(1, {{4000000000u, 3}}); }), "Values: 1.33333e+09");
    EXPECT_EQ(shown([](auto& d) { d.raw(1, 11, 1, 0); }), "(false)");
    // A text row for a value of another type: no line, the generic form is shown instead.
    EXPECT_EQ(shown([](auto& d) { d.shorts(2, {6}); }), "(false)");
    EXPECT_EQ(shown([](auto& d) { d.ascii(2, "six"); }), "Text: six");
}
