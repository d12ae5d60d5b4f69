// The sub-commands of the lumeno tool.
#pragma once

#include <functional>
#include <iosfwd>
#include <string>
#include <vector>

namespace Lumeno::Cli {

struct Streams {
    std::ostream& out;
    std::ostream& err;
};

// Each command takes its own arguments (without the command name) and returns the exit status:
// 0 success, 1 when any file failed, 2 for a usage error.
int runDump(const std::vector<std::string>& arguments, Streams streams);
int runShow(const std::vector<std::string>& arguments, Streams streams);
int runIptc(const std::vector<std::string>& arguments, Streams streams);
int runXmp(const std::vector<std::string>& arguments, Streams streams);
int runAnnotate(const std::vector<std::string>& arguments, Streams streams);
int runRename(const std::vector<std::string>& arguments, Streams streams);
int runRotate(const std::vector<std::string>& arguments, Streams streams);
int runExport(const std::vector<std::string>& arguments, Streams streams);
int runSettings(const std::vector<std::string>& arguments, Streams streams);
int runColumns(const std::vector<std::string>& arguments, Streams streams);
int runTip(const std::vector<std::string>& arguments, Streams streams);
int runOverlay(const std::vector<std::string>& arguments, Streams streams);
int runGallery(const std::vector<std::string>& arguments, Streams streams);

// Runs `each` for every file. A failure is reported as "lumeno: FILE: MESSAGE" and the next file
// goes on; the result is 1 when any failed. With several files, each file's output follows a
// line "==> FILE <==" when `headed`.
int forEachFile(const std::vector<std::string>& files, Streams streams, bool headed,
                const std::function<void(const std::string& file)>& each);

// The arguments of a command that takes only files: -h/--help prints `help` (returns 0), an
// unknown option or no file is a usage error (returns 2); otherwise -1 and `files` filled.
int parseFiles(const std::vector<std::string>& arguments, const char* command, const char* help, Streams streams,
               std::vector<std::string>& files);

} // namespace Lumeno::Cli
