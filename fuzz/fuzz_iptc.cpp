// The IPTC record 2 reader, and the serialiser's round trip: what is written reads back as the
// same datasets in the same order.
#include "FuzzSupport.h"

#include <Metadata/IPTC.h>

#include <cstdlib>
#include <cstring>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const Metadata::IPTC record(data, size);
    for (const auto& dataSet : record.dataSets()) {
        (void)record.joined(dataSet.dataSet());
    }
    Fuzz::expectingFileErrors([&] {
        Metadata::IPTCTimeStamp stamp;
        (void)record.getTimeStamp(55, 60, stamp);
    });

    Fuzz::expectingFileErrors([&] {
        const std::vector<std::uint8_t> bytes = record.serialize();
        const Metadata::IPTC again(bytes.data(), bytes.size());
        if (again.dataSets().size() != record.dataSets().size()) {
            std::abort();
        }
        for (std::size_t i = 0; i < record.dataSets().size(); ++i) {
            const auto& a = record.dataSets()[i];
            const auto& b = again.dataSets()[i];
            if (a.dataSet() != b.dataSet() || a.length() != b.length() ||
                (a.length() > 0 && std::memcmp(a.data(), b.data(), a.length()) != 0)) {
                std::abort();
            }
        }
    });
    return 0;
}
