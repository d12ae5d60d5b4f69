// Pentax's notes: "AOC\0" and the byte order ("MM", "II", or blanks for the file's own) before
// a directory whose offsets count from the TIFF header; "PENTAX \0" and the byte order before one
// whose offsets count from the note (the newer cameras); a plain directory (the oldest).
#include "MakerNotes.h"

#include <cmath>
#include <string>
#include <vector>

namespace Metadata::MakerNotes {

using namespace Formatters;

namespace {

// Tag names as exiftool gives them, so that scripts written against its output carry over.
// The lens record (tag 0x3f).
constexpr TagRow LensRec[] = {
    row(0, Byte, "LensType", values, 2),
    row(3, Byte, "ExtenderStatus", values),
    End,
};

constexpr TagRow CameraInfo[] = {
    row(0, Long, "PentaxModelID", values),
    row(1, Long, "ManufactureDate", values),
    row(2, Long, "ProductionCode", values, 2),
    row(4, Long, "InternalSerialNumber", values),
    End,
};

// Shake reduction (tag 0x5c, the four-byte form).
constexpr TagRow SRInfo[] = {
    row(0, Byte, "SRResult", values),
    row(1, Byte, "ShakeReduction", values),
    row(2, Byte, "SRHalfPressTime", values),
    row(3, Byte, "SRFocalLength", values),
    End,
};

// The settings of the shot (tag 0x205); the rows from 13 on are the K10D's.
#define PENTAX_SETTINGS                                                                                \
    row(0, Byte, "PictureMode2", values), bits(1, 1, Byte, "ProgramLine", 0x03),                       \
        bits(1, 2, Byte, "EVSteps", 0x20), bits(1, 3, Byte, "E-DialInProgram", 0x40),                  \
        bits(1, 4, Byte, "ApertureRingUse", 0x80), bits(2, 1, Byte, "FlashOptions", 0xF0),             \
        bits(2, 2, Byte, "MeteringMode2", 0x0F), bits(3, 1, Byte, "AFPointMode", 0xF0),                \
        bits(3, 2, Byte, "FocusMode2", 0x0F), row(4, Short, "AFPointSelected2", values),    \
        row(6, Byte, "ISOFloor", values), row(7, Byte, "DriveMode2", values),                          \
        row(8, Byte, "ExposureBracketStepSize", values), row(9, Byte, "BracketShotNumber", values),    \
        bits(10, 1, Byte, "WhiteBalanceSet", 0xF0), bits(10, 2, Byte, "MultipleExposureSet", 0x0F)
constexpr TagRow CameraSettings[] = {PENTAX_SETTINGS, End};
constexpr TagRow CameraSettingsK10D[] = {
    PENTAX_SETTINGS,
    row(13, Byte, "RawAndJpgRecording", values),
    bits(14, 1, Byte, "JpgRecordedPixels", 0x03),
    bits(16, 1, Byte, "FlashOptions2", 0xF0),
    bits(16, 2, Byte, "MeteringMode3", 0x0F),
    bits(17, 1, Byte, "SRActive", 0x80),
    bits(17, 2, Byte, "Rotation", 0x60),
    bits(17, 3, Byte, "ISOSetting", 0x04),
    bits(17, 4, Byte, "SensitivitySteps", 0x02),
    row(18, Byte, "TvExposureTimeSetting", values),
    row(19, Byte, "AvApertureSetting", values),
    row(20, Byte, "SvISOSetting", values),
    row(21, Byte, "BaseExposureCompensation", values),
    End,
};
#undef PENTAX_SETTINGS

// Automatic exposure (tag 0x206, up to 25 bytes but 21).
constexpr TagRow AEInfo[] = {
    row(0, Byte, "AEExposureTime", values),
    row(1, Byte, "AEAperture", values),
    row(2, Byte, "AE_ISO", values),
    row(3, Byte, "AEXv", values),
    row(4, SByte, "AEBXv", values),
    row(5, Byte, "AEMinExposureTime", values),
    row(6, Byte, "AEProgramMode", values),
    row(8, Byte, "AEApertureSteps", values),
    row(9, Byte, "AEMaxAperture", values),
    row(10, Byte, "AEMaxAperture2", values),
    row(11, Byte, "AEMinAperture", values),
    row(12, Byte, "AEMeteringMode", values),
    row(14, SByte, "FlashExposureCompSet", values),
    End,
};

// The lens (tag 0x207, the common size): its type, then the lens's own record from byte 4.
constexpr TagRow LensInfo[] = {
    row(0, Byte, "LensType", values, 4),
    bits(4, 1, Byte, "AutoAperture", 0x01),
    bits(4, 2, Byte, "MinAperture", 0x06),
    bits(4, 3, Byte, "LensFStops", 0x70),
    bits(7, 1, Byte, "MinFocusDistance", 0xF8),
    bits(7, 2, Byte, "FocusRangeIndex", 0x07),
    row(13, Byte, "LensFocalLength", values),
    bits(14, 1, Byte, "NominalMaxAperture", 0xF0),
    bits(14, 2, Byte, "NominalMinAperture", 0x0F),
    bits(18, 1, Byte, "MaxAperture", 0x7F),
    End,
};

// The flash (tag 0x208, 27 bytes).
constexpr TagRow FlashInfo[] = {
    row(0, Byte, "FlashStatus", values),
    row(1, Byte, "InternalFlashMode", values),
    row(2, Byte, "ExternalFlashMode", values),
    row(3, Byte, "InternalFlashStrength", values),
    row(4, Byte, "TTL_DA_AUp", values),
    row(5, Byte, "TTL_DA_ADown", values),
    row(6, Byte, "TTL_DA_BUp", values),
    row(7, Byte, "TTL_DA_BDown", values),
    bits(24, 1, Byte, "ExternalFlashGuideNumber", 0x1F),
    row(25, Byte, "ExternalFlashExposureComp", values),
    row(26, Byte, "ExternalFlashBounce", values),
    End,
};

// The batteries (tag 0x216), as the K10D and K20D report them.
constexpr TagRow BatteryInfo[] = {
    bits(0, 1, Byte, "PowerSource", 0x0F),
    bits(1, 1, Byte, "BodyBatteryState", 0xF0),
    bits(1, 2, Byte, "GripBatteryState", 0x0F),
    row(2, Byte, "BodyBatteryADNoLoad", values),
    row(3, Byte, "BodyBatteryADLoad", values),
    row(4, Byte, "GripBatteryADNoLoad", values),
    row(5, Byte, "GripBatteryADLoad", values),
    End,
};

// Focusing (tag 0x21f).
constexpr TagRow AFInfo[] = {
    row(4, SShort, "AFPredictor", values),
    row(6, Byte, "AFDefocus", values),
    row(7, Byte, "AFIntegrationTime", values),
    row(11, Byte, "AFPointsInFocus", values),
    End,
};

// Colour (tag 0x222).
constexpr TagRow ColorInfo[] = {
    row(16, SByte, "WBShiftAB", values),
    row(17, SByte, "WBShiftGM", values),
    End,
};

constexpr TagRow Main[] = {
    row(0x003F, Undefined, "LensRec", silent, AnyCount),
    row(0x0215, Undefined, "CameraInfo", silent, AnyCount),
    row(0x005C, Undefined, "ShakeReductionInfo", silent, AnyCount),
    row(0x0205, Undefined, "CameraSettings", silent, AnyCount),
    row(0x0206, Undefined, "AEInfo", silent, AnyCount),
    row(0x0207, Undefined, "LensInfo", silent, AnyCount),
    row(0x0208, Undefined, "FlashInfo", silent, AnyCount),
    row(0x0216, Undefined, "BatteryInfo", silent, AnyCount),
    row(0x021F, Undefined, "AFInfo", silent, AnyCount),
    row(0x0222, Undefined, "ColorInfo", silent, AnyCount),
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

// Exposure values in eighths of a stop, where 3 and 5 eighths stand for a third and two thirds.
double eighths(double code)
{
    double v = code;
    const auto n = static_cast<long>(code);
    if ((n & 1) != 0) {
        const double sign = n < 0 ? -1 : 1;
        const long part = (n < 0 ? -n : n) & 7;
        if (part == 3) {
            v += sign * (8.0 / 3 - 3);
        } else if (part == 5) {
            v += sign * (16.0 / 3 - 5);
        }
    }
    return v / 8;
}

// The automatic exposure's record counts in eighths of a stop from fixed points.
double aeTimeOf(double v) { return 24 * std::exp2(-(v - 32) / 8); }
double aeApertureOf(double v) { return std::exp2((v - 68) / 16); }
double aeIsoOf(double v) { return 100 * std::exp2((v - 32) / 8); }
double aeExposureOf(double v) { return (v - 64) / 8; }
double eighthsOf(double v) { return v / 8; }
double isoOf(double v) { return std::floor(100 * std::exp2(eighths(v - 32)) + 0.5); }
double tvTimeOf(double v) { return std::exp2(-eighths(v - 68)); }
double avApertureOf(double v) { return std::exp2(eighths(v - 68) / 2); }
double baseCompensationOf(double v) { return eighths(64 - v); }
double halfPressOf(double v) { return v / 60; }
double srFocalLengthOf(double v) { return (static_cast<long>(v) & 1) != 0 ? v * 4 : v / 2; }
double doubled(double v) { return v * 2; }
// The lens's record: f-stops in half stops from 5 (the bits inverted), apertures in quarter
// and 32nd stops, a focal length as a mantissa of six bits and a power of four.
double lensStopsOf(double v) { return 5 + (static_cast<long>(v) ^ 7) / 2.0; }
double lensFocalLengthOf(double v)
{
    const auto n = static_cast<long>(v);
    return 10.0 * static_cast<double>(n >> 2) * std::pow(4.0, static_cast<double>((n & 3) - 2));
}
double nominalMaxOf(double v) { return std::exp2(v / 4); }
double nominalMinOf(double v) { return std::exp2((v + 10) / 4); }
double maxApertureOf(double v) { return v > 1 ? std::exp2((v - 1) / 32) : std::nan(""); }
double guideNumberOf(double v) { return v == 0 ? 0 : std::exp2((v == 29 ? -3 : v) / 16 + 4); }

// The bytes of an UNDEFINED field, when it holds `least` of them (and no more than `most`).
bool bytesOf(const Field& field, std::vector<std::uint32_t>& bytes, std::size_t least, std::size_t most)
{
    return field.type() == Undefined && numbers(field, bytes, least) && bytes.size() <= most;
}

// The date as a 16-bit year (high byte first), a month and a day.
bool dateOf(const Field& field, std::string& text)
{
    std::vector<std::uint32_t> b;
    if (!bytesOf(field, b, 4, 4)) {
        return false;
    }
    text = zeroPadded(b[0] << 8 | b[1], 4) + ':' + zeroPadded(b[2], 2) + ':' + zeroPadded(b[3], 2);
    return true;
}

bool timeOf(const Field& field, std::string& text)
{
    std::vector<std::uint32_t> b;
    if (!bytesOf(field, b, 3, 4)) {
        return false;
    }
    text = zeroPadded(b[0], 2) + ':' + zeroPadded(b[1], 2) + ':' + zeroPadded(b[2], 2);
    return true;
}

// Firmware versions are stored with every bit inverted.
bool firmwareOf(const Field& field, std::string& text)
{
    std::vector<std::uint32_t> b;
    if (!bytesOf(field, b, 4, 4)) {
        return false;
    }
    text = std::to_string(b[0] ^ 0xFF) + ' ' + zeroPadded(b[1] ^ 0xFF, 2) + ' ' + zeroPadded(b[2] ^ 0xFF, 2) + ' ' +
           zeroPadded(b[3] ^ 0xFF, 2);
    return true;
}

// The shutter count is enciphered with the shot's date and time, each read as a big-endian
// 32-bit number (the three bytes of the time followed by a zero).
bool shutterCountOf(const Field& field, const DisplayContext& context, double& value)
{
    std::vector<std::uint32_t> time;
    const Field* dateField = context.field(DirectoryId::MakerNote, 0x0006);
    const Field* timeField = context.field(DirectoryId::MakerNote, 0x0007);
    double count = 0, date = 0;
    if (field.count() != 4 || dateField == nullptr || timeField == nullptr || dateField->count() != 4 ||
        !bigEndianNumber(field, count) || !bigEndianNumber(*dateField, date) || !bytesOf(*timeField, time, 3, 4)) {
        return false;
    }
    const std::uint32_t clock = time[0] << 24 | time[1] << 16 | time[2] << 8;
    value = static_cast<std::uint32_t>(count) ^ static_cast<std::uint32_t>(date) ^ (0xFFFFFFFFu - clock);
    return true;
}

// A date written as the decimal number yyyymmdd.
bool manufactureDateOf(const Field& field, std::string& text)
{
    std::uint32_t v = 0;
    if (field.count() != 1 || !field.getUInt32(v) || v < 10000000 || v > 99991231) {
        return false;
    }
    text = std::to_string(v / 10000) + ':' + zeroPadded(v / 100 % 100, 2) + ':' + zeroPadded(v % 100, 2);
    return true;
}

bool productionCodeOf(const Field& field, std::string& text)
{
    std::uint32_t a = 0, b = 0;
    if (field.count() != 2 || !field.getUInt32(a, 0) || !field.getUInt32(b, 1)) {
        return false;
    }
    text = std::to_string(a) + '.' + std::to_string(b);
    return true;
}

// The lens type of the record: the series in the low bits of its first byte, the model in the
// third and fourth, high byte first.
bool lensTypeOf(const Field& field, std::string& text)
{
    std::uint32_t v[4] = {};
    for (std::uint32_t i = 0; i < 4; ++i) {
        if (field.count() != 4 || !field.getUInt32(v[i], i)) {
            return false;
        }
    }
    text = std::to_string(v[0] & 0x0F) + ' ' + std::to_string(v[2] * 256 + v[3]);
    return true;
}

constexpr std::uint32_t CameraInfoId = subDirectoryId(0x0215);
constexpr std::uint32_t SRInfoId = subDirectoryId(0x005C);
constexpr std::uint32_t SettingsId = subDirectoryId(0x0205);
constexpr std::uint32_t AEInfoId = subDirectoryId(0x0206);
constexpr std::uint32_t LensInfoId = subDirectoryId(0x0207);
constexpr std::uint32_t FlashInfoId = subDirectoryId(0x0208);
constexpr std::uint32_t AFInfoId = subDirectoryId(0x021F);

constexpr Conversion Conversions[] = {
    {DirectoryId::MakerNote, 0x0012, single<exposureTimeOf>},
    {DirectoryId::MakerNote, 0x0013, single<tenthsOf>},
    {DirectoryId::MakerNote, 0x001D, single<hundredthsOf>},
    {DirectoryId::MakerNote, 0x0016, single<compensationOf>},
    {DirectoryId::MakerNote, 0x0040, single<compensationOf>},
    {DirectoryId::MakerNote, 0x002D, single<lightValueOf>},
    asOffset(DirectoryId::MakerNote, 0x0004),
    asText(DirectoryId::MakerNote, 0x0006, dateOf),
    asText(DirectoryId::MakerNote, 0x0007, timeOf),
    asText(DirectoryId::MakerNote, 0x0027, firmwareOf),
    asText(DirectoryId::MakerNote, 0x0028, firmwareOf),
    withContext(DirectoryId::MakerNote, 0x005D, shutterCountOf),
    asText(CameraInfoId, 1, manufactureDateOf),
    asText(CameraInfoId, 2, productionCodeOf),
    ofBits(SRInfoId, 2, halfPressOf),
    ofBits(SRInfoId, 3, srFocalLengthOf),
    ofBits(SettingsId, 6, isoOf),
    ofBits(SettingsId, 18, tvTimeOf),
    ofBits(SettingsId, 19, avApertureOf),
    ofBits(SettingsId, 20, isoOf),
    ofBits(SettingsId, 21, baseCompensationOf),
    ofBits(AEInfoId, 0, aeTimeOf),
    ofBits(AEInfoId, 1, aeApertureOf),
    ofBits(AEInfoId, 2, aeIsoOf),
    ofBits(AEInfoId, 3, aeExposureOf),
    ofBits(AEInfoId, 4, eighthsOf),
    ofBits(AEInfoId, 5, aeTimeOf),
    ofBits(AEInfoId, 9, aeApertureOf),
    ofBits(AEInfoId, 10, aeApertureOf),
    ofBits(AEInfoId, 11, aeApertureOf),
    ofBits(AEInfoId, 14, eighths),
    asText(LensInfoId, 0, lensTypeOf),
    ofBits(LensInfoId, bitsTag(4, 3), lensStopsOf),
    ofBits(LensInfoId, 13, lensFocalLengthOf),
    ofBits(LensInfoId, bitsTag(14, 1), nominalMaxOf),
    ofBits(LensInfoId, bitsTag(14, 2), nominalMinOf),
    ofBits(LensInfoId, bitsTag(18, 1), maxApertureOf),
    ofBits(FlashInfoId, bitsTag(24, 1), guideNumberOf),
    ofBits(AFInfoId, 7, doubled),
    {0, 0},
};

// The size of entry `tag`'s value in bytes; 0 when the note has no such entry.
std::uint64_t sizeOf(const Builder& build, std::uint16_t tag)
{
    const Field* f = build.main().find(tag);
    return f == nullptr || f->damaged() ? 0 : std::uint64_t{typeSize(f->type())} * f->count();
}

bool isK10D(const std::string& model)
{
    return model.find("K10D") != std::string::npos || model.find("GX10") != std::string::npos;
}

void subDirectories(Builder& build)
{
    build.array(0x003F, "Pentax LensRec", LensRec, 1);
    if (sizeOf(build, 0x005C) == 4) {
        build.array(0x005C, "Pentax SRInfo", SRInfo, 1);
    }
    // Each record's layout is known by its size; one of another size is left undecoded.
    if (const std::uint64_t size = sizeOf(build, 0x0205); size > 0 && size < 25) {
        build.array(0x0205, "Pentax CameraSettings", isK10D(build.model()) ? CameraSettingsK10D : CameraSettings, 1);
    }
    if (const std::uint64_t size = sizeOf(build, 0x0206); size > 0 && size <= 25 && size != 21) {
        build.array(0x0206, "Pentax AEInfo", AEInfo, 1);
    }
    if (const std::uint64_t size = sizeOf(build, 0x0207);
        size > 0 && size != 90 && size != 91 && size != 80 && size != 128 && size != 168) {
        build.array(0x0207, "Pentax LensInfo", LensInfo, 1);
    }
    if (sizeOf(build, 0x0208) == 27) {
        build.array(0x0208, "Pentax FlashInfo", FlashInfo, 1);
    }
    build.array(0x0215, "Pentax CameraInfo", CameraInfo, 4);
    if (isK10D(build.model()) || build.model().find("K20D") != std::string::npos ||
        build.model().find("GX20") != std::string::npos) {
        build.array(0x0216, "Pentax BatteryInfo", BatteryInfo, 1);
    }
    build.array(0x021F, "Pentax AFInfo", AFInfo, 1);
    build.array(0x0222, "Pentax ColorInfo", ColorInfo, 1);
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
