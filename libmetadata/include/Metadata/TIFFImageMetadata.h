// The container for TIFF files: EXIF through the library's own directory reader, IPTC from tag
// 33723, Photoshop resources from tag 34377 and XMP from tag 700 of the first directory.
// Changes are written through libtiff into a copy of the file: only the first directory is
// rewritten (at the end of the copy), so the image data, the other pages, the EXIF directory
// and every offset into them stay where they were.
#pragma once

#include "Metadata/ImageMetadata.h"

#include <array>
#include <memory>
#include <string>

namespace Metadata {

class TIFFReader;

class TIFFImageMetadata : public ImageMetadata {
public:
    static constexpr std::uint16_t TagIPTC = 33723;
    static constexpr std::uint16_t TagPhotoshop = 34377;
    static constexpr std::uint16_t TagXMP = 700;

    // Reads the file's metadata. The stream must stay open for the container's life.
    explicit TIFFImageMetadata(ImageStreamT& stream);

    const char* formatName() const noexcept override { return "TIFF"; }

    void writeWithIPTC(const std::string& path) override;
    void writeWithoutIPTC(const std::string& path) override;
    void updateAndWrite(const std::string& path, const std::vector<std::uint8_t>& removedDataSets = {}) override;
    void clearXMPAndWrite(const std::string& path) override;

private:
    // The stored bytes of a tag of the first directory; empty when it is absent.
    std::vector<std::uint8_t> tagBytes(std::uint16_t tag) const;
    void writeFile(const std::string& path, bool iptcFlag);
    std::vector<std::array<std::uint8_t, 12>> originalStripEntries() const;
    // The fix-ups of the directory libtiff wrote: see the definition.
    static void patchRewrittenDirectory(const std::string& path,
                                        const std::vector<std::array<std::uint8_t, 12>>& stripEntries);

    std::shared_ptr<TIFFReader> reader_;
    bool hadPhotoshopTag_ = false;
};

} // namespace Metadata
