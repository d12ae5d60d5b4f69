#include "StoreGalleries.h"

#include <algorithm>
#include <cerrno>

namespace Lumeno::DB {

namespace {

std::string parentOf(const std::string& name)
{
    const std::size_t slash = name.rfind('/');
    return slash == std::string::npos ? std::string() : name.substr(0, slash);
}

} // namespace

bool Store::validGalleryName(std::string_view name)
{
    if (name.empty() || name.size() > 260 || name.find('\\') != std::string_view::npos) {
        return false;
    }
    std::size_t start = 0;
    for (;;) {
        const std::size_t slash = name.find('/', start);
        const std::string_view part = name.substr(start, slash == std::string_view::npos ? std::string_view::npos : slash - start);
        if (part.empty() || part == "." || part == "..") {
            return false;
        }
        if (slash == std::string_view::npos) {
            return true;
        }
        start = slash + 1;
    }
}

bool StoreGalleryTree::exists(const std::string& name)
{
    Utility::CriticalSectionLock lock(tables_.section());
    return tables_.galleries().contains(&GalleryEntry::name, name);
}

void StoreGalleryTree::mustExist(const std::string& gallery)
{
    if (!exists(gallery)) {
        throw ErrorDb(ENOENT, "there is no gallery '" + gallery + "'");
    }
}

void StoreGalleryTree::create(const std::string& name)
{
    Utility::CriticalSectionLock lock(tables_.section());
    if (!Store::validGalleryName(name)) {
        throw ErrorDb(EINVAL, "'" + name + "' is not a gallery name");
    }
    const std::string parent = parentOf(name);
    if (!parent.empty()) {
        mustExist(parent);
    }
    if (exists(name)) {
        throw ErrorDb(EEXIST, "the gallery '" + name + "' exists already");
    }
    tables_.galleries().add({name, parent});
}

std::vector<std::string> StoreGalleryTree::subGalleries(const std::string& parent)
{
    Utility::CriticalSectionLock lock(tables_.section());
    std::vector<std::string> names;
    tables_.galleries().walkEqual(&GalleryEntry::parent, parent,
                                  [&](RecordId, GalleryEntry&& gallery) { names.push_back(std::move(gallery.name)); });
    return names;
}

std::vector<std::pair<RecordId, GalleryEntry>> StoreGalleryTree::subtree(const std::string& name)
{
    // Names that begin with the gallery's include others ("Travel2"), not all of them in one run
    // ("Travel-x" comes between "Travel" and "Travel/Alps"): the whole range is looked through.
    std::vector<std::pair<RecordId, GalleryEntry>> found;
    const std::string below = name + "/";
    tables_.galleries().walkPrefix(&GalleryEntry::name, name, [&](RecordId id, GalleryEntry&& gallery) {
        if (sameKey(gallery.name, name) || sameKey(gallery.name.substr(0, below.size()), below)) {
            found.emplace_back(id, std::move(gallery));
        }
    });
    return found;
}

void StoreGalleryTree::rename(const std::string& name, const std::string& newName)
{
    Utility::CriticalSectionLock lock(tables_.section());
    mustExist(name);
    if (!Store::validGalleryName(newName)) {
        throw ErrorDb(EINVAL, "'" + newName + "' is not a gallery name");
    }
    if (exists(newName)) {
        throw ErrorDb(EEXIST, "the gallery '" + newName + "' exists already");
    }
    const std::string newParent = parentOf(newName);
    if (!newParent.empty()) {
        mustExist(newParent);
    }
    // The gallery and everything below it take the new name.
    const std::vector<std::pair<RecordId, GalleryEntry>> moved = subtree(name);
    tables_.transaction([&] { move(name, newName, newParent, moved); });
}

void StoreGalleryTree::move(const std::string& name, const std::string& newName, const std::string& newParent,
                            const std::vector<std::pair<RecordId, GalleryEntry>>& moved)
{
    Schema::Rows<GalleryEntry> galleries = tables_.galleries();
    Schema::Rows<GalleryMemberEntry> members = tables_.members();
    for (const auto& [id, gallery] : moved) {
        const std::string rest = gallery.name.substr(name.size());
        GalleryEntry renamed;
        renamed.name = newName + rest;
        renamed.parent = rest.empty() ? newParent : parentOf(renamed.name);
        galleries.rewrite(id, renamed);
        for (auto& [m, member] : members.equal(&GalleryMemberEntry::gallery, gallery.name)) {
            member.gallery = renamed.name;
            members.rewrite(m, member);
        }
    }
}

void StoreGalleryTree::remove(const std::string& name)
{
    Utility::CriticalSectionLock lock(tables_.section());
    mustExist(name);
    const std::vector<std::pair<RecordId, GalleryEntry>> doomed = subtree(name);
    tables_.transaction([&] { drop(doomed); });
}

void StoreGalleryTree::drop(const std::vector<std::pair<RecordId, GalleryEntry>>& doomed)
{
    Schema::Rows<GalleryEntry> galleries = tables_.galleries();
    Schema::Rows<GalleryMemberEntry> members = tables_.members();
    for (const auto& [id, gallery] : doomed) {
        for (const auto& [m, member] : members.equal(&GalleryMemberEntry::gallery, gallery.name)) {
            members.remove(m);
        }
        galleries.remove(id);
    }
}

bool StoreGalleryTree::addImage(const std::string& gallery, const Store::PreparedImage& prepared)
{
    const std::string& path = prepared.entry.filePath;
    Utility::CriticalSectionLock lock(tables_.section());
    mustExist(gallery);
    catalogue_.commit(prepared);
    // Looked up by the file (a picture is in a few galleries), not by walking the gallery's
    // members: adding a card of thousands of pictures stays linear.
    Schema::Rows<GalleryMemberEntry> members = tables_.members();
    bool member = false;
    members.walkEqual(&GalleryMemberEntry::file, path, [&](RecordId, const GalleryMemberEntry& found) {
        member = sameKey(found.gallery, gallery);
        return !member;
    });
    if (member) {
        return false;
    }
    members.add({gallery, path});
    return true;
}

bool StoreGalleryTree::removeImage(const std::string& gallery, const std::string& givenPath)
{
    const std::string path = fullPath(givenPath);
    Utility::CriticalSectionLock lock(tables_.section());
    Schema::Rows<GalleryMemberEntry> members = tables_.members();
    std::vector<RecordId> found;
    members.walkEqual(&GalleryMemberEntry::gallery, gallery, [&](RecordId id, const GalleryMemberEntry& member) {
        if (sameKey(member.file, path)) {
            found.push_back(id);
        }
    });
    for (RecordId id : found) {
        members.remove(id);
    }
    return !found.empty();
}

std::vector<std::string> StoreGalleryTree::images(const std::string& gallery)
{
    Utility::CriticalSectionLock lock(tables_.section());
    // The index keeps a gallery's members in the byte order of their record numbers, which is
    // not the order they came in from the 257th on: sorted by number, they are.
    std::vector<std::pair<RecordId, GalleryMemberEntry>> members =
        tables_.members().equal(&GalleryMemberEntry::gallery, gallery);
    std::sort(members.begin(), members.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
    std::vector<std::string> files;
    files.reserve(members.size());
    for (auto& member : members) {
        files.push_back(std::move(member.second.file));
    }
    return files;
}

std::size_t StoreGalleryTree::restoreFromMembers(std::vector<std::string>& files)
{
    Utility::CriticalSectionLock lock(tables_.section());
    std::vector<std::string> named;
    tables_.members().walkPrefix(&GalleryMemberEntry::gallery, "", [&](RecordId, GalleryMemberEntry&& member) {
        named.push_back(std::move(member.gallery));
        files.push_back(std::move(member.file));
    });
    std::size_t made = 0;
    for (const std::string& gallery : named) {
        // Its parents first, each made when missing.
        for (std::size_t slash = gallery.find('/');; slash = gallery.find('/', slash + 1)) {
            const std::string part = gallery.substr(0, slash);
            if (Store::validGalleryName(part) && !exists(part)) {
                tables_.galleries().add({part, parentOf(part)});
                ++made;
            }
            if (slash == std::string::npos) {
                break;
            }
        }
    }
    return made;
}

} // namespace Lumeno::DB
