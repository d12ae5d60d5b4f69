// The TIFF header and directories: the EXIF tree read from memory, then every directory dumped
// with the display of every field.
#include "FuzzSupport.h"

#include <Metadata/EXIF.h>
#include <Metadata/TIFFReader.h>

#include <sstream>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    Fuzz::expectingFileErrors([&] {
        auto source = std::make_shared<Metadata::MemorySource>(data, size);
        const Metadata::EXIF exif = Metadata::EXIF::read(source, 0);
        std::ostringstream out;
        exif.dump(out);
    });
    return 0;
}
