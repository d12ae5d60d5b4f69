// The slide-show CD's PDF: a page per picture that can be read, each fitted into the box (a
// picture stored on its side too), the originals carried whole, nothing written for refused
// options or a run stopped half way, and no partial file left behind. The viewer's CD: the
// pictures copied under names of their own, the viewer program and the play list, read back in
// order; a hostile play list; the autorun.inf of each choice.
#include "../metadata/ContainerHelpers.h"

#include <Lumeno/Commands/SlideShowCD.h>
#include <Lumeno/Platform/Services.h>

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
                     +[](SlideShowCDOptions& o) { o.folder.clear(); },
                     +[](SlideShowCDOptions& o) { o.viewer = true; },
                     +[](SlideShowCDOptions& o) { o.viewer = true; o.viewerProgram = o.folder + "/none.exe"; }}) {
        SlideShowCDOptions refused = options;
        bad(refused);
        EXPECT_FALSE(refused.whyNot().empty());
        EXPECT_THROW(writeSlideShowCD({picture}, refused), std::invalid_argument);
    }
    EXPECT_FALSE(fs::exists(options.folder));
    SlideShowCDOptions missing = options;
    missing.viewer = true;
    missing.viewerProgram = (temp.path() / "LumenoViewer.exe").string();
    EXPECT_NE(missing.whyNot().find(missing.viewerProgram), std::string::npos) << missing.whyNot();
    missing.viewerProgram = temp.path().string(); // a folder
    EXPECT_NE(missing.whyNot().find(missing.viewerProgram), std::string::npos) << missing.whyNot();

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

TEST(SlideShowCD, AStoppedRunTakesItsCopiesBack)
{
    TestSupport::TempFolder temp;
    const std::string picture = put(temp.path() / "a.jpg", jpeg(64, 48));
    SlideShowCDOptions options;
    options.folder = (temp.path() / "cd").string();
    options.viewer = true;
    options.viewerProgram = put(temp.path() / "viewer.exe", "MZ");
    options.progress = [](std::size_t done, std::size_t) { return done < 2; };
    const SlideShowCDResult stopped = writeSlideShowCD({picture, picture, picture}, options);
    EXPECT_TRUE(stopped.cancelled);
    EXPECT_TRUE(stopped.pictures.empty());
    EXPECT_TRUE(fs::is_empty(options.folder)) << "no pictures, list, viewer or autorun.inf";
}

TEST(SlideShowCD, TheViewerShowsThePicturesInTheirOrderUnderNamesOfTheirOwn)
{
    TestSupport::TempFolder temp;
    fs::create_directories(temp.path() / "a");
    fs::create_directories(temp.path() / "b");
    // Three pictures of one name, two differing in letter case only (the same name on a CD).
    const std::string first = put(temp.path() / "b" / "IMG_1.JPG", jpeg(64, 48));
    const std::string second = put(temp.path() / "a" / "IMG_1.JPG", jpeg(48, 64));
    const std::string third = put(temp.path() / "img_1.jpg", jpeg(32, 32));
    const std::string program = put(temp.path() / "stand-in.exe", std::string("MZ\0\x90\r\n\x1a\n", 8));
    SlideShowCDOptions options;
    options.folder = (temp.path() / "cd").string();
    options.viewer = true;
    options.viewerProgram = program;
    options.width = options.height = 64;
    const SlideShowCDResult made = writeSlideShowCD({first, second, third}, options);
    EXPECT_TRUE(made.failures.empty());
    EXPECT_EQ(made.pages, 3u) << "the PDF too";
    const fs::path cd = options.folder;
    EXPECT_EQ(made.viewer, (cd / "LumenoViewer.exe").string());
    EXPECT_EQ(read(made.viewer), read(program));
    EXPECT_EQ(made.list, (cd / "Slideshow.lst").string());
    EXPECT_EQ(read(made.list), "Pictures/IMG_1.JPG\r\nPictures/2-IMG_1.JPG\r\nPictures/3-img_1.jpg\r\n");
    const std::vector<std::string> copies = {(cd / "Pictures/IMG_1.JPG").string(), (cd / "Pictures/2-IMG_1.JPG").string(),
                                             (cd / "Pictures/3-img_1.jpg").string()};
    EXPECT_EQ(made.pictures, copies);
    EXPECT_EQ(read(copies[0]), read(first));
    EXPECT_EQ(read(copies[1]), read(second));
    EXPECT_EQ(read(copies[2]), read(third));
    EXPECT_EQ(slideShowPictures(options.folder), copies) << "read back in the list's order";

    // A name Windows would not take, or that would split the list's line, is made one it takes.
    const std::string odd = put(temp.path() / "x\ny:z?.jpg", jpeg(16, 16));
    SlideShowCDOptions copyOnly = options;
    copyOnly.pdf = false;
    copyOnly.viewer = false;
    copyOnly.folder = (temp.path() / "odd").string();
    EXPECT_EQ(read(writeSlideShowCD({odd}, copyOnly).list), "Pictures/x_y_z_.jpg\r\n");

    // Written again into the same folder: the earlier copies stay, the new ones are numbered on.
    const SlideShowCDResult again = writeSlideShowCD({first}, options);
    EXPECT_EQ(again.pictures, std::vector<std::string>{(cd / "Pictures/4-IMG_1.JPG").string()});
    EXPECT_EQ(read(copies[0]), read(first));
    EXPECT_EQ(read(again.list), "Pictures/4-IMG_1.JPG\r\n");

    // Without a list: the JPEG and TIFF files of Pictures, by name.
    fs::remove(made.list);
    put(cd / "Pictures" / "notes.txt", "not shown");
    EXPECT_EQ(slideShowPictures(options.folder),
              (std::vector<std::string>{copies[1], copies[2], (cd / "Pictures/4-IMG_1.JPG").string(), copies[0]}));
    // ... or of the folder itself when it has no Pictures folder.
    const fs::path plain = temp.path() / "plain";
    fs::create_directories(plain);
    put(plain / "b.JPEG", "x");
    put(plain / "a.Tiff", "x");
    put(plain / "c.png", "x");
    EXPECT_EQ(slideShowPictures(plain.string()), (std::vector<std::string>{(plain / "a.Tiff").string(), (plain / "b.JPEG").string()}));
    EXPECT_TRUE(slideShowPictures((temp.path() / "none").string()).empty());
}

TEST(SlideShowCD, AHostilePlayListNamesNothingOutsideTheFolder)
{
    TestSupport::TempFolder temp;
    const fs::path cd = temp.path() / "cd";
    fs::create_directories(cd / "Pictures");
    put(cd / "Pictures" / "a.jpg", "a");
    put(cd / "Pictures" / "b.jpg", "b");
    put(temp.path() / "outside.jpg", "outside");
    const std::string outside = (temp.path() / "outside.jpg").string();
    put(cd / "Slideshow.lst", "\xEF\xBB\xBFPictures/a.jpg\r\n"
                              "\r\n"
                              "\n" +
                                  outside + "\n" // absolute
                                  "../outside.jpg\n"
                                  "Pictures/../../outside.jpg\n"
                                  "..\\outside.jpg\n"
                                  "C:outside.jpg\n"
                                  "Pictures/missing.jpg\n"
                                  "Pictures/" + std::string(10000, 'x') + "\n"
                                  "Pictures\\b.jpg"); // Windows' separator, no line end
    EXPECT_EQ(slideShowPictures(cd.string()),
              (std::vector<std::string>{(cd / "Pictures/a.jpg").string(), (cd / "Pictures/b.jpg").string()}));

    // Only so many lines are read: a name after them is not.
    put(cd / "Slideshow.lst", std::string(100000, '\n') + "Pictures/a.jpg\n");
    EXPECT_TRUE(slideShowPictures(cd.string()).empty());
}

TEST(SlideShowCD, AutorunStartsTheViewerOrThePdf)
{
    TestSupport::TempFolder temp;
    const std::string picture = put(temp.path() / "a.jpg", jpeg(64, 48));
    const std::string junk = put(temp.path() / "junk.jpg", "not a picture");
    const std::string program = put(temp.path() / "viewer.exe", "MZ");
    const std::string viewer = "[autorun]\r\nopen=LumenoViewer.exe\r\nicon=LumenoViewer.exe,0\r\nlabel=Lumeno slide show\r\n";
    const std::string pdf = "[autorun]\r\nshellexecute=Slideshow.pdf\r\nlabel=Lumeno slide show\r\n";
    const struct {
        bool pdf, viewer, autorunPdf;
        std::string file;
        const std::string expected; // empty: no autorun.inf
    } cases[] = {
        {true, false, false, picture, pdf},   {true, false, true, picture, pdf},
        {true, true, false, picture, viewer}, {true, true, true, picture, pdf},
        {false, true, true, picture, viewer}, // no PDF to start
        {true, true, true, junk, viewer},     // ... none written
        {false, false, false, picture, ""},   {true, false, false, junk, ""},
    };
    int n = 0;
    for (const auto& c : cases) {
        SlideShowCDOptions options;
        options.folder = (temp.path() / ("cd" + std::to_string(++n))).string();
        options.pdf = c.pdf;
        options.viewer = c.viewer;
        options.autorunPdf = c.autorunPdf;
        options.viewerProgram = program;
        const SlideShowCDResult made = writeSlideShowCD({c.file}, options);
        const fs::path autorun = fs::path(options.folder) / "autorun.inf";
        SCOPED_TRACE("case " + std::to_string(n));
        EXPECT_EQ(fs::exists(autorun), !c.expected.empty());
        EXPECT_EQ(made.autorun, c.expected.empty() ? std::string() : autorun.string());
        EXPECT_EQ(read(autorun), c.expected);
        EXPECT_EQ(fs::exists(fs::path(options.folder) / "LumenoViewer.exe"), c.viewer);
    }
}

TEST(SlideShowCD, TheSettingsAskForTheViewerInstalledBesideTheProgram)
{
    TestSupport::TempFolder temp;
    const auto store = Lumeno::UI::keyFileSettingsStore((temp.path() / "settings.conf").string());
    Lumeno::UI::Settings settings(*store);
    settings.setText(Lumeno::UI::Setting::AutorunPDF, "1");
    const SlideShowCDOptions options = SlideShowCDOptions::fromSettings(settings);
    EXPECT_TRUE(options.autorunPdf);
    EXPECT_EQ(options.viewerProgram, Lumeno::Platform::services().programFolder() + "/LumenoViewer.exe");
    EXPECT_FALSE(options.viewer) << "EnableLumeno is on, but no viewer is installed beside the tests";
    EXPECT_TRUE(options.whyNot().empty());
}
