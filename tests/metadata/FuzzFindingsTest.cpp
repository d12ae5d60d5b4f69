// What the dates target once failed on, with the value it must give. Every target replays all of
// its stored inputs through its own plain main as well (the fuzz.replay tests).
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

// The inputs a target failed on (named as libFuzzer names them), not its seeds.
std::vector<fs::path> findings(const char* target)
{
    std::vector<fs::path> files;
    for (const auto& e : fs::directory_iterator(fs::path(LUMENO_TEST_DATA) / "fuzz" / target)) {
        const std::string name = e.path().filename().string();
        if (name.rfind("crash-", 0) == 0 || name.rfind("oom-", 0) == 0) {
            files.push_back(e.path());
        }
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
