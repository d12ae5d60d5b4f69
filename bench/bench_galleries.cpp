// The "My Galleries" folder's own part of opening a big gallery, without the shell: a gallery of
// 10,000 pictures (each with its own capture date) listed as the folder lists it, each item's
// identifier made as the shell is handed it, then the items sorted by date taken through the
// folder's comparison of identifiers, as the view sorts them. Best of three passes, each over a
// new folder object over the open store (as each window of the file manager makes its own).
// bench/galleries.sh measures the same through the shell under Wine.
// Usage: bench_galleries [WORK-FOLDER] [PICTURES] [PASSES]
#include <Lumeno/DB/Store.h>
#include <Lumeno/Namespace/Folder.h>
#include <Lumeno/Namespace/ItemId.h>

#include <Metadata/ImageFactory.h>
#include <Metadata/ImageStream.h>
#include <Metadata/IPTC.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

namespace {

double ms(Clock::time_point from, Clock::time_point to)
{
    return std::chrono::duration<double, std::milli>(to - from).count();
}

// Dates spread over the years, not in the order the pictures were added.
std::string dateOf(int i)
{
    char text[16];
    const int n = (i * 7919) % 100000;
    std::snprintf(text, sizeof text, "%04d%02d%02d", 1990 + n % 30, 1 + n % 12, 1 + n % 28);
    return text;
}

} // namespace

int main(int argc, char** argv)
{
    const fs::path work = argc > 1 ? fs::path(argv[1]) : fs::temp_directory_path() / "lumeno-bench-galleries";
    const int count = argc > 2 ? std::atoi(argv[2]) : 10000;
    const int passes = argc > 3 ? std::max(1, std::atoi(argv[3])) : 3;
    fs::remove_all(work);
    fs::create_directories(work / "photos");

    std::printf("making %d JPEG files with capture dates...\n", count);
    Lumeno::DB::Store store;
    store.open((work / "store").string());
    store.createGallery("Big");
    for (int i = 0; i < count; ++i) {
        Metadata::ImageStreamT stream;
        auto image = Metadata::openImage(LUMENO_SAMPLE_JPEG, stream);
        image->iptc().set(55, dateOf(i));
        char time[16];
        std::snprintf(time, sizeof time, "%02d%02d%02d+0000", i / 3600 % 24, i / 60 % 60, i % 60);
        image->iptc().set(60, time);
        image->iptc().set(5, "Picture " + std::to_string(i));
        const fs::path file = work / "photos" / ("IMG_" + std::to_string(i) + ".JPG");
        image->writeWithIPTC(file.string());
        store.addImage("Big", file.string(), false);
    }

    double best[3] = {1e9, 1e9, 1e9};
    std::size_t listed = 0;
    for (int pass = 0; pass < passes; ++pass) {
        const auto start = Clock::now();
        Lumeno::Namespace::GalleryFolder folder(store);
        const Lumeno::Namespace::ItemId big = Lumeno::Namespace::ItemId::gallery("Big");
        std::vector<std::string> ids;
        for (const Lumeno::Namespace::ItemId& item : folder.children(&big)) {
            ids.push_back(Lumeno::Namespace::encodeItem(item));
        }
        const auto enumerated = Clock::now();
        std::sort(ids.begin(), ids.end(), [&folder](const std::string& a, const std::string& b) {
            const auto x = Lumeno::Namespace::viewItem(a.data(), a.size());
            const auto y = Lumeno::Namespace::viewItem(b.data(), b.size());
            return folder.compare(*x, *y, Lumeno::Namespace::Column::DateTaken) < 0;
        });
        const auto sorted = Clock::now();
        listed = ids.size();
        best[0] = std::min(best[0], ms(start, enumerated));
        best[1] = std::min(best[1], ms(enumerated, sorted));
        best[2] = std::min(best[2], ms(start, sorted));
    }
    std::printf("%zu pictures: listed with their identifiers in %.1f ms, sorted by date in %.1f ms, together %.1f ms\n",
                listed, best[0], best[1], best[2]);
    store.close();
    fs::remove_all(work);
    return listed == static_cast<std::size_t>(count) ? 0 : 1;
}
