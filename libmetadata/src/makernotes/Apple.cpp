// Apple's notes: "Apple iOS\0", a version and the byte order before a directory whose offsets
// count from the note.
#include "MakerNotes.h"

#include <cstring>
#include <string>
#include <vector>

namespace Metadata::MakerNotes {

using namespace Formatters;

namespace {

// The run time (tag 3): a binary property list of one dictionary, its numbers as fields.
constexpr TagRow RunTime[] = {
    row(1, Undefined, "RunTimeFlags", values, AnyCount),
    row(2, Undefined, "RunTimeValue", values, AnyCount),
    row(3, Undefined, "RunTimeEpoch", values, AnyCount),
    row(4, Undefined, "RunTimeScale", values, AnyCount),
    End,
};

constexpr std::uint32_t RunTimeId = subDirectoryId(0x0003);

constexpr Conversion Conversions[] = {
    {RunTimeId, 1, bigEndianNumber},
    {RunTimeId, 2, bigEndianNumber},
    {RunTimeId, 3, bigEndianNumber},
    {RunTimeId, 4, bigEndianNumber},
    {0, 0},
};

// A binary property list ("bplist00"): objects, then a table of their offsets, then a 32-byte
// trailer giving the sizes of offsets and references, the number of objects, the top one and
// where the table starts. Every number read from it is checked against its size.
class PropertyList {
public:
    explicit PropertyList(const ValueList<std::uint8_t>& bytes) : b_(bytes)
    {
        if (b_.size() < 8 + 32 || std::memcmp(b_.data(), "bplist00", 8) != 0) {
            return;
        }
        const std::size_t t = b_.size() - 32;
        offsetSize_ = b_[t + 6];
        referenceSize_ = b_[t + 7];
        objects_ = number(t + 8, 8);
        top_ = number(t + 16, 8);
        table_ = number(t + 24, 8);
        valid_ = offsetSize_ >= 1 && offsetSize_ <= 8 && referenceSize_ >= 1 && referenceSize_ <= 8 &&
                 top_ < objects_ && table_ < t && objects_ <= (t - table_) / offsetSize_;
    }

    // Where object `index` starts; false when the list does not hold it.
    bool object(std::uint64_t index, std::size_t& at) const
    {
        if (!valid_ || index >= objects_) {
            return false;
        }
        const std::uint64_t place = number(static_cast<std::size_t>(table_ + index * offsetSize_), offsetSize_);
        if (place < 8 || place >= table_) {
            return false;
        }
        at = static_cast<std::size_t>(place);
        return true;
    }

    // The keys and values of the top dictionary: for each ASCII key, where its integer's bytes
    // start and how many there are.
    template <class Visit> void dictionary(Visit visit) const
    {
        std::size_t at = 0;
        if (!object(top_, at) || (b_[at] & 0xF0) != 0xD0 || (b_[at] & 0x0F) == 0x0F) {
            return; // not a dictionary, or a long one no run time has
        }
        const std::size_t entries = b_[at] & 0x0F;
        const std::size_t refs = at + 1;
        if (refs + 2 * entries * referenceSize_ > table_) {
            return;
        }
        for (std::size_t i = 0; i < entries; ++i) {
            std::size_t key = 0, value = 0;
            if (!object(number(refs + i * referenceSize_, referenceSize_), key) ||
                !object(number(refs + (entries + i) * referenceSize_, referenceSize_), value)) {
                continue;
            }
            const std::size_t keyLength = b_[key] & 0x0F;
            const std::size_t intLength = std::size_t{1} << (b_[value] & 0x0F);
            if ((b_[key] & 0xF0) != 0x50 || keyLength == 0x0F || key + 1 + keyLength > table_ ||
                (b_[value] & 0xF0) != 0x10 || intLength > 8 || value + 1 + intLength > table_) {
                continue;
            }
            visit(std::string(reinterpret_cast<const char*>(&b_[key + 1]), keyLength), value + 1, intLength);
        }
    }

private:
    std::uint64_t number(std::size_t at, std::size_t size) const
    {
        std::uint64_t v = 0;
        for (std::size_t i = 0; i < size && at + i < b_.size(); ++i) {
            v = v << 8 | b_[at + i];
        }
        return v;
    }

    const ValueList<std::uint8_t>& b_;
    std::size_t offsetSize_ = 0;
    std::size_t referenceSize_ = 0;
    std::uint64_t objects_ = 0;
    std::uint64_t top_ = 0;
    std::uint64_t table_ = 0;
    bool valid_ = false;
};

void subDirectories(Builder& build)
{
    const Field* runTime = build.main().find(0x0003);
    if (runTime == nullptr || runTime->damaged() || runTime->type() != Undefined) {
        return;
    }
    std::vector<Field> fields;
    TIFFReader& reader = *build.reader();
    PropertyList(runTime->rawBytes()).dictionary([&](const std::string& key, std::size_t at, std::size_t size) {
        static const char* const keys[] = {"flags", "value", "epoch", "timescale"};
        for (std::uint16_t tag = 1; tag <= 4; ++tag) {
            if (key == keys[tag - 1]) {
                fields.emplace_back(reader, RunTimeId, tag, Undefined, static_cast<std::uint32_t>(size),
                                    static_cast<std::uint32_t>(runTime->valueOffset() + at));
            }
        }
    });
    if (!fields.empty()) {
        build.add(std::make_shared<IFD>(build.reader(), RunTimeId, std::move(fields), "Apple RunTime"), RunTime);
    }
}

// Tag names as exiftool gives them, so that scripts written against its output carry over.
constexpr TagRow Main[] = {
    row(0x0003, Undefined, "RunTime", silent, AnyCount),
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
        {"Apple", "Apple iOS\0", 10, nullptr, 14, false, Base::Note, Order::Marked, 12, Main, subDirectories, Conversions}
    };
    return forms;
}

} // namespace Metadata::MakerNotes
