// What the property pages show: the EXIF directories as the dump lists them, the XMP packet as a
// tree of properties, array items and structure fields.
#include "JpegBuilder.h"
#include "TiffBuilder.h"

#include <Lumeno/Shell/PropertyPages.h>
#include <Metadata/ImageFactory.h>
#include <Metadata/ImageStream.h>
#include <Metadata/EXIF.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>

namespace fs = std::filesystem;
using namespace Lumeno::Shell;
using namespace TestSupport;

namespace {

std::unique_ptr<Metadata::ImageMetadata> open(const Bytes& bytes, Metadata::ImageStreamT& stream, const std::string& name)
{
    const std::string path = (fs::path(::testing::TempDir()) / name).string();
    std::ofstream(path, std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    return Metadata::openImage(path, stream);
}

} // namespace

TEST(PropertyPages, ExifSectionsListWhatTheDumpShows)
{
    TiffBuilder t;
    TiffBuilder::Dir& exif = t.newDir();
    t.ifd0().ascii(271, "Acme").shorts(274, {6}).shorts(50000, {1, 2}).pointer(34665, exif);
    exif.rationals(33434, {{1, 250}});
    Metadata::ImageStreamT stream;
    const auto image = open(JpegBuilder().exif(t.build()).frame().scan().bytes(), stream, "pages-exif.jpg");
    const std::vector<ExifSection> sections = exifSections(*image);
    ASSERT_EQ(sections.size(), 2u);
    EXPECT_EQ(sections[0].directory, "Primary Image");
    EXPECT_EQ(sections[1].directory, "EXIF");
    ASSERT_EQ(sections[0].rows.size(), 4u);
    EXPECT_EQ(sections[0].rows[0], std::make_pair(std::string("Make"), std::string("Acme")));
    // Every row is the dump's line of its field, split at its first ": ".
    std::ostringstream dump;
    image->exif().dump(dump);
    for (const ExifSection& section : sections) {
        for (const auto& [name, text] : section.rows) {
            EXPECT_NE(dump.str().find("\n" + name + ": " + text + "\n"), std::string::npos) << name << ": " << text;
        }
    }
    EXPECT_EQ(sections[1].rows[0].first, "ExposureTime");
    EXPECT_EQ(sections[0].rows[2], std::make_pair(std::string("Tag 0xc350 (SHORT, 2)"), std::string("1 2")))
        << "an unknown tag by its number";
}

TEST(PropertyPages, XmpTreeNestsArraysAndStructures)
{
    const std::string packet =
        "<x:xmpmeta xmlns:x=\"adobe:ns:meta/\"><rdf:RDF xmlns:rdf=\"http://www.w3.org/1999/02/22-rdf-syntax-ns#\">"
        "<rdf:Description rdf:about=\"\" xmlns:dc=\"http://purl.org/dc/elements/1.1/\""
        " xmlns:photoshop=\"http://ns.adobe.com/photoshop/1.0/\" xmlns:xmpBJ=\"http://ns.adobe.com/xap/1.0/bj/\""
        " xmlns:stJob=\"http://ns.adobe.com/xap/1.0/sType/Job#\" photoshop:City=\"Lyon\">"
        "<dc:subject><rdf:Bag><rdf:li>lake</rdf:li><rdf:li>dawn</rdf:li></rdf:Bag></dc:subject>"
        "<xmpBJ:JobRef><rdf:Bag><rdf:li rdf:parseType=\"Resource\"><stJob:name>Alps</stJob:name></rdf:li></rdf:Bag>"
        "</xmpBJ:JobRef></rdf:Description></rdf:RDF></x:xmpmeta>";
    Metadata::ImageStreamT stream;
    const auto image = open(JpegBuilder().xmp(packet).frame().scan().bytes(), stream, "pages-xmp.jpg");
    const std::vector<XmpNode> tree = xmpTree(*image);
    ASSERT_EQ(tree.size(), 3u);
    auto find = [](const std::vector<XmpNode>& nodes, const std::string& name) -> const XmpNode* {
        for (const XmpNode& node : nodes) {
            if (node.name == name) {
                return &node;
            }
        }
        return nullptr;
    };
    const XmpNode* city = find(tree, "photoshop:City");
    ASSERT_TRUE(city);
    EXPECT_EQ(city->value, "Lyon");
    const XmpNode* subject = find(tree, "dc:subject");
    ASSERT_TRUE(subject);
    ASSERT_EQ(subject->children.size(), 2u);
    EXPECT_EQ(subject->children[1].name, "[2]");
    EXPECT_EQ(subject->children[1].value, "dawn");
    const XmpNode* job = find(tree, "xmpBJ:JobRef");
    ASSERT_TRUE(job);
    ASSERT_EQ(job->children.size(), 1u);
    ASSERT_EQ(job->children[0].children.size(), 1u);
    EXPECT_EQ(job->children[0].children[0].name, "stJob:name");
    EXPECT_EQ(job->children[0].children[0].value, "Alps");

    Metadata::ImageStreamT other;
    const auto none = open(JpegBuilder().frame().scan().bytes(), other, "pages-none.jpg");
    EXPECT_TRUE(xmpTree(*none).empty());
    EXPECT_TRUE(exifSections(*none).empty());
}
