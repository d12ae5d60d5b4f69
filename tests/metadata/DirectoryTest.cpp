#include "TreeHelpers.h"

#include <Metadata/Exceptions.h>
#include <Metadata/TagTable.h>

#include <gtest/gtest.h>

#include <optional>
#include <sstream>

using namespace Metadata;
using TestSupport::TiffBuilder;

TEST(IFD, ReadsUpToOneHundredEntries)
{
    TiffBuilder b;
    for (std::uint16_t t = 0; t < 100; ++t) {
        b.ifd0().shorts(static_cast<std::uint16_t>(1000 + t), {t});
    }
    EXPECT_EQ(TestSupport::directoryOf(b).size(), 100u);

    // One more stops that directory alone: it is read as empty, and the reader says why.
    b.ifd0().shorts(2000, {1});
    auto reader = TestSupport::readerFor(b.build());
    const IFD refused(reader, DirectoryId::Primary, reader->firstIFDOffset());
    EXPECT_TRUE(refused.empty());
    ASSERT_EQ(reader->warnings().size(), 1u);
    EXPECT_EQ(reader->warnings()[0].text, "Invalid IFD");
    EXPECT_EQ(reader->warnings()[0].directory, DirectoryId::Primary);
    EXPECT_EQ(reader->warnings()[0].tag, -1);
}

TEST(IFD, KeepsEntryOrderAndFindsTheLaterOfTwoEqualTags)
{
    TiffBuilder b;
    b.ifd0().shorts(274, {1}).ascii(271, "First").shorts(259, {6}).ascii(271, "Second");
    IFD d = TestSupport::directoryOf(b);
    ASSERT_EQ(d.size(), 4u);
    EXPECT_EQ(d.at(1).tag(), 271);
    EXPECT_EQ(d.at(3).tag(), 271);
    std::string text;
    ASSERT_NE(d.find(271), nullptr);
    d.find(271)->getText(text);
    EXPECT_EQ(text, "Second");
    EXPECT_EQ(d.find(259), &d.at(2));
    EXPECT_EQ(d.find(1), nullptr);
    try {
        d.at(4);
        FAIL() << "no bounds error";
    } catch (const LogicError& e) {
        EXPECT_STREQ(e.what(), "IFD Array Bounds Violated");
    }

    // Adding never replaces: a present tag is refused, a new one is appended and indexed.
    TiffBuilder other;
    other.ifd0().shorts(274, {8}).shorts(296, {3});
    const IFD source = TestSupport::directoryOf(other);
    EXPECT_FALSE(d.addField(source.at(0)));
    EXPECT_EQ(d.size(), 4u);
    EXPECT_TRUE(d.addField(source.at(1)));
    EXPECT_EQ(d.size(), 5u);
    ASSERT_NE(d.find(296), nullptr);
    EXPECT_EQ(d.find(296)->unsignedValues().front(), 3u);
    EXPECT_EQ(d.find(274)->unsignedValues().front(), 1u);
}

TEST(IFD, NamesByIdAndEmptyAtOffsetZero)
{
    EXPECT_EQ(IFD::nameFor(1), "Primary Image");
    EXPECT_EQ(IFD::nameFor(2), "Thumbnail Image");
    EXPECT_EQ(IFD::nameFor(34665), "EXIF");
    EXPECT_EQ(IFD::nameFor(40965), "Interoperability");
    EXPECT_EQ(IFD::nameFor(37500), "MakerNote");
    EXPECT_EQ(IFD::nameFor(330), "IFD: 14a");

    TiffBuilder b;
    b.ifd0().shorts(274, {1});
    auto reader = TestSupport::readerFor(b.build());
    const IFD empty(reader, 1, 0);
    EXPECT_TRUE(empty.empty());
    EXPECT_EQ(empty.nextOffset(), 0u);
}

TEST(EXIF, WalksEveryDirectoryInOrderAndFindsFieldsByDirectoryAndTag)
{
    TiffBuilder b(true);
    TiffBuilder::Dir& exif = b.newDir();
    TiffBuilder::Dir& interop = b.newDir();
    TiffBuilder::Dir& ifd1 = b.newDir();
    b.ifd0().ascii(271, "Acme").shorts(274, {3}).pointer(34665, exif);
    b.ifd0().next = &ifd1;
    exif.rationals(33434, {{1, 60}}).srationals(37380, {{-1, 3}}).pointer(40965, interop);
    interop.ascii(1, "R98");
    ifd1.shorts(259, {6}).longs(513, {1234});

    const EXIF tree = TestSupport::treeOf(b);
    const std::vector<const IFD*> dirs = tree.directories();
    ASSERT_EQ(dirs.size(), 4u);
    EXPECT_EQ(dirs[0]->id(), DirectoryId::Primary);
    EXPECT_EQ(dirs[1]->id(), DirectoryId::Exif);
    EXPECT_EQ(dirs[2]->id(), DirectoryId::Interoperability);
    EXPECT_EQ(dirs[3]->id(), DirectoryId::Thumbnail);
    EXPECT_EQ(tree.directory(DirectoryId::MakerNote), nullptr);
    EXPECT_EQ(tree.find(DirectoryId::Exif, 33434)->directoryId(), DirectoryId::Exif);

    std::string text;
    EXPECT_TRUE(tree.getText(DirectoryId::Primary, 271, text));
    EXPECT_EQ(text, "Acme");
    std::uint32_t u = 0;
    EXPECT_TRUE(tree.getUInt32(DirectoryId::Thumbnail, 513, u));
    EXPECT_EQ(u, 1234u);
    URational r;
    EXPECT_TRUE(tree.getURational(DirectoryId::Exif, 33434, r));
    EXPECT_EQ(r, (URational{1, 60}));
    SRational s;
    EXPECT_TRUE(tree.getSRational(DirectoryId::Exif, 37380, s));
    EXPECT_EQ(s, (SRational{-1, 3}));
    EXPECT_TRUE(tree.getText(DirectoryId::Interoperability, 1, text));
    EXPECT_EQ(text, "R98");
    EXPECT_FALSE(tree.getUInt32(DirectoryId::Exif, 274, u));
    EXPECT_FALSE(tree.getUInt32(DirectoryId::MakerNote, 1, u));
    EXPECT_THROW(tree.getUInt32(DirectoryId::Primary, 271, u), LogicError);

    EXPECT_TRUE(EXIF().empty());
}

TEST(EXIF, SubDirectoriesAreReadOnRequestAndKept)
{
    TiffBuilder b;
    TiffBuilder::Dir& exif = b.newDir();
    b.ifd0().pointer(34665, exif);
    exif.shorts(37385, {1});
    IFD ifd0 = TestSupport::directoryOf(b);
    const auto first = ifd0.subIFD(34665);
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(first->id(), 34665u);
    EXPECT_EQ(ifd0.subIFD(34665), first);
    EXPECT_EQ(ifd0.subIFD(40965), nullptr);
}

TEST(EXIF, ReadsAMakerNoteThatIsAPlainDirectoryAndSkipsOneThatIsNot)
{
    // A maker note whose bytes are a directory: 1 entry, tag 1 SHORT 7, next 0.
    auto makerNote = [](bool valid) {
        std::vector<std::uint8_t> bytes = {1, 0, 1, 0, 3, 0, 1, 0, 0, 0, 7, 0, 0, 0, 0, 0, 0, 0};
        if (!valid) {
            bytes[0] = 200; // more entries than a directory may have
        }
        return bytes;
    };
    for (bool valid : {true, false}) {
        TiffBuilder b;
        TiffBuilder::Dir& exif = b.newDir();
        b.ifd0().pointer(34665, exif);
        exif.bytes(37500, makerNote(valid)).shorts(37385, {0});
        const EXIF tree = TestSupport::treeOf(b);
        ASSERT_NE(tree.directory(DirectoryId::Exif), nullptr);
        const IFD* note = tree.directory(DirectoryId::MakerNote);
        if (valid) {
            ASSERT_NE(note, nullptr);
            EXPECT_EQ(note->size(), 1u);
            EXPECT_EQ(note->at(0).directoryId(), DirectoryId::MakerNote);
            EXPECT_EQ(note->at(0).unsignedValues().front(), 7u);
        } else {
            EXPECT_EQ(note, nullptr);
        }
    }
}

TEST(EXIF, DumpWritesEachDirectoryHeaderAndItsLinesInOrder)
{
    TiffBuilder b;
    TiffBuilder::Dir& exif = b.newDir();
    TiffBuilder::Dir& interop = b.newDir();
    TiffBuilder::Dir& ifd1 = b.newDir();
    b.ifd0().longs(256, {640}).ascii(271, "Acme").shorts(274, {3}).rationals(282, {{72, 1}}).shorts(296, {3});
    b.ifd0().pointer(34665, exif);
    b.ifd0().next = &ifd1;
    exif.rationals(33434, {{1, 60}}).rationals(33437, {{4, 1}}).pointer(40965, interop);
    interop.ascii(1, "R98");
    ifd1.shorts(259, {6}).rationals(282, {{72, 1}});

    const auto bytes = b.build();
    const std::string exifOffset = std::to_string(b.offsetOf(exif));
    const std::string interopOffset = std::to_string(b.offsetOf(interop));
    std::ostringstream out;
    EXIF(TestSupport::readerFor(bytes)).dump(out);
    // The primary directory's unit names the resolutions of every directory, even the ones
    // listed before the unit's own line.
    EXPECT_EQ(out.str(),
              "\n----------- IFD0 -----------\n\n"
              "Make: Acme\n"
              "Orientation: Bottom, Right\n"
              "XResolution: 72 pixels/centimeter\n"
              "ResolutionUnit: centimeter\n"
              "Tag 0x8769 (LONG, 1): " + exifOffset + "\n"
              "\n----------- EXIF IFD -----------\n\n"
              "ExposureTime: 1/60 second(s)\n"
              "FNumber: 4\n"
              "Tag 0xa005 (LONG, 1): " + interopOffset + "\n"
              "\n----------- INTEROPERABILITY IFD -----------\n\n"
              "InteroperabilityIdentification: R98\n"
              "\n----------- IFD1 -----------\n\n"
              "Compression: JPEG\n"
              "XResolution: 72 pixels/centimeter\n");

    // The maker-note header keeps its two blanks; unknown ids write no header.
    auto reader = TestSupport::readerFor(bytes);
    std::ostringstream note;
    IFD(reader, DirectoryId::MakerNote, 0).dump(note);
    EXPECT_EQ(note.str(), "\n-----------  MAKERNOTE IFD -----------\n\n");
    std::ostringstream other;
    IFD(reader, 330, 0).dump(other);
    EXPECT_EQ(other.str(), "");
}

TEST(GpsDirectory, ShowsPositionsAltitudeAndUnitsAsPeopleReadThem)
{
    TiffBuilder b;
    TiffBuilder::Dir& gps = b.newDir();
    b.ifd0().ascii(271, "Acme").pointer(34853, gps);
    gps.bytes(0, {2, 3, 0, 0}, 1)
        .ascii(1, "S")
        .rationals(2, {{33, 1}, {5190, 100}, {0, 1}}) // minutes with a fraction, no seconds
        .ascii(3, "E")
        .rationals(4, {{151, 1}, {12, 1}, {599999, 10000}}) // seconds that round up to a minute
        .bytes(5, {1}, 1)
        .rationals(6, {{12345, 1000}})
        .rationals(7, {{9, 1}, {5, 1}, {305, 10}})
        .ascii(12, "N")
        .rationals(13, {{12, 1}})
        .ascii(16, "M")
        .rationals(17, {{9050, 100}})
        .bytes(27, {'A', 'S', 'C', 'I', 'I', 0, 0, 0, 'G', 'P', 'S'})
        .shorts(30, {1});
    const EXIF tree(TestSupport::readerFor(b.build()));
    std::ostringstream out;
    tree.dump(out);
    const std::string text = out.str();
    EXPECT_NE(text.find("\n----------- GPS IFD -----------\n\n"
                        "GPSVersionID: 2.3.0.0\n"
                        "GPSLatitudeRef: South\n"
                        "GPSLatitude: 33 deg 51' 54.00\" S\n"
                        "GPSLongitudeRef: East\n"
                        "GPSLongitude: 151 deg 13' 0.00\" E\n"
                        "GPSAltitudeRef: Below Sea Level\n"
                        "GPSAltitude: 12.35 m below sea level\n"
                        "GPSTimeStamp: 09:05:30.5\n"
                        "GPSSpeedRef: knots\n"
                        "GPSSpeed: 12 knots\n"
                        "GPSImgDirectionRef: Magnetic North\n"
                        "GPSImgDirection: 90.5 deg (Magnetic North)\n"
                        "GPSProcessingMethod: GPS\n"
                        "GPSDifferential: Differential Corrected\n"),
              std::string::npos)
        << text;
    EXPECT_EQ(tree.directory(DirectoryId::Gps)->name(), "GPS");

    double latitude = 0;
    double longitude = 0;
    ASSERT_TRUE(tree.gpsPosition(latitude, longitude));
    EXPECT_NEAR(latitude, -(33 + 51.9 / 60), 1e-9);
    EXPECT_NEAR(longitude, 151 + 12.0 / 60 + 59.9999 / 3600, 1e-9);

    // A position of the wrong type, or without its reference, is no position; the tree reads on.
    TiffBuilder c;
    TiffBuilder::Dir& bad = c.newDir();
    c.ifd0().pointer(34853, bad);
    bad.ascii(1, "N").ascii(2, "33").ascii(3, "E").rationals(4, {{1, 1}});
    const EXIF other(TestSupport::readerFor(c.build()));
    EXPECT_FALSE(other.gpsPosition(latitude, longitude));
    ASSERT_NE(other.directory(DirectoryId::Gps), nullptr);
    EXPECT_EQ(other.directory(DirectoryId::Gps)->at(1).valueText(other.displayContext()), "\"33\"");
}

TEST(MakerNotes, AKnownMakersNoteIsReadInItsLayoutAndABrokenOneCostsNothing)
{
    // A note in the layout of the maker the Make names: a plain directory whose offsets count
    // from the TIFF header, an array of 16-bit settings among its entries.
    auto read = [](const std::string& make, bool broken) {
        TiffBuilder b;
        b.setPreamble(std::vector<std::uint8_t>(64, 0xEE)); // no directory in any byte order
        TiffBuilder::Dir& exif = b.newDir();
        TiffBuilder::Dir& note = b.newDir();
        b.ifd0().ascii(271, make).ascii(272, "Canon EOS 300D DIGITAL").pointer(34665, exif);
        exif.rationals(33434, {{1, 60}}).raw(37500, 7, 0, 0);
        note.shorts(1, {12, 1, 0, 3, 0, 1}).ascii(6, "CRW:TEST").longs(12, {560018150}).shorts(0xAE, {5200});
        const std::size_t size = b.build().size();
        // The note's value is the directory itself, to the end of the file: its place is known
        // once the file is laid out.
        exif.entries.back().valueField = broken ? 8 : b.offsetOf(note);
        exif.entries.back().count = static_cast<std::uint32_t>(size - b.offsetOf(note) - 1);
        return EXIF(TestSupport::readerFor(b.build()));
    };

    const EXIF canon = read("Canon", false);
    EXPECT_EQ(canon.makerNoteGroup(), "Canon");
    std::ostringstream out;
    canon.dump(out);
    const std::string text = out.str();
    for (const char* line : {"\n-----------  MAKERNOTE IFD -----------\n\n", "\nCanonImageType: CRW:TEST\n",
                             "\nSerialNumber: 560018150\n", "\nColorTemperature: 5200 K\n",
                             "\n----------- CANON CAMERASETTINGS IFD -----------\n\nMacroMode: Macro\nSelfTimer: 0\n"
                             "Quality: Fine\nCanonFlashMode: Off\nContinuousDrive: Continuous\n"}) {
        EXPECT_NE(text.find(line), std::string::npos) << line << " in\n" << text;
    }
    // The array entry itself shows no line; its values have their own directory.
    EXPECT_EQ(text.find("Tag 0x0001"), std::string::npos);
    ASSERT_EQ(canon.makerNoteDirectories().size(), 1u);
    EXPECT_EQ(canon.makerNoteDirectories()[0]->name(), "Canon CameraSettings");
    // Two trees shown at once keep their own tables: a tree without the note shows none.
    const EXIF plain = read("Acme", true);
    EXPECT_EQ(plain.makerNoteGroup(), "");

    // A note that holds no directory where its maker puts one is left out, without a warning;
    // everything else is read.
    const EXIF broken = read("Canon", true);
    EXPECT_EQ(broken.makerNoteGroup(), "");
    EXPECT_EQ(broken.directory(DirectoryId::MakerNote), nullptr);
    EXPECT_TRUE(broken.warnings().empty());
    ASSERT_NE(broken.find(DirectoryId::Exif, 33434), nullptr);

    // A maker the library does not know: the note is shown as a plain directory when it is one.
    const EXIF other = read("Acme", false);
    EXPECT_EQ(other.makerNoteGroup(), "");
    ASSERT_NE(other.directory(DirectoryId::MakerNote), nullptr);
    EXPECT_EQ(other.directory(DirectoryId::MakerNote)->size(), 4u);
}

TEST(Thumbnail, TheJpegIFD1PointsToIsGivenOnlyWhereItLiesWhole)
{
    const std::vector<std::uint8_t> jpeg = {0xFF, 0xD8, 0xFF, 0xDB, 1, 2, 3, 0xFF, 0xD9};
    // A tree whose IFD1 names `offset` and `length`, the picture's bytes after the directories.
    auto tree = [&](std::optional<std::uint32_t> offset, std::uint32_t length) {
        TiffBuilder b(false);
        TiffBuilder::Dir& ifd1 = b.newDir();
        b.ifd0().ascii(271, "Acme");
        b.ifd0().next = &ifd1;
        ifd1.longs(513, {0}).longs(514, {length});
        const auto end = static_cast<std::uint32_t>(b.build().size());
        ifd1.entries.clear();
        ifd1.longs(513, {offset ? *offset : end}).longs(514, {length});
        std::vector<std::uint8_t> bytes = b.build();
        bytes.insert(bytes.end(), jpeg.begin(), jpeg.end());
        return EXIF(TestSupport::readerFor(bytes));
    };
    std::vector<std::uint8_t> got;
    ASSERT_TRUE(tree(std::nullopt, 9).thumbnailJpeg(got));
    EXPECT_EQ(got, jpeg);
    EXPECT_FALSE(tree(std::nullopt, 10).thumbnailJpeg(got));          // one byte past the end
    EXPECT_FALSE(tree(0xFFFFFFF0u, 9).thumbnailJpeg(got));            // a place outside the data
    EXPECT_FALSE(tree(std::nullopt, 0xFFFFFFFFu).thumbnailJpeg(got)); // a length that wraps
    EXPECT_FALSE(tree(8, 9).thumbnailJpeg(got));                      // bytes that are no JPEG
    EXPECT_FALSE(EXIF().thumbnailJpeg(got));
}
