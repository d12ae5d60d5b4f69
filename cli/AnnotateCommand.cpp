// lumeno annotate: edits the IPTC record (and the XMP that mirrors it) of each file, rewriting
// the file safely.
#include "Commands.h"

#include <Lumeno/Platform/Services.h>
#include <Metadata/Exceptions.h>
#include <Metadata/ImageFactory.h>
#include <Metadata/ImageStream.h>
#include <Metadata/IPTC.h>

#include <algorithm>
#include <cctype>
#include <ostream>
#include <stdexcept>

namespace Lumeno::Cli {

namespace {

const char* const AnnotateHelp =
    "Usage: lumeno annotate [OPTIONS] FILE...\n"
    "\n"
    "Edits the IPTC datasets of each JPEG or TIFF file and rewrites it. The XMP\n"
    "packet is brought in line with the IPTC record (title, creator, description,\n"
    "rights, subject and the Photoshop properties) and given a document identity.\n"
    "\n"
    "Options, applied in the order given:\n"
    "  --set NAME=TEXT   replace every occurrence of dataset NAME by TEXT\n"
    "  --add NAME=TEXT   add one more occurrence (Keyword, for instance)\n"
    "  --remove NAME     remove every occurrence\n"
    "  --remove-iptc     write the file without any IPTC record (XMP is kept)\n"
    "  --clear-xmp       write the file without its XMP packet\n"
    "  --backup          keep the original beside it as Lumeno.NN.NAME\n"
    "  --keep-time       the file keeps its modification time\n"
    "\n"
    "NAME is a dataset name as 'lumeno iptc' shows it (Caption, Keyword,\n"
    "\"Object Name\", ...; any letter case) or its number (120 or 2:120). A text\n"
    "longer than its dataset allows is refused; nothing is cut short.\n"
    "\n"
    "The new file is written beside the old one and put in its place only when\n"
    "complete: on any failure the original is left as it was. A symbolic link\n"
    "stays a link (the file it leads to is rewritten); the file keeps its\n"
    "permissions and, where the system allows, its owner and group. A file with\n"
    "other hard links is refused and left as it is.\n"
    "Errors and exit status as for 'lumeno dump'.\n";

struct Edit {
    enum Kind { Set, Add, Remove } kind;
    std::uint8_t dataSet;
    std::string text;
};

std::string lower(std::string s)
{
    std::transform(s.begin(), s.end(), s.begin(), [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return s;
}

// A dataset by name or number; throws std::invalid_argument for anything else.
std::uint8_t dataSetNamed(const std::string& name)
{
    std::string number = name;
    if (number.rfind("2:", 0) == 0) {
        number = number.substr(2);
    }
    if (!number.empty() && number.size() <= 3 &&
        std::all_of(number.begin(), number.end(), [](char c) { return c >= '0' && c <= '9'; })) {
        const int n = std::stoi(number);
        if (n > 0 && n < 256 && Metadata::Record2DataSet::info(static_cast<std::uint8_t>(n)) != nullptr) {
            return static_cast<std::uint8_t>(n);
        }
    }
    for (const Metadata::DataSetInfo* row = Metadata::Record2DataSet::table(); row->number != 0; ++row) {
        if (lower(row->name) == lower(name)) {
            return row->number;
        }
    }
    throw std::invalid_argument("unknown IPTC dataset '" + name + "'");
}

Edit parseEdit(Edit::Kind kind, const std::string& argument)
{
    if (kind == Edit::Remove) {
        return {kind, dataSetNamed(argument), {}};
    }
    const std::size_t equals = argument.find('=');
    if (equals == std::string::npos) {
        throw std::invalid_argument("expected NAME=TEXT, got '" + argument + "'");
    }
    // IPTC keeps a carriage return for each line break.
    return {kind, dataSetNamed(argument.substr(0, equals)), Metadata::EOLMassager::toStorage(argument.substr(equals + 1))};
}

} // namespace

int runAnnotate(const std::vector<std::string>& arguments, Streams streams)
{
    std::vector<Edit> edits;
    std::vector<std::string> files;
    bool backup = false;
    Platform::SafeWriteOptions writeOptions;
    bool removeIptc = false;
    bool clearXmp = false;
    try {
        for (std::size_t i = 0; i < arguments.size(); ++i) {
            const std::string& a = arguments[i];
            auto value = [&]() -> const std::string& {
                if (i + 1 >= arguments.size()) {
                    throw std::invalid_argument(a + " needs a value");
                }
                return arguments[++i];
            };
            if (a == "-h" || a == "--help") {
                streams.out << AnnotateHelp;
                return 0;
            } else if (a == "--set") {
                edits.push_back(parseEdit(Edit::Set, value()));
            } else if (a == "--add") {
                edits.push_back(parseEdit(Edit::Add, value()));
            } else if (a == "--remove") {
                edits.push_back(parseEdit(Edit::Remove, value()));
            } else if (a == "--remove-iptc") {
                removeIptc = true;
            } else if (a == "--clear-xmp") {
                clearXmp = true;
            } else if (a == "--backup") {
                backup = true;
            } else if (a == "--keep-time") {
                writeOptions.keepModificationTime = true;
            } else if (a == "--") {
                files.insert(files.end(), arguments.begin() + static_cast<std::ptrdiff_t>(i) + 1, arguments.end());
                break;
            } else if (a.size() > 1 && a[0] == '-') {
                throw std::invalid_argument("unknown option '" + a + "'");
            } else {
                files.push_back(a);
            }
        }
        if (removeIptc && !edits.empty()) {
            throw std::invalid_argument("--remove-iptc cannot be combined with --set, --add or --remove");
        }
        if (files.empty()) {
            throw std::invalid_argument("no file given");
        }
    } catch (const std::invalid_argument& e) {
        streams.err << "lumeno annotate: " << e.what() << "\nRun 'lumeno annotate --help' for usage.\n";
        return 2;
    }

    return forEachFile(files, streams, false, [&](const std::string& file) {
        Metadata::ImageStreamT stream;
        std::unique_ptr<Metadata::ImageMetadata> image = Metadata::openImage(file, stream);
        Metadata::IPTC& iptc = image->iptc();
        std::vector<std::uint8_t> removed;
        for (const Edit& e : edits) {
            switch (e.kind) {
            case Edit::Set:
                iptc.set(e.dataSet, e.text);
                break;
            case Edit::Add:
                iptc.add(e.dataSet, e.text);
                break;
            case Edit::Remove:
                iptc.remove(e.dataSet);
                removed.push_back(e.dataSet);
                break;
            }
        }
        writeOptions.makeBackup = backup;
        Platform::writeFileSafely(file, [&](const std::string& temporary) {
            if (clearXmp && removeIptc) {
                image->clearXMPAndWrite(temporary);
            } else if (clearXmp) {
                image->clearXMP();
                image->writeWithIPTC(temporary);
            } else if (removeIptc) {
                image->writeWithoutIPTC(temporary);
            } else {
                image->updateAndWrite(temporary, removed);
            }
            // The source must be closed before the new file takes its place (Windows will not
            // replace an open file).
            stream.close();
        }, writeOptions);
    });
}

} // namespace Lumeno::Cli
