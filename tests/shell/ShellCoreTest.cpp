#include "JpegBuilder.h"
#include "TiffBuilder.h"

#include <Lumeno/Shell/ShellCore.h>
#include <Metadata/ImageFactory.h>
#include <Metadata/ImageStream.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <thread>

namespace fs = std::filesystem;
using namespace Lumeno::Shell;
using namespace TestSupport;

namespace {

const std::string Packet =
    "<x:xmpmeta xmlns:x=\"adobe:ns:meta/\"><rdf:RDF xmlns:rdf=\"http://www.w3.org/1999/02/22-rdf-syntax-ns#\">"
    "<rdf:Description rdf:about=\"\" xmlns:dc=\"http://purl.org/dc/elements/1.1/\"><dc:subject><rdf:Bag>"
    "<rdf:li>x</rdf:li></rdf:Bag></dc:subject></rdf:Description></rdf:RDF></x:xmpmeta>";

Bytes exifBlock(const std::function<void(TiffBuilder::Dir&)>& exifFields)
{
    TiffBuilder t;
    TiffBuilder::Dir& exif = t.newDir();
    t.ifd0().ascii(271, "Acme").rationals(282, {{72, 1}}).shorts(296, {3}).pointer(34665, exif);
    exifFields(exif);
    return t.build();
}

class ShellFiles : public ::testing::Test {
protected:
    void SetUp() override
    {
        folder_ = fs::path(::testing::TempDir()) /
                  ("lumeno-shell-" + std::string(::testing::UnitTest::GetInstance()->current_test_info()->name()));
        fs::remove_all(folder_);
        fs::create_directories(folder_);
        clearColumnCache();
    }
    void TearDown() override { fs::remove_all(folder_); }
    std::string put(const std::string& name, const Bytes& bytes)
    {
        const std::string path = (folder_ / name).string();
        std::ofstream(path, std::ios::binary)
            .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
        return path;
    }
    std::optional<std::string> tip(const Bytes& bytes, bool iptc = true, bool exif = true)
    {
        const std::string path = put("tip.jpg", bytes);
        Metadata::ImageStreamT stream;
        return infoTipText(*Metadata::openImage(path, stream), iptc, exif);
    }
    fs::path folder_;
};

} // namespace

TEST(Columns, NumberTheEnabledKindsInOrder)
{
    const ColumnLayout both(true, true);
    EXPECT_EQ(both.count(), 90u);
    ColumnInfo c;
    ASSERT_TRUE(both.info(0, c));
    EXPECT_EQ(c.title, "ImageWidth");
    EXPECT_EQ(c.description, "Image width");
    ASSERT_TRUE(both.info(30, c));
    EXPECT_EQ(c.title, "InteroperabilityIdentification");
    ASSERT_TRUE(both.info(73, c));
    EXPECT_EQ(c.title, "IFD Interoperability IFD Pointer");
    ASSERT_TRUE(both.info(74, c));
    EXPECT_EQ(c.title, "Title");
    EXPECT_EQ(c.description, "Title");
    ASSERT_TRUE(both.info(89, c));
    EXPECT_EQ(c.title, "Time Created");
    EXPECT_FALSE(both.info(90, c));

    const ColumnLayout iptcOnly(false, true);
    ASSERT_TRUE(iptcOnly.info(0, c));
    EXPECT_EQ(c.title, "Title");
    EXPECT_EQ(iptcOnly.find("Caption"), 2u);
    EXPECT_EQ(ColumnLayout(true, false).count(), 74u);
    EXPECT_EQ(ColumnLayout(false, false).count(), 0u);
    EXPECT_TRUE(servedExtension("/a/b.JPeG"));
    EXPECT_FALSE(servedExtension("/a.jpg/b"));
    EXPECT_FALSE(servedExtension("photo.png"));
}

TEST_F(ShellFiles, ColumnTextsFollowTheDisplayFormattersAndTheIptcRecord)
{
    const std::string photo = put("a.jpg", JpegBuilder()
                                               .exif(exifBlock([](auto& e) { e.rationals(33434, {{1, 60}}); }))
                                               .photoshop(resourceBlock(1028, iptcDataSet(2, 25, "a") + iptcDataSet(2, 25, "b") +
                                                                                  iptcDataSet(2, 5, "Title") +
                                                                                  iptcDataSet(2, 55, "20030714")))
                                               .frame()
                                               .scan()
                                               .bytes());
    const ColumnLayout layout(true, true);
    EXPECT_EQ(itemText(photo, layout, layout.find("Make")), "Acme");
    EXPECT_EQ(itemText(photo, layout, layout.find("ExposureTime")), "1/60 second(s)");
    EXPECT_EQ(itemText(photo, layout, layout.find("XResolution")), "72 pixels/centimeter");
    EXPECT_EQ(itemText(photo, layout, layout.find("FNumber")), std::nullopt); // absent
    EXPECT_EQ(itemText(photo, layout, layout.find("IFD Interoperability IFD Pointer")), std::nullopt);
    EXPECT_EQ(itemText(photo, layout, layout.find("Title")), "Title");
    EXPECT_EQ(itemText(photo, layout, layout.find("Caption")), ""); // absent dataset: empty text
    EXPECT_EQ(itemText(photo, layout, layout.find("Date Created")), "2003-07-14");
    EXPECT_EQ(itemText(photo, layout, 90), std::nullopt);
    // Keywords are no column, but every other repeatable dataset is joined.
    const std::string png = put("a.png", JpegBuilder().exif(exifBlock([](auto&) {})).frame().scan().bytes());
    EXPECT_TRUE(columnTexts(png, layout).empty());
    const std::string junk = put("junk.jpg", bytesOf("not a picture"));
    EXPECT_TRUE(columnTexts(junk, layout).empty());
    // Without EXIF: every EXIF column empty, IPTC columns answered.
    const std::string plain = put("plain.jpg", JpegBuilder().photoshop(resourceBlock(1028, iptcDataSet(2, 5, "T"))).frame().scan().bytes());
    const auto texts = columnTexts(plain, layout);
    ASSERT_EQ(texts.size(), 90u);
    for (std::size_t i = 0; i < 74; ++i) {
        EXPECT_EQ(texts[i], std::nullopt) << i;
    }
    EXPECT_EQ(texts[74], "T");
    EXPECT_EQ(texts[75], "");
}

TEST_F(ShellFiles, KeptAnswersFollowTheFile)
{
    const ColumnLayout layout(true, true);
    const auto withMake = [](const std::string& make) {
        TiffBuilder t;
        t.ifd0().ascii(271, make);
        return JpegBuilder().exif(t.build()).frame().scan().bytes();
    };
    const std::string path = put("c.jpg", withMake("Acme"));
    EXPECT_EQ(itemText(path, layout, 25), "Acme");
    put("c.jpg", withMake("Zenith, a longer name"));
    fs::last_write_time(path, fs::last_write_time(path) + std::chrono::seconds(2));
    EXPECT_EQ(itemText(path, layout, 25), "Zenith, a longer name");
    fs::remove(path);
    EXPECT_EQ(itemText(path, layout, 25), std::nullopt);
}

TEST_F(ShellFiles, InfoTipComposition)
{
    const Bytes iptcTitle = resourceBlock(1028, iptcDataSet(2, 5, "Only a title"));
    EXPECT_EQ(tip(JpegBuilder().photoshop(iptcTitle).frame().scan().bytes()), "Only a title");

    const Bytes full = JpegBuilder()
                           .photoshop(resourceBlock(1028, iptcDataSet(2, 5, "T") + iptcDataSet(2, 120, "C")))
                           .exif(exifBlock([](auto& e) {
                               e.ascii(36868, "2003:07:14 09:05:03")
                                   .shorts(40962, {4000})
                                   .shorts(40963, {3000})
                                   .rationals(33434, {{1, 60}})
                                   .shorts(34855, {200})
                                   .shorts(37385, {1});
                           }))
                           .frame()
                           .scan()
                           .bytes();
    EXPECT_EQ(tip(full), "T\nC\n\n2003:07:14 09:05:03, 4000 pixels x 3000 pixels\nExposure time:\t\t1/60 second(s)\n"
                         "ISO speed rating:\t200\nFlash:\t\t\tYes");
    EXPECT_EQ(tip(full, true, false), "T\nC");
    EXPECT_EQ(tip(full, false, true).value().substr(0, 19), "2003:07:14 09:05:03");
    EXPECT_EQ(tip(full, false, false), std::nullopt);

    const Bytes sizeOnly = JpegBuilder().exif(exifBlock([](auto& e) { e.shorts(40962, {64}).shorts(40963, {48}); })).frame().scan().bytes();
    EXPECT_EQ(tip(sizeOnly), "64 pixels x 48 pixels");
    EXPECT_EQ(tip(JpegBuilder().frame().scan().bytes()), std::nullopt);
}

TEST_F(ShellFiles, OverlayKindsAndTheSharedDecision)
{
    const Bytes exifOnly = JpegBuilder().exif(exifBlock([](auto&) {})).frame().scan().bytes();
    const Bytes all = JpegBuilder()
                          .exif(exifBlock([](auto&) {}))
                          .xmp(Packet)
                          .photoshop(resourceBlock(1028, iptcDataSet(2, 5, "T")))
                          .frame()
                          .scan()
                          .bytes();
    EXPECT_EQ(overlayKindOfFile(put("e.jpg", exifOnly)), Exif);
    EXPECT_EQ(overlayKindOfFile(put("all.JPG", all)), ExifXmpIptc);
    EXPECT_EQ(overlayKindOfFile(put("all.png", all)), NoOverlay);
    EXPECT_EQ(overlayKindOfFile(put("none.jpg", JpegBuilder().frame().scan().bytes())), NoOverlay);
    EXPECT_EQ(overlayKindOfFile(put("junk.jpg", bytesOf("junk"))), NoOverlay);
    {
        // A TIFF with IPTC and XMP and no EXIF directory (its image directory is no EXIF).
        TiffBuilder t;
        t.setPreamble({0x80});
        t.ifd0().longs(256, {1}).longs(257, {1}).bytes(33723, iptcDataSet(2, 5, "T"), 7);
        t.ifd0().bytes(700, Bytes(Packet.begin(), Packet.end()), 1);
        EXPECT_EQ(overlayKindOfFile(put("scan.tif", t.build())), XmpIptc);
        TiffBuilder::Dir& exif = t.newDir();
        exif.rationals(33434, {{1, 60}});
        t.ifd0().pointer(34665, exif);
        EXPECT_EQ(overlayKindOfFile(put("scan.tif", t.build())), ExifXmpIptc);
    }
    EXPECT_EQ(overlayFor(XmpIptc)->name, std::string("Lumeno XMP & IPTC"));
    EXPECT_EQ(overlayFor(Exif)->iconIndex, 9);
    EXPECT_EQ(overlayFor(NoOverlay), nullptr);

    // Seven identifiers ask about each file; exactly one says yes, and no record is left.
    const std::string a = put("all.jpg", all);
    const std::string e = put("e2.jpg", exifOnly);
    const std::string n = put("n.jpg", JpegBuilder().frame().scan().bytes());
    for (const std::string& path : {a, e, n}) {
        int yes = 0;
        for (const OverlayInfo& o : overlays()) {
            yes += IconOverlay::isMemberOf(path, o.kind) == IconOverlay::Answer::Yes ? 1 : 0;
        }
        EXPECT_EQ(yes, path == n ? 0 : 1) << path;
    }
    // The identifiers that ask after the claim start a new round that stays open: one record
    // for each file that was claimed before its seventh question.
    EXPECT_EQ(IconOverlay::pendingRecords(), 2u);
    EXPECT_EQ(IconOverlay::isMemberOf((folder_ / "x.gif").string(), Exif), IconOverlay::Answer::No);

    // Many threads asking about the same files at once still give one yes per round.
    std::atomic<int> yes{0};
    std::vector<std::thread> threads;
    for (const OverlayInfo& o : overlays()) {
        threads.emplace_back([&, kind = o.kind] {
            for (int round = 0; round < 20; ++round) {
                const std::string path = (folder_ / ("t" + std::to_string(round) + ".jpg")).string();
                yes += IconOverlay::isMemberOf(path, kind) == IconOverlay::Answer::Yes ? 1 : 0;
            }
        });
    }
    for (int round = 0; round < 20; ++round) {
        put("t" + std::to_string(round) + ".jpg", exifOnly);
    }
    for (auto& t : threads) {
        t.join();
    }
    EXPECT_LE(yes.load(), 20);
}

TEST_F(ShellFiles, ColumnsOfManyFilesOnEightThreadsAreThoseOfOneThread)
{
    // The shell asks for columns on several threads at once. Files in inches and in
    // centimetres side by side: no file may show another's unit.
    const ColumnLayout layout(true, true);
    std::vector<std::string> paths;
    for (int i = 0; i < 320; ++i) {
        TiffBuilder t;
        t.ifd0().ascii(271, "Acme").rationals(282, {{static_cast<std::uint32_t>(72 + i), 1}})
            .rationals(283, {{72, 1}}).shorts(296, {i % 2 == 0 ? 2u : 3u});
        paths.push_back(put("unit" + std::to_string(i) + ".tif", t.build()));
    }
    std::vector<std::vector<std::optional<std::string>>> expected;
    for (const std::string& p : paths) {
        expected.push_back(columnTexts(p, layout));
    }
    ASSERT_EQ(*expected[0][layout.find("XResolution")], "72 pixels/inch");
    ASSERT_EQ(*expected[1][layout.find("XResolution")], "73 pixels/centimeter");

    for (int round = 0; round < 3; ++round) {
        clearColumnCache();
        std::vector<std::vector<std::optional<std::string>>> answers(paths.size());
        std::vector<std::thread> threads;
        for (int t = 0; t < 8; ++t) {
            threads.emplace_back([&, t] {
                for (std::size_t i = static_cast<std::size_t>(t); i < paths.size(); i += 8) {
                    answers[i] = columnTexts(paths[i], layout);
                }
            });
        }
        for (std::thread& t : threads) {
            t.join();
        }
        for (std::size_t i = 0; i < paths.size(); ++i) {
            ASSERT_EQ(answers[i], expected[i]) << paths[i] << " in round " << round;
        }
    }
}
