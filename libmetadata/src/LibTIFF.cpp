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

LibTIFF::File& fileOf(thandle_t handle)
{
    return *static_cast<LibTIFF::File*>(handle);
}

// A file buffer read and written in turn needs a seek between the two.
void turnTo(LibTIFF::File& file, bool writing)
{
    if (file.writing != writing) {
        file.buffer.pubseekoff(0, std::ios::cur);
        file.writing = writing;
    }
}

tmsize_t readFile(thandle_t handle, void* data, tmsize_t size)
{
    LibTIFF::File& file = fileOf(handle);
    turnTo(file, false);
    return static_cast<tmsize_t>(file.buffer.sgetn(static_cast<char*>(data), static_cast<std::streamsize>(size)));
}

tmsize_t writeFile(thandle_t handle, void* data, tmsize_t size)
{
    LibTIFF::File& file = fileOf(handle);
    turnTo(file, true);
    const auto written = file.buffer.sputn(static_cast<const char*>(data), static_cast<std::streamsize>(size));
    if (written != static_cast<std::streamsize>(size)) {
        file.failed = true;
    }
    return static_cast<tmsize_t>(written);
}

toff_t seekFile(thandle_t handle, toff_t offset, int whence)
{
    LibTIFF::File& file = fileOf(handle);
    const std::ios::seekdir from = whence == SEEK_SET ? std::ios::beg : whence == SEEK_CUR ? std::ios::cur : std::ios::end;
    const auto at = file.buffer.pubseekoff(static_cast<std::streamoff>(offset), from);
    file.writing = false; // a seek ends either
    return at == std::streampos(-1) ? static_cast<toff_t>(-1) : static_cast<toff_t>(static_cast<std::streamoff>(at));
}

int closeFile(thandle_t handle)
{
    LibTIFF::File& file = fileOf(handle);
    const bool closed = file.buffer.close() != nullptr;
    return closed && !file.failed ? 0 : -1;
}

toff_t sizeOfFile(thandle_t handle)
{
    std::filebuf& buffer = fileOf(handle).buffer;
    const auto here = buffer.pubseekoff(0, std::ios::cur);
    const auto end = buffer.pubseekoff(0, std::ios::end);
    buffer.pubseekpos(here);
    return end == std::streampos(-1) ? 0 : static_cast<toff_t>(static_cast<std::streamoff>(end));
}

int noMapping(thandle_t, void**, toff_t*)
{
    return 0;
}

void noUnmapping(thandle_t, void*, toff_t) {}

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
    file_ = std::make_unique<File>();
    const bool update = std::string(mode).find('+') != std::string::npos;
    if (file_->buffer.open(std::filesystem::u8path(path), update ? std::ios::in | std::ios::out | std::ios::binary
                                                                 : std::ios::in | std::ios::binary) == nullptr) {
        t_lastMessage = path + ": cannot open the file";
        check(false);
    }
    TIFFOpenOptions* options = TIFFOpenOptionsAlloc();
    TIFFOpenOptionsSetMaxSingleMemAlloc(options, limit);
    tiff_ = TIFFClientOpenExt(path.c_str(), mode, file_.get(), readFile, writeFile, seekFile, closeFile, sizeOfFile,
                              noMapping, noUnmapping, options);
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
    check(flushed && !file_->failed);
}

std::string LibTIFF::lastMessage()
{
    return t_lastMessage;
}

} // namespace Metadata
