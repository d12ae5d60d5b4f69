// Casio's notes in both forms: "QVC\0\0\0" before a directory of the second kind of tags, or
// a plain directory of the first kind; offsets count from the TIFF header.
#include "MakerNotes.h"

namespace Metadata::MakerNotes {

using namespace Formatters;

namespace {

// Tag names as exiftool gives them, so that scripts written against its output carry over.
constexpr TagRow Main[] = {
    row(0x0001, Short, "RecordingMode", values),
    row(0x0002, Short, "Quality", values),
    row(0x0003, Short, "FocusMode", values),
    row(0x0004, Short, "FlashMode", values),
    row(0x0005, Short, "FlashIntensity", values),
    row(0x0006, Long, "ObjectDistance", values),
    row(0x0007, Short, "WhiteBalance", values),
    row(0x000A, Long, "DigitalZoom", values),
    row(0x000B, Short, "Sharpness", values),
    row(0x000C, Short, "Contrast", values),
    row(0x000D, Short, "Saturation", values),
    row(0x0014, Short, "ISO", values),
    row(0x0015, Ascii, "FirmwareDate", text, AnyCount),
    row(0x0016, Short, "Enhancement", values),
    row(0x0017, Short, "ColorFilter", values),
    row(0x0018, Short, "AFPoint", values),
    row(0x0019, Short, "FlashIntensity", values),
    End,
};

constexpr TagRow Type2[] = {
    row(0x0002, Short, "PreviewImageSize", values, 2),
    row(0x0003, Long, "PreviewImageLength", values),
    row(0x0004, Long, "PreviewImageStart", values),
    row(0x0008, Short, "QualityMode", values),
    row(0x0009, Short, "CasioImageSize", values),
    row(0x000D, Short, "FocusMode", values),
    row(0x0014, Short, "ISO", values),
    row(0x0019, Short, "WhiteBalance", values),
    row(0x001D, Rational, "FocalLength", values),
    row(0x001F, Short, "Saturation", values),
    row(0x0020, Short, "Contrast", values),
    row(0x0021, Short, "Sharpness", values),
    row(0x2000, Undefined, "PreviewImage", binary, AnyCount),
    row(0x2001, Ascii, "FirmwareDate", values, AnyCount),
    row(0x2011, Short, "WhiteBalanceBias", values, 2),
    row(0x2012, Short, "WhiteBalance", values),
    row(0x2021, Short, "AFPointPosition", values, 4),
    row(0x2022, Long, "ObjectDistance", values),
    row(0x2034, Short, "FlashDistance", values),
    row(0x2076, Byte, "SpecialEffectMode", values, 3),
    row(0x2089, Undefined, "FaceInfoUnknown", values, AnyCount),
    row(0x211C, Byte, "FacesDetected", values),
    row(0x3000, Short, "RecordMode", values),
    row(0x3001, Short, "ReleaseMode", values),
    row(0x3002, Short, "Quality", values),
    row(0x3003, Short, "FocusMode", values),
    row(0x3006, Ascii, "HometownCity", text, AnyCount),
    row(0x3007, Short, "BestShotMode", values),
    row(0x3008, Short, "AutoISO", values),
    row(0x3009, Short, "AFMode", values),
    row(0x3011, Undefined, "Sharpness", values, AnyCount),
    row(0x3012, Undefined, "Contrast", values, AnyCount),
    row(0x3013, Undefined, "Saturation", values, AnyCount),
    row(0x3014, Short, "ISO", values),
    row(0x3015, Short, "ColorMode", values),
    row(0x3016, Short, "Enhancement", values),
    row(0x3017, Short, "ColorFilter", values),
    row(0x301B, Short, "ArtMode", values),
    row(0x301C, Short, "SequenceNumber", values),
    row(0x301D, Short, "BracketSequence", values, 2),
    row(0x3020, Short, "ImageStabilization", values),
    row(0x302A, Short, "LightingMode", values),
    row(0x302B, Short, "PortraitRefiner", values),
    row(0x3030, Short, "SpecialEffectLevel", values),
    row(0x3031, Short, "SpecialEffectSetting", values),
    row(0x3103, Short, "DriveMode", values),
    row(0x310B, Byte, "ArtModeParameters", values, 3),
    row(0x4001, Short, "CaptureFrameRate", values),
    row(0x4003, Short, "VideoQuality", values),
    End,
};

double millimetresToMetres(double v) { return v / 1000; }

// The first byte of a setting the second kind of notes stores in two.
bool firstByte(const Field& field, double& value)
{
    std::vector<std::uint8_t> bytes;
    if (field.type() != Undefined || !field.getBytes(bytes) || bytes.empty()) {
        return false;
    }
    value = bytes[0];
    return true;
}

// A text in parts with NULs between them (a date "0302", "2809", "45"), joined.
bool withoutNuls(const Field& field, std::string& text)
{
    if (field.type() == Ascii) {
        for (char c : field.textBytes()) {
            if (c != 0) {
                text += c;
            }
        }
        return true;
    }
    std::vector<std::uint32_t> bytes;
    if (!numbers(field, bytes, 1) || field.type() != Undefined) {
        return false;
    }
    for (std::uint32_t b : bytes) {
        if (b != 0) {
            text += static_cast<char>(b);
        }
    }
    return true;
}

constexpr Conversion Conversions[] = {
    {DirectoryId::MakerNote, 0x0006, single<millimetresToMetres>},
    {0, 0, nullptr},
};

constexpr Conversion Type2Conversions[] = {
    asOffset(DirectoryId::MakerNote, 0x0004),
    asText(DirectoryId::MakerNote, 0x2001, withoutNuls),
    {DirectoryId::MakerNote, 0x2022, single<millimetresToMetres>},
    {DirectoryId::MakerNote, 0x3011, firstByte},
    {DirectoryId::MakerNote, 0x3012, firstByte},
    {DirectoryId::MakerNote, 0x3013, firstByte},
    {0, 0, nullptr},
};

} // namespace

const std::vector<Form>& casioForms()
{
    static const std::vector<Form> forms = {
        {"Casio", "QVC\0\0\0", 6, nullptr, 6, false, Base::Tiff, Order::Parent, 0, Type2, nullptr, Type2Conversions},
        {"Casio", "DCI\0\0\0", 6, nullptr, 6, false, Base::Tiff, Order::Parent, 0, Type2, nullptr, Type2Conversions},
        {"Casio", nullptr, 0, "CASIO", 0, false, Base::Tiff, Order::Parent, 0, Main, nullptr, Conversions}
    };
    return forms;
}

} // namespace Metadata::MakerNotes
