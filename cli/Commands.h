// The sub-commands of the lumeno tool.
#pragma once

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
void printDumpHelp(std::ostream& out);

// "lumeno: FILE: MESSAGE" on the error stream.
void reportFileError(std::ostream& err, const std::string& file, const std::string& message);

} // namespace Lumeno::Cli
