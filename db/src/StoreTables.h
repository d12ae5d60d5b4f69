// What the parts of the gallery store share: the folder, the engine with every table once open,
// and the lock that serialises access to them. Each part holds `section()` around its work (the
// lock is re-entrant, so parts call one another freely).
#pragma once

#include "StoreLayouts.h"

#include "Lumeno/DB/Engine.h"
#include "Lumeno/DB/Store.h"

#include <Lumeno/Utility/CriticalSection.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace Lumeno::DB {

// Paths are kept in full: a relative one is taken from the current folder.
std::string fullPath(const std::string& path);

class StoreTables {
public:
    StoreTables();
    ~StoreTables();
    StoreTables(const StoreTables&) = delete;
    StoreTables& operator=(const StoreTables&) = delete;

    Utility::CriticalSection& section() noexcept { return section_; }

    void useFolder(const std::string& folder);
    void open(const std::string& folder);
    void close();
    bool isOpen() const noexcept { return engine_ != nullptr; }
    const std::string& folder() const noexcept { return folder_; }
    // Whether a store is open or exists to be opened.
    bool present();
    // The store's folder, with the store closed: checking and mending work on the files alone.
    std::string closedFolder();
    std::vector<TableDefinition> definitions() const;

    // Runs `work` as one transaction of the store (opening it first).
    void transaction(const std::function<void()>& work);

    // The tables, the store opened on first use.
    Schema::Rows<StoreImageEntry> images();
    Schema::Rows<StoreKeywordEntry> keywords();
    Schema::Rows<StoreThumbnailEntry> thumbnails();
    Schema::Rows<GalleryEntry> galleries();
    Schema::Rows<GalleryMemberEntry> members();

private:
    void ensureOpen();

    Utility::CriticalSection section_;
    std::string folder_;
    std::string chosenFolder_;
    std::unique_ptr<Engine> engine_;
    StoreImages imagesTree_;
    StoreKeywords keywordsTree_;
    StoreThumbnails thumbnailsTree_;
    StoreTransporterImages transporterImagesTree_;
    StoreTransporterKeywords transporterKeywordsTree_;
    StoreGalleries galleriesTree_;
    StoreGalleryImages membersTree_;
    // Looked up once when the store opens: building a definition per access would cost more
    // than the accesses themselves.
    Table* images_ = nullptr;
    Table* keywords_ = nullptr;
    Table* thumbnails_ = nullptr;
    Table* galleries_ = nullptr;
    Table* members_ = nullptr;
    // Every table in the order it is opened and checked, with where its open table is kept.
    struct Opened {
        StoreCTree* tree;
        Table** table;
    };
    const std::vector<Opened> tables_;
};

} // namespace Lumeno::DB
