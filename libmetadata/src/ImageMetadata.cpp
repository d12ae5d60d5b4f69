#include "Metadata/ImageMetadata.h"

#include "Metadata/MD5.h"
#include "Metadata/Exceptions.h"
#include "Metadata/ImageStream.h"
#include "Metadata/TIFFReader.h"
#include "Metadata/Text.h"

#include <algorithm>
#include <cstring>

namespace Metadata {

ImageMetadata::TIFFHeader::TIFFHeader(ImageStreamT& stream) : base_(stream.tellg())
{
    // Step by step as the stream reads, so that a bad byte order stops before anything else is
    // read; a short file leaves zeros, which then fail the magic test.
    std::uint8_t bytes[8] = {};
    stream.read(bytes, 2);
    if (bytes[0] == 'M' && bytes[1] == 'M') {
        stream.setBigEndian();
    } else if (!(bytes[0] == 'I' && bytes[1] == 'I')) {
        METADATA_THROW(FileFormatException, "unknown byte ordering");
    }
    stream.read(bytes + 2, 2);
    if (decode16(bytes + 2, bytes[0] == 'M') == 42) {
        stream.read(bytes + 4, 4);
    }
    decode(bytes);
}

ImageMetadata::TIFFHeader::TIFFHeader(const ByteSource& source, std::uint64_t base)
    : base_(static_cast<std::streamoff>(base))
{
    std::uint8_t bytes[8];
    source.read(base, bytes, sizeof bytes);
    decode(bytes);
}

void ImageMetadata::TIFFHeader::decode(const std::uint8_t bytes[8])
{
    if (bytes[0] == 'I' && bytes[1] == 'I') {
        bigEndian_ = false;
    } else if (bytes[0] == 'M' && bytes[1] == 'M') {
        bigEndian_ = true;
    } else {
        METADATA_THROW(FileFormatException, "unknown byte ordering");
    }
    if (decode16(bytes + 2, bigEndian_) != 42) {
        METADATA_THROW(FileFormatException, "Bad EXIF magic");
    }
    firstIFDOffset_ = decode32(bytes + 4, bigEndian_);
}

// ---- Photoshop image resources (Photoshop file format, "Image resource blocks") ---------------

void ImageMetadata::parseResources(std::vector<std::uint8_t> bytes)
{
    const std::size_t size = bytes.size();
    bytes.resize(size + ResourceSlack, 0);
    auto buffer = std::make_shared<const std::vector<std::uint8_t>>(std::move(bytes));
    resourceBuffers_.push_back(buffer);

    const std::uint8_t* cursor = buffer->data();
    std::size_t remaining = size;
    while (remaining > 0) {
        ImageResourceBlock block;
        block.start = cursor;
        if (remaining < 8 || std::memcmp(cursor, "8BIM", 4) != 0) {
            break;
        }
        std::memcpy(block.signature, cursor, 4);
        block.id = decode16(cursor + 4, true);
        const std::uint32_t nameLength = cursor[6];
        const std::uint32_t name = (nameLength + 2) & ~1u; // the Pascal string, padded to even
        if (remaining < 10 + std::size_t{name}) {
            break; // the data-size field itself lies past the end
        }
        block.dataSize = decode32(cursor + 6 + name, true);
        // Deliberately 4 bytes more lenient than the block's true extent (S + N + 10).
        if (remaining < std::uint64_t{block.dataSize} + name + 6) {
            break;
        }
        block.totalSize = block.dataSize + (block.dataSize & 1) + name + 10;
        block.data = cursor + 10 + name;
        if (block.id == 0) {
            break;
        }
        blocks_.push_back(block);
        resourcesSize_ += block.totalSize;
        if (block.id == IPTCResourceId) {
            iptc_ = std::make_shared<IPTC>(block.data, block.dataSize);
        } else {
            retainedSize_ += block.totalSize;
        }
        if (block.totalSize >= remaining) {
            break;
        }
        cursor += block.totalSize;
        remaining -= block.totalSize;
    }
}

std::vector<std::uint8_t> ImageMetadata::makeIptcBlock(const std::uint8_t* record, std::size_t length)
{
    const std::size_t padded = length + (length & 1);
    std::vector<std::uint8_t> block(padded + 12, 0);
    std::memcpy(block.data(), "8BIM", 4);
    block[4] = 0x04; // id 1028
    block[5] = 0x04;
    block[6] = 0x00; // empty name and its pad byte
    block[7] = 0x00;
    storeBig32(block.data() + 8, static_cast<std::uint32_t>(padded));
    if (length > 0) {
        std::memcpy(block.data() + 12, record, length);
    }
    return block;
}

std::vector<std::uint8_t> ImageMetadata::resourceBytes(bool iptcFlag) const
{
    std::vector<std::uint8_t> fresh;
    if (iptcFlag && !iptc_->empty()) {
        const std::vector<std::uint8_t> record = iptc_->serialize();
        fresh = makeIptcBlock(record.data(), record.size());
    }
    constexpr std::size_t BlockHeader = 12; // "8BIM", id, empty name, data size
    std::vector<std::uint8_t> out;
    bool written = fresh.empty();
    for (const ImageResourceBlock& block : blocks_) {
        if (block.id == IPTCResourceId) {
            if (!written) {
                out.insert(out.end(), fresh.begin(), fresh.end());
                written = true;
            }
            continue;
        }
        const std::size_t at = out.size();
        out.insert(out.end(), block.start, block.start + block.totalSize);
        if (block.id == IPTCDigestResourceId && !fresh.empty() && block.dataSize == 16) {
            // The digest of the data as the block's size field gives it, the way readers
            // compute it to compare.
            const auto digest = md5(fresh.data() + BlockHeader, fresh.size() - BlockHeader);
            std::copy(digest.begin(), digest.end(), out.begin() + static_cast<std::ptrdiff_t>(at + (block.data - block.start)));
        }
    }
    if (!written) {
        out.insert(out.end(), fresh.begin(), fresh.end());
    }
    return out;
}

std::vector<ReadWarning> ImageMetadata::warnings() const
{
    std::vector<ReadWarning> all = warnings_;
    all.insert(all.end(), exif_->warnings().begin(), exif_->warnings().end());
    for (const std::string& w : iptc_->warnings()) {
        all.push_back(ReadWarning{w, 0, -1});
    }
    return all;
}

void ImageMetadata::finishReading()
{
    if (!iptc_) {
        iptc_ = std::make_shared<IPTC>();
    }
}

// ---- XMP from IPTC -----------------------------------------------------------------------

namespace {

enum class Kind { Simple, Alternative, Bag, Creator };

struct Mapping {
    std::uint8_t dataSet;
    const char* ns;
    const char* path;
    Kind kind;
};

} // namespace

void ImageMetadata::updateXMP(const std::vector<std::uint8_t>& removedDataSets)
{
    if (!xmp_) {
        xmp_ = std::make_shared<XMP>();
    }
    XMP& x = *xmp_;
    x.ensureDocumentIdentity();

    using C = XMPConstants;
    const Mapping mappings[] = {
        {5, C::NamespaceDublinCore, "title", Kind::Alternative},
        {80, C::NamespaceDublinCore, "creator", Kind::Creator},
        {120, C::NamespaceDublinCore, "description", Kind::Alternative},
        {116, C::NamespaceDublinCore, "rights", Kind::Alternative},
        {25, C::NamespaceDublinCore, "subject", Kind::Bag},
        {85, C::NamespacePhotoshop, C::PSAuthorsPosition, Kind::Simple},
        {122, C::NamespacePhotoshop, C::PSCaptionWriter, Kind::Simple},
        {105, C::NamespacePhotoshop, C::PSHeadline, Kind::Simple},
        {40, C::NamespacePhotoshop, C::PSInstructions, Kind::Simple},
        {110, C::NamespacePhotoshop, C::PSCredit, Kind::Simple},
        {115, C::NamespacePhotoshop, C::PSSource, Kind::Simple},
        {90, C::NamespacePhotoshop, C::PSCity, Kind::Simple},
        {95, C::NamespacePhotoshop, C::PSState, Kind::Simple},
        {101, C::NamespacePhotoshop, C::PSCountry, Kind::Simple},
        {103, C::NamespacePhotoshop, C::PSTransmissionReference, Kind::Simple},
        {15, C::NamespacePhotoshop, C::PSCategory, Kind::Simple},
        {20, C::NamespacePhotoshop, C::PSSupplementalCategories, Kind::Bag},
    };
    const auto removed = [&](std::uint8_t d) {
        return std::find(removedDataSets.begin(), removedDataSets.end(), d) != removedDataSets.end();
    };
    for (const Mapping& m : mappings) {
        const std::vector<std::string> values = iptc_->values(m.dataSet);
        if (values.empty()) {
            if (removed(m.dataSet)) {
                x.deleteProperty(m.ns, m.path);
            }
            continue;
        }
        switch (m.kind) {
        case Kind::Simple:
            x.setProperty(m.ns, m.path, iptc_->toUtf8(values.front()));
            break;
        case Kind::Alternative:
            x.deleteProperty(m.ns, m.path);
            x.setDefaultLanguageAlternative(m.ns, m.path, iptc_->toUtf8(values.front()));
            break;
        case Kind::Creator:
            x.setCreator(iptc_->toUtf8(values.front()));
            break;
        case Kind::Bag:
            x.deleteProperty(m.ns, m.path);
            for (const std::string& v : values) {
                x.appendItem(m.ns, m.path, iptc_->toUtf8(v));
            }
            break;
        }
    }

    // Date Created with Time Created, or the date alone when there is no time. What is tested is
    // the value that would be written: texts of the right length may still name no moment, and
    // a pair that names none leaves the property as it was rather than erasing or shortening it.
    std::string date;
    if (iptc_->get(Record2DataSet::E_DATE_CREATED, date)) {
        try {
            IPTCTimeStamp stamp;
            iptc_->getTimeStamp(Record2DataSet::E_DATE_CREATED, Record2DataSet::E_TIME_CREATED, stamp);
            std::string time;
            const bool hasTime = iptc_->get(Record2DataSet::E_TIME_CREATED, time);
            if (stamp.isValid() && stamp.isoDateTime().isValid()) {
                x.setDateCreated(stamp.isoDateTime());
            } else if (!hasTime && stamp.date().isValid() && stamp.date().isoDate().isValid()) {
                x.setDateCreated(stamp.date().isoDate());
            }
        } catch (const Exception&) {
            // A date that is not a date is not copied.
        }
    } else if (removed(Record2DataSet::E_DATE_CREATED)) {
        x.deleteProperty(C::NamespacePhotoshop, C::PSDateCreated);
    }
}

void ImageMetadata::clearXMP()
{
    if (xmp_) {
        xmp_->clear();
    }
}

} // namespace Metadata
