// The user's settings: per user, in sections below the product key "LumenoWorks\Lumeno" (the
// registry on Windows, a key file elsewhere). Every setting has a built-in default that applies
// whenever nothing is stored; defaults are never written back. Nothing is cached: a value takes
// effect at the next read.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace Lumeno::UI {

// The platform's 60-byte logical-font record (LOGFONT with a 32-character narrow face name).
struct FontRecord {
    static constexpr std::size_t Size = 60;
    std::int32_t height = 0;
    std::int32_t width = 0;
    std::int32_t escapement = 0;
    std::int32_t orientation = 0;
    std::int32_t weight = 0;
    std::uint8_t italic = 0;
    std::uint8_t underline = 0;
    std::uint8_t strikeOut = 0;
    std::uint8_t charSet = 0;
    std::uint8_t outPrecision = 0;
    std::uint8_t clipPrecision = 0;
    std::uint8_t quality = 0;
    std::uint8_t pitchAndFamily = 0;
    char faceName[32] = {};

    // The record as stored: little-endian 32-bit fields, as on Windows.
    std::array<std::uint8_t, Size> bytes() const;
    // False unless exactly 60 bytes are given.
    static bool fromBytes(const std::vector<std::uint8_t>& bytes, FontRecord& record);
    std::string face() const;
    // The default record of a face and point size on a screen of `pixelsPerInch`: character
    // set 1 and height -(points x pixelsPerInch / 72), rounded as Windows' MulDiv rounds.
    static FontRecord make(const std::string& face, int points, int pixelsPerInch);
    // The point size its height stands for on that screen.
    int points(int pixelsPerInch) const;
};

// Where the values are kept. Values have the registry's kinds: 32-bit numbers, texts and byte
// blocks. A read of a missing value, or of one stored as another kind, answers false.
class SettingsStore {
public:
    virtual ~SettingsStore() = default;
    virtual bool readNumber(const std::string& section, const std::string& name, std::uint32_t& value) const = 0;
    virtual bool readText(const std::string& section, const std::string& name, std::string& value) const = 0;
    virtual bool readBinary(const std::string& section, const std::string& name, std::vector<std::uint8_t>& value) const = 0;
    virtual bool writeNumber(const std::string& section, const std::string& name, std::uint32_t value) = 0;
    virtual bool writeText(const std::string& section, const std::string& name, const std::string& value) = 0;
    virtual bool writeBinary(const std::string& section, const std::string& name, const std::vector<std::uint8_t>& value) = 0;
    // Removes a value; true when it is gone.
    virtual bool remove(const std::string& section, const std::string& name) = 0;
    // The names of the values a section holds, of every kind, in no set order; nothing when the
    // section does not exist. For sections whose value names are data (a user's templates).
    virtual std::vector<std::string> valueNames(const std::string& section) const = 0;
    // What the store found wrong with what it keeps (a settings file that could not be read
    // whole, a file kept aside), in words for the user; nothing when all is well.
    virtual std::vector<std::string> problems() const { return {}; }
};

// The current user's store: HKEY_CURRENT_USER\Software\LumenoWorks\Lumeno\SECTION on Windows,
// $XDG_CONFIG_HOME/LumenoWorks/Lumeno.conf elsewhere.
std::unique_ptr<SettingsStore> userSettingsStore();
// A key file at `path`, with one [SECTION] per section and NAME=dword:N, NAME=sz:TEXT or
// NAME=hex:BYTES per value. Writes replace the file safely. A file with faults (a name given
// twice, a stray line) is read as far as it can be, and never written over: a write first moves
// it aside (NAME.unread-TIME). A file of more than 1 MB, or one that is not a regular file, is
// not read. problems() says what happened.
std::unique_ptr<SettingsStore> keyFileSettingsStore(const std::string& path);

// The read and write operations of every value kind on one store.
class SettingsAccessor {
public:
    static constexpr const char* ProductKey = "LumenoWorks\\Lumeno";
    explicit SettingsAccessor(SettingsStore& store) : store_(store) {}
    const SettingsStore& store() const noexcept { return store_; }

    // Every read answers whether the value was found.
    bool readFlag(const std::string& section, const std::string& name, bool& value) const;
    bool readNumber(const std::string& section, const std::string& name, std::uint32_t& value) const;
    bool readText(const std::string& section, const std::string& name, std::string& value) const;
    bool readFont(const std::string& section, const std::string& name, FontRecord& value) const;
    // A list is kept in the section "SECTION\NAME" as values named 0, 1, 2...
    bool readList(const std::string& section, const std::string& name, std::vector<std::string>& value) const;
    // Flags are written as 0 or 1, numbers as they are; every write answers whether it succeeded.
    bool writeNumber(const std::string& section, const std::string& name, std::uint32_t value);
    bool writeText(const std::string& section, const std::string& name, const std::string& value);
    bool writeFont(const std::string& section, const std::string& name, const FontRecord& value);
    bool writeList(const std::string& section, const std::string& name, const std::vector<std::string>& value);
    // Takes a value away, so that its default applies again; true when it is gone.
    bool remove(const std::string& section, const std::string& name) { return store_.remove(section, name); }

private:
    SettingsStore& store_;
};

enum class SettingKind {
    Flag,     // nonzero is on
    Number,   // unsigned 32-bit
    Colour,   // 0x00BBGGRR
    Gamma,    // stored in hundredths, read as a double
    Folder,   // a path; defaults to a folder of the user's
    Font,     // 60-byte record
    List,     // texts
};

enum class FolderDefault { None, Pictures, Documents };

// X(id, section, name, kind, default number or font points, default font face, default folder)
#define LUMENO_SETTINGS(X)                                                                             \
    X(PictureFolder, "General", "PictureFolder", Folder, 0, nullptr, Pictures)                         \
    X(EnableMessageBeeps, "General", "EnableMessageBeeps", Flag, 1, nullptr, None)                     \
    X(EnableThumbnailCache, "General", "EnableThumbnailCache", Flag, 1, nullptr, None)                 \
    X(ThumbnailCacheSize, "General", "ThumbnailCacheSize", Number, 2000, nullptr, None)                \
    X(EnableToolbars, "General", "EnableToolbars", Flag, 1, nullptr, None)                             \
    X(LastPage, "General", "LastPage", Number, 0, nullptr, None)                                       \
    X(Gamma, "Display", "Gamma", Gamma, 120, nullptr, None)                                            \
    X(EnableGamma, "Display", "EnableGamma", Flag, 0, nullptr, None)                                   \
    X(BackgroundColor, "Display", "BackgroundColor", Colour, 0, nullptr, None)                         \
    X(CaptionTextColor, "Captions", "CaptionTextColor", Colour, 0xFFFFFF, nullptr, None)               \
    X(CaptionFont, "Captions", "CaptionFont", Font, 24, "Arial", None)                                 \
    X(CaptionLocation, "Captions", "CaptionLocation", Number, 1, nullptr, None)                        \
    X(DateTimeTextColor, "Captions", "DateTimeTextColor", Colour, 255, nullptr, None)                  \
    X(DateTimeFont, "Captions", "DateTimeFont", Font, 12, "Courier New", None)                         \
    X(DateTimeLocation, "Captions", "DateTimeLocation", Number, 4, nullptr, None)                      \
    X(PreviewAutoHideDelay, "Preview", "AutoHideDelay", Number, 10, nullptr, None)                     \
    X(PreviewEnableAutoHide, "Preview", "EnableAutoHide", Flag, 1, nullptr, None)                      \
    X(EnableOverlay, "Preview", "EnableOverlay", Flag, 0, nullptr, None)                               \
    X(OverlayTextColor, "Preview", "OverlayTextColor", Colour, 0xFFFFFF, nullptr, None)                \
    X(OverlayFont, "Preview", "OverlayFont", Font, 10, "Courier New", None)                            \
    X(Delay, "SlideShow", "Delay", Number, 60, nullptr, None)                                          \
    X(Repeat, "SlideShow", "Repeat", Flag, 1, nullptr, None)                                           \
    X(Sequence, "SlideShow", "Sequence", Number, 0, nullptr, None)                                     \
    X(SlideShowAutoHideDelay, "SlideShow", "AutoHideDelay", Number, 10, nullptr, None)                 \
    X(SlideShowEnableAutoHide, "SlideShow", "EnableAutoHide", Flag, 1, nullptr, None)                  \
    X(EnableCaptions, "SlideShow", "EnableCaptions", Flag, 1, nullptr, None)                           \
    X(SlideshowFolder, "SlideShow", "SlideshowFolder", Folder, 0, nullptr, Documents)                  \
    X(EnablePDF, "SlideShow", "EnablePDF", Flag, 1, nullptr, None)                                     \
    X(EnableLumeno, "SlideShow", "EnableLumeno", Flag, 1, nullptr, None)                               \
    X(AutorunPDF, "SlideShow", "AutorunPDF", Flag, 0, nullptr, None)                                   \
    X(PDFImageUseOriginal, "SlideShow", "PDFImageUseOriginal", Flag, 0, nullptr, None)                 \
    X(PDFImageQuality, "SlideShow", "PDFImageQuality", Number, 75, nullptr, None)                      \
    X(PDFImageWidth, "SlideShow", "PDFImageWidth", Number, 1024, nullptr, None)                        \
    X(PDFImageHeight, "SlideShow", "PDFImageHeight", Number, 768, nullptr, None)                       \
    X(EnableExifColumns, "Shell", "EnableExifColumns", Flag, 1, nullptr, None)                         \
    X(EnableIptcColumns, "Shell", "EnableIptcColumns", Flag, 1, nullptr, None)                         \
    X(EnableLumenoMenu, "Shell", "EnableLumenoMenu", Flag, 1, nullptr, None)                           \
    X(EnableAnnotateMenu, "Shell", "EnableAnnotateMenu", Flag, 1, nullptr, None)                       \
    X(EnableIconOverlays, "Shell", "EnableIconOverlays", Flag, 1, nullptr, None)                       \
    X(EnableIptcInfoTip, "Shell", "EnableIptcInfoTip", Flag, 1, nullptr, None)                         \
    X(EnableExifInfoTip, "Shell", "EnableExifInfoTip", Flag, 1, nullptr, None)                         \
    X(EnableExifProperties, "Shell", "EnableExifProperties", Flag, 1, nullptr, None)                   \
    X(EnableIptcProperties, "Shell", "EnableIptcProperties", Flag, 1, nullptr, None)                   \
    X(KeepExisting, "Annotation", "KeepExisting", Flag, 1, nullptr, None)                              \
    X(CreateBackup, "Annotation", "CreateBackup", Flag, 0, nullptr, None)                              \
    X(UseExifTimestamp, "Annotation", "UseExifTimestamp", Flag, 1, nullptr, None)                      \
    X(UseOriginalAsPreview, "Galleries", "UseOriginalAsPreview", Flag, 0, nullptr, None)               \
    X(OfflinePreviewImageQuality, "Galleries", "OfflinePreviewImageQuality", Number, 75, nullptr, None) \
    X(OfflinePreviewImageWidth, "Galleries", "OfflinePreviewImageWidth", Number, 800, nullptr, None)   \
    X(OfflinePreviewImageHeight, "Galleries", "OfflinePreviewImageHeight", Number, 600, nullptr, None) \
    X(VisibleColumns, "Namespace", "VisibleColumns", List, 0, nullptr, None)                           \
    X(ColumnOrder, "Namespace", "ColumnOrder", List, 0, nullptr, None)                                 \
    X(SearchTermHistory, "Namespace", "SearchTermHistory", List, 0, nullptr, None)

enum class Setting {
#define LUMENO_SETTING_ID(id, section, name, kind, number, face, folder) id,
    LUMENO_SETTINGS(LUMENO_SETTING_ID)
#undef LUMENO_SETTING_ID
};

struct SettingInfo {
    Setting id;
    const char* section;
    const char* name;
    SettingKind kind;
    std::uint32_t defaultNumber; // flags, numbers, colours, gamma in hundredths, font points
    const char* defaultFace;     // fonts
    FolderDefault defaultFolder; // folders
};

// One row per setting, in the order above.
const std::vector<SettingInfo>& settingsTable();
const SettingInfo& settingInfo(Setting id);
// The row of SECTION and NAME (letter case as stored); null when there is none.
const SettingInfo* findSetting(const std::string& section, const std::string& name);

// The C++ type each kind of setting reads as.
template <SettingKind K> struct SettingType;
template <> struct SettingType<SettingKind::Flag> { using type = bool; };
template <> struct SettingType<SettingKind::Number> { using type = std::uint32_t; };
template <> struct SettingType<SettingKind::Colour> { using type = std::uint32_t; };
template <> struct SettingType<SettingKind::Gamma> { using type = double; };
template <> struct SettingType<SettingKind::Folder> { using type = std::string; };
template <> struct SettingType<SettingKind::Font> { using type = FontRecord; };
template <> struct SettingType<SettingKind::List> { using type = std::vector<std::string>; };

// The settings by name, each with its default.
class Settings {
public:
    // The current user's settings.
    Settings();
    explicit Settings(SettingsStore& store);
    ~Settings();

    SettingsAccessor& accessor() { return accessor_; }
    // What the store found wrong (see SettingsStore::problems).
    std::vector<std::string> problems() const;

    // Typed reads of any row; `stored` tells whether the value came from the store.
    bool flag(Setting id, bool* stored = nullptr) const;
    std::uint32_t number(Setting id, bool* stored = nullptr) const;
    double gammaValue(Setting id, bool* stored = nullptr) const;
    // Empty when nothing is stored and the system cannot give the default folder.
    std::string folder(Setting id, bool* stored = nullptr) const;
    FontRecord font(Setting id, bool* stored = nullptr) const;
    std::vector<std::string> list(Setting id, bool* stored = nullptr) const;

    // A value as people read and type it: flags 0 or 1, numbers in decimal, colours 0xRRGGBB
    // (as a person names them; stored as 0x00BBGGRR), gamma as a decimal (1.2), fonts as
    // "FACE, N pt", lists separated by "; ".
    std::string text(Setting id, bool* stored = nullptr) const;
    // Stores a value given in that form. Throws std::invalid_argument for a value that is not of
    // the setting's kind; false when the store could not write.
    bool setText(Setting id, const std::string& text);

    // A named getter per setting, with its default.
#define LUMENO_SETTING_GETTER(id, section, name, kind, number, face, folder) \
    SettingType<SettingKind::kind>::type get##id() const { return read<SettingKind::kind>(Setting::id); }
    LUMENO_SETTINGS(LUMENO_SETTING_GETTER)
#undef LUMENO_SETTING_GETTER

private:
    template <SettingKind K> typename SettingType<K>::type read(Setting id) const;

    std::unique_ptr<SettingsStore> owned_;
    SettingsAccessor accessor_;
};

template <SettingKind K> typename SettingType<K>::type Settings::read(Setting id) const
{
    if constexpr (K == SettingKind::Flag) {
        return flag(id);
    } else if constexpr (K == SettingKind::Number || K == SettingKind::Colour) {
        return number(id);
    } else if constexpr (K == SettingKind::Gamma) {
        return gammaValue(id);
    } else if constexpr (K == SettingKind::Folder) {
        return folder(id);
    } else if constexpr (K == SettingKind::Font) {
        return font(id);
    } else {
        return list(id);
    }
}

} // namespace Lumeno::UI
