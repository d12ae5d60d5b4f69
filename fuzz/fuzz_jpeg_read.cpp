// The JPEG container's read: segments, the EXIF block, Photoshop resources with IPTC, XMP.
#include "FuzzSupport.h"

#include <Metadata/EXIF.h>
#include <Metadata/ImageFactory.h>
#include <Metadata/ImageStream.h>
#include <Metadata/IPTC.h>
#include <Metadata/XMP.h>

#include <sstream>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string path = Fuzz::fileWith(data, size);
    Fuzz::expectingFileErrors([&] {
        Metadata::ImageStreamT stream;
        const auto image = Metadata::openImage(path, stream);
        std::ostringstream out;
        image->exif().dump(out);
        for (const auto& dataSet : image->iptc().dataSets()) {
            out << image->iptc().joined(dataSet.dataSet());
        }
        if (const auto& xmp = image->xmp()) {
            out << xmp->title() << xmp->creator() << xmp->description() << xmp->rights() << xmp->headline();
        }
    });
    return 0;
}
