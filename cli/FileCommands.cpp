// lumeno rename, rotate and export: the per-file commands run over the files given.
#include "Commands.h"

#include <Lumeno/Commands/FileCommands.h>

#include <ostream>

namespace Lumeno::Cli {

namespace {

const char* const RenameHelp =
    "Usage: lumeno rename [-j N] FILE...\n"
    "\n"
    "Renames each JPEG or TIFF file after the moment its picture was taken:\n"
    "YYYYMMDD-HHMMSS-NN followed by the file's own extension, in the same folder.\n"
    "NN counts 00 to 99 across the whole run, so files taken in the same second\n"
    "get different names. The date is the IPTC Date Created with Time Created when\n"
    "both are valid, else the first EXIF date of DateTimeOriginal,\n"
    "DateTimeDigitized and DateTime, else the IPTC Date Created at midnight. Files\n"
    "without a date are left as they are. A name that exists already is never\n"
    "overwritten: the file keeps its name and is reported. With -j N, N files' dates\n"
    "are read side by side (default: one per core); the renames keep the order of\n"
    "the files, and so does the counter.\n";

const char* const RotateHelp =
    "Usage: lumeno rotate cw|ccw|180 [--backup|--no-backup] [--keep-time] [-j N] FILE...\n"
    "\n"
    "Turns JPEG files by a quarter turn clockwise (cw) or counter-clockwise (ccw),\n"
    "or by a half turn, without re-encoding: no quality is lost. Edge blocks that\n"
    "cannot be turned are trimmed (as 'jpegtran -trim' does); EXIF, IPTC, XMP and\n"
    "every other marker are kept as they were. The turned picture replaces the file\n"
    "only when complete; a damaged JPEG is reported and left alone.\n"
    "\n"
    "  --backup      keep the original beside it as Lumeno.NN.NAME\n"
    "  --no-backup   keep no copy\n"
    "  --keep-time   the turned file keeps the modification time of the original\n"
    "  -j N          turn N pictures side by side (default: one per core)\n"
    "Without --backup or --no-backup, the CreateBackup setting (section Annotation)\n"
    "decides. A symbolic link stays a link (the file it leads to is turned); the\n"
    "file keeps its permissions and, where the system allows, its owner and group.\n"
    "A file with other hard links is refused and left as it is.\n";

const char* const ExportHelp =
    "Usage: lumeno export exif|iptc|xmp|all [-j N] FILE...\n"
    "\n"
    "Writes the metadata of each JPEG or TIFF file to a text file beside it: the\n"
    "file's path without its extension, plus .exif.txt (a line \"IFD: NAME\" per\n"
    "directory, then NAME<TAB>VALUE per field and an empty line), .iptc.txt\n"
    "(NAME<TAB>TEXT per dataset) or .xmp (the XMP packet). A file without metadata\n"
    "of the kind gets no export file, and an earlier export of that kind is\n"
    "removed, so that no file beside it tells of metadata it no longer has.\n"
    "With -j N, N files are read side by side (default: one per core).\n";

int runOver(Commands::CommandBase& command, const std::vector<std::string>& files, unsigned jobs, Streams streams)
{
    command.setFailureListener([&](const std::string& path, const std::string& reason) {
        streams.out.flush();
        streams.err << "lumeno: " << path << ": " << reason << '\n';
    });
    command.runFiles(files, jobs);
    return finalStatus(command, files.size(), streams);
}

// The first argument chooses among `choices`; -1 after printing the help or an error.
int choose(const std::vector<std::string>& arguments, const std::vector<std::string>& choices, const char* command,
           const char* help, Streams streams, std::vector<std::string>& rest)
{
    if (!arguments.empty() && (arguments[0] == "-h" || arguments[0] == "--help")) {
        streams.out << help;
        return -2;
    }
    for (std::size_t i = 0; i < choices.size(); ++i) {
        if (!arguments.empty() && arguments[0] == choices[i]) {
            rest.assign(arguments.begin() + 1, arguments.end());
            return static_cast<int>(i);
        }
    }
    streams.err << "lumeno " << command << ": expected one of";
    for (const std::string& c : choices) {
        streams.err << ' ' << c;
    }
    streams.err << "\nRun 'lumeno " << command << " --help' for usage.\n";
    return -1;
}

} // namespace

int runRename(const std::vector<std::string>& arguments, Streams streams)
{
    std::vector<std::string> files;
    std::vector<std::string> rest = arguments;
    unsigned jobs = 1;
    if (const int status = takeJobs(rest, "rename", streams, jobs); status >= 0) {
        return status;
    }
    if (const int status = parseFiles(rest, "rename", RenameHelp, streams, files); status >= 0) {
        return status;
    }
    Commands::CommandFileRename command(static_cast<std::uint32_t>(files.size()), 0);
    return runOver(command, files, jobs, streams);
}

int runRotate(const std::vector<std::string>& arguments, Streams streams)
{
    std::vector<std::string> rest;
    const int direction = choose(arguments, {"cw", "180", "ccw"}, "rotate", RotateHelp, streams, rest);
    if (direction < 0) {
        return direction == -2 ? 0 : 2;
    }
    std::optional<bool> backup;
    bool keepTime = false;
    std::vector<std::string> others;
    for (const std::string& a : rest) {
        if (a == "--backup") {
            backup = true;
        } else if (a == "--no-backup") {
            backup = false;
        } else if (a == "--keep-time") {
            keepTime = true;
        } else {
            others.push_back(a);
        }
    }
    std::vector<std::string> files;
    unsigned jobs = 1;
    if (const int status = takeJobs(others, "rotate", streams, jobs); status >= 0) {
        return status;
    }
    if (const int status = parseFiles(others, "rotate", RotateHelp, streams, files); status >= 0) {
        return status;
    }
    Commands::CommandRotateJPEG command(direction + 1, static_cast<std::uint32_t>(files.size()), 0, nullptr, backup);
    command.keepModificationTimes(keepTime);
    return runOver(command, files, jobs, streams);
}

int runExport(const std::vector<std::string>& arguments, Streams streams)
{
    std::vector<std::string> rest;
    const int kind = choose(arguments, {"exif", "iptc", "xmp", "all"}, "export", ExportHelp, streams, rest);
    if (kind < 0) {
        return kind == -2 ? 0 : 2;
    }
    std::vector<std::string> files;
    unsigned jobs = 1;
    if (const int status = takeJobs(rest, "export", streams, jobs); status >= 0) {
        return status;
    }
    if (const int status = parseFiles(rest, "export", ExportHelp, streams, files); status >= 0) {
        return status;
    }
    const auto count = static_cast<std::uint32_t>(files.size());
    int status = 0;
    for (int k = 0; k < 3; ++k) {
        if (kind == k || kind == 3) {
            Commands::CommandExport command(static_cast<Commands::ExportKind>(k), count, 0);
            status = std::max(status, runOver(command, files, jobs, streams));
        }
    }
    return status;
}

} // namespace Lumeno::Cli
