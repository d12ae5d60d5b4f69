// thumbnails OUTPUT-FOLDER PHOTO...: the gallery store's thumbnail (160 pixels, upright) of each
// photo, one after the other on one thread, written to OUTPUT-FOLDER under the photo's name; the
// time per photo on standard output. What `lumeno gallery sync` does per photo for its picture.
#include <Lumeno/DB/Thumbnail.h>

#include <chrono>
#include <cstdio>
#include <exception>
#include <fstream>
#include <iostream>
#include <string>

int main(int argc, char** argv)
{
    if (argc < 3) {
        std::cerr << "usage: thumbnails OUTPUT-FOLDER PHOTO...\n";
        return 2;
    }
    const std::string folder = argv[1];
    const auto start = std::chrono::steady_clock::now();
    int failed = 0;
    for (int i = 2; i < argc; ++i) {
        const std::string path = argv[i];
        try {
            const std::string jpeg = Lumeno::DB::makeThumbnail(path);
            const std::string name = path.substr(path.find_last_of('/') + 1);
            std::ofstream(folder + "/" + name, std::ios::binary).write(jpeg.data(), static_cast<std::streamsize>(jpeg.size()));
        } catch (const std::exception& e) {
            std::cerr << path << ": " << e.what() << '\n';
            ++failed;
        }
    }
    const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
    std::printf("%d thumbnails in %.3f s, %.1f ms each\n", argc - 2, took.count(), 1000 * took.count() / (argc - 2));
    return failed == 0 ? 0 : 1;
}
