#include "Lumeno/Namespace/Folder.h"

#include <Lumeno/DB/Store.h>
#include <Metadata/ImageFactory.h>
#include <Metadata/ImageStream.h>
#include <Metadata/MetadataValues.h>

#include <algorithm>
#include <cctype>
#include <filesystem>

namespace fs = std::filesystem;

namespace Lumeno::Namespace {

namespace {

const ColumnInfo Columns[ColumnCount] = {
    {"Name", false, 30},   {"Date taken", false, 19}, {"Title", false, 24}, {"Keywords", false, 30},
    {"Camera", false, 20}, {"Size", true, 10},        {"Path", false, 40},
};

// Names compare as the store's keys do: without regard to letter case (ASCII).
int compareText(std::string_view a, std::string_view b)
{
    const std::size_t n = std::min(a.size(), b.size());
    for (std::size_t i = 0; i < n; ++i) {
        const int x = std::tolower(static_cast<unsigned char>(a[i]));
        const int y = std::tolower(static_cast<unsigned char>(b[i]));
        if (x != y) {
            return x < y ? -1 : 1;
        }
    }
    return a.size() == b.size() ? 0 : (a.size() < b.size() ? -1 : 1);
}

std::string_view lastName(std::string_view path)
{
    const std::size_t slash = path.find_last_of("/\\");
    return slash == std::string_view::npos ? path : path.substr(slash + 1);
}

std::string joined(const std::vector<std::string>& items)
{
    std::string out;
    for (const std::string& item : items) {
        out += (out.empty() ? "" : "; ") + item;
    }
    return out;
}

// A size as the file manager writes it ("1,234 KB").
std::string sizeText(std::uint64_t bytes)
{
    std::string digits = std::to_string((bytes + 1023) / 1024);
    for (int at = static_cast<int>(digits.size()) - 3; at > 0; at -= 3) {
        digits.insert(static_cast<std::size_t>(at), ",");
    }
    return digits + " KB";
}

} // namespace

const ColumnInfo& columnInfo(Column column)
{
    return Columns[static_cast<std::size_t>(column)];
}

namespace {

std::string lower(std::string text)
{
    for (char& c : text) {
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    }
    return text;
}

std::vector<std::string> wordsOf(const std::string& text)
{
    std::vector<std::string> words;
    std::string word;
    for (char c : text + " ") {
        if (std::isspace(static_cast<unsigned char>(c)) || c == ',' || c == ';') {
            if (!word.empty()) {
                words.push_back(lower(word));
                word.clear();
            }
        } else {
            word += c;
        }
    }
    return words;
}

} // namespace

std::vector<std::string> searchPictures(DB::Store& store, const std::string& term)
{
    std::vector<std::string> found;
    if (!term.empty() && term[0] == '*') {
        for (const DB::StoreKeywordEntry& keyword : store.keywordsWithPrefix(term.substr(1))) {
            if (std::find(found.begin(), found.end(), keyword.file) == found.end()) {
                found.push_back(keyword.file);
            }
        }
        return found;
    }
    const std::vector<std::string> words = wordsOf(term);
    if (words.empty()) {
        return found;
    }
    return store.findImages([&words](const DB::StoreImageEntry& entry) {
        const std::string text = lower(entry.caption + " " + entry.headline + " " + entry.objectName);
        const std::vector<std::string> has = wordsOf(text);
        return std::all_of(words.begin(), words.end(), [&has](const std::string& word) {
            return std::find(has.begin(), has.end(), word) != has.end();
        });
    });
}

std::vector<std::string> rememberSearch(std::vector<std::string> history, const std::string& term, std::size_t most)
{
    history.erase(std::remove(history.begin(), history.end(), term), history.end());
    history.insert(history.begin(), term);
    if (history.size() > most) {
        history.resize(most);
    }
    return history;
}

bool isNamed(const std::vector<std::string>& titles, Column column)
{
    return std::any_of(titles.begin(), titles.end(),
                       [&](const std::string& title) { return compareText(title, columnInfo(column).title) == 0; });
}

std::vector<Column> columnOrder(const std::vector<std::string>& titles)
{
    std::vector<Column> order;
    auto add = [&order](Column column) {
        if (std::find(order.begin(), order.end(), column) == order.end()) {
            order.push_back(column);
        }
    };
    for (const std::string& title : titles) {
        for (std::size_t i = 0; i < ColumnCount; ++i) {
            if (compareText(title, Columns[i].title) == 0) {
                add(static_cast<Column>(i));
            }
        }
    }
    for (std::size_t i = 0; i < ColumnCount; ++i) {
        add(static_cast<Column>(i));
    }
    return order;
}

ColumnChoice columnsLeft(const std::vector<std::string>& shown, const std::vector<Column>& before)
{
    std::vector<Column> seen;
    for (const std::string& title : shown) {
        for (std::size_t i = 0; i < ColumnCount; ++i) {
            const auto column = static_cast<Column>(i);
            if (compareText(title, Columns[i].title) == 0 && std::find(seen.begin(), seen.end(), column) == seen.end()) {
                seen.push_back(column); // titles the folder does not know are passed over
            }
        }
    }
    if (std::find(seen.begin(), seen.end(), Column::Name) == seen.end()) {
        seen.insert(seen.begin(), Column::Name);
    }
    ColumnChoice choice;
    for (Column column : seen) {
        choice.order.emplace_back(columnInfo(column).title);
        choice.visible.emplace_back(columnInfo(column).title);
    }
    // The hidden ones in the order they had (any `before` lacks in their own order).
    std::vector<Column> rest = before;
    for (Column column : columnOrder({})) {
        if (std::find(rest.begin(), rest.end(), column) == rest.end()) {
            rest.push_back(column);
        }
    }
    for (Column column : rest) {
        if (std::find(seen.begin(), seen.end(), column) == seen.end()) {
            choice.order.emplace_back(columnInfo(column).title);
        }
    }
    return choice;
}

GalleryFolder::GalleryFolder(DB::Store& store) : store_(store) {}

const PictureDetails& GalleryFolder::remember(const DB::StoreImageEntry& entry)
{
    PictureDetails d;
    // IPTC's "20040226" and "062751-0500" as "2004-02-26 06:27:51".
    const std::string& date = entry.dateCreated;
    const std::string& time = entry.timeCreated;
    if (date.size() == 8) {
        d.dateTaken = date.substr(0, 4) + "-" + date.substr(4, 2) + "-" + date.substr(6, 2);
        d.sortDate = date;
        if (time.size() >= 6) {
            d.dateTaken += " " + time.substr(0, 2) + ":" + time.substr(2, 2) + ":" + time.substr(4, 2);
            d.sortDate += time.substr(0, 6);
        }
    }
    d.title = entry.objectName.empty() ? entry.headline : entry.objectName;
    d.keywords = joined(entry.keywords);
    auto found = details_.find(entry.filePath);
    if (found != details_.end()) {
        found->second = std::move(d);
        return found->second;
    }
    return details_.emplace(keep(entry.filePath), std::move(d)).first->second;
}

std::string_view GalleryFolder::keep(std::string_view path)
{
    paths_.emplace_front(path);
    return paths_.front();
}

const PictureDetails& GalleryFolder::details(std::string_view path)
{
    auto found = details_.find(path);
    if (found == details_.end()) {
        DB::StoreImageEntry entry;
        if (store_.image(std::string(path), entry)) {
            entry.filePath = std::string(path);
            remember(entry);
        } else {
            details_.emplace(keep(path), PictureDetails{});
        }
        found = details_.find(path);
    }
    return found->second;
}

const PictureDetails& GalleryFolder::sized(std::string_view path)
{
    PictureDetails& d = const_cast<PictureDetails&>(details(path));
    if (!d.sizeKnown) {
        // Asked of the file only when the size is shown or sorted by: a folder of thousands
        // opens without touching its files.
        std::error_code ec;
        const auto size = fs::file_size(fs::u8path(std::string(path)), ec);
        d.found = !ec;
        d.size = ec ? 0 : static_cast<std::uint64_t>(size);
        d.sizeKnown = true;
    }
    return d;
}

std::vector<ItemId> GalleryFolder::children(const ItemId* folder)
{
    std::vector<ItemId> items;
    if (folder == nullptr) {
        for (const std::string& gallery : store_.subGalleries("")) {
            items.push_back(ItemId::gallery(gallery));
        }
        items.push_back(ItemId::keywords());
        return items;
    }
    switch (folder->kind) {
    case ItemKind::Gallery:
        for (const std::string& gallery : store_.subGalleries(folder->name)) {
            items.push_back(ItemId::gallery(gallery));
        }
        for (const DB::StoreImageEntry& entry : store_.galleryEntries(folder->name)) {
            items.push_back(ItemId::pictureInGallery(folder->name, entry.filePath, remember(entry).sortDate));
        }
        break;
    case ItemKind::KeywordsFolder: {
        std::vector<std::string> seen;
        for (const DB::StoreKeywordEntry& keyword : store_.keywordsWithPrefix("")) {
            if (seen.empty() || compareText(seen.back(), keyword.keyword) != 0) {
                seen.push_back(keyword.keyword);
                items.push_back(ItemId::keyword(keyword.keyword));
            }
        }
        break;
    }
    case ItemKind::Keyword:
        for (const std::string& file : store_.filesWithKeyword(folder->name)) {
            items.push_back(ItemId::pictureUnderKeyword(folder->name, file));
        }
        break;
    case ItemKind::Search:
        for (const std::string& file : searchPictures(store_, folder->name)) {
            items.push_back(ItemId::pictureUnderKeyword(folder->name, file));
        }
        break;
    case ItemKind::Picture:
        break;
    }
    return items;
}

std::string GalleryFolder::displayName(const ItemId& item)
{
    return std::string(displayName(viewOf(item)));
}

std::string_view GalleryFolder::displayName(const ItemView& item)
{
    switch (item.kind) {
    case ItemKind::Gallery: return lastName(item.name);
    case ItemKind::Picture: return lastName(item.name);
    case ItemKind::KeywordsFolder: return KeywordsFolderName;
    case ItemKind::Keyword: return item.name;
    case ItemKind::Search: return item.name;
    }
    return item.name;
}

std::optional<ItemId> GalleryFolder::child(const ItemId* folder, const std::string& name)
{
    if (folder == nullptr && name.size() > 1 && name[0] == SearchMark) {
        return ItemId::search(name.substr(1)); // a search, found wherever the user stands
    }
    if (folder == nullptr || folder->kind == ItemKind::Gallery) {
        // Galleries are found by their path without listing the others.
        const std::string path = folder == nullptr ? name : folder->name + "/" + name;
        if (validGalleryPath(path) && store_.galleryExists(path)) {
            for (const std::string& gallery : store_.subGalleries(folder == nullptr ? "" : folder->name)) {
                if (compareText(gallery, path) == 0) {
                    return ItemId::gallery(gallery); // as the store spells it
                }
            }
        }
        if (folder == nullptr) {
            return compareText(name, KeywordsFolderName) == 0 ? std::optional<ItemId>(ItemId::keywords()) : std::nullopt;
        }
    }
    for (const ItemId& item : children(folder)) {
        if (compareText(displayName(item), name) == 0) {
            return item;
        }
    }
    return std::nullopt;
}

std::optional<std::vector<ItemId>> GalleryFolder::parse(const ItemId* folder, const std::string& path)
{
    std::vector<ItemId> items;
    std::size_t start = 0;
    while (start <= path.size()) {
        const std::size_t end = path.find_first_of("\\/", start);
        const std::string name = path.substr(start, end == std::string::npos ? std::string::npos : end - start);
        if (!name.empty()) {
            const std::optional<ItemId> next = child(items.empty() ? folder : &items.back(), name);
            if (!next) {
                return std::nullopt;
            }
            items.push_back(*next);
        }
        if (end == std::string::npos) {
            break;
        }
        start = end + 1;
    }
    return items;
}

bool GalleryFolder::exists(const ItemId& item)
{
    switch (item.kind) {
    case ItemKind::Gallery: return store_.galleryExists(item.name);
    case ItemKind::KeywordsFolder: return true;
    case ItemKind::Keyword: return !store_.filesWithKeyword(item.name).empty();
    case ItemKind::Search: return true;
    case ItemKind::Picture: {
        DB::StoreImageEntry entry;
        return store_.image(item.name, entry);
    }
    }
    return false;
}

std::string GalleryFolder::camera(std::string_view path)
{
    auto found = cameras_.find(path);
    if (found != cameras_.end()) {
        return found->second;
    }
    // Not in the store's records: read from the file, once.
    std::string text;
    try {
        Metadata::ImageStreamT stream;
        const auto image = Metadata::openImage(std::string(path), stream);
        const Metadata::MetadataValues values(*image);
        const auto* make = values.find("Make");
        const auto* model = values.find("Model");
        const std::string m = make != nullptr ? make->text : std::string();
        const std::string n = model != nullptr ? model->text : std::string();
        text = n.compare(0, m.size(), m) == 0 || m.empty() ? n : m + " " + n;
    } catch (const std::exception&) {
        text.clear();
    }
    return cameras_.emplace(keep(path), text).first->second;
}

std::string GalleryFolder::text(const ItemId& item, Column column)
{
    if (column == Column::Name) {
        return displayName(item);
    }
    if (item.kind != ItemKind::Picture) {
        return std::string();
    }
    switch (column) {
    case Column::DateTaken: return details(item.name).dateTaken;
    case Column::Title: return details(item.name).title;
    case Column::Keywords: return details(item.name).keywords;
    case Column::Camera: return camera(item.name);
    case Column::Size: {
        const PictureDetails& d = sized(item.name);
        return d.found ? sizeText(d.size) : std::string();
    }
    case Column::Path: return item.name;
    case Column::Name: break;
    }
    return std::string();
}

int GalleryFolder::compare(const ItemId& a, const ItemId& b, Column column)
{
    return compare(viewOf(a), viewOf(b), column);
}

int GalleryFolder::compare(const ItemView& a, const ItemView& b, Column column)
{
    if (a.isFolder() != b.isFolder()) {
        return a.isFolder() ? -1 : 1;
    }
    int order = 0;
    if (!a.isFolder() && column != Column::Name) {
        switch (column) {
        case Column::DateTaken:
            // The dates the identifiers carry when both do (a listing's own), else the catalogue's.
            order = a.sortDate && b.sortDate ? a.sortDate->compare(*b.sortDate)
                                             : details(a.name).sortDate.compare(details(b.name).sortDate);
            break;
        case Column::Title: order = compareText(details(a.name).title, details(b.name).title); break;
        case Column::Keywords: order = compareText(details(a.name).keywords, details(b.name).keywords); break;
        case Column::Camera: order = compareText(camera(a.name), camera(b.name)); break;
        case Column::Size: {
            const std::uint64_t x = sized(a.name).size;
            const std::uint64_t y = sized(b.name).size;
            order = x < y ? -1 : (x > y ? 1 : 0);
            break;
        }
        case Column::Path: order = compareText(a.name, b.name); break;
        case Column::Name: break;
        }
    }
    if (order == 0) {
        order = compareText(displayName(a), displayName(b));
    }
    if (order == 0) {
        order = compareText(a.name, b.name); // same file name in two folders
    }
    if (order == 0 && (a.underKeyword != b.underKeyword || a.container != b.container)) {
        order = a.underKeyword != b.underKeyword ? (a.underKeyword ? 1 : -1) : compareText(a.container, b.container);
    }
    return order < 0 ? -1 : (order > 0 ? 1 : 0);
}

} // namespace Lumeno::Namespace
