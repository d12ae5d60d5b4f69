// Pentax's notes: "AOC\0" and the byte order ("MM", "II", or blanks for the file's own) before
// a directory whose offsets count from the TIFF header; "PENTAX \0" and the byte order before one
// whose offsets count from the note (the newer cameras); a plain directory (the oldest).
#include "MakerNotes.h"

namespace Metadata::MakerNotes {

using namespace Formatters;

namespace {

// Tag names as exiftool gives them, so that scripts written against its output carry over.
// The lens record (tag 0x3f); the lens information of tag 0x207 has a layout per camera
// generation and is left undecoded.
constexpr TagRow LensRec[] = {
    row(0, Byte, "LensType", values, 2),
    End,
};

constexpr TagRow CameraInfo[] = {
    row(0, Long, "PentaxModelID", values),
    row(1, Long, "ManufactureDate", values),
    row(2, Long, "ProductionCode", values, 2),
    row(4, Long, "InternalSerialNumber", values),
    End,
};

constexpr TagRow Main[] = {
    row(0x003F, Undefined, "LensRec", silent, AnyCount),
    row(0x0215, Undefined, "CameraInfo", silent, AnyCount),
    row(0x0000, Byte, "PentaxVersion", values, 4),
    row(0x0001, Short, "PentaxModelType", values),
    row(0x0002, Short, "PreviewImageSize", values, 2),
    row(0x0003, Long, "PreviewImageLength", values),
    row(0x0004, Long, "PreviewImageStart", values),
    row(0x0005, Long, "PentaxModelID", values),
    row(0x0006, Undefined, "Date", values, AnyCount),
    row(0x0007, Undefined, "Time", values, AnyCount),
    row(0x0008, Short, "Quality", values),
    row(0x0009, Short, "PentaxImageSize", values),
    row(0x000B, Short, "PictureMode", values),
    row(0x000C, Short, "FlashMode", values),
    row(0x000D, Short, "FocusMode", values),
    row(0x000E, Short, "AFPointSelected", values),
    row(0x000F, Long, "AFPointsInFocus", values),
    row(0x0010, Short, "FocusPosition", values),
    row(0x0012, Long, "ExposureTime", values),
    row(0x0013, Short, "FNumber", values),
    row(0x0014, Short, "ISO", values),
    row(0x0015, Short, "LightReading", values),
    row(0x0016, Short, "ExposureCompensation", values),
    row(0x0017, Short, "MeteringMode", values),
    row(0x0018, Short, "AutoBracketing", values),
    row(0x0019, Short, "WhiteBalance", values),
    row(0x001A, Short, "WhiteBalanceMode", values),
    row(0x001B, Short, "BlueBalance", values),
    row(0x001C, Short, "RedBalance", values),
    row(0x001D, Long, "FocalLength", values),
    row(0x001E, Short, "DigitalZoom", values),
    row(0x001F, Short, "Saturation", values),
    row(0x0020, Short, "Contrast", values),
    row(0x0021, Short, "Sharpness", values),
    row(0x0022, Short, "WorldTimeLocation", values),
    row(0x0023, Short, "HometownCity", values),
    row(0x0024, Short, "DestinationCity", values),
    row(0x0025, Short, "HometownDST", values),
    row(0x0026, Short, "DestinationDST", values),
    row(0x0027, Undefined, "DSPFirmwareVersion", values, AnyCount),
    row(0x0028, Undefined, "CPUFirmwareVersion", values, AnyCount),
    row(0x0029, Long, "FrameNumber", values),
    row(0x002D, Short, "EffectiveLV", values),
    row(0x0032, Undefined, "ImageEditing", values, AnyCount),
    row(0x0033, Byte, "PictureMode", values, 3),
    row(0x0034, Byte, "DriveMode", values, 4),
    row(0x0035, Short, "SensorSize", values, 2),
    row(0x0037, Short, "ColorSpace", values),
    row(0x0038, Short, "ImageAreaOffset", values, 2),
    row(0x0039, Short, "RawImageSize", values, 2),
    row(0x003C, Long, "AFPointsInFocus", values),
    row(0x003D, Short, "DataScaling", values),
    row(0x003E, Byte, "PreviewImageBorders", values, 4),
    row(0x0040, Short, "SensitivityAdjust", values),
    row(0x0041, Short, "ImageEditCount", values),
    row(0x0047, SByte, "CameraTemperature", values),
    row(0x0048, Short, "AELock", values),
    row(0x0049, Short, "NoiseReduction", values),
    row(0x004D, SLong, "FlashExposureComp", values),
    row(0x004F, Short, "ImageTone", values),
    row(0x0050, Short, "ColorTemperature", values),
    row(0x0053, Undefined, "ColorTempDaylight", values, AnyCount),
    row(0x0054, Undefined, "ColorTempShade", values, AnyCount),
    row(0x0055, Undefined, "ColorTempCloudy", values, AnyCount),
    row(0x0056, Undefined, "ColorTempTungsten", values, AnyCount),
    row(0x0057, Undefined, "ColorTempFluorescentD", values, AnyCount),
    row(0x0058, Undefined, "ColorTempFluorescentN", values, AnyCount),
    row(0x0059, Undefined, "ColorTempFluorescentW", values, AnyCount),
    row(0x005A, Undefined, "ColorTempFlash", values, AnyCount),
    row(0x005D, Undefined, "ShutterCount", values, AnyCount),
    row(0x0062, Short, "RawDevelopmentProcess", values),
    row(0x0067, Short, "Hue", values),
    row(0x0069, Undefined, "DynamicRangeExpansion", values, AnyCount),
    row(0x006C, SShort, "HighLowKeyAdj", values, 2),
    row(0x006D, SShort, "ContrastHighlight", values, 2),
    row(0x006E, SShort, "ContrastShadow", values, 2),
    row(0x006F, Byte, "ContrastHighlightShadowAdj", values),
    row(0x0070, Byte, "FineSharpness", values),
    row(0x0071, Byte, "HighISONoiseReduction", values),
    row(0x0072, SShort, "AFAdjustment", values),
    row(0x0073, Short, "MonochromeFilterEffect", values),
    row(0x0074, Short, "MonochromeToning", values),
    row(0x0076, Byte, "FaceDetect", values, 2),
    row(0x0077, Short, "FaceDetectFrameSize", values, 2),
    row(0x0079, Byte, "ShadowCorrection", values),
    row(0x007A, Byte, "ISOAutoParameters", values, 2),
    row(0x007B, Byte, "CrossProcess", values),
    row(0x007E, Long, "WhiteLevel", values),
    row(0x007F, Short, "BleachBypassToning", values),
    row(0x0080, Undefined, "AspectRatio", values, AnyCount),
    row(0x0082, Byte, "BlurControl", values, 4),
    row(0x0085, Byte, "HDR", values, 4),
    row(0x0087, Byte, "ShutterType", values),
    row(0x0088, Byte, "NeutralDensityFilter", values),
    row(0x008B, Long, "ISO", values),
    row(0x0092, Short, "IntervalShooting", values, 2),
    row(0x0095, SByte, "SkinToneCorrection", values, 2),
    row(0x0096, SByte, "ClarityControl", values, 2),
    row(0x0200, Short, "BlackPoint", values, 4),
    row(0x0201, Short, "WhitePoint", values, 4),
    row(0x0203, SShort, "ColorMatrixA", values, 9),
    row(0x0204, SShort, "ColorMatrixB", values, 9),
    row(0x0209, Byte, "AEMeteringSegments", values),
    row(0x020A, Byte, "FlashMeteringSegments", values),
    row(0x020B, Byte, "SlaveFlashMeteringSegments", values),
    row(0x020D, Short, "WB_RGGBLevelsDaylight", values, 4),
    row(0x020E, Short, "WB_RGGBLevelsShade", values, 4),
    row(0x020F, Short, "WB_RGGBLevelsCloudy", values, 4),
    row(0x0210, Short, "WB_RGGBLevelsTungsten", values, 4),
    row(0x0211, Short, "WB_RGGBLevelsFluorescentD", values, 4),
    row(0x0212, Short, "WB_RGGBLevelsFluorescentN", values, 4),
    row(0x0213, Short, "WB_RGGBLevelsFluorescentW", values, 4),
    row(0x0214, Short, "WB_RGGBLevelsFlash", values, 4),
    row(0x021B, Undefined, "SaturationInfo", values, AnyCount),
    row(0x021C, Undefined, "ColorMatrixA2", values, AnyCount),
    row(0x021D, Undefined, "ColorMatrixB2", values, AnyCount),
    row(0x0220, Undefined, "HuffmanTable", values, AnyCount),
    row(0x0229, Ascii, "SerialNumber", text, AnyCount),
    row(0x022E, Ascii, "Artist", text, AnyCount),
    row(0x022F, Ascii, "Copyright", text, AnyCount),
    row(0x0230, Ascii, "FirmwareVersion", text, AnyCount),
    row(0x0231, Short, "ContrastDetectAFArea", values, 4),
    row(0x0235, Undefined, "CrossProcessParams", values, AnyCount),
    row(0x023F, Ascii, "Model", text, AnyCount),
    row(0x03FE, Undefined, "DataDump", values, AnyCount),
    row(0x0402, Undefined, "ToneCurve", values, AnyCount),
    row(0x0403, Undefined, "ToneCurves", values, AnyCount),
    row(0x0405, Undefined, "UnknownBlock", values, AnyCount),
    End,
};

// What Pentax's codes mean: times in 1/100000 s, F numbers in tenths, focal lengths in
// hundredths of a millimetre, compensation in tenths of a stop from 50, light values in 1/1024.
double exposureTimeOf(double v) { return v / 100000; }
double tenthsOf(double v) { return v / 10; }
double hundredthsOf(double v) { return v / 100; }
double compensationOf(double v) { return (v - 50) / 10; }
double lightValueOf(double v) { return v / 1024; }

constexpr Conversion Conversions[] = {
    {DirectoryId::MakerNote, 0x0012, single<exposureTimeOf>},
    {DirectoryId::MakerNote, 0x0013, single<tenthsOf>},
    {DirectoryId::MakerNote, 0x001D, single<hundredthsOf>},
    {DirectoryId::MakerNote, 0x0016, single<compensationOf>},
    {DirectoryId::MakerNote, 0x002D, single<lightValueOf>},
    {0, 0, nullptr},
};

void subDirectories(Builder& build)
{
    build.array(0x003F, "Pentax LensRec", LensRec, 1);
    build.array(0x0215, "Pentax CameraInfo", CameraInfo, 4);
}

} // namespace

const std::vector<Form>& pentaxForms()
{
    static const std::vector<Form> forms = {
        {"Pentax", "AOC\0", 4, nullptr, 6, false, Base::Tiff, Order::Marked, 4, Main, subDirectories, Conversions},
        {"Pentax", "PENTAX \0", 8, nullptr, 10, false, Base::Note, Order::Marked, 8, Main, subDirectories, Conversions},
        {"Pentax", nullptr, 0, "Asahi", 0, false, Base::Tiff, Order::Parent, 0, Main, subDirectories, Conversions},
        {"Pentax", nullptr, 0, "PENTAX", 0, false, Base::Tiff, Order::Parent, 0, Main, subDirectories, Conversions}
    };
    return forms;
}

} // namespace Metadata::MakerNotes
