#include "Commands.h"

#include <Metadata/Exceptions.h>

#include <ostream>
#include <system_error>

namespace Lumeno::Cli {

int forEachFile(const std::vector<std::string>& files, Streams streams, bool headed,
                const std::function<void(const std::string& file)>& each)
{
    int status = 0;
    for (const std::string& file : files) {
        auto fail = [&](const std::string& message) {
            streams.out.flush();
            streams.err << "lumeno: " << file << ": " << message << '\n';
            status = 1;
        };
        try {
            if (headed && files.size() > 1) {
                streams.out << "==> " << file << " <==\n";
            }
            each(file);
        } catch (const Metadata::IOOpenError& e) {
            // The library's own text for this is about writing; say what happened.
            fail(!e.reason().empty() ? e.reason() : std::error_code(errno, std::generic_category()).message());
        } catch (const Metadata::Exception& e) {
            fail(e.message());
        } catch (const Metadata::Error& e) {
            fail(e.message());
        } catch (const std::exception& e) {
            fail(e.what());
        }
    }
    return status;
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
