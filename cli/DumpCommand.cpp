// lumeno dump, show, iptc and xmp: the metadata of each file as text.
#include "Commands.h"

#include <Lumeno/Commands/FileCommands.h>
#include <Metadata/EXIF.h>
#include <Metadata/ImageFactory.h>
#include <Metadata/ImageStream.h>
#include <Metadata/IPTC.h>
#include <Metadata/TagTable.h>
#include <Metadata/XMP.h>

#include <ostream>

namespace Lumeno::Cli {

namespace {

const char* const DumpHelp =
    "Usage: lumeno dump FILE...\n"
    "\n"
    "Shows the EXIF directories of each JPEG or TIFF file in the order IFD0, EXIF,\n"
    "interoperability, IFD1: a header line per directory, then one line per value,\n"
    "\"Name: value\". Values without a known name are shown as\n"
    "\"Tag 0xTTTT (TYPE, COUNT): values\". With several files, each file's\n"
    "lines follow a line \"==> FILE <==\".\n"
    "\n"
    "A file that cannot be read is reported on standard error as\n"
    "\"lumeno: FILE: MESSAGE\" and the other files are still shown.\n"
    "Exit status: 0 when every file was read, 1 when any failed, 2 for bad usage.\n";

const char* const ShowHelp =
    "Usage: lumeno show FILE...\n"
    "\n"
    "A summary of each JPEG or TIFF file for people: its format, then its EXIF\n"
    "directories, its IPTC datasets and its XMP properties, each under a heading.\n"
    "Errors and exit status as for 'lumeno dump'.\n";

const char* const IptcHelp =
    "Usage: lumeno iptc FILE...\n"
    "\n"
    "One line per IPTC dataset of each file, in stored order: the dataset's name,\n"
    "a tab, and its text. Line breaks, tabs and backslashes in the text are written\n"
    "as \\r, \\n, \\t and \\\\ so that every dataset stays on its line.\n"
    "Errors and exit status as for 'lumeno dump'.\n";

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

const char* dataSetName(std::uint8_t number)
{
    const Metadata::DataSetInfo* info = Metadata::Record2DataSet::info(number);
    return info != nullptr ? info->name : "?";
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
    if (const int status = parseFiles(arguments, "dump", DumpHelp, streams, files); status >= 0) {
        return status;
    }
    Metadata::setLineEnds(true);
    return forEachFile(files, streams, true, [&](const std::string& file) {
        open(file)->image->exif().dump(streams.out);
    });
}

int runShow(const std::vector<std::string>& arguments, Streams streams)
{
    std::vector<std::string> files;
    if (const int status = parseFiles(arguments, "show", ShowHelp, streams, files); status >= 0) {
        return status;
    }
    Metadata::setLineEnds(true);
    return forEachFile(files, streams, false, [&](const std::string& file) {
        const auto opened = open(file);
        const Metadata::ImageMetadata& image = *opened->image;
        std::ostream& out = streams.out;
        out << "File: " << file << '\n' << "Format: " << image.formatName() << '\n';

        out << "\n=== EXIF ===\n";
        if (image.exif().empty()) {
            out << "(none)\n";
        } else {
            image.exif().dump(out);
        }

        out << "\n=== IPTC ===\n";
        if (image.iptc().empty()) {
            out << "(none)\n";
        }
        for (const Metadata::Record2DataSet& d : image.iptc().dataSets()) {
            out << dataSetName(d.dataSet()) << ": " << Metadata::EOLMassager::toDisplay(d.text()) << '\n';
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
        streams.out << Commands::iptcText(open(file)->image->iptc());
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
