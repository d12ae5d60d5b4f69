// Nikon's notes, in their three forms: a plain directory (the first Coolpix cameras), "Nikon\0\1"
// before a directory whose offsets count from the note, and "Nikon\0\2" before a TIFF header of
// the note's own, with its own byte order (every camera since).
#include "MakerNotes.h"

namespace Metadata::MakerNotes {

using namespace Formatters;

namespace {

// Tag names as exiftool gives them, so that scripts written against its output carry over.
constexpr TagRow Main[] = {
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
        {"Nikon", "Nikon\0\2", 7, nullptr, 10, false, Base::OwnHeader, Order::Parent, 0, Main, nullptr},
        {"Nikon", "Nikon\0\1", 7, nullptr, 8, false, Base::Note, Order::Parent, 0, Main, nullptr},
        {"Nikon", nullptr, 0, "NIKON", 0, false, Base::Tiff, Order::Parent, 0, Main, nullptr},
    };
    return forms;
}

} // namespace Metadata::MakerNotes
