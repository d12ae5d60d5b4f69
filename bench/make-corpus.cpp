// make-corpus rename FOLDER COUNT: COUNT small camera JPEGs, each with its own capture time.
// make-corpus rotate FOLDER COUNT: COUNT twelve-megapixel camera JPEGs (4000 x 3000).
#include "CameraFiles.h"

#include <cstdio>
#include <cstring>
#include <ctime>
#include <fstream>
#include <iostream>
#include <string>

int main(int argc, char** argv)
{
    if (argc != 4 || (std::strcmp(argv[1], "rename") != 0 && std::strcmp(argv[1], "rotate") != 0)) {
        std::cerr << "usage: make-corpus rename|rotate FOLDER COUNT\n";
        return 2;
    }
    const bool rename = std::strcmp(argv[1], "rename") == 0;
    const std::string folder = argv[2];
    const int count = std::atoi(argv[3]);
    std::vector<std::uint8_t> photo;
    if (!rename) {
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
