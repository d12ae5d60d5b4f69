// Canon's notes: a plain directory whose offsets count from the EXIF block's TIFF header, with
// arrays of 16-bit values (camera settings, shot information, focal length, file information)
// that hold most of what a photographer looks for.
#include "Canon.h"

#include "../FormatterSupport.h"

#include <cmath>
#include <cstdio>
#include <vector>

namespace Metadata::MakerNotes {

using namespace FormatterSupport;
using namespace Formatters;
using Canon::modelMatches;

namespace {

// Canon's exposure values: 1/32 EV steps, with thirds of a stop coded as 12 and 20 of them.
double canonEv(std::int32_t raw)
{
    const double sign = raw < 0 ? -1 : 1;
    std::int32_t v = raw < 0 ? -raw : raw;
    const std::int32_t step = v & 0x1F;
    v -= step;
    const double fraction = step == 0x0C ? 32.0 / 3 : step == 0x14 ? 64.0 / 3 : step;
    return sign * (v + fraction) / 32;
}

template <class Write> bool signedValue(const Field& field, Write write)
{
    std::int32_t v = 0;
    return formatValue([&] { return field.getInt32(v); }, [&] { write(v); });
}

template <class Write> bool unsignedValue(const Field& field, Write write)
{
    std::uint32_t v = 0;
    return formatValue([&] { return field.getUInt32(v); }, [&] { write(v); });
}

bool aperture(ValueText& out, const Field& field, const DisplayContext&)
{
    return signedValue(field, [&](std::int32_t v) { out << 'F' << roundTo(std::pow(2.0, canonEv(v) / 2), 1); });
}

bool exposureTime(ValueText& out, const Field& field, const DisplayContext&)
{
    return signedValue(field, [&](std::int32_t v) {
        const double seconds = std::pow(2.0, -canonEv(v));
        if (seconds > 0 && seconds < 0.25) {
            out << "1/" << roundTo(1 / seconds, 0);
        } else {
            out << roundTo(seconds, 1);
        }
        out << " s";
    });
}

bool focusDistance(ValueText& out, const Field& field, const DisplayContext&)
{
    // Hundredths of a metre; all ones is infinity.
    return unsignedValue(field, [&](std::uint32_t v) {
        if (v == 0xFFFF) {
            out << "inf";
        } else {
            out << roundTo(v / 100.0, 2) << " m";
        }
    });
}

bool focalPlaneSize(ValueText& out, const Field& field, const DisplayContext&)
{
    // Thousandths of an inch.
    return unsignedValue(field, [&](std::uint32_t v) { out << roundTo(v * 25.4 / 1000, 2) << " mm"; });
}

bool millimetres(ValueText& out, const Field& field, const DisplayContext&)
{
    return unsignedValue(field, [&](std::uint32_t v) { out << v << " mm"; });
}

bool kelvin(ValueText& out, const Field& field, const DisplayContext&)
{
    return unsignedValue(field, [&](std::uint32_t v) { out << v << " K"; });
}

template <const auto& Names> bool choice(ValueText& out, const Field& field, const DisplayContext&)
{
    std::int32_t v = 0;
    return formatValue(
        [&] {
            std::uint32_t u = 0;
            if (field.type() == SShort || field.type() == SLong || field.type() == SByte) {
                return field.getInt32(v);
            }
            if (field.type() != Short && field.type() != Long && field.type() != Byte) {
                return false; // no number of the kind a choice is made of
            }
            const bool ok = field.getUInt32(u);
            v = static_cast<std::int32_t>(u);
            return ok;
        },
        [&] {
            for (const EnumName& n : Names) {
                if (static_cast<std::int32_t>(n.value) == v) {
                    out << n.text;
                    return;
                }
            }
            out << "Unknown (" << v << ')';
        });
}

constexpr EnumName MacroModes[] = {{1, "Macro"}, {2, "Normal"}};
constexpr EnumName Qualities[] = {{static_cast<std::uint32_t>(-1), "n/a"}, {1, "Economy"}, {2, "Normal"},
                                  {3, "Fine"}, {4, "RAW"}, {5, "Superfine"}, {7, "CRAW"},
                                  {130, "Light (RAW)"}, {131, "Standard (RAW)"}};
constexpr EnumName DriveModes[] = {{0, "Single"}, {1, "Continuous"}, {2, "Movie"},
                                   {3, "Continuous, Speed Priority"}, {4, "Continuous, Low"},
                                   {5, "Continuous, High"}, {6, "Silent Single"}};
constexpr EnumName FocusModes[] = {{0, "One-shot AF"}, {1, "AI Servo AF"}, {2, "AI Focus AF"},
                                   {3, "Manual Focus (3)"}, {4, "Single"}, {5, "Continuous"},
                                   {6, "Manual Focus (6)"}, {16, "Pan Focus"}};
constexpr EnumName RecordModes[] = {{1, "JPEG"}, {2, "CRW+THM"}, {3, "AVI+THM"}, {4, "TIF"}, {5, "TIF+JPEG"},
                                    {6, "CR2"},  {7, "CR2+JPEG"}, {9, "MOV"},    {10, "MP4"}, {11, "CRM"},
                                    {12, "CR3"}, {13, "CR3+JPEG"}, {14, "HIF"},  {15, "CR3+HIF"}};
constexpr EnumName MeteringModes[] = {{0, "Default"}, {1, "Spot"}, {2, "Average"}, {3, "Evaluative"},
                                      {4, "Partial"}, {5, "Center-weighted average"}};
constexpr EnumName ExposureModes[] = {{0, "Easy"}, {1, "Program AE"}, {2, "Shutter speed priority AE"},
                                      {3, "Aperture-priority AE"}, {4, "Manual"}, {5, "Depth-of-field AE"},
                                      {6, "M-Dep"}, {7, "Bulb"}, {8, "Flexible-priority AE"}};
constexpr EnumName FlashModes[] = {{0, "Off"}, {1, "Auto"}, {2, "On"}, {3, "Red-eye reduction"},
                                   {4, "Slow-sync"}, {5, "Red-eye reduction (Auto)"},
                                   {6, "Red-eye reduction (On)"}, {16, "External flash"}};
constexpr EnumName WhiteBalances[] = {{0, "Auto"}, {1, "Daylight"}, {2, "Cloudy"}, {3, "Tungsten"},
                                      {4, "Fluorescent"}, {5, "Flash"}, {6, "Custom"}, {7, "Black & White"},
                                      {8, "Shade"}, {9, "Manual Temperature (Kelvin)"}};
constexpr EnumName ColorSpaces[] = {{1, "sRGB"}, {2, "Adobe RGB"}};

// Camera settings (tag 1): 16-bit values, counted from the array's start.
constexpr TagRow CameraSettings[] = {
    row(1, SShort, "MacroMode", choice<MacroModes>),
    row(2, SShort, "SelfTimer", values),
    row(3, SShort, "Quality", choice<Qualities>),
    row(4, SShort, "CanonFlashMode", choice<FlashModes>),
    row(5, SShort, "ContinuousDrive", choice<DriveModes>),
    row(7, SShort, "FocusMode", choice<FocusModes>),
    row(9, SShort, "RecordMode", choice<RecordModes>),
    row(10, SShort, "CanonImageSize", values),
    row(11, SShort, "EasyMode", values),
    row(12, SShort, "DigitalZoom", values),
    row(13, SShort, "Contrast", values),
    row(14, SShort, "Saturation", values),
    row(15, SShort, "Sharpness", values),
    row(16, SShort, "CameraISO", values),
    row(17, SShort, "MeteringMode", choice<MeteringModes>),
    row(18, SShort, "FocusRange", values),
    row(19, SShort, "AFPoint", values),
    row(20, SShort, "CanonExposureMode", choice<ExposureModes>),
    row(22, Short, "LensType", values),
    row(23, Short, "MaxFocalLength", millimetres),
    row(24, Short, "MinFocalLength", millimetres),
    row(25, SShort, "FocalUnits", values),
    row(26, SShort, "MaxAperture", aperture),
    row(27, SShort, "MinAperture", aperture),
    row(28, SShort, "FlashActivity", values),
    row(29, SShort, "FlashBits", values),
    row(32, SShort, "FocusContinuous", values),
    row(33, SShort, "AESetting", values),
    row(34, SShort, "ImageStabilization", values),
    row(35, SShort, "DisplayAperture", values),
    row(36, SShort, "ZoomSourceWidth", values),
    row(37, SShort, "ZoomTargetWidth", values),
    row(39, SShort, "SpotMeteringMode", values),
    row(40, SShort, "PhotoEffect", values),
    row(41, SShort, "ManualFlashOutput", values),
    row(42, SShort, "ColorTone", values),
    row(46, SShort, "SRAWQuality", values),
    End,
};

// Focal length (tag 2).
constexpr TagRow FocalLength[] = {
    row(0, Short, "FocalType", values),
    row(1, Short, "FocalLength", millimetres),
    row(2, Short, "FocalPlaneXSize", focalPlaneSize),
    row(3, Short, "FocalPlaneYSize", focalPlaneSize),
    End,
};

// Shot information (tag 4).
constexpr TagRow ShotInfo[] = {
    row(1, SShort, "AutoISO", values),
    row(2, SShort, "BaseISO", values),
    row(3, SShort, "MeasuredEV", values),
    row(4, SShort, "TargetAperture", aperture),
    row(5, SShort, "TargetExposureTime", exposureTime),
    row(6, SShort, "ExposureCompensation", values),
    row(7, SShort, "WhiteBalance", choice<WhiteBalances>),
    row(8, SShort, "SlowShutter", values),
    row(9, SShort, "SequenceNumber", values),
    row(10, SShort, "OpticalZoomCode", values),
    row(12, SShort, "CameraTemperature", values),
    row(13, SShort, "FlashGuideNumber", values),
    row(14, SShort, "AFPointsInFocus", values),
    row(15, SShort, "FlashExposureComp", values),
    row(16, SShort, "AutoExposureBracketing", values),
    row(17, SShort, "AEBBracketValue", values),
    row(18, SShort, "ControlMode", values),
    row(19, Short, "FocusDistanceUpper", focusDistance),
    row(20, Short, "FocusDistanceLower", focusDistance),
    row(21, SShort, "FNumber", aperture),
    row(22, SShort, "ExposureTime", exposureTime),
    row(23, SShort, "MeasuredEV2", values),
    row(24, SShort, "BulbDuration", values),
    row(26, SShort, "CameraType", values),
    row(27, SShort, "AutoRotate", values),
    row(28, SShort, "NDFilter", values),
    row(29, SShort, "SelfTimer2", values),
    row(33, SShort, "FlashOutput", values),
    End,
};

// File information (tag 0x93). Its first value means something on a few older models only (a
// file number in an order of bits of their own, a shutter count), and is left out.
constexpr TagRow FileInfo[] = {
    row(3, SShort, "BracketMode", values),
    row(4, SShort, "BracketValue", values),
    row(5, SShort, "BracketShotNumber", values),
    row(6, SShort, "RawJpgQuality", values),
    row(7, SShort, "RawJpgSize", values),
    row(8, SShort, "LongExposureNoiseReduction2", values),
    row(9, SShort, "WBBracketMode", values),
    row(12, SShort, "WBBracketValueAB", values),
    row(13, SShort, "WBBracketValueGM", values),
    row(14, SShort, "FilterEffect", values),
    row(15, SShort, "ToningEffect", values),
    row(16, SShort, "MacroMagnification", values),
    row(19, SShort, "LiveViewShooting", values),
    row(20, Short, "FocusDistanceUpper", focusDistance),
    row(21, Short, "FocusDistanceLower", focusDistance),
    row(23, SShort, "ShutterMode", values),
    row(25, SShort, "FlashExposureLock", values),
    row(61, Short, "RFLensType", values),
    End,
};

// Counts of the auto-focus records' lists, which follow the number of AF points: one value per
// point, or one bit per point in 16-bit words. The EOS cameras end the record with the last list
// that is theirs; the others go on with values of their own.
constexpr std::uint32_t PerPoint = 0xFFFF0001;
constexpr std::uint32_t PerPointBits = 0xFFFF0002;
constexpr std::uint32_t EosPerPointBits = 0xFFFF0003; // an EOS's only; the others' record ends before it
constexpr std::uint32_t NotEos = 0xFFFF0004;          // one value, no EOS's

// Auto-focus information of the older cameras (tag 0x12): 16-bit values one after the other, a
// row's tag its place in that order.
constexpr TagRow AFInfo[] = {
    row(0, Short, "NumAFPoints", values),
    row(1, Short, "ValidAFPoints", values),
    row(2, Short, "CanonImageWidth", values),
    row(3, Short, "CanonImageHeight", values),
    row(4, Short, "AFImageWidth", values),
    row(5, Short, "AFImageHeight", values),
    row(6, Short, "AFAreaWidth", values),
    row(7, Short, "AFAreaHeight", values),
    row(8, SShort, "AFAreaXPositions", values, PerPoint),
    row(9, SShort, "AFAreaYPositions", values, PerPoint),
    row(10, SShort, "AFPointsInFocus", values, PerPointBits),
    row(11, Short, "PrimaryAFPoint", values, NotEos),
    End,
};

// Auto-focus information of the newer cameras (tag 0x26).
constexpr TagRow AFInfo2[] = {
    row(0, Short, "AFInfoSize", values),
    row(1, Short, "AFAreaMode", values),
    row(2, Short, "NumAFPoints", values),
    row(3, Short, "ValidAFPoints", values),
    row(4, Short, "CanonImageWidth", values),
    row(5, Short, "CanonImageHeight", values),
    row(6, Short, "AFImageWidth", values),
    row(7, Short, "AFImageHeight", values),
    row(8, SShort, "AFAreaWidths", values, PerPoint),
    row(9, SShort, "AFAreaHeights", values, PerPoint),
    row(10, SShort, "AFAreaXPositions", values, PerPoint),
    row(11, SShort, "AFAreaYPositions", values, PerPoint),
    row(12, SShort, "AFPointsInFocus", values, PerPointBits),
    row(13, SShort, "AFPointsSelected", values, EosPerPointBits),
    End,
};

// Crop margins (tag 0x98) and the aspect ratio's frame (tag 0x9a, 32-bit values).
constexpr TagRow CropInfo[] = {
    row(0, Short, "CropLeftMargin", values),
    row(1, Short, "CropRightMargin", values),
    row(2, Short, "CropTopMargin", values),
    row(3, Short, "CropBottomMargin", values),
    End,
};

constexpr TagRow AspectInfo[] = {
    row(0, Long, "AspectRatio", values),
    row(1, Long, "CroppedImageWidth", values),
    row(2, Long, "CroppedImageHeight", values),
    row(3, Long, "CroppedImageLeft", values),
    row(4, Long, "CroppedImageTop", values),
    End,
};

// How the camera processed the picture (tag 0xa0).
constexpr TagRow Processing[] = {
    row(1, SShort, "ToneCurve", values),
    row(2, SShort, "Sharpness", values),
    row(3, SShort, "SharpnessFrequency", values),
    row(4, SShort, "SensorRedLevel", values),
    row(5, SShort, "SensorBlueLevel", values),
    row(6, SShort, "WhiteBalanceRed", values),
    row(7, SShort, "WhiteBalanceBlue", values),
    row(8, SShort, "WhiteBalance", values),
    row(9, SShort, "ColorTemperature", values),
    row(10, SShort, "PictureStyle", values),
    row(11, SShort, "DigitalGain", values),
    row(12, SShort, "WBShiftAB", values),
    row(13, SShort, "WBShiftGM", values),
    End,
};

// The sensor's size and the part of it the picture was taken from (tag 0xe0).
constexpr TagRow SensorInfo[] = {
    row(1, SShort, "SensorWidth", values),
    row(2, SShort, "SensorHeight", values),
    row(5, SShort, "SensorLeftBorder", values),
    row(6, SShort, "SensorTopBorder", values),
    row(7, SShort, "SensorRightBorder", values),
    row(8, SShort, "SensorBottomBorder", values),
    row(9, SShort, "BlackMaskLeftBorder", values),
    row(10, SShort, "BlackMaskTopBorder", values),
    row(11, SShort, "BlackMaskRightBorder", values),
    row(12, SShort, "BlackMaskBottomBorder", values),
    End,
};

// Focus fine tuning (tag 0x4013), 32-bit steps.
constexpr TagRow AFMicroAdj[] = {
    row(1, SLong, "AFMicroAdjMode", values),
    row(2, SRational, "AFMicroAdjValue", values),
    End,
};

// White balance levels (tag 0xa9), red, green, green, blue.
constexpr TagRow ColorBalance[] = {
    row(1, SShort, "WB_RGGBLevelsAuto", values, 4),
    row(5, SShort, "WB_RGGBLevelsDaylight", values, 4),
    row(9, SShort, "WB_RGGBLevelsShade", values, 4),
    row(13, SShort, "WB_RGGBLevelsCloudy", values, 4),
    row(17, SShort, "WB_RGGBLevelsTungsten", values, 4),
    row(21, SShort, "WB_RGGBLevelsFluorescent", values, 4),
    row(25, SShort, "WB_RGGBLevelsFlash", values, 4),
    row(29, SShort, "WB_RGGBLevelsCustom", values, 4),
    row(33, SShort, "WB_RGGBLevelsKelvin", values, 4),
    row(37, SShort, "WB_RGGBBlackLevels", values, 4),
    End,
};

// The colour the camera measured (tag 0xaa).
constexpr TagRow MeasuredColor[] = {
    row(1, Short, "MeasuredRGGB", values, 4),
    End,
};

// Colour data (tag 0x4001): white balance levels (red, green, green, blue) and the colour
// temperature of each preset. Its layout goes with its size, as exiftool tells them apart.
constexpr TagRow ColorData1[] = { // 20D, 350D
    row(0x19, SShort, "WB_RGGBLevelsAsShot", values, 4),
    row(0x1d, SShort, "ColorTempAsShot", values),
    row(0x1e, SShort, "WB_RGGBLevelsAuto", values, 4),
    row(0x22, SShort, "ColorTempAuto", values),
    row(0x23, SShort, "WB_RGGBLevelsDaylight", values, 4),
    row(0x27, SShort, "ColorTempDaylight", values),
    row(0x28, SShort, "WB_RGGBLevelsShade", values, 4),
    row(0x2c, SShort, "ColorTempShade", values),
    row(0x2d, SShort, "WB_RGGBLevelsCloudy", values, 4),
    row(0x31, SShort, "ColorTempCloudy", values),
    row(0x32, SShort, "WB_RGGBLevelsTungsten", values, 4),
    row(0x36, SShort, "ColorTempTungsten", values),
    row(0x37, SShort, "WB_RGGBLevelsFluorescent", values, 4),
    row(0x3b, SShort, "ColorTempFluorescent", values),
    row(0x3c, SShort, "WB_RGGBLevelsFlash", values, 4),
    row(0x40, SShort, "ColorTempFlash", values),
    row(0x41, SShort, "WB_RGGBLevelsCustom1", values, 4),
    row(0x45, SShort, "ColorTempCustom1", values),
    row(0x46, SShort, "WB_RGGBLevelsCustom2", values, 4),
    row(0x4a, SShort, "ColorTempCustom2", values),
    End,
};

constexpr TagRow ColorData2[] = { // 1D Mark II, 1Ds Mark II
    row(0x18, SShort, "WB_RGGBLevelsAuto", values, 4),
    row(0x1c, SShort, "ColorTempAuto", values),
    row(0x22, SShort, "WB_RGGBLevelsAsShot", values, 4),
    row(0x26, SShort, "ColorTempAsShot", values),
    row(0x27, SShort, "WB_RGGBLevelsDaylight", values, 4),
    row(0x2b, SShort, "ColorTempDaylight", values),
    row(0x2c, SShort, "WB_RGGBLevelsShade", values, 4),
    row(0x30, SShort, "ColorTempShade", values),
    row(0x31, SShort, "WB_RGGBLevelsCloudy", values, 4),
    row(0x35, SShort, "ColorTempCloudy", values),
    row(0x36, SShort, "WB_RGGBLevelsTungsten", values, 4),
    row(0x3a, SShort, "ColorTempTungsten", values),
    row(0x3b, SShort, "WB_RGGBLevelsFluorescent", values, 4),
    row(0x3f, SShort, "ColorTempFluorescent", values),
    row(0x40, SShort, "WB_RGGBLevelsKelvin", values, 4),
    row(0x44, SShort, "ColorTempKelvin", values),
    row(0x45, SShort, "WB_RGGBLevelsFlash", values, 4),
    row(0x49, SShort, "ColorTempFlash", values),
    row(0x90, SShort, "WB_RGGBLevelsPC1", values, 4),
    row(0x94, SShort, "ColorTempPC1", values),
    row(0x95, SShort, "WB_RGGBLevelsPC2", values, 4),
    row(0x99, SShort, "ColorTempPC2", values),
    row(0x9a, SShort, "WB_RGGBLevelsPC3", values, 4),
    row(0x9e, SShort, "ColorTempPC3", values),
    row(0x26a, Long, "RawMeasuredRGGB", values, 4),
    End,
};

constexpr TagRow ColorData3[] = { // 1D Mark II N, 5D, 30D, 400D
    row(0x00, SShort, "ColorDataVersion", values),
    row(0x3f, SShort, "WB_RGGBLevelsAsShot", values, 4),
    row(0x43, SShort, "ColorTempAsShot", values),
    row(0x44, SShort, "WB_RGGBLevelsAuto", values, 4),
    row(0x48, SShort, "ColorTempAuto", values),
    row(0x49, SShort, "WB_RGGBLevelsMeasured", values, 4),
    row(0x4d, SShort, "ColorTempMeasured", values),
    row(0x4e, SShort, "WB_RGGBLevelsDaylight", values, 4),
    row(0x52, SShort, "ColorTempDaylight", values),
    row(0x53, SShort, "WB_RGGBLevelsShade", values, 4),
    row(0x57, SShort, "ColorTempShade", values),
    row(0x58, SShort, "WB_RGGBLevelsCloudy", values, 4),
    row(0x5c, SShort, "ColorTempCloudy", values),
    row(0x5d, SShort, "WB_RGGBLevelsTungsten", values, 4),
    row(0x61, SShort, "ColorTempTungsten", values),
    row(0x62, SShort, "WB_RGGBLevelsFluorescent", values, 4),
    row(0x66, SShort, "ColorTempFluorescent", values),
    row(0x67, SShort, "WB_RGGBLevelsKelvin", values, 4),
    row(0x6b, SShort, "ColorTempKelvin", values),
    row(0x6c, SShort, "WB_RGGBLevelsFlash", values, 4),
    row(0x70, SShort, "ColorTempFlash", values),
    row(0x71, SShort, "WB_RGGBLevelsPC1", values, 4),
    row(0x75, SShort, "ColorTempPC1", values),
    row(0x76, SShort, "WB_RGGBLevelsPC2", values, 4),
    row(0x7a, SShort, "ColorTempPC2", values),
    row(0x7b, SShort, "WB_RGGBLevelsPC3", values, 4),
    row(0x7f, SShort, "ColorTempPC3", values),
    row(0x80, SShort, "WB_RGGBLevelsCustom", values, 4),
    row(0x84, SShort, "ColorTempCustom", values),
    row(0xc4, Short, "PerChannelBlackLevel", values, 4),
    End,
};

// 40D, 1D Mark III, 1Ds Mark III, 450D, 1000D, 50D, 5D Mark II, 500D, 7D, 1D Mark IV, 550D,
// 60D, 1100D: the levels from 0x3f on.
constexpr TagRow ColorData4[] = {
    row(0x00, SShort, "ColorDataVersion", values),
    row(0x3f, SShort, "WB_RGGBLevelsAsShot", values, 4),
    row(0x43, SShort, "ColorTempAsShot", values),
    row(0x44, SShort, "WB_RGGBLevelsAuto", values, 4),
    row(0x48, SShort, "ColorTempAuto", values),
    row(0x49, SShort, "WB_RGGBLevelsMeasured", values, 4),
    row(0x4d, SShort, "ColorTempMeasured", values),
    row(0x53, SShort, "WB_RGGBLevelsDaylight", values, 4),
    row(0x57, SShort, "ColorTempDaylight", values),
    row(0x58, SShort, "WB_RGGBLevelsShade", values, 4),
    row(0x5c, SShort, "ColorTempShade", values),
    row(0x5d, SShort, "WB_RGGBLevelsCloudy", values, 4),
    row(0x61, SShort, "ColorTempCloudy", values),
    row(0x62, SShort, "WB_RGGBLevelsTungsten", values, 4),
    row(0x66, SShort, "ColorTempTungsten", values),
    row(0x67, SShort, "WB_RGGBLevelsFluorescent", values, 4),
    row(0x6b, SShort, "ColorTempFluorescent", values),
    row(0x6c, SShort, "WB_RGGBLevelsKelvin", values, 4),
    row(0x70, SShort, "ColorTempKelvin", values),
    row(0x71, SShort, "WB_RGGBLevelsFlash", values, 4),
    row(0x75, SShort, "ColorTempFlash", values),
    row(0xe7, Short, "AverageBlackLevel", values, 4),
    row(0x280, Long, "RawMeasuredRGGB", values, 4),
    End,
};

struct ColorDataLayout {
    std::uint32_t counts[9]; // the record's numbers of 16-bit values; 0 ends the list
    const TagRow* table;
};

constexpr ColorDataLayout ColorDataLayouts[] = {
    {{582}, ColorData1},
    {{653}, ColorData2},
    {{796}, ColorData3},
    {{692, 674, 702, 1227, 1250, 1251, 1337, 1338, 1346}, ColorData4},
};

// Camera information of the EOS-1D Mark III and 1Ds Mark III (tag 0x0d), bytes; some values
// big-endian whatever the note's order. From 0x2aa on, the settings of each picture style,
// 32-bit values.
constexpr std::uint16_t PictureStyles1DmkIII = 0x2AA;

constexpr TagRow style(std::uint16_t at, const char* name, std::uint16_t type = SLong)
{
    return row(static_cast<std::uint16_t>(PictureStyles1DmkIII + at), type, name, values);
}

constexpr TagRow CameraInfo1DmkIII[] = {
    row(3, Byte, "FNumber", values),
    row(4, Byte, "ExposureTime", values),
    row(6, Byte, "ISO", values),
    row(24, Byte, "CameraTemperature", values),
    row(27, Byte, "MacroMagnification", values),
    row(29, Short | Reversed, "FocalLength", millimetres),
    row(48, Byte, "CameraOrientation", values),
    row(67, Short | Reversed, "FocusDistanceUpper", focusDistance),
    row(69, Short | Reversed, "FocusDistanceLower", focusDistance),
    row(94, Short, "WhiteBalance", values),
    row(98, Short, "ColorTemperature", kelvin),
    row(134, Byte, "PictureStyle", values),
    row(273, Short | Reversed, "LensType", values),
    row(275, Short | Reversed, "MinFocalLength", millimetres),
    row(277, Short | Reversed, "MaxFocalLength", millimetres),
    row(310, Ascii, "FirmwareVersion", text, 6),
    row(370, Long, "FileIndex", values),
    row(374, Long, "ShutterCount", values),
    row(382, Long, "DirectoryIndex", values),
    style(0x00, "ContrastStandard"),
    style(0x04, "SharpnessStandard"),
    style(0x08, "SaturationStandard"),
    style(0x0c, "ColorToneStandard"),
    style(0x18, "ContrastPortrait"),
    style(0x1c, "SharpnessPortrait"),
    style(0x20, "SaturationPortrait"),
    style(0x24, "ColorTonePortrait"),
    style(0x30, "ContrastLandscape"),
    style(0x34, "SharpnessLandscape"),
    style(0x38, "SaturationLandscape"),
    style(0x3c, "ColorToneLandscape"),
    style(0x48, "ContrastNeutral"),
    style(0x4c, "SharpnessNeutral"),
    style(0x50, "SaturationNeutral"),
    style(0x54, "ColorToneNeutral"),
    style(0x60, "ContrastFaithful"),
    style(0x64, "SharpnessFaithful"),
    style(0x68, "SaturationFaithful"),
    style(0x6c, "ColorToneFaithful"),
    style(0x78, "ContrastMonochrome"),
    style(0x7c, "SharpnessMonochrome"),
    style(0x88, "FilterEffectMonochrome"),
    style(0x8c, "ToningEffectMonochrome"),
    style(0x90, "ContrastUserDef1"),
    style(0x94, "SharpnessUserDef1"),
    style(0x98, "SaturationUserDef1"),
    style(0x9c, "ColorToneUserDef1"),
    style(0xa0, "FilterEffectUserDef1"),
    style(0xa4, "ToningEffectUserDef1"),
    style(0xa8, "ContrastUserDef2"),
    style(0xac, "SharpnessUserDef2"),
    style(0xb0, "SaturationUserDef2"),
    style(0xb4, "ColorToneUserDef2"),
    style(0xb8, "FilterEffectUserDef2"),
    style(0xbc, "ToningEffectUserDef2"),
    style(0xc0, "ContrastUserDef3"),
    style(0xc4, "SharpnessUserDef3"),
    style(0xc8, "SaturationUserDef3"),
    style(0xcc, "ColorToneUserDef3"),
    style(0xd0, "FilterEffectUserDef3"),
    style(0xd4, "ToningEffectUserDef3"),
    style(0xd8, "UserDef1PictureStyle", Short),
    style(0xda, "UserDef2PictureStyle", Short),
    style(0xdc, "UserDef3PictureStyle", Short),
    row(1114, Long, "TimeStamp1", values),
    row(1118, Long, "TimeStamp", values),
    End,
};

// Which cameras' information each table reads.
struct CameraInfoLayout {
    const char* models;
    const TagRow* table;
};

constexpr CameraInfoLayout CameraInfoLayouts[] = {
    {"1D Mark III$|1Ds Mark III$", CameraInfo1DmkIII},
};

// The main directory. Entries decoded into directories of their own show no line here.
constexpr TagRow Main[] = {
    row(0x0001, Short, "CanonCameraSettings", silent),
    row(0x0002, Short, "CanonFocalLength", silent),
    row(0x0003, Short, "CanonFlashInfo", values),
    row(0x0004, Short, "CanonShotInfo", silent),
    row(0x0006, Ascii, "CanonImageType", text),
    row(0x0007, Ascii, "CanonFirmwareVersion", text),
    row(0x0008, Long, "FileNumber", values),
    row(0x000D, Undefined, "CanonCameraInfo", silent, AnyCount),
    row(0x0009, Ascii, "OwnerName", text),
    row(0x000C, Long, "SerialNumber", values),
    row(0x000E, Long, "CanonFileLength", values),
    row(0x0010, Long, "CanonModelID", values),
    row(0x0013, Short, "ThumbnailImageValidArea", values, 4),
    row(0x0015, Long, "SerialNumberFormat", values),
    row(0x001A, Short, "SuperMacro", values),
    row(0x001C, Short, "DateStampMode", values),
    row(0x001E, Long, "FirmwareRevision", values),
    row(0x0023, Long, "Categories", values, 2),
    row(0x0028, Byte, "ImageUniqueID", values, AnyCount),
    row(0x0038, Undefined, "BatteryType", values, AnyCount),
    row(0x0012, Short, "CanonAFInfo", silent, AnyCount),
    row(0x000F, Short, "CustomFunctions", silent, AnyCount),
    row(0x0026, Short, "CanonAFInfo2", silent, AnyCount),
    row(0x0090, Short, "CustomFunctions1D", silent, AnyCount),
    row(0x0098, Short, "CropInfo", silent, AnyCount),
    row(0x0099, Long, "CustomFunctions2", silent, AnyCount),
    row(0x009A, Long, "AspectInfo", silent, AnyCount),
    row(0x00A0, Short, "ProcessingInfo", silent, AnyCount),
    row(0x00E0, Short, "SensorInfo", silent, AnyCount),
    row(0x4001, Short, "ColorData", silent, AnyCount),
    row(0x4013, Long, "AFMicroAdj", silent, AnyCount),
    row(0x0083, Long, "OriginalDecisionDataOffset", values),
    row(0x0093, Short, "CanonFileInfo", silent),
    row(0x0095, Ascii, "LensModel", text),
    row(0x0096, Ascii, "InternalSerialNumber", text),
    row(0x0097, Undefined, "DustRemovalData", values, AnyCount),
    row(0x00A9, Short, "ColorBalance", silent, AnyCount),
    row(0x00AA, Short, "MeasuredColor", silent, AnyCount),
    row(0x00AE, Short, "ColorTemperature", kelvin),
    row(0x00B4, Short, "ColorSpace", choice<ColorSpaces>),
    row(0x00D0, Long, "VRDOffset", values),
    row(0x4008, Short, "PictureStyleUserDef", values, 3),
    row(0x4009, Short, "PictureStylePC", values, 3),
    row(0x4010, Ascii, "CustomPictureStyleFileName", text),
    End,
};

// What Canon's codes mean.
double apertureOf(double v) { return std::pow(2.0, canonEv(static_cast<std::int32_t>(v)) / 2); }
double exposureTimeOf(double v) { return std::pow(2.0, -canonEv(static_cast<std::int32_t>(v))); }
double evOf(double v) { return canonEv(static_cast<std::int32_t>(v)); }
double autoIsoOf(double v) { return std::pow(2.0, v / 32) * 100; }
double baseIsoOf(double v) { return std::pow(2.0, v / 32) * 100 / 32; }
double measuredEvOf(double v) { return v / 32 + 5; }
double measuredEv2Of(double v) { return v / 8 - 6; }
double tenthsOf(double v) { return v / 10; }
double hundredthsOf(double v) { return v / 100; }
double thousandthsOfAnInchOf(double v) { return v * 25.4 / 1000; }
double temperatureOf(double v) { return v - 128; }
double nextOf(double v) { return v + 1; }
double previousOf(double v) { return v - 1; }
// The camera information's bytes: F numbers in sixteenths of a stop from F1 at 8, exposure
// times in Canon's steps from 16 s at 24, ISO speeds in eighths of a stop from ISO 100 at 72,
// a macro lens's magnification from 1x at 75.
double infoApertureOf(double v) { return std::pow(2.0, (v - 8) / 16); }
double infoExposureTimeOf(double v) { return std::pow(2.0, 4 * (1 - canonEv(static_cast<std::int32_t>(v) - 24))); }
double infoIsoOf(double v) { return 100 * std::pow(2.0, v / 8 - 9); }
double magnificationOf(double v) { return std::exp((75 - v) * std::log(2.0) * 3 / 40); }

// The ISO speed the settings name: a speed with bit 14 set, else one of a few codes.
bool cameraIso(const Field& field, std::string& value)
{
    std::int32_t v = 0;
    if (field.count() != 1 || !field.getInt32(v) || v == 0x7FFF) {
        return false; // not set
    }
    if ((v & 0x4000) != 0) {
        value = std::to_string(v & 0x3FFF);
        return true;
    }
    static constexpr EnumName Codes[] = {{0, "n/a"}, {14, "Auto High"}, {15, "Auto"}, {16, "50"}, {17, "100"},
                                         {18, "200"}, {19, "400"}, {20, "800"}};
    for (const EnumName& c : Codes) {
        if (static_cast<std::int32_t>(c.value) == v) {
            value = c.text;
            return true;
        }
    }
    value = "Unknown (" + std::to_string(v) + ')';
    return true;
}

// Seconds since 1970 as a date and time (UTC, as exiftool reads them); 0 is no time.
bool unixTime(const Field& field, std::string& value)
{
    std::uint32_t seconds = 0;
    if (field.count() != 1 || !field.getUInt32(seconds) || seconds == 0) {
        return false;
    }
    // Days to a civil date (proleptic Gregorian), from an era of 400 years.
    const std::int64_t days = seconds / 86400;
    const std::int64_t z = days + 719468;
    const std::int64_t era = z / 146097;
    const std::int64_t dayOfEra = z - era * 146097;
    const std::int64_t yearOfEra = (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / 146096) / 365;
    const std::int64_t dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
    const std::int64_t m = (5 * dayOfYear + 2) / 153;
    const std::int64_t day = dayOfYear - (153 * m + 2) / 5 + 1;
    const std::int64_t month = m < 10 ? m + 3 : m - 9;
    const std::int64_t year = yearOfEra + era * 400 + (month <= 2 ? 1 : 0);
    const std::uint32_t time = seconds % 86400;
    char text[32];
    std::snprintf(text, sizeof text, "%04lld:%02lld:%02lld %02u:%02u:%02u", static_cast<long long>(year),
                  static_cast<long long>(month), static_cast<long long>(day), time / 3600, time / 60 % 60, time % 60);
    value = text;
    return true;
}

// 32-bit values whose two halves are stored the other way round.
bool swappedWords(const Field& field, std::string& value)
{
    if (field.damaged() || field.type() != Long) {
        return false;
    }
    for (std::uint32_t v : field.unsignedValues()) {
        value += (value.empty() ? "" : " ") + std::to_string((v >> 16) | ((v & 0xFFFF) << 16));
    }
    return true;
}

constexpr std::uint32_t SettingsId = subDirectoryId(0x0001);
constexpr std::uint32_t FocalId = subDirectoryId(0x0002);
constexpr std::uint32_t ShotId = subDirectoryId(0x0004);
constexpr std::uint32_t FileId = subDirectoryId(0x0093);
constexpr std::uint32_t CameraId = subDirectoryId(0x000D);
constexpr std::uint32_t ProcessingId = subDirectoryId(0x00A0);
constexpr std::uint32_t ColorDataId = subDirectoryId(0x4001);

constexpr Conversion Conversions[] = {
    asText(SettingsId, 16, cameraIso),
    {SettingsId, 26, single<apertureOf>},
    {SettingsId, 27, single<apertureOf>},
    {SettingsId, 35, single<apertureOf>},
    {FocalId, 2, single<thousandthsOfAnInchOf>},
    {FocalId, 3, single<thousandthsOfAnInchOf>},
    {ShotId, 1, single<autoIsoOf>},
    {ShotId, 2, single<baseIsoOf>},
    {ShotId, 3, single<measuredEvOf>},
    {ShotId, 4, single<apertureOf>},
    {ShotId, 5, single<exposureTimeOf>},
    {ShotId, 6, single<evOf>},
    {ShotId, 12, single<temperatureOf>},
    {ShotId, 15, single<evOf>},
    {ShotId, 17, single<evOf>},
    {ShotId, 19, single<hundredthsOf>},
    {ShotId, 20, single<hundredthsOf>},
    {ShotId, 21, single<apertureOf>},
    {ShotId, 22, single<exposureTimeOf>},
    {ShotId, 23, single<measuredEv2Of>},
    {ShotId, 24, single<tenthsOf>},
    {FileId, 20, single<hundredthsOf>},
    {FileId, 21, single<hundredthsOf>},
    {CameraId, 3, single<infoApertureOf>},
    {CameraId, 4, single<infoExposureTimeOf>},
    {CameraId, 6, single<infoIsoOf>},
    {CameraId, 24, single<temperatureOf>},
    {CameraId, 27, single<magnificationOf>},
    {CameraId, 67, single<hundredthsOf>},
    {CameraId, 69, single<hundredthsOf>},
    // The 1D Mark III counts its files and shots from 0, its folders from 100 with 101 first.
    {CameraId, 370, single<nextOf>},
    {CameraId, 374, single<nextOf>},
    {CameraId, 382, single<previousOf>},
    asText(CameraId, 1114, unixTime),
    asText(CameraId, 1118, unixTime),
    {ProcessingId, 11, single<tenthsOf>},
    asText(ColorDataId, 0x26A, swappedWords),
    asText(ColorDataId, 0x280, swappedWords),
    asText(Canon::CustomFunctionsModelId, 0x0103, Canon::isoSpeedRange),
    asText(Canon::CustomFunctionsId, 0x010C, Canon::shutterSpeedRange),
    asText(Canon::CustomFunctionsId, 0x010D, Canon::apertureRange),
    {0, 0, nullptr},
};

// An auto-focus record: its rows one after the other, the lists sized by the number of AF
// points the row at `pointsAt` gives. Rows the record is too short for are left out, and so is
// everything after them.
void afRecord(Builder& build, std::uint16_t tag, const char* name, const TagRow* table, std::uint16_t pointsAt)
{
    const Field* record = build.main().find(tag);
    if (record == nullptr || record->damaged()) {
        return;
    }
    const bool eos = modelMatches(build.model(), "EOS");
    const std::uint64_t end = record->valueOffset() + std::uint64_t{typeSize(record->type())} * record->count();
    const std::uint32_t id = subDirectoryId(tag);
    std::uint64_t at = record->valueOffset();
    std::uint64_t points = 0;
    std::vector<Field> fields;
    for (const TagRow* row = table; row->name != nullptr; ++row) {
        std::uint64_t count = row->count;
        if (count == PerPoint) {
            count = points;
        } else if (count == PerPointBits || count == EosPerPointBits) {
            if (count == EosPerPointBits && !eos) {
                break;
            }
            count = (points + 15) / 16;
        } else if (count == NotEos) {
            if (eos) {
                break;
            }
            count = 1;
        }
        const std::uint64_t size = typeSize(row->type()) * count;
        if (count == 0 || at + size > end) {
            break;
        }
        fields.emplace_back(*build.reader(), id, row->tag(), row->type(), static_cast<std::uint32_t>(count),
                            static_cast<std::uint32_t>(at));
        if (row->tag() == pointsAt) {
            std::uint32_t n = 0;
            points = fields.back().getUInt32(n) ? n : 0;
        }
        at += size;
    }
    if (!fields.empty()) {
        build.add(std::make_shared<IFD>(build.reader(), id, std::move(fields), name), table);
    }
}

const TagRow* colorDataTable(const Field& record)
{
    for (const ColorDataLayout& layout : ColorDataLayouts) {
        for (std::uint32_t count : layout.counts) {
            if (count != 0 && count == record.count()) {
                return layout.table;
            }
        }
    }
    return nullptr;
}

// A name given twice in the note's group shows the value of the directory built last. The
// camera information comes before the other records, as exiftool lets any of them override
// it, but after the settings, whose lens type a newer camera leaves 0 there; the processing
// record's white balance (-1 when not set) gives way to the shot information's.
void arrays(Builder& build)
{
    build.array(0x0001, "Canon CameraSettings", CameraSettings, 2);
    for (const CameraInfoLayout& layout : CameraInfoLayouts) {
        if (modelMatches(build.model(), layout.models)) {
            build.array(0x000D, "Canon CameraInfo", layout.table, 1);
            break;
        }
    }
    build.array(0x00A0, "Canon Processing", Processing, 2);
    build.array(0x0002, "Canon FocalLength", FocalLength, 2);
    build.array(0x0004, "Canon ShotInfo", ShotInfo, 2);
    build.array(0x0093, "Canon FileInfo", FileInfo, 2);
    afRecord(build, 0x0012, "Canon AFInfo", AFInfo, 0);
    afRecord(build, 0x0026, "Canon AFInfo2", AFInfo2, 2);
    // Older cameras' white balance; newer ones keep it in their colour data.
    const Field* balance = build.main().find(0x00A9);
    if (balance != nullptr && balance->count() >= 41) {
        build.array(0x00A9, "Canon ColorBalance", ColorBalance, 2);
    }
    build.array(0x00AA, "Canon MeasuredColor", MeasuredColor, 2);
    build.array(0x0098, "Canon CropInfo", CropInfo, 2);
    build.array(0x009A, "Canon AspectInfo", AspectInfo, 4);
    build.array(0x00E0, "Canon SensorInfo", SensorInfo, 2);
    if (const Field* colors = build.main().find(0x4001); colors != nullptr) {
        if (const TagRow* table = colorDataTable(*colors)) {
            build.array(0x4001, "Canon ColorData", table, 2);
        }
    }
    build.array(0x4013, "Canon AFMicroAdj", AFMicroAdj, 4);
    Canon::customFunctions(build);
}

} // namespace

const std::vector<Form>& canonForms()
{
    static const std::vector<Form> forms = {
        {"Canon", nullptr, 0, "Canon", 0, false, Base::Tiff, Order::Parent, 0, Main, arrays, Conversions},
    };
    return forms;
}

} // namespace Metadata::MakerNotes
