#include "JpegBuilder.h"
#include "TiffBuilder.h"

#include <Lumeno/Commands/FileCommands.h>
#include <Metadata/DateTime.h>
#include <Metadata/ImageFactory.h>
#include <Metadata/ImageStream.h>

#include <gtest/gtest.h>

#include <turbojpeg.h>

#include <filesystem>
#include <fstream>
#include <iterator>

namespace fs = std::filesystem;
using namespace Lumeno;
using namespace TestSupport;

namespace {

class CommandFiles : public ::testing::Test {
protected:
    void SetUp() override
    {
        folder_ = fs::path(::testing::TempDir()) /
                  ("lumeno-commands-" + std::string(::testing::UnitTest::GetInstance()->current_test_info()->name()));
        fs::remove_all(folder_);
        fs::create_directories(folder_);
        store_ = UI::keyFileSettingsStore((folder_ / "settings.conf").string());
        settings_ = std::make_shared<UI::Settings>(*store_);
        settings_->setText(UI::Setting::EnableMessageBeeps, "0");
    }
    void TearDown() override { fs::remove_all(folder_); }

    std::string file(const std::string& name) const { return (folder_ / name).string(); }
    void put(const std::string& name, const Bytes& bytes) const
    {
        std::ofstream(file(name), std::ios::binary)
            .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    }
    Bytes get(const std::string& name) const
    {
        std::ifstream in(file(name), std::ios::binary);
        return Bytes(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    }
    std::vector<std::string> names() const
    {
        std::vector<std::string> out;
        for (const auto& e : fs::directory_iterator(folder_)) {
            if (e.path().filename() != "settings.conf") {
                out.push_back(e.path().filename().string());
            }
        }
        std::sort(out.begin(), out.end());
        return out;
    }
    // Collects the failures a command reports.
    template <class Command> void listen(Command& command)
    {
        command.setFailureListener(
            [this](const std::string& path, const std::string& reason) { failures_.push_back(fileName(path) + ": " + reason); });
    }
    static std::string fileName(const std::string& path) { return fs::path(path).filename().string(); }

    fs::path folder_;
    std::unique_ptr<UI::SettingsStore> store_;
    std::shared_ptr<UI::Settings> settings_;
    std::vector<std::string> failures_;
};

Bytes exifWith(std::uint16_t tag, const std::string& date)
{
    TiffBuilder t;
    TiffBuilder::Dir& exif = t.newDir();
    t.ifd0().ascii(306, "2001:01:01 01:01:01").pointer(34665, exif);
    if (tag != 0) {
        exif.ascii(tag, date);
    }
    return t.build();
}

Bytes photo(const Bytes& exif, const Bytes& iptc = {})
{
    JpegBuilder b;
    if (!exif.empty()) {
        b.exif(exif);
    }
    if (!iptc.empty()) {
        b.photoshop(resourceBlock(1028, iptc));
    }
    return b.frame().scan().bytes();
}

Bytes iptcDate(const std::string& date, const std::string& time = "")
{
    Bytes record = iptcDataSet(2, 55, date);
    return time.empty() ? record : record + iptcDataSet(2, 60, time);
}

// A real, decodable JPEG of a colour pattern, with 2x2 chroma subsampling.
Bytes encodedJpeg(int width, int height)
{
    std::vector<unsigned char> rgb(static_cast<std::size_t>(width * height * 3));
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            unsigned char* p = &rgb[static_cast<std::size_t>((y * width + x) * 3)];
            p[0] = static_cast<unsigned char>(x * 2);
            p[1] = static_cast<unsigned char>(y * 3);
            p[2] = static_cast<unsigned char>((x * y) & 0xFF);
        }
    }
    tjhandle h = tjInitCompress();
    unsigned char* out = nullptr;
    unsigned long size = 0;
    tjCompress2(h, rgb.data(), width, 0, height, TJPF_RGB, &out, &size, TJSAMP_420, 90, 0);
    Bytes jpeg(out, out + size);
    tjFree(out);
    tjDestroy(h);
    return jpeg;
}

std::pair<int, int> dimensions(const Bytes& jpeg)
{
    tjhandle h = tjInitDecompress();
    int w = 0, height = 0, sub = 0, space = 0;
    tjDecompressHeader3(h, jpeg.data(), static_cast<unsigned long>(jpeg.size()), &w, &height, &sub, &space);
    tjDestroy(h);
    return {w, height};
}

} // namespace

TEST_F(CommandFiles, CaptureDatePrefersTheIptcStampThenExifThenTheIptcDate)
{
    auto dateOf = [&](const Bytes& bytes) -> std::string {
        put("probe.jpg", bytes);
        Metadata::ImageStreamT stream;
        const auto image = Metadata::openImage(file("probe.jpg"), stream);
        Metadata::ISODateTime when;
        return Commands::captureDate(*image, when) ? when.text() : "none";
    };
    const Bytes exif = exifWith(36867, "2003:07:14 09:05:03");
    EXPECT_EQ(dateOf(photo(exif, iptcDate("20100102", "030405+0100"))), "2010-01-02T03:04:05+01:00");
    EXPECT_EQ(dateOf(photo(exif, iptcDate("20100102"))), "2003-07-14T09:05:03Z");
    EXPECT_EQ(dateOf(photo({}, iptcDate("20100102"))), "2010-01-02T00:00:00Z");
    EXPECT_EQ(dateOf(photo(exifWith(36868, "2004:01:01 00:00:00"))), "2004-01-01T00:00:00Z");
    EXPECT_EQ(dateOf(photo(exifWith(0, ""))), "2001-01-01T01:01:01Z");
    // The first EXIF date present decides, even when it is blank: then the IPTC date is used.
    EXPECT_EQ(dateOf(photo(exifWith(36867, "    :  :     :  :  "), iptcDate("20100102"))), "2010-01-02T00:00:00Z");
    EXPECT_EQ(dateOf(photo(exifWith(36867, "    :  :     :  :  "))), "none");
    EXPECT_EQ(dateOf(photo({})), "none");
    EXPECT_EQ(Commands::renamedFileName(Metadata::ISODateTime(2003, 7, 14, 9, 5, 3, 0, 0), 2, ".JPG"),
              "20030714-090503-02.JPG");
    // Early years keep four digits in names (the ISO text writes them at their natural width).
    const Metadata::ISODateTime early(987, 1, 2, 3, 4, 5, 0, 0);
    EXPECT_EQ(Commands::renamedFileName(early, 99, ""), "09870102-030405-99");
    EXPECT_EQ(early.text(), "987-01-02T03:04:05Z");
}

TEST_F(CommandFiles, RenameCountsAcrossTheRunAndNeverOverwrites)
{
    const Bytes exif = exifWith(36867, "2003:07:14 09:05:03");
    put("IMG_0042.JPG", photo(exif));
    put("b.jpeg", photo(exif));
    put("noext", photo(exif));
    put("undated.jpg", photo({}));
    put("text.jpg", bytesOf("not an image"));
    put("20030714-090503-03.tif", bytesOf("in the way"));
    put("blocked.tif", TestSupport::minimalTiff(false) + Bytes{});
    {
        // A TIFF whose date would give the name that is taken.
        TiffBuilder t;
        TiffBuilder::Dir& e = t.newDir();
        t.setPreamble({0x80});
        t.ifd0().longs(256, {1}).longs(257, {1}).pointer(34665, e);
        e.ascii(36867, "2003:07:14 09:05:03");
        put("blocked.tif", t.build());
    }
    Commands::CommandFileRename rename(7, 0, settings_);
    listen(rename);
    for (const char* name : {"IMG_0042.JPG", "b.jpeg", "noext", "undated.jpg", "text.jpg", "blocked.tif"}) {
        rename.perFile(file(name));
    }
    EXPECT_EQ(names(), (std::vector<std::string>{"20030714-090503-00.JPG", "20030714-090503-01.jpeg",
                                                 "20030714-090503-02", "20030714-090503-03.tif", "blocked.tif",
                                                 "text.jpg", "undated.jpg"}));
    EXPECT_EQ(failures_, (std::vector<std::string>{
                             "blocked.tif: cannot rename to 20030714-090503-03.tif: a file of that name exists"}));
    EXPECT_EQ(get("20030714-090503-03.tif"), bytesOf("in the way"));
    EXPECT_EQ(rename.failures(), 1u);
    // What was renamed, and to what: the blocked and undated files are not among them.
    ASSERT_EQ(rename.renamed().size(), 3u);
    EXPECT_EQ(rename.renamed()[0], std::make_pair(file("IMG_0042.JPG"), file("20030714-090503-00.JPG")));
    EXPECT_EQ(rename.renamed()[2], std::make_pair(file("noext"), file("20030714-090503-02")));
}

TEST_F(CommandFiles, TheCounterWrapsAfterNinetyNine)
{
    const Bytes bytes = photo(exifWith(36867, "2003:07:14 09:05:03"));
    Commands::CommandFileRename rename(101, 0, settings_);
    for (int i = 0; i < 101; ++i) {
        const std::string name = "f" + std::to_string(i) + "." + std::to_string(i) + "jpg";
        put(name, bytes);
        rename.perFile(file(name));
    }
    EXPECT_TRUE(fs::exists(file("20030714-090503-99.99jpg")));
    EXPECT_TRUE(fs::exists(file("20030714-090503-00.100jpg"))); // the 101st file reuses 00
    EXPECT_EQ(rename.failures(), 0u);
}

TEST_F(CommandFiles, RotationTurnsTrimsAndKeepsEveryMarker)
{
    const Bytes plain = encodedJpeg(100, 75);
    // EXIF and a comment right after SOI, as cameras and editors put them.
    const Bytes built = JpegBuilder().exif(exifWith(36867, "2003:07:14 09:05:03")).segment(0xFE, bytesOf("note")).bytes();
    const Bytes markers(built.begin() + 2, built.end()); // without the builder's own SOI
    const Bytes marked = Bytes(plain.begin(), plain.begin() + 2) + markers + Bytes(plain.begin() + 2, plain.end());
    const std::pair<int, std::pair<int, int>> cases[] = {{1, {64, 100}}, {3, {75, 96}}, {2, {96, 64}}};
    for (const auto& [direction, size] : cases) {
        put("p.jpg", marked);
        Commands::CommandRotateJPEG rotate(direction, 1, 0, settings_);
        listen(rotate);
        rotate.perFile(file("p.jpg"));
        const Bytes turned = get("p.jpg");
        EXPECT_EQ(dimensions(turned), size) << direction;
        EXPECT_NE(std::search(turned.begin(), turned.end(), markers.begin(), markers.end()), turned.end());
    }
    EXPECT_EQ(failures_, std::vector<std::string>{});
    EXPECT_EQ(names(), (std::vector<std::string>{"p.jpg"})); // no backup, no temporary left

    // Any other direction leaves the file alone and reports nothing.
    Commands::CommandRotateJPEG none(0, 1, 0, settings_);
    listen(none);
    put("p.jpg", marked);
    none.perFile(file("p.jpg"));
    EXPECT_EQ(get("p.jpg"), marked);
    EXPECT_TRUE(failures_.empty());
}

TEST_F(CommandFiles, RotationBackupsAreNumberedAndDamagedFilesAreLeftAlone)
{
    const Bytes plain = encodedJpeg(64, 48);
    put("b.jpg", plain);
    settings_->setText(UI::Setting::CreateBackup, "1");
    Commands::CommandRotateJPEG rotate(1, 4, 0, settings_);
    listen(rotate);
    for (int i = 0; i < 3; ++i) {
        rotate.perFile(file("b.jpg"));
    }
    EXPECT_EQ(names(), (std::vector<std::string>{"Lumeno.00.b.jpg", "Lumeno.01.b.jpg", "Lumeno.02.b.jpg", "b.jpg"}));
    EXPECT_EQ(get("Lumeno.00.b.jpg"), plain);
    EXPECT_EQ(dimensions(get("b.jpg")), std::make_pair(48, 64));

    const Bytes cut(plain.begin(), plain.begin() + static_cast<long>(plain.size() * 2 / 3));
    put("cut.jpg", cut);
    Commands::CommandRotateJPEG noBackup(1, 1, 0, settings_, false);
    listen(noBackup);
    noBackup.perFile(file("cut.jpg"));
    EXPECT_EQ(get("cut.jpg"), cut);
    ASSERT_EQ(failures_.size(), 1u);
    EXPECT_EQ(failures_[0], "cut.jpg: cannot turn the picture: Premature end of JPEG file");
    EXPECT_FALSE(fs::exists(file("Lumeno.00.cut.jpg")));
}

TEST_F(CommandFiles, ExportWritesBesideTheImageOnlyWhatItHas)
{
    EXPECT_EQ(Commands::exportPath("/x/a.b.jpg", Commands::ExportKind::EXIF), "/x/a.b.exif.txt");
    EXPECT_EQ(Commands::exportPath("/x.y/IMG_0042", Commands::ExportKind::IPTC), "/x.y/IMG_0042.iptc.txt");
    EXPECT_EQ(Commands::exportPath("IMG.JPG", Commands::ExportKind::XMP), "IMG.xmp");

    put("a.b.jpg", photo(exifWith(36867, "2003:07:14 09:05:03"), iptcDataSet(2, 120, "Two\rlines") + iptcDataSet(2, 25, "k")));
    put("bare.jpg", photo({}));
    put("broken.jpg", bytesOf("not an image"));
    for (auto kind : {Commands::ExportKind::EXIF, Commands::ExportKind::IPTC, Commands::ExportKind::XMP}) {
        Commands::CommandExport exportCommand(kind, 3, 0, settings_);
        listen(exportCommand);
        for (const char* name : {"a.b.jpg", "bare.jpg", "broken.jpg"}) {
            exportCommand.perFile(file(name));
        }
    }
    EXPECT_EQ(names(), (std::vector<std::string>{"a.b.exif.txt", "a.b.iptc.txt", "a.b.jpg", "bare.jpg", "broken.jpg"}));
    EXPECT_EQ(failures_, (std::vector<std::string>(3, "broken.jpg: Unsupported file format")));
    const Bytes exif = get("a.b.exif.txt");
    EXPECT_EQ(std::string(exif.begin(), exif.end()),
              "IFD: Primary Image\nDateTime\t2001:01:01 01:01:01\nTag 0x8769\t58\n\n"
              "IFD: EXIF\nDateTimeOriginal\t2003:07:14 09:05:03\n\n");
    const Bytes iptc = get("a.b.iptc.txt");
    EXPECT_EQ(std::string(iptc.begin(), iptc.end()), "Caption\tTwo\\rlines\nKeyword\tk\n");
}
