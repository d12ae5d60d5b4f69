// A thin owner of a libtiff handle. libtiff's messages are kept instead of printed, and every
// failure is thrown as LibTIFFException "libtiff failed".
#pragma once

#include <tiffio.h>

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

private:
    TIFF* tiff_ = nullptr;
};

} // namespace Metadata
