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

void appendCodePoint(std::string& out, std::uint32_t cp)
{
    if (cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF)) {
        cp = 0xFFFD;
    }
    if (cp < 0x80) {
        out += static_cast<char>(cp);
    } else if (cp < 0x800) {
        out += static_cast<char>(0xC0 | (cp >> 6));
        out += static_cast<char>(0x80 | (cp & 0x3F));
    } else if (cp < 0x10000) {
        out += static_cast<char>(0xE0 | (cp >> 12));
        out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (cp & 0x3F));
    } else {
        out += static_cast<char>(0xF0 | (cp >> 18));
        out += static_cast<char>(0x80 | ((cp >> 12) & 0x3F));
        out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (cp & 0x3F));
    }
}

// The code unit of `width` bytes at `i`.
std::uint32_t unitAt(std::string_view in, std::size_t i, std::size_t width, bool bigEndian) noexcept
{
    std::uint32_t unit = 0;
    for (std::size_t k = 0; k < width; ++k) {
        const auto byte = static_cast<unsigned char>(in[i + (bigEndian ? k : width - 1 - k)]);
        unit = (unit << 8) | byte;
    }
    return unit;
}

std::string fromUtf32(std::string_view in, bool bigEndian)
{
    std::string out;
    out.reserve(in.size() / 4);
    for (std::size_t i = 0; i + 4 <= in.size(); i += 4) {
        appendCodePoint(out, unitAt(in, i, 4, bigEndian));
    }
    if (in.size() % 4 != 0) {
        appendCodePoint(out, 0xFFFD);
    }
    return out;
}

std::string fromUtf16(std::string_view in, bool bigEndian)
{
    std::string out;
    out.reserve(in.size() / 2);
    for (std::size_t i = 0; i + 2 <= in.size(); i += 2) {
        const std::uint32_t unit = unitAt(in, i, 2, bigEndian);
        if (unit >= 0xD800 && unit <= 0xDBFF && i + 4 <= in.size()) {
            const std::uint32_t low = unitAt(in, i + 2, 2, bigEndian);
            if (low >= 0xDC00 && low <= 0xDFFF) {
                appendCodePoint(out, 0x10000 + ((unit - 0xD800) << 10) + (low - 0xDC00));
                i += 2;
                continue;
            }
        }
        appendCodePoint(out, unit); // a lone surrogate becomes U+FFFD there
    }
    if (in.size() % 2 != 0) {
        appendCodePoint(out, 0xFFFD);
    }
    return out;
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

std::string unicodeToUtf8(std::string_view bytes)
{
    const auto b = [&](std::size_t i) { return i < bytes.size() ? static_cast<unsigned char>(bytes[i]) : 0x100u; };
    // Byte-order marks first, the longer before the shorter that begins it.
    if (b(0) == 0x00 && b(1) == 0x00 && b(2) == 0xFE && b(3) == 0xFF) {
        return fromUtf32(bytes.substr(4), true);
    }
    if (b(0) == 0xFF && b(1) == 0xFE && b(2) == 0x00 && b(3) == 0x00) {
        return fromUtf32(bytes.substr(4), false);
    }
    if (b(0) == 0xFE && b(1) == 0xFF) {
        return fromUtf16(bytes.substr(2), true);
    }
    if (b(0) == 0xFF && b(1) == 0xFE) {
        return fromUtf16(bytes.substr(2), false);
    }
    if (b(0) == 0xEF && b(1) == 0xBB && b(2) == 0xBF) {
        return std::string(bytes.substr(3));
    }
    // Without a mark: the first character is ASCII, and its zero bytes tell the encoding.
    if (b(0) == 0x00 && b(1) == 0x00 && b(2) == 0x00 && b(3) != 0x00 && b(3) < 0x80) {
        return fromUtf32(bytes, true);
    }
    if (b(0) != 0x00 && b(0) < 0x80 && b(1) == 0x00 && b(2) == 0x00 && b(3) == 0x00) {
        return fromUtf32(bytes, false);
    }
    if (b(0) == 0x00 && b(1) != 0x00 && b(1) < 0x80) {
        return fromUtf16(bytes, true);
    }
    if (b(0) != 0x00 && b(0) < 0x80 && b(1) == 0x00) {
        return fromUtf16(bytes, false);
    }
    return std::string(bytes);
}

} // namespace Metadata::Text
