// The container for JPEG files (ITU T.81 annex B marker syntax): it reads the EXIF block of an
// APP1 "Exif" segment, the XMP packet of an APP1 XMP segment and the Photoshop image resources
// of an APP13 segment, and writes a new file that carries the current IPTC record and XMP packet
// while copying every other byte of the source.
#pragma once

#include "Metadata/ImageMetadata.h"

#include <cstdint>
#include <string>

namespace Metadata {

class JPEGImageMetadata : public ImageMetadata {
public:
    // The APP1 identifiers: "Exif" (followed by two NULs in the file) and the XMP namespace
    // (followed by one NUL).
    static constexpr const char* ExifIdentifier = "Exif";
    static constexpr const char* XMPIdentifier = "http://ns.adobe.com/xap/1.0/";
    static constexpr std::size_t XMPIdentifierLength = 28;
    static constexpr const char* PhotoshopIdentifier = "Photoshop 3.0"; // followed by one NUL

    // Reads every segment up to the image data. The stream must stay open for the container's
    // life: writing copies the image data from it.
    explicit JPEGImageMetadata(ImageStreamT& stream);

    const char* formatName() const noexcept override { return "JPEG"; }

    void writeWithIPTC(const std::string& path) override;
    void writeWithoutIPTC(const std::string& path) override;
    void updateAndWrite(const std::string& path, const std::vector<std::uint8_t>& removedDataSets = {}) override;
    void clearXMPAndWrite(const std::string& path) override;

private:
    // Reading.
    void readSegments();
    std::uint8_t nextMarker();
    void skipSegment();
    void checkFrameHeader();
    void readApp1();
    void readApp13();
    // Writing.
    void writeFile(const std::string& path, bool iptcFlag);
    std::uint8_t rewriteSegments(ImageStreamT& destination, bool iptcFlag);
    void rewriteApp1(ImageStreamT& destination, bool& xmpPending);
    void copySegment(ImageStreamT& destination);
    void copyBytes(ImageStreamT& destination, std::uint64_t count);
    void writeXmpSegment(ImageStreamT& destination);
    void writePhotoshopSegment(ImageStreamT& destination, bool iptcFlag);

    // Byte access to the source. JPEG lengths are big-endian whatever the stream's flag.
    int readByte();
    std::size_t readBytes(std::uint8_t* buffer, std::size_t n);
    std::uint16_t readLength();
    std::uint64_t position() const noexcept { return position_; }
    void seekTo(std::uint64_t position);
    // Passes over n bytes by reading them; n is at most a segment's length.
    void skipBytes(std::uint32_t n);
    // A read ran into the end of the file.
    bool hitEnd() const noexcept { return hitEnd_; }

    // Kept here rather than asked of the stream: every such question is a system call.
    std::uint64_t position_ = 0;
    bool hitEnd_ = false;
    bool haveExif_ = false;
};

} // namespace Metadata
