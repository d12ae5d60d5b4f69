// The store's galleries: a tree named by paths ("Travel/Alps") and each gallery's images. An
// image belongs to any number of galleries; its catalogue record exists once.
#pragma once

#include "StoreCatalogue.h"
#include "StoreTables.h"

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

namespace Lumeno::DB {

class StoreGalleryTree {
public:
    StoreGalleryTree(StoreTables& tables, StoreCatalogue& catalogue) : tables_(tables), catalogue_(catalogue) {}

    void create(const std::string& name);
    void rename(const std::string& name, const std::string& newName);
    void remove(const std::string& name);
    bool exists(const std::string& name);
    std::vector<std::string> subGalleries(const std::string& parent);
    // Fails with ENOENT when there is no gallery `gallery`.
    void mustExist(const std::string& gallery);
    bool addImage(const std::string& gallery, const Store::PreparedImage& prepared);
    bool removeImage(const std::string& gallery, const std::string& path);
    std::vector<std::string> images(const std::string& gallery);

    // After a repair: the galleries named by the members left, and their parents, made anew
    // where they were lost. Adds the members' files to `files`; counts the galleries made.
    std::size_t restoreFromMembers(std::vector<std::string>& files);

private:
    // The gallery `name` and every gallery below it.
    std::vector<std::pair<RecordId, GalleryEntry>> subtree(const std::string& name);
    void move(const std::string& name, const std::string& newName, const std::string& newParent,
              const std::vector<std::pair<RecordId, GalleryEntry>>& moved);
    void drop(const std::vector<std::pair<RecordId, GalleryEntry>>& doomed);

    StoreTables& tables_;
    StoreCatalogue& catalogue_;
};

} // namespace Lumeno::DB
