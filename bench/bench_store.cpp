// The gallery store under load: adding 10,000 images (records and keyword records, no
// thumbnails) through the per-file update, then 1,000 keyword look-ups and 1,000 look-ups by
// path, and a gallery of them all listed with its records (best of three). One-shot timings: each figure is a single pass over a fresh store.
// Usage: bench_store [WORK-FOLDER] [IMAGES]
#include <Lumeno/DB/Store.h>

#include <Metadata/ImageFactory.h>
#include <Metadata/ImageStream.h>
#include <Metadata/IPTC.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>

namespace fs = std::filesystem;

namespace {

double seconds(std::chrono::steady_clock::time_point since)
{
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - since).count();
}

} // namespace

int main(int argc, char** argv)
{
    const fs::path work = argc > 1 ? fs::path(argv[1]) : fs::temp_directory_path() / "lumeno-bench-store";
    const int count = argc > 2 ? std::atoi(argv[2]) : 10000;
    const int keywords = 1000;
    fs::remove_all(work);
    fs::create_directories(work / "photos");

    // Each picture carries three keywords out of 1,000, so each keyword is on about 30 images.
    std::printf("making %d tagged JPEG files...\n", count);
    for (int i = 0; i < count; ++i) {
        Metadata::ImageStreamT stream;
        auto image = Metadata::openImage(LUMENO_SAMPLE_JPEG, stream);
        image->iptc().set(25, std::vector<std::string>{"kw" + std::to_string(i % keywords),
                                                       "kw" + std::to_string((i * 7 + 3) % keywords),
                                                       "kw" + std::to_string((i * 13 + 5) % keywords)});
        image->iptc().set(120, "Picture number " + std::to_string(i));
        image->writeWithIPTC((work / "photos" / ("IMG_" + std::to_string(i) + ".JPG")).string());
    }

    Lumeno::DB::Store store;
    store.open((work / "store").string());
    auto start = std::chrono::steady_clock::now();
    for (int i = 0; i < count; ++i) {
        store.update((work / "photos" / ("IMG_" + std::to_string(i) + ".JPG")).string(), false);
    }
    const double add = seconds(start);
    std::printf("add %d images (no thumbnails): %.2f s, %.0f images/s, %.0f us each\n", count, add, count / add,
                1e6 * add / count);

    start = std::chrono::steady_clock::now();
    std::size_t found = 0;
    for (int k = 0; k < keywords; ++k) {
        found += store.filesWithKeyword("KW" + std::to_string(k)).size();
    }
    const double look = seconds(start);
    std::printf("look up %d keywords: %.3f s, %.1f us each (%zu files found)\n", keywords, look, 1e6 * look / keywords,
                found);

    start = std::chrono::steady_clock::now();
    Lumeno::DB::StoreImageEntry entry;
    std::size_t hits = 0;
    for (int i = 0; i < 1000; ++i) {
        hits += store.image((work / "photos" / ("img_" + std::to_string(i * count / 1000) + ".jpg")).string(), entry);
    }
    const double paths = seconds(start);
    std::printf("look up 1000 paths (other letter case): %.3f s, %.1f us each (%zu found)\n", paths,
                1e6 * paths / 1000, hits);

    // A gallery of every image, listed with its records as the gallery folder lists it.
    store.createGallery("All");
    for (int i = 0; i < count; ++i) {
        store.addImage("All", (work / "photos" / ("IMG_" + std::to_string(i) + ".JPG")).string(), false);
    }
    double listing = 1e9;
    std::size_t listed = 0;
    for (int pass = 0; pass < 3; ++pass) {
        start = std::chrono::steady_clock::now();
        const std::vector<std::string> members = store.images("All");
        const double names = seconds(start);
        listed = store.galleryEntries("All").size();
        listing = std::min(listing, seconds(start));
        if (pass == 2) {
            std::printf("list a gallery of %zu images: its paths %.1f ms, with their records %.1f ms\n", members.size(),
                        1e3 * names, 1e3 * listing);
        }
    }

    store.close();
    std::uintmax_t bytes = 0;
    for (const auto& e : fs::directory_iterator(work / "store")) {
        const std::string extension = e.path().extension().string();
        if (e.is_regular_file() && (extension == ".GDB" || extension == ".NDX")) {
            bytes += e.file_size();
        }
    }
    std::printf("data and index files after closing: %.1f MB\n", static_cast<double>(bytes) / (1024.0 * 1024.0));
    fs::remove_all(work);
    return found >= static_cast<std::size_t>(3 * count) && hits == 1000 && listed == static_cast<std::size_t>(count) ? 0 : 1;
}
