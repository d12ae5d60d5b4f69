// The GPS directory's tags (EXIF 2.3 section 4.6.6) and the texts a person reads for them:
// positions in degrees, minutes and seconds with their hemisphere, altitude above or below the
// sea, speeds and distances in the unit their reference names.
#include "FormatterSupport.h"

#include "Metadata/Exceptions.h"
#include "Metadata/IFD.h"
#include "Metadata/TagTable.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace Metadata {

using namespace FormatterSupport;

namespace {

constexpr std::uint32_t Gps = DirectoryId::Gps;

// The one-letter reference that goes with `tag` (its tag number minus one, as the standard lays
// them out), or 0 when the tree has none.
char reference(const DisplayContext& context, std::uint16_t tag)
{
    const Field* field = context.field(Gps, static_cast<std::uint16_t>(tag - 1));
    std::string text;
    try {
        if (field != nullptr && field->getText(text) && !text.empty()) {
            return text[0];
        }
    } catch (const Error&) {
    }
    return 0;
}

} // namespace

bool gpsDegrees(const Field& field, double& value)
{
    URational d, m, s;
    if (!field.getURational(d, 0)) {
        return false;
    }
    value = quotient(d);
    if (field.getURational(m, 1)) {
        value += quotient(m) / 60;
    }
    if (field.getURational(s, 2)) {
        value += quotient(s) / 3600;
    }
    return true;
}

namespace {

// 54 deg 59' 22.80" N: seconds to two places, a carry into the minutes when they round to 60.
void writeDms(ValueText& out, double value, char hemisphere)
{
    long long hundredths = std::llround(value * 360000.0);
    const long long deg = hundredths / 360000;
    hundredths -= deg * 360000;
    const long long minutes = hundredths / 6000;
    hundredths -= minutes * 6000;
    char text[64];
    std::snprintf(text, sizeof text, "%lld deg %lld' %lld.%02lld\"", deg, minutes, hundredths / 100, hundredths % 100);
    out << text;
    if (hemisphere != 0) {
        out << ' ' << hemisphere;
    }
}

bool position(ValueText& out, const Field& field, const DisplayContext& context)
{
    double value = 0;
    return formatValue([&] { return gpsDegrees(field, value); },
                       [&] { writeDms(out, value, reference(context, field.tag())); });
}

bool version(ValueText& out, const Field& field, const DisplayContext&)
{
    const ValueList<std::uint32_t>* bytes = nullptr;
    return formatValue(
        [&] {
            bytes = &field.unsignedValues();
            return !bytes->empty();
        },
        [&] {
            for (std::size_t i = 0; i < bytes->size(); ++i) {
                out << (i > 0 ? "." : "") << (*bytes)[i];
            }
        });
}

// A one-letter reference, or a whole text, shown as words.
struct Letter {
    char letter;
    const char* text;
};

template <const auto& Names> bool letters(ValueText& out, const Field& field, const DisplayContext&)
{
    std::string text;
    return formatValue([&] { return field.getText(text); },
                       [&] {
                           for (const Letter& n : Names) {
                               if (text.size() == 1 && text[0] == n.letter) {
                                   out << n.text;
                                   return;
                               }
                           }
                           out << text;
                       });
}

constexpr Letter LatitudeNames[] = {{'N', "North"}, {'S', "South"}};
constexpr Letter LongitudeNames[] = {{'E', "East"}, {'W', "West"}};
constexpr Letter StatusNames[] = {{'A', "Measurement Active"}, {'V', "Measurement Void"}};
constexpr Letter MeasureModeNames[] = {{'2', "2-Dimensional Measurement"}, {'3', "3-Dimensional Measurement"}};
constexpr Letter SpeedUnitNames[] = {{'K', "km/h"}, {'M', "mph"}, {'N', "knots"}};
constexpr Letter DirectionNames[] = {{'T', "True North"}, {'M', "Magnetic North"}};
constexpr Letter DistanceUnitNames[] = {{'K', "Kilometers"}, {'M', "Miles"}, {'N', "Nautical Miles"}};

constexpr EnumName AltitudeRefNames[] = {{0, "Above Sea Level"}, {1, "Below Sea Level"}};
constexpr EnumName DifferentialNames[] = {{0, "No Correction"}, {1, "Differential Corrected"}};

bool altitudeRef(ValueText& out, const Field& field, const DisplayContext&)
{
    return formatEnum<AltitudeRefNames>(out, field);
}

bool differential(ValueText& out, const Field& field, const DisplayContext&)
{
    return formatEnum<DifferentialNames>(out, field);
}

bool altitude(ValueText& out, const Field& field, const DisplayContext& context)
{
    URational r;
    return formatValue([&] { return field.getURational(r); },
                       [&] {
                           out << roundTo(quotient(r), 2) << " m";
                           std::uint32_t below = 0;
                           const Field* ref = context.field(Gps, 5);
                           if (ref != nullptr && ref->getUInt32(below)) {
                               out << (below == 1 ? " below sea level" : " above sea level");
                           }
                       });
}

// 17:17:58.65: hours and minutes whole, the seconds with what fraction they have.
bool timeStamp(ValueText& out, const Field& field, const DisplayContext&)
{
    URational h, m, s;
    return formatValue(
        [&] { return field.getURational(h, 0) && field.getURational(m, 1) && field.getURational(s, 2); },
        [&] {
            const double seconds = quotient(h) * 3600 + quotient(m) * 60 + quotient(s);
            const long long hundredths = std::llround(seconds * 100);
            char text[48];
            std::snprintf(text, sizeof text, "%02lld:%02lld:%02lld", hundredths / 360000, hundredths / 6000 % 60,
                          hundredths / 100 % 60);
            out << text;
            if (hundredths % 100 != 0) {
                std::snprintf(text, sizeof text, ".%02lld", hundredths % 100);
                std::string fraction = text;
                if (fraction.back() == '0') {
                    fraction.pop_back();
                }
                out << fraction;
            }
        });
}

// A quantity in the unit its reference (the tag before it) names.
template <const auto& Units>
bool measured(ValueText& out, const Field& field, const DisplayContext& context)
{
    URational r;
    return formatValue([&] { return field.getURational(r); },
                       [&] {
                           out << roundTo(quotient(r), 2);
                           const char ref = reference(context, field.tag());
                           for (const Letter& n : Units) {
                               if (n.letter == ref) {
                                   out << ' ' << n.text;
                               }
                           }
                       });
}

constexpr Letter DistanceUnits[] = {{'K', "km"}, {'M', "miles"}, {'N', "nautical miles"}};
constexpr Letter DirectionUnits[] = {{'T', "deg (True North)"}, {'M', "deg (Magnetic North)"}};

bool decimal(ValueText& out, const Field& field, const DisplayContext&)
{
    URational r;
    return formatValue([&] { return field.getURational(r); }, [&] { out << roundTo(quotient(r), 2); });
}

bool metres(ValueText& out, const Field& field, const DisplayContext&)
{
    URational r;
    return formatValue([&] { return field.getURational(r); }, [&] { out << roundTo(quotient(r), 2) << " m"; });
}

// UNDEFINED text behind its 8-byte character-code header ("ASCII\0\0\0"; EXIF 2.3 table 9).
bool encodedText(ValueText& out, const Field& field, const DisplayContext&)
{
    std::vector<std::uint8_t> bytes;
    return formatValue([&] { return field.getBytes(bytes); },
                       [&] {
                           const std::size_t start = bytes.size() >= 8 ? 8 : 0;
                           std::string text(bytes.begin() + static_cast<std::ptrdiff_t>(start), bytes.end());
                           text.erase(std::find(text.begin(), text.end(), '\0'), text.end());
                           out << text;
                       });
}

constexpr TagRow row(std::uint16_t tag, std::uint16_t type, const char* name, const char* description,
                     std::uint32_t count, Formatter formatter)
{
    return TagRow{(std::uint32_t{type} << 16) | tag, 0, description, name, count, formatter};
}

constexpr TagRow GpsTable[GpsTagCount + 1] = {
    row(0, 1, "GPSVersionID", "GPS tag version", 4, version),
    row(1, 2, "GPSLatitudeRef", "North or South Latitude", 2, letters<LatitudeNames>),
    row(2, 5, "GPSLatitude", "Latitude", 3, position),
    row(3, 2, "GPSLongitudeRef", "East or West Longitude", 2, letters<LongitudeNames>),
    row(4, 5, "GPSLongitude", "Longitude", 3, position),
    row(5, 1, "GPSAltitudeRef", "Altitude reference", 1, altitudeRef),
    row(6, 5, "GPSAltitude", "Altitude", 1, altitude),
    row(7, 5, "GPSTimeStamp", "GPS time (atomic clock)", 3, timeStamp),
    row(8, 2, "GPSSatellites", "GPS satellites used for measurement", AnyCount, Formatters::text),
    row(9, 2, "GPSStatus", "GPS receiver status", 2, letters<StatusNames>),
    row(10, 2, "GPSMeasureMode", "GPS measurement mode", 2, letters<MeasureModeNames>),
    row(11, 5, "GPSDOP", "Measurement precision", 1, decimal),
    row(12, 2, "GPSSpeedRef", "Speed unit", 2, letters<SpeedUnitNames>),
    row(13, 5, "GPSSpeed", "Speed of GPS receiver", 1, measured<SpeedUnitNames>),
    row(14, 2, "GPSTrackRef", "Reference for direction of movement", 2, letters<DirectionNames>),
    row(15, 5, "GPSTrack", "Direction of movement", 1, measured<DirectionUnits>),
    row(16, 2, "GPSImgDirectionRef", "Reference for direction of image", 2, letters<DirectionNames>),
    row(17, 5, "GPSImgDirection", "Direction of image", 1, measured<DirectionUnits>),
    row(18, 2, "GPSMapDatum", "Geodetic survey data used", AnyCount, Formatters::text),
    row(19, 2, "GPSDestLatitudeRef", "Reference for latitude of destination", 2, letters<LatitudeNames>),
    row(20, 5, "GPSDestLatitude", "Latitude of destination", 3, position),
    row(21, 2, "GPSDestLongitudeRef", "Reference for longitude of destination", 2, letters<LongitudeNames>),
    row(22, 5, "GPSDestLongitude", "Longitude of destination", 3, position),
    row(23, 2, "GPSDestBearingRef", "Reference for bearing of destination", 2, letters<DirectionNames>),
    row(24, 5, "GPSDestBearing", "Bearing of destination", 1, measured<DirectionUnits>),
    row(25, 2, "GPSDestDistanceRef", "Reference for distance to destination", 2, letters<DistanceUnitNames>),
    row(26, 5, "GPSDestDistance", "Distance to destination", 1, measured<DistanceUnits>),
    row(27, 7, "GPSProcessingMethod", "Name of GPS processing method", AnyCount, encodedText),
    row(28, 7, "GPSAreaInformation", "Name of GPS area", AnyCount, encodedText),
    row(29, 2, "GPSDateStamp", "GPS date", 11, Formatters::text),
    row(30, 3, "GPSDifferential", "GPS differential correction", 1, differential),
    row(31, 5, "GPSHPositioningError", "Horizontal positioning error", 1, metres),
    TagRow{0, 0, nullptr, nullptr, 0, nullptr},
};

} // namespace

const TagRow* gpsTagTable() noexcept
{
    return GpsTable;
}

} // namespace Metadata
