// Canon's notes: a plain directory whose offsets count from the EXIF block's TIFF header, with
// arrays of 16-bit values (camera settings, shot information, focal length, file information)
// that hold most of what a photographer looks for.
#include "MakerNotes.h"

#include "../FormatterSupport.h"

#include <cmath>

namespace Metadata::MakerNotes {

using namespace FormatterSupport;
using namespace Formatters;

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

// File information (tag 0x93).
constexpr TagRow FileInfo[] = {
    row(1, Long, "FileNumber", values),
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

// Auto-focus information (tag 0x12): the fixed part before the per-point lists.
constexpr TagRow AFInfo[] = {
    row(0, Short, "NumAFPoints", values),
    row(1, Short, "ValidAFPoints", values),
    row(2, Short, "CanonImageWidth", values),
    row(3, Short, "CanonImageHeight", values),
    row(4, Short, "AFImageWidth", values),
    row(5, Short, "AFImageHeight", values),
    row(6, Short, "AFAreaWidth", values),
    row(7, Short, "AFAreaHeight", values),
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

// Camera information of the EOS-1D Mark III (tag 0x0d), bytes; some values big-endian.
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
    row(1114, Long, "TimeStamp1", values),
    row(1118, Long, "TimeStamp", values),
    End,
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

constexpr std::uint32_t SettingsId = subDirectoryId(0x0001);
constexpr std::uint32_t FocalId = subDirectoryId(0x0002);
constexpr std::uint32_t ShotId = subDirectoryId(0x0004);
constexpr std::uint32_t FileId = subDirectoryId(0x0093);
constexpr std::uint32_t CameraId = subDirectoryId(0x000D);

constexpr Conversion Conversions[] = {
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
    {CameraId, 24, single<temperatureOf>},
    {CameraId, 67, single<hundredthsOf>},
    {CameraId, 69, single<hundredthsOf>},
    {0, 0, nullptr},
};

void arrays(Builder& build)
{
    build.array(0x0001, "Canon CameraSettings", CameraSettings, 2);
    build.array(0x0002, "Canon FocalLength", FocalLength, 2);
    build.array(0x0004, "Canon ShotInfo", ShotInfo, 2);
    build.array(0x0093, "Canon FileInfo", FileInfo, 2);
    build.array(0x0012, "Canon AFInfo", AFInfo, 2);
    // Older cameras' white balance; newer ones keep it in their colour data.
    const Field* balance = build.main().find(0x00A9);
    if (balance != nullptr && balance->count() >= 41) {
        build.array(0x00A9, "Canon ColorBalance", ColorBalance, 2);
    }
    build.array(0x00AA, "Canon MeasuredColor", MeasuredColor, 2);
    // Camera information differs from model to model; each needs its own table.
    if (build.model() == "Canon EOS-1D Mark III") {
        build.array(0x000D, "Canon CameraInfo", CameraInfo1DmkIII, 1);
    }
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
