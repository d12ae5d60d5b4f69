// Sanyo's notes: "SANYO\0\1\0" before a directory whose offsets count from the TIFF header.
#include "MakerNotes.h"

namespace Metadata::MakerNotes {

using namespace Formatters;

namespace {

// Tag names as exiftool gives them, so that scripts written against its output carry over.
constexpr TagRow Main[] = {
    row(0x00FF, Long, "MakerNoteOffset", values),
    row(0x0100, Undefined, "SanyoThumbnail", values, AnyCount),
    row(0x0200, Long, "SpecialMode", values, 3),
    row(0x0201, Short, "SanyoQuality", values),
    row(0x0202, Short, "Macro", values),
    row(0x0204, Rational, "DigitalZoom", values),
    row(0x0207, Undefined, "SoftwareVersion", values, AnyCount),
    row(0x0208, Undefined, "PictInfo", values, AnyCount),
    row(0x0209, Undefined, "CameraID", values, AnyCount),
    row(0x020E, Short, "SequentialShot", values),
    row(0x020F, Short, "WideRange", values),
    row(0x0210, Short, "ColorAdjustmentMode", values),
    row(0x0213, Short, "QuickShot", values),
    row(0x0214, Short, "SelfTimer", values),
    row(0x0216, Short, "VoiceMemo", values),
    row(0x0217, Short, "RecordShutterRelease", values),
    row(0x0218, Short, "FlickerReduce", values),
    row(0x0219, Short, "OpticalZoomOn", values),
    row(0x021B, Short, "DigitalZoomOn", values),
    row(0x021D, Short, "LightSourceSpecial", values),
    row(0x021E, Short, "Resaved", values),
    row(0x021F, Short, "SceneSelect", values),
    row(0x0223, Rational, "ManualFocusDistance", values),
    row(0x0224, Short, "SequenceShotInterval", values),
    row(0x0225, Short, "FlashMode", values),
    row(0x0F00, Undefined, "DataDump", binary, AnyCount),
    End,
};

} // namespace

const std::vector<Form>& sanyoForms()
{
    static const std::vector<Form> forms = {
        {"Sanyo", "SANYO\0\1\0", 8, nullptr, 8, false, Base::Tiff, Order::Parent, 0, Main, nullptr, nullptr}
    };
    return forms;
}

} // namespace Metadata::MakerNotes
