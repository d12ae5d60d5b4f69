#include "TreeHelpers.h"

#include <Metadata/Exceptions.h>
#include <Metadata/TagTable.h>

#include <gtest/gtest.h>

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
    setLineEnds(true);
    setResolutionUnit(0);
    std::ostringstream out;
    EXIF(TestSupport::readerFor(bytes)).dump(out);
    setLineEnds(false);
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
