#include "StoreLayouts.h"

namespace Lumeno::DB {

namespace Schema {

std::string packList(const std::vector<std::string>& items)
{
    std::string out;
    for (const std::string& item : items) {
        out += item;
        out += '\0';
    }
    return out;
}

std::vector<std::string> unpackList(const std::string& packed)
{
    std::vector<std::string> items;
    std::size_t at = 0;
    while (at < packed.size()) {
        const std::size_t end = packed.find('\0', at);
        items.push_back(packed.substr(at, end == std::string::npos ? std::string::npos : end - at));
        at = end == std::string::npos ? packed.size() : end + 1;
    }
    return items;
}

std::string fit(const std::string& text, std::size_t size)
{
    std::string t = text.substr(0, text.find('\0'));
    return t.size() < size ? t : t.substr(0, size - 1);
}

} // namespace Schema

// Paths and gallery names are keys: kept whole (at most 260 characters, as the callers see to),
// never cut into another one. Other texts are cut to their fields.
const Schema::Layout<StoreImageEntry>& imageLayout()
{
    using E = StoreImageEntry;
    using C = Schema::Column<E>;
    // IPTC maximum lengths plus the terminator; Caption is held to 265 characters, DateCreated to
    // 10 and TimeCreated to 9, deliberately.
    static const Schema::Layout<E> layout({C::flag(),
                                           C::number("LumenoFlags", &E::flags),
                                           C::wholeText("FilePath", 261, &E::filePath),
                                           C::text("ArchiveLabel", 65, &E::archiveLabel),
                                           C::text("ArchiveSerialNumber", 129, &E::archiveSerialNumber),
                                           C::text("ArchivePath", 261, &E::archivePath),
                                           C::text("ObjectName", 65, &E::objectName),
                                           C::text("SpecialInstructions", 257, &E::specialInstructions),
                                           C::text("DateCreated", 11, &E::dateCreated),
                                           C::text("TimeCreated", 10, &E::timeCreated),
                                           C::text("ByLine", 33, &E::byLine),
                                           C::text("ByLineTitle", 33, &E::byLineTitle),
                                           C::text("City", 33, &E::city),
                                           C::text("ProvinceState", 33, &E::provinceState),
                                           C::text("CountryName", 65, &E::countryName),
                                           C::text("OriginalTransmissionReference", 33,
                                                   &E::originalTransmissionReference),
                                           C::text("Headline", 257, &E::headline),
                                           C::text("Credit", 33, &E::credit),
                                           C::text("Source", 33, &E::source),
                                           C::text("CopyrightNotice", 129, &E::copyrightNotice),
                                           C::text("Caption", 266, &E::caption),
                                           C::text("Category", 4, &E::category),
                                           C::list("SupplementalCategory", &E::supplementalCategories),
                                           C::list("Keywords", &E::keywords),
                                           C::block("Thumbnail", &E::thumbnail)},
                                          2, {{&E::filePath, false}});
    return layout;
}

const Schema::Layout<StoreKeywordEntry>& keywordLayout()
{
    using E = StoreKeywordEntry;
    using C = Schema::Column<E>;
    // The whole record is variable; by keyword and by file, both with duplicates.
    static const Schema::Layout<E> layout(
        {C::flag(), C::text("Keyword", 65, &E::keyword), C::wholeText("File", 261, &E::file)}, 0,
        {{&E::keyword, true}, {&E::file, true}});
    return layout;
}

const Schema::Layout<StoreThumbnailEntry>& thumbnailLayout()
{
    using E = StoreThumbnailEntry;
    using C = Schema::Column<E>;
    static const Schema::Layout<E> layout(
        {C::flag(), C::wholeText("FilePath", 261, &E::filePath), C::block("Thumbnail", &E::jpeg)}, 1,
        {{&E::filePath, false}});
    return layout;
}

const Schema::Layout<GalleryEntry>& galleryLayout()
{
    using E = GalleryEntry;
    using C = Schema::Column<E>;
    static const Schema::Layout<E> layout(
        {C::flag(), C::wholeText("Name", 261, &E::name), C::wholeText("Parent", 261, &E::parent)}, 1,
        {{&E::name, false}, {&E::parent, true}});
    return layout;
}

const Schema::Layout<GalleryMemberEntry>& galleryMemberLayout()
{
    using E = GalleryMemberEntry;
    using C = Schema::Column<E>;
    static const Schema::Layout<E> layout(
        {C::flag(), C::wholeText("Gallery", 261, &E::gallery), C::wholeText("File", 261, &E::file)}, 1,
        {{&E::gallery, true}, {&E::file, true}});
    return layout;
}

std::vector<FieldDefinition> _StoreImages::fieldList() const
{
    return imageLayout().fields();
}
std::vector<KeyDefinition> _StoreImages::indexDefinitions() const
{
    return imageLayout().keys();
}
std::uint32_t _StoreImages::fixedLength() const
{
    return imageLayout().fixedLength();
}

std::vector<FieldDefinition> _StoreKeywords::fieldList() const
{
    return keywordLayout().fields();
}
std::vector<KeyDefinition> _StoreKeywords::indexDefinitions() const
{
    return keywordLayout().keys();
}
std::uint32_t _StoreKeywords::fixedLength() const
{
    return keywordLayout().fixedLength();
}

std::vector<FieldDefinition> StoreThumbnails::fieldList() const
{
    return thumbnailLayout().fields();
}
std::vector<KeyDefinition> StoreThumbnails::indexDefinitions() const
{
    return thumbnailLayout().keys();
}
std::uint32_t StoreThumbnails::fixedLength() const
{
    return thumbnailLayout().fixedLength();
}

std::vector<FieldDefinition> StoreGalleries::fieldList() const
{
    return galleryLayout().fields();
}
std::vector<KeyDefinition> StoreGalleries::indexDefinitions() const
{
    return galleryLayout().keys();
}
std::uint32_t StoreGalleries::fixedLength() const
{
    return galleryLayout().fixedLength();
}

std::vector<FieldDefinition> StoreGalleryImages::fieldList() const
{
    return galleryMemberLayout().fields();
}
std::vector<KeyDefinition> StoreGalleryImages::indexDefinitions() const
{
    return galleryMemberLayout().keys();
}
std::uint32_t StoreGalleryImages::fixedLength() const
{
    return galleryMemberLayout().fixedLength();
}

Record StoreImageEntry::toRecord() const
{
    return imageLayout().record(*this);
}

StoreImageEntry StoreImageEntry::fromRecord(const Record& record)
{
    return imageLayout().entry(record);
}

} // namespace Lumeno::DB
