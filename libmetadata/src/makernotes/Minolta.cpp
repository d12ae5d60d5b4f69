// Minolta's notes: a plain directory whose offsets count from the TIFF header.
#include "MakerNotes.h"

namespace Metadata::MakerNotes {

using namespace Formatters;

namespace {

// Tag names as exiftool gives them, so that scripts written against its output carry over.
constexpr TagRow Main[] = {
    row(0x0000, Undefined, "MakerNoteVersion", values, AnyCount),
    row(0x0018, Undefined, "ImageStabilization", values, AnyCount),
    row(0x0040, Long, "CompressedImageSize", values),
    row(0x0081, Undefined, "PreviewImage", values, AnyCount),
    row(0x0088, Long, "PreviewImageStart", values),
    row(0x0089, Long, "PreviewImageLength", values),
    row(0x0100, Long, "SceneMode", values),
    row(0x0101, Long, "ColorMode", values),
    row(0x0102, Long, "MinoltaQuality", values),
    row(0x0103, Long, "MinoltaQuality", values),
    row(0x0104, SRational, "FlashExposureComp", values),
    row(0x0105, Long, "Teleconverter", values),
    row(0x0107, Long, "ImageStabilization", values),
    row(0x0109, Long, "RawAndJpgRecording", values),
    row(0x010A, Long, "ZoneMatching", values),
    row(0x010B, Long, "ColorTemperature", values),
    row(0x010C, Long, "LensType", values),
    row(0x0111, SLong, "ColorCompensationFilter", values),
    row(0x0112, Long, "WhiteBalanceFineTune", values),
    row(0x0113, Long, "ImageStabilization", values),
    row(0x0115, Long, "WhiteBalance", values),
    row(0x0F00, Undefined, "MinoltaCameraSettings2", values, AnyCount),
    End,
};

} // namespace

const std::vector<Form>& minoltaForms()
{
    static const std::vector<Form> forms = {
        {"Minolta", nullptr, 0, "Minolta", 0, false, Base::Tiff, Order::Parent, 0, Main, nullptr, nullptr},
        {"Minolta", nullptr, 0, "KONICA MINOLTA", 0, false, Base::Tiff, Order::Parent, 0, Main, nullptr, nullptr}
    };
    return forms;
}

} // namespace Metadata::MakerNotes
