#include "Metadata/TagTable.h"

#include "Metadata/Exceptions.h"
#include "Metadata/Field.h"
#include "Metadata/IFD.h"
#include "FormatterSupport.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <memory>
#include <mutex>
#include <unordered_map>

namespace Metadata {

using namespace FormatterSupport;

namespace {

constexpr EnumName CompressionNames[] = {{1, "uncompressed"}, {2, "CCITT 1D"}, {3, "Group 3 FAX"}, {4, "Group 4 Fax"},
                                         {5, "LZW"},          {6, "JPEG"},     {32773, "PackBits"}};
constexpr EnumName PhotometricNames[] = {{0, "White Is Zero"}, {1, "Black Is Zero"},     {2, "RGB"},
                                         {3, "RGB Palette"},   {4, "Transparency Mask"}, {5, "CMYK"},
                                         {6, "YCbCr"},         {8, "CIELab"}};
constexpr EnumName OrientationNames[] = {{1, "Top, Left"},    {2, "Top, Right"},  {3, "Bottom, Right"},
                                         {4, "Bottom, Left"}, {5, "Left, Top"},   {6, "Right, Top"},
                                         {7, "Right, Bottom"}, {8, "Left, Bottom"}};
constexpr EnumName PlanarNames[] = {{1, "Chunky"}, {2, "Planar"}};
constexpr EnumName PositioningNames[] = {{1, "centered"}, {2, "co-sited"}};
constexpr EnumName ColorSpaceNames[] = {{1, "sRGB"}, {65535, "Uncalibrated"}};
constexpr EnumName ExposureProgramNames[] = {
    {0, "Not defined"},
    {1, "Manual"},
    {2, "Normal program"},
    {3, "Aperture priority"},
    {4, "Shutter priority"},
    {5, "Creative program (biased toward depth of field)"},
    {6, "Action program (biased toward fast shutter speed)"},
    {7, "Portrait mode (for closeup photos with the background out of focus)"},
    {8, "Landscape mode (for landscape photos with the background in focus)"}};
constexpr EnumName MeteringModeNames[] = {{0, "unknown"}, {1, "Average"},   {2, "CenterWeightedAverage"},
                                          {3, "Spot"},    {4, "MultiSpot"}, {5, "Pattern"},
                                          {6, "Partial"}};
// "D75 " keeps the trailing blank it has always been shown with.
constexpr EnumName LightSourceNames[] = {{0, "unknown"},          {1, "Daylight"},         {2, "Fluorescent"},
                                         {3, "Tungsten"},         {17, "Standard light A"}, {18, "Standard light B"},
                                         {19, "Standard light C"}, {20, "D55"},            {21, "D65"},
                                         {22, "D75 "}};
// Only "fired" and "did not fire": the other EXIF flash codes (return detection, red-eye modes)
// show "...", deliberately.
constexpr EnumName FlashNames[] = {{0, "No"}, {1, "Yes"}};
constexpr EnumName SensingMethodNames[] = {{1, "Not defined"},
                                           {2, "One-chip color area sensor"},
                                           {3, "Two-chip color area sensor"},
                                           {4, "Three-chip color area sensor"},
                                           {5, "Color sequential area sensor"},
                                           {7, "Trilinear sensor"},
                                           {8, "Color sequential linear sensor"}};

} // namespace

namespace Formatters {

bool silent(ValueText&, const Field&, const DisplayContext&)
{
    return true; // the tags so marked deliberately produce no line
}

bool text(ValueText& out, const Field& field, const DisplayContext&)
{
    // Another type is no text: answered before the getter would throw, which costs far more
    // than the line (makers' notes use the same tag numbers for values of other types).
    std::string value;
    return formatValue([&] { return field.type() == static_cast<std::uint16_t>(FieldType::Ascii) && field.getText(value); },
                       [&] { out << value; });
}

bool number(ValueText& out, const Field& field, const DisplayContext&)
{
    std::uint32_t v = 0;
    return formatValue([&] { return field.getUInt32(v); }, [&] { out << v; });
}

bool pixels(ValueText& out, const Field& field, const DisplayContext&)
{
    std::uint32_t v = 0;
    return formatValue([&] { return field.getUInt32(v); }, [&] { out << v << " pixels"; });
}

bool list(ValueText& out, const Field& field, const DisplayContext&)
{
    const ValueList<std::uint32_t>* values = nullptr;
    return formatValue(
        [&] {
            values = &field.unsignedValues();
            return true;
        },
        [&] {
            out << '(';
            for (std::size_t i = 0; i < values->size(); ++i) {
                out << (i > 0 ? "," : "") << (*values)[i];
            }
            out << ')';
        });
}

bool firstNumber(ValueText& out, const Field& field, const DisplayContext&)
{
    std::uint32_t v = 0;
    return formatValue([&] { return field.getUInt32(v, 0); }, [&] { out << v; });
}

bool version(ValueText& out, const Field& field, const DisplayContext&)
{
    std::vector<std::uint8_t> bytes;
    return formatValue([&] { return field.getBytes(bytes); },
                      [&] {
                          for (std::uint8_t b : bytes) {
                              out << (b >= 32 && b <= 126 ? static_cast<char>(b) : ' ');
                          }
                      });
}

bool components(ValueText& out, const Field& field, const DisplayContext&)
{
    std::vector<std::uint8_t> bytes;
    return formatValue([&] { return field.getBytes(bytes); },
                      [&] {
                          static const std::vector<std::uint8_t> Rgb{4, 5, 6, 0};
                          static const std::vector<std::uint8_t> YCbCr{1, 2, 3, 0};
                          out << (bytes == Rgb ? "RGB" : bytes == YCbCr ? "YCbCr" : "...");
                      });
}

bool ellipsis(ValueText& out, const Field&, const DisplayContext&)
{
    return formatValue([] { return true; }, [&] { out << "..."; });
}

bool unit(ValueText& out, const Field& field, const DisplayContext&)
{
    std::uint32_t v = 0;
    return formatValue([&] { return field.getUInt32(v); },
                      [&] { out << DisplayContext::unitText(v); });
}

bool resolution(ValueText& out, const Field& field, const DisplayContext& context)
{
    // The unit of the tree's primary directory, for the thumbnail's resolutions too.
    return formatURational(field, [&](const URational& r) {
        out << quotient(r) << " pixels/" << context.resolutionUnitText();
    });
}

bool fraction(ValueText& out, const Field& field, const DisplayContext&)
{
    return formatURational(field, [&](const URational& r) {
        if (r.numerator == 0) {
            out << '0';
        } else if (r.denominator == 1) {
            out << r.numerator;
        } else {
            out << r.numerator << '/' << r.denominator;
        }
    });
}

bool ratio(ValueText& out, const Field& field, const DisplayContext&)
{
    return formatURational(field, [&](const URational& r) { out << quotient(r); });
}

bool exposureTime(ValueText& out, const Field& field, const DisplayContext&)
{
    return formatURational(field, [&](const URational& r) {
        out << r.numerator << '/' << r.denominator << " second(s)";
    });
}

bool shutter(ValueText& out, const Field& field, const DisplayContext&)
{
    // APEX time value (EXIF 2.2 annex C): the exposure time is 1 / 2^v seconds.
    return formatSRational(field, [&](const SRational& r) {
        out << roundTo(1.0 / std::pow(2.0, quotient(r)), 4) << " second(s)";
    });
}

bool aperture(ValueText& out, const Field& field, const DisplayContext&)
{
    // APEX aperture value: the F number is sqrt(2)^v.
    return formatURational(field, [&](const URational& r) {
        out << 'F' << roundTo(std::pow(std::sqrt(2.0), quotient(r)), 2);
    });
}

bool ev(ValueText& out, const Field& field, const DisplayContext&)
{
    return formatSRational(field, [&](const SRational& r) { out << roundTo(quotient(r), 2) << " EV"; });
}

bool distance(ValueText& out, const Field& field, const DisplayContext&)
{
    return formatURational(field, [&](const URational& r) { out << roundTo(quotient(r), 2) << " meters"; });
}

bool focalLength(ValueText& out, const Field& field, const DisplayContext&)
{
    return formatURational(field, [&](const URational& r) { out << roundTo(quotient(r), 1) << " mm"; });
}

bool fileSource(ValueText& out, const Field& field, const DisplayContext&)
{
    std::vector<std::uint8_t> bytes;
    return formatValue([&] { return field.getBytes(bytes); },
                      [&] { out << (!bytes.empty() && bytes[0] == 3 ? "DSC" : "..."); });
}

bool compression(ValueText& o, const Field& f, const DisplayContext&) { return formatEnum<CompressionNames>(o, f); }
bool photometric(ValueText& o, const Field& f, const DisplayContext&) { return formatEnum<PhotometricNames>(o, f); }
bool orientation(ValueText& o, const Field& f, const DisplayContext&) { return formatEnum<OrientationNames>(o, f); }
bool planar(ValueText& o, const Field& f, const DisplayContext&) { return formatEnum<PlanarNames>(o, f); }
bool positioning(ValueText& o, const Field& f, const DisplayContext&) { return formatEnum<PositioningNames>(o, f); }
bool colorSpace(ValueText& o, const Field& f, const DisplayContext&) { return formatEnum<ColorSpaceNames>(o, f); }
bool exposureProgram(ValueText& o, const Field& f, const DisplayContext&) { return formatEnum<ExposureProgramNames>(o, f); }
bool meteringMode(ValueText& o, const Field& f, const DisplayContext&) { return formatEnum<MeteringModeNames>(o, f); }
bool lightSource(ValueText& o, const Field& f, const DisplayContext&) { return formatEnum<LightSourceNames>(o, f); }
bool flash(ValueText& o, const Field& f, const DisplayContext&) { return formatEnum<FlashNames>(o, f); }
bool sensingMethod(ValueText& o, const Field& f, const DisplayContext&) { return formatEnum<SensingMethodNames>(o, f); }

bool values(ValueText& out, const Field& field, const DisplayContext& context)
{
    // A maker's code is shown as what it means.
    if (MakerValue meant; context.makerValue(field, meant) && meant.kind != MakerValue::Kind::Offset) {
        if (meant.kind == MakerValue::Kind::Text) {
            out << meant.text;
        } else {
            out << meant.number;
        }
        return true;
    }
    // At most this many values of a long list; the rest is counted.
    constexpr std::size_t Shown = 16;
    return formatValue(
        [&] {
            // FLOAT and DOUBLE fields hold no values; their generic form says so.
            const auto type = static_cast<FieldType>(field.type());
            return !field.damaged() && field.count() > 0 && typeSize(field.type()) != 0 && type != FieldType::Float &&
                   type != FieldType::Double;
        },
        [&] {
            std::size_t n = 0;
            auto separate = [&] { return n++ > 0 ? " " : ""; };
            switch (static_cast<FieldType>(field.type())) {
            case FieldType::Ascii: {
                std::string text;
                field.getText(text);
                out << text;
                return;
            }
            case FieldType::Byte:
            case FieldType::Short:
            case FieldType::Long:
                for (std::uint32_t v : field.unsignedValues()) {
                    if (n == Shown) break;
                    out << separate() << v;
                }
                break;
            case FieldType::SByte:
            case FieldType::SShort:
            case FieldType::SLong:
                for (std::int32_t v : field.signedValues()) {
                    if (n == Shown) break;
                    out << separate() << v;
                }
                break;
            case FieldType::Undefined:
                for (std::uint8_t v : field.rawBytes()) {
                    if (n == Shown) break;
                    out << separate() << std::uint32_t{v};
                }
                break;
            case FieldType::Rational:
                for (const URational& r : field.unsignedRationals()) {
                    if (n == Shown) break;
                    out << separate() << (r.denominator == 0 ? 0.0 : quotient(r));
                }
                break;
            case FieldType::SRational:
                for (const SRational& r : field.signedRationals()) {
                    if (n == Shown) break;
                    out << separate() << (r.denominator == 0 ? 0.0 : quotient(r));
                }
                break;
            default:
                break;
            }
            if (field.count() > Shown) {
                out << " ... (" << field.count() << " values)";
            }
        });
}

bool masked(ValueText& out, const Field& field, const DisplayContext& context)
{
    MakerValue meant; // the bits, as the maker means them
    return formatValue([&] { return context.makerValue(field, meant) && meant.kind == MakerValue::Kind::Number; },
                       [&] { out << meant.number; });
}

bool binary(ValueText& out, const Field& field, const DisplayContext&)
{
    // Bytes are counted as stored; numbers as the text of all of them (what a copy of the
    // shown values would take).
    std::uint64_t size = std::uint64_t{typeSize(field.type())} * field.count();
    const auto type = static_cast<FieldType>(field.type());
    if (!field.damaged() && (type == FieldType::Short || type == FieldType::Long)) {
        size = 0;
        for (std::uint32_t v : field.unsignedValues()) {
            size += (size > 0 ? 1 : 0) + std::to_string(v).size();
        }
    }
    return formatValue([&] { return !field.damaged(); },
                       [&] { out << "(Binary data " << size << " bytes, use -b option to extract)"; });
}

} // namespace Formatters

bool maskedValue(const Field& field, std::uint32_t mask, std::uint32_t& value)
{
    std::uint32_t v = 0;
    const auto type = static_cast<FieldType>(field.type());
    if (mask == 0 || field.damaged() || field.count() != 1 ||
        (type != FieldType::Byte && type != FieldType::Short && type != FieldType::Long) || !field.getUInt32(v)) {
        return false;
    }
    v &= mask;
    while ((mask & 1) == 0) {
        mask >>= 1;
        v >>= 1;
    }
    value = v;
    return true;
}

namespace {

using namespace Formatters;

constexpr TagRow row(std::uint16_t tag, std::uint16_t type, const char* name, const char* description,
                     std::uint32_t count, Formatter formatter)
{
    return TagRow{(std::uint32_t{type} << 16) | tag, 0, description, name, count, formatter};
}

constexpr TagRow EndRow{0, 0, nullptr, nullptr, 0, nullptr};

// IFD0 and IFD1 (TIFF 6.0 baseline tags and the EXIF additions to them).
constexpr TagRow PrimaryTable[PrimaryTagCount + 1] = {
    row(256, 4, "ImageWidth", "Image width", 1, silent),
    row(257, 4, "ImageLength", "Image height", 1, silent),
    row(258, 3, "BitsPerSample", "Number of bits per component", 3, list),
    row(259, 3, "Compression", "Compression scheme", 1, compression),
    row(262, 3, "PhotometricInterpretation", "Pixel composition", 1, photometric),
    row(274, 3, "Orientation", "Orientation of image", 1, orientation),
    row(277, 3, "SamplesPerPixel", "Number of components", 1, number),
    row(284, 3, "PlanarConfiguration", "Image data arrangement", 1, planar),
    row(530, 3, "YCbCrSubSampling", "Subsampling ratio of Y to C", 2, silent),
    row(531, 3, "YCbCrPositioning", "Y and C positioning", 1, positioning),
    row(282, 5, "XResolution", "Image resolution in width direction", 1, resolution),
    row(283, 5, "YResolution", "Image resolution in height direction", 1, resolution),
    row(296, 3, "ResolutionUnit", "Unit of X and Y resolution", 1, unit),
    row(273, 4, "StripOffsets", "Image data location", CountPerStrip, silent),
    row(278, 4, "RowsPerStrip", "Number of rows per strip", 1, silent),
    row(279, 4, "StripByteCounts", "Bytes per compressed strip", CountPerStrip, silent),
    row(513, 4, "JPEGInterchangeFormat", "Offset to JPEG SOI", 1, silent),
    row(514, 4, "JPEGInterchangeFormatLength", "Bytes of JPEG data", 1, silent),
    row(301, 3, "TransferFunction", "Transfer function", 768, silent),
    row(318, 5, "WhitePoint", "White point chromaticity", 2, silent),
    row(319, 5, "PrimaryChromaticities", "Chromaticities of primaries", 6, silent),
    row(529, 5, "YCbCrCoefficients", "Color space transformation matrix coefficients", 3, silent),
    row(532, 5, "ReferenceBlackWhite", "Pair of black and white reference values", 6, silent),
    row(306, 2, "DateTime", "File change date and time", 20, text),
    row(270, 2, "ImageDescription", "Image title", AnyCount, text),
    row(271, 2, "Make", "Image input equipment manufacturer", AnyCount, text),
    row(272, 2, "Model", "Image input equipment model", AnyCount, text),
    row(305, 2, "Software", "Software used", AnyCount, text),
    row(315, 2, "Artist", "Person who created the image", AnyCount, silent),
    row(33432, 2, "Copyright", "Copyright holder", AnyCount, silent),
    EndRow,
};

// The EXIF and interoperability directories (EXIF 2.2 section 4.6.5 and 4.6.6).
constexpr TagRow ExifTable[ExifTagCount + 1] = {
    row(1, 2, "InteroperabilityIdentification", "Interoperability Index", 4, text),
    row(36864, 7, "ExifVersion", "Exif version", 4, version),
    row(40960, 7, "FlashPixVersion", "Supported FlashPix version", 4, version),
    row(40961, 3, "ColorSpace", "Color space information", 1, colorSpace),
    row(37121, 7, "ComponentsConfiguration", "Meaning of each component", 4, components),
    row(37122, 5, "CompressedBitsPerPixel", "Image compression mode", 1, ratio),
    row(40962, 4, "PixelXDimension", "Valid image width", 1, pixels),
    row(40963, 4, "PixelYDimension", "Valid image height", 1, pixels),
    row(37500, 7, "MakerNote", "Manufacturer notes", AnyCount, ellipsis),
    row(37510, 7, "UserComment", "User comments", AnyCount, ellipsis),
    row(40964, 2, "RelatedSoundFile", "Related audio file", 13, text),
    row(36867, 2, "DateTimeOriginal", "Date and time of original data generation", 20, text),
    row(36868, 2, "DateTimeDigitized", "Date and time of digital data generation", 20, text),
    row(37520, 2, "SubSecTime", "DateTime subseconds", AnyCount, text),
    row(37521, 2, "SubSecTimeOriginal", "DateTimeOriginal subseconds", AnyCount, text),
    row(37522, 2, "SubSecTimeDigitized", "DateTimeDigitized subseconds", AnyCount, text),
    row(33434, 5, "ExposureTime", "Exposure time", 1, exposureTime),
    row(33437, 5, "FNumber", "F number", 1, fraction),
    row(34850, 3, "ExposureProgram", "Exposure program", 1, exposureProgram),
    row(34852, 2, "SpectralSensitivity", "Spectral sensitivity", AnyCount, silent),
    row(34855, 3, "ISOSpeedRatings", "ISO speed rating", AnyCount, firstNumber),
    row(34856, 7, "OECF", "Optoelectric conversion factor", AnyCount, silent),
    row(37377, 10, "ShutterSpeedValue", "Shutter speed", 1, shutter),
    row(37378, 5, "ApertureValue", "Aperture", 1, aperture),
    row(37379, 10, "BrightnessValue", "Brightness", 1, ev),
    row(37380, 10, "ExposureBiasValue", "Exposure bias", 1, ev),
    row(37381, 5, "MaxApertureValue", "Maximum lens aperture", 1, aperture),
    row(37382, 5, "SubjectDistance", "Subject distance", 1, distance),
    row(37383, 3, "MeteringMode", "Metering mode", 1, meteringMode),
    row(37384, 3, "LightSource", "Light source", 1, lightSource),
    row(37385, 3, "Flash", "Flash", 1, flash),
    row(37386, 5, "FocalLength", "Lens focal length", 1, focalLength),
    row(41483, 5, "FlashEnergy", "Flash energy", 1, silent),
    row(41484, 7, "SpatialFrequencyResponse", "Spatial frequency response", AnyCount, silent),
    row(41486, 5, "FocalPlaneXResolution", "Focal plane X resolution", 1, fraction),
    row(41487, 5, "FocalPlaneYResolution", "Focal plane Y resolution", 1, fraction),
    row(41488, 3, "FocalPlaneResolutionUnit", "Focal plane resolution unit", 1, unit),
    row(41492, 3, "SubjectLocation", "Subject location", 2, silent),
    row(41493, 5, "ExposureIndex", "Exposure index", 1, silent),
    row(41495, 3, "SensingMethod", "Sensing method", 1, sensingMethod),
    row(41728, 7, "FileSource", "File source", 1, fileSource),
    row(41729, 7, "SceneType", "Scene type", 1, silent),
    row(41730, 7, "CFAPattern", "CFA pattern", AnyCount, silent),
    // Named literally and never displayed: the pointer is structure, not a value.
    row(40965, 4, "IFD Interoperability IFD Pointer", "Pointer of Interoperability", 1, nullptr),
    EndRow,
};

} // namespace

const TagRow* primaryTagTable() noexcept
{
    return PrimaryTable;
}

const TagRow* exifTagTable() noexcept
{
    return ExifTable;
}

const TagRow& globalTagRow(std::size_t index)
{
    if (index < PrimaryTagCount) {
        return PrimaryTable[index];
    }
    if (index < GlobalTagCount) {
        return ExifTable[index - PrimaryTagCount];
    }
    METADATA_THROW(LogicError, "tag index out of range");
}

const TagRow* standardTagTable(std::uint32_t directoryId) noexcept
{
    switch (directoryId) {
    case 1:
    case 2:
        return PrimaryTable;
    case 34665:
    case 40965:
        return ExifTable;
    default:
        return nullptr;
    }
}

const TagRow* findTagRow(const DisplayContext& context, const Field& field, bool needFormatter) noexcept
{
    return context.row(field.directoryId(), field.tag(), field.type(), needFormatter);
}

const TagRow* findTagRow(const TagRow* table, std::uint16_t tag, bool needFormatter) noexcept
{
    if (table == nullptr) {
        return nullptr;
    }
    for (const TagRow* r = table; r->name != nullptr; ++r) {
        if (r->tag() == tag && (!needFormatter || r->formatter != nullptr)) {
            return r;
        }
    }
    return nullptr;
}

const DisplayContext& DisplayContext::standard() noexcept
{
    static const DisplayContext context;
    return context;
}

const char* DisplayContext::unitText(std::uint32_t unit) noexcept
{
    switch (unit) {
    case 2:
        return "inch";
    case 3:
        return "centimeter";
    default:
        return "?";
    }
}

DisplayContext DisplayContext::withLineEnds(bool on) const
{
    DisplayContext copy = *this;
    copy.lineEnds_ = on;
    return copy;
}

// A table's rows sorted by tag, each tag's rows in the table's order.
class TagIndex {
public:
    explicit TagIndex(const TagRow* table)
    {
        for (const TagRow* r = table; r->name != nullptr; ++r) {
            rows_.push_back(r);
        }
        std::stable_sort(rows_.begin(), rows_.end(), [](const TagRow* a, const TagRow* b) { return a->tag() < b->tag(); });
    }

    // The rows with this tag, in the table's order.
    std::pair<const TagRow* const*, const TagRow* const*> rows(std::uint16_t tag) const noexcept
    {
        const auto range = std::equal_range(rows_.begin(), rows_.end(), tag, Less{});
        return {rows_.data() + (range.first - rows_.begin()), rows_.data() + (range.second - rows_.begin())};
    }

    // Tables are static data: an index made for one serves every context, on every thread.
    static const TagIndex* of(const TagRow* table)
    {
        static std::mutex lock;
        static std::unordered_map<const TagRow*, std::unique_ptr<const TagIndex>> made;
        const std::lock_guard<std::mutex> hold(lock);
        auto& index = made[table];
        if (!index) {
            index = std::make_unique<const TagIndex>(table);
        }
        return index.get();
    }

private:
    struct Less {
        bool operator()(const TagRow* r, std::uint16_t tag) const noexcept { return r->tag() < tag; }
        bool operator()(std::uint16_t tag, const TagRow* r) const noexcept { return tag < r->tag(); }
    };
    std::vector<const TagRow*> rows_;
};

const TagRow* DisplayContext::table(std::uint32_t directoryId) const noexcept
{
    if (const TagRow* standard = standardTagTable(directoryId)) {
        return standard;
    }
    for (const Table& t : tables_) {
        if (t.id == directoryId) {
            return t.rows;
        }
    }
    return nullptr;
}

const TagRow* DisplayContext::row(std::uint32_t directoryId, std::uint16_t tag, std::uint16_t type,
                                  bool needFormatter) const noexcept
{
    if (const TagRow* standard = standardTagTable(directoryId)) {
        return findTagRow(standard, tag, needFormatter);
    }
    const auto found = std::find_if(tables_.begin(), tables_.end(), [&](const Table& t) { return t.id == directoryId; });
    if (found == tables_.end()) {
        return nullptr;
    }
    const auto [begin, end] = found->index->rows(tag);
    const TagRow* first = nullptr;
    for (auto r = begin; r != end; ++r) {
        if (needFormatter && (*r)->formatter == nullptr) {
            continue;
        }
        if (((*r)->type() & 0x7FFF) == type) {
            return first != nullptr && directoryId != DirectoryId::MakerNote && directoryId <= 0xFFFF ? first : *r;
        }
        if (first == nullptr) {
            first = *r;
        }
    }
    return first;
}

void DisplayContext::setTable(std::uint32_t directoryId, const TagRow* table)
{
    const auto found = std::find_if(tables_.begin(), tables_.end(), [&](const Table& t) { return t.id == directoryId; });
    if (found != tables_.end()) {
        tables_.erase(found);
    }
    if (table != nullptr) {
        tables_.push_back(Table{directoryId, table, TagIndex::of(table)});
    }
}

void DisplayContext::addDirectory(std::shared_ptr<const IFD> directory)
{
    if (directory) {
        directories_.push_back(std::move(directory));
    }
}

const Field* DisplayContext::field(std::uint32_t directoryId, std::uint16_t tag) const noexcept
{
    for (const auto& d : directories_) {
        if (d->id() == directoryId) {
            return d->find(tag);
        }
    }
    return nullptr;
}

ValueText& ValueText::operator<<(double v)
{
    // What a stream writes with its default settings: six significant digits, "%g".
    char buffer[32];
    const int n = std::snprintf(buffer, sizeof buffer, "%g", v);
    if (n > 0) {
        text_.append(buffer, static_cast<std::size_t>(std::min(n, static_cast<int>(sizeof buffer) - 1)));
    }
    return *this;
}

ValueText& ValueText::appendUnsigned(std::uint64_t v)
{
    char buffer[24];
    const auto result = std::to_chars(buffer, buffer + sizeof buffer, v);
    text_.append(buffer, result.ptr);
    return *this;
}

ValueText& ValueText::appendSigned(std::int64_t v)
{
    char buffer[24];
    const auto result = std::to_chars(buffer, buffer + sizeof buffer, v);
    text_.append(buffer, result.ptr);
    return *this;
}

double roundTo(double value, int decimals) noexcept
{
    if (value == 0) {
        return value;
    }
    const double half = 5.0 / std::pow(10.0, decimals + 1);
    const double scale = std::pow(10.0, decimals);
    return value > 0 ? std::floor((value + half) * scale) / scale : std::floor((value - half) * scale) / scale;
}

} // namespace Metadata
