// Photoshop image resource blocks, as they come in a JPEG's APP13 segment: the input is the
// segment's payload after its identifier.
#include "FuzzSupport.h"

#include <Metadata/ImageFactory.h>
#include <Metadata/ImageStream.h>
#include <Metadata/IPTC.h>

#include <algorithm>
#include <cstdlib>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static const char identifier[] = "Photoshop 3.0"; // with its NUL
    const std::size_t payload = std::min<std::size_t>(size, 65533 - sizeof identifier);
    const std::size_t length = 2 + sizeof identifier + payload;
    std::vector<std::uint8_t> jpeg = {0xFF, 0xD8, 0xFF, 0xED, static_cast<std::uint8_t>(length >> 8),
                                      static_cast<std::uint8_t>(length & 0xFF)};
    jpeg.insert(jpeg.end(), identifier, identifier + sizeof identifier);
    jpeg.insert(jpeg.end(), data, data + payload);
    // A minimal frame and scan, so the container reaches the end of its segments.
    const std::uint8_t tail[] = {0xFF, 0xC0, 0x00, 0x0B, 0x08, 0x00, 0x01, 0x00, 0x01, 0x01, 0x01, 0x11, 0x00,
                                 0xFF, 0xDA, 0x00, 0x08, 0x01, 0x01, 0x00, 0x00, 0x3F, 0x00, 0x00, 0xFF, 0xD9};
    jpeg.insert(jpeg.end(), tail, tail + sizeof tail);
    const std::string path = Fuzz::fileWith(jpeg.data(), jpeg.size());
    Fuzz::expectingFileErrors([&] {
        Metadata::ImageStreamT stream;
        const auto image = Metadata::openImage(path, stream);
        std::size_t total = 0;
        for (const auto& block : image->resourceBlocks()) {
            total += block.totalSize;
        }
        // The last block may claim up to 4 bytes (and a pad byte) past the segment, deliberately;
        // no more.
        if (total > payload + 5) {
            std::abort();
        }
        std::size_t text = 0;
        for (const auto& dataSet : image->iptc().dataSets()) {
            text += dataSet.length();
        }
        if (text > payload) {
            std::abort();
        }
    });
    return 0;
}
