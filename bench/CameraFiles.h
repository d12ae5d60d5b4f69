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

// The metadata segments of such a camera file (APP1 EXIF, APP13 with IPTC, APP1 XMP), with
// `dateTimeOriginal` in the EXIF block ("YYYY:MM:DD HH:MM:SS") and, when given, `thumbnail` as
// its IFD1 thumbnail.
std::vector<std::uint8_t> cameraSegments(const char* dateTimeOriginal = "2024:05:06 07:08:09",
                                         const std::vector<std::uint8_t>& thumbnail = {});

// A real picture: `width` x `height` pixels of a noisy pattern, encoded by TurboJPEG at quality
// 90 with 2x2 chroma subsampling, with `segments` right after its SOI.
std::vector<std::uint8_t> encodedPhoto(int width, int height, const std::vector<std::uint8_t>& segments);

// Such a picture as a camera writes it: with those segments, and a thumbnail of it (160 pixels
// across, quality 90) in its EXIF block.
std::vector<std::uint8_t> photoWithThumbnail(int width, int height);

} // namespace Bench
