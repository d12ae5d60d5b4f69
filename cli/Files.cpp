#include "Commands.h"

#include <Lumeno/Commands/Command.h>
#include <Lumeno/Commands/InOrder.h>

#include <charconv>
#include <ostream>
#include <sstream>

namespace Lumeno::Cli {

namespace {

// One file's output, made apart from the others'.
struct FileOutput {
    std::string out;
    std::string err;
    std::string failure; // empty: none
};

} // namespace

int forEachFile(const std::vector<std::string>& files, Streams streams, bool headed,
                const std::function<void(const std::string& file)>& each)
{
    return forEachFile(files, streams, headed, 1, [&](const std::string& file, Streams) { each(file); });
}

int forEachFile(const std::vector<std::string>& files, Streams streams, bool headed, unsigned jobs,
                const std::function<void(const std::string& file, Streams fileStreams)>& each,
                const std::function<void(const std::string& made)>& emit)
{
    int status = 0;
    auto fail = [&](const std::string& file, const std::string& message) {
        streams.out.flush();
        streams.err << "lumeno: " << file << ": " << message << '\n';
        status = 1;
    };
    auto header = [&](const std::string& file) {
        if (headed && files.size() > 1) {
            streams.out << "==> " << file << " <==\n";
        }
    };
    if (!emit && (jobs <= 1 || files.size() <= 1)) {
        for (const std::string& file : files) {
            try {
                header(file);
                each(file, streams);
            } catch (...) {
                fail(file, Commands::failureReason(std::current_exception()));
            }
        }
        return status;
    }
    Commands::inOrder<FileOutput>(
        files.size(), jobs,
        [&](std::size_t i) {
            std::ostringstream out;
            std::ostringstream err;
            FileOutput made;
            try {
                each(files[i], Streams{out, err});
            } catch (...) {
                made.failure = Commands::failureReason(std::current_exception());
            }
            made.out = out.str();
            made.err = err.str();
            return made;
        },
        [&](std::size_t i, Commands::Outcome<FileOutput>&& outcome) {
            FileOutput& made = outcome.get();
            // Warnings first, as a file read alone gives them.
            if (!made.err.empty()) {
                streams.out.flush();
                streams.err << made.err;
            }
            header(files[i]);
            if (emit) {
                emit(made.out);
            } else {
                streams.out << made.out;
            }
            if (!made.failure.empty()) {
                fail(files[i], made.failure);
            }
        },
        [] { return false; });
    return status;
}

int finalStatus(const Commands::CommandBase& command, std::size_t files, Streams streams)
{
    if (command.cancelled()) {
        streams.out.flush();
        streams.err << "lumeno: stopped after " << command.filesBegun() << " of " << files << " files\n";
        return 130;
    }
    return command.failures() > 0 ? 1 : 0;
}

int takeJobs(std::vector<std::string>& arguments, const char* command, Streams streams, unsigned& jobs)
{
    jobs = Commands::workerCount();
    std::vector<std::string> rest;
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        const std::string& a = arguments[i];
        if (a == "--") {
            rest.insert(rest.end(), arguments.begin() + static_cast<std::ptrdiff_t>(i), arguments.end());
            break;
        }
        std::string value;
        if (a == "-j" || a == "--jobs") {
            if (i + 1 >= arguments.size()) {
                streams.err << "lumeno " << command << ": " << a << " needs a number\n";
                return 2;
            }
            value = arguments[++i];
        } else if (a.size() > 2 && a.compare(0, 2, "-j") == 0) {
            value = a.substr(2);
        } else if (a.compare(0, 7, "--jobs=") == 0) {
            value = a.substr(7);
        } else {
            rest.push_back(a);
            continue;
        }
        unsigned long n = 0;
        const auto [end, ec] = std::from_chars(value.data(), value.data() + value.size(), n);
        if (ec != std::errc() || end != value.data() + value.size() || n < 1 || n > 256) {
            streams.err << "lumeno " << command << ": -j takes a number of files from 1 to 256, not '" << value << "'\n";
            return 2;
        }
        jobs = static_cast<unsigned>(n);
    }
    arguments = std::move(rest);
    return -1;
}

int parseFiles(const std::vector<std::string>& arguments, const char* command, const char* help, Streams streams,
               std::vector<std::string>& files)
{
    bool optionsEnded = false;
    for (const std::string& a : arguments) {
        if (!optionsEnded && (a == "-h" || a == "--help")) {
            streams.out << help;
            return 0;
        }
        if (!optionsEnded && a == "--") {
            optionsEnded = true;
        } else if (!optionsEnded && a.size() > 1 && a[0] == '-') {
            streams.err << "lumeno " << command << ": unknown option '" << a << "'\n";
            return 2;
        } else {
            files.push_back(a);
        }
    }
    if (files.empty()) {
        streams.err << "lumeno " << command << ": no file given\nRun 'lumeno " << command << " --help' for usage.\n";
        return 2;
    }
    return -1;
}

} // namespace Lumeno::Cli
