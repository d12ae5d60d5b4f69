#include "Lumeno/Platform/Services.h"

#include "TerminalProgress.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>

#include <cerrno>
#include <ctime>
#include <mutex>
#include <random>
#include <string>
#include <system_error>
#include <vector>

#include <dlfcn.h>
#include <fcntl.h>
#if defined(__GLIBC__)
#include <malloc.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#endif
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

class PosixModule final : public LoadedModule {
public:
    explicit PosixModule(void* handle) : handle_(handle) {}
    // Never unloaded: code of the module may still be referenced (atexit handlers, thread-local
    // destructors) until the program ends.
    void* symbol(const char* name) const override { return ::dlsym(handle_, name); }

private:
    void* handle_;
};

#if defined(__GLIBC__)
// glibc hands blocks above its mapping threshold straight back to the system, and trims the top
// of the heap past its trim threshold. Raising both keeps the blocks of one picture for the next.
// Counted, since two commands may each ask while they run.
void keepFreedMemoryWithGlibc(bool keep)
{
    static std::mutex mutex;
    static int keepers = 0;
    const std::lock_guard<std::mutex> lock(mutex);
    keepers += keep ? 1 : -1;
    if (keep && keepers == 1) {
        ::mallopt(M_MMAP_THRESHOLD, 32 * 1024 * 1024); // the largest glibc accepts on 64-bit systems
        ::mallopt(M_TRIM_THRESHOLD, 1024 * 1024 * 1024);
    } else if (!keep && keepers == 0) {
        // glibc's starting values; its own adjustment of them stays off once they were set.
        ::mallopt(M_MMAP_THRESHOLD, 128 * 1024);
        ::mallopt(M_TRIM_THRESHOLD, 128 * 1024);
        ::malloc_trim(0);
    }
}
#endif

// flock(2) locks: separate from the fcntl(2) record locks that programs use to mark themselves
// present, so the two never meet.
class PosixFileLock final : public FileLock {
public:
    explicit PosixFileLock(int fd) : fd_(fd) {}
    ~PosixFileLock() override { ::close(fd_); } // closing releases the lock

private:
    int fd_;
};

class PosixServices final : public Services {
public:
    std::unique_ptr<FileLock> lockFile(const std::string& path) const override
    {
        const int fd = ::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644);
        if (fd < 0) {
            throw std::system_error(errno, std::generic_category(), "cannot open " + path);
        }
        while (::flock(fd, LOCK_EX) != 0) {
            if (errno != EINTR) {
                const int error = errno;
                ::close(fd);
                throw std::system_error(error, std::generic_category(), "cannot lock " + path);
            }
        }
        return std::make_unique<PosixFileLock>(fd);
    }

    std::unique_ptr<FileLock> tryLockFile(const std::string& path) const override
    {
        const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK);
        if (fd < 0) {
            return nullptr;
        }
        if (::flock(fd, LOCK_EX | LOCK_NB) != 0) {
            ::close(fd);
            return nullptr;
        }
        return std::make_unique<PosixFileLock>(fd);
    }

    bool lockedByOthers(const std::string& path) const override
    {
        const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
        if (fd < 0) {
            return false;
        }
        struct flock probe {};
        probe.l_type = F_WRLCK;
        probe.l_whence = SEEK_SET;
        probe.l_start = 0;
        probe.l_len = 0; // the whole file, however long
        const bool locked = ::fcntl(fd, F_GETLK, &probe) == 0 && probe.l_type != F_UNLCK;
        ::close(fd);
        return locked;
    }

    std::uint64_t freeSpace(const std::string& folder) const override
    {
        struct statvfs fs {};
        if (::statvfs(folder.c_str(), &fs) != 0) {
            throw std::system_error(errno, std::generic_category(), "cannot ask the free space of " + folder);
        }
        return std::uint64_t{fs.f_bavail} * fs.f_frsize;
    }

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

    std::string createTemporaryFile(const std::string& folder, const std::string& prefix,
                                    bool privateFile) const override
    {
        if (privateFile) {
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
        // mkstemp makes files for their owner alone: this one gets the mode the user's umask
        // gives any new file.
        static const char Letters[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789";
        thread_local std::minstd_rand random(static_cast<unsigned>(std::random_device{}()));
        for (int attempt = 0; attempt < 100; ++attempt) {
            std::string name = folder + "/" + prefix;
            for (int i = 0; i < 6; ++i) {
                name += Letters[random() % (sizeof Letters - 1)];
            }
            const int fd = ::open(name.c_str(), O_CREAT | O_EXCL | O_WRONLY | O_CLOEXEC, 0666);
            if (fd >= 0) {
                ::close(fd);
                return name;
            }
            if (errno != EEXIST) {
                break;
            }
        }
        throw std::system_error(errno, std::generic_category(), "cannot create a temporary file in " + folder);
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

    std::vector<std::string> arguments(int argc, char** argv) const override
    {
        return std::vector<std::string>(argv + (argc > 0 ? 1 : 0), argv + argc);
    }

    void prepareConsole() const override {}

    void copyFile(const std::string& source, const std::string& target) const override
    {
        std::filesystem::copy_file(std::filesystem::u8path(source), std::filesystem::u8path(target),
                                   std::filesystem::copy_options::overwrite_existing);
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


    std::string programFolder() const override
    {
        std::vector<char> path(4096);
        const ssize_t n = ::readlink("/proc/self/exe", path.data(), path.size() - 1);
        if (n <= 0) {
            return ".";
        }
        const std::string program(path.data(), static_cast<std::size_t>(n));
        const std::string::size_type slash = program.rfind('/');
        return slash == 0 ? "/" : program.substr(0, slash);
    }

    std::unique_ptr<LoadedModule> loadModule(const std::string& path) const override
    {
        void* handle = ::dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
        if (handle == nullptr) {
            const char* reason = ::dlerror();
            const std::errc code = ::access(path.c_str(), F_OK) == 0 ? std::errc::executable_format_error
                                                                   : std::errc::no_such_file_or_directory;
            throw std::system_error(std::make_error_code(code), reason != nullptr ? reason : path);
        }
        return std::make_unique<PosixModule>(handle);
    }

    void keepFreedMemory(bool keep) const override
    {
#if defined(__GLIBC__)
        keepFreedMemoryWithGlibc(keep);
#else
        (void)keep;
#endif
    }

    void keepOwner(const std::string& original, const std::string& replacement) const override
    {
        struct stat was {};
        if (::stat(original.c_str(), &was) != 0) {
            return;
        }
        // Giving a file away takes privileges; a group of one's own does not. Failing both, the
        // new file is simply the writer's, as any file it makes.
        if (::chown(replacement.c_str(), was.st_uid, was.st_gid) != 0) {
            (void)::chown(replacement.c_str(), static_cast<uid_t>(-1), was.st_gid);
        }
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
