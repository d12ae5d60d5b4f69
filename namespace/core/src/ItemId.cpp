#include "Lumeno/Namespace/ItemId.h"

#include <Lumeno/DB/Store.h>

#include <cstring>
#include <stdexcept>

namespace Lumeno::Namespace {

namespace {

constexpr char Signature[2] = {'L', 'g'};
constexpr std::uint8_t Version = 1;
constexpr std::uint8_t UnderKeyword = 0x80; // in the kind byte

// FNV-1a: enough to tell a damaged identifier from a sound one (it guards against accidents,
// not against forgery: a forged identifier is still checked as any other).
std::uint32_t checkSum(const unsigned char* data, std::size_t size)
{
    std::uint32_t h = 2166136261u;
    for (std::size_t i = 0; i < size; ++i) {
        h = (h ^ data[i]) * 16777619u;
    }
    return h;
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

bool validGalleryPath(std::string_view path)
{
    return DB::Store::validGalleryName(path);
}

std::string encodeItem(const ItemId& item)
{
    std::string out(Signature, sizeof Signature);
    out += static_cast<char>(Version);
    out += static_cast<char>(static_cast<std::uint8_t>(item.kind) | (item.underKeyword ? UnderKeyword : 0));
    putText(out, item.name);
    putText(out, item.container);
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
    ItemView item;
    const std::uint8_t kind = data[3] & ~UnderKeyword;
    item.underKeyword = (data[3] & UnderKeyword) != 0;
    if (kind < static_cast<std::uint8_t>(ItemKind::Gallery) || kind > static_cast<std::uint8_t>(ItemKind::Search)) {
        return std::nullopt;
    }
    item.kind = static_cast<ItemKind>(kind);
    std::size_t at = 4;
    const std::size_t end = size - 4;
    if (!getText(data, end, at, item.name) || !getText(data, end, at, item.container) || at != end) {
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
    return item;
}

std::optional<ItemId> decodeItem(const void* bytes, std::size_t size)
{
    const std::optional<ItemView> view = viewItem(bytes, size);
    if (!view) {
        return std::nullopt;
    }
    return ItemId{view->kind, std::string(view->name), std::string(view->container), view->underKeyword};
}

ItemView viewOf(const ItemId& item)
{
    return ItemView{item.kind, item.name, item.container, item.underKeyword};
}

} // namespace Lumeno::Namespace
