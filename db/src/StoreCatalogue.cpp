#include "StoreCatalogue.h"

#include "Lumeno/DB/Thumbnail.h"

#include <Metadata/EXIF.h>
#include <Metadata/Exceptions.h>
#include <Metadata/ImageFactory.h>
#include <Metadata/ImageStream.h>
#include <Metadata/IPTC.h>
#include <Metadata/MetadataValues.h>
#include <Metadata/XMP.h>

#include <cerrno>
#include <memory>
#include <unordered_map>

namespace Lumeno::DB {

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

Store::PreparedImage StoreCatalogue::prepare(const std::string& givenPath, bool withThumbnail)
{
    const std::string path = fullPath(givenPath);
    if (path.size() > 260) {
        throw ErrorDb(ENAMETOOLONG, "the path is longer than 260 characters: " + path);
    }
    Store::PreparedImage prepared;
    StoreImageEntry& entry = prepared.entry;
    entry.filePath = path;
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
    return prepared;
}

void StoreCatalogue::commit(const Store::PreparedImage& prepared)
{
    Utility::CriticalSectionLock lock(tables_.section());
    tables_.transaction([&] { write(prepared); });
}

void StoreCatalogue::write(const Store::PreparedImage& prepared)
{
    const StoreImageEntry& entry = prepared.entry;
    const std::string& path = entry.filePath;
    Schema::Rows<StoreImageEntry> images = tables_.images();
    StoreImageEntry stored;
    RecordId id = 0;
    if (images.find(&StoreImageEntry::filePath, path, stored, id)) {
        if (stored.filePath != path) {
            throw ErrorDb(DuplicateKey, "a path differing only in letter case is stored already: " + stored.filePath);
        }
        images.rewrite(id, entry);
    } else {
        images.add(entry);
    }

    // The keywords pointing at the image, anew.
    Schema::Rows<StoreKeywordEntry> keywords = tables_.keywords();
    for (const auto& [k, old] : keywords.equal(&StoreKeywordEntry::file, path)) {
        keywords.remove(k);
    }
    for (const std::string& keyword : entry.keywords) {
        if (!keyword.empty()) {
            keywords.add({keyword, path});
        }
    }

    if (prepared.withThumbnail) {
        Schema::Rows<StoreThumbnailEntry> thumbnails = tables_.thumbnails();
        StoreThumbnailEntry old;
        RecordId tid = 0;
        const StoreThumbnailEntry fresh{path, prepared.thumbnail};
        if (thumbnails.find(&StoreThumbnailEntry::filePath, path, old, tid)) {
            thumbnails.rewrite(tid, fresh);
        } else {
            thumbnails.add(fresh);
        }
    }
}

void StoreCatalogue::refresh(const std::string& givenPath)
{
    const std::string path = fullPath(givenPath);
    Utility::CriticalSectionLock lock(tables_.section());
    if (!tables_.present()) {
        return; // no store to refresh
    }
    StoreImageEntry entry;
    if (image(path, entry)) {
        update(path, true);
    }
}

bool StoreCatalogue::image(const std::string& givenPath, StoreImageEntry& entry)
{
    const std::string path = fullPath(givenPath);
    Utility::CriticalSectionLock lock(tables_.section());
    RecordId id = 0;
    return tables_.images().find(&StoreImageEntry::filePath, path, entry, id);
}

std::vector<StoreImageEntry> StoreCatalogue::entries(const std::vector<std::string>& paths)
{
    Utility::CriticalSectionLock lock(tables_.section());
    Schema::Rows<StoreImageEntry> images = tables_.images();
    std::vector<StoreImageEntry> out(paths.size());
    // Many of the catalogue's records: one walk through the data file costs less than a look-up
    // each (a descent of the index and a read of its record).
    if (paths.size() >= 64 && paths.size() * 4 >= images.count()) {
        std::unordered_map<std::string, std::size_t> wanted;
        for (std::size_t i = 0; i < paths.size(); ++i) {
            wanted.emplace(paths[i], i);
            out[i].filePath = paths[i];
        }
        images.walkAll([&](RecordId, StoreImageEntry&& entry) {
            const auto found = wanted.find(entry.filePath);
            if (found != wanted.end()) {
                out[found->second] = std::move(entry);
            }
        });
        return out;
    }
    for (std::size_t i = 0; i < paths.size(); ++i) {
        RecordId id = 0;
        if (!images.find(&StoreImageEntry::filePath, paths[i], out[i], id)) {
            out[i] = StoreImageEntry{};
            out[i].filePath = paths[i];
        }
    }
    return out;
}

std::vector<std::string> StoreCatalogue::find(const std::function<bool(const StoreImageEntry&)>& match)
{
    Utility::CriticalSectionLock lock(tables_.section());
    std::vector<std::string> found;
    tables_.images().walkPrefix(&StoreImageEntry::filePath, std::string(), [&](RecordId, StoreImageEntry&& entry) {
        if (match(entry)) {
            found.push_back(std::move(entry.filePath));
        }
    });
    return found;
}

bool StoreCatalogue::thumbnail(const std::string& givenPath, std::string& jpeg)
{
    const std::string path = fullPath(givenPath);
    Utility::CriticalSectionLock lock(tables_.section());
    StoreThumbnailEntry found;
    RecordId id = 0;
    if (!tables_.thumbnails().find(&StoreThumbnailEntry::filePath, path, found, id)) {
        return false;
    }
    jpeg = std::move(found.jpeg);
    return true;
}

std::vector<std::string> StoreCatalogue::filesWithKeyword(const std::string& keyword)
{
    Utility::CriticalSectionLock lock(tables_.section());
    std::vector<std::string> files;
    tables_.keywords().walkEqual(&StoreKeywordEntry::keyword, keyword,
                                 [&](RecordId, StoreKeywordEntry&& found) { files.push_back(std::move(found.file)); });
    return files;
}

std::vector<StoreKeywordEntry> StoreCatalogue::keywordsWithPrefix(const std::string& prefix)
{
    Utility::CriticalSectionLock lock(tables_.section());
    std::vector<StoreKeywordEntry> found;
    tables_.keywords().walkPrefix(&StoreKeywordEntry::keyword, prefix,
                                  [&](RecordId, StoreKeywordEntry&& entry) { found.push_back(std::move(entry)); });
    return found;
}

std::size_t StoreCatalogue::imageCount()
{
    Utility::CriticalSectionLock lock(tables_.section());
    return tables_.images().count();
}

std::pair<std::size_t, std::size_t> StoreCatalogue::readAgain(std::vector<std::string> paths)
{
    Utility::CriticalSectionLock lock(tables_.section());
    tables_.keywords().walkPrefix(&StoreKeywordEntry::keyword, "",
                                  [&](RecordId, StoreKeywordEntry&& entry) { paths.push_back(std::move(entry.file)); });
    tables_.thumbnails().walkPrefix(&StoreThumbnailEntry::filePath, "", [&](RecordId, StoreThumbnailEntry&& entry) {
        paths.push_back(std::move(entry.filePath));
    });
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
    return {pictures, missing};
}

} // namespace Lumeno::DB
