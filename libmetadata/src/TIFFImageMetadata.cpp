#include "Metadata/TIFFImageMetadata.h"

#include "LibTIFF.h"
#include "Metadata/Exceptions.h"
#include "Metadata/ImageStream.h"
#include "Metadata/TIFFReader.h"

#include <filesystem>
#include <array>
#include <fstream>

namespace Metadata {

namespace {

void storeCount(std::uint8_t* p, std::uint32_t v, bool big)
{
    for (int i = 0; i < 4; ++i) {
        p[big ? i : 3 - i] = static_cast<std::uint8_t>(v >> (24 - 8 * i));
    }
}

} // namespace

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
    // A damaged field's value does not fit in the file (its warning says so): nothing to read.
    if (field == nullptr || field->damaged()) {
        return {};
    }
    // Whatever type the writer chose (UNDEFINED, BYTE, LONG), the value is a run of bytes. Its
    // size was checked against the file when the field was read.
    const std::uint64_t size = std::uint64_t{typeSize(field->type())} * field->count();
    if (field->valueOffset() > reader_->size() || size > reader_->size() - field->valueOffset()) {
        return {};
    }
    std::vector<std::uint8_t> bytes(static_cast<std::size_t>(size));
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
        std::ofstream copy(std::filesystem::u8path(path), std::ios::binary | std::ios::trunc);
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
    const std::vector<std::array<std::uint8_t, 12>> stripEntries = originalStripEntries();
    LibTIFF tiff(path, "r+");
    TIFF* t = tiff.get();
    std::vector<std::uint8_t> record = iptc_->serialize();
    // The record is written as LONGs (see patchRewrittenDirectory), so its length is made a whole
    // number of them; readers of the record stop at the zeros.
    record.resize((record.size() + 3) / 4 * 4, 0);
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
    patchRewrittenDirectory(path, stripEntries);
}

std::vector<std::array<std::uint8_t, 12>> TIFFImageMetadata::originalStripEntries() const
{
    // libtiff, opened for update, cuts a single uncompressed strip into strips of about 8 KB
    // while it reads (and cannot be told not to in that mode), then writes the directory with
    // strips the file never had. The entries as the file has them are put back afterwards; the
    // bytes they point to are still where they were in the copy.
    std::vector<std::array<std::uint8_t, 12>> entries;
    const IFD* primary = exif_->directory(DirectoryId::Primary);
    if (primary == nullptr || primary->offset() == 0) {
        return entries;
    }
    for (std::size_t i = 0; i < primary->size(); ++i) {
        const std::uint16_t tag = primary->at(i).tag();
        if (tag == 273 || tag == 278 || tag == 279) { // StripOffsets, RowsPerStrip, StripByteCounts
            std::array<std::uint8_t, 12> entry{};
            reader_->read(std::uint64_t{primary->offset()} + 2 + 12 * i, entry.data(), entry.size());
            entries.push_back(entry);
        }
    }
    return entries;
}

void TIFFImageMetadata::patchRewrittenDirectory(const std::string& path,
                                                const std::vector<std::array<std::uint8_t, 12>>& stripEntries)
{
    // libtiff writes directory pointers (EXIF, GPS) with the type IFD (13) of TIFF Technical Note
    // 1. Many readers, this library among them, know only the twelve TIFF 6.0 types; the value is
    // the same four bytes as a LONG, so the type is written as LONG instead. libtiff writes the
    // IPTC record (33723) as UNDEFINED; picture editors write it as LONGs, and other readers call
    // anything else non-standard, so it becomes LONGs too (its length is a multiple of four).
    std::fstream file(std::filesystem::u8path(path), std::ios::in | std::ios::out | std::ios::binary);
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
        std::uint8_t head[8] = {};
        file.seekg(entry);
        file.read(reinterpret_cast<char*>(head), sizeof head);
        const std::uint16_t tag = decode16(head, big);
        const std::uint16_t type = decode16(head + 2, big);
        const std::uint32_t valueCount = decode32(head + 4, big);
        const std::uint8_t longType[2] = {static_cast<std::uint8_t>(big ? 0 : 4), static_cast<std::uint8_t>(big ? 4 : 0)};
        if (type == IFDType) {
            file.seekp(entry + 2);
            file.write(reinterpret_cast<const char*>(longType), 2);
        } else if (tag == TagIPTC && type == static_cast<std::uint16_t>(FieldType::Undefined) && valueCount % 4 == 0) {
            std::uint8_t longs[6] = {longType[0], longType[1]};
            storeCount(longs + 2, valueCount / 4, big);
            file.seekp(entry + 2);
            file.write(reinterpret_cast<const char*>(longs), sizeof longs);
        }
        for (const auto& original : stripEntries) {
            if (decode16(original.data(), big) == tag) {
                file.seekp(entry);
                file.write(reinterpret_cast<const char*>(original.data()), static_cast<std::streamsize>(original.size()));
            }
        }
    }
    file.flush();
    if (!file) {
        METADATA_THROW0(IOWriteException);
    }
}

} // namespace Metadata
