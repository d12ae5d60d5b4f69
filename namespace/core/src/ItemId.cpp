#include "Lumeno/Namespace/ItemId.h"

#include <Lumeno/DB/Store.h>

#include <cstring>
#include <stdexcept>

namespace Lumeno::Namespace {

namespace {

constexpr char Signature[2] = {'L', 'g'};
constexpr std::uint8_t Version = 2;
constexpr std::uint8_t UnderKeyword = 0x80; // in the kind byte
constexpr std::uint8_t HasSortDate = 0x40;  // in the kind byte: a third text follows

// A sort date: none, a day ("20040226") or a day and a time ("20040226062751"), in digits.
bool validSortDate(std::string_view date)
{
    if (!date.empty() && date.size() != 8 && date.size() != 14) {
        return false;
    }
    for (char c : date) {
        if (c < '0' || c > '9') {
            return false;
        }
    }
    return true;
}

// FNV-1a taken eight bytes at a time (the last ones padded with zeros, the length mixed in),
// folded to 32 bits: enough to tell a damaged identifier from a sound one, and quick enough for
// the view's many comparisons, each of which checks two identifiers. It guards against
// accidents, not against forgery: a forged identifier is still checked as any other.
// Eight bytes, the first lowest (written out so that the compiler makes it one load).
std::uint64_t littleEndian64(const unsigned char* p)
{
    return static_cast<std::uint64_t>(p[0]) | static_cast<std::uint64_t>(p[1]) << 8 |
           static_cast<std::uint64_t>(p[2]) << 16 | static_cast<std::uint64_t>(p[3]) << 24 |
           static_cast<std::uint64_t>(p[4]) << 32 | static_cast<std::uint64_t>(p[5]) << 40 |
           static_cast<std::uint64_t>(p[6]) << 48 | static_cast<std::uint64_t>(p[7]) << 56;
}

std::uint32_t checkSum(const unsigned char* data, std::size_t size)
{
    constexpr std::uint64_t Prime = 1099511628211u;
    std::uint64_t h = 14695981039346656037u ^ size;
    std::size_t i = 0;
    for (; i + 8 <= size; i += 8) {
        h = (h ^ littleEndian64(data + i)) * Prime;
    }
    if (i < size) {
        unsigned char last[8] = {};
        std::memcpy(last, data + i, size - i);
        h = (h ^ littleEndian64(last)) * Prime;
    }
    return static_cast<std::uint32_t>(h ^ (h >> 32));
}

void putText(std::string& out, const std::string& text)
{
    if (text.size() > MostItemText || text.find('\0') != std::string::npos) {
        throw std::invalid_argument("no item of the gallery folder is named so");
    }
    const std::size_t n = text.size();
    out += static_cast<char>(n & 0xFF);
    out += static_cast<char>(n >> 8);
    out.append(text, 0, n);
}

bool getText(const unsigned char* data, std::size_t size, std::size_t& at, std::string_view& text)
{
    if (size - at < 2) {
        return false;
    }
    const std::size_t n = data[at] | static_cast<std::size_t>(data[at + 1]) << 8;
    at += 2;
    if (n > MostItemText || size - at < n) {
        return false;
    }
    text = std::string_view(reinterpret_cast<const char*>(data + at), n);
    at += n;
    return text.find('\0') == std::string_view::npos;
}

} // namespace

std::uint32_t itemCheckSum(const void* data, std::size_t size)
{
    return checkSum(static_cast<const unsigned char*>(data), size);
}

bool validGalleryPath(std::string_view path)
{
    return DB::Store::validGalleryName(path);
}

std::string encodeItem(const ItemId& item)
{
    std::string out(Signature, sizeof Signature);
    out += static_cast<char>(Version);
    const bool dated = item.kind == ItemKind::Picture && item.sortDate && validSortDate(*item.sortDate);
    out += static_cast<char>(static_cast<std::uint8_t>(item.kind) | (item.underKeyword ? UnderKeyword : 0) |
                             (dated ? HasSortDate : 0));
    putText(out, item.name);
    putText(out, item.container);
    if (dated) {
        putText(out, *item.sortDate);
    }
    const std::uint32_t sum = checkSum(reinterpret_cast<const unsigned char*>(out.data()), out.size());
    for (int i = 0; i < 4; ++i) {
        out += static_cast<char>((sum >> (8 * i)) & 0xFF);
    }
    return out;
}

std::optional<ItemView> viewItem(const void* bytes, std::size_t size)
{
    const auto* data = static_cast<const unsigned char*>(bytes);
    if (data == nullptr || size < 4 + 2 + 2 + 4 || std::memcmp(data, Signature, sizeof Signature) != 0 ||
        data[2] != Version) {
        return std::nullopt;
    }
    std::uint32_t stored = 0;
    for (int i = 0; i < 4; ++i) {
        stored |= static_cast<std::uint32_t>(data[size - 4 + i]) << (8 * i);
    }
    if (stored != checkSum(data, size - 4)) {
        return std::nullopt;
    }
    // Made in place and returned by name: a view sorting thousands of items checks two
    // identifiers per comparison, and a copy of the result would cost as much as the checks.
    std::optional<ItemView> result(std::in_place);
    ItemView& item = *result;
    const std::uint8_t kind = data[3] & ~(UnderKeyword | HasSortDate);
    item.underKeyword = (data[3] & UnderKeyword) != 0;
    if (kind < static_cast<std::uint8_t>(ItemKind::Gallery) || kind > static_cast<std::uint8_t>(ItemKind::Search)) {
        return std::nullopt;
    }
    item.kind = static_cast<ItemKind>(kind);
    std::size_t at = 4;
    const std::size_t end = size - 4;
    if (!getText(data, end, at, item.name) || !getText(data, end, at, item.container)) {
        return std::nullopt;
    }
    if ((data[3] & HasSortDate) != 0) {
        std::string_view date;
        if (item.kind != ItemKind::Picture || !getText(data, end, at, date) || !validSortDate(date)) {
            return std::nullopt;
        }
        item.sortDate = date;
    }
    if (at != end) {
        return std::nullopt;
    }
    // What each kind must and must not hold.
    switch (item.kind) {
    case ItemKind::Gallery:
        if (!validGalleryPath(item.name) || !item.container.empty() || item.underKeyword) {
            return std::nullopt;
        }
        break;
    case ItemKind::Picture:
        if (item.name.empty() || (item.underKeyword ? item.container.empty() : !validGalleryPath(item.container))) {
            return std::nullopt;
        }
        break;
    case ItemKind::KeywordsFolder:
        if (!item.name.empty() || !item.container.empty() || item.underKeyword) {
            return std::nullopt;
        }
        break;
    case ItemKind::Keyword:
    case ItemKind::Search:
        if (item.name.empty() || !item.container.empty() || item.underKeyword) {
            return std::nullopt;
        }
        break;
    }
    return result;
}

std::optional<ItemId> decodeItem(const void* bytes, std::size_t size)
{
    const std::optional<ItemView> view = viewItem(bytes, size);
    if (!view) {
        return std::nullopt;
    }
    return ItemId{view->kind, std::string(view->name), std::string(view->container), view->underKeyword,
                  view->sortDate ? std::optional<std::string>(std::string(*view->sortDate)) : std::nullopt};
}

ItemView viewOf(const ItemId& item)
{
    ItemView view{item.kind, item.name, item.container, item.underKeyword, std::nullopt};
    if (item.sortDate) {
        view.sortDate = *item.sortDate;
    }
    return view;
}

} // namespace Lumeno::Namespace
