// The JPEG container's read: segments, the EXIF block, Photoshop resources with IPTC, XMP.
#include "FuzzSupport.h"

#include <Metadata/ImageFactory.h>
#include <Metadata/ImageStream.h>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string path = Fuzz::fileWith(data, size);
    Fuzz::expectingFileErrors([&] {
        Metadata::ImageStreamT stream;
        const auto image = Metadata::openImage(path, stream);
        Fuzz::readAll(*image);
    });
    return 0;
}
