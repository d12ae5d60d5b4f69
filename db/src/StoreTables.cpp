#include "StoreTables.h"

#include <cerrno>
#include <filesystem>
#include <system_error>

namespace fs = std::filesystem;

namespace Lumeno::DB {

std::string fullPath(const std::string& path)
{
    std::error_code ec;
    const fs::path full = fs::absolute(fs::u8path(path), ec);
    return ec ? path : full.lexically_normal().u8string();
}

// The catalogue's five tables, then the galleries' two; the transporter tables are only kept
// open.
StoreTables::StoreTables()
    : tables_{{&imagesTree_, &images_},
              {&keywordsTree_, &keywords_},
              {&thumbnailsTree_, &thumbnails_},
              {&transporterImagesTree_, nullptr},
              {&transporterKeywordsTree_, nullptr},
              {&galleriesTree_, &galleries_},
              {&membersTree_, &members_}}
{
}

StoreTables::~StoreTables()
{
    close();
}

void StoreTables::open(const std::string& folder)
{
    Utility::CriticalSectionLock lock(section_);
    close();
    engine_ = Engine::open(folder);
    folder_ = folder;
    for (const Opened& opened : tables_) {
        Table& table = engine_->table(opened.tree->definition());
        opened.tree->setOpen(true);
        if (opened.table != nullptr) {
            *opened.table = &table;
        }
    }
}

void StoreTables::close()
{
    Utility::CriticalSectionLock lock(section_);
    for (const Opened& opened : tables_) {
        opened.tree->setOpen(false);
        if (opened.table != nullptr) {
            *opened.table = nullptr;
        }
    }
    if (engine_) {
        engine_->close();
        engine_.reset();
    }
}

void StoreTables::useFolder(const std::string& folder)
{
    Utility::CriticalSectionLock lock(section_);
    chosenFolder_ = folder;
}

void StoreTables::ensureOpen()
{
    if (!engine_) {
        open(chosenFolder_.empty() ? Store::defaultFolder() : chosenFolder_);
    }
}

bool StoreTables::present()
{
    Utility::CriticalSectionLock lock(section_);
    if (engine_) {
        return true;
    }
    std::string folder = chosenFolder_;
    if (folder.empty()) {
        try {
            folder = Store::defaultFolder();
        } catch (const ErrorDb&) {
            return false; // no data folder, so no store
        }
    }
    std::error_code ec;
    return fs::exists(fs::u8path(folder) / "Gallery.GDB", ec);
}

std::string StoreTables::closedFolder()
{
    close();
    const std::string folder = chosenFolder_.empty() ? Store::defaultFolder() : chosenFolder_;
    std::error_code ec;
    if (!fs::exists(fs::u8path(folder) / "Gallery.GDB", ec)) {
        throw ErrorDb(ENOENT, "there is no gallery store in " + folder);
    }
    folder_ = folder;
    return folder;
}

std::vector<TableDefinition> StoreTables::definitions() const
{
    std::vector<TableDefinition> all;
    for (const Opened& opened : tables_) {
        all.push_back(opened.tree->definition());
    }
    return all;
}

void StoreTables::transaction(const std::function<void()>& work)
{
    ensureOpen();
    engine_->transaction(work);
}

Schema::Rows<StoreImageEntry> StoreTables::images()
{
    ensureOpen();
    return {*images_, imageLayout()};
}

Schema::Rows<StoreKeywordEntry> StoreTables::keywords()
{
    ensureOpen();
    return {*keywords_, keywordLayout()};
}

Schema::Rows<StoreThumbnailEntry> StoreTables::thumbnails()
{
    ensureOpen();
    return {*thumbnails_, thumbnailLayout()};
}

Schema::Rows<GalleryEntry> StoreTables::galleries()
{
    ensureOpen();
    return {*galleries_, galleryLayout()};
}

Schema::Rows<GalleryMemberEntry> StoreTables::members()
{
    ensureOpen();
    return {*members_, galleryMemberLayout()};
}

} // namespace Lumeno::DB
