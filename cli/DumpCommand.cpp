// lumeno dump, show, iptc and xmp: the metadata of each file as text.
#include "Commands.h"
#include "ExifToolNames.h"
#include "Json.h"

#include <Lumeno/Commands/FileCommands.h>
#include <Metadata/EXIF.h>
#include <Metadata/Exceptions.h>
#include <Metadata/ImageFactory.h>
#include <Metadata/ImageStream.h>
#include <Metadata/IPTC.h>
#include <Metadata/MetadataValues.h>
#include <Metadata/TagTable.h>
#include <Metadata/XMP.h>

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdio>
#include <functional>
#include <map>
#include <ostream>
#include <set>
#include <sstream>

namespace Lumeno::Cli {

namespace {

const char* const DumpHelp =
    "Usage: lumeno dump [--json] [-j N] FILE...\n"
    "\n"
    "Shows the EXIF directories of each JPEG or TIFF file in the order IFD0, EXIF,\n"
    "interoperability, GPS, IFD1, the maker's note and the maker's other directories\n"
    "(Canon, Nikon, Olympus, Fujifilm, Pentax, Panasonic, Sony, Casio, Minolta, Kodak,\n"
    "Ricoh, Sanyo, Sigma, Apple): a header line per directory, then one line per value,\n"
    "\"Name: value\". Values without a known name are shown as\n"
    "\"Tag 0xTTTT (TYPE, COUNT): values\". With several files, each file's\n"
    "lines follow a line \"==> FILE <==\".\n"
    "\n"
    "  --json   one JSON array for all files: per file its directories in order, each\n"
    "           with its name, id and every entry (tag, name, type, count, the values\n"
    "           as stored, and the text the dump shows), and the warnings\n"
    "  -j N     read N files side by side (default: one per core); the output keeps\n"
    "           the order of the files\n"
    "\n"
    "An entry or directory that cannot be read costs itself, not the file: the\n"
    "rest is shown, and what was wrong is written to standard error as\n"
    "\"lumeno: FILE: warning: TEXT\". A file that cannot be read at all is reported\n"
    "as \"lumeno: FILE: MESSAGE\" and the other files are still shown.\n"
    "Exit status: 0 when every file was read, 1 when any failed, 2 for bad usage.\n";

const char* const ShowHelp =
    "Usage: lumeno show [--json [--numeric]] [-j N] FILE...\n"
    "\n"
    "A summary of each JPEG or TIFF file for people: its format; its principal\n"
    "properties (title, description, creator, keywords, dates, camera, lens,\n"
    "exposure, position, location), reconciled from EXIF, IPTC and XMP the way\n"
    "the Metadata Working Group's guidelines reconcile them; then its EXIF\n"
    "directories (with the maker's note and GPS), its IPTC datasets and its XMP\n"
    "properties, each under a heading.\n"
    "\n"
    "  --json     one JSON array for all files, one object per file with\n"
    "             \"SourceFile\" and \"Group:Name\" members under exiftool's group and tag\n"
    "             names (IFD0, ExifIFD, GPS, Canon, IPTC, XMP-dc, ...; \"Summary\" for\n"
    "             the principal properties), so that scripts written for exiftool's\n"
    "             JSON read it; the values are the texts the tool shows\n"
    "  --numeric  with --json: the values as stored instead (numbers, rationals as\n"
    "             decimals, GPS coordinates as unsigned decimal degrees), like\n"
    "             exiftool's -n\n"
    "  -j N       read N files side by side (default: one per core)\n"
    "Warnings, errors and exit status as for 'lumeno dump'.\n";

const char* const IptcHelp =
    "Usage: lumeno iptc FILE...\n"
    "\n"
    "One line per IPTC dataset of each file, in stored order: the dataset's name,\n"
    "a tab, and its text. Line breaks, tabs and backslashes in the text are written\n"
    "as \\r, \\n, \\t and \\\\ so that every dataset stays on its line. Datasets\n"
    "of numbers the library does not know are named 2:NNN; a value longer than its\n"
    "dataset allows is shown whole, with a warning.\n"
    "Warnings, errors and exit status as for 'lumeno dump'.\n";

const char* const XmpHelp =
    "Usage: lumeno xmp FILE...\n"
    "\n"
    "The XMP packet of each file, as the program writes it. A file without one\n"
    "prints nothing. Errors and exit status as for 'lumeno dump'.\n";

struct Opened {
    Metadata::ImageStreamT stream;
    std::unique_ptr<Metadata::ImageMetadata> image;
};

std::unique_ptr<Opened> open(const std::string& file)
{
    auto opened = std::make_unique<Opened>();
    opened->image = Metadata::openImage(file, opened->stream);
    return opened;
}

// Each distinct fault once, after the file's name; the output goes on.
void reportWarnings(const std::string& file, const Metadata::ImageMetadata& image, Streams streams)
{
    std::vector<std::string> told;
    for (const Metadata::ReadWarning& w : image.warnings()) {
        if (std::find(told.begin(), told.end(), w.text) == told.end()) {
            told.push_back(w.text);
        }
    }
    if (told.empty()) {
        return;
    }
    streams.out.flush();
    for (const std::string& text : told) {
        streams.err << "lumeno: " << file << ": warning: " << text << '\n';
    }
}

// The values of a field as stored: numbers, [numerator, denominator] pairs, or the text; null
// when they could not be read.
void writeValues(JsonWriter& json, const Metadata::EXIF& exif, const Metadata::Field& field)
{
    using Metadata::FieldType;
    const auto type = static_cast<FieldType>(field.type());
    if (type == FieldType::Float || type == FieldType::Double) {
        const std::vector<double> reals = exif.realValues(field);
        if (reals.size() != field.count()) {
            json.null();
            return;
        }
        json.beginArray(true);
        for (double v : reals) {
            json.value(v);
        }
        json.endArray();
        return;
    }
    if (field.damaged()) {
        json.null();
        return;
    }
    switch (type) {
    case FieldType::Ascii: {
        std::string text;
        field.getText(text);
        json.value(text);
        return;
    }
    case FieldType::Byte:
    case FieldType::Short:
    case FieldType::Long:
        json.beginArray(true);
        for (std::uint32_t v : field.unsignedValues()) {
            json.value(v);
        }
        json.endArray();
        return;
    case FieldType::SByte:
    case FieldType::SShort:
    case FieldType::SLong:
        json.beginArray(true);
        for (std::int32_t v : field.signedValues()) {
            json.value(v);
        }
        json.endArray();
        return;
    case FieldType::Undefined:
        json.beginArray(true);
        for (std::uint8_t v : field.rawBytes()) {
            json.value(std::uint32_t{v});
        }
        json.endArray();
        return;
    case FieldType::Rational:
        json.beginArray(true);
        for (const Metadata::URational& r : field.unsignedRationals()) {
            json.beginArray(true);
            json.value(r.numerator);
            json.value(r.denominator);
            json.endArray();
        }
        json.endArray();
        return;
    case FieldType::SRational:
        json.beginArray(true);
        for (const Metadata::SRational& r : field.signedRationals()) {
            json.beginArray(true);
            json.value(r.numerator);
            json.value(r.denominator);
            json.endArray();
        }
        json.endArray();
        return;
    default:
        json.null();
    }
}

// ---- show --json ------------------------------------------------------------------------

// exiftool's group of a directory of the tree.
std::string groupOf(const Metadata::IFD& directory, const Metadata::EXIF& exif)
{
    switch (directory.id()) {
    case Metadata::DirectoryId::Primary:
        return "IFD0";
    case Metadata::DirectoryId::Thumbnail:
        return "IFD1";
    case Metadata::DirectoryId::Exif:
        return "ExifIFD";
    case Metadata::DirectoryId::Interoperability:
        return "InteropIFD";
    case Metadata::DirectoryId::Gps:
        return "GPS";
    default:
        return exif.makerNoteGroup().empty() ? "MakerNotes" : exif.makerNoteGroup(directory.id());
    }
}

bool standardDirectory(std::uint32_t id)
{
    return id == Metadata::DirectoryId::Primary || id == Metadata::DirectoryId::Thumbnail ||
           id == Metadata::DirectoryId::Exif || id == Metadata::DirectoryId::Interoperability;
}

// Bytes as exiftool shows them: a text when they hold one, else numbers, else their size.
void writeBytes(JsonWriter& json, const Metadata::ValueList<std::uint8_t>& bytes)
{
    std::size_t end = bytes.size();
    while (end > 0 && bytes[end - 1] == 0) {
        --end;
    }
    bool text = end > 0;
    for (std::size_t i = 0; i < end; ++i) {
        text = text && bytes[i] >= 0x20 && bytes[i] < 0x7F;
    }
    if (text) {
        json.value(std::string_view(reinterpret_cast<const char*>(bytes.data()), end));
    } else if (bytes.size() <= 16) {
        std::string numbers;
        for (std::uint8_t b : bytes) {
            numbers += (numbers.empty() ? "" : " ") + std::to_string(b);
        }
        json.value(numbers);
    } else {
        json.value("(Binary data " + std::to_string(bytes.size()) + " bytes, use -b option to extract)");
    }
}

template <class List, class Write> void writeNumbers(JsonWriter& json, const List& list, Write number)
{
    if (list.size() == 1) {
        json.value(number(list[0]));
        return;
    }
    // Several values in one text, as exiftool writes them.
    std::string text;
    for (std::size_t i = 0; i < list.size(); ++i) {
        std::ostringstream one;
        one.precision(15);
        one << number(list[i]);
        text += (i > 0 ? " " : "") + one.str();
    }
    json.value(text);
}

// Rationals as decimals; one with a zero denominator as exiftool writes it ("undef" for 0/0,
// "inf" or "-inf" otherwise).
template <class List> void writeRationals(JsonWriter& json, const List& list)
{
    auto text = [](const auto& r) -> std::string {
        if (r.denominator == 0) {
            return r.numerator == 0 ? "undef" : r.numerator > 0 ? "inf" : "-inf";
        }
        std::ostringstream one;
        one.precision(15);
        one << static_cast<double>(r.numerator) / static_cast<double>(r.denominator);
        return one.str();
    };
    if (list.size() == 1 && list[0].denominator != 0) {
        json.value(static_cast<double>(list[0].numerator) / static_cast<double>(list[0].denominator));
        return;
    }
    std::string joined;
    for (std::size_t i = 0; i < list.size(); ++i) {
        joined += (i > 0 ? " " : "") + text(list[i]);
    }
    json.value(joined);
}

// A field's value as stored, the way exiftool's -n gives it.
void writeNumeric(JsonWriter& json, const Metadata::ImageMetadata& image, const Metadata::Field& field)
{
    using Metadata::FieldType;
    const Metadata::EXIF& exif = image.exif();
    const auto type = static_cast<FieldType>(field.type());
    if (field.directoryId() == Metadata::DirectoryId::Gps && type == FieldType::Rational) {
        double degrees = 0;
        const std::uint16_t tag = field.tag();
        if ((tag == 2 || tag == 4 || tag == 20 || tag == 22) && Metadata::gpsDegrees(field, degrees)) {
            json.value(degrees);
            return;
        }
        std::string text;
        if (tag == 7 && field.displayText(text, exif.displayContext())) {
            json.value(text); // the time stamp as H:M:S
            return;
        }
    }
    if (standardDirectory(field.directoryId())) {
        // exiftool's numeric form still turns APEX values into seconds and F numbers, counts the
        // thumbnail's offset from the start of the file, and reads the comment behind its
        // character-code header.
        const std::uint16_t tag = field.tag();
        Metadata::SRational sr;
        Metadata::URational ur;
        std::uint32_t offset = 0;
        if (tag == 37377 && type == FieldType::SRational && field.getSRational(sr)) {
            // A time value far outside any camera's range (some write -2^31) names no time.
            const double v = static_cast<double>(sr.numerator) / static_cast<double>(sr.denominator);
            json.value(std::abs(v) < 100 ? std::pow(2.0, -v) : 0.0);
            return;
        }
        if ((tag == 37378 || tag == 37381) && type == FieldType::Rational && field.getURational(ur)) {
            json.value(std::pow(2.0, static_cast<double>(ur.numerator) / ur.denominator / 2));
            return;
        }
        if (tag == 513 && field.directoryId() == Metadata::DirectoryId::Thumbnail && type == FieldType::Long &&
            field.getUInt32(offset)) {
            json.value(image.exifPosition() + offset);
            return;
        }
        if (tag == 41730 && type == FieldType::Undefined && !field.damaged() && field.count() > 4) {
            // CFAPattern: the repeat's width and height as two 16-bit numbers (in either byte
            // order; both are small), then the colours.
            const auto& bytes = field.rawBytes();
            const bool big = bytes[0] == 0 && bytes[2] == 0;
            std::string text = std::to_string(big ? bytes[1] : bytes[0]) + ' ' + std::to_string(big ? bytes[3] : bytes[2]);
            for (std::size_t i = 4; i < bytes.size(); ++i) {
                text += ' ' + std::to_string(bytes[i]);
            }
            json.value(text);
            return;
        }
        if (tag == 37510 && type == FieldType::Undefined && !field.damaged()) {
            const auto& bytes = field.rawBytes();
            std::string text;
            if (bytes.size() > 8 && std::equal(bytes.begin(), bytes.begin() + 6, "ASCII\0")) {
                text.assign(bytes.begin() + 8, bytes.end());
            } else if (bytes.size() >= 8 && std::all_of(bytes.begin(), bytes.begin() + 8, [](std::uint8_t b) { return b == 0; })) {
                text.assign(bytes.begin() + 8, bytes.end()); // undefined code: taken as ASCII
            }
            if (bytes.size() >= 8 && (!text.empty() || bytes.size() == 8 || bytes[0] == 0)) {
                text.erase(std::find(text.begin(), text.end(), '\0'), text.end());
                while (!text.empty() && text.back() == ' ') {
                    text.pop_back();
                }
                json.value(text);
                return;
            }
        }
    }
    Metadata::MakerValue converted;
    if (exif.makerValue(field, converted)) {
        switch (converted.kind) {
        case Metadata::MakerValue::Kind::Number:
            json.value(converted.number);
            return;
        case Metadata::MakerValue::Kind::Text:
            json.value(converted.text);
            return;
        case Metadata::MakerValue::Kind::Offset:
            json.value(image.exifPosition() + converted.offset); // from the start of the file, as exiftool counts
            return;
        }
    }
    if (!standardDirectory(field.directoryId())) {
        const Metadata::TagRow* row =
            Metadata::findTagRow(exif.displayContext(), field, false);
        if (row != nullptr && row->formatter == &Metadata::Formatters::binary) {
            json.value(field.valueText(exif.displayContext()));
            return;
        }
    }
    if (!standardDirectory(field.directoryId()) && field.directoryId() != Metadata::DirectoryId::Gps &&
        !field.damaged() && field.count() > 0) {
        // The maker's table may read an entry's unsigned numbers as signed ones of the same size.
        const Metadata::TagRow* row =
            Metadata::findTagRow(exif.displayContext(), field, false);
        const auto wanted = row != nullptr ? static_cast<FieldType>(row->type() & 0x7FFF) : type;
        const int bits = type == FieldType::Byte ? 8 : type == FieldType::Short ? 16 : type == FieldType::Long ? 32 : 0;
        const bool signedWanted =
            (wanted == FieldType::SByte && bits == 8) || (wanted == FieldType::SShort && bits == 16) ||
            (wanted == FieldType::SLong && bits == 32);
        if (signedWanted) {
            writeNumbers(json, field.unsignedValues(), [bits](std::uint32_t v) {
                const std::int64_t half = std::int64_t{1} << (bits - 1);
                return static_cast<std::int64_t>(v) >= half ? static_cast<std::int64_t>(v) - 2 * half : static_cast<std::int64_t>(v);
            });
            return;
        }
    }
    if (type == FieldType::Float || type == FieldType::Double) {
        const std::vector<double> reals = exif.realValues(field);
        if (reals.empty()) {
            json.null();
        } else {
            writeNumbers(json, reals, [](double v) { return v; });
        }
        return;
    }
    if (field.damaged() || field.count() == 0) {
        json.null();
        return;
    }
    switch (type) {
    case FieldType::Ascii: {
        std::string text;
        field.getText(text);
        json.value(text);
        return;
    }
    case FieldType::Byte:
    case FieldType::Short:
    case FieldType::Long:
        writeNumbers(json, field.unsignedValues(), [](std::uint32_t v) { return v; });
        return;
    case FieldType::SByte:
    case FieldType::SShort:
    case FieldType::SLong:
        writeNumbers(json, field.signedValues(), [](std::int32_t v) { return v; });
        return;
    case FieldType::Undefined:
        writeBytes(json, field.rawBytes());
        return;
    case FieldType::Rational:
        writeRationals(json, field.unsignedRationals());
        return;
    case FieldType::SRational:
        writeRationals(json, field.signedRationals());
        return;
    default:
        json.null();
    }
}

// IPTC's dates and times as exiftool writes them (2004:02:26, 06:27:51-05:00); other values as
// they are.
std::string iptcDateText(std::uint8_t dataSet, const std::string& value)
{
    switch (dataSet) {
    case 30: case 37: case 47: case 55: case 62: case 70:
        return Metadata::MetadataValues::fromIptcDate(value);
    case 35: case 38: case 60: case 63:
        return Metadata::MetadataValues::fromIptcTime(value);
    default:
        return value;
    }
}

// exiftool's XMP group for a namespace ("XMP-" and this); null for one it has no name of its own
// for, which is then known by the packet's prefix.
const char* xmpGroup(const std::string& ns)
{
    static const std::pair<const char*, const char*> known[] = {
        {"http://purl.org/dc/elements/1.1/", "dc"},
        {"http://ns.adobe.com/photoshop/1.0/", "photoshop"},
        {"http://ns.adobe.com/xap/1.0/", "xmp"},
        {"http://ns.adobe.com/xap/1.0/mm/", "xmpMM"},
        {"http://ns.adobe.com/xap/1.0/rights/", "xmpRights"},
        {"http://ns.adobe.com/xap/1.0/bj/", "xmpBJ"},
        {"http://ns.adobe.com/xap/1.0/t/pg/", "xmpTPg"},
        {"http://ns.adobe.com/xmp/1.0/DynamicMedia/", "xmpDM"},
        {"http://ns.adobe.com/tiff/1.0/", "tiff"},
        {"http://ns.adobe.com/exif/1.0/", "exif"},
        {"http://cipa.jp/exif/1.0/", "exifEX"},
        {"http://ns.adobe.com/exif/1.0/aux/", "aux"},
        {"http://ns.adobe.com/camera-raw-settings/1.0/", "crs"},
        {"http://ns.adobe.com/lightroom/1.0/", "lr"},
        {"http://ns.adobe.com/pdf/1.3/", "pdf"},
        {"http://iptc.org/std/Iptc4xmpCore/1.0/xmlns/", "iptcCore"},
        {"http://iptc.org/std/Iptc4xmpExt/2008-02-29/", "iptcExt"},
        {"http://ns.useplus.org/ldf/xmp/1.0/", "plus"},
        {"http://ns.microsoft.com/photo/1.0/", "microsoft"},
        {"http://www.metadataworkinggroup.com/schemas/regions/", "mwg-rs"},
        {"http://www.metadataworkinggroup.com/schemas/keywords/", "mwg-kw"},
        {"http://ns.camerabits.com/photomechanic/1.0/", "photomech"},
    };
    for (const auto& [uri, group] : known) {
        if (ns == uri) {
            return group;
        }
    }
    return nullptr;
}

// An XMP value's "Group:Name" as exiftool gives it: the names along the path, each with a
// capital first letter, joined ("xmpBJ:JobRef[1]/stJob:name" is "XMP-xmpBJ:JobRefName").
std::string xmpKey(const std::string& ns, const std::string& path)
{
    const std::size_t colon = path.find(':');
    if (colon == std::string::npos || colon == 0) {
        return {};
    }
    const char* group = xmpGroup(ns);
    std::string name;
    std::size_t start = 0;
    while (start < path.size()) {
        std::size_t end = path.find('/', start);
        if (end == std::string::npos) {
            end = path.size();
        }
        std::string part = path.substr(start, end - start);
        part.erase(std::min(part.find('['), part.size()));
        part.erase(0, part.find(':') == std::string::npos ? 0 : part.find(':') + 1);
        if (!part.empty()) {
            part[0] = static_cast<char>(std::toupper(static_cast<unsigned char>(part[0])));
            name += part;
        }
        start = end + 1;
    }
    return name.empty() ? std::string() : "XMP-" + (group != nullptr ? std::string(group) : path.substr(0, colon)) + ':' + name;
}

// A date of XMP (2004-02-26T06:27:51-05:00) as exiftool writes dates; other values as they are.
std::string xmpDateText(const std::string& value)
{
    const auto digits = [&](std::size_t from, std::size_t n) {
        return value.size() >= from + n &&
               std::all_of(value.begin() + from, value.begin() + from + n, [](char c) { return c >= '0' && c <= '9'; });
    };
    const bool date = digits(0, 4) && value.size() >= 10 && value[4] == '-' && digits(5, 2) && value[7] == '-' &&
                      digits(8, 2) && (value.size() == 10 || value[10] == 'T');
    return date ? Metadata::MetadataValues::fromXmpDate(value) : value;
}

// Pointers to other directories are structure, not values; exiftool shows none of them.
bool pointerTag(std::uint32_t directory, std::uint16_t tag)
{
    return standardDirectory(directory) && (tag == 0x8769 || tag == 0x8825 || tag == 0xA005 || tag == 0x927C || tag == 0x014A);
}

void writeShow(JsonWriter& json, const std::string& file, const Metadata::ImageMetadata& image, bool numeric)
{
    const Metadata::EXIF& exif = image.exif();
    const Metadata::DisplayContext& context = exif.displayContext();
    std::set<std::string> written; // each member once
    auto member = [&](const std::string& key) {
        if (!written.insert(key).second) {
            return false;
        }
        json.key(key);
        return true;
    };

    json.beginObject();
    json.key("SourceFile");
    json.value(file);
    const Metadata::MetadataValues summary(image);
    for (const auto& [name, value] : summary.values()) {
        if (member("Summary:" + name)) {
            json.value(value.text);
        }
    }
    // A name a group has twice is given once, with the later value, as exiftool does (a Canon's
    // lens type in its camera information over the one in its settings).
    std::vector<std::pair<std::string, const Metadata::Field*>> fields;
    std::map<std::string, std::size_t> place;
    for (const Metadata::IFD* d : exif.directories()) {
        const std::string group = groupOf(*d, exif);
        for (const Metadata::Field& f : *d) {
            if (pointerTag(d->id(), f.tag())) {
                continue;
            }
            std::string name;
            if (standardDirectory(d->id())) {
                if (const char* known = exifToolExifName(f.tag())) {
                    name = known;
                }
            }
            if (name.empty() && !f.name(name, context)) {
                continue; // a tag no one names
            }
            // A maker's array is shown through the directory made of its values.
            const Metadata::TagRow* row = Metadata::findTagRow(context, f, false);
            if (!standardDirectory(d->id()) && row != nullptr && row->formatter == &Metadata::Formatters::silent) {
                continue;
            }
            const std::string key = group + ':' + name;
            if (const auto found = place.find(key); found != place.end()) {
                fields[found->second].second = &f;
            } else {
                place.emplace(key, fields.size());
                fields.emplace_back(key, &f);
            }
        }
    }
    for (const auto& [key, f] : fields) {
        if (!member(key)) {
            continue;
        }
        if (numeric) {
            writeNumeric(json, image, *f);
        } else {
            json.value(f->valueText(context));
        }
    }
    // A maker's preview, named as exiftool names the data its start and length point to.
    const std::string& maker = exif.makerNoteGroup();
    if (!maker.empty()) {
        const auto start = place.find(maker + ":PreviewImageStart");
        const auto length = place.find(maker + ":PreviewImageLength");
        std::uint32_t bytes = 0;
        try {
            if (start != place.end() && length != place.end() && fields[length->second].second->count() == 1 &&
                !fields[length->second].second->getUInt32(bytes)) {
                bytes = 0;
            }
        } catch (const Metadata::Error&) {
            bytes = 0; // a length of the wrong type
        }
        if (bytes > 0 && member(maker + ":PreviewImage")) {
            json.value("(Binary data " + std::to_string(bytes) + " bytes, use -b option to extract)");
        }
    }
    // The thumbnail itself, as exiftool names it.
    std::uint32_t thumbnailLength = 0;
    try {
        if (exif.find(Metadata::DirectoryId::Thumbnail, 513) != nullptr &&
            exif.getUInt32(Metadata::DirectoryId::Thumbnail, 514, thumbnailLength) && thumbnailLength > 0 &&
            member("IFD1:ThumbnailImage")) {
            json.value("(Binary data " + std::to_string(thumbnailLength) + " bytes, use -b option to extract)");
        }
    } catch (const Metadata::Error&) {
        // a length of the wrong type: no thumbnail to speak of
    }
    const Metadata::IPTC& iptc = image.iptc();
    if (!iptc.empty() && iptc.recordVersion().length() == 2 && member("IPTC:ApplicationRecordVersion")) {
        json.value((std::uint32_t{iptc.recordVersion().data()[0]} << 8) | iptc.recordVersion().data()[1]);
    }
    for (const Metadata::Record2DataSet& d : iptc.dataSets()) {
        const char* known = exifToolIptcName(d.dataSet());
        const std::string key = "IPTC:" + (known != nullptr ? std::string(known) : std::to_string(d.dataSet()));
        if (!member(key)) {
            continue;
        }
        std::vector<std::string> values = iptc.values(d.dataSet());
        for (std::string& v : values) {
            v = iptcDateText(d.dataSet(), iptc.toUtf8(v));
        }
        if (values.size() == 1) {
            json.value(values[0]);
        } else {
            json.beginArray(true);
            for (const std::string& v : values) {
                json.value(v);
            }
            json.endArray();
        }
    }
    if (const auto& xmp = image.xmp(); xmp && xmp->parsed()) {
        auto single = [&](const std::string& key, const std::string& value) {
            if (!value.empty() && member(key)) {
                json.value(value);
            }
        };
        auto several = [&](const std::string& key, const std::vector<std::string>& values) {
            if (!values.empty() && member(key)) {
                json.beginArray(true);
                for (const std::string& v : values) {
                    json.value(v);
                }
                json.endArray();
            }
        };
        // Every value, under exiftool's group for its namespace and its name for the path; an
        // array's items as one list, a language alternative by its default.
        std::vector<std::pair<std::string, std::vector<std::string>>> values;
        std::map<std::string, std::size_t> at;
        for (const Metadata::XMP::Property& p : xmp->properties()) {
            const std::string key = xmpKey(p.ns, p.path);
            if (key.empty()) {
                continue;
            }
            const auto found = at.find(key);
            if (found == at.end()) {
                at.emplace(key, values.size());
                values.push_back({key, {p.value}});
            } else if (!p.alternative) {
                values[found->second].second.push_back(p.value);
            }
        }
        single("XMP-x:XMPToolkit", xmp->toolkit());
        single("XMP-rdf:About", xmp->aboutURI());
        for (auto& [key, list] : values) {
            for (std::string& v : list) {
                v = xmpDateText(v);
                if (numeric && (v == "True" || v == "False")) {
                    v = v == "True" ? "1" : "0"; // a Boolean as exiftool's numbers give it
                }
            }
            if (list.size() == 1) {
                single(key, list[0]);
            } else {
                several(key, list);
            }
        }
    }
    json.endObject();
}

void writeDump(JsonWriter& json, const std::string& file, const Metadata::ImageMetadata& image)
{
    const Metadata::EXIF& exif = image.exif();
    const Metadata::DisplayContext& context = exif.displayContext();
    json.beginObject();
    json.key("SourceFile");
    json.value(file);
    json.key("Directories");
    json.beginArray();
    for (const Metadata::IFD* d : exif.directories()) {
        json.beginObject();
        json.key("Name");
        json.value(d->name());
        json.key("Id");
        json.value(d->id());
        json.key("Entries");
        json.beginArray();
        for (const Metadata::Field& f : *d) {
            json.beginObject();
            json.key("Tag");
            json.value(std::uint32_t{f.tag()});
            json.key("Name");
            json.value(f.label(context));
            json.key("Type");
            json.value(Metadata::typeName(f.type()));
            json.key("Count");
            json.value(f.count());
            json.key("Values");
            writeValues(json, exif, f);
            // The text the dump shows: empty for tags the display rules keep silent, the generic
            // form for tags no row shows.
            std::string text;
            json.key("Text");
            json.value(f.displayText(text, context) ? text : f.genericValueText());
            json.endObject();
        }
        json.endArray();
        json.endObject();
    }
    json.endArray();
    json.key("Warnings");
    json.beginArray();
    for (const Metadata::ReadWarning& w : image.warnings()) {
        json.beginObject();
        json.key("Text");
        json.value(w.text);
        if (w.directory != 0) {
            json.key("Directory");
            json.value(Metadata::IFD::nameFor(w.directory));
        }
        if (w.tag >= 0) {
            json.key("Tag");
            json.value(w.tag);
        }
        json.endObject();
    }
    json.endArray();
    json.endObject();
}

void showXmp(std::ostream& out, const Metadata::XMP* xmp)
{
    if (xmp == nullptr || xmp->empty()) {
        out << "(none)\n";
        return;
    }
    if (!xmp->parsed()) {
        out << "(the packet is not well-formed XMP; it is kept as it is)\n";
        return;
    }
    auto line = [&out](const char* label, const std::string& value) {
        if (!value.empty()) {
            out << label << ": " << Metadata::EOLMassager::toDisplay(value) << '\n';
        }
    };
    auto list = [&out](const char* label, const std::vector<std::string>& values) {
        if (values.empty()) {
            return;
        }
        out << label << ": ";
        for (std::size_t i = 0; i < values.size(); ++i) {
            out << (i > 0 ? Metadata::IPTC::JoinSeparator : "") << values[i];
        }
        out << '\n';
    };
    line("dc:title", xmp->title());
    line("dc:creator", xmp->creator());
    line("photoshop:AuthorsPosition", xmp->authorsPosition());
    line("dc:description", xmp->description());
    line("photoshop:CaptionWriter", xmp->captionWriter());
    line("dc:rights", xmp->rights());
    list("dc:subject", xmp->subject());
    line("photoshop:Headline", xmp->headline());
    line("photoshop:Instructions", xmp->instructions());
    line("photoshop:Credit", xmp->credit());
    line("photoshop:Source", xmp->source());
    line("photoshop:City", xmp->city());
    line("photoshop:State", xmp->state());
    line("photoshop:Country", xmp->country());
    line("photoshop:TransmissionReference", xmp->transmissionReference());
    line("photoshop:DateCreated", xmp->dateCreated());
    line("photoshop:Category", xmp->category());
    list("photoshop:SupplementalCategories", xmp->supplementalCategories());
    line("xmpMM:DocumentID", xmp->documentID());
}

} // namespace

namespace {

// Every file as one element of a JSON array, made side by side on `jobs` threads; a file that
// fails is an element with its "Error", and its message goes to standard error as for any file.
int writeJsonArray(const std::vector<std::string>& files, Streams streams, unsigned jobs,
                   const std::function<void(JsonWriter& json, const std::string& file, Streams fileStreams)>& write)
{
    JsonWriter json(streams.out);
    json.beginArray();
    const int status = forEachFile(
        files, streams, false, jobs,
        [&](const std::string& file, Streams fileStreams) {
            std::ostringstream made;
            JsonWriter element = JsonWriter::forElement(made);
            try {
                write(element, file, fileStreams);
            } catch (const std::exception& e) {
                // Scripts reading the array learn of the failure too.
                std::ostringstream failed;
                JsonWriter error = JsonWriter::forElement(failed);
                error.beginObject();
                error.key("SourceFile");
                error.value(file);
                error.key("Error");
                error.value(e.what());
                error.endObject();
                fileStreams.out << failed.str();
                throw;
            }
            fileStreams.out << made.str();
        },
        [&](const std::string& made) {
            if (!made.empty()) {
                json.element(made);
            }
        });
    json.endArray();
    return status;
}

} // namespace

int runDump(const std::vector<std::string>& arguments, Streams streams)
{
    std::vector<std::string> files;
    bool asJson = false;
    std::vector<std::string> rest;
    for (const std::string& a : arguments) {
        if (a == "--json") {
            asJson = true;
        } else {
            rest.push_back(a);
        }
    }
    unsigned jobs = 1;
    if (const int status = takeJobs(rest, "dump", streams, jobs); status >= 0) {
        return status;
    }
    if (const int status = parseFiles(rest, "dump", DumpHelp, streams, files); status >= 0) {
        return status;
    }
    if (!asJson) {
        return forEachFile(files, streams, true, jobs, [&](const std::string& file, Streams out) {
            const auto opened = open(file);
            reportWarnings(file, *opened->image, out);
            opened->image->exif().dump(out.out);
        });
    }
    return writeJsonArray(files, streams, jobs, [&](JsonWriter& json, const std::string& file, Streams out) {
        const auto opened = open(file);
        reportWarnings(file, *opened->image, out);
        writeDump(json, file, *opened->image);
    });
}

int runShow(const std::vector<std::string>& arguments, Streams streams)
{
    std::vector<std::string> files;
    bool asJson = false;
    bool numeric = false;
    std::vector<std::string> rest;
    for (const std::string& a : arguments) {
        if (a == "--json") {
            asJson = true;
        } else if (a == "--numeric") {
            numeric = true;
        } else {
            rest.push_back(a);
        }
    }
    unsigned jobs = 1;
    if (const int status = takeJobs(rest, "show", streams, jobs); status >= 0) {
        return status;
    }
    if (const int status = parseFiles(rest, "show", ShowHelp, streams, files); status >= 0) {
        return status;
    }
    if (numeric && !asJson) {
        streams.err << "lumeno show: --numeric goes with --json\n";
        return 2;
    }
    if (asJson) {
        return writeJsonArray(files, streams, jobs, [&](JsonWriter& json, const std::string& file, Streams out) {
            const auto opened = open(file);
            reportWarnings(file, *opened->image, out);
            writeShow(json, file, *opened->image, numeric);
        });
    }
    return forEachFile(files, streams, false, jobs, [&](const std::string& file, Streams fileStreams) {
        const auto opened = open(file);
        const Metadata::ImageMetadata& image = *opened->image;
        reportWarnings(file, image, fileStreams);
        std::ostream& out = fileStreams.out;
        out << "File: " << file << '\n' << "Format: " << image.formatName() << '\n';

        // The principal properties first, reconciled from EXIF, IPTC and XMP.
        const Metadata::MetadataValues summary(image);
        out << "\n=== Summary ===\n";
        if (summary.values().empty()) {
            out << "(none)\n";
        }
        for (const auto& [name, value] : summary.values()) {
            out << name << ": " << Metadata::EOLMassager::toDisplay(value.text) << '\n';
        }

        out << "\n=== EXIF ===\n";
        if (image.exif().empty()) {
            out << "(none)\n";
        } else {
            image.exif().dump(out);
            double latitude = 0;
            double longitude = 0;
            if (image.exif().gpsPosition(latitude, longitude)) {
                char text[64];
                std::snprintf(text, sizeof text, "%.6f, %.6f", latitude, longitude);
                out << "GPS position: " << text << '\n';
            }
        }

        out << "\n=== IPTC ===\n";
        if (image.iptc().empty()) {
            out << "(none)\n";
        }
        for (const Metadata::Record2DataSet& d : image.iptc().dataSets()) {
            out << Metadata::Record2DataSet::nameOf(d.dataSet()) << ": " << Metadata::EOLMassager::toDisplay(d.text()) << '\n';
        }

        out << "\n=== XMP ===\n";
        showXmp(out, image.xmp().get());
        out << '\n';
    });
}

int runIptc(const std::vector<std::string>& arguments, Streams streams)
{
    std::vector<std::string> files;
    if (const int status = parseFiles(arguments, "iptc", IptcHelp, streams, files); status >= 0) {
        return status;
    }
    return forEachFile(files, streams, true, [&](const std::string& file) {
        const auto opened = open(file);
        reportWarnings(file, *opened->image, streams);
        streams.out << Commands::iptcText(opened->image->iptc());
    });
}

int runXmp(const std::vector<std::string>& arguments, Streams streams)
{
    std::vector<std::string> files;
    if (const int status = parseFiles(arguments, "xmp", XmpHelp, streams, files); status >= 0) {
        return status;
    }
    return forEachFile(files, streams, true, [&](const std::string& file) {
        streams.out << Commands::xmpText(*open(file)->image);
    });
}

} // namespace Lumeno::Cli
