// Inputs the fuzz targets once failed on (tests/data/fuzz/TARGET/), run through the same paths:
// each must end in a value or in the library's own report of a damaged file.
#include "ContainerHelpers.h"

#include <Metadata/DateTime.h>
#include <Metadata/EXIF.h>
#include <Metadata/Exceptions.h>
#include <Metadata/ImageFactory.h>
#include <Metadata/ImageStream.h>
#include <Metadata/IPTC.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>

namespace fs = std::filesystem;

namespace {

std::vector<fs::path> findings(const char* target)
{
    std::vector<fs::path> files;
    for (const auto& e : fs::directory_iterator(fs::path(LUMENO_TEST_DATA) / "fuzz" / target)) {
        files.push_back(e.path());
    }
    return files;
}

std::string contents(const fs::path& file)
{
    std::ifstream in(file, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

} // namespace

TEST(FuzzFindings, DatesWithHugeSecondsAreInvalidNotWrapped)
{
    for (const fs::path& file : findings("dates")) {
        Metadata::ISODateTime value;
        value.setText(contents(file));
        value.parse(); // "...T07:08:045123.56789-30:30": the seconds once overflowed a short
        EXPECT_FALSE(value.isValid()) << file;
    }
    Metadata::ISODateTime value;
    value.setText("2024-05-06T07:08:99999999999-01:00");
    value.parse();
    EXPECT_FALSE(value.isValid());
}

TEST(FuzzFindings, ContainersRewriteHostileFilesOrRefuseThem)
{
    TestSupport::TempFolder folder;
    std::size_t files = 0;
    for (const char* target : {"jpeg_rewrite", "tiff"}) {
        for (const fs::path& file : findings(target)) {
            ++files;
            try {
                Metadata::ImageStreamT stream;
                const auto image = Metadata::openImage(file.string(), stream);
                std::ostringstream out;
                image->exif().dump(out);
                image->iptc().set(120, "rewritten");
                image->writeWithIPTC(folder.file("out"));
            } catch (const Metadata::Exception&) {
                // A refusal is an answer; a crash or any other exception is not.
            }
        }
    }
    EXPECT_GE(files, 2u);
}
