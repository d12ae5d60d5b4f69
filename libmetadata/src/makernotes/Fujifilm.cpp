// Fujifilm's notes: "FUJIFILM", then the place of a directory whose offsets count from the note,
// always in Intel byte order.
#include "MakerNotes.h"

namespace Metadata::MakerNotes {

using namespace Formatters;

namespace {

// Tag names as exiftool gives them, so that scripts written against its output carry over.
constexpr TagRow Main[] = {
    row(0x0000, Undefined, "Version", values, AnyCount),
    row(0x0010, Ascii, "InternalSerialNumber", text, AnyCount),
    row(0x1000, Ascii, "Quality", text, AnyCount),
    row(0x1001, Short, "Sharpness", values),
    row(0x1002, Short, "WhiteBalance", values),
    row(0x1003, Short, "Saturation", values),
    row(0x1004, Short, "Contrast", values),
    row(0x1005, Short, "ColorTemperature", values),
    row(0x1006, Short, "Contrast", values),
    row(0x100A, SLong, "WhiteBalanceFineTune", values, 2),
    row(0x100B, Short, "NoiseReduction", values),
    row(0x100E, Short, "NoiseReduction", values),
    row(0x100F, SLong, "Clarity", values),
    row(0x1010, Short, "FujiFlashMode", values),
    row(0x1011, SRational, "FlashExposureComp", values),
    row(0x1020, Short, "Macro", values),
    row(0x1021, Short, "FocusMode", values),
    row(0x1022, Short, "AFMode", values),
    row(0x1023, Short, "FocusPixel", values, 2),
    row(0x1030, Short, "SlowSync", values),
    row(0x1031, Short, "PictureMode", values),
    row(0x1032, Short, "ExposureCount", values),
    row(0x1033, Short, "EXRAuto", values),
    row(0x1034, Short, "EXRMode", values),
    row(0x1040, SLong, "ShadowTone", values),
    row(0x1041, SLong, "HighlightTone", values),
    row(0x1044, Long, "DigitalZoom", values),
    row(0x1045, Long, "LensModulationOptimizer", values),
    row(0x1047, SLong, "GrainEffectRoughness", values),
    row(0x1048, SLong, "ColorChromeEffect", values),
    row(0x1049, SByte, "BWAdjustment", values),
    row(0x104B, SByte, "BWMagentaGreen", values),
    row(0x104C, Short, "GrainEffectSize", values),
    row(0x104D, Short, "CropMode", values),
    row(0x104E, SLong, "ColorChromeFXBlue", values),
    row(0x1050, Short, "ShutterType", values),
    row(0x1100, Short, "AutoBracketing", values),
    row(0x1101, Short, "SequenceNumber", values),
    row(0x1105, Short, "PixelShiftShots", values),
    row(0x1106, SRational, "PixelShiftOffset", values, 2),
    row(0x1153, Short, "PanoramaAngle", values),
    row(0x1154, Short, "PanoramaDirection", values),
    row(0x1201, Long, "AdvancedFilter", values),
    row(0x1210, Short, "ColorMode", values),
    row(0x1300, Short, "BlurWarning", values),
    row(0x1301, Short, "FocusWarning", values),
    row(0x1302, Short, "ExposureWarning", values),
    row(0x1304, Ascii, "GEImageSize", text, AnyCount),
    row(0x1400, Short, "DynamicRange", values),
    row(0x1401, Short, "FilmMode", values),
    row(0x1402, Short, "DynamicRangeSetting", values),
    row(0x1403, Short, "DevelopmentDynamicRange", values),
    row(0x1404, SRational, "MinFocalLength", values),
    row(0x1405, SRational, "MaxFocalLength", values),
    row(0x1406, SRational, "MaxApertureAtMinFocal", values),
    row(0x1407, SRational, "MaxApertureAtMaxFocal", values),
    row(0x140B, Short, "AutoDynamicRange", values),
    row(0x1422, Short, "ImageStabilization", values, 3),
    row(0x1425, Short, "SceneRecognition", values),
    row(0x1431, Long, "Rating", values),
    row(0x1436, Short, "ImageGeneration", values),
    row(0x1438, Short, "ImageCount", values),
    row(0x1443, Short, "DRangePriority", values),
    row(0x1444, Short, "DRangePriorityAuto", values),
    row(0x1445, Short, "DRangePriorityFixed", values),
    row(0x1446, Long, "FlickerReduction", values),
    row(0x1447, Ascii, "FujiModel", text, AnyCount),
    row(0x1448, Ascii, "FujiModel2", text, AnyCount),
    row(0x144D, SRational, "RollAngle", values),
    row(0x3803, Long, "VideoRecordingMode", values),
    row(0x3804, Short, "PeripheralLighting", values),
    row(0x3806, Short, "VideoCompression", values),
    row(0x3820, Short, "FrameRate", values),
    row(0x3821, Short, "FrameWidth", values),
    row(0x3822, Short, "FrameHeight", values),
    row(0x3824, Long, "FullHDHighSpeedRec", values),
    row(0x4005, Short, "FaceElementSelected", values, 4),
    row(0x4100, Short, "FacesDetected", values),
    row(0x4103, Short, "FacePositions", values),
    row(0x4200, Short, "NumFaceElements", values),
    row(0x4201, Byte, "FaceElementTypes", values),
    row(0x4203, Short, "FaceElementPositions", values),
    row(0x8000, Ascii, "FileSource", text, AnyCount),
    row(0x8002, Long, "OrderNumber", values),
    row(0x8003, Short, "FrameNumber", values),
    row(0xB211, SRational, "Parallax", values),
    End,
};

} // namespace

const std::vector<Form>& fujifilmForms()
{
    static const std::vector<Form> forms = {
        {"FujiFilm", "FUJIFILM", 8, nullptr, 8, true, Base::Note, Order::Little, 0, Main, nullptr, nullptr},
        {"FujiFilm", "GENERALE", 8, nullptr, 8, true, Base::Note, Order::Little, 0, Main, nullptr, nullptr}
    };
    return forms;
}

} // namespace Metadata::MakerNotes
