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

std::string failureOf(const TiffBuilder& b)
{
    try {
        TestSupport::treeOf(b);
    } catch (const Exception& e) {
        return e.what();
    }
    return "no error";
}

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
        EXPECT_THROW(IFD(reader, 1, reader->firstIFDOffset()), FileFormatException);
    }
}

TEST(Hostile, HugeCountsAreRefusedBeforeAnythingIsAllocated)
{
    for (int type : {1, 2, 3, 4, 5, 7, 10}) {
        TiffBuilder b;
        b.ifd0().raw(270, static_cast<std::uint16_t>(type), 0xFFFFFFFFu, 8);
        EXPECT_EQ(failureOf(b), "Field value larger than the file") << "type " << type;
    }
    // Many fields that each claim the whole file are refused together.
    TiffBuilder b;
    b.setTrailer(std::vector<std::uint8_t>(100000, 0x41));
    for (std::uint16_t t = 0; t < 100; ++t) {
        b.ifd0().raw(static_cast<std::uint16_t>(1000 + t), 7, 90000, 8);
    }
    EXPECT_EQ(failureOf(b), "Field values larger than the file could hold");
    // A DOUBLE of any count loads nothing and costs nothing.
    TiffBuilder d;
    d.ifd0().raw(300, 12, 0xFFFFFFFFu, 8);
    EXPECT_EQ(failureOf(d), "no error");
}

TEST(Hostile, ValuesAndDirectoriesPastTheEndReadAsZeros)
{
    TiffBuilder b;
    TiffBuilder::Dir& exif = b.newDir();
    b.setTrailer(std::vector<std::uint8_t>(64, 0x11));
    b.ifd0().raw(270, 7, 40, 0x7FFFFF00).pointer(34665, exif);
    b.ifd0().rawNext = 0x7FFF0000; // IFD1 lies beyond the file: an empty directory
    exif.raw(37510, 7, 20, 0);    // placed by hand below, so that half of it lies past the end
    std::vector<std::uint8_t> bytes = b.build();
    const std::uint32_t tailOffset = static_cast<std::uint32_t>(bytes.size() - 10);
    const std::uint32_t entry = b.offsetOf(exif) + 2 + 8;
    bytes[entry] = static_cast<std::uint8_t>(tailOffset);
    bytes[entry + 1] = static_cast<std::uint8_t>(tailOffset >> 8);

    const EXIF tree(TestSupport::readerFor(bytes));
    const Field* past = tree.find(DirectoryId::Primary, 270);
    ASSERT_NE(past, nullptr);
    EXPECT_EQ(past->rawBytes(), std::vector<std::uint8_t>(40, 0));
    const Field* half = tree.find(DirectoryId::Exif, 37510);
    ASSERT_NE(half, nullptr);
    std::vector<std::uint8_t> expected(10, 0x11);
    expected.resize(20, 0);
    EXPECT_EQ(half->rawBytes(), expected);
    ASSERT_NE(tree.directory(DirectoryId::Thumbnail), nullptr);
    EXPECT_TRUE(tree.directory(DirectoryId::Thumbnail)->empty());

    // A directory whose entries would run past the 32-bit offset range.
    TiffBuilder far;
    far.ifd0().shorts(274, {1});
    far.setFirstOffset(0xFFFFFFFE);
    EXPECT_EQ(failureOf(far), "Invalid IFD");
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
