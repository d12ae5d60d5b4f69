#include "Metadata/JPEGImageMetadata.h"

#include "Metadata/Exceptions.h"
#include "Metadata/ImageStream.h"
#include "Metadata/TIFFReader.h"

#include <filesystem>
#include <cstring>
#include <limits>
#include <new>

namespace Metadata {

namespace {

constexpr std::uint8_t SOI = 0xD8;
constexpr std::uint8_t EOI = 0xD9;
constexpr std::uint8_t SOS = 0xDA;
constexpr std::uint8_t APP1 = 0xE1;
constexpr std::uint8_t APP13 = 0xED;
constexpr std::size_t PhotoshopIdentifierSize = 14; // "Photoshop 3.0" and its NUL
constexpr std::uint32_t MaxSegmentLength = 0xFFFF;

// SOF0-SOF15 but DHT (C4), JPG (C8) and DAC (CC).
bool isFrameHeader(std::uint8_t m)
{
    return m >= 0xC0 && m <= 0xCF && m != 0xC4 && m != 0xC8 && m != 0xCC;
}

void writeMarker(ImageStreamT& destination, std::uint8_t marker)
{
    const std::uint8_t bytes[2] = {0xFF, marker};
    destination.write(bytes, 2);
}

void writeLength(ImageStreamT& destination, std::uint32_t length)
{
    const std::uint8_t bytes[2] = {static_cast<std::uint8_t>(length >> 8), static_cast<std::uint8_t>(length)};
    destination.write(bytes, 2);
}

} // namespace

JPEGImageMetadata::JPEGImageMetadata(ImageStreamT& stream) : ImageMetadata(stream)
{
    stream_.clear();
    readSegments();
    finishReading();
}

// ---- source access -------------------------------------------------------------------------

int JPEGImageMetadata::readByte()
{
    const int c = stream_.rdbuf()->sbumpc();
    if (c == std::char_traits<char>::eof()) {
        hitEnd_ = true;
    } else {
        ++position_;
    }
    return c;
}

std::size_t JPEGImageMetadata::readBytes(std::uint8_t* buffer, std::size_t n)
{
    const std::streamsize got = stream_.rdbuf()->sgetn(reinterpret_cast<char*>(buffer), static_cast<std::streamsize>(n));
    const auto count = static_cast<std::size_t>(got < 0 ? 0 : got);
    position_ += count;
    if (count < n) {
        hitEnd_ = true;
    }
    return count;
}

std::uint16_t JPEGImageMetadata::readLength()
{
    const int high = readByte();
    const int low = readByte();
    if (high < 0 || low < 0) {
        return 0;
    }
    return static_cast<std::uint16_t>((high << 8) | low);
}

void JPEGImageMetadata::seekTo(std::uint64_t at)
{
    hitEnd_ = false;
    std::streambuf* buffer = stream_.rdbuf();
    // Asking where the stream is keeps its buffer; moving it empties it.
    if (buffer->pubseekoff(0, std::ios::cur, std::ios::in) != std::streampos(static_cast<std::streamoff>(at))) {
        buffer->pubseekpos(static_cast<std::streamoff>(at), std::ios::in);
    }
    position_ = at;
}

void JPEGImageMetadata::skipBytes(std::uint32_t n)
{
    // Reads from the buffer, which holds a whole segment: a seek would empty it, and would not
    // tell whether the file ends before the segment does. Running into the end sets hitEnd().
    std::uint8_t scratch[4096];
    while (n > 0 && !hitEnd_) {
        n -= static_cast<std::uint32_t>(readBytes(scratch, std::min<std::size_t>(n, sizeof scratch)));
    }
}

// ---- reading -------------------------------------------------------------------------------

std::uint8_t JPEGImageMetadata::nextMarker()
{
    // Garbage between segments is passed over, then any fill bytes (0xFF) before the marker.
    int c = readByte();
    while (c != 0xFF && !hitEnd()) {
        c = readByte();
    }
    do {
        c = readByte();
    } while (c == 0xFF);
    if (hitEnd()) {
        METADATA_THROW(FileFormatException, "No marker (EOF reached)");
    }
    return static_cast<std::uint8_t>(c);
}

void JPEGImageMetadata::skipSegment()
{
    const std::uint16_t length = readLength();
    if (length < 2) {
        METADATA_THROW(FileFormatException, "Erroneous JPEG marker length");
    }
    skipBytes(length - 2u);
    if (hitEnd()) {
        METADATA_THROW(FileFormatException, "Erroneous JPEG marker length (EOF reached)");
    }
}

void JPEGImageMetadata::checkFrameHeader()
{
    // Only validates the frame header (T.81 B.2.2); the picture's size comes from elsewhere.
    const std::uint16_t length = readLength();
    std::uint8_t fields[6];
    readBytes(fields, sizeof fields); // precision, height, width, component count
    const std::uint32_t components = fields[5];
    if (length != 8 + 3 * components) {
        METADATA_THROW(FileFormatException, "Bad SOF marker length");
    }
    for (std::uint32_t i = 0; i < 3 * components; ++i) {
        readByte();
    }
}

void JPEGImageMetadata::readSegments()
{
    seekTo(0);
    std::uint8_t start[2] = {0, 0};
    readBytes(start, 2);
    if (start[0] != 0xFF || start[1] != SOI) {
        METADATA_THROW(FileFormatException, "Not a JPEG file");
    }
    for (;;) {
        const std::uint8_t m = nextMarker();
        if (isFrameHeader(m)) {
            // Reading goes on: APPn segments may still follow the frame header.
            checkFrameHeader();
        } else if (m == EOI || m == SOS) {
            return;
        } else if (m == APP1) {
            readApp1();
        } else if (m == APP13) {
            readApp13();
        } else {
            skipSegment();
        }
    }
}

void JPEGImageMetadata::readApp1()
{
    const std::uint16_t length = readLength();
    if (length < 2) {
        METADATA_THROW(FileFormatException, "Erroneous JPEG marker length");
    }
    std::uint32_t remaining = length - 2u;
    std::string identifier;
    while (remaining > 0 && identifier.size() <= XMPIdentifierLength) {
        const int c = readByte();
        --remaining;
        identifier += static_cast<char>(c);
        if (identifier == ExifIdentifier) {
            if (remaining < 2) {
                break;
            }
            readByte(); // the two NULs after "Exif"
            readByte();
            remaining -= 2;
            std::vector<std::uint8_t> tiff(remaining);
            const std::uint64_t tiffPosition = position_;
            if (readBytes(tiff.data(), tiff.size()) < tiff.size()) {
                METADATA_THROW(FileFormatException, "Bad SOF marker length");
            }
            remaining = 0;
            // The first EXIF block is the image's; later ones (some cameras add their own) are
            // passed over.
            if (!haveExif_) {
                haveExif_ = true;
                try {
                    exif_ = std::make_shared<EXIF>(EXIF::read(std::make_shared<MemorySource>(std::move(tiff))));
                    exifPosition_ = tiffPosition;
                } catch (const FileFormatException& e) {
                    // A block whose TIFF header is broken costs the EXIF, not the picture's
                    // other metadata.
                    warn(e.message());
                }
            }
            break;
        }
        if (identifier.size() == XMPIdentifierLength && identifier == XMPIdentifier) {
            readByte(); // its NUL
            if (remaining > 0) {
                --remaining;
            }
            try {
                std::vector<char> packet(remaining);
                readBytes(reinterpret_cast<std::uint8_t*>(packet.data()), packet.size());
                remaining = 0;
                // The first packet is the image's; a second one is copied as it stands on rewrite.
                if (!xmp_) {
                    xmp_ = std::make_shared<XMP>(packet.data(), packet.size());
                }
            } catch (const std::bad_alloc&) {
                METADATA_THROW(FileFormatException, "out of memory");
            } catch (const MemoryError&) {
                METADATA_THROW(FileFormatException, "out of memory");
            }
            break;
        }
    }
    skipBytes(remaining);
    // The message names the wrong segment; it is the one this error has always carried.
    if (hitEnd()) {
        METADATA_THROW(FileFormatException, "Bad SOF marker length");
    }
}

void JPEGImageMetadata::readApp13()
{
    const std::uint16_t length = readLength();
    if (length < 2) {
        METADATA_THROW(FileFormatException, "Erroneous JPEG marker length");
    }
    const std::uint32_t payload = length - 2u;
    std::vector<std::uint8_t> buffer(payload);
    if (payload < PhotoshopIdentifierSize) {
        readBytes(buffer.data(), payload);
        return;
    }
    std::uint8_t identifier[PhotoshopIdentifierSize];
    readBytes(identifier, sizeof identifier);
    buffer.resize(payload - PhotoshopIdentifierSize);
    if (std::memcmp(identifier, PhotoshopIdentifier, 13) != 0) {
        readBytes(buffer.data(), buffer.size());
        return;
    }
    readBytes(buffer.data(), buffer.size());
    if (hitEnd()) {
        METADATA_THROW(FileFormatException, "Erroneous JPEG segment (app13) length (EOF reached)");
    }
    parseResources(std::move(buffer));
}

// ---- writing -------------------------------------------------------------------------------

void JPEGImageMetadata::writeWithIPTC(const std::string& path)
{
    writeFile(path, true);
}

void JPEGImageMetadata::writeWithoutIPTC(const std::string& path)
{
    writeFile(path, false);
}

void JPEGImageMetadata::updateAndWrite(const std::string& path, const std::vector<std::uint8_t>& removedDataSets)
{
    updateXMP(removedDataSets);
    writeFile(path, true);
}

void JPEGImageMetadata::clearXMPAndWrite(const std::string& path)
{
    clearXMP();
    writeFile(path, false);
}

void JPEGImageMetadata::writeFile(const std::string& path, bool iptcFlag)
{
    ImageStreamT destination;
    destination.open(std::filesystem::u8path(path), std::ios::in | std::ios::out | std::ios::trunc | std::ios::binary);
    if (!destination.is_open()) {
        METADATA_THROW0(IOOpenError);
    }
    const std::uint8_t marker = rewriteSegments(destination, iptcFlag);
    writeMarker(destination, marker);
    // The rest of the file, image data included, unchanged: copied until the end.
    copyBytes(destination, std::numeric_limits<std::uint64_t>::max());
    destination.flush();
    if (!destination) {
        METADATA_THROW0(IOWriteException);
    }
}

std::uint8_t JPEGImageMetadata::rewriteSegments(ImageStreamT& destination, bool iptcFlag)
{
    bool photoshopPending = true;
    bool xmpPending = true;
    seekTo(0);
    std::uint8_t m = nextMarker();
    if (m != SOI) {
        METADATA_THROW(FileFormatException, "Corrupt JPEG: no SOI.");
    }
    writeMarker(destination, SOI);
    for (;;) {
        m = nextMarker();
        if (isFrameHeader(m)) {
            break;
        }
        if (m == EOI) {
            return m; // nothing is inserted into a file without a frame
        }
        if (m == SOS) {
            METADATA_THROW(FileFormatException, "SOS without prior SOFn");
        }
        if (m == APP1) {
            rewriteApp1(destination, xmpPending);
        } else if (m == APP13) {
            // Only the first APP13 is replaced. A later one is neither written nor skipped: the
            // next marker search drops its payload as garbage, as rewriting always has.
            if (photoshopPending) {
                skipSegment();
                writePhotoshopSegment(destination, iptcFlag);
                photoshopPending = false;
            }
        } else {
            writeMarker(destination, m);
            copySegment(destination);
        }
    }
    // New segments go before the frame header: the Photoshop segment first, then XMP.
    if (iptcFlag && photoshopPending) {
        writePhotoshopSegment(destination, true);
    }
    if (xmpPending) {
        writeXmpSegment(destination);
    }
    return m;
}

void JPEGImageMetadata::copyBytes(ImageStreamT& destination, std::uint64_t count)
{
    std::vector<std::uint8_t> buffer(static_cast<std::size_t>(std::min<std::uint64_t>(count, 1u << 16)));
    while (count > 0) {
        const auto want = static_cast<std::size_t>(std::min<std::uint64_t>(count, buffer.size()));
        const std::size_t got = readBytes(buffer.data(), want);
        destination.write(buffer.data(), got);
        if (got < want) {
            return;
        }
        count -= got;
    }
}

void JPEGImageMetadata::copySegment(ImageStreamT& destination)
{
    const std::uint16_t length = readLength();
    writeLength(destination, length);
    if (length < 2) {
        METADATA_THROW(FileFormatException, "Erroneous JPEG marker length");
    }
    copyBytes(destination, length - 2u);
    if (hitEnd()) {
        METADATA_THROW(FileFormatException, "Erroneous JPEG segment length");
    }
}

void JPEGImageMetadata::rewriteApp1(ImageStreamT& destination, bool& xmpPending)
{
    const std::uint16_t length = readLength();
    if (length < 2) {
        METADATA_THROW(FileFormatException, "Erroneous JPEG marker length");
    }
    const std::uint32_t payload = length - 2u;
    if (payload < XMPIdentifierLength) {
        writeMarker(destination, APP1);
        writeLength(destination, length);
        copyBytes(destination, payload);
    } else {
        std::uint8_t head[XMPIdentifierLength + 1] = {};
        const std::size_t got = readBytes(head, std::min<std::uint32_t>(payload, sizeof head));
        const bool isXmp = got == sizeof head && std::memcmp(head, XMPIdentifier, XMPIdentifierLength) == 0 &&
                           head[XMPIdentifierLength] == 0;
        if (isXmp && xmpPending) {
            xmpPending = false;
            skipBytes(payload - static_cast<std::uint32_t>(sizeof head));
            writeXmpSegment(destination);
        } else {
            writeMarker(destination, APP1);
            writeLength(destination, length);
            destination.write(head, got);
            copyBytes(destination, payload - got);
        }
    }
    if (hitEnd()) {
        METADATA_THROW(FileFormatException, "Erroneous JPEG segment length");
    }
}

void JPEGImageMetadata::writeXmpSegment(ImageStreamT& destination)
{
    if (!xmp_ || xmp_->empty()) {
        return; // an emptied packet removes the segment
    }
    const std::string packet = xmp_->packetText();
    const std::uint64_t length = XMPIdentifierLength + packet.size() + 3;
    if (length > MaxSegmentLength) {
        // A longer length field would wrap and corrupt the file.
        METADATA_THROW(FileFormatException, "XMP packet too large for a JPEG segment (" +
                                                std::to_string(packet.size()) + " bytes)");
    }
    writeMarker(destination, APP1);
    writeLength(destination, static_cast<std::uint32_t>(length));
    destination.write(XMPIdentifier, XMPIdentifierLength);
    const std::uint8_t nul = 0;
    destination.write(&nul, 1);
    destination.write(packet.data(), packet.size());
}

void JPEGImageMetadata::writePhotoshopSegment(ImageStreamT& destination, bool iptcFlag)
{
    if (retainedResourcesSize() == 0 && !iptcFlag) {
        return;
    }
    // With the flag set, an empty record and nothing else still give a segment holding only
    // the identifier (length 16), as it always has.
    const std::vector<std::uint8_t> resources = resourceBytes(iptcFlag);
    const std::uint64_t length = resources.size() + 2 + PhotoshopIdentifierSize;
    if (length > MaxSegmentLength) {
        METADATA_THROW(FileFormatException, "Photoshop resources too large for a JPEG segment (" +
                                                std::to_string(resources.size()) + " bytes)");
    }
    writeMarker(destination, APP13);
    writeLength(destination, static_cast<std::uint32_t>(length));
    const char identifier[PhotoshopIdentifierSize] = "Photoshop 3.0";
    destination.write(identifier, PhotoshopIdentifierSize);
    destination.write(resources.data(), resources.size());
}

} // namespace Metadata
