// Ricoh's notes: "RICOH\0" or "Ricoh\0" before a directory whose offsets count from the TIFF
// header.
#include "MakerNotes.h"

namespace Metadata::MakerNotes {

using namespace Formatters;

namespace {

// Tag names as exiftool gives them, so that scripts written against its output carry over.
constexpr TagRow Main[] = {
    row(0x0001, Ascii, "MakerNoteType", text, AnyCount),
    row(0x0002, Ascii, "FirmwareVersion", text, AnyCount),
    row(0x0005, Undefined, "SerialNumber", values, AnyCount),
    row(0x1000, Short, "RecordingFormat", values),
    row(0x1001, Short, "ExposureProgram", values),
    row(0x1002, Short, "DriveMode", values),
    row(0x1003, Long, "Sharpness", values),
    row(0x1004, Short, "WhiteBalanceFineTune", values),
    row(0x1006, Short, "FocusMode", values),
    row(0x1007, Short, "AutoBracketing", values),
    row(0x1009, Short, "MacroMode", values),
    row(0x100A, Short, "FlashMode", values),
    row(0x100B, SRational, "FlashExposureComp", values),
    row(0x100C, SRational, "ManualFlashOutput", values),
    row(0x100D, Short, "FullPressSnap", values),
    row(0x100E, Short, "DynamicRangeExpansion", values),
    row(0x100F, Short, "NoiseReduction", values),
    row(0x1010, Short, "ImageEffects", values),
    row(0x1011, Short, "Vignetting", values),
    row(0x1012, Long, "Contrast", values),
    row(0x1013, Long, "Saturation", values),
    row(0x1014, Long, "Sharpness", values),
    row(0x1015, Short, "ToningEffect", values),
    row(0x1016, Short, "HueAdjust", values),
    row(0x1017, Short, "WideAdapter", values),
    row(0x1018, Short, "CropMode", values),
    row(0x1019, Short, "NDFilter", values),
    row(0x101A, Short, "WBBracketShotNumber", values),
    row(0x1200, Short, "AFStatus", values),
    row(0x1201, Long, "AFAreaXPosition1", values),
    row(0x1202, Long, "AFAreaYPosition1", values),
    row(0x1203, Long, "AFAreaXPosition", values),
    row(0x1204, Long, "AFAreaYPosition", values),
    row(0x1205, Short, "AFAreaMode", values),
    row(0x1307, Long, "ColorTempKelvin", values),
    row(0x1308, Long, "ColorTemperature", values),
    row(0x1500, Rational, "FocalLength", values),
    row(0x1601, Long, "SensorWidth", values),
    row(0x1602, Long, "SensorHeight", values),
    row(0x1603, Long, "CroppedImageWidth", values),
    row(0x1604, Long, "CroppedImageHeight", values),
    End,
};

} // namespace

const std::vector<Form>& ricohForms()
{
    static const std::vector<Form> forms = {
        {"Ricoh", "RICOH\0", 6, nullptr, 8, false, Base::Tiff, Order::Parent, 0, Main, nullptr, nullptr},
        {"Ricoh", "Ricoh\0", 6, nullptr, 8, false, Base::Tiff, Order::Parent, 0, Main, nullptr, nullptr}
    };
    return forms;
}

} // namespace Metadata::MakerNotes
