// make-corpus rename FOLDER COUNT: COUNT small camera JPEGs, each with its own capture time.
// make-corpus rotate FOLDER COUNT: COUNT twelve-megapixel camera JPEGs (4000 x 3000).
// make-corpus thumbnails FOLDER COUNT: COUNT twelve-megapixel camera JPEGs with the 160-pixel
// thumbnail cameras embed in their EXIF block.
// make-corpus read FOLDER COUNT: COUNT camera JPEGs with EXIF, IPTC and XMP; one in twenty is a
// twelve-megapixel picture, the others carry 300 KB of image data.
#include "CameraFiles.h"

#include <cstdio>
#include <cstring>
#include <ctime>
#include <fstream>
#include <iostream>
#include <string>
#include <vector>

int main(int argc, char** argv)
{
    const std::string mode = argc == 4 ? argv[1] : "";
    if (mode != "rename" && mode != "rotate" && mode != "read" && mode != "thumbnails") {
        std::cerr << "usage: make-corpus rename|rotate|read|thumbnails FOLDER COUNT\n";
        return 2;
    }
    const bool rename = mode == "rename";
    const std::string folder = argv[2];
    const int count = std::atoi(argv[3]);
    if (mode == "read") {
        const std::vector<std::uint8_t> large = Bench::encodedPhoto(4000, 3000, Bench::cameraSegments());
        const std::vector<std::uint8_t> small = Bench::cameraJpeg(300 * 1024);
        for (int i = 0; i < count; ++i) {
            const std::vector<std::uint8_t>& photo = i % 20 == 0 ? large : small;
            char name[32];
            std::snprintf(name, sizeof name, "IMG_%04d.JPG", i);
            std::ofstream(folder + "/" + name, std::ios::binary)
                .write(reinterpret_cast<const char*>(photo.data()), static_cast<std::streamsize>(photo.size()));
        }
        return 0;
    }
    std::vector<std::uint8_t> photo;
    if (mode == "thumbnails") {
        photo = Bench::photoWithThumbnail(4000, 3000);
    } else if (!rename) {
        photo = Bench::encodedPhoto(4000, 3000, Bench::cameraSegments());
    }
    for (int i = 0; i < count; ++i) {
        if (rename) {
            // One second apart from 2024-05-06 07:00:00 on.
            const int s = 7 * 3600 + i;
            char date[32];
            std::snprintf(date, sizeof date, "2024:05:06 %02d:%02d:%02d", s / 3600 % 24, s / 60 % 60, s % 60);
            photo = Bench::encodedPhoto(160, 120, Bench::cameraSegments(date));
        }
        char name[32];
        std::snprintf(name, sizeof name, "IMG_%04d.JPG", i);
        std::ofstream(folder + "/" + name, std::ios::binary)
            .write(reinterpret_cast<const char*>(photo.data()), static_cast<std::streamsize>(photo.size()));
    }
    return 0;
}
