// Text from pictures is bytes in whatever character set the camera or editor used. These turn
// it into UTF-8 for the places that need it (XMP, JSON, XML documents).
#pragma once

#include <string>
#include <string_view>

namespace Metadata::Text {

// Whether `bytes` are well-formed UTF-8 (no overlong forms, surrogates or code points beyond
// U+10FFFF).
bool isUtf8(std::string_view bytes) noexcept;

// UTF-8 for text of unknown encoding: well-formed UTF-8 sequences stay as they are, and every
// other byte is taken as Latin-1 (so nothing is ever lost or cut short).
std::string toUtf8(std::string_view bytes);

// Every byte taken as Latin-1 (ISO 8859-1), whose characters are the first 256 of Unicode.
std::string latin1ToUtf8(std::string_view bytes);

// UTF-8 for XML text (an XMP packet) in any of Unicode's encodings: UTF-8, UTF-16 or UTF-32 of
// either byte order, told by a byte-order mark or by where the zero bytes of its first
// character ('<' or white space) fall, as XML and XMP tell it. A leading byte-order mark is
// dropped; a broken UTF-16 or UTF-32 sequence becomes U+FFFD; UTF-8 text is given back as it is.
std::string unicodeToUtf8(std::string_view bytes);

} // namespace Metadata::Text
