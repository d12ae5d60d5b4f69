// exiftool's names of the standard EXIF tags and of the IPTC record 2 datasets.
#pragma once

#include <cstdint>

namespace Lumeno::Cli {

// exiftool's name of a tag of IFD0, IFD1, the EXIF or the interoperability directory; null for
// a tag it does not know.
const char* exifToolExifName(std::uint16_t tag);
// exiftool's name of an IPTC record 2 dataset ("ObjectName", "By-line", "Caption-Abstract");
// null for one it does not know.
const char* exifToolIptcName(std::uint8_t dataSet);

} // namespace Lumeno::Cli
