#include "Lumeno/Commands/FileCommands.h"

#include <Metadata/ImageFactory.h>

#include <Lumeno/DB/Store.h>

#include <turbojpeg.h>

#include <cerrno>
#include <algorithm>
#include <filesystem>
#include <fstream>
#include <memory>
#include <stdexcept>
#include <system_error>
#include <vector>

namespace Lumeno::Commands {

namespace fs = std::filesystem;

namespace {

int operationFor(int direction)
{
    switch (direction) {
    case 1:
        return TJXOP_ROT90;
    case 2:
        return TJXOP_ROT180;
    case 3:
        return TJXOP_ROT270;
    default:
        return TJXOP_NONE;
    }
}

struct TransformHandle {
    tjhandle handle = tjInitTransform();
    ~TransformHandle()
    {
        if (handle != nullptr) {
            tjDestroy(handle);
        }
    }
};

struct TurboBuffer {
    unsigned char* data = nullptr;
    unsigned long size = 0;
    TurboBuffer() = default;
    TurboBuffer(const TurboBuffer&) = delete;
    TurboBuffer& operator=(const TurboBuffer&) = delete;
    ~TurboBuffer() { tjFree(data); }
};

// The turn needs the whole file in memory and the picture's coefficients besides. A file far
// larger than any JPEG of its picture's size could be (compressed data stays below about twice
// the raw samples even at the highest quality; the metadata segments are bounded) is refused
// before it is read, so that a huge file named like a photo cannot take the memory.
constexpr std::uint64_t MetadataAllowance = 16u << 20;
constexpr std::size_t HeaderProbe = 4u << 20;

// Empty when the file may be turned; otherwise why not.
std::string sizeProblem(const std::string& path, std::uint64_t fileSize, tjhandle decoder)
{
    std::ifstream in(fs::u8path(path), std::ios::binary);
    std::vector<unsigned char> head(static_cast<std::size_t>(std::min<std::uint64_t>(fileSize, HeaderProbe)));
    in.read(reinterpret_cast<char*>(head.data()), static_cast<std::streamsize>(head.size()));
    int width = 0;
    int height = 0;
    int subsampling = 0;
    int colourspace = 0;
    if (tjDecompressHeader3(decoder, head.data(), static_cast<unsigned long>(in.gcount()), &width, &height,
                            &subsampling, &colourspace) != 0) {
        if (fileSize <= HeaderProbe) {
            return {}; // the turn itself says what is wrong with it
        }
        return "cannot turn the picture: no JPEG frame header in its first " + std::to_string(HeaderProbe >> 20) +
               " MB";
    }
    const int components = colourspace == TJCS_GRAY ? 1 : colourspace == TJCS_CMYK || colourspace == TJCS_YCCK ? 4 : 3;
    const std::uint64_t samples = std::uint64_t(width) * std::uint64_t(height) * std::uint64_t(components);
    if (fileSize > MetadataAllowance + 2 * samples) {
        return "the file is " + std::to_string(fileSize >> 20) + " MB, far more than a JPEG of " +
               std::to_string(width) + " x " + std::to_string(height) + " pixels holds: it is left alone";
    }
    return {};
}

} // namespace

CommandRotateJPEG::CommandRotateJPEG(int direction, std::uint32_t fileCount, std::uintptr_t parentWindow,
                                     std::shared_ptr<UI::Settings> settings, std::optional<bool> backup)
    : CommandBase(fileCount, parentWindow, std::move(settings)), operation_(operationFor(direction)), backup_(backup)
{
    startProgress("Rotating JPEG...", FileCopyAnimation);
}

namespace {

// The turned picture, as the JPEG library left it.
struct Turned : CommandBase::Prepared {
    TurboBuffer jpeg;
};

} // namespace

std::unique_ptr<CommandBase::Prepared> CommandRotateJPEG::prepareFile(const std::string& path)
{
    if (operation_ == TJXOP_NONE) {
        return nullptr;
    }
    if (const std::string why = Metadata::whyNotARegularFile(path); !why.empty()) {
        throw std::runtime_error(why);
    }
    const TransformHandle transformer;
    if (transformer.handle == nullptr) {
        throw std::runtime_error("the JPEG library could not be started");
    }
    {
        std::error_code ec;
        const std::uintmax_t fileSize = fs::file_size(fs::u8path(path), ec);
        if (ec) {
            throw std::runtime_error(ec.message());
        }
        if (const std::string problem = sizeProblem(path, fileSize, transformer.handle); !problem.empty()) {
            throw std::runtime_error(problem);
        }
    }
    // Read into the buffer the thread's previous picture used: it is already there, and already
    // mapped.
    thread_local std::vector<unsigned char> source;
    {
        std::ifstream in(fs::u8path(path), std::ios::binary | std::ios::ate);
        const std::streamoff size = in ? static_cast<std::streamoff>(in.tellg()) : -1;
        if (size < 0) {
            throw std::runtime_error("cannot open the file");
        }
        source.resize(static_cast<std::size_t>(size));
        in.seekg(0);
        in.read(reinterpret_cast<char*>(source.data()), size);
        if (in.gcount() != size) {
            throw std::runtime_error("cannot read the file");
        }
    }

    tjtransform transform{};
    transform.op = operation_;
    // Trimmed like 'jpegtran -trim'; every marker is copied, since TJXOPT_COPYNONE is not given.
    transform.options = TJXOPT_TRIM;
    auto turned = std::make_unique<Turned>();
    // Warnings (a truncated or damaged file) stop the turn: a damaged picture is left alone.
    if (tjTransform(transformer.handle, source.data(), static_cast<unsigned long>(source.size()), 1,
                    &turned->jpeg.data, &turned->jpeg.size, &transform, TJFLAG_STOPONWARNING) != 0) {
        throw std::runtime_error(std::string("cannot turn the picture: ") + tjGetErrorStr2(transformer.handle));
    }
    return turned;
}

void CommandRotateJPEG::finishFile(const std::string& path, std::unique_ptr<Prepared> prepared)
{
    if (!prepared) {
        return;
    }
    const TurboBuffer& turned = static_cast<const Turned&>(*prepared).jpeg;
    Platform::SafeWriteOptions options = writeOptions_;
    options.makeBackup = backup_ ? *backup_ : settings().getCreateBackup();
    // Written as the library left it: no copy of a picture of several megabytes.
    Platform::writeFileSafely(
        path,
        [&turned](const std::string& temporary) {
            std::ofstream out(fs::u8path(temporary), std::ios::out | std::ios::trunc | std::ios::binary);
            out.write(reinterpret_cast<const char*>(turned.data), static_cast<std::streamsize>(turned.size));
            out.close();
            if (!out) {
                throw std::system_error(errno, std::generic_category(), "cannot write " + temporary);
            }
        },
        options);
    prepared.reset(); // the memory goes back before the store reads the file again
    // A gallery that shows the picture gets its new thumbnail.
    try {
        DB::Store::instance().refresh(path);
    } catch (const ErrorDb& e) {
        reportFailure(path, std::string("the gallery store was not updated: ") + e.what());
    }
}

} // namespace Lumeno::Commands
