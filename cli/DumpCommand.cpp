// lumeno dump, show, iptc and xmp: the metadata of each file as text.
#include "Commands.h"
#include "Json.h"

#include <Lumeno/Commands/FileCommands.h>
#include <Metadata/EXIF.h>
#include <Metadata/ImageFactory.h>
#include <Metadata/ImageStream.h>
#include <Metadata/IPTC.h>
#include <Metadata/MetadataValues.h>
#include <Metadata/TagTable.h>
#include <Metadata/XMP.h>

#include <algorithm>
#include <cstdio>
#include <ostream>

namespace Lumeno::Cli {

namespace {

const char* const DumpHelp =
    "Usage: lumeno dump [--json] FILE...\n"
    "\n"
    "Shows the EXIF directories of each JPEG or TIFF file in the order IFD0, EXIF,\n"
    "interoperability, GPS, IFD1, the maker's note and the maker's other directories\n"
    "(Canon, Nikon, Olympus, Fujifilm, Pentax, Panasonic, Sony, Casio, Minolta, Ricoh,\n"
    "Sanyo, Sigma, Apple): a header line per directory, then one line per value,\n"
    "\"Name: value\". Values without a known name are shown as\n"
    "\"Tag 0xTTTT (TYPE, COUNT): values\". With several files, each file's\n"
    "lines follow a line \"==> FILE <==\".\n"
    "\n"
    "  --json   one JSON array for all files: per file its directories in order, each\n"
    "           with its name, id and every entry (tag, name, type, count, the values\n"
    "           as stored, and the text the dump shows), and the warnings\n"
    "\n"
    "An entry or directory that cannot be read costs itself, not the file: the\n"
    "rest is shown, and what was wrong is written to standard error as\n"
    "\"lumeno: FILE: warning: TEXT\". A file that cannot be read at all is reported\n"
    "as \"lumeno: FILE: MESSAGE\" and the other files are still shown.\n"
    "Exit status: 0 when every file was read, 1 when any failed, 2 for bad usage.\n";

const char* const ShowHelp =
    "Usage: lumeno show FILE...\n"
    "\n"
    "A summary of each JPEG or TIFF file for people: its format; its principal\n"
    "properties (title, description, creator, keywords, dates, camera, lens,\n"
    "exposure, position, location), reconciled from EXIF, IPTC and XMP the way\n"
    "the Metadata Working Group's guidelines reconcile them; then its EXIF\n"
    "directories (with the maker's note and GPS), its IPTC datasets and its XMP\n"
    "properties, each under a heading.\n"
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
    if (const int status = parseFiles(rest, "dump", DumpHelp, streams, files); status >= 0) {
        return status;
    }
    if (!asJson) {
        return forEachFile(files, streams, true, [&](const std::string& file) {
            const auto opened = open(file);
            reportWarnings(file, *opened->image, streams);
            opened->image->exif().dump(streams.out);
        });
    }
    JsonWriter json(streams.out);
    json.beginArray();
    const int status = forEachFile(files, streams, false, [&](const std::string& file) {
        try {
            const auto opened = open(file);
            reportWarnings(file, *opened->image, streams);
            writeDump(json, file, *opened->image);
        } catch (const std::exception& e) {
            // Scripts reading the array learn of the failure too; the message goes to standard
            // error as for any file.
            json.beginObject();
            json.key("SourceFile");
            json.value(file);
            json.key("Error");
            json.value(e.what());
            json.endObject();
            throw;
        }
    });
    json.endArray();
    return status;
}

int runShow(const std::vector<std::string>& arguments, Streams streams)
{
    std::vector<std::string> files;
    if (const int status = parseFiles(arguments, "show", ShowHelp, streams, files); status >= 0) {
        return status;
    }
    return forEachFile(files, streams, false, [&](const std::string& file) {
        const auto opened = open(file);
        const Metadata::ImageMetadata& image = *opened->image;
        reportWarnings(file, image, streams);
        std::ostream& out = streams.out;
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
