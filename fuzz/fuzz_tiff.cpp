// The TIFF container: its EXIF, IPTC (tag 33723), Photoshop (34377) and XMP (700) read from a
// hostile file, and the rewrite through libtiff with a changed IPTC record.
#include "FuzzSupport.h"

#include <Metadata/ImageFactory.h>
#include <Metadata/ImageStream.h>
#include <Metadata/IPTC.h>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    // Only TIFF: the JPEG container has targets of its own.
    if (size < 4 || !((data[0] == 'I' && data[1] == 'I' && data[2] == 42 && data[3] == 0) ||
                      (data[0] == 'M' && data[1] == 'M' && data[2] == 0 && data[3] == 42))) {
        return -1;
    }
    const std::string path = Fuzz::fileWith(data, size, ".tif");
    const std::string written = path + ".out.tif";
    Fuzz::expectingFileErrors([&] {
        Metadata::ImageStreamT stream;
        const auto image = Metadata::openImage(path, stream);
        Fuzz::readAll(*image);
        if (size <= 64 * 1024) { // the rewrite copies the file: keep each run short
            image->iptc().set(120, "Rewritten by the fuzzer");
            image->writeWithIPTC(written);
        }
    });
    std::remove(written.c_str());
    return 0;
}
