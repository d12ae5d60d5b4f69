// Sony's notes: "SONY DSC " or "SONY CAM " and three zeros before a directory whose offsets
// count from the TIFF header, or a plain directory.
#include "MakerNotes.h"

namespace Metadata::MakerNotes {

using namespace Formatters;

namespace {

// Tag names as exiftool gives them, so that scripts written against its output carry over.
constexpr TagRow Main[] = {
    row(0x0102, Long, "Quality", values),
    row(0x0104, SRational, "FlashExposureComp", values),
    row(0x0105, Long, "Teleconverter", values),
    row(0x0112, Long, "WhiteBalanceFineTune", values),
    row(0x0115, Long, "WhiteBalance", values),
    row(0x1000, Undefined, "MultiBurstMode", values, AnyCount),
    row(0x1001, Short, "MultiBurstImageWidth", values),
    row(0x1002, Short, "MultiBurstImageHeight", values),
    row(0x2001, Undefined, "PreviewImage", values, AnyCount),
    row(0x2002, Long, "Rating", values),
    row(0x2004, SLong, "Contrast", values),
    row(0x2005, SLong, "Saturation", values),
    row(0x2006, SLong, "Sharpness", values),
    row(0x2007, SLong, "Brightness", values),
    row(0x2008, Long, "LongExposureNoiseReduction", values),
    row(0x2009, Short, "HighISONoiseReduction", values),
    row(0x200A, Long, "HDR", values, 2),
    row(0x200B, Long, "MultiFrameNoiseReduction", values),
    row(0x200E, Short, "PictureEffect", values),
    row(0x200F, Long, "SoftSkinEffect", values),
    row(0x2010, Undefined, "Tag_0x2010", values, AnyCount),
    row(0x2011, Long, "VignettingCorrection", values),
    row(0x2012, Long, "LateralChromaticAberration", values),
    row(0x2013, Long, "DistortionCorrectionSetting", values),
    row(0x2014, SLong, "WBShiftAB_GM", values, 2),
    row(0x2016, Short, "AutoPortraitFramed", values),
    row(0x2017, Long, "FlashAction", values),
    row(0x201A, Long, "ElectronicFrontCurtainShutter", values),
    row(0x201B, Byte, "FocusMode", values),
    row(0x201C, Byte, "AFAreaModeSetting", values),
    row(0x201D, Short, "FlexibleSpotPosition", values, 2),
    row(0x201E, Byte, "AFPointSelected", values),
    row(0x2020, Undefined, "AFPointsUsed", values, AnyCount),
    row(0x2021, Byte, "AFTracking", values),
    row(0x2022, Undefined, "FocalPlaneAFPointsUsed", values, AnyCount),
    row(0x2023, Long, "MultiFrameNREffect", values),
    row(0x2026, SLong, "WBShiftAB_GM_Precise", values, 2),
    row(0x2027, Short, "FocusLocation", values, 4),
    row(0x2028, Short, "VariableLowPassFilter", values, 2),
    row(0x2029, Short, "RAWFileType", values),
    row(0x202B, Byte, "PrioritySetInAWB", values),
    row(0x202C, Short, "MeteringMode2", values),
    row(0x202D, SRational, "ExposureStandardAdjustment", values),
    row(0x202E, Short, "Quality", values, 2),
    row(0x202F, Undefined, "PixelShiftInfo", values, AnyCount),
    row(0x2031, Ascii, "SerialNumber", text, AnyCount),
    row(0x2032, SLong, "Shadows", values),
    row(0x2033, SLong, "Highlights", values),
    row(0x2034, SLong, "Fade", values),
    row(0x2035, SLong, "SharpnessRange", values),
    row(0x2036, SLong, "Clarity", values),
    row(0x2037, Short, "FocusFrameSize", values, 3),
    row(0x9050, Undefined, "Sony_0x9050", values, AnyCount),
    row(0x9400, Undefined, "Sony_0x9400", values, AnyCount),
    row(0x9402, Undefined, "Sony_0x9402", values, AnyCount),
    row(0x9404, Undefined, "Sony_0x9404", values, AnyCount),
    row(0x9405, Undefined, "Sony_0x9405", values, AnyCount),
    row(0x9406, Undefined, "Sony_0x9406", values, AnyCount),
    row(0x9407, Undefined, "Sony_0x9407", values, AnyCount),
    row(0x9408, Undefined, "Sony_0x9408", values, AnyCount),
    row(0x9409, Undefined, "Sony_0x9409", values, AnyCount),
    row(0x940A, Undefined, "Sony_0x940a", values, AnyCount),
    row(0x940B, Undefined, "Sony_0x940b", values, AnyCount),
    row(0x940C, Undefined, "Sony_0x940c", values, AnyCount),
    row(0x940D, Undefined, "Sony_0x940d", values, AnyCount),
    row(0x940E, Undefined, "Sony_0x940e", values, AnyCount),
    row(0x940F, Undefined, "Sony_0x940f", values, AnyCount),
    row(0x9411, Undefined, "Sony_0x9411", values, AnyCount),
    row(0xB000, Byte, "FileFormat", values, 4),
    row(0xB001, Short, "SonyModelID", values),
    row(0xB020, Ascii, "CreativeStyle", text, AnyCount),
    row(0xB021, Long, "ColorTemperature", values),
    row(0xB022, Long, "ColorCompensationFilter", values),
    row(0xB023, Long, "SceneMode", values),
    row(0xB024, Long, "ZoneMatching", values),
    row(0xB025, Long, "DynamicRangeOptimizer", values),
    row(0xB026, Long, "ImageStabilization", values),
    row(0xB027, Long, "LensType", values),
    row(0xB029, Long, "ColorMode", values),
    row(0xB02A, Byte, "LensSpec", values, 8),
    row(0xB02B, Long, "FullImageSize", values, 2),
    row(0xB02C, Long, "PreviewImageSize", values, 2),
    row(0xB040, Short, "Macro", values),
    row(0xB041, Short, "ExposureMode", values),
    row(0xB042, Short, "FocusMode", values),
    row(0xB043, Short, "AFAreaMode", values),
    row(0xB044, Short, "AFIlluminator", values),
    row(0xB047, Short, "JPEGQuality", values),
    row(0xB048, SShort, "FlashLevel", values),
    row(0xB049, Short, "ReleaseMode", values),
    row(0xB04A, Short, "SequenceNumber", values),
    row(0xB04E, Short, "FocusMode", values),
    row(0xB04F, Short, "DynamicRangeOptimizer", values),
    row(0xB050, Short, "HighISONoiseReduction2", values),
    row(0xB052, Short, "IntelligentAuto", values),
    row(0xB054, Short, "WhiteBalance", values),
    End,
};

} // namespace

const std::vector<Form>& sonyForms()
{
    static const std::vector<Form> forms = {
        {"Sony", "SONY DSC \0\0\0", 12, nullptr, 12, false, Base::Tiff, Order::Parent, 0, Main, nullptr, nullptr},
        {"Sony", "SONY CAM \0\0\0", 12, nullptr, 12, false, Base::Tiff, Order::Parent, 0, Main, nullptr, nullptr},
        {"Sony", nullptr, 0, "SONY", 0, false, Base::Tiff, Order::Parent, 0, Main, nullptr, nullptr}
    };
    return forms;
}

} // namespace Metadata::MakerNotes
