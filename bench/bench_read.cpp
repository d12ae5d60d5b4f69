// Reading all metadata (EXIF tree, IPTC record, XMP packet) of 1,000 camera JPEGs of 3 MB each,
// one after another in one process, the way a folder view or 'lumeno show' does.
//   build/bin/bench_read
#include "CameraFiles.h"

#include <Lumeno/Shell/ShellCore.h>
#include <Metadata/ImageFactory.h>
#include <Metadata/ImageStream.h>
#include <Metadata/TagTable.h>

#include <benchmark/benchmark.h>

#include <filesystem>
#include <fstream>
#include <ostream>
#include <streambuf>
#include <string>

namespace fs = std::filesystem;

namespace {

constexpr int FileCount = 1000;

class Corpus {
public:
    Corpus()
    {
        folder_ = fs::temp_directory_path() / "lumeno-bench-read";
        fs::remove_all(folder_);
        fs::create_directories(folder_);
        const std::vector<std::uint8_t> photo = Bench::cameraJpeg(3 * 1024 * 1024);
        for (int i = 0; i < FileCount; ++i) {
            const fs::path path = folder_ / ("IMG_" + std::to_string(1000 + i) + ".JPG");
            std::ofstream(path, std::ios::binary)
                .write(reinterpret_cast<const char*>(photo.data()), static_cast<std::streamsize>(photo.size()));
            paths_.push_back(path.string());
        }
    }
    ~Corpus() { fs::remove_all(folder_); }
    const std::vector<std::string>& paths() const { return paths_; }

private:
    fs::path folder_;
    std::vector<std::string> paths_;
};

const Corpus& corpus()
{
    static const Corpus c;
    return c;
}

class NullBuffer : public std::streambuf {
protected:
    int_type overflow(int_type c) override { return c; }
    std::streamsize xsputn(const char*, std::streamsize n) override { return n; }
};

void ReadAllMetadata(benchmark::State& state)
{
    const auto& paths = corpus().paths();
    for (auto _ : state) {
        for (const std::string& path : paths) {
            Metadata::ImageStreamT stream;
            const auto image = Metadata::openImage(path, stream);
            benchmark::DoNotOptimize(image->exif().directories().size());
            benchmark::DoNotOptimize(image->iptc().values(25).size());
            benchmark::DoNotOptimize(image->xmp()->title());
        }
    }
    state.counters["files/s"] = benchmark::Counter(static_cast<double>(state.iterations() * paths.size()),
                                                   benchmark::Counter::kIsRate);
}
BENCHMARK(ReadAllMetadata)->Unit(benchmark::kMillisecond);

void ReadAndDumpExif(benchmark::State& state)
{
    const auto& paths = corpus().paths();
    NullBuffer sink;
    std::ostream out(&sink);
    for (auto _ : state) {
        for (const std::string& path : paths) {
            Metadata::ImageStreamT stream;
            Metadata::openImage(path, stream)->exif().dump(out);
        }
    }
    state.counters["files/s"] = benchmark::Counter(static_cast<double>(state.iterations() * paths.size()),
                                                   benchmark::Counter::kIsRate);
}
BENCHMARK(ReadAndDumpExif)->Unit(benchmark::kMillisecond);

// A details view asking every column of every file: 1,000 files x 90 columns. "Cold" forgets the
// kept answers before each pass (every file read once per pass), "warm" keeps them.
void ColumnCells(benchmark::State& state)
{
    const auto& paths = corpus().paths();
    const Lumeno::Shell::ColumnLayout layout(true, true);
    // The kept answers must be the answers: compare one file with a reading of its own.
    {
        Metadata::ImageStreamT stream;
        const auto image = Metadata::openImage(paths.front(), stream);
        for (std::size_t i = 0; i < layout.count(); ++i) {
            if (Lumeno::Shell::itemText(paths.front(), layout, i) != Lumeno::Shell::columnText(*image, layout, i)) {
                state.SkipWithError("kept answers differ from the file's own");
                return;
            }
        }
    }
    const bool cold = state.range(0) != 0;
    std::size_t answered = 0;
    for (auto _ : state) {
        if (cold) {
            Lumeno::Shell::clearColumnCache();
        }
        for (const std::string& path : paths) {
            for (std::size_t i = 0; i < layout.count(); ++i) {
                answered += Lumeno::Shell::itemText(path, layout, i).has_value() ? 1 : 0;
            }
        }
    }
    benchmark::DoNotOptimize(answered);
    state.counters["cells/s"] = benchmark::Counter(
        static_cast<double>(state.iterations() * paths.size() * layout.count()), benchmark::Counter::kIsRate);
}
BENCHMARK(ColumnCells)->Arg(1)->Arg(0)->ArgNames({"cold"})->Unit(benchmark::kMillisecond);

} // namespace

BENCHMARK_MAIN();
