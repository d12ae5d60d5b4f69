// Nikon's notes, in their three forms: a plain directory (the first Coolpix cameras), "Nikon\0\1"
// before a directory whose offsets count from the note, and "Nikon\0\2" before a TIFF header of
// the note's own, with its own byte order (every camera since). Its records of shot, colour
// balance, lens and flash information begin with a version that names their layout; from the
// D2X on most are enciphered with the camera's serial number and shutter count.
#include "MakerNotes.h"

#include "Metadata/Exceptions.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstring>

namespace Metadata::MakerNotes {

using namespace Formatters;

namespace {

// A value Nikon stores as three or four signed bytes a, b, c: the number a * b / c (an exposure
// difference of -5 / 6 EV, a lens's 5 1/3 f-stops).
bool fraction(const Field& field, double& value)
{
    std::vector<std::uint8_t> bytes;
    if (field.type() != Undefined || !field.getBytes(bytes) || bytes.size() < 3 || bytes[2] == 0) {
        return false;
    }
    value = static_cast<std::int8_t>(bytes[0]) * static_cast<double>(bytes[1]) / bytes[2];
    return true;
}

// Lens data in steps of 1/24 of a stop or of a doubling, as the lens reports them.
double exitPupilOf(double v) { return v == 0 ? 0 : 2048 / v; }
double apertureOf(double v) { return std::pow(2.0, v / 24); }
double focalLengthOf(double v) { return 5 * std::pow(2.0, v / 24); }
double focusDistanceOf(double v) { return 0.01 * std::pow(10.0, v / 40); }
double twelfthsOf(double v) { return v / 12; }
// A flash's compensation in steps of -1/6 EV; its output in manual modes as a share of full power.
double negativeSixthsOf(double v) { return v == 0 ? 0 : -v / 6; }
double flashOutputOf(double v) { return std::pow(2.0, -v / 6); }

// The version the first Coolpix cameras write as four binary numbers (0 1 0 0 for "0100"), the
// later ones as four digits.
bool versionText(const Field& field, std::string& value)
{
    std::vector<std::uint8_t> bytes;
    if (field.type() != Undefined || !field.getBytes(bytes) || bytes.empty()) {
        return false;
    }
    if (bytes[0] <= 9) {
        for (std::size_t i = 0; i < bytes.size() && i < 4; ++i) {
            value += std::to_string(bytes[i]);
        }
    } else {
        value.assign(bytes.begin(), bytes.end());
    }
    return true;
}

// The lens data, by the layout its version names. The rows of each layout carry a part of their
// own where the same place holds another value in another layout, so that each keeps its
// conversions: the D100's (0100, part 1), the D70's and the layout of the enciphered 0201 to 0203
// (part 0), and 0204's, one byte longer after the focus position (part 2).
constexpr std::uint16_t Layout00 = 1, Layout0204 = 2;

constexpr TagRow LensData00[] = {
    at(0, Layout00, Ascii, "LensDataVersion", text, 4),
    at(6, Layout00, Byte, "LensIDNumber", values),
    at(7, Layout00, Byte, "LensFStops", values),
    at(8, Layout00, Byte, "MinFocalLength", values),
    at(9, Layout00, Byte, "MaxFocalLength", values),
    at(10, Layout00, Byte, "MaxApertureAtMinFocal", values),
    at(11, Layout00, Byte, "MaxApertureAtMaxFocal", values),
    at(12, Layout00, Byte, "MCUVersion", values),
    End,
};

constexpr TagRow LensData01[] = {
    row(0, Ascii, "LensDataVersion", text, 4),
    row(4, Byte, "ExitPupilPosition", values),
    row(5, Byte, "AFAperture", values),
    row(8, Byte, "FocusPosition", values),
    row(9, Byte, "FocusDistance", values),
    row(10, Byte, "FocalLength", values),
    row(11, Byte, "LensIDNumber", values),
    row(12, Byte, "LensFStops", values),
    row(13, Byte, "MinFocalLength", values),
    row(14, Byte, "MaxFocalLength", values),
    row(15, Byte, "MaxApertureAtMinFocal", values),
    row(16, Byte, "MaxApertureAtMaxFocal", values),
    row(17, Byte, "MCUVersion", values),
    row(18, Byte, "EffectiveMaxAperture", values),
    End,
};

constexpr TagRow LensData0204[] = {
    at(0, Layout0204, Ascii, "LensDataVersion", text, 4),
    at(4, Layout0204, Byte, "ExitPupilPosition", values),
    at(5, Layout0204, Byte, "AFAperture", values),
    at(8, Layout0204, Byte, "FocusPosition", values),
    at(10, Layout0204, Byte, "FocusDistance", values),
    at(11, Layout0204, Byte, "FocalLength", values),
    at(12, Layout0204, Byte, "LensIDNumber", values),
    at(13, Layout0204, Byte, "LensFStops", values),
    at(14, Layout0204, Byte, "MinFocalLength", values),
    at(15, Layout0204, Byte, "MaxFocalLength", values),
    at(16, Layout0204, Byte, "MaxApertureAtMinFocal", values),
    at(17, Layout0204, Byte, "MaxApertureAtMaxFocal", values),
    at(18, Layout0204, Byte, "MCUVersion", values),
    at(19, Layout0204, Byte, "EffectiveMaxAperture", values),
    End,
};

// The Nikon 1 cameras name their lens.
constexpr TagRow LensData0400[] = {
    row(0, Ascii, "LensDataVersion", text, 4),
    row(0x18A, Ascii, "LensModel", text, 64),
    End,
};

constexpr TagRow LensData0402[] = {
    row(0, Ascii, "LensDataVersion", text, 4),
    row(0x18B, Ascii, "LensModel", text, 64),
    End,
};

constexpr TagRow LensData0403[] = {
    row(0, Ascii, "LensDataVersion", text, 4),
    row(0x2AC, Ascii, "LensModel", text, 64),
    End,
};

constexpr TagRow LensDataVersion[] = {
    row(0, Ascii, "LensDataVersion", text, 4),
    End,
};

// Where the camera focused (tag 0x88).
constexpr TagRow AFInfo[] = {
    row(0, Byte, "AFAreaMode", values),
    row(1, Byte, "AFPoint", values),
    row(2, Short, "AFPointsInFocus", values),
    End,
};

// What the camera did for each shot: the version alone (the rest differs camera by camera).
constexpr TagRow ShotInfo[] = {
    row(0, Ascii, "ShotInfoVersion", text, 4),
    End,
};

// The colour balance: its levels at a place and in an order each version has.
constexpr TagRow ColorBalance0100[] = {
    row(72, Short, "WB_RBGGLevels", values, 4),
    End,
};

constexpr TagRow ColorBalance0102[] = {
    row(10, Short, "WB_RGGBLevels", values, 4),
    End,
};

constexpr TagRow ColorBalance0103[] = {
    row(20, Short, "WB_RGBGLevels", values, 4),
    End,
};

constexpr TagRow ColorBalance0205[] = {
    row(18, Short, "WB_RGGBLevels", values, 4),
    End,
};

constexpr TagRow ColorBalance0209[] = {
    row(294, Short, "WB_GRBGLevels", values, 4),
    End,
};

constexpr TagRow ColorBalance02[] = {
    row(290, Short, "WB_RGGBLevels", values, 4),
    End,
};

constexpr TagRow ColorBalance0211[] = {
    row(300, Short, "WB_GRBGLevels", values, 4),
    End,
};

constexpr TagRow ColorBalance0213[] = {
    row(294, Short, "WB_RGGBLevels", values, 4),
    End,
};

constexpr TagRow ColorBalance0215[] = {
    row(288, Short, "WB_GRBGLevels", values, 4),
    End,
};

constexpr TagRow ColorBalanceVersion[] = {
    row(0, Undefined, "ColorBalanceVersion", values, 4),
    End,
};

// The flash's settings. The compensation bytes hold the flash's output instead in its manual and
// repeating modes: those readings carry part 3.
constexpr std::uint16_t Output = 3;

constexpr TagRow FlashInfo0100[] = {
    row(0, Ascii, "FlashInfoVersion", text, 4),
    row(4, Byte, "FlashSource", values),
    row(6, Byte, "ExternalFlashFirmware", values, 2),
    row(8, Byte, "ExternalFlashFlags", values),
    bits(9, 1, Byte, "FlashCommanderMode", 0x80),
    bits(9, 2, Byte, "FlashControlMode", 0x7F),
    at(10, Output, Byte, "FlashOutput", values),
    row(10, SByte, "FlashCompensation", values),
    row(11, Byte, "FlashFocalLength", values),
    row(12, Byte, "RepeatingFlashRate", values),
    row(13, Byte, "RepeatingFlashCount", values),
    row(14, Byte, "FlashGNDistance", values),
    bits(15, 1, Byte, "FlashGroupAControlMode", 0x0F),
    bits(16, 1, Byte, "FlashGroupBControlMode", 0x0F),
    at(17, Output, Byte, "FlashGroupAOutput", values),
    row(17, SByte, "FlashGroupACompensation", values),
    at(18, Output, Byte, "FlashGroupBOutput", values),
    row(18, SByte, "FlashGroupBCompensation", values),
    End,
};

// From here on group B's mode is kept in the upper half of its byte, and exiftool compares it as
// if it were not shifted down: it never names group B's output, always its compensation.
constexpr TagRow FlashInfo0102[] = {
    row(0, Ascii, "FlashInfoVersion", text, 4),
    row(4, Byte, "FlashSource", values),
    row(6, Byte, "ExternalFlashFirmware", values, 2),
    row(8, Byte, "ExternalFlashFlags", values),
    bits(9, 1, Byte, "FlashCommanderMode", 0x80),
    bits(9, 2, Byte, "FlashControlMode", 0x7F),
    at(10, Output, Byte, "FlashOutput", values),
    row(10, SByte, "FlashCompensation", values),
    row(12, Byte, "FlashFocalLength", values),
    row(13, Byte, "RepeatingFlashRate", values),
    row(14, Byte, "RepeatingFlashCount", values),
    row(15, Byte, "FlashGNDistance", values),
    bits(16, 1, Byte, "FlashGroupAControlMode", 0x0F),
    bits(17, 1, Byte, "FlashGroupBControlMode", 0xF0),
    bits(17, 2, Byte, "FlashGroupCControlMode", 0x0F),
    at(18, Output, Byte, "FlashGroupAOutput", values),
    row(18, SByte, "FlashGroupACompensation", values),
    row(19, SByte, "FlashGroupBCompensation", values),
    at(20, Output, Byte, "FlashGroupCOutput", values),
    row(20, SByte, "FlashGroupCCompensation", values),
    End,
};

constexpr TagRow FlashInfo0103[] = {
    row(0, Ascii, "FlashInfoVersion", text, 4),
    row(4, Byte, "FlashSource", values),
    row(6, Byte, "ExternalFlashFirmware", values, 2),
    row(8, Byte, "ExternalFlashFlags", values),
    bits(9, 1, Byte, "FlashCommanderMode", 0x80),
    bits(9, 2, Byte, "FlashControlMode", 0x7F),
    at(10, Output, Byte, "FlashOutput", values),
    row(10, SByte, "FlashCompensation", values),
    row(12, Byte, "FlashFocalLength", values),
    row(13, Byte, "RepeatingFlashRate", values),
    row(14, Byte, "RepeatingFlashCount", values),
    row(15, Byte, "FlashGNDistance", values),
    row(16, Byte, "FlashColorFilter", values),
    bits(17, 1, Byte, "FlashGroupAControlMode", 0x0F),
    bits(18, 1, Byte, "FlashGroupBControlMode", 0xF0),
    bits(18, 2, Byte, "FlashGroupCControlMode", 0x0F),
    at(0x13, Output, Byte, "FlashGroupAOutput", values),
    row(0x13, SByte, "FlashGroupACompensation", values),
    row(0x14, SByte, "FlashGroupBCompensation", values),
    at(0x15, Output, Byte, "FlashGroupCOutput", values),
    row(0x15, SByte, "FlashGroupCCompensation", values),
    row(0x1B, SByte, "ExternalFlashCompensation", values),
    row(0x1D, SByte, "FlashExposureComp3", values),
    row(0x27, SByte, "FlashExposureComp4", values),
    End,
};

constexpr TagRow FlashInfo0106[] = {
    row(0, Ascii, "FlashInfoVersion", text, 4),
    row(4, Byte, "FlashSource", values),
    row(6, Byte, "ExternalFlashFirmware", values, 2),
    row(8, Byte, "ExternalFlashFlags", values),
    bits(9, 1, Byte, "FlashCommanderMode", 0x80),
    bits(9, 2, Byte, "FlashControlMode", 0x7F),
    row(12, Byte, "FlashFocalLength", values),
    row(13, Byte, "RepeatingFlashRate", values),
    row(14, Byte, "RepeatingFlashCount", values),
    row(15, Byte, "FlashGNDistance", values),
    row(16, Byte, "FlashColorFilter", values),
    bits(17, 1, Byte, "FlashGroupAControlMode", 0x0F),
    bits(18, 1, Byte, "FlashGroupBControlMode", 0xF0),
    bits(18, 2, Byte, "FlashGroupCControlMode", 0x0F),
    at(0x27, Output, Byte, "FlashOutput", values),
    row(0x27, SByte, "FlashCompensation", values),
    at(0x28, Output, Byte, "FlashGroupAOutput", values),
    row(0x28, SByte, "FlashGroupACompensation", values),
    row(0x29, SByte, "FlashGroupBCompensation", values),
    at(0x2A, Output, Byte, "FlashGroupCOutput", values),
    row(0x2A, SByte, "FlashGroupCCompensation", values),
    End,
};

constexpr TagRow FlashInfoVersion[] = {
    row(0, Ascii, "FlashInfoVersion", text, 4),
    End,
};

// When a row of a record is shown: the bits `mask` of byte `at`, shifted down, from `least` up to
// (not including) `below`. A row without a rule always is; a row with several must meet all.
struct When {
    std::uint16_t tag;
    std::uint16_t at;
    std::uint8_t mask;
    std::uint16_t least;
    std::uint16_t below;
};

template <const When* Rules> bool shown(const TagRow& row, const std::uint8_t* bytes, std::size_t size)
{
    for (const When* rule = Rules; rule->mask != 0; ++rule) {
        if (rule->tag != row.tag()) {
            continue;
        }
        if (rule->at >= size) {
            return false;
        }
        unsigned value = bytes[rule->at] & rule->mask;
        for (unsigned mask = rule->mask; (mask & 1) == 0; mask >>= 1) {
            value >>= 1;
        }
        if (value < rule->least || value >= rule->below) {
            return false;
        }
    }
    return true;
}

// The flash control modes from 6 on are manual and repeating ones, which set an output; the
// automatic ones below set a compensation. A focal length, rate or count of 0 (or, from 0103
// on, 255) is none.
constexpr std::uint16_t Manual = 6, Any = 256;
constexpr std::uint16_t outputOf(std::uint16_t place) { return static_cast<std::uint16_t>(Output << 12 | place); }

constexpr When FlashShown0100[] = {
    {outputOf(10), 9, 0x7F, Manual, Any}, {10, 9, 0x7F, 0, Manual},
    {11, 11, 0xFF, 1, Any}, {12, 12, 0xFF, 1, Any}, {13, 13, 0xFF, 1, Any},
    {outputOf(17), 15, 0x0F, Manual, Any}, {17, 15, 0x0F, 0, Manual},
    {outputOf(18), 16, 0x0F, Manual, Any}, {18, 16, 0x0F, 0, Manual},
    {0, 0, 0, 0, 0},
};

constexpr When FlashShown0102[] = {
    {outputOf(10), 9, 0x7F, Manual, Any}, {10, 9, 0x7F, 0, Manual},
    {12, 12, 0xFF, 1, Any}, {13, 13, 0xFF, 1, Any}, {14, 14, 0xFF, 1, Any},
    {outputOf(18), 16, 0x0F, Manual, Any}, {18, 16, 0x0F, 0, Manual},
    {outputOf(20), 17, 0x0F, Manual, Any}, {20, 17, 0x0F, 0, Manual},
    {0, 0, 0, 0, 0},
};

constexpr When FlashShown0103[] = {
    {outputOf(10), 9, 0x7F, Manual, Any}, {10, 9, 0x7F, 0, Manual},
    {12, 12, 0xFF, 1, 255}, {13, 13, 0xFF, 1, 255}, {14, 14, 0xFF, 1, 255},
    {outputOf(0x13), 17, 0x0F, Manual, Any}, {0x13, 17, 0x0F, 0, Manual},
    {outputOf(0x15), 18, 0x0F, Manual, Any}, {0x15, 18, 0x0F, 0, Manual},
    {0, 0, 0, 0, 0},
};

constexpr When FlashShown0106[] = {
    {12, 12, 0xFF, 1, 255}, {13, 13, 0xFF, 1, 255}, {14, 14, 0xFF, 1, 255},
    {outputOf(0x27), 9, 0x7F, Manual, Any}, {0x27, 9, 0x7F, 0, Manual},
    {outputOf(0x28), 17, 0x0F, Manual, Any}, {0x28, 17, 0x0F, 0, Manual},
    {outputOf(0x2A), 18, 0x0F, Manual, Any}, {0x2A, 18, 0x0F, 0, Manual},
    {0, 0, 0, 0, 0},
};

// Nikon's cipher: a byte stream drawn from the serial number and the shutter count through two
// substitution tables, added to the data byte by byte from where a record's ciphered part starts.
constexpr std::uint8_t SerialSubstitution[256] = {
    0xc1, 0xbf, 0x6d, 0x0d, 0x59, 0xc5, 0x13, 0x9d, 0x83, 0x61, 0x6b, 0x4f, 0xc7, 0x7f, 0x3d, 0x3d,
    0x53, 0x59, 0xe3, 0xc7, 0xe9, 0x2f, 0x95, 0xa7, 0x95, 0x1f, 0xdf, 0x7f, 0x2b, 0x29, 0xc7, 0x0d,
    0xdf, 0x07, 0xef, 0x71, 0x89, 0x3d, 0x13, 0x3d, 0x3b, 0x13, 0xfb, 0x0d, 0x89, 0xc1, 0x65, 0x1f,
    0xb3, 0x0d, 0x6b, 0x29, 0xe3, 0xfb, 0xef, 0xa3, 0x6b, 0x47, 0x7f, 0x95, 0x35, 0xa7, 0x47, 0x4f,
    0xc7, 0xf1, 0x59, 0x95, 0x35, 0x11, 0x29, 0x61, 0xf1, 0x3d, 0xb3, 0x2b, 0x0d, 0x43, 0x89, 0xc1,
    0x9d, 0x9d, 0x89, 0x65, 0xf1, 0xe9, 0xdf, 0xbf, 0x3d, 0x7f, 0x53, 0x97, 0xe5, 0xe9, 0x95, 0x17,
    0x1d, 0x3d, 0x8b, 0xfb, 0xc7, 0xe3, 0x67, 0xa7, 0x07, 0xf1, 0x71, 0xa7, 0x53, 0xb5, 0x29, 0x89,
    0xe5, 0x2b, 0xa7, 0x17, 0x29, 0xe9, 0x4f, 0xc5, 0x65, 0x6d, 0x6b, 0xef, 0x0d, 0x89, 0x49, 0x2f,
    0xb3, 0x43, 0x53, 0x65, 0x1d, 0x49, 0xa3, 0x13, 0x89, 0x59, 0xef, 0x6b, 0xef, 0x65, 0x1d, 0x0b,
    0x59, 0x13, 0xe3, 0x4f, 0x9d, 0xb3, 0x29, 0x43, 0x2b, 0x07, 0x1d, 0x95, 0x59, 0x59, 0x47, 0xfb,
    0xe5, 0xe9, 0x61, 0x47, 0x2f, 0x35, 0x7f, 0x17, 0x7f, 0xef, 0x7f, 0x95, 0x95, 0x71, 0xd3, 0xa3,
    0x0b, 0x71, 0xa3, 0xad, 0x0b, 0x3b, 0xb5, 0xfb, 0xa3, 0xbf, 0x4f, 0x83, 0x1d, 0xad, 0xe9, 0x2f,
    0x71, 0x65, 0xa3, 0xe5, 0x07, 0x35, 0x3d, 0x0d, 0xb5, 0xe9, 0xe5, 0x47, 0x3b, 0x9d, 0xef, 0x35,
    0xa3, 0xbf, 0xb3, 0xdf, 0x53, 0xd3, 0x97, 0x53, 0x49, 0x71, 0x07, 0x35, 0x61, 0x71, 0x2f, 0x43,
    0x2f, 0x11, 0xdf, 0x17, 0x97, 0xfb, 0x95, 0x3b, 0x7f, 0x6b, 0xd3, 0x25, 0xbf, 0xad, 0xc7, 0xc5,
    0xc5, 0xb5, 0x8b, 0xef, 0x2f, 0xd3, 0x07, 0x6b, 0x25, 0x49, 0x95, 0x25, 0x49, 0x6d, 0x71, 0xc7,
};

constexpr std::uint8_t CountSubstitution[256] = {
    0xa7, 0xbc, 0xc9, 0xad, 0x91, 0xdf, 0x85, 0xe5, 0xd4, 0x78, 0xd5, 0x17, 0x46, 0x7c, 0x29, 0x4c,
    0x4d, 0x03, 0xe9, 0x25, 0x68, 0x11, 0x86, 0xb3, 0xbd, 0xf7, 0x6f, 0x61, 0x22, 0xa2, 0x26, 0x34,
    0x2a, 0xbe, 0x1e, 0x46, 0x14, 0x68, 0x9d, 0x44, 0x18, 0xc2, 0x40, 0xf4, 0x7e, 0x5f, 0x1b, 0xad,
    0x0b, 0x94, 0xb6, 0x67, 0xb4, 0x0b, 0xe1, 0xea, 0x95, 0x9c, 0x66, 0xdc, 0xe7, 0x5d, 0x6c, 0x05,
    0xda, 0xd5, 0xdf, 0x7a, 0xef, 0xf6, 0xdb, 0x1f, 0x82, 0x4c, 0xc0, 0x68, 0x47, 0xa1, 0xbd, 0xee,
    0x39, 0x50, 0x56, 0x4a, 0xdd, 0xdf, 0xa5, 0xf8, 0xc6, 0xda, 0xca, 0x90, 0xca, 0x01, 0x42, 0x9d,
    0x8b, 0x0c, 0x73, 0x43, 0x75, 0x05, 0x94, 0xde, 0x24, 0xb3, 0x80, 0x34, 0xe5, 0x2c, 0xdc, 0x9b,
    0x3f, 0xca, 0x33, 0x45, 0xd0, 0xdb, 0x5f, 0xf5, 0x52, 0xc3, 0x21, 0xda, 0xe2, 0x22, 0x72, 0x6b,
    0x3e, 0xd0, 0x5b, 0xa8, 0x87, 0x8c, 0x06, 0x5d, 0x0f, 0xdd, 0x09, 0x19, 0x93, 0xd0, 0xb9, 0xfc,
    0x8b, 0x0f, 0x84, 0x60, 0x33, 0x1c, 0x9b, 0x45, 0xf1, 0xf0, 0xa3, 0x94, 0x3a, 0x12, 0x77, 0x33,
    0x4d, 0x44, 0x78, 0x28, 0x3c, 0x9e, 0xfd, 0x65, 0x57, 0x16, 0x94, 0x6b, 0xfb, 0x59, 0xd0, 0xc8,
    0x22, 0x36, 0xdb, 0xd2, 0x63, 0x98, 0x43, 0xa1, 0x04, 0x87, 0x86, 0xf7, 0xa6, 0x26, 0xbb, 0xd6,
    0x59, 0x4d, 0xbf, 0x6a, 0x2e, 0xaa, 0x2b, 0xef, 0xe6, 0x78, 0xb6, 0x4e, 0xe0, 0x2f, 0xdc, 0x7c,
    0xbe, 0x57, 0x19, 0x32, 0x7e, 0x2a, 0xd0, 0xb8, 0xba, 0x29, 0x00, 0x3c, 0x52, 0x7d, 0xa8, 0x49,
    0x3b, 0x2d, 0xeb, 0x25, 0x49, 0xfa, 0xa3, 0xaa, 0x39, 0xa7, 0xc5, 0xa7, 0x50, 0x11, 0x36, 0xfb,
    0xc6, 0x67, 0x4a, 0xf5, 0xa5, 0x12, 0x65, 0x7e, 0xb0, 0xdf, 0xaf, 0x4e, 0xb3, 0x61, 0x7f, 0x2f,
};

// The cipher's keys, from the camera's serial number (its low byte; a serial number that is not
// a number stands for a fixed key of each model) and its shutter count (its four bytes folded).
struct Keys {
    std::uint8_t serial = 0;
    std::uint32_t count = 0;
};

bool keysOf(const Builder& build, Keys& keys)
{
    const Field* serial = build.main().find(0x001D);
    const Field* count = build.main().find(0x00A7);
    std::string text;
    if (serial == nullptr || count == nullptr || serial->type() != Ascii || !serial->getText(text) ||
        count->type() != Long || !count->getUInt32(keys.count)) {
        return false;
    }
    const bool number =
        !text.empty() && std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
    if (number) {
        unsigned low = 0;
        for (const char c : text) {
            low = (low * 10 + static_cast<unsigned>(c - '0')) & 0xFF;
        }
        keys.serial = static_cast<std::uint8_t>(low);
        return true;
    }
    std::string model = build.model();
    while (!model.empty() && (model.back() == ' ' || model.back() == '\0')) {
        model.pop_back();
    }
    const std::size_t n = model.size();
    const bool d50 = n >= 3 && model.compare(n - 3, 3, "D50") == 0 &&
                     (n == 3 || (!std::isalnum(static_cast<unsigned char>(model[n - 4])) && model[n - 4] != '_'));
    keys.serial = d50 ? 0x22 : 0x60;
    return true;
}

// Deciphers bytes [from, to) of a record whose ciphered part starts at `from`. The same steps
// encipher: the stream is added with exclusive or.
void decipher(std::vector<std::uint8_t>& bytes, std::size_t from, std::size_t to, const Keys& keys)
{
    const unsigned step = SerialSubstitution[keys.serial];
    unsigned key = 0;
    for (int i = 0; i < 4; ++i) {
        key ^= (keys.count >> (8 * i)) & 0xFF;
    }
    unsigned stream = CountSubstitution[key];
    unsigned k = 0x60;
    for (std::size_t i = from; i < to && i < bytes.size(); ++i) {
        stream = (stream + step * k) & 0xFF;
        k = (k + 1) & 0xFF;
        bytes[i] = static_cast<std::uint8_t>(bytes[i] ^ stream);
    }
}

// One layout of a record (an entry of UNDEFINED bytes that begins with its version in four
// digits): the versions that use it, the directory it makes, and where its ciphered part starts
// (0: it is plain). The first layout of a record whose versions match is read.
struct Layout {
    std::uint16_t tag;
    const char* first;  // the versions from `first` to `last`; null: any
    const char* last;
    const char* name;
    const TagRow* table;
    std::uint32_t cipherFrom;
    Builder::Applies applies;
};

constexpr Layout Layouts[] = {
    {0x0091, "0200", "0899", "Nikon ShotInfo", ShotInfo, 4, nullptr},
    {0x0091, nullptr, nullptr, "Nikon ShotInfo", ShotInfo, 0, nullptr},
    {0x0097, "0100", "0100", "Nikon ColorBalance", ColorBalance0100, 0, nullptr},
    {0x0097, "0102", "0102", "Nikon ColorBalance", ColorBalance0102, 0, nullptr},
    {0x0097, "0103", "0103", "Nikon ColorBalance", ColorBalance0103, 0, nullptr},
    {0x0097, "0205", "0205", "Nikon ColorBalance", ColorBalance0205, 4, nullptr},
    {0x0097, "0209", "0209", "Nikon ColorBalance", ColorBalance0209, 284, nullptr},
    {0x0097, "0212", "0212", "Nikon ColorBalance", ColorBalance0209, 284, nullptr},
    {0x0097, "0214", "0214", "Nikon ColorBalance", ColorBalance0209, 284, nullptr},
    {0x0097, "0200", "0210", "Nikon ColorBalance", ColorBalance02, 284, nullptr},
    {0x0097, "0211", "0211", "Nikon ColorBalance", ColorBalance0211, 284, nullptr},
    {0x0097, "0213", "0213", "Nikon ColorBalance", ColorBalance0213, 284, nullptr},
    {0x0097, "0215", "0217", "Nikon ColorBalance", ColorBalance0215, 284, nullptr},
    {0x0097, "0200", "0299", "Nikon ColorBalance", ColorBalanceVersion, 284, nullptr},
    {0x0097, "0600", "0699", "Nikon ColorBalance", ColorBalanceVersion, 284, nullptr},
    {0x0097, "0400", "0499", "Nikon ColorBalance", ColorBalanceVersion, 4, nullptr},
    {0x0097, "0800", "0899", "Nikon ColorBalance", ColorBalanceVersion, 4, nullptr},
    {0x0097, nullptr, nullptr, "Nikon ColorBalance", ColorBalanceVersion, 0, nullptr},
    {0x0098, "0100", "0100", "Nikon LensData", LensData00, 0, nullptr},
    {0x0098, "0101", "0101", "Nikon LensData", LensData01, 0, nullptr},
    {0x0098, "0201", "0203", "Nikon LensData", LensData01, 4, nullptr},
    {0x0098, "0204", "0204", "Nikon LensData", LensData0204, 4, nullptr},
    {0x0098, "0400", "0401", "Nikon LensData", LensData0400, 4, nullptr},
    {0x0098, "0402", "0402", "Nikon LensData", LensData0402, 4, nullptr},
    {0x0098, "0403", "0403", "Nikon LensData", LensData0403, 4, nullptr},
    {0x0098, nullptr, nullptr, "Nikon LensData", LensDataVersion, 4, nullptr},
    {0x00A8, "0100", "0101", "Nikon FlashInfo", FlashInfo0100, 0, shown<FlashShown0100>},
    {0x00A8, "0102", "0102", "Nikon FlashInfo", FlashInfo0102, 0, shown<FlashShown0102>},
    {0x00A8, "0103", "0105", "Nikon FlashInfo", FlashInfo0103, 0, shown<FlashShown0103>},
    {0x00A8, "0106", "0106", "Nikon FlashInfo", FlashInfo0106, 0, shown<FlashShown0106>},
    {0x00A8, nullptr, nullptr, "Nikon FlashInfo", FlashInfoVersion, 0, nullptr},
};

// The bytes a table reads, from the start of its record: what must be deciphered.
std::size_t extentOf(const TagRow* table)
{
    std::size_t end = 0;
    for (const TagRow* row = table; row->name != nullptr; ++row) {
        end = std::max<std::size_t>(end, placeOf(*row) + std::size_t{typeSize(row->type() & ~Reversed)} * row->count);
    }
    return end;
}

void record(Builder& build, std::uint16_t tag, const Keys* keys)
{
    const Field* field = build.main().find(tag);
    std::vector<std::uint8_t> bytes;
    if (field == nullptr || field->type() != Undefined || !field->getBytes(bytes) || bytes.size() < 4) {
        return;
    }
    for (const Layout& layout : Layouts) {
        if (layout.tag != tag ||
            (layout.first != nullptr && (std::memcmp(bytes.data(), layout.first, 4) < 0 ||
                                         std::memcmp(bytes.data(), layout.last, 4) > 0))) {
            continue;
        }
        if (layout.cipherFrom != 0) {
            if (keys == nullptr) {
                return; // enciphered, and the camera left no key: nothing can be read
            }
            decipher(bytes, layout.cipherFrom, extentOf(layout.table), *keys);
        }
        build.array(tag, layout.name, layout.table, 1, std::move(bytes), Order::Parent, layout.applies);
        return;
    }
}

constexpr std::uint32_t LensId = subDirectoryId(0x0098);
constexpr std::uint32_t FlashId = subDirectoryId(0x00A8);

constexpr std::uint16_t in00(std::uint16_t place) { return static_cast<std::uint16_t>(Layout00 << 12 | place); }
constexpr std::uint16_t in0204(std::uint16_t place) { return static_cast<std::uint16_t>(Layout0204 << 12 | place); }

constexpr Conversion Conversions[] = {
    asText(DirectoryId::MakerNote, 0x0001, versionText),
    {DirectoryId::MakerNote, 0x000D, fraction},
    {DirectoryId::MakerNote, 0x000E, fraction},
    {DirectoryId::MakerNote, 0x0012, fraction},
    {DirectoryId::MakerNote, 0x0017, fraction},
    {DirectoryId::MakerNote, 0x0018, fraction},
    {DirectoryId::MakerNote, 0x001C, fraction},
    {DirectoryId::MakerNote, 0x008B, fraction},
    {LensId, in00(7), single<twelfthsOf>},
    {LensId, in00(8), single<focalLengthOf>},
    {LensId, in00(9), single<focalLengthOf>},
    {LensId, in00(10), single<apertureOf>},
    {LensId, in00(11), single<apertureOf>},
    {LensId, 4, single<exitPupilOf>},
    {LensId, 5, single<apertureOf>},
    {LensId, 9, single<focusDistanceOf>},
    {LensId, 10, single<focalLengthOf>},
    {LensId, 12, single<twelfthsOf>},
    {LensId, 13, single<focalLengthOf>},
    {LensId, 14, single<focalLengthOf>},
    {LensId, 15, single<apertureOf>},
    {LensId, 16, single<apertureOf>},
    {LensId, 18, single<apertureOf>},
    {LensId, in0204(4), single<exitPupilOf>},
    {LensId, in0204(5), single<apertureOf>},
    {LensId, in0204(10), single<focusDistanceOf>},
    {LensId, in0204(11), single<focalLengthOf>},
    {LensId, in0204(13), single<twelfthsOf>},
    {LensId, in0204(14), single<focalLengthOf>},
    {LensId, in0204(15), single<focalLengthOf>},
    {LensId, in0204(16), single<apertureOf>},
    {LensId, in0204(17), single<apertureOf>},
    {LensId, in0204(19), single<apertureOf>},
    // Every version's compensations (at each place some version keeps one), and outputs.
    {FlashId, 10, single<negativeSixthsOf>},
    {FlashId, 17, single<negativeSixthsOf>},
    {FlashId, 18, single<negativeSixthsOf>},
    {FlashId, 19, single<negativeSixthsOf>},
    {FlashId, 20, single<negativeSixthsOf>},
    {FlashId, 0x15, single<negativeSixthsOf>},
    {FlashId, 0x1B, single<negativeSixthsOf>},
    {FlashId, 0x1D, single<negativeSixthsOf>},
    {FlashId, 0x27, single<negativeSixthsOf>},
    {FlashId, 0x28, single<negativeSixthsOf>},
    {FlashId, 0x29, single<negativeSixthsOf>},
    {FlashId, 0x2A, single<negativeSixthsOf>},
    {FlashId, outputOf(10), single<flashOutputOf>},
    {FlashId, outputOf(17), single<flashOutputOf>},
    {FlashId, outputOf(18), single<flashOutputOf>},
    {FlashId, outputOf(0x13), single<flashOutputOf>},
    {FlashId, outputOf(0x15), single<flashOutputOf>},
    {FlashId, outputOf(20), single<flashOutputOf>},
    {FlashId, outputOf(0x27), single<flashOutputOf>},
    {FlashId, outputOf(0x28), single<flashOutputOf>},
    {FlashId, outputOf(0x2A), single<flashOutputOf>},
    {0, 0, nullptr},
};

// The records read by their layouts: shot information, colour balance, lens data, flash.
constexpr std::uint16_t Records[] = {0x0091, 0x0097, 0x0098, 0x00A8};

void subDirectories(Builder& build)
{
    build.array(0x0088, "Nikon AFInfo", AFInfo, 1);
    try {
        Keys keys;
        const bool keyed = keysOf(build, keys);
        for (const std::uint16_t tag : Records) {
            record(build, tag, keyed ? &keys : nullptr);
        }
    } catch (const Error&) {
        // a serial number or shutter count of another type than the maker's: no key
    }
}

// Tag names as exiftool gives them, so that scripts written against its output carry over.
constexpr TagRow Main[] = {
    row(0x0088, Undefined, "AFInfo", silent, AnyCount),
    row(0x0098, Undefined, "LensData", silent, AnyCount),
    row(0x0091, Undefined, "ShotInfo", silent, AnyCount),
    row(0x0097, Undefined, "ColorBalance", silent, AnyCount),
    row(0x00A8, Undefined, "FlashInfo", silent, AnyCount),
    row(0x0001, Undefined, "MakerNoteVersion", values, AnyCount),
    row(0x0002, Short, "ISO", values, 2),
    row(0x0003, Ascii, "ColorMode", text, AnyCount),
    row(0x0004, Ascii, "Quality", text, AnyCount),
    row(0x0005, Ascii, "WhiteBalance", text, AnyCount),
    row(0x0006, Ascii, "Sharpness", text, AnyCount),
    row(0x0007, Ascii, "FocusMode", text, AnyCount),
    row(0x0008, Ascii, "FlashSetting", text, AnyCount),
    row(0x0009, Ascii, "FlashType", text, AnyCount),
    row(0x000B, SShort, "WhiteBalanceFineTune", values),
    row(0x000C, Rational, "WB_RBLevels", values, 4),
    row(0x000D, Undefined, "ProgramShift", values, AnyCount),
    row(0x000E, Undefined, "ExposureDifference", values, AnyCount),
    row(0x000F, Ascii, "ISOSelection", text, AnyCount),
    row(0x0010, Undefined, "DataDump", values, AnyCount),
    row(0x0012, Undefined, "FlashExposureComp", values, AnyCount),
    row(0x0013, Short, "ISOSetting", values, 2),
    row(0x0016, Short, "ImageBoundary", values, 4),
    row(0x0017, Undefined, "ExternalFlashExposureComp", values, AnyCount),
    row(0x0018, Undefined, "FlashExposureBracketValue", values, AnyCount),
    row(0x0019, SRational, "ExposureBracketValue", values),
    row(0x001A, Ascii, "ImageProcessing", text, AnyCount),
    row(0x001B, Short, "CropHiSpeed", values, 7),
    row(0x001C, Undefined, "ExposureTuning", values, AnyCount),
    row(0x001D, Ascii, "SerialNumber", text, AnyCount),
    row(0x001E, Short, "ColorSpace", values),
    row(0x0020, Byte, "ImageAuthentication", values),
    row(0x0023, Undefined, "PictureControlData", values, AnyCount),
    row(0x002A, Short, "VignetteControl", values),
    row(0x0034, Short, "ShutterMode", values),
    row(0x0037, Long, "MechanicalShutterCount", values),
    row(0x003D, Short, "BlackLevel", values, 4),
    row(0x003E, Undefined, "ImageSizeRAW", values, AnyCount),
    row(0x003F, SRational, "WhiteBalanceFineTune", values, 2),
    row(0x0045, Short, "CropArea", values, 4),
    row(0x004E, Undefined, "NikonSettings", values, AnyCount),
    row(0x004F, Short, "ColorTemperatureAuto", values),
    row(0x0051, Undefined, "MakerNotes0x51", values, AnyCount),
    row(0x0056, Undefined, "MakerNotes0x56", values, AnyCount),
    row(0x0080, Ascii, "ImageAdjustment", text, AnyCount),
    row(0x0081, Ascii, "ToneComp", text, AnyCount),
    row(0x0082, Ascii, "AuxiliaryLens", text, AnyCount),
    row(0x0083, Byte, "LensType", values),
    row(0x0084, Rational, "Lens", values, 4),
    row(0x0085, Rational, "ManualFocusDistance", values),
    row(0x0086, Rational, "DigitalZoom", values),
    row(0x0087, Byte, "FlashMode", values),
    row(0x0089, Short, "ShootingMode", values),
    row(0x008B, Undefined, "LensFStops", values, AnyCount),
    row(0x008C, Undefined, "ContrastCurve", values, AnyCount),
    row(0x008D, Ascii, "ColorHue", text, AnyCount),
    row(0x008F, Ascii, "SceneMode", text, AnyCount),
    row(0x0090, Ascii, "LightSource", text, AnyCount),
    row(0x0092, SShort, "HueAdjustment", values),
    row(0x0093, Short, "NEFCompression", values),
    row(0x0094, SShort, "SaturationAdj", values),
    row(0x0095, Ascii, "NoiseReduction", text, AnyCount),
    row(0x0096, Undefined, "NEFLinearizationTable", values, AnyCount),
    row(0x0099, Short, "RawImageCenter", values, 2),
    row(0x009A, Rational, "SensorPixelSize", values, 2),
    row(0x009C, Ascii, "SceneAssist", text, AnyCount),
    row(0x009D, Short, "DateStampMode", values),
    row(0x009E, Short, "RetouchHistory", values, 10),
    row(0x00A0, Ascii, "SerialNumber", text, AnyCount),
    row(0x00A2, Long, "ImageDataSize", values),
    row(0x00A5, Long, "ImageCount", values),
    row(0x00A6, Long, "DeletedImageCount", values),
    row(0x00A7, Long, "ShutterCount", values),
    row(0x00A9, Ascii, "ImageOptimization", text, AnyCount),
    row(0x00AA, Ascii, "Saturation", text, AnyCount),
    row(0x00AB, Ascii, "VariProgram", text, AnyCount),
    row(0x00AC, Ascii, "ImageStabilization", text, AnyCount),
    row(0x00AD, Ascii, "AFResponse", text, AnyCount),
    row(0x00B1, Short, "HighISONoiseReduction", values),
    row(0x00B3, Ascii, "ToningEffect", text, AnyCount),
    row(0x00B6, Undefined, "PowerUpTime", values, AnyCount),
    row(0x00BD, Undefined, "PictureControlData", values, AnyCount),
    row(0x00BF, Undefined, "SilentPhotography", values, AnyCount),
    row(0x0E01, Undefined, "NikonCaptureData", values, AnyCount),
    row(0x0E09, Ascii, "NikonCaptureVersion", text, AnyCount),
    row(0x0E0E, Undefined, "NikonCaptureOffsets", values, AnyCount),
    row(0x0E13, Undefined, "NikonCaptureEditVersions", values, AnyCount),
    row(0x0E1D, Undefined, "NikonICCProfile", values, AnyCount),
    row(0x0E1E, Undefined, "NikonCaptureOutput", values, AnyCount),
    row(0x0E22, Short, "NEFBitDepth", values, 4),
    End,
};

} // namespace

const std::vector<Form>& nikonForms()
{
    static const std::vector<Form> forms = {
        {"Nikon", "Nikon\0\2", 7, nullptr, 10, false, Base::OwnHeader, Order::Parent, 0, Main, subDirectories, Conversions},
        {"Nikon", "Nikon\0\1", 7, nullptr, 8, false, Base::Note, Order::Parent, 0, Main, subDirectories, Conversions},
        {"Nikon", nullptr, 0, "NIKON", 0, false, Base::Tiff, Order::Parent, 0, Main, subDirectories, Conversions},
    };
    return forms;
}

} // namespace Metadata::MakerNotes
