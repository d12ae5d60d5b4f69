#include "../metadata/ContainerHelpers.h"

#include <Lumeno/Scripting/IndexText.h>
#include <Lumeno/Scripting/Picture.h>
#include <Metadata/DateTime.h>
#include <Metadata/EXIF.h>
#include <Metadata/Exceptions.h>
#include <Metadata/IPTC.h>

#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace fs = std::filesystem;
using namespace Lumeno::Scripting;
using namespace TestSupport;

namespace {

const char* const Sample = LUMENO_TEST_DATA "/sample.jpg";

std::string readAll(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    std::ostringstream bytes;
    bytes << in.rdbuf();
    return bytes.str();
}

// The lines the dump shows, without its directories' headers and blank lines.
std::vector<std::string> dumpLines(const Metadata::EXIF& exif)
{
    std::ostringstream out;
    exif.dump(out);
    std::vector<std::string> lines;
    std::istringstream in(out.str());
    for (std::string line; std::getline(in, line);) {
        if (!line.empty() && line.rfind("-----------", 0) != 0) {
            lines.push_back(line);
        }
    }
    return lines;
}

} // namespace

// What scripts print as "Name: Text" for each shown field is the dump, line for line, on the
// sample and on camera files with maker's notes, GPS and the generic form of unknown tags.
TEST(ScriptingPicture, ShownFieldsAreTheDumpsLines)
{
    std::size_t silent = 0;
    for (const char* name : {"sample.jpg", "camera/Canon.jpg", "camera/Nikon.jpg", "camera/GPS.jpg", "sample.tif"}) {
        const std::string path = std::string(LUMENO_TEST_DATA "/") + name;
        const Picture picture(path);
        const auto opened = openFile(path);
        const Metadata::EXIF& exif = opened->image->exif();
        const std::vector<const Metadata::IFD*> directories = exif.directories();
        ASSERT_EQ(picture.directories().size(), directories.size()) << name;
        std::vector<std::string> lines;
        for (std::size_t i = 0; i < directories.size(); ++i) {
            const Directory& d = picture.directories()[i];
            EXPECT_EQ(d.name, directories[i]->name());
            EXPECT_EQ(d.id, directories[i]->id());
            ASSERT_EQ(d.fields.size(), directories[i]->size());
            for (const FieldEntry& f : d.fields) {
                if (f.shown) {
                    lines.push_back(f.name + ": " + f.text);
                } else {
                    ++silent;
                    EXPECT_TRUE(f.text.empty());
                }
            }
        }
        EXPECT_EQ(lines, dumpLines(exif)) << name;
    }
    EXPECT_GT(silent, 0u); // the thumbnails' offsets and lengths, which no line shows
}

TEST(ScriptingPicture, ValuesNamesAndLookups)
{
    const Picture picture(Sample);
    const Directory* primary = picture.directory("primary image");
    ASSERT_NE(primary, nullptr);
    EXPECT_EQ(picture.directory("No such"), nullptr);

    const FieldEntry* make = primary->find("Make");
    ASSERT_NE(make, nullptr);
    EXPECT_EQ(make->value.kind, FieldValue::Kind::Text);
    EXPECT_EQ(make->value.text, "Acme");
    EXPECT_EQ(make->typeName, "ASCII");
    EXPECT_EQ(make->tag, 271);

    const FieldEntry* orientation = primary->find("orientation");
    ASSERT_NE(orientation, nullptr);
    EXPECT_EQ(orientation->value.integers, std::vector<long long>{1});
    EXPECT_EQ(orientation->text, "Top, Left");

    const FieldEntry* resolution = primary->find("XResolution");
    ASSERT_NE(resolution, nullptr);
    EXPECT_EQ(resolution->value.reals, std::vector<double>{72.0});

    // A tag without a name is named as the dump names it, its type and count included.
    const FieldEntry* pointer = primary->find("Tag 0x8769 (LONG, 1)");
    ASSERT_NE(pointer, nullptr);
    EXPECT_EQ(pointer->text, std::to_string(pointer->value.integers.at(0)));

    const Directory* exif = picture.directory("EXIF");
    ASSERT_NE(exif, nullptr);
    const FieldEntry* bias = exif->find("ExposureBiasValue");
    ASSERT_NE(bias, nullptr);
    ASSERT_EQ(bias->value.kind, FieldValue::Kind::Reals);
    EXPECT_LT(bias->value.reals.at(0), 0);
    const FieldEntry* version = exif->find("ExifVersion");
    ASSERT_NE(version, nullptr);
    EXPECT_EQ(version->value.integers, (std::vector<long long>{'0', '2', '3', '2'}));

    EXPECT_EQ(picture.iptcJoined("Keyword"), "sunrise; lake");
    EXPECT_EQ(picture.iptcJoined("2:25"), "sunrise; lake");
    EXPECT_EQ(picture.iptcJoined("Headline"), "");
    EXPECT_THROW(picture.iptcJoined("Favourite colour"), std::invalid_argument);
    EXPECT_EQ(picture.value("title"), "Morning light");
    EXPECT_EQ(picture.value("No such property"), "");
    EXPECT_EQ(picture.xmp().empty(), readAll(Sample).find("http://ns.adobe.com/xap/1.0/") == std::string::npos);
}

// Edits are checked when they are made and written by save, which reads the file again.
TEST(ScriptingPicture, SetIptcAndSave)
{
    TempFolder temp;
    const std::string path = temp.file("edit.jpg");
    fs::copy_file(Sample, path);
    Picture picture(path);
    const std::string before = readAll(path);

    EXPECT_THROW(picture.setIptc("Favourite colour", {"blue"}), std::invalid_argument);
    EXPECT_THROW(picture.setIptc("City", {std::string(200, 'x')}), Metadata::Exception);
    EXPECT_FALSE(picture.modified());
    picture.save(); // nothing to write: the file is left alone
    EXPECT_EQ(readAll(path), before);

    picture.setIptc("keyword", {"dawn", "water", "Annecy"});
    picture.setIptc("Caption", {"Two\nlines"});
    picture.setIptc("City", {});
    EXPECT_TRUE(picture.modified());
    EXPECT_EQ(picture.iptcJoined("Keyword"), "sunrise; lake"); // not before save
    picture.save();
    EXPECT_FALSE(picture.modified());
    EXPECT_EQ(picture.iptcValues("Keyword"), (std::vector<std::string>{"dawn", "water", "Annecy"}));
    EXPECT_EQ(picture.iptcJoined("Caption"), "Two\nlines");
    EXPECT_EQ(picture.iptcJoined("City"), "");

    const Picture again(path);
    EXPECT_EQ(again.iptcJoined("Keyword"), "dawn; water; Annecy");
    EXPECT_EQ(again.value("Keywords").find("dawn") != std::string::npos, true);
    // The picture's directories came through the rewrite.
    EXPECT_EQ(again.directories().size(), Picture(Sample).directories().size());
}

TEST(ScriptingPicture, UnreadableFilesThrow)
{
    TempFolder temp;
    const std::string path = temp.file("not.jpg");
    std::ofstream(path) << "not a picture at all";
    EXPECT_THROW(Picture{path}, Metadata::Exception);
    EXPECT_ANY_THROW(Picture{temp.file("missing.jpg")});
}

TEST(ScriptingIndex, TextsWithTheirPropertiesThenDates)
{
    using D = Metadata::Record2DataSet;
    Metadata::IPTC record;
    record.set(D::E_CAPTION, "Sunrise\rover the lake");
    record.set(D::E_OBJECT_NAME, "Morning");
    record.set(D::E_KEYWORD, std::vector<std::string>{"sunrise", "lake"});
    record.set(D::E_CITY, "Annecy");
    record.set(D::E_COPYRIGHT_NOTICE, "(c) A. Photographer");
    record.set(D::E_DATE_CREATED, "20240506");
    record.set(D::E_TIME_CREATED, "070809+0200");
    record.set(D::E_DIGITAL_CREATION_DATE, "20240507"); // no time: local midnight

    const std::vector<IndexChunk> chunks = indexChunks(record);
    ASSERT_EQ(chunks.size(), 8u);
    const IndexProperty texts[] = {IndexProperty::Comments, IndexProperty::Title, IndexProperty::Keywords,
                                   IndexProperty::Keywords, IndexProperty::Own, IndexProperty::Copyright};
    for (std::size_t i = 0; i < 6; ++i) {
        EXPECT_EQ(chunks[i].property, texts[i]) << i;
        EXPECT_FALSE(chunks[i].isDate);
    }
    EXPECT_EQ(chunks[0].text, "Sunrise\nover the lake");
    EXPECT_EQ(chunks[3].text, "lake");
    EXPECT_EQ(chunks[4].dataSet, D::E_CITY);

    EXPECT_TRUE(chunks[6].isDate);
    EXPECT_EQ(chunks[6].property, IndexProperty::DateTaken);
    EXPECT_EQ(chunks[6].utcSeconds, 1714972089); // 2024-05-06 05:08:09 UTC
    EXPECT_EQ(chunks[7].property, IndexProperty::Own);
    EXPECT_EQ(chunks[7].dataSet, D::E_DIGITAL_CREATION_DATE);
    // Midnight at the machine's present offset from UTC, as every date without a zone is read.
    EXPECT_EQ(chunks[7].utcSeconds, 1715040000 - Metadata::currentUtcOffsetMinutes() * 60LL);

    EXPECT_TRUE(indexChunks(Metadata::IPTC()).empty());
    const std::vector<IndexChunk> sample = indexChunksOf(Sample);
    ASSERT_FALSE(sample.empty());
    EXPECT_EQ(sample.front().text, "Morning light");
    EXPECT_TRUE(sample.back().isDate);
}

// Datasets no property should take are left out: the object data and its preview (2:200 on),
// 2:1 (which would be a property set's code page) and empty values; an unknown text dataset
// still fills its own number.
TEST(ScriptingIndex, DataSetsNoPropertyTakes)
{
    Metadata::IPTC record;
    record.addDataSet(Metadata::Record2DataSet(1, "code page?"));
    record.addDataSet(Metadata::Record2DataSet(150, "a dataset of its own"));
    record.addDataSet(Metadata::Record2DataSet(202, "object data"));
    record.addDataSet(Metadata::Record2DataSet(221, "preview"));
    record.addDataSet(Metadata::Record2DataSet(Metadata::Record2DataSet::E_CITY, ""));
    record.addDataSet(Metadata::Record2DataSet(Metadata::Record2DataSet::E_DATE_CREATED, "2024-05-06")); // no IPTC date
    const std::vector<IndexChunk> chunks = indexChunks(record);
    ASSERT_EQ(chunks.size(), 1u);
    EXPECT_EQ(chunks[0].property, IndexProperty::Own);
    EXPECT_EQ(chunks[0].dataSet, 150);
    EXPECT_EQ(chunks[0].text, "a dataset of its own");
}

// Every stored hostile input and camera file either reads whole or throws; what reads gives
// directories whose shown fields all have a name (under the sanitizers this is the model's own
// fuzz replay).
TEST(ScriptingPicture, HostileAndCameraFilesReadOrThrow)
{
    std::size_t read = 0, refused = 0;
    for (const char* folder : {"fuzz", "camera"}) {
        for (const auto& entry : fs::recursive_directory_iterator(std::string(LUMENO_TEST_DATA "/") + folder)) {
            if (!entry.is_regular_file() || entry.path().extension() == ".md") {
                continue;
            }
            try {
                const Picture picture(entry.path().string());
                for (const Directory& d : picture.directories()) {
                    for (const FieldEntry& f : d.fields) {
                        EXPECT_FALSE(f.name.empty()) << entry.path() << ", " << d.name << ", tag " << f.tag;
                        EXPECT_TRUE(f.shown || f.text.empty());
                    }
                }
                indexChunksOf(entry.path().string());
                ++read;
            } catch (const std::exception&) {
                ++refused;
            }
        }
    }
    EXPECT_GT(read, 30u);
    EXPECT_GT(refused, 0u);
}

TEST(ScriptingIndex, UtcSecondsTakeTheZoneOff)
{
    EXPECT_EQ(Metadata::ISODateTime(1970, 1, 1, 0, 0, 0, 0, 0).utcSeconds(), 0);
    EXPECT_EQ(Metadata::ISODateTime(2000, 3, 1, 12, 0, 0, -5, 30).utcSeconds(), 951931800); // 17:30 UTC
    EXPECT_EQ(Metadata::ISODateTime(1969, 12, 31, 23, 59, 59, 0, 0).utcSeconds(), -1);
}
