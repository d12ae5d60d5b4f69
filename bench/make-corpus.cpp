// make-corpus rename FOLDER COUNT: COUNT small camera JPEGs, each with its own capture time.
// make-corpus rotate FOLDER COUNT: COUNT twelve-megapixel camera JPEGs (4000 x 3000).
// make-corpus thumbnails FOLDER COUNT: COUNT twelve-megapixel camera JPEGs with the 160-pixel
// thumbnail cameras embed in their EXIF block.
// make-corpus linked FOLDER COUNT: COUNT names (C000000.JPG...) of such a JPEG, hard links to
// one copy per 50,000: as many camera files as wanted, in the room of a few.
// make-corpus read FOLDER COUNT: COUNT camera JPEGs with EXIF, IPTC and XMP; one in twenty is a
// twelve-megapixel picture, the others carry 300 KB of image data.
#include "CameraFiles.h"

#include <cstdio>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <string>
#include <vector>

int main(int argc, char** argv)
{
    const std::string mode = argc == 4 ? argv[1] : "";
    if (mode != "rename" && mode != "rotate" && mode != "read" && mode != "thumbnails" && mode != "linked") {
        std::cerr << "usage: make-corpus rename|rotate|read|thumbnails|linked FOLDER COUNT\n";
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
    if (mode == "linked") {
        const std::vector<std::uint8_t> photo = Bench::photoWithThumbnail(4000, 3000);
        // A file system allows some tens of thousands of links to a file: a new copy every 50,000.
        std::string first;
        for (int i = 0; i < count; ++i) {
            char name[32];
            std::snprintf(name, sizeof name, "/C%06d.JPG", i);
            if (i % 50000 == 0) {
                first = folder + name;
                std::ofstream(first, std::ios::binary)
                    .write(reinterpret_cast<const char*>(photo.data()), static_cast<std::streamsize>(photo.size()));
            } else {
                std::filesystem::create_hard_link(first, folder + name);
            }
        }
        return 0;
    }
    std::vector<std::uint8_t> photo;
    if (mode == "thumbnails") {
        photo = Bench::photoWithThumbnail(4000, 3000);
    } else if (!rename) {
        photo = Bench::encodedPhoto(4000, 3000, Bench::cameraSegments());
    }
    // The small picture is encoded once; each file gets its own metadata in front of it.
    const std::vector<std::uint8_t> picture = rename ? Bench::encodedPhoto(160, 120, {}) : std::vector<std::uint8_t>();
    for (int i = 0; i < count; ++i) {
        if (rename) {
            // One second apart from 2024-05-06 07:00:00 on, day after day.
            const int s = 7 * 3600 + i;
            char date[32];
            std::snprintf(date, sizeof date, "2024:05:%02d %02d:%02d:%02d", 6 + s / 86400 % 20, s / 3600 % 24,
                          s / 60 % 60, s % 60);
            const std::vector<std::uint8_t> segments = Bench::cameraSegments(date);
            photo.assign(picture.begin(), picture.begin() + 2);
            photo.insert(photo.end(), segments.begin(), segments.end());
            photo.insert(photo.end(), picture.begin() + 2, picture.end());
        }
        char name[32];
        std::snprintf(name, sizeof name, "IMG_%04d.JPG", i);
        std::ofstream(folder + "/" + name, std::ios::binary)
            .write(reinterpret_cast<const char*>(photo.data()), static_cast<std::streamsize>(photo.size()));
    }
    return 0;
}
