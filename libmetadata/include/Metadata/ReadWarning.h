// What a reader could not read while it read the rest of a file: one broken entry or directory
// costs itself, not the file.
#pragma once

#include <cstdint>
#include <string>

namespace Metadata {

struct ReadWarning {
    // What was wrong, in the words the library's errors use ("Zero-length Field", "Invalid IFD",
    // "bad rational: zero denominator", ...).
    std::string text;
    // The id of the directory it was met in (DirectoryId); 0 outside any directory.
    std::uint32_t directory = 0;
    // The tag of the entry it concerns; -1 when it concerns the directory (or block) itself.
    std::int32_t tag = -1;
};

} // namespace Metadata
