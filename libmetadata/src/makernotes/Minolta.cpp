// Minolta's notes: a plain directory whose offsets count from the TIFF header.
#include "MakerNotes.h"

#include <cmath>

namespace Metadata::MakerNotes {

using namespace Formatters;

namespace {

// Camera settings (tags 1 and 3): 32-bit values, always big-endian.
constexpr TagRow CameraSettings[] = {
    row(0x0001, Long, "ExposureMode", values),
    row(0x0002, Long, "FlashMode", values),
    row(0x0003, Long, "WhiteBalance", values),
    row(0x0004, Long, "MinoltaImageSize", values),
    row(0x0005, Long, "MinoltaQuality", values),
    row(0x0006, Long, "DriveMode", values),
    row(0x0007, Long, "MeteringMode", values),
    row(0x0008, Long, "ISO", values),
    row(0x0009, Long, "ExposureTime", values),
    row(0x000A, Long, "FNumber", values),
    row(0x000B, Long, "MacroMode", values),
    row(0x000C, Long, "DigitalZoom", values),
    row(0x000D, Long, "ExposureCompensation", values),
    row(0x000E, Long, "BracketStep", values),
    row(0x0010, Long, "IntervalLength", values),
    row(0x0011, Long, "IntervalNumber", values),
    row(0x0012, Long, "FocalLength", values),
    row(0x0013, Long, "FocusDistance", values),
    row(0x0014, Long, "FlashFired", values),
    row(0x0015, Long, "MinoltaDate", values),
    row(0x0016, Long, "MinoltaTime", values),
    row(0x0017, Long, "MaxAperture", values),
    row(0x001A, Long, "FileNumberMemory", values),
    row(0x001B, Long, "LastFileNumber", values),
    row(0x001C, Long, "ColorBalanceRed", values),
    row(0x001D, Long, "ColorBalanceGreen", values),
    row(0x001E, Long, "ColorBalanceBlue", values),
    row(0x001F, Long, "Saturation", values),
    row(0x0020, Long, "Contrast", values),
    row(0x0021, Long, "Sharpness", values),
    row(0x0022, Long, "SubjectProgram", values),
    row(0x0023, Long, "FlashExposureComp", values),
    row(0x0024, Long, "ISOSetting", values),
    row(0x0025, Long, "MinoltaModelID", values),
    row(0x0026, Long, "IntervalMode", values),
    row(0x0027, Long, "FolderName", values),
    row(0x0028, Long, "ColorMode", values),
    row(0x0029, Long, "ColorFilter", values),
    row(0x002A, Long, "BWFilter", values),
    row(0x002B, Long, "InternalFlash", values),
    row(0x002C, Long, "Brightness", values),
    row(0x002D, Long, "SpotFocusPointX", values),
    row(0x002E, Long, "SpotFocusPointY", values),
    row(0x002F, Long, "WideFocusZone", values),
    row(0x0030, Long, "FocusMode", values),
    row(0x0031, Long, "FocusArea", values),
    row(0x0032, Long, "DECPosition", values),
    row(0x0033, Long, "ColorProfile", values),
    row(0x0034, Long, "DataImprint", values),
    row(0x003F, Long, "FlashMetering", values),
    End,
};

// What Minolta's codes mean: steps of 1/8 of a stop from ISO 100, 1 s and F1, thirds of a stop
// of compensation from -2, focal lengths in 1/256 mm, distances in millimetres.
double isoOf(double v) { return std::pow(2.0, (v - 48) / 8) * 100; }
double exposureTimeOf(double v) { return std::pow(2.0, (48 - v) / 8); }
double apertureOf(double v) { return std::pow(2.0, (v / 8 - 1) / 2); }
double compensationOf(double v) { return v / 3 - 2; }
double focalLengthOf(double v) { return v / 256; }
double distanceOf(double v) { return v / 1000; }
double balanceOf(double v) { return v / 256; }
double fromThreeOf(double v) { return v - 3; }
double flashCompensationOf(double v) { return (v - 6) / 3; }
double brightnessOf(double v) { return v / 8 - 6; }

// A date or a time packed in one number: year (or hour) above bit 16, then a byte each.
bool packedDateOf(const Field& field, std::string& text)
{
    std::uint32_t v = 0;
    if (field.count() != 1 || !field.getUInt32(v)) {
        return false;
    }
    text = std::to_string(v >> 16) + ':' + zeroPadded(v >> 8 & 0xFF, 2) + ':' + zeroPadded(v & 0xFF, 2);
    return true;
}

bool packedTimeOf(const Field& field, std::string& text)
{
    std::uint32_t v = 0;
    if (field.count() != 1 || !field.getUInt32(v)) {
        return false;
    }
    text = zeroPadded(v >> 16, 2) + ':' + zeroPadded(v >> 8 & 0xFF, 2) + ':' + zeroPadded(v & 0xFF, 2);
    return true;
}

constexpr std::uint32_t OldId = subDirectoryId(0x0001);
constexpr std::uint32_t NewId = subDirectoryId(0x0003);

#define MINOLTA_CONVERSIONS(id)                                                                   \
    {id, 8, single<isoOf>}, {id, 9, single<exposureTimeOf>}, {id, 10, single<apertureOf>},     \
        {id, 13, single<compensationOf>}, {id, 18, single<focalLengthOf>},                     \
        {id, 19, single<distanceOf>}, {id, 23, single<apertureOf>},                            \
        {id, 28, single<balanceOf>}, {id, 29, single<balanceOf>}, {id, 30, single<balanceOf>}, \
        {id, 31, single<fromThreeOf>}, {id, 32, single<fromThreeOf>},                          \
        {id, 35, single<flashCompensationOf>}, {id, 41, single<fromThreeOf>},                 \
        {id, 44, single<brightnessOf>}, asText(id, 21, packedDateOf), asText(id, 22, packedTimeOf)

constexpr Conversion Conversions[] = {
    MINOLTA_CONVERSIONS(OldId),
    MINOLTA_CONVERSIONS(NewId),
    asOffset(DirectoryId::MakerNote, 0x0088),
    {0, 0, nullptr},
};

#undef MINOLTA_CONVERSIONS

void subDirectories(Builder& build)
{
    build.array(0x0001, "Minolta CameraSettings", CameraSettings, 4, Order::Big);
    build.array(0x0003, "Minolta CameraSettings", CameraSettings, 4, Order::Big);
}

// Tag names as exiftool gives them, so that scripts written against its output carry over.
constexpr TagRow Main[] = {
    row(0x0001, Undefined, "MinoltaCameraSettingsOld", silent, AnyCount),
    row(0x0003, Undefined, "MinoltaCameraSettings", silent, AnyCount),
    row(0x0000, Undefined, "MakerNoteVersion", values, AnyCount),
    row(0x0018, Undefined, "ImageStabilization", values, AnyCount),
    row(0x0040, Long, "CompressedImageSize", values),
    row(0x0081, Undefined, "PreviewImage", binary, AnyCount),
    row(0x0088, Long, "PreviewImageStart", values),
    row(0x0089, Long, "PreviewImageLength", values),
    row(0x0100, Long, "SceneMode", values),
    row(0x0101, Long, "ColorMode", values),
    row(0x0102, Long, "MinoltaQuality", values),
    row(0x0103, Long, "MinoltaQuality", values),
    row(0x0104, SRational, "FlashExposureComp", values),
    row(0x0105, Long, "Teleconverter", values),
    row(0x0107, Long, "ImageStabilization", values),
    row(0x0109, Long, "RawAndJpgRecording", values),
    row(0x010A, Long, "ZoneMatching", values),
    row(0x010B, Long, "ColorTemperature", values),
    row(0x010C, Long, "LensType", values),
    row(0x0111, SLong, "ColorCompensationFilter", values),
    row(0x0112, Long, "WhiteBalanceFineTune", values),
    row(0x0113, Long, "ImageStabilization", values),
    row(0x0115, Long, "WhiteBalance", values),
    row(0x0F00, Undefined, "MinoltaCameraSettings2", values, AnyCount),
    End,
};

} // namespace

const std::vector<Form>& minoltaForms()
{
    static const std::vector<Form> forms = {
        {"Minolta", nullptr, 0, "Minolta", 0, false, Base::Tiff, Order::Parent, 0, Main, subDirectories, Conversions},
        {"Minolta", nullptr, 0, "KONICA MINOLTA", 0, false, Base::Tiff, Order::Parent, 0, Main, subDirectories, Conversions}
    };
    return forms;
}

} // namespace Metadata::MakerNotes
