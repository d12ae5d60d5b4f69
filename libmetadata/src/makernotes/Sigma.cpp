// Sigma's notes: "SIGMA" or "FOVEON" and a version before a directory whose offsets count from
// the TIFF header.
#include "MakerNotes.h"

#include <cstdlib>
#include <string>

namespace Metadata::MakerNotes {

using namespace Formatters;

namespace {

// Tag names as exiftool gives them, so that scripts written against its output carry over.
constexpr TagRow Main[] = {
    row(0x0002, Ascii, "SerialNumber", text, AnyCount),
    row(0x0003, Ascii, "DriveMode", text, AnyCount),
    row(0x0004, Ascii, "ResolutionMode", text, AnyCount),
    row(0x0005, Ascii, "AFMode", text, AnyCount),
    row(0x0006, Ascii, "FocusSetting", text, AnyCount),
    row(0x0007, Ascii, "WhiteBalance", text, AnyCount),
    row(0x0008, Ascii, "ExposureMode", text, AnyCount),
    row(0x0009, Ascii, "MeteringMode", text, AnyCount),
    row(0x000A, Ascii, "LensFocalRange", text, AnyCount),
    row(0x000B, Ascii, "ColorSpace", text, AnyCount),
    row(0x000C, Ascii, "ExposureCompensation", text, AnyCount),
    row(0x000D, Ascii, "Contrast", text, AnyCount),
    row(0x000E, Ascii, "Shadow", text, AnyCount),
    row(0x000F, Ascii, "Highlight", text, AnyCount),
    row(0x0010, Ascii, "Saturation", text, AnyCount),
    row(0x0011, Ascii, "Sharpness", text, AnyCount),
    row(0x0012, Ascii, "X3FillLight", text, AnyCount),
    row(0x0014, Ascii, "ColorAdjustment", text, AnyCount),
    row(0x0015, Ascii, "AdjustmentMode", text, AnyCount),
    row(0x0016, Ascii, "Quality", text, AnyCount),
    row(0x0017, Ascii, "Firmware", text, AnyCount),
    row(0x0018, Ascii, "Software", text, AnyCount),
    row(0x0019, Ascii, "AutoBracket", text, AnyCount),
    row(0x001A, Long, "PreviewImageStart", values),
    row(0x001B, Long, "PreviewImageLength", values),
    row(0x001C, Short, "PreviewImageSize", values, 2),
    row(0x001D, Undefined, "MakerNoteVersion", values, AnyCount),
    row(0x001E, Short, "PreviewImageSize", values, 2),
    row(0x001F, Ascii, "AFPoint", text, AnyCount),
    row(0x0022, Ascii, "FileFormat", text, AnyCount),
    row(0x0024, Ascii, "Calibration", text, AnyCount),
    row(0x0026, Ascii, "FileFormat", text, AnyCount),
    row(0x0027, Ascii, "LensType", text, AnyCount),
    row(0x002A, Rational, "LensFocalRange", values, 2),
    row(0x002B, Rational, "LensMaxApertureRange", values, 2),
    row(0x002C, Long, "ColorMode", values),
    row(0x0030, Ascii, "LensApertureRange", text, AnyCount),
    row(0x0031, Rational, "FNumber", values),
    row(0x0032, Rational, "ExposureTime", values),
    row(0x0033, Ascii, "ExposureTime2", text, AnyCount),
    row(0x0034, Long, "BurstShot", values),
    row(0x0035, SRational, "ExposureCompensation", values),
    row(0x0039, Ascii, "SensorTemperature", text, AnyCount),
    row(0x003A, SRational, "FlashExposureComp", values),
    row(0x003B, Ascii, "Firmware", text, AnyCount),
    row(0x003C, Ascii, "WhiteBalance", text, AnyCount),
    row(0x003D, Ascii, "PictureMode", text, AnyCount),
    row(0x0048, Ascii, "LensApertureRange", text, AnyCount),
    row(0x0049, Rational, "FNumber", values),
    row(0x004A, Rational, "ExposureTime", values),
    row(0x004B, Ascii, "ExposureTime2", text, AnyCount),
    row(0x004D, SRational, "ExposureCompensation", values),
    row(0x0055, Ascii, "SensorTemperature", text, AnyCount),
    row(0x0056, SRational, "FlashExposureComp", values),
    row(0x0057, Ascii, "Firmware2", text, AnyCount),
    row(0x0058, Ascii, "WhiteBalance", text, AnyCount),
    row(0x0059, Ascii, "DigitalFilter", text, AnyCount),
    row(0x0084, Ascii, "Model", text, AnyCount),
    row(0x0086, Short, "ISO", values),
    row(0x0087, Ascii, "ResolutionMode", text, AnyCount),
    row(0x0088, Ascii, "WhiteBalance", text, AnyCount),
    row(0x008C, Ascii, "Firmware", text, AnyCount),
    row(0x011F, Float, "CameraCalibration", values, 9),
    End,
};

// Sigma writes its adjustments as texts with a label: "Expo:+0.8", "Qual:12".
bool labelled(const Field& field, double& value)
{
    std::string text;
    if (field.type() != Ascii || !field.getText(text)) {
        return false;
    }
    const std::size_t colon = text.find(':');
    const std::string number = colon == std::string::npos ? text : text.substr(colon + 1);
    char* end = nullptr;
    value = std::strtod(number.c_str(), &end);
    return !number.empty() && end != nullptr && *end == '\0';
}

constexpr Conversion Conversions[] = {
    {DirectoryId::MakerNote, 0x000C, labelled}, {DirectoryId::MakerNote, 0x000D, labelled},
    {DirectoryId::MakerNote, 0x000E, labelled}, {DirectoryId::MakerNote, 0x000F, labelled},
    {DirectoryId::MakerNote, 0x0010, labelled}, {DirectoryId::MakerNote, 0x0011, labelled},
    {DirectoryId::MakerNote, 0x0012, labelled}, {DirectoryId::MakerNote, 0x0014, labelled},
    {DirectoryId::MakerNote, 0x0016, labelled}, {0, 0, nullptr},
};

} // namespace

const std::vector<Form>& sigmaForms()
{
    static const std::vector<Form> forms = {
        {"Sigma", "SIGMA\0\0\0", 8, nullptr, 10, false, Base::Tiff, Order::Parent, 0, Main, nullptr, Conversions},
        {"Sigma", "FOVEON\0\0", 8, nullptr, 10, false, Base::Tiff, Order::Parent, 0, Main, nullptr, Conversions}
    };
    return forms;
}

} // namespace Metadata::MakerNotes
