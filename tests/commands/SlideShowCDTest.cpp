// The slide-show CD's PDF: a page per picture that can be read, each fitted into the box (a
// picture stored on its side too), the originals carried whole, nothing written for refused
// options or a run stopped half way, and no partial file left behind.
#include "../metadata/ContainerHelpers.h"

#include <Lumeno/Commands/SlideShowCD.h>

#include <gtest/gtest.h>
#include <turbojpeg.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <regex>

namespace fs = std::filesystem;
using namespace Lumeno::Commands;

namespace {

// A grey JPEG of `width` x `height`, with an APP1 EXIF block saying `orientation` when given.
std::string jpeg(int width, int height, int orientation = 0)
{
    std::vector<unsigned char> rgb(static_cast<std::size_t>(width) * height * 3, 128);
    tjhandle h = tjInitCompress();
    unsigned char* out = nullptr;
    unsigned long size = 0;
    tjCompress2(h, rgb.data(), width, 0, height, TJPF_RGB, &out, &size, TJSAMP_420, 80, 0);
    std::string bytes(reinterpret_cast<char*>(out), size);
    tjFree(out);
    tjDestroy(h);
    if (orientation != 0) {
        // APP1 "Exif\0\0", a little-endian TIFF header and IFD0 with one SHORT entry, 274.
        const std::string tiff = std::string("II*\0\x08\0\0\0", 8) + std::string("\x01\0", 2) +
                                 std::string("\x12\x01\x03\0\x01\0\0\0", 8) +
                                 std::string(1, static_cast<char>(orientation)) + std::string("\0\0\0", 3) +
                                 std::string("\0\0\0\0", 4);
        const std::string body = std::string("Exif\0\0", 6) + tiff;
        const std::size_t length = body.size() + 2;
        const std::string app1 = std::string("\xFF\xE1", 2) + static_cast<char>(length >> 8) +
                                 static_cast<char>(length & 0xFF) + body;
        bytes.insert(2, app1);
    }
    return bytes;
}

std::string put(const fs::path& path, const std::string& bytes)
{
    std::ofstream(path, std::ios::binary) << bytes;
    return path.string();
}

std::string read(const fs::path& path)
{
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

// The sizes of the images the PDF holds, in order.
std::vector<std::string> imageSizes(const std::string& pdf)
{
    std::vector<std::string> sizes;
    const std::regex image(R"(/Subtype /Image([^>]*))");
    const std::regex width(R"(/Width (\d+))");
    const std::regex height(R"(/Height (\d+))");
    for (auto it = std::sregex_iterator(pdf.begin(), pdf.end(), image); it != std::sregex_iterator(); ++it) {
        const std::string entries = (*it)[1].str();
        std::smatch w, h;
        if (std::regex_search(entries, w, width) && std::regex_search(entries, h, height)) {
            sizes.push_back(w[1].str() + "x" + h[1].str());
        }
    }
    return sizes;
}

std::size_t pageCount(const std::string& pdf)
{
    const std::regex page(R"(/Type /Page[^s])");
    return static_cast<std::size_t>(std::distance(std::sregex_iterator(pdf.begin(), pdf.end(), page), std::sregex_iterator()));
}

} // namespace

TEST(SlideShowCD, PagesFitTheBoxAndOriginalsAreCarriedWhole)
{
    TestSupport::TempFolder temp;
    const fs::path in = temp.path();
    const std::string wide = put(in / "wide.jpg", jpeg(800, 600));
    const std::string side = put(in / "side.jpg", jpeg(800, 600, 6)); // upright 600 x 800
    const std::string junk = put(in / "junk.jpg", "not a picture");
    SlideShowCDOptions options;
    options.folder = (in / "cd").string();
    options.width = 200;
    options.height = 200;
    const SlideShowCDResult made = writeSlideShowCD({wide, junk, side}, options);
    ASSERT_EQ(made.failures.size(), 1u);
    EXPECT_EQ(made.failures[0].path, junk);
    EXPECT_EQ(made.pages, 2u);
    const std::string pdf = read(made.pdf);
    EXPECT_EQ(pdf.rfind("%PDF-", 0), 0u);
    EXPECT_EQ(pageCount(pdf), 2u);
    EXPECT_EQ(imageSizes(pdf), (std::vector<std::string>{"200x150", "150x200"}));
    EXPECT_FALSE(fs::exists(options.folder + "/Slideshow.pdf.partial"));

    options.originals = true;
    options.folder = (in / "originals").string();
    const SlideShowCDResult whole = writeSlideShowCD({wide, side}, options);
    const std::string carried = read(whole.pdf);
    EXPECT_NE(carried.find(read(wide)), std::string::npos) << "the JPEG's bytes as they are";
    EXPECT_NE(carried.find("/Rotate 90"), std::string::npos) << "the page of the one on its side is turned";
    EXPECT_EQ(imageSizes(carried), (std::vector<std::string>{"800x600", "800x600"}));
}

TEST(SlideShowCD, RefusedOptionsAndAStoppedRunWriteNothing)
{
    TestSupport::TempFolder temp;
    const std::string picture = put(temp.path() / "a.jpg", jpeg(64, 48));
    SlideShowCDOptions options;
    options.folder = (temp.path() / "cd").string();
    for (auto bad : {+[](SlideShowCDOptions& o) { o.quality = 0; }, +[](SlideShowCDOptions& o) { o.quality = 101; },
                     +[](SlideShowCDOptions& o) { o.width = 15; }, +[](SlideShowCDOptions& o) { o.height = 16385; },
                     +[](SlideShowCDOptions& o) { o.folder.clear(); }}) {
        SlideShowCDOptions refused = options;
        bad(refused);
        EXPECT_FALSE(refused.whyNot().empty());
        EXPECT_THROW(writeSlideShowCD({picture}, refused), std::invalid_argument);
    }
    EXPECT_FALSE(fs::exists(options.folder));

    std::vector<std::size_t> told;
    options.progress = [&](std::size_t done, std::size_t total) {
        told.push_back(done);
        EXPECT_EQ(total, 3u);
        return done < 1;
    };
    const SlideShowCDResult stopped = writeSlideShowCD({picture, picture, picture}, options);
    EXPECT_TRUE(stopped.cancelled);
    EXPECT_TRUE(stopped.pdf.empty());
    EXPECT_EQ(told, (std::vector<std::size_t>{0, 1}));
    EXPECT_FALSE(fs::exists(options.folder + "/Slideshow.pdf"));
}
