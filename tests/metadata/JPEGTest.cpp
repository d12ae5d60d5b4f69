#include "ContainerHelpers.h"
#include "TreeHelpers.h"
#include "TiffBuilder.h"

#include <Metadata/Exceptions.h>
#include <Metadata/MD5.h>
#include <Metadata/JPEGImageMetadata.h>

#include <gtest/gtest.h>

#include <algorithm>

#include <sys/stat.h>

#include <filesystem>
#include <random>

using namespace Metadata;
using namespace TestSupport;

namespace {

using Segments = std::vector<std::pair<int, Bytes>>;

// The segments of a JPEG up to SOS (marker and whole segment), then everything from SOS on as
// one entry with marker 0xDA. Bytes between segments, if any, go into an entry with marker -1.
Segments segmentsOf(const Bytes& b)
{
    Segments out;
    std::size_t i = 2;
    while (i + 1 < b.size()) {
        if (b[i] != 0xFF) {
            std::size_t j = i;
            while (j < b.size() && b[j] != 0xFF) {
                ++j;
            }
            out.emplace_back(-1, Bytes(b.begin() + static_cast<long>(i), b.begin() + static_cast<long>(j)));
            i = j;
            continue;
        }
        const int m = b[i + 1];
        if (m == 0xDA || m == 0xD9) {
            out.emplace_back(m, Bytes(b.begin() + static_cast<long>(i), b.end()));
            break;
        }
        const std::size_t length = (b[i + 2] << 8) | b[i + 3];
        out.emplace_back(m, Bytes(b.begin() + static_cast<long>(i), b.begin() + static_cast<long>(i + 2 + length)));
        i += 2 + length;
    }
    return out;
}

std::vector<int> markersOf(const Bytes& b)
{
    std::vector<int> m;
    for (const auto& s : segmentsOf(b)) {
        m.push_back(s.first);
    }
    return m;
}

// A whole Photoshop APP13 segment around `resources`.
Bytes app13(const Bytes& resources)
{
    const std::size_t length = 16 + resources.size();
    return Bytes{0xFF, 0xED, static_cast<std::uint8_t>(length >> 8), static_cast<std::uint8_t>(length)} +
           bytesOf(std::string("Photoshop 3.0\0", 14)) + resources;
}

Bytes smallExif()
{
    TiffBuilder t;
    TiffBuilder::Dir& exif = t.newDir();
    t.ifd0().ascii(271, "Acme").pointer(34665, exif);
    exif.rationals(33434, {{1, 125}});
    return t.build();
}

const std::string Packet =
    "<x:xmpmeta xmlns:x=\"adobe:ns:meta/\"><rdf:RDF xmlns:rdf=\"http://www.w3.org/1999/02/22-rdf-syntax-ns#\">"
    "<rdf:Description rdf:about=\"\" xmlns:dc=\"http://purl.org/dc/elements/1.1/\">"
    "<dc:subject><rdf:Bag><rdf:li>old</rdf:li></rdf:Bag></dc:subject>"
    "</rdf:Description></rdf:RDF></x:xmpmeta>";

const Bytes OtherResource = resourceBlock(1005, Bytes(16, 0x42), "res");

Bytes iptcRecord()
{
    return iptcDataSet(2, 0, std::string("\0\2", 2)) + iptcDataSet(2, 120, "Caption") + iptcDataSet(2, 25, "k1");
}

// The image as written by one of the writers, read back as bytes.
template <class Write> Bytes written(const TempFolder& folder, const Bytes& source, Write write)
{
    writeBytes(folder.file("in.jpg"), source);
    auto opened = openFile(folder.file("in.jpg"));
    write(*opened->image, folder.file("out.jpg"));
    return readBytes(folder.file("out.jpg"));
}

} // namespace

TEST(JPEG, ReadsExifXmpAndPhotoshopSegmentsPastGarbageAndFillBytes)
{
    TempFolder folder;
    JpegBuilder b;
    b.segment(0xE0, bytesOf(std::string("JFIF\0\1\1\0\0\1\0\1\0\0", 14)))
        .raw({0x00, 0x13, 0x37}) // garbage between segments
        .exif(smallExif())
        .raw({0xFF, 0xFF, 0xFF}) // fill bytes before a marker
        .xmp(Packet)
        .photoshop(OtherResource + resourceBlock(1028, iptcRecord()))
        .frame()
        .segment(0xE2, bytesOf("ICC_PROFILE after the frame")) // still read
        .scan();
    writeBytes(folder.file("a.jpg"), b.bytes());
    const auto o = openFile(folder.file("a.jpg"));
    const ImageMetadata& image = *o->image;
    EXPECT_STREQ(image.formatName(), "JPEG");
    std::string make;
    EXPECT_TRUE(image.exif().getText(DirectoryId::Primary, 271, make));
    EXPECT_EQ(make, "Acme");
    URational t;
    EXPECT_TRUE(image.exif().getURational(DirectoryId::Exif, 33434, t));
    EXPECT_EQ(t, (URational{1, 125}));
    ASSERT_NE(image.xmp(), nullptr);
    EXPECT_EQ(image.xmp()->subject(), (std::vector<std::string>{"old"}));
    EXPECT_EQ(image.iptc().values(120), (std::vector<std::string>{"Caption"}));
    ASSERT_EQ(image.resourceBlocks().size(), 2u);
    EXPECT_EQ(image.resourceBlocks()[0].id, 1005);
    EXPECT_EQ(image.retainedResourcesSize(), OtherResource.size());
    EXPECT_EQ(image.resourcesSize(), OtherResource.size() + resourceBlock(1028, iptcRecord()).size());

    // A JPEG without any metadata has an empty tree, an empty record and no packet.
    writeBytes(folder.file("plain.jpg"), JpegBuilder().frame().scan().bytes());
    const auto plain = openFile(folder.file("plain.jpg"));
    EXPECT_TRUE(plain->image->exif().empty());
    EXPECT_TRUE(plain->image->iptc().empty());
    EXPECT_EQ(plain->image->xmp(), nullptr);
}

TEST(JPEG, StructuralFaultsHaveTheirOwnMessages)
{
    TempFolder folder;
    auto error = [&](const Bytes& bytes) { return openError(folder, bytes); };
    EXPECT_EQ(error(JpegBuilder().raw({0x00, 0x00, 0x00}).bytes()), "No marker (EOF reached)");
    EXPECT_EQ(error(JpegBuilder().raw({0xFF, 0xDB, 0x00, 0x01}).frame().scan().bytes()),
              "Erroneous JPEG marker length");
    EXPECT_EQ(error(JpegBuilder().raw({0xFF, 0xDB, 0x10, 0x00, 1, 2, 3}).bytes()),
              "Erroneous JPEG marker length (EOF reached)");
    EXPECT_EQ(error(JpegBuilder().segment(0xC0, {8, 0, 8, 0, 8, 2, 1, 0x11, 0}).scan().bytes()),
              "Bad SOF marker length");
    EXPECT_EQ(error(JpegBuilder().raw({0xFF, 0xE1, 0x00, 0x01}).bytes()), "Erroneous JPEG marker length");
    EXPECT_EQ(error(JpegBuilder().raw({0xFF, 0xE1, 0x01, 0x00, 'a', 'b'}).bytes()), "Bad SOF marker length");
    EXPECT_EQ(error(JpegBuilder().raw({0xFF, 0xE1, 0x01, 0x00, 'E', 'x', 'i', 'f', 0, 0, 'M', 'M'}).bytes()),
              "Bad SOF marker length");
    EXPECT_EQ(error(JpegBuilder().raw({0xFF, 0xED, 0x00, 0x40}).raw(bytesOf(std::string("Photoshop 3.0\0", 14))).bytes()),
              "Erroneous JPEG segment (app13) length (EOF reached)");
    EXPECT_EQ(error(JpegBuilder().raw({0xFF, 0xED, 0x00, 0x01}).bytes()), "Erroneous JPEG marker length");
    // A broken EXIF block costs the EXIF, not the file.
    for (const auto& [block, warning] : {std::pair<std::string, std::string>{std::string("II*\0\x08\0\0\0\xff\0", 10), "Invalid IFD"},
                                         {std::string("IM*\0\x08\0\0\0", 8), "unknown byte ordering"},
                                         {std::string("MM\0\x2b\0\0\0\x08", 8), "Bad EXIF magic"}}) {
        const Bytes bytes = JpegBuilder().exif(bytesOf(block)).photoshop(resourceBlock(1028, iptcRecord())).frame().scan().bytes();
        EXPECT_EQ(error(bytes), "opened") << warning;
        const auto opened = openFile(folder.file("probe.jpg"));
        EXPECT_EQ(TestSupport::textsOf(opened->image->warnings()), std::vector<std::string>{warning});
        EXPECT_EQ(opened->image->iptc().values(120), (std::vector<std::string>{"Caption"})) << warning;
    }

    try {
        openError(folder, JpegBuilder().raw({0xFF, 0xDB, 0x00, 0x01}).bytes());
        writeBytes(folder.file("x.jpg"), JpegBuilder().raw({0xFF, 0xDB, 0x00, 0x01}).bytes());
        openFile(folder.file("x.jpg"));
        FAIL() << "opened";
    } catch (const FileFormatException& e) {
        EXPECT_EQ(e.file(), "JPEGImageMetadata.cpp");
    }
}

TEST(JPEG, RewriteFaultsHaveTheirOwnMessages)
{
    TempFolder folder;
    // SOS before any frame header reads fine and cannot be rewritten.
    const Bytes noFrame = JpegBuilder().segment(0xDB, Bytes(65, 1)).scan().bytes();
    writeBytes(folder.file("a.jpg"), noFrame);
    {
        auto o = openFile(folder.file("a.jpg"));
        try {
            o->image->writeWithIPTC(folder.file("b.jpg"));
            FAIL() << "rewritten";
        } catch (const FileFormatException& e) {
            EXPECT_STREQ(e.what(), "SOS without prior SOFn");
        }
    }
    // The source changing under an open container: no SOI any more, or cut short.
    const Bytes good = JpegBuilder().segment(0xE0, Bytes(20, 7)).segment(0xDB, Bytes(200, 1)).frame().scan().bytes();
    writeBytes(folder.file("c.jpg"), good);
    {
        auto o = openFile(folder.file("c.jpg"));
        std::fstream patch(folder.file("c.jpg"), std::ios::in | std::ios::out | std::ios::binary);
        patch.seekp(1);
        patch.put(static_cast<char>(0xE0));
        patch.close();
        try {
            o->image->writeWithIPTC(folder.file("d.jpg"));
            FAIL() << "rewritten";
        } catch (const FileFormatException& e) {
            EXPECT_STREQ(e.what(), "Corrupt JPEG: no SOI.");
        }
    }
    writeBytes(folder.file("e.jpg"), good);
    {
        auto o = openFile(folder.file("e.jpg"));
        std::filesystem::resize_file(folder.file("e.jpg"), 2 + 24 + 100);
        try {
            o->image->writeWithIPTC(folder.file("f.jpg"));
            FAIL() << "rewritten";
        } catch (const FileFormatException& e) {
            EXPECT_STREQ(e.what(), "Erroneous JPEG segment length");
        }
    }
}

TEST(JPEG, RewriteReplacesIptcAndXmpWhereTheyStoodAndCopiesEverythingElse)
{
    TempFolder folder;
    JpegBuilder b;
    b.segment(0xE0, Bytes(14, 3))
        .exif(smallExif())
        .photoshop(OtherResource + resourceBlock(1028, iptcRecord()))
        .segment(0xE2, Bytes(30, 9))
        .xmp(Packet)
        .frame()
        .scan();
    const Bytes source = b.bytes();
    const Segments before = segmentsOf(source);

    const Bytes out = written(folder, source, [](ImageMetadata& image, const std::string& path) {
        image.iptc().add(25, "k2");
        image.writeWithIPTC(path);
    });
    const Segments after = segmentsOf(out);
    ASSERT_EQ(markersOf(out), markersOf(source));
    for (std::size_t i = 0; i < before.size(); ++i) {
        if (before[i].first != 0xED && !(before[i].first == 0xE1 && i == 4)) {
            EXPECT_EQ(after[i].second, before[i].second) << "segment " << i;
        }
    }
    // The Photoshop segment keeps the other resource first, then the new record.
    const Bytes expectedRecord = iptcRecord() + iptcDataSet(2, 25, "k2");
    // The record is 33 bytes long: its block says 34, the padded length.
    ASSERT_EQ(expectedRecord.size(), 33u);
    const Bytes block = ImageMetadata::makeIptcBlock(expectedRecord.data(), expectedRecord.size());
    EXPECT_EQ(block[11], 34);
    EXPECT_EQ(after[2].second, app13(OtherResource + block));
    // The XMP segment holds the packet as the wrapper writes it.
    writeBytes(folder.file("check.jpg"), out);
    const auto back = openFile(folder.file("check.jpg"));
    EXPECT_EQ(back->image->xmp()->subject(), (std::vector<std::string>{"old"}));
    EXPECT_EQ(back->image->iptc().values(25), (std::vector<std::string>{"k1", "k2"}));
}

TEST(JPEG, RewriteWithoutIptcDropsTheRecordAndAnEmptiedSegment)
{
    TempFolder folder;
    const Bytes withOther = JpegBuilder().photoshop(OtherResource + resourceBlock(1028, iptcRecord())).frame().scan().bytes();
    const Bytes kept = written(folder, withOther, [](ImageMetadata& i, const std::string& p) { i.writeWithoutIPTC(p); });
    EXPECT_EQ(segmentsOf(kept)[0].second, app13(OtherResource));

    const Bytes onlyIptc = JpegBuilder().photoshop(resourceBlock(1028, iptcRecord())).frame().scan().bytes();
    const Bytes gone = written(folder, onlyIptc, [](ImageMetadata& i, const std::string& p) { i.writeWithoutIPTC(p); });
    EXPECT_EQ(markersOf(gone), (std::vector<int>{0xDB, 0xC0, 0xC4, 0xDA}));

    // With the flag set, an empty record and nothing else still leaves the bare identifier.
    const Bytes bare = written(folder, onlyIptc, [](ImageMetadata& i, const std::string& p) {
        i.iptc().remove(120);
        i.iptc().remove(25);
        i.writeWithIPTC(p);
    });
    EXPECT_EQ(segmentsOf(bare)[0].second, app13({}));
}

TEST(JPEG, NewSegmentsGoBeforeTheFirstFrameHeaderPhotoshopFirst)
{
    TempFolder folder;
    const Bytes plain = JpegBuilder().segment(0xE0, Bytes(14, 3)).frame().scan().bytes();
    const Bytes out = written(folder, plain, [](ImageMetadata& image, const std::string& path) {
        image.iptc().add(120, "New");
        image.updateAndWrite(path);
    });
    EXPECT_EQ(markersOf(out), (std::vector<int>{0xE0, 0xDB, 0xED, 0xE1, 0xC0, 0xC4, 0xDA}));
    EXPECT_EQ(segmentsOf(out).back().second, segmentsOf(plain).back().second);
    writeBytes(folder.file("check.jpg"), out);
    const auto back = openFile(folder.file("check.jpg"));
    EXPECT_EQ(back->image->xmp()->description(), "New");
    EXPECT_EQ(back->image->xmp()->documentID().rfind("lumenoworks:docid:lumeno:", 0), 0u);

    // Markers that end at EOI before any frame: nothing is inserted, the rest is copied.
    const Bytes early = JpegBuilder().segment(0xE0, Bytes(4, 1)).raw({0xFF, 0xD9, 0x11, 0x22}).bytes();
    const Bytes same = written(folder, early, [](ImageMetadata& image, const std::string& path) {
        image.iptc().add(120, "New");
        image.writeWithIPTC(path);
    });
    EXPECT_EQ(same, early);
}

TEST(JPEG, SecondXmpAndPhotoshopSegmentsAndShortApp1)
{
    TempFolder folder;
    const std::string secondPacket = Packet + "<!-- second -->";
    JpegBuilder b;
    b.xmp(Packet)
        .segment(0xE1, Bytes(28, 'x')) // payload 28: copied without a look
        .xmp(secondPacket)
        .photoshop(resourceBlock(1028, iptcRecord()))
        .photoshop(OtherResource)
        .segment(0xE0, Bytes(4, 5))
        .frame()
        .scan();
    const Bytes source = b.bytes();
    const Bytes out = written(folder, source, [](ImageMetadata& image, const std::string& path) {
        image.writeWithIPTC(path);
    });
    const Segments s = segmentsOf(out);
    // First XMP replaced (and read from the first packet), the second copied as it was.
    ASSERT_GE(s.size(), 5u);
    EXPECT_EQ(s[1].second, segmentsOf(source)[1].second);
    EXPECT_EQ(s[2].second, segmentsOf(source)[2].second);
    // The second APP13's payload is dropped up to the next FF: the APP0 after it survives.
    EXPECT_EQ(s[3].first, 0xED);
    EXPECT_EQ(s[4].first, 0xE0);
    EXPECT_EQ(s[4].second, (Bytes{0xFF, 0xE0, 0, 6} + Bytes(4, 5)));
}

TEST(JPEG, ResourceBlocksStopAtIdZeroAndIptcBlocksArePaddedToEven)
{
    TempFolder folder;
    const Bytes afterZero = resourceBlock(1006, Bytes(4, 1));
    const Bytes source =
        JpegBuilder().photoshop(OtherResource + resourceBlock(0, Bytes(2, 0)) + afterZero).frame().scan().bytes();
    const Bytes out = written(folder, source, [](ImageMetadata& image, const std::string& path) {
        EXPECT_EQ(image.resourceBlocks().size(), 1u);
        image.iptc().add(5, "odd"); // version (7 bytes) + "odd" (8 bytes): 15, odd
        image.writeWithIPTC(path);
    });
    const Bytes record = iptcDataSet(2, 0, std::string("\0\2", 2)) + iptcDataSet(2, 5, "odd");
    ASSERT_EQ(record.size() % 2, 1u);
    const Bytes block = bytesOf("8BIM") + Bytes{4, 4, 0, 0, 0, 0, 0, static_cast<std::uint8_t>(record.size() + 1)} +
                        record + Bytes{0};
    EXPECT_EQ(ImageMetadata::makeIptcBlock(record.data(), record.size()), block);
    EXPECT_EQ(segmentsOf(out)[0].second, app13(OtherResource + block));
}

TEST(JPEG, AnIptcDigestIsMadeAnewForTheNewRecord)
{
    TempFolder folder;
    const Bytes staleDigest = resourceBlock(ImageMetadata::IPTCDigestResourceId, Bytes(16, 0xAA));
    for (const char* caption : {"odd", "even"}) {
        const Bytes source = JpegBuilder()
                                 .photoshop(staleDigest + resourceBlock(1028, iptcRecord()) + OtherResource)
                                 .frame()
                                 .scan()
                                 .bytes();
        const Bytes out = written(folder, source, [&](ImageMetadata& image, const std::string& path) {
            image.iptc().set(120, caption);
            image.writeWithIPTC(path);
        });
        writeBytes(folder.file("out.jpg"), out);
        const auto o = openFile(folder.file("out.jpg"));
        const auto& blocks = o->image->resourceBlocks();
        ASSERT_EQ(blocks.size(), 3u);
        ASSERT_EQ(blocks[0].id, ImageMetadata::IPTCDigestResourceId);
        ASSERT_EQ(blocks[1].id, 1028);
        // The digest of the record's data as its block gives it (padded to even length).
        const auto expected = md5(blocks[1].data, blocks[1].dataSize);
        EXPECT_EQ(Bytes(blocks[0].data, blocks[0].data + 16), Bytes(expected.begin(), expected.end())) << caption;
        EXPECT_EQ(o->image->iptc().values(120), std::vector<std::string>{caption});
    }
    // Without a digest before, none is added.
    const Bytes plain = JpegBuilder().photoshop(resourceBlock(1028, iptcRecord())).frame().scan().bytes();
    const Bytes noDigest = written(folder, plain, [](ImageMetadata& image, const std::string& path) {
        image.iptc().set(120, "x");
        image.writeWithIPTC(path);
    });
    const Bytes segment = segmentsOf(noDigest)[0].second;
    const Bytes digestHeader = bytesOf("8BIM") + Bytes{0x04, 0x25};
    EXPECT_EQ(std::search(segment.begin(), segment.end(), digestHeader.begin(), digestHeader.end()), segment.end());
}

TEST(JPEG, AnEditKeepsEveryDatasetItDidNotTouchByteForByte)
{
    TempFolder folder;
    // A caption longer than the standard allows, a headline with a NUL inside, a dataset of a
    // number nobody knows, and record 1 before them: an edit of the city changes none of them.
    const Bytes untouched = iptcDataSet(1, 90, "\x1B%G") + iptcDataSet(2, 0, std::string("\0\4", 2)) +
                            iptcDataSet(2, 120, std::string(3000, 'c')) +
                            iptcDataSet(2, 105, std::string("Head\0line", 9)) + iptcDataSet(2, 222, "mine");
    const Bytes source =
        JpegBuilder().photoshop(resourceBlock(1028, untouched)).frame().scan().bytes();
    writeBytes(folder.file("in.jpg"), source);
    {
        const auto o = openFile(folder.file("in.jpg"));
        EXPECT_EQ(o->image->iptc().values(120), std::vector<std::string>{std::string(3000, 'c')});
        EXPECT_EQ(TestSupport::textsOf(o->image->warnings()),
                  std::vector<std::string>{"Caption: 3000 bytes is longer than its limit of 2000 bytes"});
        o->image->iptc().set(90, "Oslo");
        o->image->iptc().set(122, "Zo\xC0\xAB" "e"); // an overlong form: no UTF-8, though it looks so
        o->image->updateAndWrite(folder.file("out.jpg"));
    }
    const auto again = openFile(folder.file("out.jpg"));
    ASSERT_EQ(again->image->resourceBlocks().size(), 1u);
    const ImageResourceBlock& block = again->image->resourceBlocks()[0];
    const Bytes expected = untouched + iptcDataSet(2, 90, "Oslo") + iptcDataSet(2, 122, "Zo\xC0\xAB" "e");
    EXPECT_EQ(Bytes(block.data, block.data + expected.size()), expected);
    // Mirrored into XMP whole, not cut at a byte that is not UTF-8.
    ASSERT_NE(again->image->xmp(), nullptr);
    EXPECT_EQ(again->image->xmp()->description(), std::string(3000, 'c'));
    EXPECT_EQ(again->image->xmp()->city(), "Oslo");
    // Declared UTF-8, so the two stray bytes alone are taken as Latin-1.
    EXPECT_EQ(again->image->xmp()->captionWriter(), "Zo\xC3\x80\xC2\xAB" "e");
}

TEST(JPEG, ResourceBlocksMayClaimFourBytesMoreThanRemain)
{
    TempFolder folder;
    // A last block whose data runs 4 bytes past the segment is still taken, as it always was.
    Bytes longBlock = resourceBlock(1005, Bytes(8, 0x42));
    longBlock.resize(longBlock.size() - 4);
    Bytes tooLong = resourceBlock(1005, Bytes(8, 0x42));
    tooLong.resize(tooLong.size() - 5);
    for (const auto& [bytes, count] : {std::pair{longBlock, 1u}, std::pair{tooLong, 0u}}) {
        writeBytes(folder.file("a.jpg"), JpegBuilder().photoshop(OtherResource + bytes).frame().scan().bytes());
        const auto o = openFile(folder.file("a.jpg"));
        EXPECT_EQ(o->image->resourceBlocks().size(), 1u + count);
    }
}

TEST(JPEG, XmpUpdateReplacesRatherThanDuplicatesAndDeletesWhatWasRemoved)
{
    TempFolder folder;
    const Bytes source = JpegBuilder().xmp(Packet).photoshop(resourceBlock(1028, iptcRecord())).frame().scan().bytes();
    writeBytes(folder.file("a.jpg"), source);
    auto o = openFile(folder.file("a.jpg"));
    ImageMetadata& image = *o->image;
    image.iptc().add(25, "k\xE9"); // Latin-1: becomes UTF-8 in XMP
    image.iptc().add(55, "20240506");
    image.iptc().add(60, "070809+0200");
    image.updateXMP({});
    const std::string id = image.xmp()->documentID();
    image.updateXMP({});
    EXPECT_EQ(image.xmp()->documentID(), id);
    EXPECT_EQ(image.xmp()->subject(), (std::vector<std::string>{"k1", "k\xC3\xA9"}));
    EXPECT_EQ(image.xmp()->description(), "Caption");
    EXPECT_EQ(image.xmp()->dateCreated(), "2024-05-06T07:08:09+02:00");

    image.iptc().remove(120);
    image.iptc().remove(25);
    image.updateXMP({25});
    EXPECT_TRUE(image.xmp()->subject().empty());
    EXPECT_EQ(image.xmp()->description(), "Caption"); // not named as removed: left alone

    // A stored pair that names no moment leaves the property as it was: neither erased nor cut
    // to the date.
    image.iptc().remove(60);
    image.iptc().addDataSet(Record2DataSet(60, "250000+0000"));
    image.updateXMP({});
    EXPECT_EQ(image.xmp()->dateCreated(), "2024-05-06T07:08:09+02:00");

    image.clearXMP();
    image.writeWithIPTC(folder.file("b.jpg"));
    EXPECT_EQ(markersOf(readBytes(folder.file("b.jpg"))), (std::vector<int>{0xED, 0xDB, 0xC0, 0xC4, 0xDA}));
}

TEST(ImageFactory, PicksTheContainerByTheFirstBytesOnly)
{
    TempFolder folder;
    auto error = [&](const Bytes& bytes) { return openError(folder, bytes); };
    EXPECT_EQ(error({0xFF}), "read failed");
    EXPECT_EQ(error({}), "read failed");
    EXPECT_EQ(error({'I', 'I', 0x00, 0x2A, 8, 0, 0, 0}), "Unsupported file format");
    EXPECT_EQ(error({'M', 'M', 0x2A, 0x00, 0, 0, 0, 8}), "Unsupported file format");
    EXPECT_EQ(error({0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'}), "Unsupported file format");
    EXPECT_EQ(error({'I', 'I'}), "read failed");

    writeBytes(folder.file("photo.tif"), JpegBuilder().frame().scan().bytes());
    EXPECT_STREQ(openFile(folder.file("photo.tif"))->image->formatName(), "JPEG");
    writeBytes(folder.file("t.jpg"), minimalTiff(true));
    EXPECT_STREQ(openFile(folder.file("t.jpg"))->image->formatName(), "TIFF");

    // What is not a regular file is refused before it is opened, saying what it is.
    const auto reason = [](const std::string& path) {
        try {
            ImageStreamT stream;
            openImage(path, stream);
        } catch (const IOOpenError& e) {
            EXPECT_STREQ(e.what(), "write failed");
            return e.reason();
        }
        return std::string("opened");
    };
    EXPECT_EQ(reason(folder.file("missing.jpg")), "No such file or directory");
    std::filesystem::create_directory(folder.file("folder.jpg"));
    EXPECT_EQ(reason(folder.file("folder.jpg")), "Is a directory");
    ASSERT_EQ(::mkfifo(folder.file("fifo.jpg").c_str(), 0600), 0);
    EXPECT_EQ(reason(folder.file("fifo.jpg")), "not a regular file (a FIFO)"); // and does not wait
    std::filesystem::create_symlink("t.jpg", folder.file("link.jpg"));
    EXPECT_EQ(reason(folder.file("link.jpg")), "opened");

    writeBytes(folder.file("png"), {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'});
    ImageStreamT png;
    png.open(folder.file("png"), std::ios::in | std::ios::binary);
    png.seekg(3);
    EXPECT_THROW(ImageFactory::instance().create(png), FileFormatException);
    EXPECT_EQ(png.tellg(), std::streampos(3));
}

TEST(JPEG, BrokenFilesEndInALibraryErrorOrAResult)
{
    TempFolder folder;
    JpegBuilder b;
    b.segment(0xE0, Bytes(14, 3))
        .exif(smallExif())
        .xmp(Packet)
        .photoshop(OtherResource + resourceBlock(1028, iptcRecord()))
        .frame()
        .scan();
    const Bytes good = b.bytes();
    const std::string path = folder.file("x.jpg");
    auto attempt = [&](const Bytes& bytes) {
        writeBytes(path, bytes);
        try {
            auto o = openFile(path);
            o->image->iptc().add(25, "more");
            o->image->updateAndWrite(folder.file("out.jpg"));
            openFile(folder.file("out.jpg"));
        } catch (const Exception&) {
        } catch (const Error&) {
        }
    };
    for (std::size_t n = 0; n < good.size(); n += 3) {
        attempt(Bytes(good.begin(), good.begin() + static_cast<long>(n)));
    }
    std::mt19937 random(7);
    for (int round = 0; round < 300; ++round) {
        Bytes bytes = good;
        for (int i = 0; i < 4; ++i) {
            bytes[random() % bytes.size()] = static_cast<std::uint8_t>(random());
        }
        attempt(bytes);
    }
}
