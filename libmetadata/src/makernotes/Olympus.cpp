// Olympus's notes: "OLYMP\0" before a directory whose offsets count from the TIFF header (the
// older cameras), and "OLYMPUS\0" with its own byte order before a directory whose offsets count
// from the note, whose entries lead to directories of equipment, camera settings, raw
// development, image processing and focus information.
#include "MakerNotes.h"

#include <cmath>

namespace Metadata::MakerNotes {

using namespace Formatters;

namespace {

// Tag names as exiftool gives them, so that scripts written against its output carry over.
constexpr TagRow Main[] = {
    row(0x0000, Undefined, "MakerNoteVersion", values, AnyCount),
    row(0x0040, Long, "CompressedImageSize", values),
    row(0x0081, Undefined, "PreviewImageData", values, AnyCount),
    row(0x0088, Undefined, "PreviewImageStart", values, AnyCount),
    row(0x0089, Undefined, "PreviewImageLength", values, AnyCount),
    row(0x0100, Undefined, "ThumbnailImage", values, AnyCount),
    row(0x0104, Ascii, "BodyFirmwareVersion", text, AnyCount),
    row(0x0200, Long, "SpecialMode", values, 3),
    row(0x0201, Short, "Quality", values),
    row(0x0202, Short, "Macro", values),
    row(0x0203, Short, "BWMode", values),
    row(0x0204, Rational, "DigitalZoom", values),
    row(0x0205, Rational, "FocalPlaneDiagonal", values),
    row(0x0206, SShort, "LensDistortionParams", values, 6),
    row(0x0207, Ascii, "CameraType", text, AnyCount),
    row(0x0209, Ascii, "CameraID", text, AnyCount),
    row(0x020B, Long, "EpsonImageWidth", values),
    row(0x020C, Long, "EpsonImageHeight", values),
    row(0x020D, Ascii, "EpsonSoftware", text, AnyCount),
    row(0x0280, Byte, "PreviewImage", values),
    row(0x0300, Short, "PreCaptureFrames", values),
    row(0x0301, Short, "WhiteBoard", values),
    row(0x0302, Short, "OneTouchWB", values),
    row(0x0303, Short, "WhiteBalanceBracket", values),
    row(0x0304, Short, "WhiteBalanceBias", values),
    row(0x0400, Undefined, "SensorArea", values, AnyCount),
    row(0x0401, Long, "BlackLevel", values, 4),
    row(0x0403, Short, "SceneMode", values),
    row(0x0404, Ascii, "SerialNumber", text, AnyCount),
    row(0x0405, Ascii, "Firmware", text, AnyCount),
    row(0x0F00, Undefined, "DataDump", binary, AnyCount),
    row(0x0F01, Undefined, "DataDump2", values, AnyCount),
    row(0x0F04, Long, "ZoomedPreviewStart", values),
    row(0x0F05, Long, "ZoomedPreviewLength", values),
    row(0x0F06, Short, "ZoomedPreviewSize", values, 2),
    row(0x1000, SRational, "ShutterSpeedValue", values),
    row(0x1001, SRational, "ISOValue", values),
    row(0x1002, SRational, "ApertureValue", values),
    row(0x1003, SRational, "BrightnessValue", values),
    row(0x1004, Short, "FlashMode", values),
    row(0x1005, Short, "FlashDevice", values),
    row(0x1006, SRational, "ExposureCompensation", values),
    row(0x1007, SShort, "SensorTemperature", values),
    row(0x1008, SShort, "LensTemperature", values),
    row(0x1009, Short, "LightCondition", values),
    row(0x100A, Short, "FocusRange", values),
    row(0x100B, Short, "FocusMode", values),
    row(0x100C, Rational, "ManualFocusDistance", values),
    row(0x100D, Short, "ZoomStepCount", values),
    row(0x100E, Short, "FocusStepCount", values),
    row(0x100F, Short, "Sharpness", values),
    row(0x1010, Short, "FlashChargeLevel", values),
    row(0x1011, SShort, "ColorMatrix", values, 9),
    row(0x1012, Short, "BlackLevel", values, 4),
    row(0x1013, Short, "ColorTemperatureBG", values),
    row(0x1014, Short, "ColorTemperatureRG", values),
    row(0x1015, Short, "WBMode", values, 2),
    row(0x1017, Short, "RedBalance", values, 2),
    row(0x1018, Short, "BlueBalance", values, 2),
    row(0x1019, Short, "ColorMatrixNumber", values),
    row(0x101A, Ascii, "SerialNumber", text, AnyCount),
    row(0x101B, Long, "ExternalFlashAE1_0", values),
    row(0x101C, Long, "ExternalFlashAE2_0", values),
    row(0x101D, Long, "InternalFlashAE1_0", values),
    row(0x101E, Long, "InternalFlashAE2_0", values),
    row(0x101F, Long, "ExternalFlashAE1", values),
    row(0x1020, Long, "ExternalFlashAE2", values),
    row(0x1021, Long, "InternalFlashAE1", values),
    row(0x1022, Long, "InternalFlashAE2", values),
    row(0x1023, SRational, "FlashExposureComp", values),
    row(0x1024, Short, "InternalFlashTable", values),
    row(0x1025, SRational, "ExternalFlashGValue", values),
    row(0x1026, Short, "ExternalFlashBounce", values),
    row(0x1027, Short, "ExternalFlashZoom", values),
    row(0x1028, Short, "ExternalFlashMode", values),
    row(0x1029, Short, "Contrast", values),
    row(0x102A, Short, "SharpnessFactor", values),
    row(0x102B, Short, "ColorControl", values, 6),
    row(0x102C, Short, "ValidBits", values, 2),
    row(0x102D, Short, "CoringFilter", values),
    row(0x102E, Long, "OlympusImageWidth", values),
    row(0x102F, Long, "OlympusImageHeight", values),
    row(0x1030, Short, "SceneDetect", values),
    row(0x1031, Long, "SceneArea", values, 8),
    row(0x1033, Long, "SceneDetectData", values, 720),
    row(0x1034, Rational, "CompressionRatio", values),
    row(0x1035, Long, "PreviewImageValid", values),
    row(0x1036, Long, "PreviewImageStart", values),
    row(0x1037, Long, "PreviewImageLength", values),
    row(0x1038, Short, "AFResult", values),
    row(0x1039, Short, "CCDScanMode", values),
    row(0x103A, Short, "NoiseReduction", values),
    row(0x103B, Short, "FocusStepInfinity", values),
    row(0x103C, Short, "FocusStepNear", values),
    row(0x103D, SRational, "LightValueCenter", values),
    row(0x103E, SRational, "LightValuePeriphery", values),
    row(0x103F, Short, "FieldCount", values),
    row(0x2050, Undefined, "CameraParameters", values, AnyCount),
    End,
};

constexpr TagRow Equipment[] = {
    row(0x0000, Undefined, "EquipmentVersion", values, AnyCount),
    row(0x0100, Ascii, "CameraType2", text, AnyCount),
    row(0x0101, Ascii, "SerialNumber", text, AnyCount),
    row(0x0102, Ascii, "InternalSerialNumber", text, AnyCount),
    row(0x0103, Rational, "FocalPlaneDiagonal", values),
    row(0x0104, Long, "BodyFirmwareVersion", values),
    row(0x0201, Byte, "LensType", values, 6),
    row(0x0202, Ascii, "LensSerialNumber", text, AnyCount),
    row(0x0203, Ascii, "LensModel", text, AnyCount),
    row(0x0204, Long, "LensFirmwareVersion", values),
    row(0x0205, Short, "MaxApertureAtMinFocal", values),
    row(0x0206, Short, "MaxApertureAtMaxFocal", values),
    row(0x0207, Short, "MinFocalLength", values),
    row(0x0208, Short, "MaxFocalLength", values),
    row(0x020A, Short, "MaxAperture", values),
    row(0x020B, Short, "LensProperties", values),
    row(0x0301, Byte, "Extender", values, 6),
    row(0x0302, Ascii, "ExtenderSerialNumber", text, AnyCount),
    row(0x0303, Ascii, "ExtenderModel", text, AnyCount),
    row(0x0304, Long, "ExtenderFirmwareVersion", values),
    row(0x0403, Ascii, "ConversionLens", text, AnyCount),
    row(0x1000, Short, "FlashType", values),
    row(0x1001, Short, "FlashModel", values),
    row(0x1002, Long, "FlashFirmwareVersion", values),
    row(0x1003, Ascii, "FlashSerialNumber", text, AnyCount),
    End,
};

constexpr TagRow CameraSettings[] = {
    row(0x0000, Undefined, "CameraSettingsVersion", values, AnyCount),
    row(0x0100, Long, "PreviewImageValid", values),
    row(0x0101, Long, "PreviewImageStart", values),
    row(0x0102, Long, "PreviewImageLength", values),
    row(0x0200, Short, "ExposureMode", values),
    row(0x0201, Short, "AELock", values),
    row(0x0202, Short, "MeteringMode", values),
    row(0x0203, SRational, "ExposureShift", values),
    row(0x0204, Undefined, "NDFilter", values, AnyCount),
    row(0x0300, Short, "MacroMode", values),
    row(0x0301, Short, "FocusMode", values),
    row(0x0302, Short, "FocusProcess", values),
    row(0x0303, Short, "AFSearch", values),
    row(0x0304, Long, "AFAreas", values, 64),
    row(0x0305, SRational, "AFPointSelected", values, 5),
    row(0x0306, Byte, "AFFineTune", values),
    row(0x0307, SShort, "AFFineTuneAdj", values, 3),
    row(0x0308, Byte, "FocusBracketStepSize", values),
    row(0x0309, Short, "AISubjectTrackingMode", values),
    row(0x0400, Short, "FlashMode", values),
    row(0x0401, SRational, "FlashExposureComp", values),
    row(0x0403, Short, "FlashRemoteControl", values),
    row(0x0404, Short, "FlashControlMode", values),
    row(0x0405, SRational, "FlashIntensity", values),
    row(0x0406, SRational, "ManualFlashStrength", values),
    row(0x0500, Short, "WhiteBalance2", values),
    row(0x0501, Short, "WhiteBalanceTemperature", values),
    row(0x0502, SShort, "WhiteBalanceBracket", values),
    row(0x0503, SShort, "CustomSaturation", values, 3),
    row(0x0504, Short, "ModifiedSaturation", values),
    row(0x0505, SShort, "ContrastSetting", values, 3),
    row(0x0506, SShort, "SharpnessSetting", values, 3),
    row(0x0507, Short, "ColorSpace", values),
    row(0x0509, Short, "SceneMode", values),
    row(0x050A, Short, "NoiseReduction", values),
    row(0x050B, Short, "DistortionCorrection", values),
    row(0x050C, Short, "ShadingCompensation", values),
    row(0x050D, Rational, "CompressionFactor", values),
    row(0x050F, SShort, "Gradation", values),
    row(0x0520, Short, "PictureMode", values),
    row(0x0521, SShort, "PictureModeSaturation", values, 3),
    row(0x0522, SShort, "PictureModeHue", values),
    row(0x0523, SShort, "PictureModeContrast", values, 3),
    row(0x0524, SShort, "PictureModeSharpness", values, 3),
    row(0x0525, SShort, "PictureModeBWFilter", values),
    row(0x0526, SShort, "PictureModeTone", values),
    row(0x0527, SShort, "NoiseFilter", values, 3),
    row(0x0529, Short, "ArtFilter", values, 4),
    row(0x052C, Short, "MagicFilter", values, 4),
    row(0x052D, SShort, "PictureModeEffect", values, 3),
    row(0x052E, Undefined, "ToneLevel", values, AnyCount),
    row(0x052F, Short, "ArtFilterEffect", values, 20),
    row(0x0532, SShort, "ColorCreatorEffect", values, 6),
    row(0x0537, SShort, "MonochromeProfileSettings", values, 6),
    row(0x0538, SShort, "FilmGrainEffect", values),
    row(0x0539, SShort, "ColorProfileSettings", values, 14),
    row(0x053A, SShort, "MonochromeVignetting", values),
    row(0x053B, SShort, "MonochromeColor", values),
    row(0x0600, Short, "DriveMode", values),
    row(0x0601, Short, "PanoramaMode", values),
    row(0x0603, Short, "ImageQuality2", values),
    row(0x0604, Long, "ImageStabilization", values),
    row(0x0804, Long, "StackedImage", values, 2),
    row(0x0900, Short, "ManometerPressure", values),
    row(0x0901, SLong, "ManometerReading", values, 2),
    row(0x0902, Short, "ExtendedWBDetect", values),
    row(0x0903, SShort, "RollAngle", values, 2),
    row(0x0904, SShort, "PitchAngle", values, 2),
    row(0x0908, Ascii, "DateTimeUTC", text, AnyCount),
    End,
};

constexpr TagRow RawDevelopment[] = {
    row(0x0000, Undefined, "RawDevVersion", values, AnyCount),
    row(0x0100, SRational, "RawDevExposureBiasValue", values),
    row(0x0101, Short, "RawDevWhiteBalanceValue", values),
    row(0x0102, SShort, "RawDevWBFineAdjustment", values),
    row(0x0103, Short, "RawDevGrayPoint", values, 3),
    row(0x0104, SShort, "RawDevSaturationEmphasis", values, 3),
    row(0x0105, Short, "RawDevMemoryColorEmphasis", values),
    row(0x0106, SShort, "RawDevContrastValue", values, 3),
    row(0x0107, SShort, "RawDevSharpnessValue", values, 3),
    row(0x0108, Short, "RawDevColorSpace", values),
    row(0x0109, Short, "RawDevEngine", values),
    row(0x010A, Short, "RawDevNoiseReduction", values),
    row(0x010B, Short, "RawDevEditStatus", values),
    row(0x010C, Short, "RawDevSettings", values),
    End,
};

constexpr TagRow ImageProcessing[] = {
    row(0x0000, Undefined, "ImageProcessingVersion", values, AnyCount),
    row(0x0100, Short, "WB_RBLevels", values, 2),
    row(0x0102, Short, "WB_RBLevels3000K", values, 2),
    row(0x0103, Short, "WB_RBLevels3300K", values, 2),
    row(0x0104, Short, "WB_RBLevels3600K", values, 2),
    row(0x0105, Short, "WB_RBLevels3900K", values, 2),
    row(0x0106, Short, "WB_RBLevels4000K", values, 2),
    row(0x0107, Short, "WB_RBLevels4300K", values, 2),
    row(0x0108, Short, "WB_RBLevels4500K", values, 2),
    row(0x0109, Short, "WB_RBLevels4800K", values, 2),
    row(0x010A, Short, "WB_RBLevels5300K", values, 2),
    row(0x010B, Short, "WB_RBLevels6000K", values, 2),
    row(0x010C, Short, "WB_RBLevels6600K", values, 2),
    row(0x010D, Short, "WB_RBLevels7500K", values, 2),
    row(0x010E, Short, "WB_RBLevelsCWB1", values, 2),
    row(0x010F, Short, "WB_RBLevelsCWB2", values, 2),
    row(0x0110, Short, "WB_RBLevelsCWB3", values, 2),
    row(0x0111, Short, "WB_RBLevelsCWB4", values, 2),
    row(0x0113, Short, "WB_GLevel3000K", values),
    row(0x0114, Short, "WB_GLevel3300K", values),
    row(0x0115, Short, "WB_GLevel3600K", values),
    row(0x0116, Short, "WB_GLevel3900K", values),
    row(0x0117, Short, "WB_GLevel4000K", values),
    row(0x0118, Short, "WB_GLevel4300K", values),
    row(0x0119, Short, "WB_GLevel4500K", values),
    row(0x011A, Short, "WB_GLevel4800K", values),
    row(0x011B, Short, "WB_GLevel5300K", values),
    row(0x011C, Short, "WB_GLevel6000K", values),
    row(0x011D, Short, "WB_GLevel6600K", values),
    row(0x011E, Short, "WB_GLevel7500K", values),
    row(0x011F, Short, "WB_GLevel", values),
    row(0x0200, SShort, "ColorMatrix", values, 9),
    row(0x0300, Short, "Enhancer", values),
    row(0x0301, Short, "EnhancerValues", values, 7),
    row(0x0310, Short, "CoringFilter", values),
    row(0x0311, Short, "CoringValues", values, 7),
    row(0x0600, Short, "BlackLevel2", values, 4),
    row(0x0610, Short, "GainBase", values),
    row(0x0611, Short, "ValidBits", values, 2),
    row(0x0612, Short, "CropLeft", values, 2),
    row(0x0613, Short, "CropTop", values, 2),
    row(0x0614, Long, "CropWidth", values),
    row(0x0615, Long, "CropHeight", values),
    row(0x0635, Undefined, "UnknownBlock1", values, AnyCount),
    row(0x0636, Undefined, "UnknownBlock2", values, AnyCount),
    row(0x0805, SShort, "SensorCalibration", values, 2),
    row(0x1010, Short, "NoiseReduction2", values),
    row(0x1011, Short, "DistortionCorrection2", values),
    row(0x1012, Short, "ShadingCompensation2", values),
    row(0x101C, Short, "MultipleExposureMode", values, 2),
    row(0x1103, Undefined, "UnknownBlock3", values, AnyCount),
    row(0x1104, Undefined, "UnknownBlock4", values, AnyCount),
    row(0x1112, Byte, "AspectRatio", values, 2),
    row(0x1113, Short, "AspectFrame", values, 4),
    row(0x1200, Long, "FacesDetected", values),
    row(0x1201, SShort, "FaceDetectArea", values),
    row(0x1202, Long, "MaxFaces", values, 3),
    row(0x1203, Short, "FaceDetectFrameSize", values, 6),
    row(0x1207, SShort, "FaceDetectFrameCrop", values, 12),
    row(0x1306, Short, "CameraTemperature", values),
    row(0x1900, Byte, "KeystoneCompensation", values, 2),
    row(0x1901, Byte, "KeystoneDirection", values, 2),
    row(0x1906, SShort, "KeystoneValue", values, 3),
    End,
};

constexpr TagRow FocusInfo[] = {
    row(0x0000, Undefined, "FocusInfoVersion", values, AnyCount),
    row(0x0209, Short, "AutoFocus", values),
    row(0x0210, Short, "SceneDetect", values),
    row(0x0211, Long, "SceneArea", values, 8),
    row(0x0212, Long, "SceneDetectData", values, 720),
    row(0x0300, Short, "ZoomStepCount", values),
    row(0x0301, Short, "FocusStepCount", values),
    row(0x0303, Short, "FocusStepInfinity", values),
    row(0x0304, Short, "FocusStepNear", values),
    row(0x0305, Rational, "FocusDistance", values, 2),
    row(0x0308, Short, "AFPoint", values),
    row(0x1201, Short, "ExternalFlash", values, 2),
    row(0x1203, SRational, "ExternalFlashGuideNumber", values),
    row(0x1204, Short, "ExternalFlashBounce", values),
    row(0x1205, Rational, "ExternalFlashZoom", values),
    row(0x1208, Short, "InternalFlash", values),
    row(0x1209, Short, "ManualFlash", values, 2),
    row(0x120A, Short, "MacroLED", values),
    row(0x1500, SShort, "SensorTemperature", values),
    row(0x1600, Undefined, "ImageStabilization", values, AnyCount),
    End,
};

// Apertures in 1/256 of a half stop from F1; colour balances in 1/256, the first of a pair.
double apertureOf(double v) { return std::pow(2.0, v / 512); }

double balanceOf(double v) { return v / 256; }

constexpr std::uint32_t EquipmentId = subDirectoryId(0x2010);

// The focus distance: the numerator alone counts millimetres (some cameras write tenths in it
// with a denominator of 10); all bits set is infinity, shown as 0.
bool focusDistanceOf(const Field& field, double& value)
{
    if (field.type() != Rational || field.count() == 0) {
        return false;
    }
    const std::uint32_t mm = field.unsignedRationals()[0].numerator;
    value = mm == 0xFFFFFFFF ? 0 : mm / 1000.0;
    return true;
}

// The extender: its make and model, as hexadecimal numbers.
bool extenderOf(const Field& field, std::string& text)
{
    std::vector<std::uint32_t> v;
    if (!numbers(field, v, 3)) {
        return false;
    }
    static const char digits[] = "0123456789abcdef";
    auto hex = [&](std::uint32_t n, bool two) {
        std::string h;
        do {
            h.insert(h.begin(), digits[n % 16]);
            n /= 16;
        } while (n > 0);
        return two && h.size() < 2 ? '0' + h : h;
    };
    text = hex(v[0], false) + ' ' + hex(v[2], true);
    return true;
}

constexpr std::uint32_t CameraSettingsId = subDirectoryId(0x2020);
constexpr std::uint32_t FocusInfoId = subDirectoryId(0x2050);

constexpr Conversion Conversions[] = {
    asOffset(CameraSettingsId, 0x0101),
    asText(EquipmentId, 0x0301, extenderOf),
    {FocusInfoId, 0x0305, focusDistanceOf},
    {DirectoryId::MakerNote, 0x1017, first<balanceOf>},
    {DirectoryId::MakerNote, 0x1018, first<balanceOf>},
    {EquipmentId, 0x0205, single<apertureOf>},
    {EquipmentId, 0x0206, single<apertureOf>},
    {EquipmentId, 0x020A, single<apertureOf>},
    {0, 0, nullptr},
};

void subDirectories(Builder& build)
{
    build.directory(0x2010, "Olympus Equipment", Equipment);
    build.directory(0x2020, "Olympus CameraSettings", CameraSettings);
    build.directory(0x2030, "Olympus RawDevelopment", RawDevelopment);
    build.directory(0x2040, "Olympus ImageProcessing", ImageProcessing);
    build.directory(0x2050, "Olympus FocusInfo", FocusInfo);
}

} // namespace

const std::vector<Form>& olympusForms()
{
    static const std::vector<Form> forms = {
        {"Olympus", "OLYMPUS\0", 8, nullptr, 12, false, Base::Note, Order::Marked, 8, Main, subDirectories, Conversions},
        {"Olympus", "OM SYSTEM\0", 10, nullptr, 16, false, Base::Note, Order::Marked, 12, Main, subDirectories, Conversions},
        {"Olympus", "OLYMP\0", 6, nullptr, 8, false, Base::Tiff, Order::Parent, 0, Main, subDirectories, Conversions},
    };
    return forms;
}

} // namespace Metadata::MakerNotes
