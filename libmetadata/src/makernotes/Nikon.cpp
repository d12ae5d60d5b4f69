// Nikon's notes, in their three forms: a plain directory (the first Coolpix cameras), "Nikon\0\1"
// before a directory whose offsets count from the note, and "Nikon\0\2" before a TIFF header of
// the note's own, with its own byte order (every camera since).
#include "MakerNotes.h"

#include "Metadata/Exceptions.h"

#include <cmath>

namespace Metadata::MakerNotes {

using namespace Formatters;

namespace {

// A value Nikon stores as three or four signed bytes a, b, c: the number a * b / c (an exposure
// difference of -5 / 6 EV, a lens's 5 1/3 f-stops).
bool fraction(const Field& field, double& value)
{
    std::vector<std::uint8_t> bytes;
    if (field.type() != Undefined || !field.getBytes(bytes) || bytes.size() < 3 || bytes[2] == 0) {
        return false;
    }
    value = static_cast<std::int8_t>(bytes[0]) * static_cast<double>(bytes[1]) / bytes[2];
    return true;
}

// The lens data of the cameras before the encrypted kind: steps of 1/24 of a stop or of a
// doubling, as the lens reports them.
double exitPupilOf(double v) { return v == 0 ? 0 : 2048 / v; }
double apertureOf(double v) { return std::pow(2.0, v / 24); }
double focalLengthOf(double v) { return 5 * std::pow(2.0, v / 24); }
double focusDistanceOf(double v) { return 0.01 * std::pow(10.0, v / 40); }
double twelfthsOf(double v) { return v / 12; }

constexpr TagRow LensData[] = {
    row(0, Ascii, "LensDataVersion", text, 4),
    row(4, Byte, "ExitPupilPosition", values),
    row(5, Byte, "AFAperture", values),
    row(8, Byte, "FocusPosition", values),
    row(10, Byte, "FocusDistance", values),
    row(11, Byte, "FocalLength", values),
    row(12, Byte, "LensIDNumber", values),
    row(13, Byte, "LensFStops", values),
    row(14, Byte, "MinFocalLength", values),
    row(15, Byte, "MaxFocalLength", values),
    row(16, Byte, "MaxApertureAtMinFocal", values),
    row(17, Byte, "MaxApertureAtMaxFocal", values),
    row(18, Byte, "MCUVersion", values),
    row(19, Byte, "EffectiveMaxAperture", values),
    End,
};

// Where the camera focused (tag 0x88).
constexpr TagRow AFInfo[] = {
    row(0, Byte, "AFAreaMode", values),
    row(1, Byte, "AFPoint", values),
    row(2, Short, "AFPointsInFocus", values),
    End,
};

constexpr std::uint32_t LensId = subDirectoryId(0x0098);

constexpr Conversion Conversions[] = {
    {DirectoryId::MakerNote, 0x000D, fraction},
    {DirectoryId::MakerNote, 0x000E, fraction},
    {DirectoryId::MakerNote, 0x0012, fraction},
    {DirectoryId::MakerNote, 0x0017, fraction},
    {DirectoryId::MakerNote, 0x0018, fraction},
    {DirectoryId::MakerNote, 0x001C, fraction},
    {DirectoryId::MakerNote, 0x008B, fraction},
    {LensId, 4, single<exitPupilOf>},
    {LensId, 5, single<apertureOf>},
    {LensId, 10, single<focusDistanceOf>},
    {LensId, 11, single<focalLengthOf>},
    {LensId, 13, single<twelfthsOf>},
    {LensId, 14, single<focalLengthOf>},
    {LensId, 15, single<focalLengthOf>},
    {LensId, 16, single<apertureOf>},
    {LensId, 17, single<apertureOf>},
    {LensId, 19, single<apertureOf>},
    {0, 0, nullptr},
};

void subDirectories(Builder& build)
{
    build.array(0x0088, "Nikon AFInfo", AFInfo, 1);
    // Lens data of versions 0100 and 0101 is plain; later versions are enciphered with the
    // camera's serial number and shutter count.
    std::vector<std::uint8_t> version;
    const Field* lens = build.main().find(0x0098);
    try {
        if (lens != nullptr && lens->type() == Undefined && lens->getBytes(version) && version.size() >= 20 &&
            version[0] == '0' && version[1] == '1' && version[2] == '0' && (version[3] == '0' || version[3] == '1')) {
            build.array(0x0098, "Nikon LensData", LensData, 1);
        }
    } catch (const Error&) {
    }
}

// Tag names as exiftool gives them, so that scripts written against its output carry over.
constexpr TagRow Main[] = {
    row(0x0088, Undefined, "AFInfo", silent, AnyCount),
    row(0x0098, Undefined, "LensData", silent, AnyCount),
    row(0x0001, Undefined, "MakerNoteVersion", values, AnyCount),
    row(0x0002, Short, "ISO", values, 2),
    row(0x0003, Ascii, "ColorMode", text, AnyCount),
    row(0x0004, Ascii, "Quality", text, AnyCount),
    row(0x0005, Ascii, "WhiteBalance", text, AnyCount),
    row(0x0006, Ascii, "Sharpness", text, AnyCount),
    row(0x0007, Ascii, "FocusMode", text, AnyCount),
    row(0x0008, Ascii, "FlashSetting", text, AnyCount),
    row(0x0009, Ascii, "FlashType", text, AnyCount),
    row(0x000B, SShort, "WhiteBalanceFineTune", values),
    row(0x000C, Rational, "WB_RBLevels", values, 4),
    row(0x000D, Undefined, "ProgramShift", values, AnyCount),
    row(0x000E, Undefined, "ExposureDifference", values, AnyCount),
    row(0x000F, Ascii, "ISOSelection", text, AnyCount),
    row(0x0010, Undefined, "DataDump", values, AnyCount),
    row(0x0012, Undefined, "FlashExposureComp", values, AnyCount),
    row(0x0013, Short, "ISOSetting", values, 2),
    row(0x0016, Short, "ImageBoundary", values, 4),
    row(0x0017, Undefined, "ExternalFlashExposureComp", values, AnyCount),
    row(0x0018, Undefined, "FlashExposureBracketValue", values, AnyCount),
    row(0x0019, SRational, "ExposureBracketValue", values),
    row(0x001A, Ascii, "ImageProcessing", text, AnyCount),
    row(0x001B, Short, "CropHiSpeed", values, 7),
    row(0x001C, Undefined, "ExposureTuning", values, AnyCount),
    row(0x001D, Ascii, "SerialNumber", text, AnyCount),
    row(0x001E, Short, "ColorSpace", values),
    row(0x0020, Byte, "ImageAuthentication", values),
    row(0x0023, Undefined, "PictureControlData", values, AnyCount),
    row(0x002A, Short, "VignetteControl", values),
    row(0x0034, Short, "ShutterMode", values),
    row(0x0037, Long, "MechanicalShutterCount", values),
    row(0x003D, Short, "BlackLevel", values, 4),
    row(0x003E, Undefined, "ImageSizeRAW", values, AnyCount),
    row(0x003F, SRational, "WhiteBalanceFineTune", values, 2),
    row(0x0045, Short, "CropArea", values, 4),
    row(0x004E, Undefined, "NikonSettings", values, AnyCount),
    row(0x004F, Short, "ColorTemperatureAuto", values),
    row(0x0051, Undefined, "MakerNotes0x51", values, AnyCount),
    row(0x0056, Undefined, "MakerNotes0x56", values, AnyCount),
    row(0x0080, Ascii, "ImageAdjustment", text, AnyCount),
    row(0x0081, Ascii, "ToneComp", text, AnyCount),
    row(0x0082, Ascii, "AuxiliaryLens", text, AnyCount),
    row(0x0083, Byte, "LensType", values),
    row(0x0084, Rational, "Lens", values, 4),
    row(0x0085, Rational, "ManualFocusDistance", values),
    row(0x0086, Rational, "DigitalZoom", values),
    row(0x0087, Byte, "FlashMode", values),
    row(0x0089, Short, "ShootingMode", values),
    row(0x008B, Undefined, "LensFStops", values, AnyCount),
    row(0x008C, Undefined, "ContrastCurve", values, AnyCount),
    row(0x008D, Ascii, "ColorHue", text, AnyCount),
    row(0x008F, Ascii, "SceneMode", text, AnyCount),
    row(0x0090, Ascii, "LightSource", text, AnyCount),
    row(0x0092, SShort, "HueAdjustment", values),
    row(0x0093, Short, "NEFCompression", values),
    row(0x0094, SShort, "SaturationAdj", values),
    row(0x0095, Ascii, "NoiseReduction", text, AnyCount),
    row(0x0096, Undefined, "NEFLinearizationTable", values, AnyCount),
    row(0x0099, Short, "RawImageCenter", values, 2),
    row(0x009A, Rational, "SensorPixelSize", values, 2),
    row(0x009C, Ascii, "SceneAssist", text, AnyCount),
    row(0x009D, Short, "DateStampMode", values),
    row(0x009E, Short, "RetouchHistory", values, 10),
    row(0x00A0, Ascii, "SerialNumber", text, AnyCount),
    row(0x00A2, Long, "ImageDataSize", values),
    row(0x00A5, Long, "ImageCount", values),
    row(0x00A6, Long, "DeletedImageCount", values),
    row(0x00A7, Long, "ShutterCount", values),
    row(0x00A9, Ascii, "ImageOptimization", text, AnyCount),
    row(0x00AA, Ascii, "Saturation", text, AnyCount),
    row(0x00AB, Ascii, "VariProgram", text, AnyCount),
    row(0x00AC, Ascii, "ImageStabilization", text, AnyCount),
    row(0x00AD, Ascii, "AFResponse", text, AnyCount),
    row(0x00B1, Short, "HighISONoiseReduction", values),
    row(0x00B3, Ascii, "ToningEffect", text, AnyCount),
    row(0x00B6, Undefined, "PowerUpTime", values, AnyCount),
    row(0x00BD, Undefined, "PictureControlData", values, AnyCount),
    row(0x00BF, Undefined, "SilentPhotography", values, AnyCount),
    row(0x0E01, Undefined, "NikonCaptureData", values, AnyCount),
    row(0x0E09, Ascii, "NikonCaptureVersion", text, AnyCount),
    row(0x0E0E, Undefined, "NikonCaptureOffsets", values, AnyCount),
    row(0x0E13, Undefined, "NikonCaptureEditVersions", values, AnyCount),
    row(0x0E1D, Undefined, "NikonICCProfile", values, AnyCount),
    row(0x0E1E, Undefined, "NikonCaptureOutput", values, AnyCount),
    row(0x0E22, Short, "NEFBitDepth", values, 4),
    End,
};

} // namespace

const std::vector<Form>& nikonForms()
{
    static const std::vector<Form> forms = {
        {"Nikon", "Nikon\0\2", 7, nullptr, 10, false, Base::OwnHeader, Order::Parent, 0, Main, subDirectories, Conversions},
        {"Nikon", "Nikon\0\1", 7, nullptr, 8, false, Base::Note, Order::Parent, 0, Main, subDirectories, Conversions},
        {"Nikon", nullptr, 0, "NIKON", 0, false, Base::Tiff, Order::Parent, 0, Main, subDirectories, Conversions},
    };
    return forms;
}

} // namespace Metadata::MakerNotes
