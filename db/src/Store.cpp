#include "Lumeno/DB/Store.h"

#include "StoreLayouts.h"

#include "Lumeno/DB/Serializer.h"
#include "Lumeno/DB/Thumbnail.h"

#include <Lumeno/Platform/Services.h>
#include <Metadata/EXIF.h>
#include <Metadata/Exceptions.h>
#include <Metadata/ImageFactory.h>
#include <Metadata/ImageStream.h>
#include <Metadata/IPTC.h>
#include <Metadata/MetadataValues.h>
#include <Metadata/XMP.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <system_error>

namespace fs = std::filesystem;

namespace Lumeno::DB {

namespace {

const StoreGalleries Galleries;
const StoreGalleryImages GalleryImages;

// Names and paths are equal as the store's keys are: without regard to letter case.
bool sameText(const std::string& a, const std::string& b)
{
    return sameKey(a, b);
}

std::string fullPath(const std::string& path)
{
    std::error_code ec;
    const fs::path full = fs::absolute(fs::u8path(path), ec);
    return ec ? path : full.lexically_normal().u8string();
}

// A gallery's path: non-empty names joined by '/', none of them "." or "..", since each becomes
// a folder of an export.
bool validGalleryName(const std::string& name)
{
    if (name.empty() || name.size() > 260 || name.find('\\') != std::string::npos) {
        return false;
    }
    std::size_t start = 0;
    for (;;) {
        const std::size_t slash = name.find('/', start);
        const std::string part = name.substr(start, slash == std::string::npos ? std::string::npos : slash - start);
        if (part.empty() || part == "." || part == "..") {
            return false;
        }
        if (slash == std::string::npos) {
            return true;
        }
        start = slash + 1;
    }
}

std::string parentOf(const std::string& name)
{
    const std::size_t slash = name.rfind('/');
    return slash == std::string::npos ? std::string() : name.substr(0, slash);
}

} // namespace

// ---- the store -------------------------------------------------------------------------------

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

Store::Store() = default;

Store::~Store()
{
    close();
}

void Store::open(const std::string& folder)
{
    Utility::CriticalSectionLock lock(section_);
    close();
    engine_ = Engine::open(folder);
    folder_ = folder;
    // Each table is looked up by its tree from now on: building a definition per access would
    // cost more than the look-ups themselves.
    for (StoreCTree* tree : std::initializer_list<StoreCTree*>{&images_, &keywords_, &thumbnails_, &transporterImages_,
                                                                &transporterKeywords_}) {
        tables_[tree] = &engine_->table(tree->definition());
        tree->setOpen(true);
    }
    for (const StoreCTree* tree : std::initializer_list<const StoreCTree*>{&Galleries, &GalleryImages}) {
        tables_[tree] = &engine_->table(tree->definition());
    }
}

void Store::close()
{
    Utility::CriticalSectionLock lock(section_);
    tables_.clear();
    if (engine_) {
        engine_->close();
        engine_.reset();
    }
    for (StoreCTree* tree : std::initializer_list<StoreCTree*>{&images_, &keywords_, &thumbnails_, &transporterImages_,
                                                                &transporterKeywords_}) {
        tree->setOpen(false);
    }
}

bool Store::isOpen() const
{
    return engine_ != nullptr;
}

void Store::useFolder(const std::string& folder)
{
    Utility::CriticalSectionLock lock(section_);
    chosenFolder_ = folder;
}

void Store::ensureOpen()
{
    if (!engine_) {
        open(chosenFolder_.empty() ? defaultFolder() : chosenFolder_);
    }
}

Table& Store::table(const StoreCTree& tree)
{
    ensureOpen();
    return *tables_.at(&tree);
}

void Store::createGallery(const std::string& name)
{
    Utility::CriticalSectionLock lock(section_);
    if (!validGalleryName(name)) {
        throw ErrorDb(EINVAL, "'" + name + "' is not a gallery name");
    }
    const std::string parent = parentOf(name);
    if (!parent.empty() && !galleryExists(parent)) {
        throw ErrorDb(ENOENT, "there is no gallery '" + parent + "'");
    }
    if (galleryExists(name)) {
        throw ErrorDb(EEXIST, "the gallery '" + name + "' exists already");
    }
    table(Galleries).add({std::string(1, '\0'), name, parent});
}

bool Store::galleryExists(const std::string& name)
{
    Utility::CriticalSectionLock lock(section_);
    Record r;
    RecordId id = 0;
    return table(Galleries).find(1, name, r, id);
}

std::vector<std::string> Store::subGalleries(const std::string& parent)
{
    Utility::CriticalSectionLock lock(section_);
    std::vector<std::string> names;
    table(Galleries).range(2, parent, [&](RecordId, const Record& r) {
        // Keys come in order: the first other parent ends the run.
        if (!sameText(r[2], parent)) {
            return false;
        }
        names.push_back(r[1]);
        return true;
    });
    return names;
}

void Store::renameGallery(const std::string& name, const std::string& newName)
{
    Utility::CriticalSectionLock lock(section_);
    if (!galleryExists(name)) {
        throw ErrorDb(ENOENT, "there is no gallery '" + name + "'");
    }
    if (!validGalleryName(newName)) {
        throw ErrorDb(EINVAL, "'" + newName + "' is not a gallery name");
    }
    if (galleryExists(newName)) {
        throw ErrorDb(EEXIST, "the gallery '" + newName + "' exists already");
    }
    const std::string newParent = parentOf(newName);
    if (!newParent.empty() && !galleryExists(newParent)) {
        throw ErrorDb(ENOENT, "there is no gallery '" + newParent + "'");
    }
    // The gallery and everything below it take the new name.
    std::vector<std::pair<RecordId, Record>> moved;
    table(Galleries).range(1, name, [&](RecordId id, const Record& r) {
        if (sameText(r[1], name) || sameText(r[1].substr(0, name.size() + 1), name + "/")) {
            moved.emplace_back(id, r);
        }
        return true;
    });
    ensureOpen();
    engine_->transaction([&] { moveGalleries(name, newName, newParent, moved); });
}

void Store::moveGalleries(const std::string& name, const std::string& newName, const std::string& newParent,
                          std::vector<std::pair<RecordId, Record>>& moved)
{
    for (auto& [id, r] : moved) {
        const std::string rest = r[1].substr(name.size());
        Record renamed = r;
        renamed[1] = newName + rest;
        renamed[2] = rest.empty() ? newParent : parentOf(newName + rest);
        table(Galleries).rewrite(id, renamed);
        std::vector<std::pair<RecordId, Record>> members;
        table(GalleryImages).range(1, r[1], [&](RecordId m, const Record& member) {
            if (!sameText(member[1], r[1])) {
                return false;
            }
            members.emplace_back(m, member);
            return true;
        });
        for (auto& [m, member] : members) {
            member[1] = renamed[1];
            table(GalleryImages).rewrite(m, member);
        }
    }
}

void Store::removeGallery(const std::string& name)
{
    Utility::CriticalSectionLock lock(section_);
    if (!galleryExists(name)) {
        throw ErrorDb(ENOENT, "there is no gallery '" + name + "'");
    }
    std::vector<std::pair<RecordId, std::string>> doomed;
    table(Galleries).range(1, name, [&](RecordId id, const Record& r) {
        if (sameText(r[1], name) || sameText(r[1].substr(0, name.size() + 1), name + "/")) {
            doomed.emplace_back(id, r[1]);
        }
        return true;
    });
    ensureOpen();
    engine_->transaction([&] { dropGalleries(doomed); });
}

void Store::dropGalleries(const std::vector<std::pair<RecordId, std::string>>& doomed)
{
    for (const auto& [id, gallery] : doomed) {
        std::vector<RecordId> members;
        table(GalleryImages).range(1, gallery, [&](RecordId m, const Record& member) {
            if (sameText(member[1], gallery)) {
                members.push_back(m);
            }
            return true;
        });
        for (RecordId m : members) {
            table(GalleryImages).remove(m);
        }
        table(Galleries).remove(id);
    }
}

bool Store::addImage(const std::string& gallery, const std::string& givenPath, bool thumbnail)
{
    {
        Utility::CriticalSectionLock lock(section_);
        if (!galleryExists(gallery)) {
            throw ErrorDb(ENOENT, "there is no gallery '" + gallery + "'");
        }
    }
    return addImage(gallery, prepare(givenPath, thumbnail));
}

bool Store::addImage(const std::string& gallery, const PreparedImage& prepared)
{
    const std::string& path = prepared.entry.filePath;
    Utility::CriticalSectionLock lock(section_);
    if (!galleryExists(gallery)) {
        throw ErrorDb(ENOENT, "there is no gallery '" + gallery + "'");
    }
    commit(prepared);
    // Looked up by the file (a picture is in a few galleries), not by walking the gallery's
    // members: adding a card of thousands of pictures stays linear.
    bool member = false;
    table(GalleryImages).range(2, path, [&](RecordId, const Record& r) {
        if (!sameText(r[2], path)) {
            return false;
        }
        member = sameText(r[1], gallery);
        return !member;
    });
    if (member) {
        return false;
    }
    table(GalleryImages).add({std::string(1, '\0'), gallery, path});
    return true;
}

bool Store::removeImage(const std::string& gallery, const std::string& givenPath)
{
    const std::string path = fullPath(givenPath);
    Utility::CriticalSectionLock lock(section_);
    std::vector<RecordId> found;
    table(GalleryImages).range(1, gallery, [&](RecordId id, const Record& r) {
        if (!sameText(r[1], gallery)) {
            return false;
        }
        if (sameText(r[2], path)) {
            found.push_back(id);
        }
        return true;
    });
    for (RecordId id : found) {
        table(GalleryImages).remove(id);
    }
    return !found.empty();
}

std::vector<std::string> Store::images(const std::string& gallery)
{
    Utility::CriticalSectionLock lock(section_);
    // The index keeps a gallery's members in the byte order of their record numbers, which is
    // not the order they came in from the 257th on: sorted by number, they are.
    std::vector<std::pair<RecordId, std::string>> members;
    table(GalleryImages).range(1, gallery, [&](RecordId id, const Record& r) {
        if (!sameText(r[1], gallery)) {
            return false;
        }
        members.emplace_back(id, r[2]);
        return true;
    });
    std::sort(members.begin(), members.end(),
              [](const auto& a, const auto& b) { return a.first < b.first; });
    std::vector<std::string> files;
    files.reserve(members.size());
    for (auto& member : members) {
        files.push_back(std::move(member.second));
    }
    return files;
}

namespace {

// What the IPTC record lacks, taken from the photo's reconciled values (XMP, EXIF), so that a
// photo whose editor wrote only XMP is listed and found by its title, people, place and
// keywords too. The record's own datasets stay as they are.
void fillFromReconciled(StoreImageEntry& entry, const Metadata::MetadataValues& values)
{
    auto fill = [&values](std::string& field, const char* name) {
        if (field.empty()) {
            if (const Metadata::MetadataValues::Value* v = values.find(name)) {
                field = v->text;
            }
        }
    };
    fill(entry.objectName, "Title");
    fill(entry.caption, "Description");
    fill(entry.byLine, "Creator");
    fill(entry.copyrightNotice, "Copyright");
    fill(entry.city, "City");
    fill(entry.provinceState, "State");
    fill(entry.countryName, "Country");
    if (entry.keywords.empty()) {
        entry.keywords = values.keywords();
    }
    // The date taken ("2004:02:26 06:27:51.5-05:00") as IPTC's date and time
    // ("20040226", "062751-0500").
    const Metadata::MetadataValues::Value* taken = values.find("DateTaken");
    if (entry.dateCreated.empty() && taken != nullptr && taken->text.size() >= 10) {
        const std::string& t = taken->text;
        entry.dateCreated = t.substr(0, 4) + t.substr(5, 2) + t.substr(8, 2);
        if (entry.timeCreated.empty() && t.size() >= 19) {
            entry.timeCreated = t.substr(11, 2) + t.substr(14, 2) + t.substr(17, 2);
            const std::size_t zone = t.find_first_of("+-", 19);
            if (zone != std::string::npos && t.size() >= zone + 6) {
                entry.timeCreated += t.substr(zone, 3) + t.substr(zone + 4, 2);
            }
        }
    }
}

} // namespace

void Store::update(const std::string& givenPath, bool withThumbnail)
{
    commit(prepare(givenPath, withThumbnail));
}

Store::PreparedImage Store::prepare(const std::string& givenPath, bool withThumbnail)
{
    const std::string path = fullPath(givenPath);
    if (path.size() > 260) {
        throw ErrorDb(ENAMETOOLONG, "the path is longer than 260 characters: " + path);
    }
    PreparedImage prepared;
    StoreImageEntry& entry = prepared.entry;
    entry.filePath = path;
    {
        Metadata::ImageStreamT stream;
        std::unique_ptr<Metadata::ImageMetadata> image;
        try {
            image = Metadata::openImage(path, stream);
        } catch (const Metadata::IOOpenError& e) {
            throw ErrorDb(ENOENT, e.reason().empty() ? std::string("cannot open the file") : e.reason());
        } catch (const std::exception& e) {
            throw ErrorDb(EIO, e.what());
        }
        const Metadata::IPTC& iptc = image->iptc();
        auto first = [&iptc](std::uint8_t dataSet) {
            std::string value;
            iptc.get(dataSet, value);
            return value;
        };
        entry.objectName = first(5);
        entry.specialInstructions = first(40);
        entry.dateCreated = first(55);
        entry.timeCreated = first(60);
        entry.byLine = first(80);
        entry.byLineTitle = first(85);
        entry.city = first(90);
        entry.provinceState = first(95);
        entry.countryName = first(101);
        entry.originalTransmissionReference = first(103);
        entry.headline = first(105);
        entry.credit = first(110);
        entry.source = first(115);
        entry.copyrightNotice = first(116);
        entry.caption = first(120);
        entry.category = first(15);
        entry.supplementalCategories = iptc.values(20);
        entry.keywords = iptc.values(25);
        fillFromReconciled(entry, Metadata::MetadataValues(*image));
        entry.flags = (image->exif().empty() ? 0 : StoreImageEntry::HasEXIF) |
                      (iptc.empty() ? 0 : StoreImageEntry::HasIPTC) |
                      (image->xmp() && !image->xmp()->empty() ? StoreImageEntry::HasXMP : 0);
        prepared.withThumbnail = withThumbnail;
        if (withThumbnail) {
            prepared.thumbnail = makeThumbnail(path, image.get());
        }
    }
    return prepared;
}

void Store::commit(const PreparedImage& prepared)
{
    Utility::CriticalSectionLock lock(section_);
    // The record, its keywords and its thumbnail change together or not at all.
    ensureOpen();
    engine_->transaction([&] { write(prepared.entry, prepared.thumbnail, prepared.withThumbnail); });
}

void Store::write(const StoreImageEntry& entry, const std::string& jpeg, bool withThumbnail)
{
    const std::string& path = entry.filePath;
    Table& images = table(images_);
    Record stored;
    RecordId id = 0;
    if (images.find(1, path, stored, id)) {
        if (stored[2] != path) {
            throw ErrorDb(DuplicateKey, "a path differing only in letter case is stored already: " + stored[2]);
        }
        images.rewrite(id, entry.toRecord());
    } else {
        images.add(entry.toRecord());
    }

    // The keywords pointing at the image, anew.
    Table& keywords = table(keywords_);
    std::vector<RecordId> old;
    keywords.range(2, path, [&](RecordId k, const Record& r) {
        if (!sameText(r[2], path)) {
            return false;
        }
        old.push_back(k);
        return true;
    });
    for (RecordId k : old) {
        keywords.remove(k);
    }
    for (const std::string& keyword : entry.keywords) {
        if (!keyword.empty()) {
            keywords.add({std::string(1, '\0'), Schema::fit(keyword, 65), path});
        }
    }

    if (withThumbnail) {
        Table& thumbnails = table(thumbnails_);
        Record t;
        RecordId tid = 0;
        const Record fresh = {std::string(1, '\0'), path, jpeg};
        if (thumbnails.find(1, path, t, tid)) {
            thumbnails.rewrite(tid, fresh);
        } else {
            thumbnails.add(fresh);
        }
    }
}

bool Store::present()
{
    Utility::CriticalSectionLock lock(section_);
    if (engine_) {
        return true;
    }
    std::string folder = chosenFolder_;
    if (folder.empty()) {
        try {
            folder = defaultFolder();
        } catch (const ErrorDb&) {
            return false; // no data folder, so no store
        }
    }
    std::error_code ec;
    return fs::exists(fs::u8path(folder) / "Gallery.GDB", ec);
}

void Store::refresh(const std::string& givenPath)
{
    const std::string path = fullPath(givenPath);
    Utility::CriticalSectionLock lock(section_);
    if (!present()) {
        return; // no store to refresh
    }
    StoreImageEntry entry;
    if (image(path, entry)) {
        update(path, true);
    }
}

bool Store::image(const std::string& givenPath, StoreImageEntry& entry)
{
    const std::string path = fullPath(givenPath);
    Utility::CriticalSectionLock lock(section_);
    Record r;
    RecordId id = 0;
    if (!table(images_).find(1, path, r, id)) {
        return false;
    }
    entry = StoreImageEntry::fromRecord(r);
    return true;
}

bool Store::thumbnail(const std::string& givenPath, std::string& jpeg)
{
    const std::string path = fullPath(givenPath);
    Utility::CriticalSectionLock lock(section_);
    Record r;
    RecordId id = 0;
    if (!table(thumbnails_).find(1, path, r, id)) {
        return false;
    }
    jpeg = r[2];
    return true;
}

std::vector<std::string> Store::filesWithKeyword(const std::string& keyword)
{
    Utility::CriticalSectionLock lock(section_);
    std::vector<std::string> files;
    table(keywords_).range(1, keyword, [&](RecordId, const Record& r) {
        if (!sameText(r[1], keyword)) {
            return false;
        }
        files.push_back(r[2]);
        return true;
    });
    return files;
}

std::vector<StoreKeywordEntry> Store::keywordsWithPrefix(const std::string& prefix)
{
    Utility::CriticalSectionLock lock(section_);
    std::vector<StoreKeywordEntry> found;
    table(keywords_).range(1, prefix, [&](RecordId, const Record& r) {
        found.push_back({r[1], r[2]});
        return true;
    });
    return found;
}

std::size_t Store::imageCount()
{
    Utility::CriticalSectionLock lock(section_);
    return table(images_).count();
}

std::vector<TableDefinition> Store::definitions() const
{
    std::vector<TableDefinition> all;
    for (const StoreCTree* tree : std::initializer_list<const StoreCTree*>{
             &images_, &keywords_, &thumbnails_, &transporterImages_, &transporterKeywords_, &Galleries, &GalleryImages}) {
        all.push_back(tree->definition());
    }
    return all;
}

// The store's folder, with the store closed: checking and mending work on the files alone.
std::string Store::closedFolder()
{
    close();
    const std::string folder = chosenFolder_.empty() ? defaultFolder() : chosenFolder_;
    std::error_code ec;
    if (!fs::exists(fs::u8path(folder) / "Gallery.GDB", ec)) {
        throw ErrorDb(ENOENT, "there is no gallery store in " + folder);
    }
    folder_ = folder;
    return folder;
}

std::vector<StoreProblem> Store::check()
{
    Utility::CriticalSectionLock lock(section_);
    return Engine::check(closedFolder(), definitions());
}

RepairReport Store::repair()
{
    Utility::CriticalSectionLock lock(section_);
    RepairReport report = Engine::repair(closedFolder(), definitions());
    // What the saved records still tell of lost ones: galleries named by their members, and
    // pictures named by galleries, keywords or thumbnails, whose records are read again from
    // the pictures themselves.
    std::vector<std::string> named;
    std::vector<std::string> paths;
    table(GalleryImages).range(1, "", [&](RecordId, const Record& r) {
        named.push_back(r[1]);
        paths.push_back(r[2]);
        return true;
    });
    table(keywords_).range(1, "", [&](RecordId, const Record& r) {
        paths.push_back(r[2]);
        return true;
    });
    table(thumbnails_).range(1, "", [&](RecordId, const Record& r) {
        paths.push_back(r[1]);
        return true;
    });
    std::size_t galleries = 0;
    for (const std::string& gallery : named) {
        // Its parents first, each made when missing.
        for (std::size_t slash = gallery.find('/'); ; slash = gallery.find('/', slash + 1)) {
            const std::string part = gallery.substr(0, slash);
            if (validGalleryName(part) && !galleryExists(part)) {
                table(Galleries).add({std::string(1, '\0'), part, parentOf(part)});
                ++galleries;
            }
            if (slash == std::string::npos) {
                break;
            }
        }
    }
    std::size_t pictures = 0;
    std::size_t missing = 0;
    for (const std::string& path : paths) {
        StoreImageEntry entry;
        if (image(path, entry)) {
            continue;
        }
        try {
            update(path, false);
            ++pictures;
        } catch (const ErrorDb&) {
            ++missing; // gone or unreadable: its keywords and thumbnail stay as they were
        }
    }
    if (galleries > 0) {
        report.lines.push_back(std::to_string(galleries) + " galleries made anew from their pictures");
    }
    if (pictures > 0 || missing > 0) {
        report.lines.push_back(std::to_string(pictures) + " pictures read again from their files" +
                               (missing > 0 ? ", " + std::to_string(missing) + " could not be read" : std::string()));
    }
    return report;
}

void Store::exportGallery(const std::string& name, const std::string& givenFolder)
{
    // The page links by full file addresses.
    const std::string folder = fullPath(givenFolder);
    Utility::CriticalSectionLock lock(section_);
    if (!galleryExists(name)) {
        throw ErrorDb(ENOENT, "there is no gallery '" + name + "'");
    }
    GalleryDocument document;
    document.name = name.substr(name.rfind('/') == std::string::npos ? 0 : name.rfind('/') + 1);
    const fs::path target = fs::u8path(folder);
    for (const std::string& sub : subGalleries(name)) {
        const std::string subName = sub.substr(sub.rfind('/') + 1);
        // The folders of sub-galleries are the export's own: a symbolic link found under such a
        // name would lead the export outside the folder it was given.
        std::error_code ec;
        if (fs::is_symlink(fs::symlink_status(target / fs::u8path(subName), ec))) {
            throw ErrorDb(EEXIST, "Failed to export to: " + (target / fs::u8path(subName)).u8string() +
                                      " (a symbolic link is in the way)");
        }
        exportGallery(sub, (target / fs::u8path(subName)).u8string());
        document.subGalleries.push_back({subName, (target / fs::u8path(subName) / "LumenoGallery.XML").u8string()});
    }
    for (const std::string& path : images(name)) {
        StoreImageEntry entry;
        if (!image(path, entry)) {
            continue;
        }
        GalleryImage img;
        img.path = path;
        img.name = fs::u8path(path).filename().u8string();
        img.entry = entry;
        // Title and rights: the image's XMP when it has them, else the IPTC object name and
        // copyright notice kept in the record.
        img.title = entry.objectName;
        img.rights = entry.copyrightNotice;
        if (entry.flags & StoreImageEntry::HasXMP) { // only then is the file worth opening
            try {
                Metadata::ImageStreamT stream;
                const auto metadata = Metadata::openImage(path, stream);
                if (const auto& xmp = metadata->xmp(); xmp && !xmp->empty()) {
                    if (const std::string t = xmp->title(); !t.empty()) {
                        img.title = t;
                    }
                    if (const std::string r = xmp->rights(); !r.empty()) {
                        img.rights = r;
                    }
                }
            } catch (const std::exception&) {
                // An image that moved or broke since it was stored is exported from its record.
            }
        }
        if (!thumbnail(path, img.thumbnail)) {
            try {
                img.thumbnail = makeThumbnail(path);
            } catch (const ErrorDb&) {
                // Shown without a picture.
            }
        }
        document.images.push_back(std::move(img));
    }
    Serializer::writeGallery(document, folder);
}

} // namespace Lumeno::DB
