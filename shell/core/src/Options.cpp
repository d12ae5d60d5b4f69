#include "Lumeno/Shell/Options.h"

#include <charconv>
#include <stdexcept>

namespace Lumeno::Shell {

namespace {

using UI::Setting;

// Where a caption or the date and time stand on a slide.
const std::vector<const char*> Locations = {"Top left", "Top centre", "Top right", "Bottom left", "Bottom centre",
                                            "Bottom right"};

bool wholeNumber(const std::string& text, std::uint32_t& value)
{
    const char* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, value);
    return error == std::errc() && stop == end && !text.empty();
}

} // namespace

const std::vector<OptionsPage>& optionsPages()
{
    static const std::vector<OptionsPage> pages = {
        {"General",
         {{Setting::PictureFolder, "Picture folder:", OptionControl::Folder},
          {Setting::EnableMessageBeeps, "Beep when a file cannot be handled", OptionControl::Check},
          {Setting::EnableThumbnailCache, "Keep thumbnails in a cache", OptionControl::Check},
          {Setting::ThumbnailCacheSize, "Thumbnails kept:", OptionControl::Number, 10, 100000},
          {Setting::EnableToolbars, "Show toolbars", OptionControl::Check}}},
        {"Display",
         {{Setting::EnableGamma, "Correct the gamma", OptionControl::Check},
          {Setting::Gamma, "Gamma:", OptionControl::Decimal, 10, 500},
          {Setting::BackgroundColor, "Background colour:", OptionControl::Colour}}},
        {"Captions",
         {{Setting::CaptionTextColor, "Caption colour:", OptionControl::Colour},
          {Setting::CaptionFont, "Caption font:", OptionControl::Font},
          {Setting::CaptionLocation, "Caption place:", OptionControl::Choice, 0, 0, Locations},
          {Setting::DateTimeTextColor, "Date and time colour:", OptionControl::Colour},
          {Setting::DateTimeFont, "Date and time font:", OptionControl::Font},
          {Setting::DateTimeLocation, "Date and time place:", OptionControl::Choice, 0, 0, Locations}}},
        {"Annotate",
         {{Setting::KeepExisting, "Keep existing information", OptionControl::Check},
          {Setting::CreateBackup, "Keep a backup of each changed picture", OptionControl::Check}}},
        {"Galleries",
         {{Setting::UseOriginalAsPreview, "Use the original picture as preview", OptionControl::Check},
          {Setting::OfflinePreviewImageQuality, "Preview quality (%):", OptionControl::Number, 1, 100},
          {Setting::OfflinePreviewImageWidth, "Preview width:", OptionControl::Number, 16, 16384},
          {Setting::OfflinePreviewImageHeight, "Preview height:", OptionControl::Number, 16, 16384}}},
        {"Preview",
         {{Setting::PreviewEnableAutoHide, "Hide the controls when idle", OptionControl::Check},
          {Setting::PreviewAutoHideDelay, "Hide after (seconds):", OptionControl::Number, 1, 3600},
          {Setting::EnableOverlay, "Show information over the picture", OptionControl::Check},
          {Setting::OverlayTextColor, "Information colour:", OptionControl::Colour},
          {Setting::OverlayFont, "Information font:", OptionControl::Font}}},
        {"Columns and tips",
         {{Setting::EnableExifColumns, "EXIF columns", OptionControl::Check},
          {Setting::EnableIptcColumns, "IPTC columns", OptionControl::Check},
          {Setting::EnableLumenoMenu, "Lumeno commands in the context menu", OptionControl::Check},
          {Setting::EnableAnnotateMenu, "Metadata entries in the context menu", OptionControl::Check},
          {Setting::EnableIconOverlays, "Icon overlays", OptionControl::Check},
          {Setting::EnableIptcInfoTip, "IPTC in the info tip", OptionControl::Check},
          {Setting::EnableExifInfoTip, "EXIF in the info tip", OptionControl::Check},
          {Setting::EnableExifProperties, "EXIF property page", OptionControl::Check},
          {Setting::EnableIptcProperties, "IPTC property page", OptionControl::Check}}},
        {"Slide Show",
         {{Setting::Delay, "Seconds per picture:", OptionControl::Number, 1, 3600},
          {Setting::Repeat, "Start again after the last picture", OptionControl::Check},
          {Setting::Sequence, "Order:", OptionControl::Choice, 0, 0, {"As selected", "Random"}},
          {Setting::SlideShowEnableAutoHide, "Hide the controls when idle", OptionControl::Check},
          {Setting::SlideShowAutoHideDelay, "Hide after (seconds):", OptionControl::Number, 1, 3600},
          {Setting::EnableCaptions, "Show captions", OptionControl::Check}}},
    };
    return pages;
}

std::string optionText(const UI::Settings& settings, const OptionField& field)
{
    if (field.control == OptionControl::Choice) {
        const std::uint32_t chosen = settings.number(field.setting);
        return chosen < field.choices.size() ? field.choices[chosen] : field.choices.front();
    }
    return settings.text(field.setting);
}

bool optionAccepted(const OptionField& field, const std::string& text)
{
    std::uint32_t number = 0;
    switch (field.control) {
    case OptionControl::Check:
        return text == "0" || text == "1";
    case OptionControl::Number:
        return wholeNumber(text, number) && number >= field.least && number <= field.most;
    case OptionControl::Choice:
        for (const char* choice : field.choices) {
            if (text == choice) {
                return true;
            }
        }
        return false;
    case OptionControl::Decimal:
    case OptionControl::Colour:
    case OptionControl::Font:
    case OptionControl::Folder: {
        // What the settings take, tried on a store of its own: the same reading as storing.
        class Scratch final : public UI::SettingsStore {
        public:
            bool readNumber(const std::string&, const std::string&, std::uint32_t&) const override { return false; }
            bool readText(const std::string&, const std::string&, std::string&) const override { return false; }
            bool readBinary(const std::string&, const std::string&, std::vector<std::uint8_t>&) const override { return false; }
            bool writeNumber(const std::string&, const std::string&, std::uint32_t value) override
            {
                number = value;
                return true;
            }
            bool writeText(const std::string&, const std::string&, const std::string&) override { return true; }
            bool writeBinary(const std::string&, const std::string&, const std::vector<std::uint8_t>&) override { return true; }
            bool remove(const std::string&, const std::string&) override { return true; }
            std::vector<std::string> valueNames(const std::string&) const override { return {}; }
            std::uint32_t number = 0;
        } scratch;
        try {
            UI::Settings(scratch).setText(field.setting, text);
            if (field.control == OptionControl::Decimal) {
                // Kept in hundredths.
                return scratch.number >= field.least && scratch.number <= field.most;
            }
            return field.control != OptionControl::Folder || !text.empty();
        } catch (const std::invalid_argument&) {
            return false;
        }
    }
    }
    return false;
}

bool storeOption(UI::Settings& settings, const OptionField& field, const std::string& text)
{
    if (!optionAccepted(field, text)) {
        return false;
    }
    if (field.control == OptionControl::Choice) {
        for (std::size_t i = 0; i < field.choices.size(); ++i) {
            if (text == field.choices[i]) {
                return settings.accessor().writeNumber(UI::settingInfo(field.setting).section,
                                                       UI::settingInfo(field.setting).name, static_cast<std::uint32_t>(i));
            }
        }
        return false;
    }
    try {
        return settings.setText(field.setting, text);
    } catch (const std::invalid_argument&) {
        return false;
    }
}

} // namespace Lumeno::Shell
