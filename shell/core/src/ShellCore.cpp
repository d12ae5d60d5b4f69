#include "Lumeno/Shell/ShellCore.h"

#include <Lumeno/UI/Settings.h>
#include <Metadata/DateTime.h>
#include <Metadata/EXIF.h>
#include <Metadata/ImageFactory.h>
#include <Metadata/ImageStream.h>
#include <Metadata/IPTC.h>
#include <Metadata/TagTable.h>
#include <Metadata/XMP.h>

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <list>
#include <map>
#include <memory>
#include <mutex>
#include <type_traits>
#include <sstream>
#include <unordered_map>

namespace Lumeno::Shell {

namespace {

namespace fs = std::filesystem;
namespace DirectoryId = Metadata::DirectoryId;

// The IPTC columns: title (also the description) and the dataset each reads.
struct IptcColumn {
    const char* title;
    std::uint8_t dataSet;
};

constexpr IptcColumn IptcColumns[IptcColumnCount] = {
    {"Title", 5},                    // Object Name
    {"Author", 80},                  // By-line
    {"Caption", 120},                // Caption/Abstract
    {"Copyright Notice", 116},
    {"Authors Position", 85},        // By-line Title
    {"Caption Writer", 122},
    {"Headline", 105},
    {"Instructions", 40},            // Special Instructions
    {"Credit", 110},
    {"Source", 115},
    {"City", 90},
    {"State", 95},                   // Province/State
    {"Country", 101},                // Country/Primary Location Name
    {"Transmission Reference", 103}, // Original Transmission Reference
    {"Date Created", 55},
    {"Time Created", 60},
};

std::string lower(std::string s)
{
    std::transform(s.begin(), s.end(), s.begin(), [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return s;
}

// The field a row of the tag table stands for: rows of the first table live in IFD0, the others
// in the EXIF directory (the interoperability index, the one tag of its own directory among
// them, is looked for there next).
const Metadata::Field* fieldOfRow(const Metadata::EXIF& exif, std::size_t row)
{
    const std::uint16_t tag = Metadata::globalTagRow(row).tag();
    if (row < Metadata::PrimaryTagCount) {
        return exif.find(DirectoryId::Primary, tag);
    }
    const Metadata::Field* field = exif.find(DirectoryId::Exif, tag);
    return field != nullptr ? field : exif.find(DirectoryId::Interoperability, tag);
}

// Date Created and Time Created in their ISO form; a text that is not a date stays as stored.
std::string dateText(const std::string& stored, bool date)
{
    try {
        if (date) {
            const Metadata::IPTCDate d(stored);
            return d.isValid() ? d.isoDate().text() : stored;
        }
        const Metadata::IPTCTime t(stored);
        return t.isValid() && t.isoTime().isValid() ? t.isoTime().text() : stored;
    } catch (const std::exception&) {
        return stored;
    }
}

} // namespace

// ---- Columns ---------------------------------------------------------------------------------

ColumnLayout::ColumnLayout(bool exifColumns, bool iptcColumns)
    : exif_(exifColumns ? ExifColumnCount : 0), iptc_(iptcColumns ? IptcColumnCount : 0)
{
}

ColumnLayout ColumnLayout::fromSettings()
{
    const UI::Settings settings;
    return ColumnLayout(settings.getEnableExifColumns(), settings.getEnableIptcColumns());
}

bool ColumnLayout::info(std::size_t index, ColumnInfo& column) const
{
    if (index < exif_) {
        const Metadata::TagRow& row = Metadata::globalTagRow(index);
        column = {row.name, row.description};
        return true;
    }
    if (index < exif_ + iptc_) {
        const char* title = IptcColumns[index - exif_].title;
        column = {title, title};
        return true;
    }
    return false;
}

std::size_t ColumnLayout::find(const std::string& title) const
{
    ColumnInfo column;
    for (std::size_t i = 0; info(i, column); ++i) {
        if (column.title == title) {
            return i;
        }
    }
    return count();
}

bool servedExtension(const std::string& path)
{
    const std::size_t dot = path.rfind('.');
    const std::size_t slash = path.find_last_of("/\\");
    if (dot == std::string::npos || (slash != std::string::npos && dot < slash)) {
        return false;
    }
    const std::string extension = lower(path.substr(dot));
    return extension == ".jpg" || extension == ".jpeg" || extension == ".tif" || extension == ".tiff";
}

std::optional<std::string> columnText(const Metadata::ImageMetadata& image, const ColumnLayout& layout,
                                      std::size_t index)
{
    if (index < layout.exifCount()) {
        const Metadata::Field* field = fieldOfRow(image.exif(), index);
        std::string text;
        if (field == nullptr || !field->displayText(text, image.exif().displayContext())) {
            return std::nullopt;
        }
        return text;
    }
    if (index < layout.exifCount() + layout.iptcCount()) {
        const IptcColumn& column = IptcColumns[index - layout.exifCount()];
        if (column.dataSet == 55 || column.dataSet == 60) {
            std::string stored;
            return image.iptc().get(column.dataSet, stored) ? dateText(stored, column.dataSet == 55) : std::string();
        }
        return image.iptc().joined(column.dataSet);
    }
    return std::nullopt;
}

namespace {

// Answers kept per file, while the file stays as it was.
class ColumnCache {
public:
    static constexpr std::size_t Capacity = 1024;

private:
    using Texts = std::vector<std::optional<std::string>>;

    // Calls `use` with the file's answers, read anew when the file is new or has changed.
    template <class Use>
    std::invoke_result_t<Use, const Texts&> withTexts(const std::string& path, const ColumnLayout& layout, Use use)
    {
        static const Texts unreadable;
        std::error_code ec;
        const fs::path file = fs::u8path(path);
        const auto size = fs::file_size(file, ec);
        if (ec) {
            return use(unreadable);
        }
        const auto modified = fs::last_write_time(file, ec);
        if (ec) {
            return use(unreadable);
        }
        const std::size_t shape = layout.exifCount() * 1000 + layout.iptcCount();
        {
            std::lock_guard<std::mutex> lock(mutex_);
            const auto found = index_.find(path);
            if (found != index_.end()) {
                Entry& e = *found->second;
                if (e.size == size && e.modified == modified && e.shape == shape) {
                    entries_.splice(entries_.begin(), entries_, found->second);
                    return use(e.texts);
                }
                entries_.erase(found->second);
                index_.erase(found);
            }
        }
        Entry entry{path, size, modified, shape, compute(path, layout)};
        std::lock_guard<std::mutex> lock(mutex_);
        if (index_.count(path) == 0) {
            entries_.push_front(entry);
            index_[path] = entries_.begin();
            if (entries_.size() > Capacity) {
                index_.erase(entries_.back().path);
                entries_.pop_back();
            }
        }
        return use(entry.texts);
    }

public:
    // One column's answer (an empty list of answers stands for an unreadable file).
    std::optional<std::string> text(const std::string& path, const ColumnLayout& layout, std::size_t index)
    {
        return withTexts(path, layout, [index](const std::vector<std::optional<std::string>>& texts) {
            return index < texts.size() ? texts[index] : std::nullopt;
        });
    }

    std::vector<std::optional<std::string>> texts(const std::string& path, const ColumnLayout& layout)
    {
        return withTexts(path, layout, [](const std::vector<std::optional<std::string>>& texts) { return texts; });
    }

    void clear()
    {
        std::lock_guard<std::mutex> lock(mutex_);
        entries_.clear();
        index_.clear();
    }

private:
    struct Entry {
        std::string path;
        std::uintmax_t size;
        fs::file_time_type modified;
        std::size_t shape;
        std::vector<std::optional<std::string>> texts;
    };

    static std::vector<std::optional<std::string>> compute(const std::string& path, const ColumnLayout& layout)
    {
        try {
            Metadata::ImageStreamT stream;
            const auto image = Metadata::openImage(path, stream);
            std::vector<std::optional<std::string>> texts(layout.count());
            for (std::size_t i = 0; i < texts.size(); ++i) {
                texts[i] = columnText(*image, layout, i);
            }
            return texts;
        } catch (const std::exception&) {
            return {}; // unreadable: every cell empty
        }
    }

    std::mutex mutex_;
    std::list<Entry> entries_;
    std::unordered_map<std::string, std::list<Entry>::iterator> index_;
};

ColumnCache& cache()
{
    static ColumnCache c;
    return c;
}

} // namespace

std::vector<std::optional<std::string>> columnTexts(const std::string& path, const ColumnLayout& layout)
{
    if (!servedExtension(path) || layout.count() == 0) {
        return {};
    }
    return cache().texts(path, layout);
}

std::optional<std::string> itemText(const std::string& path, const ColumnLayout& layout, std::size_t index)
{
    if (index >= layout.count()) {
        return std::nullopt;
    }
    if (!servedExtension(path)) {
        return std::nullopt;
    }
    return cache().text(path, layout, index);
}

void clearColumnCache()
{
    cache().clear();
}

// ---- Info tip --------------------------------------------------------------------------------

std::optional<std::string> infoTipText(const Metadata::ImageMetadata& image, bool iptcTip, bool exifTip)
{
    std::ostringstream out;
    bool endsWithIptc = false;
    if (iptcTip) {
        bool wrote = false;
        for (std::uint8_t dataSet : {std::uint8_t{5}, std::uint8_t{80}, std::uint8_t{120}}) {
            const std::string text = image.iptc().joined(dataSet);
            if (!text.empty()) {
                out << text << '\n';
                wrote = true;
            }
        }
        if (wrote) {
            out << '\n';
            endsWithIptc = true;
        }
    }
    const Metadata::EXIF& exif = image.exif();
    if (exifTip && !exif.empty()) {
        auto value = [&exif](std::uint16_t tag, std::string& text) {
            const Metadata::Field* field = exif.find(DirectoryId::Exif, tag);
            return field != nullptr && field->displayText(text, exif.displayContext());
        };
        std::string line;
        std::string date;
        const std::uint16_t dateTag = exif.find(DirectoryId::Exif, 0x9003) != nullptr ? 0x9003 : 0x9004;
        if (value(dateTag, date)) {
            line = date;
        }
        std::string width;
        std::string height;
        if (value(0xA002, width) && value(0xA003, height)) {
            line += (line.empty() ? "" : ", ") + width + " x " + height;
        }
        if (!line.empty()) {
            out << line << '\n';
            endsWithIptc = false;
        }
        // The tab counts differ from line to line; they are kept as they have always been.
        const std::pair<std::uint16_t, const char*> exposure[] = {
            {0x829A, ":\t\t"}, {0x829D, ":\t\t"}, {0x8827, ":\t"},   {0x9201, ":\t\t"},
            {0x9204, ":\t\t"}, {0x9209, ":\t\t\t"}, {0x920A, ":\t"},
        };
        for (const auto& [tag, separator] : exposure) {
            std::string text;
            const Metadata::Field* field = exif.find(DirectoryId::Exif, tag);
            std::string description;
            if (field != nullptr && field->displayText(text, exif.displayContext()) &&
                field->description(description, exif.displayContext())) {
                out << description << separator << text << '\n';
                endsWithIptc = false;
            }
        }
    }
    std::string text = out.str();
    if (text.empty()) {
        return std::nullopt;
    }
    text.resize(text.size() - std::min<std::size_t>(text.size(), endsWithIptc ? 2 : 1));
    return text;
}

std::optional<std::string> infoTipForFile(const std::string& path)
{
    const UI::Settings settings;
    const bool iptcTip = settings.getEnableIptcInfoTip();
    const bool exifTip = settings.getEnableExifInfoTip();
    if (!iptcTip && !exifTip) {
        return std::nullopt;
    }
    try {
        Metadata::ImageStreamT stream;
        const auto image = Metadata::openImage(path, stream);
        return infoTipText(*image, iptcTip, exifTip);
    } catch (const std::exception&) {
        return std::nullopt;
    }
}

// ---- Icon overlays ---------------------------------------------------------------------------

const std::vector<OverlayInfo>& overlays()
{
    static const std::vector<OverlayInfo> table = {
        {XmpIptc, "Lumeno XMP & IPTC", 10},       {Exif, "Lumeno EXIF", 9},
        {Iptc, "Lumeno IPTC", 8},                 {Xmp, "Lumeno XMP", 11},
        {ExifXmpIptc, "Lumeno EXIF & XMP & IPTC", 14}, {ExifIptc, "Lumeno EXIF & IPTC", 12},
        {ExifXmp, "Lumeno EXIF & XMP", 13},
    };
    return table;
}

const OverlayInfo* overlayFor(OverlayKind kind)
{
    for (const OverlayInfo& o : overlays()) {
        if (o.kind == kind) {
            return &o;
        }
    }
    return nullptr;
}

bool overlaysEnabled()
{
    return UI::Settings().getEnableIconOverlays();
}

OverlayKind overlayKind(const Metadata::ImageMetadata& image)
{
    // A JPEG carries EXIF when its EXIF block has any field. A TIFF's first directory is its
    // image directory, with fields in every file: there EXIF means an EXIF directory.
    bool exif = false;
    if (std::string(image.formatName()) == "TIFF") {
        const Metadata::IFD* d = image.exif().directory(DirectoryId::Exif);
        exif = d != nullptr && !d->empty();
    } else {
        for (const Metadata::IFD* d : image.exif().directories()) {
            exif = exif || !d->empty();
        }
    }
    const bool iptc = !image.iptc().empty();
    const bool xmp = image.xmp() != nullptr && !image.xmp()->empty();
    const int bits = (exif ? 4 : 0) | (iptc ? 2 : 0) | (xmp ? 1 : 0);
    constexpr OverlayKind byBits[8] = {NoOverlay, Xmp, Iptc, XmpIptc, Exif, ExifXmp, ExifIptc, ExifXmpIptc};
    return byBits[bits];
}

OverlayKind overlayKindOfFile(const std::string& path)
{
    if (!servedExtension(path)) {
        return NoOverlay;
    }
    try {
        Metadata::ImageStreamT stream;
        return overlayKind(*Metadata::openImage(path, stream));
    } catch (const std::exception&) {
        return NoOverlay;
    }
}

namespace {

struct Decision {
    OverlayKind kind = NotComputed;
    int asks = 0;
};

std::mutex g_decisionsMutex;
std::map<std::string, std::shared_ptr<Decision>>& decisions()
{
    static std::map<std::string, std::shared_ptr<Decision>> records;
    return records;
}

} // namespace

IconOverlay::Answer IconOverlay::isMemberOf(const std::string& path, OverlayKind kind)
{
    if (!servedExtension(path)) {
        return Answer::No;
    }
    std::shared_ptr<Decision> record;
    try {
        std::lock_guard<std::mutex> lock(g_decisionsMutex);
        auto& slot = decisions()[path];
        if (!slot) {
            slot = std::make_shared<Decision>();
        }
        record = slot;
        ++record->asks;
    } catch (const std::bad_alloc&) {
        return Answer::Failed;
    }
    // The file is read outside the lock; two identifiers asking at once may both read it.
    OverlayKind computed = NotComputed;
    {
        std::lock_guard<std::mutex> lock(g_decisionsMutex);
        computed = record->kind;
    }
    if (computed == NotComputed) {
        computed = overlayKindOfFile(path);
    }
    std::lock_guard<std::mutex> lock(g_decisionsMutex);
    if (record->kind == NotComputed) {
        record->kind = computed;
    }
    const auto forget = [&] {
        const auto found = decisions().find(path);
        if (found != decisions().end() && found->second == record) {
            decisions().erase(found);
        }
    };
    if (record->asks >= 7) {
        forget(); // every identifier has asked
    }
    if (record->kind != kind) {
        return Answer::No;
    }
    forget(); // claimed
    return Answer::Yes;
}

std::size_t IconOverlay::pendingRecords()
{
    std::lock_guard<std::mutex> lock(g_decisionsMutex);
    return decisions().size();
}

} // namespace Lumeno::Shell
