#include "LibTIFF.h"

#include "Metadata/Exceptions.h"

#include <cstdarg>
#include <cstdio>
#include <algorithm>
#include <filesystem>
#include <mutex>

namespace Metadata {

namespace {

thread_local std::string t_lastMessage;

void keepMessage(const char* module, const char* format, va_list args)
{
    char text[512];
    std::vsnprintf(text, sizeof text, format, args);
    t_lastMessage = std::string(module ? module : "") + ": " + text;
}

void installHandlers()
{
    static std::once_flag once;
    std::call_once(once, [] {
        TIFFSetErrorHandler(keepMessage);
        TIFFSetWarningHandler(nullptr); // warnings about odd but readable files are not news
    });
}

} // namespace

LibTIFF::LibTIFF(const std::string& path, const char* mode)
{
    installHandlers();
    // A hostile file may declare tag arrays far larger than itself; libtiff would try to
    // allocate them. No honest tag needs more than a few times the file's own size.
    std::error_code ec;
    const std::uintmax_t fileSize = std::filesystem::file_size(std::filesystem::u8path(path), ec);
    const tmsize_t limit =
        static_cast<tmsize_t>(std::min<std::uintmax_t>(ec ? 0 : fileSize, 1u << 28) * 8 + (16u << 20));
    TIFFOpenOptions* options = TIFFOpenOptionsAlloc();
    TIFFOpenOptionsSetMaxSingleMemAlloc(options, limit);
    tiff_ = TIFFOpenExt(path.c_str(), mode, options);
    TIFFOpenOptionsFree(options);
    check(tiff_ != nullptr);
}

LibTIFF::~LibTIFF()
{
    if (tiff_ != nullptr) {
        TIFFClose(tiff_);
    }
}

void LibTIFF::check(bool ok)
{
    if (!ok) {
        METADATA_THROW(LibTIFFException, "libtiff failed");
    }
}

void LibTIFF::close()
{
    TIFF* t = tiff_;
    tiff_ = nullptr;
    const bool flushed = TIFFFlush(t) == 1;
    TIFFClose(t);
    check(flushed);
}

std::string LibTIFF::lastMessage()
{
    return t_lastMessage;
}

} // namespace Metadata
