// The settings sheet's fields: every setting a page edits is on one, defaults are shown, typed
// values are checked before anything is stored, and storing writes that value alone.
#include <Lumeno/Shell/Options.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <set>

namespace fs = std::filesystem;
using namespace Lumeno;
using namespace Lumeno::Shell;

namespace {

const OptionField& fieldOf(UI::Setting setting)
{
    for (const OptionsPage& page : optionsPages()) {
        for (const OptionField& field : page.fields) {
            if (field.setting == setting) {
                return field;
            }
        }
    }
    throw std::runtime_error("no field");
}

} // namespace

TEST(Options, EverySettingThePagesEditIsOnOnePage)
{
    std::set<UI::Setting> onPages;
    std::vector<std::string> titles;
    for (const OptionsPage& page : optionsPages()) {
        titles.push_back(page.title);
        for (const OptionField& field : page.fields) {
            EXPECT_TRUE(onPages.insert(field.setting).second) << field.label << " is on two pages";
            if (field.control == OptionControl::Number || field.control == OptionControl::Decimal) {
                EXPECT_LT(field.least, field.most) << field.label;
            }
        }
    }
    EXPECT_EQ(titles, (std::vector<std::string>{"General", "Display", "Captions", "Annotate", "Galleries", "Preview",
                                                "Columns and tips", "Slide Show"}));
    // Kept by the program itself, not typed in: the page shown last, the slide-show CD's
    // choices, the gallery folder's lists.
    const std::set<std::string> notOnPages = {"LastPage", "UseExifTimestamp", "SlideshowFolder", "EnablePDF",
                                              "EnableLumeno", "AutorunPDF", "PDFImageUseOriginal", "PDFImageQuality",
                                              "PDFImageWidth", "PDFImageHeight", "VisibleColumns", "ColumnOrder",
                                              "SearchTermHistory"};
    for (const UI::SettingInfo& info : UI::settingsTable()) {
        EXPECT_EQ(onPages.count(info.id) == 1, notOnPages.count(info.name) == 0) << info.section << "\\" << info.name;
    }
}

TEST(Options, TypedValuesAreCheckedAndStoredAlone)
{
    const fs::path file = fs::path(::testing::TempDir()) / "lumeno-options.conf";
    fs::remove(file);
    auto store = UI::keyFileSettingsStore(file.string());
    UI::Settings settings(*store);

    const OptionField& cache = fieldOf(UI::Setting::ThumbnailCacheSize);
    EXPECT_EQ(optionText(settings, cache), "2000") << "the default is shown";
    for (const char* bad : {"", "abc", "5", "100001", "-3", "12 ", "0x10"}) {
        EXPECT_FALSE(optionAccepted(cache, bad)) << bad;
        EXPECT_FALSE(storeOption(settings, cache, bad)) << bad;
    }
    EXPECT_FALSE(fs::exists(file)) << "nothing refused was written";
    EXPECT_TRUE(storeOption(settings, cache, "500"));
    EXPECT_EQ(settings.getThumbnailCacheSize(), 500u);
    EXPECT_EQ(store->valueNames("General"), std::vector<std::string>{"ThumbnailCacheSize"});

    const OptionField& gamma = fieldOf(UI::Setting::Gamma);
    EXPECT_EQ(optionText(settings, gamma), "1.2");
    EXPECT_FALSE(optionAccepted(gamma, "x"));
    EXPECT_FALSE(optionAccepted(gamma, "9"));
    EXPECT_FALSE(optionAccepted(gamma, "0x1p0")) << "what the store would not read";
    EXPECT_TRUE(storeOption(settings, gamma, "1.5"));
    EXPECT_DOUBLE_EQ(settings.getGamma(), 1.5);

    const OptionField& colour = fieldOf(UI::Setting::BackgroundColor);
    EXPECT_FALSE(optionAccepted(colour, "red"));
    EXPECT_TRUE(storeOption(settings, colour, "0x102030"));
    EXPECT_EQ(settings.getBackgroundColor(), 0x302010u) << "stored as 0x00BBGGRR";

    const OptionField& place = fieldOf(UI::Setting::DateTimeLocation);
    EXPECT_EQ(optionText(settings, place), "Bottom centre") << "the default, 4";
    EXPECT_FALSE(optionAccepted(place, "Middle"));
    EXPECT_TRUE(storeOption(settings, place, "Top left"));
    EXPECT_EQ(settings.getDateTimeLocation(), 0u);

    const OptionField& beeps = fieldOf(UI::Setting::EnableMessageBeeps);
    EXPECT_TRUE(storeOption(settings, beeps, "0"));
    EXPECT_FALSE(settings.getEnableMessageBeeps());
    EXPECT_FALSE(optionAccepted(fieldOf(UI::Setting::PictureFolder), ""));
    fs::remove(file);
}
