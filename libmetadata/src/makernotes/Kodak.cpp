// Kodak's notes of the "KDK" kind: no directory, but one array of the camera's settings after
// the eight bytes "KDK INFO", its numbers big-endian.
#include "MakerNotes.h"

namespace Metadata::MakerNotes {

using namespace Formatters;

namespace {

// Tag names as exiftool gives them, so that scripts written against its output carry over. A
// row's tag is its place in bytes after the signature.
constexpr TagRow Main[] = {
    row(0x0000, Ascii, "KodakModel", text, 8),
    row(0x0009, Byte, "Quality", values),
    row(0x000A, Byte, "BurstMode", values),
    row(0x000C, Short, "KodakImageWidth", values),
    row(0x000E, Short, "KodakImageHeight", values),
    row(0x0010, Short, "YearCreated", values),
    row(0x0012, Byte, "MonthDayCreated", values, 2),
    row(0x0014, Byte, "TimeCreated", values, 4),
    row(0x0018, Short, "BurstMode2", values),
    row(0x001B, Byte, "ShutterMode", values),
    row(0x001C, Byte, "MeteringMode", values),
    row(0x001D, Byte, "SequenceNumber", values),
    row(0x001E, Short, "FNumber", values),
    row(0x0020, Long, "ExposureTime", values),
    row(0x0024, SShort, "ExposureCompensation", values),
    row(0x0026, Short, "VariousModes", values),
    row(0x0028, Long, "Distance1", values),
    row(0x002C, Long, "Distance2", values),
    row(0x0030, Long, "Distance3", values),
    row(0x0034, Long, "Distance4", values),
    row(0x0038, Byte, "FocusMode", values),
    row(0x003A, Short, "VariousModes2", values),
    row(0x003C, Short, "PanoramaMode", values),
    row(0x003E, Short, "SubjectDistance", values),
    row(0x0040, Byte, "WhiteBalance", values),
    row(0x005C, Byte, "FlashMode", values),
    row(0x005D, Byte, "FlashFired", values),
    row(0x005E, Short, "ISOSetting", values),
    row(0x0060, Short, "ISO", values),
    row(0x0062, Short, "TotalZoom", values),
    row(0x0064, Short, "DateTimeStamp", values),
    row(0x0066, Short, "ColorMode", values),
    row(0x0068, Short, "DigitalZoom", values),
    row(0x006B, SByte, "Sharpness", values),
    End,
};

// F numbers and zoom factors in hundredths, times in 1/100000 s.
double hundredthsOf(double v) { return v / 100; }
double exposureTimeOf(double v) { return v / 100000; }

// The month and day, and the time to hundredths of a second, as one number per byte.
bool monthDayOf(const Field& field, std::string& text)
{
    std::vector<std::uint32_t> v;
    if (!numbers(field, v, 2)) {
        return false;
    }
    text = zeroPadded(v[0], 2) + ':' + zeroPadded(v[1], 2);
    return true;
}

bool timeOf(const Field& field, std::string& text)
{
    std::vector<std::uint32_t> v;
    if (!numbers(field, v, 4)) {
        return false;
    }
    text = zeroPadded(v[0], 2) + ':' + zeroPadded(v[1], 2) + ':' + zeroPadded(v[2], 2) + '.' + zeroPadded(v[3], 2);
    return true;
}

constexpr Conversion Conversions[] = {
    asText(DirectoryId::MakerNote, 0x12, monthDayOf),
    asText(DirectoryId::MakerNote, 0x14, timeOf),
    {DirectoryId::MakerNote, 30, single<hundredthsOf>},
    {DirectoryId::MakerNote, 32, single<exposureTimeOf>},
    {DirectoryId::MakerNote, 98, single<hundredthsOf>},
    {DirectoryId::MakerNote, 104, single<hundredthsOf>},
    {0, 0, nullptr},
};

} // namespace

const std::vector<Form>& kodakForms()
{
    static const std::vector<Form> forms = {
        {"Kodak", "KDK", 3, nullptr, 8, false, Base::Binary, Order::Big, 0, Main, nullptr, Conversions},
    };
    return forms;
}

} // namespace Metadata::MakerNotes
