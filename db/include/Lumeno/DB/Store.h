// The gallery store: for every image put into a gallery, its catalogue record (path, archive
// location, the principal IPTC fields), the keywords that point back to it and a thumbnail, so
// that galleries can be listed, searched and shown without opening the images.
//
// Galleries form a tree named by paths ("Travel/Alps"). Membership is kept in two tables of the
// store's own beside the five of the catalogue: "Galleries" (one record per gallery: its path
// and its parent's) and "GalleryImages" (one record per gallery and image). An image belongs to
// any number of galleries; its catalogue record exists once.
#pragma once

#include "Lumeno/DB/Engine.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace Lumeno::DB {

// The base of every table: its definition comes from the subclass.
class StoreCTree {
public:
    virtual ~StoreCTree() = default;
    bool isOpen() const noexcept { return open_; }
    void setOpen(bool open) noexcept { open_ = open; }
    bool flag() const noexcept { return flag_; }
    void setFlag(bool flag) noexcept { flag_ = flag; }

    virtual std::vector<KeyDefinition> indexDefinitions() const = 0;
    virtual std::vector<FieldDefinition> fieldList() const = 0;
    virtual std::uint32_t fixedLength() const = 0;
    virtual std::string fileName() const = 0;
    TableDefinition definition() const { return {fileName(), fieldList(), fixedLength(), indexDefinitions()}; }

private:
    bool open_ = false;
    bool flag_ = false;
};

class _StoreImages : public StoreCTree {
public:
    std::vector<KeyDefinition> indexDefinitions() const override;
    std::vector<FieldDefinition> fieldList() const override;
    std::uint32_t fixedLength() const override;
};
class StoreImages : public _StoreImages {
public:
    std::string fileName() const override { return "Gallery"; }
};
class StoreTransporterImages : public _StoreImages {
public:
    std::string fileName() const override { return "TransporterGallery"; }
};

class _StoreKeywords : public StoreCTree {
public:
    std::vector<KeyDefinition> indexDefinitions() const override;
    std::vector<FieldDefinition> fieldList() const override;
    std::uint32_t fixedLength() const override;
    void setText(std::string text) { text_ = std::move(text); }
    const std::string& text() const noexcept { return text_; }

private:
    std::string text_;
};
class StoreKeywords : public _StoreKeywords {
public:
    std::string fileName() const override { return "TOC"; }
};
class StoreTransporterKeywords : public _StoreKeywords {
public:
    std::string fileName() const override { return "TransporterTOC"; }
};

class StoreThumbnails : public StoreCTree {
public:
    std::vector<KeyDefinition> indexDefinitions() const override;
    std::vector<FieldDefinition> fieldList() const override;
    std::uint32_t fixedLength() const override;
    std::string fileName() const override { return "Thumbnails"; }
};

// One image record.
struct StoreImageEntry {
    // LumenoFlags: which kinds of metadata the image carried when it was last read.
    static constexpr std::uint32_t HasEXIF = 1;
    static constexpr std::uint32_t HasIPTC = 2;
    static constexpr std::uint32_t HasXMP = 4;

    std::uint32_t flags = 0;
    std::string filePath, archiveLabel, archiveSerialNumber, archivePath;
    std::string objectName, specialInstructions, dateCreated, timeCreated, byLine, byLineTitle, city, provinceState,
        countryName, originalTransmissionReference, headline, credit, source, copyrightNotice, caption, category;
    std::vector<std::string> supplementalCategories;
    std::vector<std::string> keywords;
    std::string thumbnail; // kept in the thumbnail table; empty here

    Record toRecord() const;
    static StoreImageEntry fromRecord(const Record& record);
};

struct StoreKeywordEntry {
    std::string keyword;
    std::string file;
};

struct StoreThumbnailEntry {
    std::string filePath;
    std::string jpeg;
};

// The process's store, made of parts of its own: the catalogue's records (images, keywords,
// thumbnails), the galleries (the tree and its members) and the export of galleries, on one
// engine under one lock.
class Store {
public:
    // The process's store, opened in the user's data folder on first use.
    static Store& instance();
    // %APPDATA%\LumenoWorks\Lumeno on Windows, $XDG_DATA_HOME/LumenoWorks/Lumeno elsewhere.
    static std::string defaultFolder();
    // A gallery's path: non-empty names joined by '/', none of them "." or ".." (each becomes a
    // folder of an export), no '\', at most 260 bytes.
    static bool validGalleryName(std::string_view name);
    // Deletes a table's two files in `folder`; a missing file is no error.
    static void removeTableFiles(const std::string& folder, const std::string& tableName);

    Store();
    ~Store();
    // The folder the store opens in on first use, instead of the default one.
    void useFolder(const std::string& folder);
    // Opens (or creates) the store in `folder`, closing the one open before.
    void open(const std::string& folder);
    void close();
    bool isOpen() const;
    const std::string& folder() const noexcept;

    // Galleries, named by their path in the tree; a new gallery's parent must exist.
    void createGallery(const std::string& name);
    void renameGallery(const std::string& name, const std::string& newName);
    // Removes a gallery with its sub-galleries and their memberships (the images stay stored).
    void removeGallery(const std::string& name);
    bool galleryExists(const std::string& name);
    // The galleries directly below `parent` ("" for the top).
    std::vector<std::string> subGalleries(const std::string& parent);
    // Adds an image to a gallery (bringing its record up to date first); false when it was a member.
    bool addImage(const std::string& gallery, const std::string& path, bool thumbnail = true);
    bool removeImage(const std::string& gallery, const std::string& path);
    std::vector<std::string> images(const std::string& gallery);
    // The records of a gallery's images, in the gallery's order (an image the catalogue lost is
    // an entry with its path alone): what a view of the gallery shows, read in one pass.
    std::vector<StoreImageEntry> galleryEntries(const std::string& gallery);
    // The paths of the catalogue's images whose records `match` takes, in the catalogue's order.
    std::vector<std::string> findImages(const std::function<bool(const StoreImageEntry&)>& match);

    // Paths are kept in full: a relative one is taken from the current folder.
    // Brings the image's record and keyword records (and, with `thumbnail`, its thumbnail) up to
    // date from the file. A stored path that differs only in letter case is a duplicate.
    void update(const std::string& path, bool thumbnail);
    // update() in two parts: what is read from the file and made of it (the slow part, which
    // touches no store and may run on any thread, for several files at once), then its one
    // transaction. Each throws ErrorDb as update() does.
    struct PreparedImage {
        StoreImageEntry entry;
        bool withThumbnail = false;
        std::string thumbnail;
    };
    static PreparedImage prepare(const std::string& path, bool thumbnail);
    void commit(const PreparedImage& prepared);
    // addImage() with the record prepared already.
    bool addImage(const std::string& gallery, const PreparedImage& prepared);
    // update(path, true) for an image the store holds already; nothing for others (and nothing
    // at all while no store exists).
    void refresh(const std::string& path);
    // Whether a store is open or exists to be opened (a viewer asks before it reads thumbnails,
    // so that looking at pictures never makes a store).
    bool present();

    bool image(const std::string& path, StoreImageEntry& entry);
    bool thumbnail(const std::string& path, std::string& jpeg);
    // Files that carry a keyword (letter case aside), or a keyword that begins with `prefix`.
    std::vector<std::string> filesWithKeyword(const std::string& keyword);
    std::vector<StoreKeywordEntry> keywordsWithPrefix(const std::string& prefix);
    std::size_t imageCount();

    // Verifies every file of the store (closing it first); nothing when all is sound. Throws
    // ErrorDb (ENOENT) when there is no store.
    std::vector<StoreProblem> check();
    // Mends a damaged store (see Engine::repair), closing it first.
    RepairReport repair();

    // Exports a gallery and its sub-galleries (each in a folder of its name below) as web pages.
    // Throws ErrorDb "Failed to export to: PATH" when a target cannot be written.
    void exportGallery(const std::string& name, const std::string& folder);

private:
    // The tables with their lock, the catalogue, the galleries and the export, which share them.
    struct Parts;
    std::unique_ptr<Parts> parts_;
};

} // namespace Lumeno::DB
