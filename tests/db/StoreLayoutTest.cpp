// The records of every table of the gallery store, byte for byte: stores written by earlier
// versions must keep opening and keep their keys, so the definitions and the encoded records
// below are the ones the store has always produced (taken from it as it was before its tables
// were described by layouts), not ones worked out from the layouts under test.
#include "StoreLayouts.h"
#include "../metadata/ContainerHelpers.h"

#include <Lumeno/DB/Engine.h>
#include <Lumeno/DB/Store.h>

#include <gtest/gtest.h>

#include <cstdio>

using namespace Lumeno;
using namespace Lumeno::DB;

namespace {

// A definition in one line: name|fixed length|fields (form B, T or K for a block, size)|keys.
std::string describe(const TableDefinition& d)
{
    std::string s = d.name + "|" + std::to_string(d.fixedLength) + "|";
    for (const FieldDefinition& f : d.fields) {
        s += f.name + ":" + "BTK"[static_cast<int>(f.form)] + std::to_string(f.size) + ",";
    }
    s += "|";
    for (const KeyDefinition& k : d.keys) {
        s += std::to_string(k.field) + ":" + std::to_string(k.segmentLength) + (k.duplicates ? "d" : "u") + ",";
    }
    return s;
}

std::string hex(const std::string& bytes)
{
    std::string out;
    char two[3];
    for (unsigned char c : bytes) {
        std::snprintf(two, sizeof two, "%02x", c);
        out += two;
    }
    return out;
}

// FNV-1a, 64 bits: a long record pinned by its length and digest.
std::uint64_t digest(const std::string& bytes)
{
    std::uint64_t h = 14695981039346656037ull;
    for (unsigned char c : bytes) {
        h = (h ^ c) * 1099511628211ull;
    }
    return h;
}

const std::string ImagesLayout =
    "5|CTreeFlag:B1,LumenoFlags:B4,FilePath:T261,ArchiveLabel:T65,ArchiveSerialNumber:T129,ArchivePath:T261,"
    "ObjectName:T65,SpecialInstructions:T257,DateCreated:T11,TimeCreated:T10,ByLine:T33,ByLineTitle:T33,City:T33,"
    "ProvinceState:T33,CountryName:T65,OriginalTransmissionReference:T33,Headline:T257,Credit:T33,Source:T33,"
    "CopyrightNotice:T129,Caption:T266,Category:T4,SupplementalCategory:K0,Keywords:K0,Thumbnail:K0,|2:261u,";
const std::string KeywordsLayout = "0|CTreeFlag:B1,Keyword:T65,File:T261,|1:65d,2:261d,";

const std::string Jpeg("\xff\xd8\0\x01\xff\xd9", 6);

// Every field filled, most of them beyond their size, one text with a NUL inside.
StoreImageEntry fullImage()
{
    StoreImageEntry e;
    e.flags = 0x80000107u;
    e.filePath = "/photos/" + std::string(252, 'p');
    e.archiveLabel = std::string(70, 'L');
    e.archiveSerialNumber = "SN-0042";
    e.archivePath = "/archive/" + std::string(300, 'a');
    e.objectName = "Object";
    e.specialInstructions = std::string("Hold\0back", 9);
    e.dateCreated = "20240506extra";
    e.timeCreated = "070809+0200";
    e.byLine = "By line that is longer than thirty-two bytes";
    e.byLineTitle = "Title";
    e.city = "M\xc3\xbcnchen";
    e.provinceState = "Bayern";
    e.countryName = "Germany";
    e.originalTransmissionReference = "OTR";
    e.headline = "Headline";
    e.credit = "Credit";
    e.source = "Source";
    e.copyrightNotice = "(c) 2024";
    e.caption = std::string(300, 'c');
    e.category = "ABCDE";
    e.supplementalCategories = {"one", "", "three"};
    e.keywords = {"Lake", "Alps"};
    e.thumbnail = Jpeg;
    return e;
}

template <class Entry>
std::string encoded(const Schema::Layout<Entry>& layout, const std::string& table, const Entry& entry)
{
    return hex(encodeRecord(layout.definition(table), layout.record(entry)));
}

} // namespace

TEST(StoreLayout, DefinitionsAreTheStoredOnes)
{
    EXPECT_EQ(describe(StoreImages().definition()), "Gallery|" + ImagesLayout);
    EXPECT_EQ(describe(StoreTransporterImages().definition()), "TransporterGallery|" + ImagesLayout);
    EXPECT_EQ(describe(StoreKeywords().definition()), "TOC|" + KeywordsLayout);
    EXPECT_EQ(describe(StoreTransporterKeywords().definition()), "TransporterTOC|" + KeywordsLayout);
    EXPECT_EQ(describe(StoreThumbnails().definition()),
              "Thumbnails|1|CTreeFlag:B1,FilePath:T261,Thumbnail:K0,|1:261u,");
    EXPECT_EQ(describe(StoreGalleries().definition()),
              "Galleries|1|CTreeFlag:B1,Name:T261,Parent:T261,|1:261u,2:261d,");
    EXPECT_EQ(describe(StoreGalleryImages().definition()),
              "GalleryImages|1|CTreeFlag:B1,Gallery:T261,File:T261,|1:261d,2:261d,");
}

TEST(StoreLayout, ImageRecordsAreTheStoredBytes)
{
    const TableDefinition images = StoreImages().definition();
    EXPECT_EQ(encodeRecord(images, StoreImageEntry().toRecord()), std::string(37, '\0'));

    const std::string bytes = encodeRecord(images, fullImage().toRecord());
    EXPECT_EQ(bytes.size(), 1041u);
    EXPECT_EQ(digest(bytes), 0x1717e05cfffefa91ull);
    // The flag word little-endian, the path whole, texts cut to their fields (at a NUL too).
    EXPECT_EQ(hex(bytes.substr(0, 5)), "0007010080");
    EXPECT_EQ(bytes.substr(5, 261), fullImage().filePath + '\0');
    EXPECT_EQ(bytes.substr(266, 65), std::string(64, 'L') + '\0');
    EXPECT_EQ(bytes.substr(607, 5), std::string("Hold\0", 5));
    EXPECT_EQ(bytes.substr(612, 21), std::string("20240506ex\0" "070809+02\0", 21));
    EXPECT_EQ(bytes.substr(732, 266), std::string(265, 'c') + '\0');
    EXPECT_EQ(bytes.substr(998, 4), std::string("ABC\0", 4));
    // The lists and the thumbnail as blocks with their 32-bit lengths.
    EXPECT_EQ(bytes.substr(1002),
              std::string("\x0b\0\0\0one\0\0three\0" "\x0a\0\0\0Lake\0Alps\0" "\x06\0\0\0", 33) + Jpeg);
}

TEST(StoreLayout, OtherRecordsAreTheStoredBytes)
{
    EXPECT_EQ(encoded(keywordLayout(), "TOC", StoreKeywordEntry{"Lake", "/p/a.jpg"}), "004c616b65002f702f612e6a706700");
    // A keyword is cut to 64 characters; the file it points to is kept whole.
    EXPECT_EQ(encoded(keywordLayout(), "TOC", StoreKeywordEntry{std::string(70, 'k'), "/p/b.jpg"}),
              "00" + hex(std::string(64, 'k')) + "002f702f622e6a706700");
    EXPECT_EQ(encoded(thumbnailLayout(), "Thumbnails", StoreThumbnailEntry{"/p/a.jpg", Jpeg}),
              "002f702f612e6a70670006000000ffd80001ffd9");
    EXPECT_EQ(encoded(thumbnailLayout(), "Thumbnails", StoreThumbnailEntry{"/p/a.jpg", ""}),
              "002f702f612e6a70670000000000");
    EXPECT_EQ(encoded(galleryLayout(), "Galleries", GalleryEntry{"Travel", ""}), "0054726176656c0000");
    EXPECT_EQ(encoded(galleryLayout(), "Galleries", GalleryEntry{"Travel/Alps", "Travel"}),
              "0054726176656c2f416c70730054726176656c00");
    EXPECT_EQ(encoded(galleryMemberLayout(), "GalleryImages", GalleryMemberEntry{"Travel/Alps", "/p/a.jpg"}),
              "0054726176656c2f416c7073002f702f612e6a706700");
    // Keys are never cut into another key: a path too long for its field is refused.
    EXPECT_THROW(encoded(thumbnailLayout(), "Thumbnails", StoreThumbnailEntry{std::string(261, 'p'), ""}), ErrorDb);
}

TEST(StoreLayout, EntriesReadBackFromTheirRecords)
{
    const TableDefinition images = StoreImages().definition();
    const std::string bytes = encodeRecord(images, fullImage().toRecord());
    const StoreImageEntry back = StoreImageEntry::fromRecord(decodeRecord(images, bytes));
    EXPECT_EQ(back.flags, 0x80000107u);
    EXPECT_EQ(back.filePath, fullImage().filePath);
    EXPECT_EQ(back.specialInstructions, "Hold");
    EXPECT_EQ(back.byLine, "By line that is longer than thir");
    EXPECT_EQ(back.category, "ABC");
    EXPECT_EQ(back.supplementalCategories, (std::vector<std::string>{"one", "", "three"}));
    EXPECT_EQ(back.keywords, (std::vector<std::string>{"Lake", "Alps"}));
    EXPECT_EQ(back.thumbnail, Jpeg);
    EXPECT_EQ(encodeRecord(images, back.toRecord()), bytes);

    const StoreKeywordEntry keyword =
        keywordLayout().entry(decodeRecord(StoreKeywords().definition(), std::string("\0Lake\0/p/a.jpg\0", 15)));
    EXPECT_EQ(keyword.keyword, "Lake");
    EXPECT_EQ(keyword.file, "/p/a.jpg");
    const StoreThumbnailEntry thumbnail = thumbnailLayout().entry({std::string(1, '\0'), "/p/a.jpg", Jpeg});
    EXPECT_EQ(thumbnail.filePath, "/p/a.jpg");
    EXPECT_EQ(thumbnail.jpeg, Jpeg);
    const GalleryMemberEntry member = galleryMemberLayout().entry({std::string(1, '\0'), "Travel", "/p/a.jpg"});
    EXPECT_EQ(member.gallery, "Travel");
    EXPECT_EQ(member.file, "/p/a.jpg");

    // A record of another shape is an error, not a read past its end.
    EXPECT_THROW(StoreImageEntry::fromRecord({std::string(1, '\0'), "\x01"}), ErrorDb);
    EXPECT_THROW(galleryLayout().entry({std::string(1, '\0'), "Travel"}), ErrorDb);
    // A flag word shorter than its field reads as far as it goes.
    Record shortFlags = fullImage().toRecord();
    shortFlags[1] = "\x05";
    EXPECT_EQ(StoreImageEntry::fromRecord(shortFlags).flags, 5u);
}

TEST(StoreLayout, WalkEqualStopsAtTheFirstOtherKey)
{
    TestSupport::TempFolder temp;
    auto engine = Engine::open(temp.path().string());
    Schema::Rows<GalleryMemberEntry> members(engine->table(StoreGalleryImages().definition()), galleryMemberLayout());
    members.add({"Travel", "/p/1.jpg"});
    members.add({"Travel/Alps", "/p/2.jpg"});
    members.add({"TRAVEL", "/p/3.jpg"});
    members.add({"Travel2", "/p/4.jpg"});
    members.add({"Tra", "/p/5.jpg"});

    std::vector<std::string> files;
    for (const auto& [id, member] : members.equal(&GalleryMemberEntry::gallery, "travel")) {
        files.push_back(member.file);
    }
    EXPECT_EQ(files, (std::vector<std::string>{"/p/1.jpg", "/p/3.jpg"}));

    // A visit that answers false ends the walk there.
    int visited = 0;
    members.walkEqual(&GalleryMemberEntry::gallery, "Travel", [&](RecordId, const GalleryMemberEntry&) {
        ++visited;
        return false;
    });
    EXPECT_EQ(visited, 1);

    // By prefix: every key that begins with it.
    std::vector<std::string> galleries;
    members.walkPrefix(&GalleryMemberEntry::gallery, "travel",
                       [&](RecordId, const GalleryMemberEntry& member) { galleries.push_back(member.gallery); });
    EXPECT_EQ(galleries.size(), 4u);
    EXPECT_TRUE(members.contains(&GalleryMemberEntry::file, "/P/4.JPG"));
    EXPECT_FALSE(members.contains(&GalleryMemberEntry::file, "/p/4"));
}
