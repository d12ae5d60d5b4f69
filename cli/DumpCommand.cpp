// lumeno dump: every EXIF directory of each file, as the library dumps it.
#include "Commands.h"

#include <Metadata/EXIF.h>
#include <Metadata/Exceptions.h>
#include <Metadata/ImageStream.h>
#include <Metadata/TagTable.h>

#include <cerrno>
#include <cstring>
#include <ostream>
#include <sstream>

namespace Lumeno::Cli {

namespace {

// Reads the EXIF tree of a TIFF file. JPEG files are refused here for now, with the message
// the library gives any file it cannot read.
Metadata::EXIF readFile(Metadata::ImageStreamT& stream)
{
    std::uint8_t magic[4] = {};
    stream.read(magic, sizeof magic);
    const bool tiff = (magic[0] == 'I' && magic[1] == 'I' && magic[2] == 0x2A && magic[3] == 0) ||
                      (magic[0] == 'M' && magic[1] == 'M' && magic[2] == 0 && magic[3] == 0x2A);
    if (!tiff) {
        METADATA_THROW(Metadata::FileFormatException, "Unsupported file format");
    }
    stream.clear();
    return Metadata::EXIF::readTIFF(stream);
}

} // namespace

void reportFileError(std::ostream& err, const std::string& file, const std::string& message)
{
    err << "lumeno: " << file << ": " << message << '\n';
}

void printDumpHelp(std::ostream& out)
{
    out << "Usage: lumeno dump FILE...\n"
           "\n"
           "Shows the EXIF directories of each TIFF file in the order IFD0, EXIF,\n"
           "interoperability, IFD1: a header line per directory, then one line per value,\n"
           "\"Name: value\". Values without a known name are shown as\n"
           "\"Tag 0xTTTT (TYPE, COUNT): values\". With several files, each file's\n"
           "lines follow a line \"==> FILE <==\".\n"
           "\n"
           "A file that cannot be read is reported on standard error as\n"
           "\"lumeno: FILE: MESSAGE\" and the other files are still shown.\n"
           "Exit status: 0 when every file was read, 1 when any failed, 2 for bad usage.\n";
}

int runDump(const std::vector<std::string>& arguments, Streams streams)
{
    std::vector<std::string> files;
    bool optionsEnded = false;
    for (const std::string& a : arguments) {
        if (!optionsEnded && (a == "-h" || a == "--help")) {
            printDumpHelp(streams.out);
            return 0;
        }
        if (!optionsEnded && a == "--") {
            optionsEnded = true;
        } else if (!optionsEnded && a.size() > 1 && a[0] == '-') {
            streams.err << "lumeno dump: unknown option '" << a << "'\n";
            return 2;
        } else {
            files.push_back(a);
        }
    }
    if (files.empty()) {
        streams.err << "lumeno dump: no file given\nUsage: lumeno dump FILE...\n";
        return 2;
    }

    Metadata::setLineEnds(true);
    int status = 0;
    for (const std::string& file : files) {
        try {
            Metadata::ImageStreamT stream;
            stream.setFileName(file);
            stream.open(file, std::ios::in | std::ios::binary);
            if (!stream.is_open()) {
                const int error = errno;
                reportFileError(streams.err, file, std::string("cannot open: ") + std::strerror(error));
                status = 1;
                continue;
            }
            const Metadata::EXIF exif = readFile(stream);
            if (files.size() > 1) {
                streams.out << "==> " << file << " <==\n";
            }
            exif.dump(streams.out);
        } catch (const Metadata::Exception& e) {
            reportFileError(streams.err, file, e.message());
            status = 1;
        } catch (const Metadata::Error& e) {
            reportFileError(streams.err, file, e.message());
            status = 1;
        } catch (const std::exception& e) {
            reportFileError(streams.err, file, e.what());
            status = 1;
        }
    }
    return status;
}

} // namespace Lumeno::Cli
