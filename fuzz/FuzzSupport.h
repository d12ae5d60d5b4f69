// Shared by the fuzz targets: hostile bytes as a file, and the failures a hostile file may
// cause. Anything else escaping the library (another exception, a crash, a leak, a sanitizer
// report) is a finding.
#pragma once

#include <Metadata/EXIF.h>
#include <Metadata/Exceptions.h>
#include <Metadata/IPTC.h>
#include <Metadata/MetadataValues.h>
#include <Metadata/XMP.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <sstream>
#include <string>
#include <unistd.h>

namespace Fuzz {

// A file of the process's own, rewritten for each input: the containers read files.
inline std::string fileWith(const std::uint8_t* data, std::size_t size, const char* suffix = "")
{
    static const std::string folder = [] {
        const char* shm = "/dev/shm";
        return access(shm, W_OK) == 0 ? std::string(shm) : std::string("/tmp");
    }();
    const std::string path = folder + "/lumeno-fuzz-" + std::to_string(getpid()) + suffix;
    std::FILE* f = std::fopen(path.c_str(), "wb");
    if (f == nullptr) {
        std::abort();
    }
    if (size > 0 && std::fwrite(data, 1, size, f) != size) {
        std::abort();
    }
    std::fclose(f);
    return path;
}

// Runs `work`; the library's own reports of a damaged file are expected answers.
template <class Work> void expectingFileErrors(Work work)
{
    try {
        work();
    } catch (const Metadata::Exception&) {
    }
}

// Everything a reader of the file would look at: the EXIF dump, every IPTC value, the XMP
// properties the program shows, the summary.
template <class Image> void readAll(const Image& image)
{
    std::ostringstream out;
    image.exif().dump(out);
    for (const auto& dataSet : image.iptc().dataSets()) {
        out << image.iptc().joined(dataSet.dataSet());
    }
    if (const auto& xmp = image.xmp()) {
        out << xmp->title() << xmp->creator() << xmp->description() << xmp->rights() << xmp->headline();
    }
    // The reconciled view reads across all three, the maker's note and the GPS directory.
    const Metadata::MetadataValues values(image);
    for (const auto& [name, value] : values.values()) {
        out << name << value.text << value.source;
    }
}

} // namespace Fuzz
