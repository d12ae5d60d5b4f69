#include "Lumeno/Platform/Services.h"

#include "TerminalProgress.h"

#include <cstdlib>
#include <fstream>

#include <cerrno>
#include <ctime>
#include <string>
#include <system_error>
#include <vector>

#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>

namespace Lumeno::Platform {

namespace {

std::string environment(const char* name)
{
    const char* value = std::getenv(name);
    return value != nullptr ? value : "";
}

// An XDG base folder: the variable when it holds an absolute path (the rules ignore others),
// else `belowHome` under the home folder; empty without a home.
std::string xdgFolder(const char* variable, const char* belowHome)
{
    const std::string xdg = environment(variable);
    if (!xdg.empty() && xdg[0] == '/') {
        return xdg;
    }
    const std::string home = environment("HOME");
    return home.empty() ? std::string() : home + belowHome;
}

// A folder of the XDG user-dirs file ($XDG_CONFIG_HOME/user-dirs.dirs, as xdg-user-dir reads it),
// or `fallback` below the home folder.
std::string userFolder(const std::string& configFolder, const std::string& key, const char* fallback)
{
    const std::string home = environment("HOME");
    if (home.empty()) {
        return {};
    }
    std::ifstream dirs(configFolder + "/user-dirs.dirs");
    std::string line;
    while (std::getline(dirs, line)) {
        if (line.rfind(key + "=\"", 0) != 0 || line.back() != '"') {
            continue;
        }
        std::string value = line.substr(key.size() + 2, line.size() - key.size() - 3);
        if (value.rfind("$HOME", 0) == 0) {
            value = home + value.substr(5);
        }
        if (!value.empty() && value[0] == '/') {
            return value;
        }
    }
    return home + "/" + fallback;
}

class PosixServices final : public Services {
public:
    int utcOffsetMinutes() const override
    {
        const std::time_t now = std::time(nullptr);
        std::tm local{};
        if (localtime_r(&now, &local) == nullptr) {
            return 0;
        }
        return static_cast<int>(local.tm_gmtoff / 60);
    }

    Metadata::GUID newGUID() const override
    {
        return Metadata::randomGUID(); // Boost.UUID over the system's random source
    }

    std::string createTemporaryFile(const std::string& folder, const std::string& prefix) const override
    {
        std::string pattern = folder + "/" + prefix + "XXXXXX";
        std::vector<char> name(pattern.begin(), pattern.end());
        name.push_back('\0');
        const int fd = mkstemp(name.data());
        if (fd < 0) {
            throw std::system_error(errno, std::generic_category(), "cannot create a temporary file in " + folder);
        }
        ::close(fd);
        return name.data();
    }

    void flushToDisk(const std::string& path) const override
    {
        const int fd = ::open(path.c_str(), O_RDONLY);
        if (fd < 0 || ::fsync(fd) != 0) {
            const int error = errno;
            if (fd >= 0) {
                ::close(fd);
            }
            throw std::system_error(error, std::generic_category(), "cannot flush " + path);
        }
        ::close(fd);
    }

    bool moveFileNoReplace(const std::string& source, const std::string& target) const override
    {
        if (::renameat2(AT_FDCWD, source.c_str(), AT_FDCWD, target.c_str(), RENAME_NOREPLACE) == 0) {
            return true;
        }
        if (errno == EEXIST) {
            return false;
        }
        if (errno != EINVAL && errno != ENOSYS) {
            throw std::system_error(errno, std::generic_category(), "cannot move " + source);
        }
        // A file system without RENAME_NOREPLACE: a hard link also refuses an existing name.
        if (::link(source.c_str(), target.c_str()) != 0) {
            if (errno == EEXIST) {
                return false;
            }
            throw std::system_error(errno, std::generic_category(), "cannot move " + source);
        }
        ::unlink(source.c_str());
        return true;
    }

    std::string picturesFolder() const override { return userFolder(configFolder(), "XDG_PICTURES_DIR", "Pictures"); }
    std::string documentsFolder() const override
    {
        return userFolder(configFolder(), "XDG_DOCUMENTS_DIR", "Documents");
    }

    std::string configFolder() const override { return xdgFolder("XDG_CONFIG_HOME", "/.config"); }
    std::string dataFolder() const override { return xdgFolder("XDG_DATA_HOME", "/.local/share"); }

    int screenPixelsPerInch() const override { return 96; }

    void beep() const override
    {
        if (::isatty(STDERR_FILENO)) {
            std::fputs("\a", stderr);
            std::fflush(stderr);
        }
    }

    std::unique_ptr<ProgressDisplay> makeProgressDisplay() const override
    {
        return std::make_unique<TerminalProgress>(::isatty(STDERR_FILENO) != 0);
    }

    std::string nativePath(const std::string& path) const override { return path; }

    void replaceFile(const std::string& source, const std::string& target) const override
    {
        if (::rename(source.c_str(), target.c_str()) != 0) {
            throw std::system_error(errno, std::generic_category(), "cannot replace " + target);
        }
        // The rename itself is made durable by flushing the folder.
        const std::string::size_type slash = target.rfind('/');
        const std::string folder = slash == std::string::npos ? "." : slash == 0 ? "/" : target.substr(0, slash);
        const int fd = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY);
        if (fd >= 0) {
            ::fsync(fd);
            ::close(fd);
        }
    }
};

} // namespace

const Services& services()
{
    static const PosixServices instance;
    return instance;
}

} // namespace Lumeno::Platform
