// The JPEG rewrite: read, change the IPTC record (and the XMP that mirrors it), write a new file,
// and read that file back; also the writes without IPTC and with the XMP cleared.
#include "FuzzSupport.h"

#include <Metadata/ImageFactory.h>
#include <Metadata/ImageStream.h>
#include <Metadata/IPTC.h>

#include <algorithm>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string path = Fuzz::fileWith(data, size);
    const std::string written = path + ".out";
    bool wrote = false;
    Fuzz::expectingFileErrors([&] {
        Metadata::ImageStreamT stream;
        const auto image = Metadata::openImage(path, stream);
        image->iptc().set(120, "Rewritten by the fuzzer");
        image->iptc().add(25, "fuzz");
        image->updateAndWrite(written, {105});
        wrote = true;
        image->writeWithoutIPTC(written + "2");
        image->clearXMPAndWrite(written + "3");
    });
    if (wrote) {
        // What the writer made reads again (a damaged input may leave damage behind), and an
        // IPTC record in it is the one it was given. A file without a frame header gets none,
        // and segments after the frame header are copied as they are, so a Photoshop segment
        // there (which the reader also takes) is left out of the comparison.
        const std::string bytes(reinterpret_cast<const char*>(data), size);
        const std::size_t photoshop = bytes.find("Photoshop 3.0");
        std::size_t frame = std::string::npos;
        for (const char* sof : {"\xFF\xC0", "\xFF\xC1", "\xFF\xC2"}) {
            frame = std::min(frame, bytes.find(sof));
        }
        const bool comparable = photoshop == std::string::npos ||
                                (bytes.find("Photoshop 3.0", photoshop + 1) == std::string::npos && photoshop < frame);
        Fuzz::expectingFileErrors([&] {
            Metadata::ImageStreamT stream;
            const auto again = Metadata::openImage(written, stream);
            std::string caption;
            if (comparable && again->iptc().get(120, caption) && caption != "Rewritten by the fuzzer") {
                std::abort();
            }
        });
    }
    std::remove(written.c_str());
    std::remove((written + "2").c_str());
    std::remove((written + "3").c_str());
    return 0;
}
