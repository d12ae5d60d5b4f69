#include "Lumeno/Platform/Services.h"

#include <cstdio>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <system_error>
#include <stdexcept>

namespace fs = std::filesystem;

namespace Lumeno::Platform {

void writeFileSafely(const std::string& target, const std::function<void(const std::string& temporary)>& write)
{
    const fs::path targetPath = fs::u8path(target);
    fs::path folder = targetPath.parent_path();
    if (folder.empty()) {
        folder = ".";
    }
    const std::string temporary = services().createTemporaryFile(folder.u8string(), ".lumeno-");
    try {
        write(temporary);
        std::error_code ec;
        const fs::file_status status = fs::status(targetPath, ec);
        if (!ec && fs::exists(status)) {
            fs::permissions(fs::u8path(temporary), status.permissions(), fs::perm_options::replace);
        }
        services().flushToDisk(temporary);
        services().replaceFile(temporary, target);
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
    const fs::path folder = original.parent_path();
    const std::string name = original.filename().u8string();
    for (int n = 0; n <= 98; ++n) {
        char prefix[16];
        std::snprintf(prefix, sizeof prefix, "Lumeno.%.2d.", n);
        const fs::path backup = folder / fs::u8path(prefix + name);
        std::error_code ec;
        if (fs::exists(backup, ec)) {
            continue;
        }
        // copy_options::none refuses to overwrite, should the name appear in the meantime.
        fs::copy_file(original, backup, fs::copy_options::none);
        return backup.u8string();
    }
    throw std::runtime_error("every backup name from Lumeno.00 to Lumeno.98 is taken");
}

} // namespace Lumeno::Platform
