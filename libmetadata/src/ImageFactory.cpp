#include "Metadata/ImageFactory.h"

#include "Metadata/Exceptions.h"
#include "Metadata/ImageStream.h"
#include "Metadata/JPEGImageMetadata.h"
#include "Metadata/TIFFImageMetadata.h"

#include <filesystem>
#include <new>
#include <system_error>
#include <cerrno>

namespace Metadata {

namespace {

// Reads up to 4 bytes at the start of the file and puts the stream back where it was. A stream
// that is at the start already (a file just opened) is stepped back within its buffer, which a
// seek would empty.
std::size_t peek(ImageStreamT& stream, std::uint8_t* bytes)
{
    stream.clear();
    std::streambuf* buffer = stream.rdbuf();
    const std::streampos here = buffer->pubseekoff(0, std::ios::cur, std::ios::in);
    if (here != std::streampos(0)) {
        buffer->pubseekpos(0, std::ios::in);
    }
    const std::streamsize got = buffer->sgetn(reinterpret_cast<char*>(bytes), 4);
    bool back = here == std::streampos(0);
    for (std::streamsize i = 0; back && i < got; ++i) {
        back = buffer->sungetc() != std::char_traits<char>::eof();
    }
    if (!back) {
        buffer->pubseekpos(here, std::ios::in);
    }
    return got < 0 ? 0 : static_cast<std::size_t>(got);
}

} // namespace

ImageFactory& ImageFactory::instance()
{
    static ImageFactory factory;
    return factory;
}

std::unique_ptr<ImageMetadata> ImageFactory::create(ImageStreamT& stream) const
{
    try {
        // Each test needs all of its bytes: a file too short to test is a read failure, not an
        // unknown format.
        std::uint8_t b[4] = {};
        const std::size_t got = peek(stream, b);
        if (got < 2) {
            METADATA_THROW0(IOReadException);
        }
        if (b[0] == 0xFF && b[1] == 0xD8) {
            return std::make_unique<JPEGImageMetadata>(stream);
        }
        if (got < 4) {
            METADATA_THROW0(IOReadException);
        }
        if ((b[0] == 'I' && b[1] == 'I' && b[2] == 0x2A && b[3] == 0x00) ||
            (b[0] == 'M' && b[1] == 'M' && b[2] == 0x00 && b[3] == 0x2A)) {
            return std::make_unique<TIFFImageMetadata>(stream);
        }
    } catch (const std::bad_alloc&) {
        METADATA_THROW0(MemoryError);
    }
    METADATA_THROW(FileFormatException, "Unsupported file format");
}

std::string whyNotARegularFile(const std::string& path)
{
    // What a path is (after following links), asked before anything is opened: opening a FIFO
    // waits for a writer, and a folder opens and then fails to read.
    namespace fs = std::filesystem;
    std::error_code ec;
    const fs::file_status status = fs::status(fs::u8path(path), ec);
    if (ec) {
        return ec.message();
    }
    switch (status.type()) {
    case fs::file_type::regular:
        return {};
    case fs::file_type::not_found:
        return std::make_error_code(std::errc::no_such_file_or_directory).message();
    case fs::file_type::directory:
        return std::make_error_code(std::errc::is_a_directory).message();
    case fs::file_type::fifo:
        return "not a regular file (a FIFO)";
    case fs::file_type::socket:
        return "not a regular file (a socket)";
    case fs::file_type::block:
    case fs::file_type::character:
        return "not a regular file (a device)";
    default:
        return "not a regular file";
    }
}

std::unique_ptr<ImageMetadata> openImage(const std::string& path, ImageStreamT& stream)
{
    stream.setFileName(path);
    if (std::string why = whyNotARegularFile(path); !why.empty()) {
        METADATA_THROW(IOOpenError, std::move(why));
    }
    stream.open(std::filesystem::u8path(path), std::ios::in | std::ios::binary);
    if (!stream.good() || !stream.is_open()) {
        const int error = errno;
        METADATA_THROW(IOOpenError, error != 0 ? std::error_code(error, std::generic_category()).message()
                                               : std::string("cannot open the file"));
    }
    return ImageFactory::instance().create(stream);
}

} // namespace Metadata
