// What the "My Galleries" folder holds and shows, from the gallery store: at the top the
// galleries and the "Keywords" folder; in a gallery its sub-galleries, then its pictures; under
// "Keywords" a folder per keyword of the store, with the pictures that carry it. Pictures have
// the columns of the folder's view, and sort by any of them.
#pragma once

#include "Lumeno/Namespace/ItemId.h"

#include <cstddef>
#include <cstdint>
#include <forward_list>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace Lumeno::DB {
class Store;
struct StoreImageEntry;
} // namespace Lumeno::DB

namespace Lumeno::Namespace {

enum class Column { Name, DateTaken, Title, Keywords, Camera, Size, Path };
constexpr std::size_t ColumnCount = 7;

struct ColumnInfo {
    const char* title;
    bool rightAligned; // numbers
    int width;         // in characters, as the view first sizes it
};
const ColumnInfo& columnInfo(Column column);
// The columns in the order `titles` names them (ColumnOrder: unknown titles passed over), then
// those it does not name, in their own order.
std::vector<Column> columnOrder(const std::vector<std::string>& titles);
// Whether `titles` (VisibleColumns) names the column, letter case aside.
bool isNamed(const std::vector<std::string>& titles, Column column);

// What a view's columns leave to be remembered (ColumnOrder and VisibleColumns): `shown` are the
// titles of the columns the view shows, in the order it shows them (a view shows only those the
// user keeps); `before` the order they had. The order is the shown ones', then the hidden ones
// in the places they had among themselves; the Name column is always visible.
struct ColumnChoice {
    std::vector<std::string> order;
    std::vector<std::string> visible;
    bool operator==(const ColumnChoice& o) const { return order == o.order && visible == o.visible; }
};
ColumnChoice columnsLeft(const std::vector<std::string>& shown, const std::vector<Column>& before);

// The title of the folder's "Keywords" folder.
constexpr const char* KeywordsFolderName = "Keywords";
// A name that begins so is a search ("?sunrise lake", "?*sun"): see searchPictures.
constexpr char SearchMark = '?';

// The pictures a search finds: with a term "*PREFIX" those carrying a keyword that begins so;
// otherwise those whose caption, headline or title holds every word of the term (letter case
// aside). In the catalogue's order.
std::vector<std::string> searchPictures(DB::Store& store, const std::string& term);
// The search history with `term` first, each term once, at most `most` kept.
std::vector<std::string> rememberSearch(std::vector<std::string> history, const std::string& term, std::size_t most = 20);

// A picture as the folder shows it; kept while the folder object lives.
struct PictureDetails {
    std::string dateTaken; // "2004-02-26 06:27:51", as people read it
    std::string sortDate;  // "20040226062751": sorts as time runs
    std::string title;
    std::string keywords;  // "; " between them
    std::uint64_t size = 0;
    bool found = false;    // the file is there (known with the size)
    bool sizeKnown = false;
};

class GalleryFolder {
public:
    explicit GalleryFolder(DB::Store& store);

    // What a folder holds (the top when `folder` is null): its folders first, then its pictures,
    // in the store's order.
    std::vector<ItemId> children(const ItemId* folder);
    // The name the user sees: a gallery's last name, a picture's file name, "Keywords", a
    // keyword.
    static std::string displayName(const ItemId& item);
    static std::string_view displayName(const ItemView& item);
    // The child of `folder` the user names so (letter case aside, as the store compares names).
    std::optional<ItemId> child(const ItemId* folder, const std::string& name);
    // The items on a path of display names below `folder`, separated by '\' or '/'
    // ("Holidays\Lakes"); nothing when a name is not there.
    std::optional<std::vector<ItemId>> parse(const ItemId* folder, const std::string& path);
    // Whether the store still has the item.
    bool exists(const ItemId& item);

    // A column's text of an item (empty for a folder but in the Name column).
    std::string text(const ItemId& item, Column column);
    // Below zero, zero, above zero: folders before pictures, then by the column, then by name.
    int compare(const ItemId& a, const ItemId& b, Column column);
    int compare(const ItemView& a, const ItemView& b, Column column);
    const PictureDetails& details(std::string_view path);
    // The same with the file's size, which is read from the file on first use.
    const PictureDetails& sized(std::string_view path);

private:
    const PictureDetails& remember(const DB::StoreImageEntry& entry);
    std::string camera(std::string_view path);
    // The details' own copy of a path, which their map's keys point into.
    std::string_view keep(std::string_view path);

    DB::Store& store_;
    std::forward_list<std::string> paths_;
    std::unordered_map<std::string_view, PictureDetails> details_;
    std::unordered_map<std::string_view, std::string> cameras_;
};

} // namespace Lumeno::Namespace
