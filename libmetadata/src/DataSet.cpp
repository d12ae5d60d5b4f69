#include "Metadata/Exceptions.h"
#include "Metadata/IPTC.h"

#include <new>

namespace Metadata {

DataSet::DataSet(std::uint8_t record, std::uint8_t dataSet, std::uint16_t length, const std::uint8_t* bytes)
    : length_(length), record_(record), dataSet_(dataSet)
{
    try {
        data_ = std::make_shared<const std::vector<std::uint8_t>>(bytes, bytes + length);
    } catch (const std::bad_alloc&) {
        // Reported with the place this error has always named.
        throw MemoryError("DataSet.cpp", 31);
    }
}

void DataSet::write(std::vector<std::uint8_t>& out) const
{
    out.push_back(0x1C);
    out.push_back(record_);
    out.push_back(dataSet_);
    out.push_back(static_cast<std::uint8_t>(length_ >> 8));
    out.push_back(static_cast<std::uint8_t>(length_));
    if (length_ > 0) {
        out.insert(out.end(), data_->begin(), data_->end());
    }
}

} // namespace Metadata
