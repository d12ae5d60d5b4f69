// Files made to break readers: loops, absurd counts, offsets past the end, truncation and
// random damage. The reader must end every one with an error of its own family or a result.
#include "TreeHelpers.h"

#include <Metadata/Exceptions.h>

#include <gtest/gtest.h>

#include <random>
#include <sstream>

using namespace Metadata;
using TestSupport::TiffBuilder;

namespace {


// A tree with every directory, values of every kind, and a maker note.
TiffBuilder richFile(bool big)
{
    TiffBuilder b(big);
    TiffBuilder::Dir& exif = b.newDir();
    TiffBuilder::Dir& interop = b.newDir();
    TiffBuilder::Dir& ifd1 = b.newDir();
    b.ifd0().ascii(271, "Acme").ascii(272, "Model 7").shorts(274, {6}).rationals(282, {{72, 1}});
    b.ifd0().shorts(258, {8, 8, 8}).pointer(34665, exif);
    b.ifd0().next = &ifd1;
    exif.rationals(33434, {{1, 250}}).rationals(33437, {{28, 10}}).shorts(34855, {400});
    exif.srationals(37377, {{8, 1}}).srationals(37380, {{-2, 3}}).bytes(36864, {'0', '2', '2', '0'});
    // A maker note that is a plain directory of two entries, in the file's byte order.
    std::vector<std::uint8_t> note = {0, 2, 0, 1, 0, 3, 0, 0, 0, 1, 0, 5, 0, 0, 0, 2, 0, 2, 0, 0, 0, 4, 'a', 'b', 'c', 0, 0, 0, 0, 0};
    if (!big) {
        for (std::size_t i : {0, 2, 4, 10, 14, 16}) {
            std::swap(note[i], note[i + 1]);
        }
        for (std::size_t i : {6, 18}) {
            std::swap(note[i], note[i + 3]);
            std::swap(note[i + 1], note[i + 2]);
        }
    }
    exif.bytes(37500, note);
    exif.pointer(40965, interop);
    interop.ascii(1, "R98").bytes(2, {'0', '1', '0', '0'});
    ifd1.shorts(259, {6}).longs(513, {300}).longs(514, {100});
    return b;
}

// Parses and dumps whatever `bytes` hold; fails the test on anything but a library error.
void parseAnything(const std::vector<std::uint8_t>& bytes)
{
    try {
        const EXIF tree = EXIF::read(std::make_shared<MemorySource>(bytes));
        std::ostringstream sink;
        tree.dump(sink);
        for (const IFD* d : tree.directories()) {
            for (const Field& f : *d) {
                std::string s;
                f.name(s);
                f.dumpGeneric(sink);
            }
        }
    } catch (const Exception&) {
    } catch (const Error&) {
    }
}

} // namespace

TEST(Hostile, DirectoriesThatPointAtEachOtherAreReadOnce)
{
    {
        // The EXIF pointer leads back to IFD0.
        TiffBuilder b;
        b.ifd0().shorts(274, {1}).pointer(34665, b.ifd0());
        const EXIF tree = TestSupport::treeOf(b);
        EXPECT_EQ(tree.directories().size(), 1u);
    }
    {
        // The interoperability pointer leads back to the EXIF directory, IFD1 back to IFD0.
        TiffBuilder b;
        TiffBuilder::Dir& exif = b.newDir();
        b.ifd0().shorts(274, {1}).pointer(34665, exif);
        b.ifd0().next = &b.ifd0();
        exif.shorts(37385, {1}).pointer(40965, exif);
        const EXIF tree = TestSupport::treeOf(b);
        EXPECT_NE(tree.directory(DirectoryId::Exif), nullptr);
        EXPECT_EQ(tree.directory(DirectoryId::Interoperability), nullptr);
        EXPECT_EQ(tree.directory(DirectoryId::Thumbnail), nullptr);
    }
    {
        // Asking the same directory again by hand is refused, not repeated.
        TiffBuilder b;
        b.ifd0().shorts(274, {1});
        auto reader = TestSupport::readerFor(b.build());
        const IFD first(reader, 1, reader->firstIFDOffset());
        EXPECT_TRUE(IFD(reader, 1, reader->firstIFDOffset()).empty());
        EXPECT_EQ(TestSupport::textsOf(reader->warnings()),
                  std::vector<std::string>{"IFD read twice (directories form a loop)"});
    }
}

TEST(Hostile, HugeCountsAreRefusedBeforeAnythingIsAllocated)
{
    for (int type : {1, 2, 3, 4, 5, 7, 10}) {
        TiffBuilder b;
        b.ifd0().raw(270, static_cast<std::uint16_t>(type), 0xFFFFFFFFu, 8).shorts(274, {6});
        const EXIF tree = TestSupport::treeOf(b);
        EXPECT_EQ(TestSupport::textsOf(tree.warnings()), std::vector<std::string>{"Field value larger than the file"})
            << "type " << type;
        EXPECT_TRUE(tree.find(DirectoryId::Primary, 270)->damaged());
        std::uint32_t orientation = 0;
        EXPECT_TRUE(tree.getUInt32(DirectoryId::Primary, 274, orientation));
    }
    // Many fields that each claim the whole file: the first few are read, the rest are refused.
    TiffBuilder b;
    b.setTrailer(std::vector<std::uint8_t>(100000, 0x41));
    for (std::uint16_t t = 0; t < 100; ++t) {
        b.ifd0().raw(static_cast<std::uint16_t>(1000 + t), 7, 90000, 8);
    }
    const EXIF tree = TestSupport::treeOf(b);
    const IFD& ifd0 = *tree.directory(DirectoryId::Primary);
    ASSERT_EQ(ifd0.size(), 100u);
    EXPECT_FALSE(ifd0.at(0).damaged());
    EXPECT_EQ(ifd0.at(0).rawBytes().size(), 90000u);
    EXPECT_TRUE(ifd0.at(99).damaged());
    ASSERT_FALSE(tree.warnings().empty());
    EXPECT_EQ(tree.warnings().back().text, "Field values larger than the file could hold");
    EXPECT_LE(tree.warnings().size(), 96u);
    // A DOUBLE of any count loads nothing and costs nothing.
    TiffBuilder d;
    d.ifd0().raw(300, 12, 0xFFFFFFFFu, 8);
    EXPECT_TRUE(TestSupport::treeOf(d).warnings().empty());
}

TEST(Hostile, ValuesAndDirectoriesPastTheEndCostThemselves)
{
    TiffBuilder b;
    TiffBuilder::Dir& exif = b.newDir();
    b.setTrailer(std::vector<std::uint8_t>(64, 0x11));
    b.ifd0().raw(270, 7, 40, 0x7FFFFF00).pointer(34665, exif).shorts(274, {3});
    b.ifd0().rawNext = 0x7FFF0000; // IFD1 lies beyond the file
    exif.raw(37510, 7, 20, 0);     // placed by hand below, so that half of it lies past the end
    exif.shorts(37385, {1});
    std::vector<std::uint8_t> bytes = b.build();
    const std::uint32_t tailOffset = static_cast<std::uint32_t>(bytes.size() - 10);
    const std::uint32_t entry = b.offsetOf(exif) + 2 + 8;
    bytes[entry] = static_cast<std::uint8_t>(tailOffset);
    bytes[entry + 1] = static_cast<std::uint8_t>(tailOffset >> 8);

    const EXIF tree(TestSupport::readerFor(bytes));
    EXPECT_EQ(TestSupport::textsOf(tree.warnings()),
              (std::vector<std::string>{"Field value past the end of the data", "Field value past the end of the data",
                                        "IFD past the end of the data"}));
    const Field* past = tree.find(DirectoryId::Primary, 270);
    ASSERT_NE(past, nullptr);
    EXPECT_TRUE(past->damaged());
    std::vector<std::uint8_t> value;
    EXPECT_FALSE(past->getBytes(value));
    const Field* half = tree.find(DirectoryId::Exif, 37510);
    ASSERT_NE(half, nullptr);
    EXPECT_TRUE(half->damaged());
    std::uint32_t u = 0;
    EXPECT_TRUE(tree.getUInt32(DirectoryId::Primary, 274, u));
    EXPECT_TRUE(tree.getUInt32(DirectoryId::Exif, 37385, u));
    ASSERT_NE(tree.directory(DirectoryId::Thumbnail), nullptr);
    EXPECT_TRUE(tree.directory(DirectoryId::Thumbnail)->empty());

    // A first directory far beyond the data.
    TiffBuilder far;
    far.ifd0().shorts(274, {1});
    far.setFirstOffset(0xFFFFFFFE);
    EXPECT_EQ(TestSupport::textsOf(TestSupport::treeOf(far).warnings()),
              std::vector<std::string>{"IFD past the end of the data"});

    // A directory cut short keeps its whole entries.
    TiffBuilder cut;
    cut.ifd0().shorts(274, {1}).shorts(296, {2}).ascii(271, "Acme");
    std::vector<std::uint8_t> cutBytes = cut.build();
    cutBytes.resize(cut.offsetOf(cut.ifd0()) + 2 + 12 * 2 + 5);
    const EXIF cutTree(TestSupport::readerFor(cutBytes));
    EXPECT_EQ(TestSupport::textsOf(cutTree.warnings()), std::vector<std::string>{"IFD cut short by the end of the data"});
    EXPECT_EQ(cutTree.directory(DirectoryId::Primary)->size(), 2u);
}

TEST(Hostile, EveryTruncationAndRandomDamageEndsInAResultOrALibraryError)
{
    for (bool big : {false, true}) {
        const std::vector<std::uint8_t> good = richFile(big).build();
        // The intact file reads completely.
        const EXIF tree = EXIF::read(std::make_shared<MemorySource>(good));
        EXPECT_EQ(tree.directories().size(), 5u);
        for (std::size_t n = 0; n <= good.size(); ++n) {
            parseAnything(std::vector<std::uint8_t>(good.begin(), good.begin() + static_cast<long>(n)));
        }
        std::mt19937 random(big ? 2 : 1);
        for (int round = 0; round < 3000; ++round) {
            std::vector<std::uint8_t> bytes = good;
            const int flips = 1 + static_cast<int>(random() % 8);
            for (int i = 0; i < flips; ++i) {
                bytes[random() % bytes.size()] = static_cast<std::uint8_t>(random());
            }
            parseAnything(bytes);
        }
    }
}
