// Gallery documents: written, read back, escaped, and never a door to other files.
#include "../metadata/ContainerHelpers.h"

#include <Lumeno/DB/Serializer.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>

namespace fs = std::filesystem;
using namespace Lumeno;
using namespace Lumeno::DB;

namespace {

class ExportFolder : public ::testing::Test {
protected:
    std::string file(const std::string& name) const { return temp_.file(name); }
    TestSupport::TempFolder temp_;
    const fs::path folder_ = temp_.path();
};

std::string contents(const fs::path& file)
{
    std::ifstream in(file, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

} // namespace

TEST(GalleryAddresses, AreEscapedFileURLs)
{
    EXPECT_EQ(Serializer::fileAddress("/tmp/a b/\xC3\xA9t\xC3\xA9#1%.jpg"), "file:///tmp/a%20b/%C3%A9t%C3%A9%231%25.jpg");
    EXPECT_EQ(Serializer::pathOfAddress("file:///tmp/a%20b/%C3%A9t%C3%A9%231%25.jpg"), "/tmp/a b/\xC3\xA9t\xC3\xA9#1%.jpg");
    EXPECT_EQ(Serializer::fileAddress("C:\\Photos\\a b.jpg"), "file:///C:/Photos/a%20b.jpg");
    EXPECT_EQ(Serializer::pathOfAddress("file:///C:/Photos/a%20b.jpg"), "C:/Photos/a b.jpg");
}

TEST_F(ExportFolder, DocumentRoundTripsAndTextNeverBecomesMarkup)
{
    GalleryDocument document;
    document.name = "Caf\xC3\xA9 <b>bold</b>";
    document.subGalleries.push_back({"Alps & more", file("out/Alps/LumenoGallery.XML")});
    GalleryImage image;
    image.path = file("a b.jpg");
    image.name = "a b.jpg";
    image.title = "Morning";
    image.rights = "(c) me";
    image.thumbnail = "\xFF\xD8 not really a jpeg";
    image.entry.caption = "<script>alert('x')</script>";
    image.entry.city = "Gen\xE8ve\x01"; // Latin-1 and a control character
    image.entry.keywords = {"lake", "dawn"};
    image.entry.supplementalCategories = {"Nature"};
    image.entry.archivePath = "D:\\archive\\a.jpg";
    image.entry.archiveLabel = "DISC 7";
    image.entry.flags = StoreImageEntry::HasIPTC;
    document.images.push_back(image);
    GalleryImage bare;
    bare.path = file("c.tif");
    bare.name = "c.tif";
    document.images.push_back(bare);

    const fs::path out = folder_ / "out";
    Serializer::writeGallery(document, out.string());

    // The program's own resources go out byte for byte; the installed ones are copied.
    EXPECT_EQ(contents(out / "LumenoGallery.XSL"), Serializer::stylesheetResource());
    EXPECT_EQ(contents(out / "__Lumeno.GIF"), Serializer::logoResource());
    EXPECT_EQ(contents(out / "LumenoGallery.CSS"),
              contents(fs::path(Serializer::installationFolder()) / "LumenoGallery.CSS"));
    EXPECT_EQ(contents(out / "__gallery.GIF"), contents(fs::path(Serializer::installationFolder()) / "__gallery.GIF"));
    EXPECT_EQ(contents(out / "__thumb0001.jpg"), image.thumbnail);
    EXPECT_FALSE(fs::exists(out / "__thumb0002.jpg"));

    const std::string xml = contents(out / "LumenoGallery.xml");
    EXPECT_NE(xml.find("<gallery xmlns:pg=\"http://www.lumenoworks.com/namespace/gallery/1.0/\""), std::string::npos);
    EXPECT_NE(xml.find("xlink:href=\"" + Serializer::fileAddress(image.path) + "\""), std::string::npos);
    EXPECT_NE(xml.find("<pg:IPTC>true</pg:IPTC>"), std::string::npos);
    EXPECT_EQ(xml.find("<pg:EXIF>"), std::string::npos);
    const std::string html = contents(out / "index.html");
    EXPECT_EQ(html.find("<script"), std::string::npos);
    EXPECT_EQ(html.find("<b>"), std::string::npos);
    EXPECT_NE(html.find("&lt;script&gt;alert('x')&lt;/script&gt;"), std::string::npos);
    EXPECT_NE(html.find("<title>Caf\xC3\xA9 &lt;b&gt;bold&lt;/b&gt;</title>"), std::string::npos);
    EXPECT_NE(html.find("class=\"galleryLink\""), std::string::npos);

    const GalleryDocument back = Serializer::readGallery((out / "LumenoGallery.xml").string());
    EXPECT_EQ(back.name, document.name);
    ASSERT_EQ(back.subGalleries.size(), 1u);
    EXPECT_EQ(back.subGalleries[0].title, "Alps & more");
    EXPECT_EQ(back.subGalleries[0].path, document.subGalleries[0].path);
    ASSERT_EQ(back.images.size(), 2u);
    const GalleryImage& a = back.images[0];
    EXPECT_EQ(a.path, image.path);
    EXPECT_EQ(a.name, image.name);
    EXPECT_EQ(a.title, "Morning");
    EXPECT_EQ(a.rights, "(c) me");
    EXPECT_EQ(a.thumbnailPath, (out / "__thumb0001.jpg").string());
    EXPECT_EQ(a.entry.caption, image.entry.caption);
    EXPECT_EQ(a.entry.city, "Gen\xC3\xA8ve");
    EXPECT_EQ(a.entry.keywords, image.entry.keywords);
    EXPECT_EQ(a.entry.supplementalCategories, image.entry.supplementalCategories);
    EXPECT_EQ(a.entry.archivePath, image.entry.archivePath);
    EXPECT_EQ(a.entry.archiveLabel, "DISC 7");
    EXPECT_EQ(a.entry.flags, StoreImageEntry::HasIPTC);
    EXPECT_EQ(back.images[1].path, bare.path);
    EXPECT_TRUE(back.images[1].thumbnailPath.empty());
}

TEST_F(ExportFolder, ReadingLoadsNothingFromOutside)
{
    std::ofstream(file("secret.txt")) << "TOP-SECRET";
    std::ofstream(file("evil.xml"))
        << "<?xml version=\"1.0\"?>\n<!DOCTYPE gallery [<!ENTITY leak SYSTEM \"file://" << file("secret.txt")
        << "\">]>\n<gallery xmlns:pg=\"" << Serializer::NamespaceURI << "\"><pg:name>&leak;</pg:name></gallery>\n";
    try {
        const GalleryDocument d = Serializer::readGallery(file("evil.xml"));
        EXPECT_EQ(d.name.find("TOP-SECRET"), std::string::npos);
    } catch (const ErrorDb&) {
        // Refusing the document is as good.
    }

    std::ofstream(file("other.xml")) << "<?xml version=\"1.0\"?><html><body/></html>";
    EXPECT_THROW(Serializer::readGallery(file("other.xml")), ErrorDb);
    std::ofstream(file("broken.xml")) << "<gallery><pg:name>";
    EXPECT_THROW(Serializer::readGallery(file("broken.xml")), ErrorDb);
    EXPECT_THROW(Serializer::readGallery(file("missing.xml")), ErrorDb);
}

TEST_F(ExportFolder, UnwritableTargetIsReported)
{
    std::ofstream(file("plain")) << "a file where the folder should be";
    GalleryDocument document;
    document.name = "G";
    try {
        Serializer::writeGallery(document, file("plain"));
        FAIL() << "no error";
    } catch (const ErrorDb& e) {
        EXPECT_EQ(std::string(e.what()), "Failed to export to: " + file("plain"));
    }
}
