#include "Commands.h"

#include <Lumeno/DB/Store.h>
#include <Lumeno/Platform/Services.h>

#include <cstring>
#include <iostream>
#include <string>
#include <vector>

namespace {

void printHelp(std::ostream& out)
{
    out << "Usage: lumeno [--store DIR] COMMAND [ARGUMENTS]\n"
           "\n"
           "Reads and shows the metadata of JPEG and TIFF photos.\n"
           "\n"
           "Commands:\n"
           "  show FILE...       a summary of each file: format, EXIF, IPTC and XMP\n"
           "  dump FILE...       every EXIF directory of each file, one line per value\n"
           "  iptc FILE...       the IPTC datasets of each file, one per line\n"
           "  xmp FILE...        the XMP packet of each file\n"
           "  annotate [OPTIONS] FILE...\n"
           "                     edit the IPTC datasets (and the XMP that mirrors them)\n"
           "  rename FILE...     rename each file after its capture date\n"
           "  rotate cw|ccw|180 [--backup|--no-backup] FILE...\n"
           "                     turn JPEG files without loss\n"
           "  export exif|iptc|xmp|all FILE...\n"
           "                     write the metadata to text files beside each file\n"
           "  settings list | get SECTION VALUE | set SECTION VALUE DATA\n"
           "                     the user's settings\n"
           "  template list | show NAME | create NAME --from FILE | remove NAME\n"
           "                     the user's annotation templates (annotate --template)\n"
           "  columns [--columns TITLE,...] [--json] FILE...\n"
           "                     the file manager's metadata columns of each file\n"
           "  tip FILE           the file manager's info tip of the file\n"
           "  overlay FILE...    the file manager's icon overlay of each file\n"
           "  gallery create|rename|delete|add|remove|list|search|sync|export ...\n"
           "                     galleries of pictures, searched by keyword and\n"
           "                     exported as web pages\n"
           "  slideshow-cd [--no-pdf] [--quality N] [--size WxH] [--originals]\n"
           "               [--viewer EXE] [--autorun-pdf] --out DIR FILE...\n"
           "                     a slide show of the pictures, ready to burn: a PDF,\n"
           "                     the pictures with a viewer, an autorun.inf\n"
           "\n"
           "Options:\n"
           "  -h, --help         show this help; 'lumeno COMMAND --help' explains a command\n"
           "  --version          show the version\n"
           "  --store DIR        the gallery store to use (default: the user's own)\n";
}

} // namespace

int main(int argc, char** argv)
{
    std::ios::sync_with_stdio(false);
    Lumeno::Platform::installMetadataServices();
    Lumeno::Platform::services().prepareConsole();
    std::vector<std::string> args = Lumeno::Platform::services().arguments(argc, argv);
    Lumeno::Cli::Streams streams{std::cout, std::cerr};

    if (args.empty()) {
        printHelp(std::cerr);
        return 2;
    }
    // --store DIR: the gallery store to use instead of the user's.
    if (args.size() >= 2 && args[0] == "--store") {
        Lumeno::DB::Store::instance().useFolder(args[1]);
        args.erase(args.begin(), args.begin() + 2);
        if (args.empty()) {
            printHelp(std::cerr);
            return 2;
        }
    }
    const std::string command = args.front();
    args.erase(args.begin());
    if (command == "-h" || command == "--help" || command == "help") {
        printHelp(std::cout);
        return 0;
    }
    if (command == "--version") {
        std::cout << "lumeno 0.1.0\n";
        return 0;
    }
    using Runner = int (*)(const std::vector<std::string>&, Lumeno::Cli::Streams);
    const std::pair<const char*, Runner> commands[] = {
        {"dump", Lumeno::Cli::runDump},         {"show", Lumeno::Cli::runShow},
        {"iptc", Lumeno::Cli::runIptc},         {"xmp", Lumeno::Cli::runXmp},
        {"annotate", Lumeno::Cli::runAnnotate}, {"rename", Lumeno::Cli::runRename},
        {"rotate", Lumeno::Cli::runRotate},     {"export", Lumeno::Cli::runExport},
        {"settings", Lumeno::Cli::runSettings}, {"columns", Lumeno::Cli::runColumns},
        {"tip", Lumeno::Cli::runTip},           {"overlay", Lumeno::Cli::runOverlay},
        {"gallery", Lumeno::Cli::runGallery},   {"template", Lumeno::Cli::runTemplate},
        {"slideshow-cd", Lumeno::Cli::runSlideShowCD},
    };
    for (const auto& [name, run] : commands) {
        if (command == name) {
            const int status = run(args, streams);
            std::cout.flush();
            return status;
        }
    }
    std::cerr << "lumeno: unknown command '" << command << "'\n"
              << "Run 'lumeno --help' for the list of commands.\n";
    return 2;
}
