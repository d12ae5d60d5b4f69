#include "Metadata/MetadataValues.h"

#include "Metadata/EXIF.h"
#include "Metadata/Exceptions.h"
#include "Metadata/IPTC.h"
#include "Metadata/ImageMetadata.h"
#include "Metadata/MD5.h"
#include "Metadata/TagTable.h"
#include "Metadata/XMP.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>

namespace Metadata {

namespace {

constexpr const char* NamespaceXMPBasic = "http://ns.adobe.com/xap/1.0/";
constexpr const char* NamespaceIptcCore = "http://iptc.org/std/Iptc4xmpCore/1.0/xmlns/";

bool blank(const std::string& text)
{
    return text.find_first_not_of(" \t\r\n") == std::string::npos;
}

std::string number(double value)
{
    char text[32];
    std::snprintf(text, sizeof text, "%g", value);
    return text;
}

// A text of a field, or empty when the field is missing or of another type.
std::string fieldText(const EXIF& exif, std::uint32_t directory, std::uint16_t tag)
{
    std::string text;
    try {
        if (exif.getText(directory, tag, text)) {
            while (!text.empty() && text.back() == ' ') {
                text.pop_back(); // writers pad fixed-size texts with blanks
            }
            return text;
        }
    } catch (const Error&) {
    }
    return {};
}

template <class T> bool fieldValue(const EXIF& exif, std::uint32_t directory, std::uint16_t tag, T& value)
{
    try {
        if constexpr (std::is_same_v<T, URational>) {
            return exif.getURational(directory, tag, value) && value.denominator != 0;
        } else if constexpr (std::is_same_v<T, SRational>) {
            return exif.getSRational(directory, tag, value) && value.denominator != 0;
        } else {
            return exif.getUInt32(directory, tag, value);
        }
    } catch (const Error&) {
        return false;
    }
}

// An EXIF date ("2024:05:06 07:08:09") with its fraction of a second and its offset from UTC
// when the file has them; empty for a date that names no moment.
std::string exifDate(const EXIF& exif, std::uint32_t directory, std::uint16_t dateTag, std::uint16_t subSecondTag,
                     std::uint16_t offsetTag)
{
    std::string date = fieldText(exif, directory, dateTag);
    if (date.size() < 19 || date.compare(0, 4, "0000") == 0 || date.find_first_not_of(" :0") == std::string::npos) {
        return {};
    }
    date.resize(19);
    const std::string fraction = fieldText(exif, DirectoryId::Exif, subSecondTag);
    if (!fraction.empty() && std::all_of(fraction.begin(), fraction.end(), [](char c) { return c >= '0' && c <= '9'; })) {
        date += '.' + fraction;
    }
    const std::string offset = fieldText(exif, DirectoryId::Exif, offsetTag);
    if (offset.size() == 6 && (offset[0] == '+' || offset[0] == '-') && offset[3] == ':') {
        date += offset;
    }
    return date;
}

// IPTC's date and time together, in the EXIF form; empty when there is no date of 8 digits.
std::string iptcDate(const IPTC& iptc, std::uint8_t dateSet, std::uint8_t timeSet)
{
    std::string date;
    std::string time;
    if (!iptc.get(dateSet, date) || date.size() != 8) {
        return {};
    }
    std::string text = MetadataValues::fromIptcDate(date);
    if (iptc.get(timeSet, time) && time.size() >= 6) {
        text += ' ' + MetadataValues::fromIptcTime(time);
    }
    return text;
}

// A field of the maker's note known by its name ("SerialNumber", "LensModel"), as shown.
std::string makerText(const EXIF& exif, const char* name)
{
    if (exif.makerNoteGroup().empty()) {
        return {};
    }
    std::vector<const IFD*> directories = exif.makerNoteDirectories();
    directories.insert(directories.begin(), exif.directory(DirectoryId::MakerNote));
    for (const IFD* d : directories) {
        for (const Field& f : *d) {
            std::string label;
            std::string text;
            if (f.name(label, exif.displayContext()) && label == name && f.displayText(text, exif.displayContext())) {
                while (!text.empty() && text.back() == ' ') {
                    text.pop_back();
                }
                if (!text.empty()) {
                    return text;
                }
            }
        }
    }
    return {};
}

MetadataValues::Digest digestOf(const ImageMetadata& image)
{
    const ImageResourceBlock* record = nullptr;
    const ImageResourceBlock* digest = nullptr;
    for (const ImageResourceBlock& block : image.resourceBlocks()) {
        if (block.totalSize == 0) {
            continue;
        }
        if (block.id == ImageMetadata::IPTCResourceId) {
            record = &block;
        } else if (block.id == ImageMetadata::IPTCDigestResourceId && block.dataSize == 16) {
            digest = &block;
        }
    }
    if (record == nullptr || digest == nullptr) {
        return MetadataValues::Digest::None;
    }
    const auto md5sum = md5(record->data, record->dataSize);
    return std::memcmp(md5sum.data(), digest->data, 16) == 0 ? MetadataValues::Digest::Current
                                                            : MetadataValues::Digest::Stale;
}

} // namespace

namespace {

bool digits(const std::string& text, std::size_t n)
{
    return text.size() >= n && std::all_of(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(n),
                                           [](char c) { return c >= '0' && c <= '9'; });
}

} // namespace

std::string MetadataValues::fromXmpDate(std::string date)
{
    if (date.size() >= 10 && date[4] == '-' && date[7] == '-') {
        date[4] = ':';
        date[7] = ':';
        if (date.size() > 10 && date[10] == 'T') {
            date[10] = ' ';
        }
    }
    return date;
}

std::string MetadataValues::fromIptcDate(const std::string& date)
{
    if (date.size() != 8 || !digits(date, 8)) {
        return date;
    }
    return date.substr(0, 4) + ':' + date.substr(4, 2) + ':' + date.substr(6, 2);
}

std::string MetadataValues::fromIptcTime(const std::string& time)
{
    if (!digits(time, 6)) {
        return time;
    }
    std::string text = time.substr(0, 2) + ':' + time.substr(2, 2) + ':' + time.substr(4, 2);
    if (time.size() == 11 && (time[6] == '+' || time[6] == '-')) {
        text += time.substr(6, 3) + ':' + time.substr(9, 2);
    }
    return text;
}

const MetadataValues::Value* MetadataValues::find(const std::string& name) const noexcept
{
    for (const auto& [key, value] : values_) {
        if (key == name) {
            return &value;
        }
    }
    return nullptr;
}

void MetadataValues::add(const char* name, std::string text, std::string source)
{
    if (!blank(text)) {
        values_.emplace_back(name, Value{std::move(text), std::move(source)});
    }
}

MetadataValues::MetadataValues(const ImageMetadata& image)
{
    const EXIF& exif = image.exif();
    const IPTC& iptc = image.iptc();
    const XMP* xmp = image.xmp() && image.xmp()->parsed() ? image.xmp().get() : nullptr;
    digest_ = digestOf(image);
    const bool iptcFirst = digest_ == Digest::Stale;

    // A property EXIF, IPTC and XMP may all hold: EXIF's when it has one (the camera or the
    // editor wrote it there first), else XMP's or IPTC's as the digest says.
    auto reconciled = [&](const char* name, const std::string& xmpText, const char* xmpName, std::uint8_t dataSet,
                          const char* exifName = nullptr, std::uint16_t exifTag = 0) {
        if (exifName != nullptr) {
            if (std::string text = fieldText(exif, DirectoryId::Primary, exifTag); !blank(text)) {
                add(name, std::move(text), std::string("EXIF ") + exifName);
                return;
            }
        }
        std::string iptcText = iptc.toUtf8(iptc.joined(dataSet));
        if (!blank(xmpText) && (!iptcFirst || blank(iptcText))) {
            add(name, xmpText, std::string("XMP ") + xmpName);
        } else if (!blank(iptcText)) {
            add(name, std::move(iptcText), std::string("IPTC ") + Record2DataSet::nameOf(dataSet));
        }
    };
    auto xmpText = [&](const char* ns, const char* path) { return xmp != nullptr ? xmp->getProperty(ns, path) : std::string(); };

    reconciled("Title", xmp ? xmp->title() : "", "dc:title", 5);
    reconciled("Description", xmp ? xmp->description() : "", "dc:description", 120, "ImageDescription", 270);
    reconciled("Creator", xmp ? xmp->creator() : "", "dc:creator", 80, "Artist", 315);
    reconciled("Copyright", xmp ? xmp->rights() : "", "dc:rights", 116, "Copyright", 33432);

    // Keywords: the reconciled source's list, each keyword once.
    const std::vector<std::string> xmpKeywords = xmp ? xmp->subject() : std::vector<std::string>();
    std::vector<std::string> iptcKeywords;
    for (const std::string& k : iptc.values(25)) {
        iptcKeywords.push_back(iptc.toUtf8(k));
    }
    const bool keywordsFromXmp = !xmpKeywords.empty() && (!iptcFirst || iptcKeywords.empty());
    for (const std::string& k : keywordsFromXmp ? xmpKeywords : iptcKeywords) {
        if (!k.empty() && std::find(keywords_.begin(), keywords_.end(), k) == keywords_.end()) {
            keywords_.push_back(k);
        }
    }
    if (!keywords_.empty()) {
        std::string text;
        for (const std::string& k : keywords_) {
            text += (text.empty() ? "" : IPTC::JoinSeparator) + k;
        }
        add("Keywords", text, keywordsFromXmp ? "XMP dc:subject" : "IPTC Keyword");
    }
    add("Rating", xmpText(NamespaceXMPBasic, "Rating"), "XMP xmp:Rating");
    add("Label", xmpText(NamespaceXMPBasic, "Label"), "XMP xmp:Label");

    // Dates: EXIF's, then XMP's, then IPTC's.
    auto date = [&](const char* name, std::string exifValue, const char* exifName, const char* ns, const char* xmpPath,
                    const char* xmpName, std::uint8_t iptcDateSet, std::uint8_t iptcTimeSet) {
        if (!exifValue.empty()) {
            add(name, std::move(exifValue), std::string("EXIF ") + exifName);
        } else if (const std::string x = fromXmpDate(xmpText(ns, xmpPath)); !x.empty()) {
            add(name, x, std::string("XMP ") + xmpName);
        } else if (iptcDateSet != 0) {
            add(name, iptcDate(iptc, iptcDateSet, iptcTimeSet), std::string("IPTC ") + Record2DataSet::nameOf(iptcDateSet));
        }
    };
    date("DateTaken", exifDate(exif, DirectoryId::Exif, 0x9003, 0x9291, 0x9011), "DateTimeOriginal",
         XMP::NamespacePhotoshop, "DateCreated", "photoshop:DateCreated", 55, 60);
    date("DateDigitized", exifDate(exif, DirectoryId::Exif, 0x9004, 0x9292, 0x9012), "DateTimeDigitized",
         NamespaceXMPBasic, "CreateDate", "xmp:CreateDate", 62, 63);
    date("Modified", exifDate(exif, DirectoryId::Primary, 0x0132, 0x9290, 0x9010), "DateTime", NamespaceXMPBasic,
         "ModifyDate", "xmp:ModifyDate", 0, 0);

    // The camera's own data: EXIF, then the maker's note.
    add("Make", fieldText(exif, DirectoryId::Primary, 271), "EXIF Make");
    add("Model", fieldText(exif, DirectoryId::Primary, 272), "EXIF Model");
    auto cameraText = [&](const char* name, std::uint16_t exifTag, const char* exifName,
                          std::initializer_list<const char*> makerNames) {
        if (std::string text = fieldText(exif, DirectoryId::Exif, exifTag); !text.empty()) {
            add(name, std::move(text), std::string("EXIF ") + exifName);
            return;
        }
        for (const char* makerName : makerNames) {
            if (std::string text = makerText(exif, makerName); !text.empty()) {
                add(name, std::move(text), exif.makerNoteGroup() + ' ' + makerName);
                return;
            }
        }
    };
    cameraText("SerialNumber", 0xA431, "BodySerialNumber", {"SerialNumber", "InternalSerialNumber"});
    cameraText("Lens", 0xA434, "LensModel", {"LensModel", "Lens"});

    URational r;
    SRational s;
    std::uint32_t u = 0;
    if (fieldValue(exif, DirectoryId::Exif, 33434, r) && r.numerator != 0) {
        const double seconds = static_cast<double>(r.numerator) / r.denominator;
        add("ExposureTime",
            seconds < 0.25 ? "1/" + number(std::round(r.denominator / static_cast<double>(r.numerator))) : number(roundTo(seconds, 1)),
            "EXIF ExposureTime");
    }
    // A zero F number, ISO or focal length is the camera's way of saying it does not know.
    if (fieldValue(exif, DirectoryId::Exif, 33437, r) && r.numerator != 0) {
        add("FNumber", number(roundTo(static_cast<double>(r.numerator) / r.denominator, 1)), "EXIF FNumber");
    }
    if (fieldValue(exif, DirectoryId::Exif, 34855, u) && u != 0) {
        add("ISO", std::to_string(u), "EXIF ISOSpeedRatings");
    }
    if (fieldValue(exif, DirectoryId::Exif, 37380, s)) {
        const double ev = roundTo(static_cast<double>(s.numerator) / static_cast<double>(s.denominator), 2);
        add("ExposureBias", (ev > 0 ? "+" : "") + number(ev), "EXIF ExposureBiasValue");
    }
    if (fieldValue(exif, DirectoryId::Exif, 37386, r) && r.numerator != 0) {
        add("FocalLength", number(roundTo(static_cast<double>(r.numerator) / r.denominator, 1)) + " mm",
            "EXIF FocalLength");
    }
    if (fieldValue(exif, DirectoryId::Exif, 41989, u) && u != 0) {
        add("FocalLength35mm", std::to_string(u) + " mm", "EXIF FocalLengthIn35mmFilm");
    }
    if (fieldValue(exif, DirectoryId::Exif, 37385, u)) {
        add("Flash", (u & 1) != 0 ? "Fired" : "Did not fire", "EXIF Flash");
    }
    if (const Field* f = exif.find(DirectoryId::Primary, 274)) {
        std::string text;
        if (f->displayText(text, exif.displayContext()) && text != "...") {
            add("Orientation", text, "EXIF Orientation");
        }
    }
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    if (fieldValue(exif, DirectoryId::Exif, 40962, width) && fieldValue(exif, DirectoryId::Exif, 40963, height)) {
        add("ImageSize", std::to_string(width) + " x " + std::to_string(height), "EXIF PixelXDimension");
    } else if (fieldValue(exif, DirectoryId::Primary, 256, width) && fieldValue(exif, DirectoryId::Primary, 257, height)) {
        add("ImageSize", std::to_string(width) + " x " + std::to_string(height), "EXIF ImageWidth");
    }
    double latitude = 0;
    double longitude = 0;
    if (exif.gpsPosition(latitude, longitude)) {
        char text[64];
        std::snprintf(text, sizeof text, "%.6f, %.6f", latitude, longitude);
        add("GPSPosition", text, "EXIF GPSLatitude");
    }
    if (const Field* f = exif.find(DirectoryId::Gps, 6)) {
        std::string text;
        if (f->displayText(text, exif.displayContext())) {
            add("GPSAltitude", text, "EXIF GPSAltitude");
        }
    }

    // Where: IPTC and XMP in step.
    reconciled("Sublocation", xmpText(NamespaceIptcCore, "Location"), "Iptc4xmpCore:Location", 92);
    reconciled("City", xmp ? xmp->city() : "", "photoshop:City", 90);
    reconciled("State", xmp ? xmp->state() : "", "photoshop:State", 95);
    reconciled("Country", xmp ? xmp->country() : "", "photoshop:Country", 101);
    reconciled("CountryCode", xmpText(NamespaceIptcCore, "CountryCode"), "Iptc4xmpCore:CountryCode", 100);

    if (std::string software = fieldText(exif, DirectoryId::Primary, 305); !software.empty()) {
        add("Software", std::move(software), "EXIF Software");
    } else {
        add("Software", xmpText(NamespaceXMPBasic, "CreatorTool"), "XMP xmp:CreatorTool");
    }
}

} // namespace Metadata
