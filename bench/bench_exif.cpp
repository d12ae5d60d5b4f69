// Parsing (and dumping) the EXIF block of a typical camera JPEG: IFD0, an EXIF directory of
// some thirty entries with a maker note, the interoperability directory and a thumbnail IFD1.
//   build/bin/bench_exif
#include "TiffBuilder.h"

#include <Metadata/EXIF.h>
#include <Metadata/TIFFReader.h>
#include <Metadata/TagTable.h>

#include <benchmark/benchmark.h>

#include <ostream>
#include <streambuf>

using TestSupport::TiffBuilder;

namespace {

std::vector<std::uint8_t> cameraExif()
{
    TiffBuilder b(false);
    TiffBuilder::Dir& exif = b.newDir();
    TiffBuilder::Dir& interop = b.newDir();
    TiffBuilder::Dir& ifd1 = b.newDir();
    b.ifd0()
        .ascii(271, "Canon")
        .ascii(272, "Canon EOS 5D Mark IV")
        .shorts(274, {1})
        .rationals(282, {{72, 1}})
        .rationals(283, {{72, 1}})
        .shorts(296, {2})
        .ascii(305, "1.4.2")
        .ascii(306, "2024:05:06 07:08:09")
        .ascii(315, "A. Photographer")
        .shorts(531, {2})
        .ascii(33432, "(c) A. Photographer")
        .pointer(34665, exif);
    b.ifd0().next = &ifd1;

    // A maker note that is a directory of 24 SHORT arrays and texts, as some makers write.
    TiffBuilder notes(false);
    for (std::uint16_t t = 1; t <= 24; ++t) {
        if (t % 4 == 0) {
            notes.ifd0().ascii(t, "maker text value");
        } else {
            notes.ifd0().shorts(t, std::vector<std::uint32_t>(t % 3 == 0 ? 20 : 1, t));
        }
    }
    std::vector<std::uint8_t> noteBytes = notes.build();
    noteBytes.erase(noteBytes.begin(), noteBytes.begin() + 8); // a directory without a TIFF header

    exif.rationals(33434, {{1, 160}})
        .rationals(33437, {{56, 10}})
        .shorts(34850, {3})
        .shorts(34855, {400})
        .bytes(36864, {'0', '2', '3', '0'})
        .ascii(36867, "2024:05:06 07:08:09")
        .ascii(36868, "2024:05:06 07:08:09")
        .bytes(37121, {1, 2, 3, 0})
        .srationals(37377, {{483, 66}})
        .rationals(37378, {{497, 100}})
        .srationals(37380, {{-1, 3}})
        .rationals(37381, {{4, 1}})
        .shorts(37383, {5})
        .shorts(37385, {16})
        .rationals(37386, {{50, 1}})
        .bytes(37500, noteBytes)
        .bytes(37510, std::vector<std::uint8_t>(264, 0))
        .ascii(37520, "00")
        .ascii(37521, "00")
        .ascii(37522, "00")
        .bytes(40960, {'0', '1', '0', '0'})
        .shorts(40961, {1})
        .shorts(40962, {6720})
        .shorts(40963, {4480})
        .pointer(40965, interop)
        .rationals(41486, {{6720000, 1418}})
        .rationals(41487, {{4480000, 945}})
        .shorts(41488, {2})
        .shorts(41985, {0})
        .shorts(41986, {1})
        .shorts(41987, {0})
        .shorts(41990, {0});
    interop.ascii(1, "R98").bytes(2, {'0', '1', '0', '0'});
    ifd1.shorts(259, {6}).rationals(282, {{72, 1}}).rationals(283, {{72, 1}}).shorts(296, {2});
    ifd1.longs(513, {8000}).longs(514, {12000});
    return b.build();
}

// Counts what is written and keeps nothing, so that the dump's own work is measured.
class NullBuffer : public std::streambuf {
protected:
    int_type overflow(int_type c) override { return c; }
    std::streamsize xsputn(const char*, std::streamsize n) override { return n; }
};

void ParseCameraExif(benchmark::State& state)
{
    const std::vector<std::uint8_t> bytes = cameraExif();
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
    const std::vector<std::uint8_t> bytes = cameraExif();
    NullBuffer sink;
    std::ostream out(&sink);
    Metadata::setLineEnds(true);
    for (auto _ : state) {
        const Metadata::EXIF tree = Metadata::EXIF::read(std::make_shared<Metadata::MemorySource>(bytes));
        tree.dump(out);
    }
}
BENCHMARK(ParseAndDumpCameraExif);

} // namespace

BENCHMARK_MAIN();
