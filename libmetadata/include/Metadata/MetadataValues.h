// One reconciled view of a photo's principal properties, read from its EXIF (with the maker's
// note), IPTC and XMP the way the Metadata Working Group's guidelines reconcile them: IPTC and
// XMP are kept in step, so XMP is taken unless the IPTC digest says the IPTC record changed after
// the XMP was last brought in line with it (an editor that knows no XMP), in which case IPTC is;
// EXIF is taken for the camera's own data, and for texts when neither IPTC nor XMP has them.
#pragma once

#include <string>
#include <utility>
#include <vector>

namespace Metadata {

class ImageMetadata;

class MetadataValues {
public:
    struct Value {
        std::string text;    // as people read it: "1/60", "53.382847, -1.456678", "Fired"
        std::string source;  // where it came from: "XMP dc:title", "IPTC Caption", "EXIF FNumber"
    };

    // Whether the IPTC record and the XMP packet are in step, after the IPTC digest.
    enum class Digest {
        None,     // no digest: XMP is taken where it has a value
        Current,  // the digest is that of the record: XMP is taken
        Stale,    // the record changed since: IPTC is taken
    };

    explicit MetadataValues(const ImageMetadata& image);

    // The properties the file has, in this order: Title, Description, Creator, Copyright,
    // Keywords, Rating, Label, DateTaken, DateDigitized, Modified, Make, Model, SerialNumber,
    // Lens, ExposureTime, FNumber, ISO, ExposureBias, FocalLength, FocalLength35mm, Flash,
    // Orientation, ImageSize, GPSPosition, GPSAltitude, Sublocation, City, State, Country,
    // CountryCode, Software.
    const std::vector<std::pair<std::string, Value>>& values() const noexcept { return values_; }
    // The value of a property; null when the file has none.
    const Value* find(const std::string& name) const noexcept;
    // The keywords, each once, in the order of their source.
    const std::vector<std::string>& keywords() const noexcept { return keywords_; }
    Digest digest() const noexcept { return digest_; }

    // Dates in the one form every date here takes, EXIF's ("2004:02:26 06:27:51-05:00"):
    // from XMP's ("2004-02-26T06:27:51-05:00"), IPTC's date ("20040226") and IPTC's time
    // ("062751-0500", giving "06:27:51-05:00"). A text of another shape is given back as it is.
    static std::string fromXmpDate(std::string date);
    static std::string fromIptcDate(const std::string& date);
    static std::string fromIptcTime(const std::string& time);

private:
    void add(const char* name, std::string text, std::string source);

    std::vector<std::pair<std::string, Value>> values_;
    std::vector<std::string> keywords_;
    Digest digest_ = Digest::None;
};

} // namespace Metadata
