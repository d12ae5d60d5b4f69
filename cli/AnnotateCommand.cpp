// lumeno annotate: edits the IPTC record (and the XMP that mirrors it) of each file, rewriting
// the file safely.
#include "Commands.h"

#include <Lumeno/Commands/Annotation.h>
#include <Lumeno/UI/Settings.h>
#include <Metadata/IPTC.h>

#include <memory>
#include <optional>
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
    "  --template NAME   apply the template NAME (see 'lumeno template'): its\n"
    "                    keywords and supplemental categories are added unless\n"
    "                    the file has them (letter case aside), its other\n"
    "                    datasets replace the file's\n"
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

Commands::IptcEdit parseEdit(Commands::IptcEdit::Kind kind, const std::string& argument)
{
    if (kind == Commands::IptcEdit::Remove) {
        return {kind, Commands::iptcDataSetNamed(argument), {}};
    }
    const std::size_t equals = argument.find('=');
    if (equals == std::string::npos) {
        throw std::invalid_argument("expected NAME=TEXT, got '" + argument + "'");
    }
    // IPTC keeps a carriage return for each line break.
    return {kind, Commands::iptcDataSetNamed(argument.substr(0, equals)),
            Metadata::EOLMassager::toStorage(argument.substr(equals + 1))};
}

} // namespace

int runAnnotate(const std::vector<std::string>& arguments, Streams streams)
{
    using Commands::IptcEdit;
    std::vector<IptcEdit> edits;
    std::vector<std::string> files;
    Commands::AnnotateOptions options;
    std::unique_ptr<UI::SettingsStore> settings;
    std::optional<SettingsProblemsTold> told;
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
                edits.push_back(parseEdit(IptcEdit::Set, value()));
            } else if (a == "--add") {
                edits.push_back(parseEdit(IptcEdit::Add, value()));
            } else if (a == "--remove") {
                edits.push_back(parseEdit(IptcEdit::Remove, value()));
            } else if (a == "--template") {
                if (!settings) {
                    settings = UI::userSettingsStore();
                    told.emplace(*settings, "annotate", streams);
                }
                const std::string& name = value();
                try {
                    const std::vector<IptcEdit> applied =
                        Commands::templateEdits(Commands::AnnotationTemplates(*settings).read(name));
                    edits.insert(edits.end(), applied.begin(), applied.end());
                } catch (const Commands::UnknownTemplate& e) {
                    throw std::invalid_argument(e.what());
                } catch (const std::runtime_error& e) {
                    streams.err << "lumeno annotate: " << e.what() << '\n';
                    return 1;
                }
            } else if (a == "--remove-iptc") {
                options.removeIptc = true;
            } else if (a == "--clear-xmp") {
                options.clearXmp = true;
            } else if (a == "--backup") {
                options.backup = true;
            } else if (a == "--keep-time") {
                options.keepModificationTime = true;
            } else if (a == "--") {
                files.insert(files.end(), arguments.begin() + static_cast<std::ptrdiff_t>(i) + 1, arguments.end());
                break;
            } else if (a.size() > 1 && a[0] == '-') {
                throw std::invalid_argument("unknown option '" + a + "'");
            } else {
                files.push_back(a);
            }
        }
        if (options.removeIptc && !edits.empty()) {
            throw std::invalid_argument("--remove-iptc cannot be combined with --set, --add, --remove or --template");
        }
        if (files.empty()) {
            throw std::invalid_argument("no file given");
        }
    } catch (const std::invalid_argument& e) {
        streams.err << "lumeno annotate: " << e.what() << "\nRun 'lumeno annotate --help' for usage.\n";
        return 2;
    }

    return forEachFile(files, streams, false,
                       [&](const std::string& file) { Commands::annotateFile(file, edits, options); });
}

} // namespace Lumeno::Cli
