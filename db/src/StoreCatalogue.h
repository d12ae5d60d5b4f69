// The store's catalogue: for every stored image its record, the keyword records that point back
// to it and its thumbnail, brought up to date from the file and looked up by path or keyword.
#pragma once

#include "StoreTables.h"

#include "Lumeno/DB/Store.h"

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

namespace Lumeno::DB {

class StoreCatalogue {
public:
    explicit StoreCatalogue(StoreTables& tables) : tables_(tables) {}

    // What is read from the file and made of it; touches no store.
    static Store::PreparedImage prepare(const std::string& path, bool thumbnail);
    // The record, its keywords and its thumbnail, changed together or not at all.
    void commit(const Store::PreparedImage& prepared);
    void update(const std::string& path, bool thumbnail) { commit(prepare(path, thumbnail)); }
    void refresh(const std::string& path);

    bool image(const std::string& path, StoreImageEntry& entry);
    // The records of `paths` (stored full), in their order; a path without one gets an entry
    // with the path alone.
    std::vector<StoreImageEntry> entries(const std::vector<std::string>& paths);
    std::vector<std::string> find(const std::function<bool(const StoreImageEntry&)>& match);
    bool thumbnail(const std::string& path, std::string& jpeg);
    std::vector<std::string> filesWithKeyword(const std::string& keyword);
    std::vector<StoreKeywordEntry> keywordsWithPrefix(const std::string& prefix);
    std::size_t imageCount();

    // After a repair: the pictures named by `paths` and by the keywords and thumbnails left,
    // whose records were lost, read again from their files. Counts those read and those that
    // could not be.
    std::pair<std::size_t, std::size_t> readAgain(std::vector<std::string> paths);

private:
    void write(const Store::PreparedImage& prepared);

    StoreTables& tables_;
};

} // namespace Lumeno::DB
