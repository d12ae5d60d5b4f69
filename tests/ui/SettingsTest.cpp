#include <Lumeno/UI/Settings.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>

#include <sys/stat.h>

namespace fs = std::filesystem;
using namespace Lumeno::UI;

namespace {

class SettingsFile : public ::testing::Test {
protected:
    void SetUp() override
    {
        folder_ = fs::path(::testing::TempDir()) /
                  ("lumeno-settings-" + std::string(::testing::UnitTest::GetInstance()->current_test_info()->name()));
        fs::remove_all(folder_);
        fs::create_directories(folder_);
        path_ = (folder_ / "LumenoWorks" / "Lumeno.conf").string();
        store_ = keyFileSettingsStore(path_);
    }
    void TearDown() override { fs::remove_all(folder_); }

    fs::path folder_;
    std::string path_;
    std::unique_ptr<SettingsStore> store_;
};

} // namespace

TEST(SettingsTable, HoldsEveryRowOnceWithItsDefault)
{
    std::set<std::pair<std::string, std::string>> seen;
    for (const SettingInfo& row : settingsTable()) {
        EXPECT_TRUE(seen.insert({row.section, row.name}).second) << row.section << " " << row.name;
        EXPECT_EQ(&settingInfo(row.id), &row);
    }
    EXPECT_EQ(settingsTable().size(), 53u);
    ASSERT_NE(findSetting("SlideShow", "AutoHideDelay"), nullptr);
    EXPECT_EQ(findSetting("SlideShow", "AutoHideDelay")->id, Setting::SlideShowAutoHideDelay);
    EXPECT_EQ(findSetting("Preview", "AutoHideDelay")->id, Setting::PreviewAutoHideDelay);
    EXPECT_EQ(findSetting("General", "Nope"), nullptr);
}

TEST_F(SettingsFile, ANewUserGetsEveryDefaultAndNothingIsWritten)
{
    const Settings settings(*store_);
    EXPECT_TRUE(settings.getEnableMessageBeeps());
    EXPECT_EQ(settings.getThumbnailCacheSize(), 2000u);
    EXPECT_DOUBLE_EQ(settings.getGamma(), 1.2);
    EXPECT_EQ(settings.getDateTimeTextColor(), 255u);
    EXPECT_EQ(settings.getCaptionTextColor(), 0xFFFFFFu);
    EXPECT_EQ(settings.getDateTimeLocation(), 4u);
    EXPECT_EQ(settings.getPDFImageWidth(), 1024u);
    EXPECT_FALSE(settings.getCreateBackup());
    EXPECT_TRUE(settings.getVisibleColumns().empty());
    const FontRecord caption = settings.getCaptionFont();
    EXPECT_EQ(caption.face(), "Arial");
    EXPECT_EQ(caption.charSet, 1);
    EXPECT_EQ(caption.height, -32); // 24 points on a 96 dpi screen
    for (const SettingInfo& row : settingsTable()) {
        bool stored = true;
        settings.text(row.id, &stored);
        EXPECT_FALSE(stored) << row.name;
    }
    EXPECT_FALSE(fs::exists(path_));
}

TEST_F(SettingsFile, ValuesOfEveryKindRoundTrip)
{
    Settings settings(*store_);
    EXPECT_TRUE(settings.setText(Setting::Gamma, "1.5"));
    std::uint32_t raw = 0;
    EXPECT_TRUE(settings.accessor().readNumber("Display", "Gamma", raw));
    EXPECT_EQ(raw, 150u); // hundredths
    EXPECT_DOUBLE_EQ(settings.getGamma(), 1.5);
    EXPECT_EQ(settings.text(Setting::Gamma), "1.5");

    EXPECT_TRUE(settings.setText(Setting::DateTimeTextColor, "0x00FF00"));
    EXPECT_EQ(settings.getDateTimeTextColor(), 0x00FF00u);
    EXPECT_TRUE(settings.setText(Setting::CaptionTextColor, "#FF0000"));
    EXPECT_EQ(settings.getCaptionTextColor(), 0x0000FFu); // stored as 0x00BBGGRR
    EXPECT_EQ(settings.text(Setting::CaptionTextColor), "0xFF0000");

    EXPECT_TRUE(settings.setText(Setting::EnableMessageBeeps, "off"));
    EXPECT_FALSE(settings.getEnableMessageBeeps());
    EXPECT_TRUE(settings.setText(Setting::ThumbnailCacheSize, "4294967295"));
    EXPECT_EQ(settings.getThumbnailCacheSize(), 4294967295u);
    EXPECT_TRUE(settings.setText(Setting::PictureFolder, "/photos/2024"));
    EXPECT_EQ(settings.getPictureFolder(), "/photos/2024");

    EXPECT_TRUE(settings.setText(Setting::ColumnOrder, "b; a; c"));
    EXPECT_EQ(settings.getColumnOrder(), (std::vector<std::string>{"b", "a", "c"}));
    EXPECT_TRUE(settings.setText(Setting::ColumnOrder, "z"));
    EXPECT_EQ(settings.getColumnOrder(), (std::vector<std::string>{"z"}));

    // Another reader of the same file sees the values: nothing is cached.
    const auto again = keyFileSettingsStore(path_);
    EXPECT_DOUBLE_EQ(Settings(*again).getGamma(), 1.5);
}

TEST_F(SettingsFile, ASectionListsTheNamesOfItsValuesOfEveryKind)
{
    EXPECT_TRUE(store_->valueNames("Annotation\\Templates").empty());
    ASSERT_TRUE(store_->writeBinary("Annotation\\Templates", "Beach", {1, 2}));
    ASSERT_TRUE(store_->writeText("Annotation\\Templates", "Alps and lakes", "text"));
    ASSERT_TRUE(store_->writeNumber("Annotation\\Templates", "7", 7));
    ASSERT_TRUE(store_->writeNumber("Annotation", "KeepExisting", 1));
    std::vector<std::string> names = keyFileSettingsStore(path_)->valueNames("Annotation\\Templates");
    std::sort(names.begin(), names.end());
    EXPECT_EQ(names, (std::vector<std::string>{"7", "Alps and lakes", "Beach"}));
    EXPECT_EQ(store_->valueNames("Annotation"), std::vector<std::string>{"KeepExisting"});
    ASSERT_TRUE(store_->remove("Annotation\\Templates", "Beach"));
    ASSERT_TRUE(store_->remove("Annotation\\Templates", "7"));
    EXPECT_EQ(store_->valueNames("Annotation\\Templates"), std::vector<std::string>{"Alps and lakes"});
}

TEST_F(SettingsFile, FontRecordsRoundTripByteForByte)
{
    FontRecord f;
    f.height = -17;
    f.width = 3;
    f.escapement = 900;
    f.orientation = -900;
    f.weight = 700;
    f.italic = 1;
    f.underline = 1;
    f.strikeOut = 1;
    f.charSet = 238;
    f.outPrecision = 3;
    f.clipPrecision = 2;
    f.quality = 5;
    f.pitchAndFamily = 0x31;
    std::memset(f.faceName, 'x', 31);
    Settings settings(*store_);
    ASSERT_TRUE(settings.accessor().writeFont("Preview", "OverlayFont", f));
    std::vector<std::uint8_t> stored;
    ASSERT_TRUE(store_->readBinary("Preview", "OverlayFont", stored));
    ASSERT_EQ(stored.size(), 60u);
    const auto bytes = f.bytes();
    EXPECT_TRUE(std::equal(bytes.begin(), bytes.end(), stored.begin()));
    EXPECT_EQ(stored[0], 0xEF); // -17, little-endian
    EXPECT_EQ(stored[16], 0xBC); // 700
    const FontRecord back = settings.getOverlayFont();
    EXPECT_EQ(back.bytes(), bytes);

    // A block of any other size is not a font: the default applies.
    ASSERT_TRUE(store_->writeBinary("Captions", "DateTimeFont", std::vector<std::uint8_t>(59, 1)));
    EXPECT_EQ(settings.getDateTimeFont().face(), "Courier New");
}

TEST(FontRecord, DefaultHeightsFollowTheScreen)
{
    EXPECT_EQ(FontRecord::make("Arial", 24, 96).height, -32);
    EXPECT_EQ(FontRecord::make("Arial", 24, 120).height, -40);
    EXPECT_EQ(FontRecord::make("Courier New", 10, 96).height, -13);  // 13.33
    EXPECT_EQ(FontRecord::make("Courier New", 11, 96).height, -15);  // 14.67
    EXPECT_EQ(FontRecord::make("Courier New", 12, 96).points(96), 12);
    EXPECT_EQ(FontRecord::make(std::string(40, 'f'), 12, 96).face().size(), 31u);
}

TEST_F(SettingsFile, BadInputIsRefusedAndValuesOfAnotherKindReadAsMissing)
{
    Settings settings(*store_);
    for (const auto& [id, text] : std::vector<std::pair<Setting, std::string>>{
             {Setting::ThumbnailCacheSize, "abc"},
             {Setting::ThumbnailCacheSize, "-1"},
             {Setting::ThumbnailCacheSize, "4294967296"},
             {Setting::ThumbnailCacheSize, "1 2"},
             {Setting::EnableGamma, "maybe"},
             {Setting::BackgroundColor, "red"},
             {Setting::BackgroundColor, "0x12345"},
             {Setting::Gamma, "one"},
             {Setting::Gamma, "-1"},
             {Setting::CaptionFont, "Arial"},
             {Setting::CaptionFont, "Arial, big"},
             {Setting::PictureFolder, ""},
         }) {
        EXPECT_THROW(settings.setText(id, text), std::invalid_argument) << text;
    }
    EXPECT_FALSE(fs::exists(path_));

    ASSERT_TRUE(store_->writeText("General", "ThumbnailCacheSize", "5000"));
    bool stored = true;
    EXPECT_EQ(settings.number(Setting::ThumbnailCacheSize, &stored), 2000u);
    EXPECT_FALSE(stored);

    std::ofstream(path_) << "this is [not\n=an ini file\n";
    EXPECT_EQ(settings.getThumbnailCacheSize(), 2000u);
}

TEST(SettingsFolders, DefaultToTheUsersFoldersAsTheDesktopNamesThem)
{
    const fs::path home = fs::path(::testing::TempDir()) / "lumeno-home";
    fs::remove_all(home);
    fs::create_directories(home / ".config");
    const std::string oldHome = std::getenv("HOME") ? std::getenv("HOME") : "";
    setenv("HOME", home.c_str(), 1);
    unsetenv("XDG_CONFIG_HOME");
    const auto store = keyFileSettingsStore((home / "none.conf").string());
    Settings settings(*store);
    EXPECT_EQ(settings.getPictureFolder(), (home / "Pictures").string());
    EXPECT_EQ(settings.getSlideshowFolder(), (home / "Documents").string());
    std::ofstream(home / ".config" / "user-dirs.dirs") << "# written by xdg-user-dirs-update\n"
                                                       << "XDG_PICTURES_DIR=\"$HOME/Fotos\"\n"
                                                       << "XDG_DOCUMENTS_DIR=\"/srv/docs\"\n";
    EXPECT_EQ(settings.getPictureFolder(), (home / "Fotos").string());
    EXPECT_EQ(settings.getSlideshowFolder(), "/srv/docs");
    setenv("HOME", oldHome.c_str(), 1);
    fs::remove_all(home);
}

TEST_F(SettingsFile, AFileWithFaultsIsReadAsFarAsItCanAndNeverWrittenOver)
{
    fs::create_directories(fs::path(path_).parent_path());
    const std::string original = "[Display]\nGamma=dword:150\n; a comment\n[Shell]\nEnableIconOverlays=dword:0\n"
                                 "EnableIconOverlays=dword:1\nthis line means nothing\n[General]\nThumbnailCacheSize=dword:42\n";
    std::ofstream(path_, std::ios::binary) << original;
    Settings settings(*store_);
    EXPECT_DOUBLE_EQ(settings.getGamma(), 1.5);
    EXPECT_TRUE(settings.getEnableIconOverlays()); // the later of two
    EXPECT_EQ(settings.number(Setting::ThumbnailCacheSize), 42u);
    ASSERT_EQ(settings.problems().size(), 2u);
    EXPECT_NE(settings.problems()[0].find(":6: 'EnableIconOverlays' is given twice"), std::string::npos)
        << settings.problems()[0];

    // A write keeps the whole file aside first, and the new one has every value read.
    ASSERT_TRUE(settings.setText(Setting::Gamma, "1.3"));
    std::vector<fs::path> aside;
    for (const auto& e : fs::directory_iterator(fs::path(path_).parent_path())) {
        if (e.path().filename().string().rfind("Lumeno.conf.unread-", 0) == 0) {
            aside.push_back(e.path());
        }
    }
    ASSERT_EQ(aside.size(), 1u);
    std::ifstream kept(aside[0], std::ios::binary);
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(kept), std::istreambuf_iterator<char>()), original);
    const auto again = keyFileSettingsStore(path_);
    Settings reread(*again);
    EXPECT_DOUBLE_EQ(reread.getGamma(), 1.3);
    EXPECT_EQ(reread.number(Setting::ThumbnailCacheSize), 42u);
    EXPECT_TRUE(reread.getEnableIconOverlays());
    EXPECT_TRUE(reread.problems().empty());
}

TEST_F(SettingsFile, HugeFilesAndFilesThatAreNoneAreNotRead)
{
    fs::create_directories(fs::path(path_).parent_path());
    {
        std::ofstream huge(path_, std::ios::binary);
        huge << "[Display]\nGamma=dword:150\n";
        huge << std::string(2u << 20, ';');
    }
    Settings settings(*store_);
    EXPECT_DOUBLE_EQ(settings.getGamma(), 1.2); // the default: the file was not read
    ASSERT_EQ(settings.problems().size(), 1u);
    EXPECT_NE(settings.problems()[0].find("far more than settings take"), std::string::npos);

    fs::remove(path_);
    ASSERT_EQ(::mkfifo(path_.c_str(), 0600), 0);
    const auto fifo = keyFileSettingsStore(path_);
    Settings onFifo(*fifo);
    EXPECT_DOUBLE_EQ(onFifo.getGamma(), 1.2); // and no waiting for a writer
    EXPECT_FALSE(onFifo.setText(Setting::Gamma, "1.5"));
    EXPECT_TRUE(fs::is_fifo(path_));
}
