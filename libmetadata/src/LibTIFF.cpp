#include "LibTIFF.h"

#include "Metadata/Exceptions.h"

#include <cstdarg>
#include <cstdio>
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
    tiff_ = TIFFOpen(path.c_str(), mode);
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
