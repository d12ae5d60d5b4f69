#include "Lumeno/Platform/Services.h"

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
