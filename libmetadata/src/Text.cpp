#include "Metadata/Text.h"

#include <cstdint>

namespace Metadata::Text {

namespace {

// The length of the well-formed UTF-8 sequence at `i` (RFC 3629, section 4), or 0.
std::size_t sequenceAt(std::string_view in, std::size_t i) noexcept
{
    const auto c = static_cast<unsigned char>(in[i]);
    if (c < 0x80) {
        return 1;
    }
    const std::size_t n = c >= 0xC2 && c <= 0xDF ? 2 : c >= 0xE0 && c <= 0xEF ? 3 : c >= 0xF0 && c <= 0xF4 ? 4 : 0;
    if (n == 0 || n > in.size() - i) {
        return 0;
    }
    std::uint32_t cp = c & (0xFFu >> (n + 1));
    for (std::size_t k = 1; k < n; ++k) {
        const auto d = static_cast<unsigned char>(in[i + k]);
        if ((d & 0xC0) != 0x80) {
            return 0;
        }
        cp = (cp << 6) | (d & 0x3F);
    }
    if ((n == 3 && (cp < 0x800 || (cp >= 0xD800 && cp <= 0xDFFF))) || (n == 4 && (cp < 0x10000 || cp > 0x10FFFF))) {
        return 0;
    }
    return n;
}

void appendLatin1(std::string& out, char byte)
{
    const auto c = static_cast<unsigned char>(byte);
    if (c < 0x80) {
        out += byte;
    } else {
        out += static_cast<char>(0xC0 | (c >> 6));
        out += static_cast<char>(0x80 | (c & 0x3F));
    }
}

} // namespace

bool isUtf8(std::string_view bytes) noexcept
{
    for (std::size_t i = 0; i < bytes.size();) {
        const std::size_t n = sequenceAt(bytes, i);
        if (n == 0) {
            return false;
        }
        i += n;
    }
    return true;
}

std::string toUtf8(std::string_view bytes)
{
    std::string out;
    out.reserve(bytes.size());
    for (std::size_t i = 0; i < bytes.size();) {
        const std::size_t n = sequenceAt(bytes, i);
        if (n != 0) {
            out.append(bytes.substr(i, n));
            i += n;
        } else {
            appendLatin1(out, bytes[i]);
            ++i;
        }
    }
    return out;
}

std::string latin1ToUtf8(std::string_view bytes)
{
    std::string out;
    out.reserve(bytes.size());
    for (char c : bytes) {
        appendLatin1(out, c);
    }
    return out;
}

} // namespace Metadata::Text
