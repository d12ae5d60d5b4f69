// The base of the metadata containers, one per image file format: it holds what a file carries
// (the EXIF tree, the IPTC record, the XMP packet and the Photoshop image resources) and the
// four ways of writing a changed copy.
#pragma once

#include "Metadata/EXIF.h"
#include "Metadata/IPTC.h"
#include "Metadata/XMP.h"

#include <cstddef>
#include <cstdint>
#include <ios>
#include <memory>
#include <string>
#include <vector>

namespace Metadata {

class ByteSource;
class ImageStreamT;

// One Photoshop image resource (an "8BIM" block) inside a buffer that the container keeps.
struct ImageResourceBlock {
    char signature[4] = {};
    std::uint16_t id = 0;
    std::uint32_t dataSize = 0;    // as stored
    std::uint32_t totalSize = 0;   // bytes the block occupies; 0 marks an invalid block
    const std::uint8_t* data = nullptr;
    const std::uint8_t* start = nullptr;
};

class ImageMetadata {
public:
    // The 8-byte header of a TIFF structure (TIFF 6.0 section 2): byte order, the magic 42 and the
    // offset of the first directory. Every offset read later is relative to its base position.
    class TIFFHeader {
    public:
        // Reads the header at the stream's current position. "MM" sets the stream's big-endian
        // flag; "II" leaves it as it was (a stream reads one TIFF structure, so it never needs
        // clearing). Throws FileFormatException "unknown byte ordering" or "Bad EXIF magic".
        explicit TIFFHeader(ImageStreamT& stream);
        // Reads the header at `base` of a source; bytes past its end read as zeros.
        TIFFHeader(const ByteSource& source, std::uint64_t base);
        virtual ~TIFFHeader() = default;
        TIFFHeader(const TIFFHeader&) = delete;
        TIFFHeader& operator=(const TIFFHeader&) = delete;

        virtual bool bigEndian() const noexcept { return bigEndian_; }
        virtual std::uint32_t size() const noexcept { return 8; }
        virtual std::streampos basePosition() const noexcept { return base_; }
        std::uint32_t firstIFDOffset() const noexcept { return firstIFDOffset_; }

    private:
        void decode(const std::uint8_t bytes[8]);

        std::streampos base_ = 0;
        bool bigEndian_ = false;
        std::uint32_t firstIFDOffset_ = 0;
    };

    // The Photoshop resource ids of the IPTC-NAA record and of its MD5 digest, by which other
    // programs tell whether the record changed since the XMP was last brought in line with it.
    static constexpr std::uint16_t IPTCResourceId = 1028;
    static constexpr std::uint16_t IPTCDigestResourceId = 1061;

    virtual ~ImageMetadata() = default;
    ImageMetadata(const ImageMetadata&) = delete;
    ImageMetadata& operator=(const ImageMetadata&) = delete;

    // "JPEG" or "TIFF".
    virtual const char* formatName() const noexcept = 0;

    const EXIF& exif() const noexcept { return *exif_; }
    // Where the EXIF block's TIFF header lies in the file: its offsets count from there.
    std::uint64_t exifPosition() const noexcept { return exifPosition_; }
    IPTC& iptc() noexcept { return *iptc_; }
    const IPTC& iptc() const noexcept { return *iptc_; }
    // The XMP packet; null when the file carries none (the update step makes one).
    const std::shared_ptr<XMP>& xmp() const noexcept { return xmp_; }

    // What could not be read while the rest of the file was (broken entries, directories and
    // blocks), in the order it was met.
    std::vector<ReadWarning> warnings() const;

    const std::vector<ImageResourceBlock>& resourceBlocks() const noexcept { return blocks_; }
    // Total size of all blocks, and of the blocks other than the IPTC record.
    std::uint32_t resourcesSize() const noexcept { return resourcesSize_; }
    std::uint32_t retainedResourcesSize() const noexcept { return retainedSize_; }

    // Each writer produces a complete new file at `path`, which must not be the source file: the
    // source stays open and its image data is copied from it. A failure leaves `path` partly
    // written; removing it is the caller's business. Writing does not change the container.
    // With the current IPTC record:
    virtual void writeWithIPTC(const std::string& path) = 0;
    // Without any IPTC record:
    virtual void writeWithoutIPTC(const std::string& path) = 0;
    // After the XMP update step (see updateXMP), with the IPTC record:
    virtual void updateAndWrite(const std::string& path, const std::vector<std::uint8_t>& removedDataSets = {}) = 0;
    // With the XMP packet emptied, and without IPTC:
    virtual void clearXMPAndWrite(const std::string& path) = 0;

    // Makes sure an XMP packet exists and has its document identity, then copies the IPTC values
    // into their XMP namesakes (Object Name to dc:title, By-line to dc:creator, Caption to
    // dc:description, Copyright Notice to dc:rights, Keyword to dc:subject, the Photoshop
    // properties from theirs, Date Created with Time Created to photoshop:DateCreated). A property
    // whose dataset is present is replaced, so repeated updates never duplicate bag items; one
    // whose dataset is listed in `removedDataSets` is deleted; the others are left as they were.
    void updateXMP(const std::vector<std::uint8_t>& removedDataSets);
    // Empties the XMP packet: the file is then written without one.
    void clearXMP();

    // Reads the image resource blocks of a Photoshop segment or tag, keeping the buffer; the
    // IPTC record among them becomes the container's.
    void parseResources(std::vector<std::uint8_t> buffer);
    // An "8BIM" block of id 1028 around an IPTC record, padded to even length. Its data-size
    // field holds the padded length, deliberately: that is how these blocks have always been
    // written.
    static std::vector<std::uint8_t> makeIptcBlock(const std::uint8_t* record, std::size_t length);
    // The resource blocks as they are to be written: every other block as it was, and in place
    // of the IPTC block (or at the end, when there was none) the current record's block when
    // `iptcFlag` is set and the record is not empty. With the flag clear no IPTC block is kept.
    // A digest block is given the digest of the record's new block, so that the record does not
    // look stale to other programs.
    std::vector<std::uint8_t> resourceBytes(bool iptcFlag) const;

protected:
    explicit ImageMetadata(ImageStreamT& stream) : stream_(stream) {}
    // The steps after reading: an IPTC record exists, empty when the file had none.
    void finishReading();

    // A fault of a block outside the EXIF tree (which keeps its own).
    void warn(std::string text) { warnings_.push_back(ReadWarning{std::move(text), 0, -1}); }

    ImageStreamT& stream_;
    std::shared_ptr<EXIF> exif_ = std::make_shared<EXIF>();
    std::uint64_t exifPosition_ = 0;
    std::shared_ptr<IPTC> iptc_;
    std::shared_ptr<XMP> xmp_;

private:
    // Bytes past a buffer's end that a block may claim and still be taken: the block reader
    // accepts blocks up to 4 bytes (5 with the pad byte) longer than what is left, as it always
    // has; the padding keeps that inside memory we own.
    static constexpr std::size_t ResourceSlack = 8;

    std::vector<std::shared_ptr<const std::vector<std::uint8_t>>> resourceBuffers_;
    std::vector<ImageResourceBlock> blocks_;
    std::vector<ReadWarning> warnings_;
    std::uint32_t resourcesSize_ = 0;
    std::uint32_t retainedSize_ = 0;
};

} // namespace Metadata
