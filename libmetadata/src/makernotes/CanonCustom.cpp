// Canon's custom functions, as a directory of their own in the group "CanonCustom": each function
// a field whose tag is its number. Names as exiftool gives them, so that scripts written against
// its output carry over.
#include "Canon.h"

#include <cctype>
#include <cmath>
#include <cstdio>
#include <vector>

namespace Metadata::MakerNotes::Canon {

using namespace Formatters;

namespace {

// The newer cameras' functions (tag 0x99): number 0xGGNN is function NN of group GG.
constexpr TagRow Functions2[] = {
    row(0x0101, SLong, "ExposureLevelIncrements", values, AnyCount),
    row(0x0102, SLong, "ISOSpeedIncrements", values, AnyCount),
    row(0x0103, SLong, "ISOExpansion", values, AnyCount),
    row(0x0104, SLong, "AEBAutoCancel", values, AnyCount),
    row(0x0105, SLong, "AEBSequence", values, AnyCount),
    row(0x0106, SLong, "AEBShotCount", values, AnyCount),
    row(0x0107, SLong, "SpotMeterLinkToAFPoint", values, AnyCount),
    row(0x0108, SLong, "SafetyShift", values, AnyCount),
    row(0x0109, SLong, "UsableShootingModes", values, AnyCount),
    row(0x010A, SLong, "UsableMeteringModes", values, AnyCount),
    row(0x010B, SLong, "ExposureModeInManual", values, AnyCount),
    row(0x010C, SLong, "ShutterSpeedRange", values, AnyCount),
    row(0x010D, SLong, "ApertureRange", values, AnyCount),
    row(0x010E, SLong, "ApplyShootingMeteringMode", values, AnyCount),
    row(0x010F, SLong, "FlashSyncSpeedAv", values, AnyCount),
    row(0x0110, SLong, "AEMicroadjustment", values, AnyCount),
    row(0x0111, SLong, "FEMicroadjustment", values, AnyCount),
    row(0x0112, SLong, "SameExposureForNewAperture", values, AnyCount),
    row(0x0113, SLong, "ExposureCompAutoCancel", values, AnyCount),
    row(0x0114, SLong, "AELockMeterModeAfterFocus", values, AnyCount),
    row(0x0201, SLong, "LongExposureNoiseReduction", values, AnyCount),
    row(0x0202, SLong, "HighISONoiseReduction", values, AnyCount),
    row(0x0203, SLong, "HighlightTonePriority", values, AnyCount),
    row(0x0204, SLong, "AutoLightingOptimizer", values, AnyCount),
    row(0x0304, SLong, "ETTLII", values, AnyCount),
    row(0x0305, SLong, "ShutterCurtainSync", values, AnyCount),
    row(0x0306, SLong, "FlashFiring", values, AnyCount),
    row(0x0407, SLong, "ViewInfoDuringExposure", values, AnyCount),
    row(0x0408, SLong, "LCDIlluminationDuringBulb", values, AnyCount),
    row(0x0409, SLong, "InfoButtonWhenShooting", values, AnyCount),
    row(0x040A, SLong, "ViewfinderWarnings", values, AnyCount),
    row(0x040B, SLong, "LVShootingAreaDisplay", values, AnyCount),
    row(0x040C, SLong, "LVShootingAreaDisplay", values, AnyCount),
    row(0x0501, SLong, "USMLensElectronicMF", values, AnyCount),
    row(0x0502, SLong, "AIServoTrackingSensitivity", values, AnyCount),
    row(0x0503, SLong, "AIServoImagePriority", values, AnyCount),
    row(0x0504, SLong, "AIServoTrackingMethod", values, AnyCount),
    row(0x0505, SLong, "LensDriveNoAF", values, AnyCount),
    row(0x0506, SLong, "LensAFStopButton", values, AnyCount),
    row(0x0507, SLong, "AFMicroadjustment", values, AnyCount),
    row(0x0508, SLong, "AFPointAreaExpansion", values, AnyCount),
    row(0x0509, SLong, "SelectableAFPoint", values, AnyCount),
    row(0x050A, SLong, "SwitchToRegisteredAFPoint", values, AnyCount),
    row(0x050B, SLong, "AFPointAutoSelection", values, AnyCount),
    row(0x050C, SLong, "AFPointDisplayDuringFocus", values, AnyCount),
    row(0x050D, SLong, "AFPointBrightness", values, AnyCount),
    row(0x050E, SLong, "AFAssistBeam", values, AnyCount),
    row(0x050F, SLong, "AFPointSelectionMethod", values, AnyCount),
    row(0x0510, SLong, "SuperimposedDisplay", values, AnyCount),
    row(0x0511, SLong, "AFDuringLiveView", values, AnyCount),
    row(0x0512, SLong, "SelectAFAreaSelectMode", values, AnyCount),
    row(0x0513, SLong, "ManualAFPointSelectPattern", values, AnyCount),
    row(0x0514, SLong, "DisplayAllAFPoints", values, AnyCount),
    row(0x0515, SLong, "FocusDisplayAIServoAndMF", values, AnyCount),
    row(0x0516, SLong, "OrientationLinkedAFPoint", values, AnyCount),
    row(0x0517, SLong, "MultiControllerWhileMetering", values, AnyCount),
    row(0x0518, SLong, "AccelerationTracking", values, AnyCount),
    row(0x0519, SLong, "AIServoFirstImagePriority", values, AnyCount),
    row(0x051A, SLong, "AIServoSecondImagePriority", values, AnyCount),
    row(0x051B, SLong, "AFAreaSelectMethod", values, AnyCount),
    row(0x051C, SLong, "AutoAFPointColorTracking", values, AnyCount),
    row(0x051D, SLong, "VFDisplayIllumination", values, AnyCount),
    row(0x051E, SLong, "InitialAFPointAIServoAF", values, AnyCount),
    row(0x060F, SLong, "MirrorLockup", values, AnyCount),
    row(0x0610, SLong, "ContinuousShootingSpeed", values, AnyCount),
    row(0x0611, SLong, "ContinuousShotLimit", values, AnyCount),
    row(0x0612, SLong, "RestrictDriveModes", values, AnyCount),
    row(0x0701, SLong, "ShutterButtonAFOnButton", values, AnyCount),
    row(0x0702, SLong, "AFOnAELockButtonSwitch", values, AnyCount),
    row(0x0703, SLong, "QuickControlDialInMeter", values, AnyCount),
    row(0x0704, SLong, "SetButtonWhenShooting", values, AnyCount),
    row(0x0705, SLong, "ManualTv", values, AnyCount),
    row(0x0706, SLong, "DialDirectionTvAv", values, AnyCount),
    row(0x0707, SLong, "AvSettingWithoutLens", values, AnyCount),
    row(0x0708, SLong, "WBMediaImageSizeSetting", values, AnyCount),
    row(0x0709, SLong, "LockMicrophoneButton", values, AnyCount),
    row(0x070A, SLong, "ButtonFunctionControlOff", values, AnyCount),
    row(0x070B, SLong, "AssignFuncButton", values, AnyCount),
    row(0x070C, SLong, "CustomControls", values, AnyCount),
    row(0x070D, SLong, "StartMovieShooting", values, AnyCount),
    row(0x070E, SLong, "FlashButtonFunction", values, AnyCount),
    row(0x070F, SLong, "MultiFunctionLock", values, AnyCount),
    row(0x0710, SLong, "TrashButtonFunction", values, AnyCount),
    row(0x0711, SLong, "ShutterReleaseWithoutLens", values, AnyCount),
    row(0x0712, SLong, "ControlRingRotation", values, AnyCount),
    row(0x0713, SLong, "FocusRingRotation", values, AnyCount),
    row(0x0714, SLong, "RFLensMFFocusRingSensitivity", values, AnyCount),
    row(0x0715, SLong, "CustomizeDials", values, AnyCount),
    row(0x080B, SLong, "FocusingScreen", values, AnyCount),
    row(0x080C, SLong, "TimerLength", values, AnyCount),
    row(0x080D, SLong, "ShortReleaseTimeLag", values, AnyCount),
    row(0x080E, SLong, "AddAspectRatioInfo", values, AnyCount),
    row(0x080F, SLong, "AddOriginalDecisionData", values, AnyCount),
    row(0x0810, SLong, "LiveViewExposureSimulation", values, AnyCount),
    row(0x0811, SLong, "LCDDisplayAtPowerOn", values, AnyCount),
    row(0x0812, SLong, "MemoAudioQuality", values, AnyCount),
    row(0x0813, SLong, "DefaultEraseOption", values, AnyCount),
    row(0x0814, SLong, "RetractLensOnPowerOff", values, AnyCount),
    row(0x0815, SLong, "AddIPTCInformation", values, AnyCount),
    row(0x0816, SLong, "AudioCompression", values, AnyCount),
    End,
};

// Functions named otherwise on some cameras; the first list whose models match is used.
constexpr TagRow Functions2Of1D[] = {
    row(0x0103, SLong, "ISOSpeedRange", values, AnyCount),
    End,
};
constexpr TagRow Functions2Of7D[] = {
    row(0x0510, SLong, "VFDisplayIllumination", values, AnyCount),
    End,
};
constexpr TagRow Functions2Of60D[] = {
    row(0x0701, SLong, "AFAndMeteringButtons", values, AnyCount),
    End,
};
constexpr TagRow Functions2OfRebels[] = {
    row(0x0701, SLong, "Shutter-AELock", values, AnyCount),
    End,
};

struct ModelTable {
    const char* models;
    const TagRow* table;
};

constexpr ModelTable Functions2Variants[] = {
    {"1D*", Functions2Of1D},
    {"7D", Functions2Of7D},
    {"60D", Functions2Of60D},
    {"1000D|XS|Kiss F|500D|T1i|Kiss X3|550D|T2i|Kiss X4|600D|T3i|Kiss X5|1100D|T3|Kiss X50", Functions2OfRebels},
};

// The older cameras' functions (tag 0x0f), one table per model.
constexpr TagRow Functions1D[] = {
    row(0x0000, Byte, "FocusingScreen", values),
    row(0x0001, Byte, "FinderDisplayDuringExposure", values),
    row(0x0002, Byte, "ShutterReleaseNoCFCard", values),
    row(0x0003, Byte, "ISOSpeedExpansion", values),
    row(0x0004, Byte, "ShutterAELButton", values),
    row(0x0005, Byte, "ManualTv", values),
    row(0x0006, Byte, "ExposureLevelIncrements", values),
    row(0x0007, Byte, "USMLensElectronicMF", values),
    row(0x0008, Byte, "LCDPanels", values),
    row(0x0009, Byte, "AEBSequenceAutoCancel", values),
    row(0x000A, Byte, "AFPointIllumination", values),
    row(0x000B, Byte, "AFPointSelection", values),
    row(0x000C, Byte, "MirrorLockup", values),
    row(0x000D, Byte, "AFPointSpotMetering", values),
    row(0x000E, Byte, "FillFlashAutoReduction", values),
    row(0x000F, Byte, "ShutterCurtainSync", values),
    row(0x0010, Byte, "SafetyShiftInAvOrTv", values),
    row(0x0011, Byte, "AFPointActivationArea", values),
    row(0x0012, Byte, "SwitchToRegisteredAFPoint", values),
    row(0x0013, Byte, "LensAFStopButton", values),
    row(0x0014, Byte, "AIServoTrackingSensitivity", values),
    row(0x0015, Byte, "AIServoContinuousShooting", values),
    End,
};

constexpr TagRow Functions5D[] = {
    row(0x0000, Byte, "FocusingScreen", values),
    row(0x0001, Byte, "SetFunctionWhenShooting", values),
    row(0x0002, Byte, "LongExposureNoiseReduction", values),
    row(0x0003, Byte, "FlashSyncSpeedAv", values),
    row(0x0004, Byte, "Shutter-AELock", values),
    row(0x0005, Byte, "AFAssistBeam", values),
    row(0x0006, Byte, "ExposureLevelIncrements", values),
    row(0x0007, Byte, "FlashFiring", values),
    row(0x0008, Byte, "ISOExpansion", values),
    row(0x0009, Byte, "AEBSequenceAutoCancel", values),
    row(0x000A, Byte, "SuperimposedDisplay", values),
    row(0x000B, Byte, "MenuButtonDisplayPosition", values),
    row(0x000C, Byte, "MirrorLockup", values),
    row(0x000D, Byte, "AFPointSelectionMethod", values),
    row(0x000E, Byte, "ETTLII", values),
    row(0x000F, Byte, "ShutterCurtainSync", values),
    row(0x0010, Byte, "SafetyShiftInAvOrTv", values),
    row(0x0011, Byte, "AFPointActivationArea", values),
    row(0x0012, Byte, "LCDDisplayReturnToShoot", values),
    row(0x0013, Byte, "LensAFStopButton", values),
    row(0x0014, Byte, "AddOriginalDecisionData", values),
    End,
};

constexpr TagRow Functions10D[] = {
    row(0x0001, Byte, "SetButtonWhenShooting", values),
    row(0x0002, Byte, "ShutterReleaseNoCFCard", values),
    row(0x0003, Byte, "FlashSyncSpeedAv", values),
    row(0x0004, Byte, "Shutter-AELock", values),
    row(0x0005, Byte, "AFAssist", values),
    row(0x0006, Byte, "ExposureLevelIncrements", values),
    row(0x0007, Byte, "AFPointRegistration", values),
    row(0x0008, Byte, "RawAndJpgRecording", values),
    row(0x0009, Byte, "AEBSequenceAutoCancel", values),
    row(0x000A, Byte, "SuperimposedDisplay", values),
    row(0x000B, Byte, "MenuButtonDisplayPosition", values),
    row(0x000C, Byte, "MirrorLockup", values),
    row(0x000D, Byte, "AssistButtonFunction", values),
    row(0x000E, Byte, "FillFlashAutoReduction", values),
    row(0x000F, Byte, "ShutterCurtainSync", values),
    row(0x0010, Byte, "SafetyShiftInAvOrTv", values),
    row(0x0011, Byte, "LensAFStopButton", values),
    End,
};

constexpr TagRow Functions20D[] = {
    row(0x0000, Byte, "SetFunctionWhenShooting", values),
    row(0x0001, Byte, "LongExposureNoiseReduction", values),
    row(0x0002, Byte, "FlashSyncSpeedAv", values),
    row(0x0003, Byte, "Shutter-AELock", values),
    row(0x0004, Byte, "AFAssistBeam", values),
    row(0x0005, Byte, "ExposureLevelIncrements", values),
    row(0x0006, Byte, "FlashFiring", values),
    row(0x0007, Byte, "ISOExpansion", values),
    row(0x0008, Byte, "AEBSequenceAutoCancel", values),
    row(0x0009, Byte, "SuperimposedDisplay", values),
    row(0x000A, Byte, "MenuButtonDisplayPosition", values),
    row(0x000B, Byte, "MirrorLockup", values),
    row(0x000C, Byte, "AFPointSelectionMethod", values),
    row(0x000D, Byte, "ETTLII", values),
    row(0x000E, Byte, "ShutterCurtainSync", values),
    row(0x000F, Byte, "SafetyShiftInAvOrTv", values),
    row(0x0010, Byte, "LensAFStopButton", values),
    row(0x0011, Byte, "AddOriginalDecisionData", values),
    End,
};

constexpr TagRow Functions30D[] = {
    row(0x0001, Byte, "SetFunctionWhenShooting", values),
    row(0x0002, Byte, "LongExposureNoiseReduction", values),
    row(0x0003, Byte, "FlashSyncSpeedAv", values),
    row(0x0004, Byte, "Shutter-AELock", values),
    row(0x0005, Byte, "AFAssistBeam", values),
    row(0x0006, Byte, "ExposureLevelIncrements", values),
    row(0x0007, Byte, "FlashFiring", values),
    row(0x0008, Byte, "ISOExpansion", values),
    row(0x0009, Byte, "AEBSequenceAutoCancel", values),
    row(0x000A, Byte, "SuperimposedDisplay", values),
    row(0x000B, Byte, "MenuButtonDisplayPosition", values),
    row(0x000C, Byte, "MirrorLockup", values),
    row(0x000D, Byte, "AFPointSelectionMethod", values),
    row(0x000E, Byte, "ETTLII", values),
    row(0x000F, Byte, "ShutterCurtainSync", values),
    row(0x0010, Byte, "SafetyShiftInAvOrTv", values),
    row(0x0011, Byte, "MagnifiedView", values),
    row(0x0012, Byte, "LensAFStopButton", values),
    row(0x0013, Byte, "AddOriginalDecisionData", values),
    End,
};

constexpr TagRow Functions350D[] = {
    row(0x0000, Byte, "SetButtonCrossKeysFunc", values),
    row(0x0001, Byte, "LongExposureNoiseReduction", values),
    row(0x0002, Byte, "FlashSyncSpeedAv", values),
    row(0x0003, Byte, "Shutter-AELock", values),
    row(0x0004, Byte, "AFAssistBeam", values),
    row(0x0005, Byte, "ExposureLevelIncrements", values),
    row(0x0006, Byte, "MirrorLockup", values),
    row(0x0007, Byte, "ETTLII", values),
    row(0x0008, Byte, "ShutterCurtainSync", values),
    End,
};

constexpr TagRow Functions400D[] = {
    row(0x0000, Byte, "SetButtonCrossKeysFunc", values),
    row(0x0001, Byte, "LongExposureNoiseReduction", values),
    row(0x0002, Byte, "FlashSyncSpeedAv", values),
    row(0x0003, Byte, "Shutter-AELock", values),
    row(0x0004, Byte, "AFAssistBeam", values),
    row(0x0005, Byte, "ExposureLevelIncrements", values),
    row(0x0006, Byte, "MirrorLockup", values),
    row(0x0007, Byte, "ETTLII", values),
    row(0x0008, Byte, "ShutterCurtainSync", values),
    row(0x0009, Byte, "MagnifiedView", values),
    row(0x000A, Byte, "LCDDisplayAtPowerOn", values),
    End,
};

constexpr TagRow FunctionsD30[] = {
    row(0x0001, Byte, "LongExposureNoiseReduction", values),
    row(0x0002, Byte, "Shutter-AELock", values),
    row(0x0003, Byte, "MirrorLockup", values),
    row(0x0004, Byte, "ExposureLevelIncrements", values),
    row(0x0005, Byte, "AFAssist", values),
    row(0x0006, Byte, "FlashSyncSpeedAv", values),
    row(0x0007, Byte, "AEBSequenceAutoCancel", values),
    row(0x0008, Byte, "ShutterCurtainSync", values),
    row(0x0009, Byte, "LensAFStopButton", values),
    row(0x000A, Byte, "FillFlashAutoReduction", values),
    row(0x000B, Byte, "MenuButtonReturn", values),
    row(0x000C, Byte, "SetButtonWhenShooting", values),
    row(0x000D, Byte, "SensorCleaning", values),
    row(0x000E, Byte, "SuperimposedDisplay", values),
    row(0x000F, Byte, "ShutterReleaseNoCFCard", values),
    End,
};

constexpr ModelTable Functions1Tables[] = {
    {"EOS-1D*", Functions1D},
    {"EOS 5D*", Functions5D},
    {"EOS 10D*", Functions10D},
    {"EOS 20D*", Functions20D},
    {"EOS 30D*", Functions30D},
    {"350D|REBEL XT|Kiss Digital N", Functions350D},
    {"400D|REBEL XTi|Kiss Digital X|K236", Functions400D},
    {"EOS D30|EOS D60", FunctionsD30},
};

// No real record holds more functions than this; a hostile one stops here.
constexpr std::size_t MaxFunctions = 512;

template <std::size_t N> const TagRow* tableFor(const ModelTable (&tables)[N], const std::string& model)
{
    for (const ModelTable& t : tables) {
        if (modelMatches(model, t.models)) {
            return t.table;
        }
    }
    return nullptr;
}

// The older form: the record's size in bytes, then a 16-bit word per function, its number in the
// high byte, its setting in the low one.
void functions1(Builder& build, std::uint16_t tag)
{
    const Field* record = build.main().find(tag);
    const TagRow* table = tableFor(Functions1Tables, build.model());
    if (record == nullptr || record->damaged() || table == nullptr) {
        return;
    }
    const std::uint64_t size = std::uint64_t{typeSize(record->type())} * record->count();
    TIFFReader& reader = *build.reader();
    const std::uint32_t at = record->valueOffset();
    const std::uint16_t stated = reader.read16(at);
    // The D60 counts its size without itself.
    if (size < 4 || (stated != size && !(modelMatches(build.model(), "EOS D60") && stated + 2u == size))) {
        return;
    }
    const std::uint32_t id = subDirectoryId(tag);
    std::vector<Field> fields;
    for (std::uint64_t p = 2; p + 2 <= size && fields.size() < MaxFunctions; p += 2) {
        const auto word = static_cast<std::uint32_t>(at + p);
        const auto number = static_cast<std::uint16_t>(reader.read16(word) >> 8);
        // The setting's byte: the word's low one, first or last as the note's order puts it.
        fields.emplace_back(reader, id, number, Byte, 1, reader.bigEndian() ? word + 1 : word);
    }
    if (!fields.empty()) {
        build.add(std::make_shared<IFD>(build.reader(), id, std::move(fields), "Canon CustomFunctions"), table);
        build.setGroup(id, "CanonCustom");
    }
}

// The newer form: the record's size (16 bits, then 16 unused), the number of groups, then each
// group: its number, its size in bytes from its size on, its number of functions, and each
// function: its number, its count of values, the 32-bit values.
void functions2(Builder& build)
{
    const Field* record = build.main().find(0x0099);
    if (record == nullptr || record->damaged()) {
        return;
    }
    const std::uint64_t size = std::uint64_t{typeSize(record->type())} * record->count();
    TIFFReader& reader = *build.reader();
    const std::uint64_t start = record->valueOffset();
    if (size < 8 || reader.read16(start) != size) {
        return;
    }
    const TagRow* variants = tableFor(Functions2Variants, build.model());
    std::vector<Field> fields;
    std::vector<Field> modelFields;
    const std::uint64_t end = start + size;
    for (std::uint64_t group = start + 8; group + 12 <= end;) {
        const std::uint32_t groupSize = reader.read32(group + 4);
        if (groupSize < 8 || group + 12 + (groupSize - 8) > end) {
            break;
        }
        const std::uint64_t groupEnd = group + 12 + (groupSize - 8);
        for (std::uint64_t f = group + 12; f + 8 < groupEnd && fields.size() + modelFields.size() < MaxFunctions;) {
            const std::uint32_t number = reader.read32(f);
            const std::uint64_t count = reader.read32(f + 4);
            const std::uint64_t next = f + 8 + 4 * count;
            if (next > groupEnd) {
                break;
            }
            if (count > 0 && number <= 0xFFFF) {
                const auto tag = static_cast<std::uint16_t>(number);
                const bool ofModel = variants != nullptr && findTagRow(variants, tag, false) != nullptr;
                (ofModel ? modelFields : fields)
                    .emplace_back(reader, ofModel ? CustomFunctionsModelId : CustomFunctionsId, tag, SLong,
                                  static_cast<std::uint32_t>(count), static_cast<std::uint32_t>(f + 8));
            }
            f = next;
        }
        group = groupEnd;
    }
    if (!fields.empty()) {
        build.add(std::make_shared<IFD>(build.reader(), CustomFunctionsId, std::move(fields), "Canon CustomFunctions2"),
                  Functions2);
        build.setGroup(CustomFunctionsId, "CanonCustom");
    }
    if (!modelFields.empty()) {
        build.add(std::make_shared<IFD>(build.reader(), CustomFunctionsModelId, std::move(modelFields),
                                        "Canon CustomFunctions2 (model)"),
                  variants);
        build.setGroup(CustomFunctionsModelId, "CanonCustom");
    }
}

// The values of a range: the first as stored when `keepFirst`, each other one through `convert`.
template <double (*Convert)(double), bool KeepFirst> bool range(const Field& field, std::string& value)
{
    if (field.damaged() || field.count() == 0 || field.type() != SLong) {
        return false;
    }
    const auto& numbers = field.signedValues();
    char text[32];
    for (std::size_t i = 0; i < numbers.size(); ++i) {
        if (i == 0 && KeepFirst) {
            std::snprintf(text, sizeof text, "%d", numbers[i]);
        } else {
            std::snprintf(text, sizeof text, "%.15g", Convert(numbers[i]));
        }
        value += (i > 0 ? " " : "") + std::string(text);
    }
    return true;
}

// ISO speeds in eighths of a stop from ISO 100 at 72; 0 and 1 mean no limit (guessed so by
// exiftool too), a large number none at all.
double isoOf(double v) { return v < 2 ? v : v < 1000 ? std::pow(2.0, v / 8 - 9) * 100 : 0; }
// Exposure times in eighths of a stop from 1/128 s at 0; the EOS R's in another unit.
double exposureTimeOf(double v) { return std::pow(2.0, -(v / 8 - 7)); }
double exposureTimeROf(double v) { return std::exp(-v / (1600 * std::log(2.0))); }
// Apertures in eighths of a stop, F1 at 8; the EOS R's in another unit.
double apertureOf(double v) { return std::pow(2.0, (v / 8 - 1) / 2); }
double apertureROf(double v) { return std::exp(v / 2400); }

} // namespace

bool modelMatches(const std::string& model, const char* patterns)
{
    auto wordChar = [](char c) { return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '_'; };
    const std::string all(patterns);
    for (std::size_t from = 0; from <= all.size();) {
        std::size_t bar = all.find('|', from);
        if (bar == std::string::npos) {
            bar = all.size();
        }
        std::string word = all.substr(from, bar - from);
        from = bar + 1;
        const char mark = word.empty() ? '\0' : word.back();
        if (mark == '*' || mark == '$') {
            word.pop_back();
        }
        for (std::size_t at = model.find(word); !word.empty() && at != std::string::npos; at = model.find(word, at + 1)) {
            const std::size_t after = at + word.size();
            const bool startsWord = at == 0 || !wordChar(model[at - 1]) || !wordChar(word.front());
            const bool endsWord = mark == '*' || (mark == '$' ? after == model.size()
                                                              : after == model.size() || !wordChar(model[after]) ||
                                                                    !wordChar(word.back()));
            if (startsWord && endsWord) {
                return true;
            }
        }
    }
    return false;
}

void customFunctions(Builder& build)
{
    functions1(build, 0x000F);
    functions1(build, 0x0090);
    functions2(build);
}

bool isoSpeedRange(const Field& field, std::string& value)
{
    return field.count() == 3 && range<isoOf, true>(field, value);
}

bool shutterSpeedRange(const Field& field, std::string& value)
{
    return field.count() == 3 ? range<exposureTimeOf, true>(field, value)
                              : field.count() == 4 && range<exposureTimeROf, false>(field, value);
}

bool apertureRange(const Field& field, std::string& value)
{
    return field.count() == 3 ? range<apertureOf, true>(field, value)
                              : field.count() == 4 && range<apertureROf, false>(field, value);
}

} // namespace Metadata::MakerNotes::Canon
