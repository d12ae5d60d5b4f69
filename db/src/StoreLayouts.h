// The gallery store's tables, each described once: the catalogue's (images, keywords,
// thumbnails) and the store's own for the tree of galleries and their members.
#pragma once

#include "Schema.h"

#include "Lumeno/DB/Store.h"

#include <string>

namespace Lumeno::DB {

// One gallery: its path in the tree ("Travel/Alps") and its parent's ("" at the top).
struct GalleryEntry {
    std::string name;
    std::string parent;
};

// One image in one gallery.
struct GalleryMemberEntry {
    std::string gallery;
    std::string file;
};

const Schema::Layout<StoreImageEntry>& imageLayout();
const Schema::Layout<StoreKeywordEntry>& keywordLayout();
const Schema::Layout<StoreThumbnailEntry>& thumbnailLayout();
const Schema::Layout<GalleryEntry>& galleryLayout();
const Schema::Layout<GalleryMemberEntry>& galleryMemberLayout();

class StoreGalleries : public StoreCTree {
public:
    std::vector<KeyDefinition> indexDefinitions() const override;
    std::vector<FieldDefinition> fieldList() const override;
    std::uint32_t fixedLength() const override;
    std::string fileName() const override { return "Galleries"; }
};

class StoreGalleryImages : public StoreCTree {
public:
    std::vector<KeyDefinition> indexDefinitions() const override;
    std::vector<FieldDefinition> fieldList() const override;
    std::uint32_t fixedLength() const override;
    std::string fileName() const override { return "GalleryImages"; }
};

} // namespace Lumeno::DB
