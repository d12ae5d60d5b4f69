// The sub-commands of the lumeno tool.
#pragma once

#include <cstddef>
#include <functional>
#include <iosfwd>
#include <string>
#include <vector>

namespace Lumeno::Commands {
class CommandBase;
}
namespace Lumeno::UI {
class SettingsStore;
}

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
int runTemplate(const std::vector<std::string>& arguments, Streams streams);
int runSlideShowCD(const std::vector<std::string>& arguments, Streams streams);
int runColumns(const std::vector<std::string>& arguments, Streams streams);
int runTip(const std::vector<std::string>& arguments, Streams streams);
int runOverlay(const std::vector<std::string>& arguments, Streams streams);
int runGallery(const std::vector<std::string>& arguments, Streams streams);

// Runs `each` for every file. A failure is reported as "lumeno: FILE: MESSAGE" and the next file
// goes on; the result is 1 when any failed. With several files, each file's output follows a
// line "==> FILE <==" when `headed`.
int forEachFile(const std::vector<std::string>& files, Streams streams, bool headed,
                const std::function<void(const std::string& file)>& each);

// The same with `jobs` threads reading files side by side: `each` writes a file's output to the
// streams it is given, which are kept apart per file and written out in the files' order (with
// one job, the command's own streams).
// `emit`, when given, takes each file's output in turn instead of the output stream (even with
// one job).
int forEachFile(const std::vector<std::string>& files, Streams streams, bool headed, unsigned jobs,
                const std::function<void(const std::string& file, Streams fileStreams)>& each,
                const std::function<void(const std::string& made)>& emit = nullptr);

// Takes "-j N" (or -jN, --jobs N, --jobs=N) out of `arguments`: the number of files worked on
// side by side, one per core when not given. 2 after a usage error, else -1.
int takeJobs(std::vector<std::string>& arguments, const char* command, Streams streams, unsigned& jobs);

// The exit status of a per-file command's run: 130 when the user stopped it (said on standard
// error, with how far it came), 1 when a file failed, 0 otherwise.
int finalStatus(const Commands::CommandBase& command, std::size_t files, Streams streams);

// The arguments of a command that takes only files: -h/--help prints `help` (returns 0), an
// unknown option or no file is a usage error (returns 2); otherwise -1 and `files` filled.
int parseFiles(const std::vector<std::string>& arguments, const char* command, const char* help, Streams streams,
               std::vector<std::string>& files);

// Says on standard error, when it goes, what the settings store found wrong (a file it could
// not read whole, one it kept aside): once, after the command's answer.
class SettingsProblemsTold {
public:
    SettingsProblemsTold(const UI::SettingsStore& store, const char* command, Streams streams)
        : store_(store), command_(command), streams_(streams)
    {
    }
    ~SettingsProblemsTold();
    SettingsProblemsTold(const SettingsProblemsTold&) = delete;
    SettingsProblemsTold& operator=(const SettingsProblemsTold&) = delete;

private:
    const UI::SettingsStore& store_;
    const char* command_;
    Streams streams_;
};

} // namespace Lumeno::Cli
