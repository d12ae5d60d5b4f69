// A thin owner of a libtiff handle. libtiff's messages are kept instead of printed, and every
// failure is thrown as LibTIFFException "libtiff failed".
#pragma once

#include <tiffio.h>

#include <fstream>
#include <memory>
#include <string>

namespace Metadata {

class LibTIFF {
public:
    // Opens `path` with a libtiff mode ("r", "r+").
    LibTIFF(const std::string& path, const char* mode);
    ~LibTIFF();
    LibTIFF(const LibTIFF&) = delete;
    LibTIFF& operator=(const LibTIFF&) = delete;

    TIFF* get() const noexcept { return tiff_; }
    // Throws unless `ok`.
    static void check(bool ok);
    // Flushes and closes; throws when libtiff reports a failure.
    void close();
    // The last message libtiff reported on this thread.
    static std::string lastMessage();

    // The file under the handle: opened by us, through the path type that names any file on
    // every system (libtiff's own opening takes Windows' narrow names, in the ANSI code page).
    struct File {
        std::filebuf buffer;
        bool writing = false;
        bool failed = false;
    };

private:
    std::unique_ptr<File> file_;
    TIFF* tiff_ = nullptr;
};

} // namespace Metadata
