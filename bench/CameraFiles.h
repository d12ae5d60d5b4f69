// Files like those a camera writes, for the benchmarks.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace Bench {

// A typical camera EXIF block (about 1.8 KB): IFD0, an EXIF directory of some thirty entries with
// a maker note, the interoperability directory and IFD1.
std::vector<std::uint8_t> cameraExif();

// A camera JPEG: APP0, that EXIF block, Photoshop resources with an IPTC record, an XMP packet,
// tables and a frame, and `imageBytes` of entropy-coded data.
std::vector<std::uint8_t> cameraJpeg(std::size_t imageBytes);

} // namespace Bench
