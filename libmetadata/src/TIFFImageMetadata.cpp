#include "Metadata/TIFFImageMetadata.h"

#include "LibTIFF.h"
#include "Metadata/Exceptions.h"
#include "Metadata/ImageStream.h"
#include "Metadata/TIFFReader.h"

#include <fstream>

namespace Metadata {

TIFFImageMetadata::TIFFImageMetadata(ImageStreamT& stream) : ImageMetadata(stream)
{
    stream_.clear();
    stream_.seekg(0);
    const TIFFHeader header(stream_);
    reader_ = std::make_shared<TIFFReader>(std::make_shared<StreamSource>(stream_), 0, header.bigEndian(),
                                           header.firstIFDOffset());
    exif_ = std::make_shared<EXIF>(reader_);

    const std::vector<std::uint8_t> iptc = tagBytes(TagIPTC);
    if (!iptc.empty()) {
        iptc_ = std::make_shared<IPTC>(iptc.data(), iptc.size());
    }
    hadPhotoshopTag_ = exif_->find(DirectoryId::Primary, TagPhotoshop) != nullptr;
    if (hadPhotoshopTag_) {
        // When both carry a record, the Photoshop resources' one wins, as in JPEG files.
        parseResources(tagBytes(TagPhotoshop));
    }
    const std::vector<std::uint8_t> xmp = tagBytes(TagXMP);
    if (!xmp.empty()) {
        xmp_ = std::make_shared<XMP>(reinterpret_cast<const char*>(xmp.data()), xmp.size());
    }
    finishReading();
}

std::vector<std::uint8_t> TIFFImageMetadata::tagBytes(std::uint16_t tag) const
{
    const Field* field = exif_->find(DirectoryId::Primary, tag);
    if (field == nullptr) {
        return {};
    }
    // Whatever type the writer chose (UNDEFINED, BYTE, LONG), the value is a run of bytes. Its
    // size was checked against the file when the field was read.
    std::vector<std::uint8_t> bytes(std::size_t{typeSize(field->type())} * field->count());
    reader_->read(field->valueOffset(), bytes.data(), bytes.size());
    return bytes;
}

void TIFFImageMetadata::writeWithIPTC(const std::string& path)
{
    writeFile(path, true);
}

void TIFFImageMetadata::writeWithoutIPTC(const std::string& path)
{
    writeFile(path, false);
}

void TIFFImageMetadata::updateAndWrite(const std::string& path, const std::vector<std::uint8_t>& removedDataSets)
{
    updateXMP(removedDataSets);
    writeFile(path, true);
}

void TIFFImageMetadata::clearXMPAndWrite(const std::string& path)
{
    clearXMP();
    writeFile(path, false);
}

void TIFFImageMetadata::writeFile(const std::string& path, bool iptcFlag)
{
    // A byte-for-byte copy first...
    {
        std::ofstream copy(path, std::ios::binary | std::ios::trunc);
        if (!copy.is_open()) {
            METADATA_THROW0(IOOpenError);
        }
        stream_.clear();
        stream_.seekg(0);
        copy << stream_.rdbuf();
        copy.flush();
        if (!copy) {
            METADATA_THROW0(IOWriteException);
        }
        stream_.clear();
    }
    // ...then the three tags set and the first directory rewritten at the end of the copy.
    LibTIFF tiff(path, "r+");
    TIFF* t = tiff.get();
    const std::vector<std::uint8_t> record = iptc_->serialize();
    if (iptcFlag && !iptc_->empty()) {
        LibTIFF::check(TIFFSetField(t, TIFFTAG_RICHTIFFIPTC, static_cast<std::uint32_t>(record.size()), record.data()) == 1);
    } else {
        TIFFUnsetField(t, TIFFTAG_RICHTIFFIPTC);
    }
    if (hadPhotoshopTag_ || (iptcFlag && !iptc_->empty() && !resourceBlocks().empty())) {
        const std::vector<std::uint8_t> resources = resourceBytes(iptcFlag);
        if (resources.empty()) {
            TIFFUnsetField(t, TIFFTAG_PHOTOSHOP);
        } else {
            LibTIFF::check(TIFFSetField(t, TIFFTAG_PHOTOSHOP, static_cast<std::uint32_t>(resources.size()),
                                        resources.data()) == 1);
        }
    }
    const std::string packet = xmp_ ? xmp_->packetText() : std::string();
    if (packet.empty()) {
        TIFFUnsetField(t, TIFFTAG_XMLPACKET);
    } else {
        LibTIFF::check(TIFFSetField(t, TIFFTAG_XMLPACKET, static_cast<std::uint32_t>(packet.size()), packet.data()) == 1);
    }
    LibTIFF::check(TIFFRewriteDirectory(t) == 1);
    tiff.close();
    pointersAsLong(path);
}

void TIFFImageMetadata::pointersAsLong(const std::string& path)
{
    // libtiff writes directory pointers (EXIF, GPS) with the type IFD (13) of TIFF Technical Note
    // 1. Many readers, this library among them, know only the twelve TIFF 6.0 types; the value is
    // the same four bytes as a LONG, so the type is written as LONG instead.
    std::fstream file(path, std::ios::in | std::ios::out | std::ios::binary);
    std::uint8_t header[8] = {};
    file.read(reinterpret_cast<char*>(header), sizeof header);
    const bool big = header[0] == 'M';
    const std::uint32_t directory = decode32(header + 4, big);
    file.seekg(directory);
    std::uint8_t countBytes[2] = {};
    file.read(reinterpret_cast<char*>(countBytes), 2);
    const std::uint16_t count = decode16(countBytes, big);
    for (std::uint32_t i = 0; i < count && file; ++i) {
        const std::streamoff entry = std::streamoff{directory} + 2 + 12 * std::streamoff{i};
        std::uint8_t type[2] = {};
        file.seekg(entry + 2);
        file.read(reinterpret_cast<char*>(type), 2);
        if (decode16(type, big) == 13) {
            const std::uint8_t longType[2] = {static_cast<std::uint8_t>(big ? 0 : 4), static_cast<std::uint8_t>(big ? 4 : 0)};
            file.seekp(entry + 2);
            file.write(reinterpret_cast<const char*>(longType), 2);
        }
    }
    file.flush();
    if (!file) {
        METADATA_THROW0(IOWriteException);
    }
}

} // namespace Metadata
