// Parsing (and dumping) the EXIF block of a typical camera JPEG: IFD0, an EXIF directory of
// some thirty entries with a maker note, the interoperability directory and a thumbnail IFD1.
//   build/bin/bench_exif
#include "CameraFiles.h"

#include <Metadata/EXIF.h>
#include <Metadata/TIFFReader.h>
#include <Metadata/TagTable.h>

#include <benchmark/benchmark.h>

#include <ostream>
#include <streambuf>


namespace {

// Counts what is written and keeps nothing, so that the dump's own work is measured.
class NullBuffer : public std::streambuf {
protected:
    int_type overflow(int_type c) override { return c; }
    std::streamsize xsputn(const char*, std::streamsize n) override { return n; }
};

void ParseCameraExif(benchmark::State& state)
{
    const std::vector<std::uint8_t> bytes = Bench::cameraExif();
    for (auto _ : state) {
        const Metadata::EXIF tree = Metadata::EXIF::read(std::make_shared<Metadata::MemorySource>(bytes));
        benchmark::DoNotOptimize(tree.directories().size());
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * bytes.size()));
    state.counters["bytes"] = static_cast<double>(bytes.size());
}
BENCHMARK(ParseCameraExif);

void ParseAndDumpCameraExif(benchmark::State& state)
{
    const std::vector<std::uint8_t> bytes = Bench::cameraExif();
    NullBuffer sink;
    std::ostream out(&sink);
    for (auto _ : state) {
        const Metadata::EXIF tree = Metadata::EXIF::read(std::make_shared<Metadata::MemorySource>(bytes));
        tree.dump(out);
    }
}
BENCHMARK(ParseAndDumpCameraExif);

} // namespace

BENCHMARK_MAIN();
