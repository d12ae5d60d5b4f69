#include "ContainerHelpers.h"
#include "TiffBuilder.h"

#include <Metadata/Exceptions.h>
#include <Metadata/TIFFImageMetadata.h>

#include <gtest/gtest.h>

#include <tiffio.h>

using namespace Metadata;
using namespace TestSupport;

namespace {

const std::string Packet =
    "<x:xmpmeta xmlns:x=\"adobe:ns:meta/\"><rdf:RDF xmlns:rdf=\"http://www.w3.org/1999/02/22-rdf-syntax-ns#\">"
    "<rdf:Description rdf:about=\"\" xmlns:photoshop=\"http://ns.adobe.com/photoshop/1.0/\">"
    "<photoshop:City>Lyon</photoshop:City></rdf:Description></rdf:RDF></x:xmpmeta>";

// Two pages of 2x2 grey pixels, EXIF, IPTC in its own tag and in the Photoshop resources, XMP.
Bytes photo(bool big)
{
    TiffBuilder b(big);
    b.setPreamble({10, 20, 30, 40, 50, 60, 70, 80});
    TiffBuilder::Dir& exif = b.newDir();
    TiffBuilder::Dir& page2 = b.newDir();
    const Bytes record = iptcDataSet(2, 0, std::string("\0\2", 2)) + iptcDataSet(2, 120, "Tiff caption");
    const Bytes resources = resourceBlock(1005, Bytes(6, 1)) + resourceBlock(1028, record);
    b.ifd0()
        .longs(256, {2})
        .longs(257, {2})
        .shorts(258, {8})
        .shorts(259, {1})
        .shorts(262, {1})
        .ascii(271, "Acme")
        .longs(273, {8})
        .shorts(277, {1})
        .longs(278, {2})
        .longs(279, {4})
        .bytes(700, Bytes(Packet.begin(), Packet.end()), 1)
        .bytes(33723, record, 7)
        .pointer(34665, exif)
        .bytes(34377, resources, 1);
    b.ifd0().next = &page2;
    exif.rationals(33434, {{1, 60}}).ascii(36867, "2024:05:06 07:08:09");
    page2.longs(256, {2}).longs(257, {2}).shorts(258, {8}).shorts(259, {1}).shorts(262, {1});
    page2.longs(273, {12}).shorts(277, {1}).longs(278, {2}).longs(279, {4});
    return b.build();
}

} // namespace

TEST(TIFF, ReadsExifIptcResourcesAndXmpOfTheFirstDirectory)
{
    TempFolder folder;
    for (bool big : {false, true}) {
        writeBytes(folder.file("a.tif"), photo(big));
        const auto o = openFile(folder.file("a.tif"));
        const ImageMetadata& image = *o->image;
        EXPECT_STREQ(image.formatName(), "TIFF");
        EXPECT_EQ(image.iptc().values(120), (std::vector<std::string>{"Tiff caption"}));
        ASSERT_EQ(image.resourceBlocks().size(), 2u);
        ASSERT_NE(image.xmp(), nullptr);
        EXPECT_EQ(image.xmp()->city(), "Lyon");
        URational t;
        EXPECT_TRUE(image.exif().getURational(DirectoryId::Exif, 33434, t));
        EXPECT_NE(image.exif().directory(DirectoryId::Thumbnail), nullptr);
    }
}

TEST(TIFF, RewritesOnlyTheFirstDirectoryAndKeepsEverythingElseInPlace)
{
    TempFolder folder;
    for (bool big : {false, true}) {
        const Bytes source = photo(big);
        writeBytes(folder.file("a.tif"), source);
        {
            auto o = openFile(folder.file("a.tif"));
            o->image->iptc().add(25, "added");
            o->image->updateAndWrite(folder.file("b.tif"));
            o->image->writeWithoutIPTC(folder.file("c.tif"));
        }
        const Bytes out = readBytes(folder.file("b.tif"));
        // Everything of the original is where it was; only the first-directory offset changed.
        ASSERT_GT(out.size(), source.size());
        EXPECT_TRUE(std::equal(source.begin() + 8, source.end(), out.begin() + 8));

        const auto back = openFile(folder.file("b.tif"));
        EXPECT_EQ(back->image->iptc().values(25), (std::vector<std::string>{"added"}));
        EXPECT_EQ(back->image->iptc().values(120), (std::vector<std::string>{"Tiff caption"}));
        EXPECT_EQ(back->image->xmp()->subject(), (std::vector<std::string>{"added"}));
        EXPECT_EQ(back->image->xmp()->city(), "Lyon");
        std::string date;
        EXPECT_TRUE(back->image->exif().getText(DirectoryId::Exif, 36867, date));
        EXPECT_EQ(date, "2024:05:06 07:08:09");
        ASSERT_EQ(back->image->resourceBlocks().size(), 2u);
        EXPECT_EQ(back->image->resourceBlocks()[0].id, 1005);
        ASSERT_NE(back->image->exif().directory(DirectoryId::Thumbnail), nullptr);

        // libtiff reads both pages and their pixels.
        TIFF* t = TIFFOpen(folder.file("b.tif").c_str(), "r");
        ASSERT_NE(t, nullptr);
        EXPECT_EQ(TIFFNumberOfDirectories(t), 2);
        std::uint8_t pixels[4] = {};
        EXPECT_EQ(TIFFReadEncodedStrip(t, 0, pixels, 4), 4);
        EXPECT_EQ(pixels[0], 10);
        EXPECT_EQ(pixels[3], 40);
        TIFFClose(t);

        const auto without = openFile(folder.file("c.tif"));
        EXPECT_TRUE(without->image->iptc().empty());
        ASSERT_EQ(without->image->resourceBlocks().size(), 1u);
        EXPECT_EQ(without->image->exif().find(DirectoryId::Primary, TIFFImageMetadata::TagIPTC), nullptr);
    }
}
