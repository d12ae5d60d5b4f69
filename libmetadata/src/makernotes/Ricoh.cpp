// Ricoh's notes: "RICOH\0" or "Ricoh\0" before a directory whose offsets count from the TIFF
// header.
#include "MakerNotes.h"

namespace Metadata::MakerNotes {

using namespace Formatters;

namespace {

// Tag names as exiftool gives them, so that scripts written against its output carry over.
// The picture's record (tag 0x1001 where it is not a number).
constexpr TagRow ImageInfo[] = {
    row(0, Short, "RicohImageWidth", values),
    row(2, Short, "RicohImageHeight", values),
    row(28, Short, "PreviewImageStart", values),
    row(30, Short, "PreviewImageLength", values),
    row(32, Byte, "FlashMode", values),
    row(33, Byte, "Macro", values),
    row(34, Byte, "Sharpness", values),
    row(38, Byte, "WhiteBalance", values),
    row(39, Byte, "ISOSetting", values),
    row(40, Byte, "Saturation", values),
    End,
};

// The camera's information (tag 0x2001): "[Ricoh Camera Info]" before a big-endian directory.
constexpr TagRow CameraInfo[] = {
    row(0x0004, Ascii, "ManufactureDate1", text, AnyCount),
    row(0x0005, Ascii, "ManufactureDate2", text, AnyCount),
    row(0x002A, Undefined, "NoiseReduction", values, AnyCount),
    End,
};

void subDirectories(Builder& build)
{
    if (const Field* info = build.main().find(0x1001); info != nullptr && info->type() != Short) {
        build.array(0x1001, "Ricoh ImageInfo", ImageInfo, 1);
    }
    // The Caplio RR1 counts the directory's offsets from the value; the others from the note's.
    const bool rr1 = build.model().rfind("Caplio RR1", 0) == 0;
    build.embedded(0x2001, "Ricoh CameraInfo", CameraInfo, "[Ricoh Camera Info]", 20, Order::Big, rr1);
}

constexpr TagRow Main[] = {
    row(0x1001, Undefined, "ImageInfo", silent, AnyCount),
    row(0x2001, Undefined, "RicohSubdir", silent, AnyCount),
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
        {"Ricoh", "RICOH\0", 6, nullptr, 8, false, Base::Tiff, Order::Parent, 0, Main, subDirectories, nullptr},
        {"Ricoh", "Ricoh\0", 6, nullptr, 8, false, Base::Tiff, Order::Parent, 0, Main, subDirectories, nullptr}
    };
    return forms;
}

} // namespace Metadata::MakerNotes
