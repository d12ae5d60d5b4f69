// Makers' notes in their own layouts, made byte by byte: where each maker's directory starts,
// what its offsets count from, which byte order it is in, and notes that are damaged or lie.
#include "TreeHelpers.h"

#include <Metadata/EXIF.h>
#include <Metadata/Field.h>
#include <Metadata/IFD.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <sstream>
#include <string>
#include <vector>

using namespace Metadata;
using TestSupport::TiffBuilder;

namespace {

// Bytes of a note, written in one byte order.
struct Note {
    bool big;
    std::vector<std::uint8_t> bytes;

    Note& text(const std::string& t)
    {
        bytes.insert(bytes.end(), t.begin(), t.end());
        return *this;
    }
    Note& u8(std::uint32_t v)
    {
        bytes.push_back(static_cast<std::uint8_t>(v));
        return *this;
    }
    Note& u16(std::uint32_t v)
    {
        return big ? u8(v >> 8).u8(v) : u8(v).u8(v >> 8);
    }
    Note& u32(std::uint32_t v)
    {
        return big ? u16(v >> 16).u16(v) : u16(v).u16(v >> 16);
    }
    // One directory entry; `value` is the value field as it stands.
    Note& entry(std::uint16_t tag, std::uint16_t type, std::uint32_t count, std::uint32_t value)
    {
        return u16(tag).u16(type).u32(count).u32(value);
    }
    // A SHORT entry with its value inside the entry.
    Note& shortEntry(std::uint16_t tag, std::uint32_t v)
    {
        u16(tag).u16(3).u32(1);
        return big ? u16(v).u16(0) : u16(v).u16(0);
    }
    std::size_t size() const { return bytes.size(); }
};

// A tree whose EXIF directory holds `note` as its maker note, in a file of the given order.
EXIF treeWith(const std::string& make, const Note& note, bool bigFile = false)
{
    TiffBuilder b(bigFile);
    TiffBuilder::Dir& exif = b.newDir();
    b.ifd0().ascii(271, make).pointer(34665, exif);
    exif.rationals(33434, {{1, 60}}).bytes(37500, note.bytes);
    return EXIF(TestSupport::readerFor(b.build()));
}

std::string textOf(const EXIF& tree, const IFD* directory, std::uint16_t tag)
{
    if (directory == nullptr) {
        return "(no directory)";
    }
    const Field* f = directory->find(tag);
    return f == nullptr ? "(no field)" : f->valueText(tree.displayContext());
}

// A tree holding the note `make(at)` writes, where `at` is the note's place from the TIFF header
// (Canon's offsets count from there): written once to find the place, then again with it. The
// note's first eight bytes must not depend on it.
EXIF treeWithNoteAt(const std::string& make, const std::function<Note(std::uint32_t)>& write)
{
    const Note first = write(0);
    TiffBuilder b(false);
    TiffBuilder::Dir& exif = b.newDir();
    b.ifd0().ascii(271, make).pointer(34665, exif);
    exif.rationals(33434, {{1, 60}}).bytes(37500, first.bytes);
    const std::vector<std::uint8_t> bytes = b.build();
    const auto found = std::search(bytes.begin(), bytes.end(), first.bytes.begin(), first.bytes.begin() + 8);
    return treeWith(make, write(static_cast<std::uint32_t>(found - bytes.begin())));
}

const IFD* named(const EXIF& tree, const std::string& name)
{
    for (const IFD* d : tree.makerNoteDirectories()) {
        if (d->name() == name) {
            return d;
        }
    }
    return nullptr;
}

} // namespace

TEST(MakerNoteForms, EachMakerIsReadWhereItsDirectoryLiesInItsOwnByteOrder)
{
    // Nikon's third form: a TIFF header of its own, big-endian in a little-endian file; offsets
    // count from that header.
    Note nikon{true, {}};
    nikon.text(std::string("Nikon\0\x02\x10\0\0", 10)).text("MM").u16(42).u32(8);
    nikon.u16(3).shortEntry(0x0002, 200).entry(0x001D, 2, 8, 8 + 2 + 3 * 12 + 4).entry(0x00A7, 4, 1, 1648).u32(0);
    nikon.text(std::string("4001234\0", 8));
    const EXIF n = treeWith("NIKON CORPORATION", nikon);
    EXPECT_EQ(n.makerNoteGroup(), "Nikon");
    EXPECT_EQ(textOf(n, n.directory(DirectoryId::MakerNote), 0x001D), "4001234");
    EXPECT_EQ(textOf(n, n.directory(DirectoryId::MakerNote), 0x00A7), "1648");
    std::string label;
    ASSERT_TRUE(n.directory(DirectoryId::MakerNote)->find(0x00A7)->name(label, n.displayContext()));
    EXPECT_EQ(label, "ShutterCount");

    // Olympus's newer form: its byte order after the signature, offsets from the note, and an
    // equipment directory the main one points to.
    Note olympus{false, {}};
    olympus.text(std::string("OLYMPUS\0", 8)).text("II").u16(3);
    const std::uint32_t equipment = 12 + 2 + 1 * 12 + 4;
    olympus.u16(1).entry(0x2010, 13, 1, equipment).u32(0);
    olympus.u16(1).entry(0x0101, 2, 8, equipment + 2 + 12 + 4).u32(0).text(std::string("C905005\0", 8));
    const EXIF o = treeWith("OLYMPUS IMAGING CORP.", olympus, true);
    EXPECT_EQ(o.makerNoteGroup(), "Olympus");
    EXPECT_EQ(textOf(o, named(o, "Olympus Equipment"), 0x0101), "C905005");

    // Fujifilm: the place of its directory after the signature, always little-endian, offsets
    // from the note; in a big-endian file.
    Note fuji{false, {}};
    fuji.text("FUJIFILM").u32(12).u16(1).entry(0x1000, 2, 8, 12 + 2 + 12 + 4).u32(0).text(std::string("NORMAL \0", 8));
    const EXIF f = treeWith("FUJIFILM", fuji, true);
    EXPECT_EQ(f.makerNoteGroup(), "FujiFilm");
    EXPECT_EQ(textOf(f, f.directory(DirectoryId::MakerNote), 0x1000), "NORMAL ");

    // Kodak: no directory, one array after "KDK INFO"; a value the note is too short for is
    // not there.
    Note kodak{true, {}};
    kodak.text("KDK INFO").text("DX4900  ").u8(0).u8(1).u8(0).u8(0).u16(2448).u16(1632);
    const EXIF k = treeWith("EASTMAN KODAK COMPANY", kodak);
    EXPECT_EQ(k.makerNoteGroup(), "Kodak");
    EXPECT_EQ(textOf(k, k.directory(DirectoryId::MakerNote), 12), "2448");
    EXPECT_EQ(textOf(k, k.directory(DirectoryId::MakerNote), 14), "1632");
    EXPECT_EQ(textOf(k, k.directory(DirectoryId::MakerNote), 16), "(no field)");

    // Canon's plain directory written in the other byte order than the file's: read all the same.
    Note canon{true, {}};
    canon.u16(2).entry(0x000C, 4, 1, 560018150).shortEntry(0x00AE, 5200).u32(0);
    const EXIF c = treeWith("Canon", canon);
    EXPECT_EQ(c.makerNoteGroup(), "Canon");
    EXPECT_EQ(textOf(c, c.directory(DirectoryId::MakerNote), 0x000C), "560018150");
    EXPECT_EQ(textOf(c, c.directory(DirectoryId::MakerNote), 0x00AE), "5200 K");
}

TEST(MakerNoteForms, NotesThatLieCostNothingButThemselves)
{
    // A header that is no TIFF header: no note, no warning, the rest of the tree read.
    Note bad{true, {}};
    bad.text(std::string("Nikon\0\x02\x10\0\0", 10)).text("XX").u16(42).u32(8).u16(0);
    const EXIF n = treeWith("NIKON", bad);
    EXPECT_EQ(n.directory(DirectoryId::MakerNote), nullptr);
    EXPECT_TRUE(n.warnings().empty());
    EXPECT_NE(n.find(DirectoryId::Exif, 33434), nullptr);

    // A sub-directory that points back at the main directory is not read twice; one that
    // points past the end of the note is not read at all.
    Note loop{false, {}};
    loop.text(std::string("OLYMPUS\0", 8)).text("II").u16(3);
    loop.u16(2).entry(0x2010, 13, 1, 12).entry(0x2020, 4, 1, 0x7FFFFFF0).u32(0);
    const EXIF o = treeWith("OLYMPUS", loop);
    EXPECT_EQ(o.makerNoteGroup(), "Olympus");
    EXPECT_TRUE(o.makerNoteDirectories().empty());
    std::ostringstream out;
    o.dump(out); // and shows what there is
    EXPECT_NE(out.str().find("MAKERNOTE IFD"), std::string::npos);

    // An array shorter than the maker's table: the values it holds, no more. Two settings,
    // inside the entry: place 0 (not a setting) and place 1, the macro mode.
    Note shortArray{false, {}};
    shortArray.u16(1).u16(0x0001).u16(3).u32(2).u16(7).u16(1).u32(0);
    const EXIF c = treeWith("Canon", shortArray);
    const IFD* settings = named(c, "Canon CameraSettings");
    ASSERT_NE(settings, nullptr);
    EXPECT_EQ(settings->size(), 1u);
    EXPECT_EQ(textOf(c, settings, 1), "Macro");
}

namespace {

// Apple's note with a run time: a binary property list of one dictionary {"value": n}.
Note appleNote(const std::vector<std::uint8_t>& plist)
{
    Note apple{true, {}};
    apple.text(std::string("Apple iOS\0", 10)).u16(1).text("MM");
    apple.u16(1).entry(0x0003, 7, static_cast<std::uint32_t>(plist.size()), 14 + 2 + 12 + 4).u32(0);
    apple.bytes.insert(apple.bytes.end(), plist.begin(), plist.end());
    return apple;
}

std::vector<std::uint8_t> runTimeList(std::uint64_t value)
{
    std::vector<std::uint8_t> p{'b', 'p', 'l', 'i', 's', 't', '0', '0'};
    p.insert(p.end(), {0xD1, 1, 2});                      // object 0 at 8: a dictionary of one entry
    p.insert(p.end(), {0x55, 'v', 'a', 'l', 'u', 'e'});   // object 1 at 11: its key
    p.push_back(0x13);                                    // object 2 at 17: an 8-byte integer
    for (int shift = 56; shift >= 0; shift -= 8) {
        p.push_back(static_cast<std::uint8_t>(value >> shift));
    }
    p.insert(p.end(), {8, 11, 17});                       // the offsets, at 26
    const std::vector<std::uint8_t> trailer{0, 0, 0, 0, 0, 0, 1, 1, 0, 0, 0, 0, 0, 0, 0, 3,
                                            0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 26};
    p.insert(p.end(), trailer.begin(), trailer.end());
    return p;
}

// A Nikon note of the third form (its own big-endian TIFF header) with a serial number that is
// not a number, lens data of version 0204 enciphered with that serial's stand-in key and the
// shutter count 1648, and flash information of version 0100; without the shutter count when
// `counted` is false.
Note nikonRecords(bool counted)
{
    // Lens data 0204: exit pupil 34, AF aperture 22, focus position 17, the byte 0204 adds, focus
    // distance 74, focal length 80, lens number 118, 88/12 stops, 80 to 80, F 20 and 20, MCU 122,
    // effective F 20. Enciphered from byte 4 on with exiftool's Nikon::Decrypt (key 0x60, 1648).
    const std::vector<std::uint8_t> lens = {0x30, 0x32, 0x30, 0x34, 0x1d, 0x2a, 0x56, 0x8d, 0xf0, 0x52,
                                            0xaa, 0xdb, 0x25, 0x60, 0x6a, 0x09, 0x81, 0xfa, 0x1e, 0xe3};
    // Flash information 0100: commander mode on, manual control (6) at full output less 6/6 EV,
    // no focal length; group A in TTL (1) with a compensation of +1 EV (-6), group B manual at -12.
    const std::vector<std::uint8_t> flash = {'0', '1', '0', '0', 1, 0, 0, 0, 0, 0x86, 6, 0, 0, 0, 0, 1, 6, 0xFA, 12};
    Note nikon{true, {}};
    nikon.text(std::string("Nikon\0\x02\x10\0\0", 10)).text("MM").u16(42).u32(8);
    const std::uint16_t entries = counted ? 4 : 3;
    const std::uint32_t data = 8 + 2 + 12u * entries + 4;
    nikon.u16(entries).entry(0x001D, 2, 7, data).entry(0x0098, 7, 20, data + 8);
    if (counted) {
        nikon.entry(0x00A7, 4, 1, 1648);
    }
    nikon.entry(0x00A8, 7, 19, data + 28).u32(0);
    nikon.text(std::string("ABC123\0\0", 8));
    nikon.bytes.insert(nikon.bytes.end(), lens.begin(), lens.end());
    nikon.bytes.insert(nikon.bytes.end(), flash.begin(), flash.end());
    return nikon;
}

double makerNumber(const EXIF& tree, const IFD* directory, std::uint16_t tag)
{
    MakerValue value;
    const Field* field = directory == nullptr ? nullptr : directory->find(tag);
    return field != nullptr && tree.makerValue(*field, value) ? value.number : -1;
}

} // namespace

TEST(MakerNoteRecords, ThePropertyListOfARunTimeIsReadOnlyWhereItHoldsTogether)
{
    const EXIF good = treeWith("Apple", appleNote(runTimeList(39772089846958ULL)));
    const IFD* runTime = named(good, "Apple RunTime");
    ASSERT_NE(runTime, nullptr);
    ASSERT_NE(runTime->find(2), nullptr);
    MakerValue value;
    ASSERT_TRUE(good.makerValue(*runTime->find(2), value));
    EXPECT_EQ(value.number, 39772089846958.0); // more than 32 bits, exactly

    // Each lie in the list costs the run time, never the note or the reader: a table past the
    // trailer, more objects than the table holds, a reference to no object, a key of another
    // kind, an integer of 2^15 bytes, a list cut short.
    auto lying = [](std::size_t at, std::uint8_t byte) {
        std::vector<std::uint8_t> p = runTimeList(5);
        p[at] = byte;
        return p;
    };
    const std::vector<std::uint8_t> whole = runTimeList(5);
    const std::size_t trailer = whole.size() - 32;
    for (const auto& plist : {lying(trailer + 31, 0xF0), lying(trailer + 15, 0xFF), lying(10, 9), lying(11, 0x45),
                              lying(17, 0x1F), std::vector<std::uint8_t>(whole.begin(), whole.begin() + 40)}) {
        const EXIF tree = treeWith("Apple", appleNote(plist));
        EXPECT_EQ(tree.makerNoteGroup(), "Apple");
        EXPECT_EQ(named(tree, "Apple RunTime"), nullptr);
        EXPECT_TRUE(tree.warnings().empty());
    }
}

TEST(MakerNoteRecords, BitsAndCodesAreShownAsTheCameraMeansThem)
{
    // A Pentax K10D's note (the form whose offsets count from the note): the shot's date and
    // time, the shutter count enciphered with them, and a settings record whose second byte
    // holds four values in its bits.
    Note pentax{true, {}};
    pentax.text(std::string("PENTAX \0", 8)).text("MM");
    const std::uint32_t settingsAt = 10 + 2 + 4 * 12 + 4;
    auto inside = [&](std::uint16_t tag, std::uint32_t count) { pentax.u16(tag).u16(7).u32(count); };
    pentax.u16(4);
    inside(0x0006, 4);
    pentax.u8(0x07).u8(0xD8).u8(3).u8(2); // 2008-03-02
    inside(0x0007, 3);
    pentax.u8(12).u8(1).u8(23).u8(0); // 12:01:23
    const std::uint32_t date = 0x07D80302, time = 0x0C011700;
    inside(0x005D, 4);
    pentax.u32(1648 ^ date ^ (0xFFFFFFFFu - time));
    pentax.entry(0x0205, 7, 23, settingsAt).u32(0);
    pentax.u8(5).u8(0x80 | 0x20 | 0x01).u8(0x50).u8(0x11);
    pentax.bytes.resize(pentax.size() + 19, 0);
    TiffBuilder b(true);
    TiffBuilder::Dir& exif = b.newDir();
    b.ifd0().ascii(271, "PENTAX Corporation").ascii(272, "PENTAX K10D").pointer(34665, exif);
    exif.bytes(37500, pentax.bytes);
    const EXIF tree(TestSupport::readerFor(b.build()));
    ASSERT_EQ(tree.makerNoteGroup(), "Pentax");
    const IFD* note = tree.directory(DirectoryId::MakerNote);
    EXPECT_EQ(textOf(tree, note, 0x0006), "2008:03:02");
    EXPECT_EQ(textOf(tree, note, 0x0007), "12:01:23");
    EXPECT_EQ(textOf(tree, note, 0x005D), "1648");
    const IFD* settings = named(tree, "Pentax CameraSettings");
    ASSERT_NE(settings, nullptr);
    std::ostringstream shown;
    for (const Field& f : *settings) {
        f.display(shown, tree.displayContext().withLineEnds(true));
    }
    EXPECT_NE(shown.str().find("PictureMode2: 5\nProgramLine: 1\nEVSteps: 1\nE-DialInProgram: 0\nApertureRingUse: 1\n"
                               "FlashOptions: 5\nMeteringMode2: 0\nAFPointMode: 1\nFocusMode2: 1\n"),
              std::string::npos)
        << shown.str();
}

TEST(MakerNoteForms, CanonRecordsThatClaimMoreThanTheyHoldAreReadAsFarAsTheyGo)
{
    // An auto-focus record that claims 65535 AF points in 20 bytes: its fixed values, none of
    // the per-point lists. Custom functions whose second function claims 1000 values where one
    // is, and whose second group claims more than the record: the first function alone.
    const EXIF c = treeWithNoteAt("Canon", [](std::uint32_t at) {
        Note note{false, {}};
        const std::uint32_t afInfo = at + 2 + 2 * 12 + 4;
        note.u16(2).entry(0x0026, 3, 10, afInfo).entry(0x0099, 4, 14, afInfo + 20).u32(0);
        note.u16(20).u16(2).u16(0xFFFF).u16(9).u16(3888).u16(2592).u16(3888).u16(2592).u16(112).u16(168);
        note.u16(56).u16(0).u32(2);
        note.u32(1).u32(32).u32(2).u32(0x0101).u32(1).u32(1).u32(0x0102).u32(1000).u32(7);
        note.u32(2).u32(0x7FFFFFFF).u32(5);
        return note;
    });
    const IFD* af = named(c, "Canon AFInfo2");
    ASSERT_NE(af, nullptr);
    EXPECT_EQ(af->size(), 8u);
    EXPECT_EQ(textOf(c, af, 2), "65535");
    EXPECT_EQ(textOf(c, af, 8), "(no field)");

    const IFD* custom = named(c, "Canon CustomFunctions2");
    ASSERT_NE(custom, nullptr);
    EXPECT_EQ(custom->size(), 1u);
    EXPECT_EQ(textOf(c, custom, 0x0101), "1");
    EXPECT_EQ(c.makerNoteGroup(custom->id()), "CanonCustom");
    std::string label;
    ASSERT_TRUE(custom->find(0x0101)->name(label, c.displayContext()));
    EXPECT_EQ(label, "ExposureLevelIncrements");
}

TEST(MakerNoteRecords, NikonLensDataIsDecipheredByItsKeysAndReadInItsVersionsLayout)
{
    const EXIF n = treeWith("NIKON CORPORATION", nikonRecords(true), true);
    const IFD* lens = named(n, "Nikon LensData");
    ASSERT_NE(lens, nullptr);
    // Version 0204 keeps one byte more than 0201 before the focus distance; its rows carry part 2.
    EXPECT_EQ(textOf(n, lens, 0x2000), "0204");
    EXPECT_EQ(textOf(n, lens, 0x200C), "118");
    EXPECT_EQ(textOf(n, lens, 0x2012), "122");
    EXPECT_NEAR(makerNumber(n, lens, 0x200B), 5 * std::pow(2.0, 80.0 / 24), 1e-9);
    EXPECT_NEAR(makerNumber(n, lens, 0x200A), 0.01 * std::pow(10.0, 74.0 / 40), 1e-9);
    EXPECT_NEAR(makerNumber(n, lens, 0x2004), 2048.0 / 34, 1e-9);

    // Without the shutter count there is no key: the enciphered record is not read at all,
    // the plain one still is.
    const EXIF unkeyed = treeWith("NIKON CORPORATION", nikonRecords(false), true);
    EXPECT_EQ(named(unkeyed, "Nikon LensData"), nullptr);
    EXPECT_NE(named(unkeyed, "Nikon FlashInfo"), nullptr);
}

TEST(MakerNoteRecords, NikonFlashInfoNamesAnOutputInManualModesAndACompensationOtherwise)
{
    const EXIF n = treeWith("NIKON CORPORATION", nikonRecords(true), true);
    const IFD* flash = named(n, "Nikon FlashInfo");
    ASSERT_NE(flash, nullptr);
    EXPECT_EQ(textOf(n, flash, 0x1009), "1"); // commander mode
    EXPECT_EQ(textOf(n, flash, 0x2009), "6"); // manual
    EXPECT_NEAR(makerNumber(n, flash, 0x300A), 0.5, 1e-12);
    EXPECT_EQ(flash->find(10), nullptr);   // no compensation in a manual mode
    EXPECT_EQ(flash->find(11), nullptr);   // no focal length
    EXPECT_NEAR(makerNumber(n, flash, 17), 1.0, 1e-12);
    EXPECT_EQ(flash->find(0x3011), nullptr);
    EXPECT_NEAR(makerNumber(n, flash, 0x3012), 0.25, 1e-12);
    EXPECT_EQ(flash->find(18), nullptr);
}
