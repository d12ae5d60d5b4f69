#include "Lumeno/DB/Store.h"

#include "StoreCatalogue.h"
#include "StoreExport.h"
#include "StoreGalleries.h"
#include "StoreTables.h"

#include <Lumeno/Platform/Services.h>

#include <cerrno>
#include <filesystem>
#include <system_error>

namespace fs = std::filesystem;

namespace Lumeno::DB {

struct Store::Parts {
    StoreTables tables;
    StoreCatalogue catalogue{tables};
    StoreGalleryTree galleries{tables, catalogue};
    StoreExport exporter{tables, galleries, catalogue};
};

Store& Store::instance()
{
    static Store store;
    return store;
}

std::string Store::defaultFolder()
{
    const std::string data = Platform::services().dataFolder();
    if (data.empty()) {
        throw ErrorDb(ENOENT, "the user's data folder is unknown: no gallery store can be opened");
    }
    return (fs::u8path(data) / "LumenoWorks" / "Lumeno").u8string();
}

void Store::removeTableFiles(const std::string& folder, const std::string& tableName)
{
    for (const char* extension : {".GDB", ".NDX"}) {
        const fs::path file = fs::u8path(folder) / fs::u8path(tableName + extension);
        std::error_code ec;
        if (fs::exists(file, ec) && !fs::remove(file, ec)) {
            throw ErrorDb(ec.value(), "cannot delete " + file.u8string() + ": " + ec.message());
        }
    }
}

Store::Store() : parts_(std::make_unique<Parts>()) {}

Store::~Store() = default;

void Store::useFolder(const std::string& folder)
{
    parts_->tables.useFolder(folder);
}

void Store::open(const std::string& folder)
{
    parts_->tables.open(folder);
}

void Store::close()
{
    parts_->tables.close();
}

bool Store::isOpen() const
{
    return parts_->tables.isOpen();
}

const std::string& Store::folder() const noexcept
{
    return parts_->tables.folder();
}

void Store::createGallery(const std::string& name)
{
    parts_->galleries.create(name);
}

void Store::renameGallery(const std::string& name, const std::string& newName)
{
    parts_->galleries.rename(name, newName);
}

void Store::removeGallery(const std::string& name)
{
    parts_->galleries.remove(name);
}

bool Store::galleryExists(const std::string& name)
{
    return parts_->galleries.exists(name);
}

std::vector<std::string> Store::subGalleries(const std::string& parent)
{
    return parts_->galleries.subGalleries(parent);
}

bool Store::addImage(const std::string& gallery, const std::string& path, bool thumbnail)
{
    // The gallery is asked for before the file is read, and again when the image is added.
    parts_->galleries.mustExist(gallery);
    return addImage(gallery, prepare(path, thumbnail));
}

bool Store::addImage(const std::string& gallery, const PreparedImage& prepared)
{
    return parts_->galleries.addImage(gallery, prepared);
}

bool Store::removeImage(const std::string& gallery, const std::string& path)
{
    return parts_->galleries.removeImage(gallery, path);
}

std::vector<std::string> Store::images(const std::string& gallery)
{
    return parts_->galleries.images(gallery);
}

std::vector<StoreImageEntry> Store::galleryEntries(const std::string& gallery)
{
    return parts_->catalogue.entries(parts_->galleries.images(gallery));
}

std::vector<std::string> Store::findImages(const std::function<bool(const StoreImageEntry&)>& match)
{
    return parts_->catalogue.find(match);
}

void Store::update(const std::string& path, bool thumbnail)
{
    parts_->catalogue.update(path, thumbnail);
}

Store::PreparedImage Store::prepare(const std::string& path, bool thumbnail)
{
    return StoreCatalogue::prepare(path, thumbnail);
}

void Store::commit(const PreparedImage& prepared)
{
    parts_->catalogue.commit(prepared);
}

void Store::refresh(const std::string& path)
{
    parts_->catalogue.refresh(path);
}

bool Store::present()
{
    return parts_->tables.present();
}

bool Store::image(const std::string& path, StoreImageEntry& entry)
{
    return parts_->catalogue.image(path, entry);
}

bool Store::thumbnail(const std::string& path, std::string& jpeg)
{
    return parts_->catalogue.thumbnail(path, jpeg);
}

std::vector<std::string> Store::filesWithKeyword(const std::string& keyword)
{
    return parts_->catalogue.filesWithKeyword(keyword);
}

std::vector<StoreKeywordEntry> Store::keywordsWithPrefix(const std::string& prefix)
{
    return parts_->catalogue.keywordsWithPrefix(prefix);
}

std::size_t Store::imageCount()
{
    return parts_->catalogue.imageCount();
}

std::vector<StoreProblem> Store::check()
{
    StoreTables& tables = parts_->tables;
    Utility::CriticalSectionLock lock(tables.section());
    return Engine::check(tables.closedFolder(), tables.definitions());
}

RepairReport Store::repair()
{
    StoreTables& tables = parts_->tables;
    Utility::CriticalSectionLock lock(tables.section());
    RepairReport report = Engine::repair(tables.closedFolder(), tables.definitions());
    // What the saved records still tell of lost ones: galleries named by their members, and
    // pictures named by galleries, keywords or thumbnails, whose records are read again from
    // the pictures themselves.
    std::vector<std::string> paths;
    const std::size_t galleries = parts_->galleries.restoreFromMembers(paths);
    const auto [pictures, missing] = parts_->catalogue.readAgain(std::move(paths));
    if (galleries > 0) {
        report.lines.push_back(std::to_string(galleries) + " galleries made anew from their pictures");
    }
    if (pictures > 0 || missing > 0) {
        report.lines.push_back(std::to_string(pictures) + " pictures read again from their files" +
                               (missing > 0 ? ", " + std::to_string(missing) + " could not be read" : std::string()));
    }
    return report;
}

void Store::exportGallery(const std::string& name, const std::string& folder)
{
    parts_->exporter.exportGallery(name, folder);
}

} // namespace Lumeno::DB
