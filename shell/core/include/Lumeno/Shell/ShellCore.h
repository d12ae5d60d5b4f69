// What the file-manager objects answer, computed once for the COM server and the command line:
// the metadata columns, the info tip and the icon overlay kind of a file.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace Metadata {
class ImageMetadata;
}

namespace Lumeno::Shell {

// ---- Columns ---------------------------------------------------------------------------------

// The format identifier of every column's property key.
constexpr const char* ColumnFormatId = "{394C3DE0-3C6F-11D2-817B-00C04F797AB7}";
constexpr std::size_t ExifColumnCount = 74;
constexpr std::size_t IptcColumnCount = 16;

struct ColumnInfo {
    std::string title;
    std::string description;
};

// The columns on offer: the 74 EXIF columns (the tag table's rows, in order) when EXIF columns
// are on, then the 16 IPTC columns when IPTC columns are on.
class ColumnLayout {
public:
    ColumnLayout(bool exifColumns, bool iptcColumns);
    // The layout the user's settings (EnableExifColumns, EnableIptcColumns) give.
    static ColumnLayout fromSettings();

    std::size_t exifCount() const noexcept { return exif_; }
    std::size_t iptcCount() const noexcept { return iptc_; }
    std::size_t count() const noexcept { return exif_ + iptc_; }
    // False past the last column.
    bool info(std::size_t index, ColumnInfo& column) const;
    // The index of the column with this title, or count() when there is none.
    std::size_t find(const std::string& title) const;

private:
    std::size_t exif_;
    std::size_t iptc_;
};

// Whether the provider serves files of this name: .jpg, .jpeg, .tif, .tiff in any letter case.
bool servedExtension(const std::string& path);

// The text of one column for an image; nothing when the provider has nothing to show (the
// field is absent or cannot be displayed). An absent IPTC dataset is an empty text.
std::optional<std::string> columnText(const Metadata::ImageMetadata& image, const ColumnLayout& layout,
                                      std::size_t index);

// The texts of every column of a file, as the provider answers them; an empty list for files
// it does not serve or cannot read. Answers are kept for files that have not changed (same path,
// size and modification time), so a details view asking every column of every file reads each
// file once.
std::vector<std::optional<std::string>> columnTexts(const std::string& path, const ColumnLayout& layout);
// One column of a file; nothing for an empty cell.
std::optional<std::string> itemText(const std::string& path, const ColumnLayout& layout, std::size_t index);
// Forgets every kept answer.
void clearColumnCache();

// ---- Info tip --------------------------------------------------------------------------------

// The tip of an image: its IPTC title, author and caption, its capture date and size, and seven
// exposure lines; nothing when there is nothing to say.
std::optional<std::string> infoTipText(const Metadata::ImageMetadata& image, bool iptcTip, bool exifTip);
// The tip of a file with the user's settings (EnableIptcInfoTip, EnableExifInfoTip); nothing
// when both are off, the file cannot be read, or there is nothing to say.
std::optional<std::string> infoTipForFile(const std::string& path);

// ---- Icon overlays ---------------------------------------------------------------------------

// Overlay kinds. A file with no metadata, or one that cannot be read, has NoOverlay, which no
// identifier claims.
enum OverlayKind : int {
    NotComputed = 0,
    NoOverlay = 1,
    XmpIptc = 2,
    Exif = 3,
    Iptc = 4,
    Xmp = 5,
    ExifXmpIptc = 6,
    ExifIptc = 7,
    ExifXmp = 8,
};

struct OverlayInfo {
    OverlayKind kind;
    const char* name;   // the registered overlay name
    int iconIndex;      // in the server's icons
};

// The seven overlays, in the order of the class table.
const std::vector<OverlayInfo>& overlays();
const OverlayInfo* overlayFor(OverlayKind kind);

// Whether the user shows icon overlays at all (EnableIconOverlays); when off, no overlay is shown
// whatever a file carries.
bool overlaysEnabled();

// The kind of an image: which of EXIF, IPTC and XMP it carries (each counts when not empty; in a
// TIFF, EXIF counts when there is a non-empty EXIF directory).
OverlayKind overlayKind(const Metadata::ImageMetadata& image);
// The kind of a file: NoOverlay for files that are not served or cannot be read.
OverlayKind overlayKindOfFile(const std::string& path);

// The decision all seven overlay identifiers share: a file's metadata is read once per round of
// seven questions, and exactly one identifier claims it.
class IconOverlay {
public:
    enum class Answer { Yes, No, Failed };
    // Whether the identifier of `kind` marks `path`. Safe to ask from several threads.
    static Answer isMemberOf(const std::string& path, OverlayKind kind);
    // Records still waiting for questions (for tests).
    static std::size_t pendingRecords();
};

} // namespace Lumeno::Shell
