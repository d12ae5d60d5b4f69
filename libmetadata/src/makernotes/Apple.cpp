// Apple's notes: "Apple iOS\0", a version and the byte order before a directory whose offsets
// count from the note.
#include "MakerNotes.h"

namespace Metadata::MakerNotes {

using namespace Formatters;

namespace {

// Tag names as exiftool gives them, so that scripts written against its output carry over.
constexpr TagRow Main[] = {
    row(0x0001, SLong, "MakerNoteVersion", values),
    row(0x0002, Undefined, "AEMatrix", values, AnyCount),
    row(0x0004, SLong, "AEStable", values),
    row(0x0005, SLong, "AETarget", values),
    row(0x0006, SLong, "AEAverage", values),
    row(0x0007, SLong, "AFStable", values),
    row(0x0008, SRational, "AccelerationVector", values, 3),
    row(0x000A, SLong, "HDRImageType", values),
    row(0x000B, Ascii, "BurstUUID", text, AnyCount),
    row(0x000C, SRational, "FocusDistanceRange", values, 2),
    row(0x000F, SLong, "OISMode", values),
    row(0x0011, Ascii, "MediaGroupUUID", text, AnyCount),
    row(0x0014, SLong, "ImageCaptureType", values),
    row(0x0015, Ascii, "ImageUniqueID", text, AnyCount),
    row(0x0017, Undefined, "LivePhotoVideoIndex", values, AnyCount),
    row(0x0019, SLong, "ImageProcessingFlags", values),
    row(0x001A, Ascii, "QualityHint", text, AnyCount),
    row(0x001D, SRational, "LuminanceNoiseAmplitude", values),
    row(0x0020, Ascii, "ImageCaptureReqestID", text, AnyCount),
    row(0x0021, SRational, "HDRHeadroom", values),
    row(0x0025, SLong, "SceneFlags", values),
    row(0x0026, SLong, "SignalToNoiseRatioType", values),
    row(0x0027, SRational, "SignalToNoiseRatio", values),
    row(0x002F, SLong, "FocusPosition", values),
    row(0x0030, SRational, "HDRGain", values),
    row(0x0038, SLong, "AFMeasuredDepth", values),
    row(0x003D, SLong, "AFConfidence", values),
    row(0x003E, Undefined, "ColorCorrectionMatrix", values, AnyCount),
    row(0x003F, SLong, "GreenGhostMitigationStatus", values),
    row(0x0040, Undefined, "SemanticStyle", values, AnyCount),
    row(0x0041, Undefined, "SemanticStyleRenderingVer", values, AnyCount),
    row(0x0042, Undefined, "SemanticStylePreset", values, AnyCount),
    row(0x0045, SLong, "FrontFacingCamera", values),
    End,
};

} // namespace

const std::vector<Form>& appleForms()
{
    static const std::vector<Form> forms = {
        {"Apple", "Apple iOS\0", 10, nullptr, 14, false, Base::Note, Order::Marked, 12, Main, nullptr, nullptr}
    };
    return forms;
}

} // namespace Metadata::MakerNotes
