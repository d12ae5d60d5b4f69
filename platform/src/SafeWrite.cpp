#include "Lumeno/Platform/Services.h"

#include <cstdio>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <system_error>
#include <stdexcept>

namespace fs = std::filesystem;

namespace Lumeno::Platform {

namespace {

// The file a path stands for: a symbolic link is followed (to the end of a chain of them) even
// when what it leads to does not exist yet.
fs::path fileBehind(const fs::path& path)
{
    fs::path file = path;
    for (int hops = 0; hops < 40; ++hops) {
        std::error_code ec;
        if (!fs::is_symlink(fs::symlink_status(file, ec))) {
            return file;
        }
        const fs::path link = fs::read_symlink(file);
        file = (link.is_absolute() ? link : file.parent_path() / link).lexically_normal();
    }
    throw std::system_error(std::make_error_code(std::errc::too_many_symbolic_link_levels), path.u8string());
}

// The temporary file's name: after the file, so that one left by a killed write says whose it
// was, and hidden. Names near the system's limit fall back to a short one.
std::string temporaryPrefix(const fs::path& file)
{
    const std::string name = file.filename().u8string();
    return name.size() <= 200 ? "." + name + ".lumeno-" : std::string(".lumeno-");
}

// Removes the temporary files of `prefix` in `folder` that no writer holds: a write that was
// killed left them, and nothing else would ever remove them.
void removeStaleTemporaries(const fs::path& folder, const std::string& prefix)
{
    std::error_code ec;
    for (const auto& entry : fs::directory_iterator(folder, ec)) {
        const std::string name = entry.path().filename().u8string();
        if (name.size() != prefix.size() + 6 || name.compare(0, prefix.size(), prefix) != 0 ||
            !entry.is_regular_file(ec)) {
            continue;
        }
        if (auto lock = services().tryLockFile(entry.path().u8string())) {
            std::error_code ignored;
            fs::remove(entry.path(), ignored);
        }
    }
}

} // namespace

void writeFileSafely(const std::string& target, const std::function<void(const std::string& temporary)>& write,
                     const SafeWriteOptions& options)
{
    const fs::path file = fileBehind(fs::u8path(target));
    std::error_code ec;
    const fs::file_status status = fs::status(file, ec);
    const bool exists = !ec && fs::exists(status);
    if (exists) {
        if (!fs::is_regular_file(status)) {
            throw std::runtime_error("not a regular file");
        }
        const std::uintmax_t links = fs::hard_link_count(file, ec);
        if (!ec && links > 1) {
            throw std::runtime_error("the file has " + std::to_string(links) +
                                     " hard links: a new file would leave the other names with the old contents, "
                                     "so it is left as it is (make it a file of its own first)");
        }
        if (options.makeBackup) {
            makeNumberedBackup(target);
        }
    }
    fs::path folder = file.parent_path();
    if (folder.empty()) {
        folder = ".";
    }
    const std::string prefix = temporaryPrefix(file);
    removeStaleTemporaries(folder, prefix);
    const std::string temporary = services().createTemporaryFile(folder.u8string(), prefix);
    try {
        // Held while the file is written, so that another writer of the same photo does not
        // take it for one left by a killed write.
        auto held = services().lockFile(temporary);
        write(temporary);
        if (exists) {
            // The owner first: giving a file away may clear bits that the mode then sets again.
            services().keepOwner(file.u8string(), temporary);
            fs::permissions(fs::u8path(temporary), status.permissions(), fs::perm_options::replace);
            if (options.keepModificationTime) {
                fs::last_write_time(fs::u8path(temporary), fs::last_write_time(file));
            }
        }
        services().flushToDisk(temporary);
        held.reset();
        services().replaceFile(temporary, file.u8string());
    } catch (...) {
        std::error_code ignored;
        fs::remove(fs::u8path(temporary), ignored);
        throw;
    }
}

void writeFileSafely(const std::string& target, const std::string& contents, bool text)
{
    writeFileSafely(target, [&](const std::string& temporary) {
        std::ofstream out(fs::u8path(temporary), text ? std::ios::out | std::ios::trunc
                                                       : std::ios::out | std::ios::trunc | std::ios::binary);
        out.write(contents.data(), static_cast<std::streamsize>(contents.size()));
        out.close();
        if (!out) {
            throw std::system_error(errno, std::generic_category(), "cannot write " + temporary);
        }
    });
}

std::string makeNumberedBackup(const std::string& path)
{
    const fs::path original = fs::u8path(path);
    fs::path folder = original.parent_path();
    if (folder.empty()) {
        folder = ".";
    }
    const std::string name = original.filename().u8string();
    for (int n = 0; n <= 98; ++n) {
        char prefix[16];
        std::snprintf(prefix, sizeof prefix, "Lumeno.%.2d.", n);
        const fs::path backup = folder / fs::u8path(prefix + name);
        std::error_code ec;
        if (fs::exists(fs::symlink_status(backup, ec))) {
            continue;
        }
        const std::string temporaryPrefix = "." + backup.filename().u8string() + ".lumeno-";
        removeStaleTemporaries(folder, temporaryPrefix);
        const std::string temporary = services().createTemporaryFile(folder.u8string(), temporaryPrefix);
        try {
            services().copyFile(original.u8string(), temporary);
            services().flushToDisk(temporary);
            // The name is taken only now, and never from another file that took it meanwhile.
            if (services().moveFileNoReplace(temporary, backup.u8string())) {
                return backup.u8string();
            }
            fs::remove(fs::u8path(temporary), ec);
        } catch (...) {
            std::error_code ignored;
            fs::remove(fs::u8path(temporary), ignored);
            throw;
        }
    }
    throw std::runtime_error("every backup name from Lumeno.00 to Lumeno.98 is taken");
}

} // namespace Lumeno::Platform
