// The XMP wrapper over the toolkit: typed reads, edits and serialisation of a hostile packet.
#include "FuzzSupport.h"

#include <Metadata/XMP.h>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    Metadata::XMP xmp(reinterpret_cast<const char*>(data), size);
    const std::string before = xmp.packetText();
    if (before.size() != size || before.compare(0, size, reinterpret_cast<const char*>(data), size) != 0) {
        std::abort(); // an unused packet is given back exactly
    }
    (void)xmp.title();
    (void)xmp.creator();
    (void)xmp.description();
    (void)xmp.rights();
    (void)xmp.getAllItems(Metadata::XMP::NamespaceDublinCore, "subject");
    (void)xmp.properties();
    (void)xmp.toolkit();
    Fuzz::expectingFileErrors([&] {
        xmp.setDefaultLanguageAlternative(Metadata::XMP::NamespaceDublinCore, "title", "fuzz");
        xmp.appendItem(Metadata::XMP::NamespaceDublinCore, "subject", "fuzz");
        (void)xmp.packetText();
    });
    return 0;
}
