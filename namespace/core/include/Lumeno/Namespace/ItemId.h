// The identifiers of the "My Galleries" folder's items, as the shell keeps them (one level of an
// item identifier list each): a gallery, a picture in a gallery or under a keyword, the
// "Keywords" folder and a keyword. Each holds what names the item for good (a gallery's path, a
// picture's file path), so an identifier the shell kept from an earlier session still finds its
// item. They are versioned, and checked whole when handed back: an identifier that is damaged,
// of another version or of another folder is refused, never trusted.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace Lumeno::Namespace {

enum class ItemKind : std::uint8_t {
    Gallery = 1,        // name: the gallery's path ("Holidays/Lakes")
    Picture = 2,        // name: the file's full path; container: the gallery's path, or the keyword
    KeywordsFolder = 3, // the folder of the store's keywords
    Keyword = 4,        // name: the keyword
    Search = 5,         // name: the search term ("*sun" for keywords beginning so, else words)
};

struct ItemId {
    ItemKind kind = ItemKind::Gallery;
    std::string name;
    // A picture's place: the gallery it is listed in, or the keyword (under the Keywords folder)
    // or search term that found it (then `underKeyword`: it is in no gallery there).
    std::string container;
    bool underKeyword = false;
    // A picture's capture date as the catalogue had it when the folder listed it
    // ("20040226062751", "20040226", or "" for none), when known: the view sorts thousands of
    // pictures by it without looking each one up, as the file system's own identifiers carry a
    // file's size and time. Not part of what names the picture.
    std::optional<std::string> sortDate;

    static ItemId gallery(const std::string& path) { return {ItemKind::Gallery, path, {}, false, {}}; }
    static ItemId keywords() { return {ItemKind::KeywordsFolder, {}, {}, false, {}}; }
    static ItemId keyword(const std::string& keyword) { return {ItemKind::Keyword, keyword, {}, false, {}}; }
    static ItemId search(const std::string& term) { return {ItemKind::Search, term, {}, false, {}}; }
    static ItemId pictureInGallery(const std::string& gallery, const std::string& file,
                                   std::optional<std::string> sortDate = std::nullopt)
    {
        return {ItemKind::Picture, file, gallery, false, std::move(sortDate)};
    }
    static ItemId pictureUnderKeyword(const std::string& keyword, const std::string& file,
                                      std::optional<std::string> sortDate = std::nullopt)
    {
        return {ItemKind::Picture, file, keyword, true, std::move(sortDate)};
    }

    bool isFolder() const noexcept { return kind != ItemKind::Picture; }
    // The same item (whatever date each carries).
    bool operator==(const ItemId& o) const
    {
        return kind == o.kind && name == o.name && container == o.container && underKeyword == o.underKeyword;
    }
};

// The longest text an identifier holds (a path of the store is at most 260 bytes; a keyword 64).
constexpr std::size_t MostItemText = 1024;

// The identifier's bytes: a signature, the version, the kind, the texts with their lengths (the
// sort date last, when known), and a check sum over all of it. Throws std::invalid_argument for a text longer than MostItemText
// or holding a NUL.
std::string encodeItem(const ItemId& item);
// The check sum that ends an identifier, over the bytes before it (exposed for tests).
std::uint32_t itemCheckSum(const void* data, std::size_t size);
// The identifier those bytes stand for; nothing when they are not one of ours, whole and sound.
std::optional<ItemId> decodeItem(const void* data, std::size_t size);

// The same, checked as whole, its texts left where they are (for a view's many comparisons,
// which would otherwise copy them each time). Valid while the bytes are.
struct ItemView {
    ItemKind kind = ItemKind::Gallery;
    std::string_view name;
    std::string_view container;
    bool underKeyword = false;
    std::optional<std::string_view> sortDate;
    bool isFolder() const noexcept { return kind != ItemKind::Picture; }
};
std::optional<ItemView> viewItem(const void* data, std::size_t size);
ItemView viewOf(const ItemId& item);

// Whether a gallery's path is one the store takes: names joined by '/', none empty, "." or
// "..", no '\', at most 260 bytes.
bool validGalleryPath(std::string_view path);

} // namespace Lumeno::Namespace
