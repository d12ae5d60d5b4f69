// The gallery folder's contents over a real store: what each folder holds, names parsed to items,
// the columns' texts and their order.
#include "../metadata/ContainerHelpers.h"

#include <Lumeno/DB/Store.h>
#include <Lumeno/Namespace/Commands.h>
#include <Lumeno/Namespace/Folder.h>

#include <Metadata/ImageFactory.h>
#include <Metadata/ImageStream.h>
#include <Metadata/IPTC.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <stdexcept>

using namespace Lumeno;
using namespace Lumeno::Namespace;

namespace {

class GalleryFolderTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        store_.open(temp_.file("store"));
        a_ = photo("a.jpg", {{5, {"Dawn"}}, {25, {"Sunrise", "Lake"}}, {55, {"20040226"}}, {60, {"062751-0500"}}});
        b_ = photo("b.jpg", {{25, {"lake"}}, {55, {"20030101"}}});
        c_ = photo("c.jpg", {});
        store_.createGallery("Holidays");
        store_.createGallery("Holidays/Lakes");
        store_.addImage("Holidays/Lakes", a_, false);
        store_.addImage("Holidays/Lakes", b_, false);
        store_.addImage("Holidays", c_, false);
    }

    // A copy of the sample photo (an Acme Roadrunner 7's) with the IPTC datasets given.
    std::string photo(const std::string& name, const std::vector<std::pair<std::uint8_t, std::vector<std::string>>>& sets)
    {
        Metadata::ImageStreamT stream;
        auto image = Metadata::openImage(LUMENO_TEST_DATA "/sample.jpg", stream);
        image->iptc().set(25, std::vector<std::string>{}); // the sample's own keywords go
        for (const auto& [number, values] : sets) {
            image->iptc().set(number, values);
        }
        image->writeWithIPTC(temp_.file(name));
        return std::filesystem::absolute(temp_.file(name)).lexically_normal().string();
    }

    TestSupport::TempFolder temp_;
    DB::Store store_;
    std::string a_, b_, c_;
};

std::vector<std::string> names(const std::vector<ItemId>& items)
{
    std::vector<std::string> out;
    for (const ItemId& item : items) {
        out.push_back(GalleryFolder::displayName(item));
    }
    return out;
}

} // namespace

TEST_F(GalleryFolderTest, FoldersHoldGalleriesPicturesAndKeywords)
{
    GalleryFolder folder(store_);
    EXPECT_EQ(names(folder.children(nullptr)), (std::vector<std::string>{"Holidays", "Keywords"}));
    const ItemId holidays = ItemId::gallery("Holidays");
    const std::vector<ItemId> inHolidays = folder.children(&holidays);
    ASSERT_EQ(inHolidays.size(), 2u);
    EXPECT_EQ(inHolidays[0], ItemId::gallery("Holidays/Lakes"));
    EXPECT_EQ(inHolidays[1], ItemId::pictureInGallery("Holidays", c_));
    const ItemId lakes = ItemId::gallery("Holidays/Lakes");
    EXPECT_EQ(names(folder.children(&lakes)), (std::vector<std::string>{"a.jpg", "b.jpg"}));

    // A keyword once, whatever its letter case in each picture; its pictures under it.
    const ItemId keywords = ItemId::keywords();
    const std::vector<ItemId> words = folder.children(&keywords);
    ASSERT_EQ(names(words), (std::vector<std::string>{"Lake", "Sunrise"}));
    // (c.jpg's keywords come from the sample's XMP.)
    EXPECT_EQ(names(folder.children(&words[0])), (std::vector<std::string>{"a.jpg", "b.jpg", "c.jpg"}));
    EXPECT_TRUE(folder.children(&words[0])[0].underKeyword);
    EXPECT_TRUE(folder.children(&inHolidays[1]).empty()) << "a picture holds nothing";

    EXPECT_TRUE(folder.exists(lakes));
    EXPECT_TRUE(folder.exists(inHolidays[1]));
    store_.removeGallery("Holidays/Lakes");
    EXPECT_FALSE(folder.exists(lakes));
    EXPECT_FALSE(folder.exists(ItemId::keyword("Nothing")));
}

TEST_F(GalleryFolderTest, NamesAreParsedLevelByLevelWithoutRegardToCase)
{
    GalleryFolder folder(store_);
    const auto path = folder.parse(nullptr, "holidays\\LAKES");
    ASSERT_TRUE(path);
    EXPECT_EQ(*path, (std::vector<ItemId>{ItemId::gallery("Holidays"), ItemId::gallery("Holidays/Lakes")}));
    const auto picture = folder.parse(nullptr, "Holidays/Lakes/B.JPG");
    ASSERT_TRUE(picture);
    EXPECT_EQ(picture->back(), ItemId::pictureInGallery("Holidays/Lakes", b_));
    const auto keyword = folder.parse(nullptr, "Keywords\\sunrise\\a.jpg");
    ASSERT_TRUE(keyword);
    EXPECT_EQ(keyword->back(), ItemId::pictureUnderKeyword("Sunrise", a_));
    const ItemId holidays = ItemId::gallery("Holidays");
    EXPECT_EQ(folder.parse(&holidays, "Lakes")->back(), ItemId::gallery("Holidays/Lakes"));
    for (const char* missing : {"Nowhere", "Holidays\\Nowhere", "Holidays\\..\\Holidays", "Keywords\\Snow"}) {
        EXPECT_FALSE(folder.parse(nullptr, missing)) << missing;
    }
    EXPECT_TRUE(folder.parse(nullptr, "")->empty());
}

TEST(GalleryColumns, WhatAViewLeavesIsRememberedAsShownThenHidden)
{
    const std::vector<Column> before = columnOrder({"Date taken", "Name"});
    // Moved and hidden in the view: Size before Name, Title and Keywords no longer shown.
    const ColumnChoice left = columnsLeft({"Size", "name", "Date taken", "Camera", "Path"}, before);
    EXPECT_EQ(left.visible, (std::vector<std::string>{"Size", "Name", "Date taken", "Camera", "Path"}));
    EXPECT_EQ(left.order, (std::vector<std::string>{"Size", "Name", "Date taken", "Camera", "Path", "Title", "Keywords"}));
    // Read back, the view gets the same order, and the same columns shown.
    const std::vector<Column> again = columnOrder(left.order);
    EXPECT_EQ(again, (std::vector<Column>{Column::Size, Column::Name, Column::DateTaken, Column::Camera, Column::Path,
                                          Column::Title, Column::Keywords}));
    EXPECT_TRUE(isNamed(left.visible, Column::Camera));
    EXPECT_FALSE(isNamed(left.visible, Column::Title));
    // Hidden ones keep their places among themselves; unknown titles and repeats are passed
    // over; without Name, Name comes first.
    const ColumnChoice odd = columnsLeft({"Path", "Colour", "Path"}, columnOrder({"Keywords", "Title"}));
    EXPECT_EQ(odd.visible, (std::vector<std::string>{"Name", "Path"}));
    EXPECT_EQ(odd.order, (std::vector<std::string>{"Name", "Path", "Keywords", "Title", "Date taken", "Camera", "Size"}));
}

TEST_F(GalleryFolderTest, ColumnsShowTheRecordsAndSortFoldersFirstThenByValue)
{
    GalleryFolder folder(store_);
    const ItemId lakes = ItemId::gallery("Holidays/Lakes");
    const ItemId a = ItemId::pictureInGallery("Holidays/Lakes", a_);
    const ItemId b = ItemId::pictureInGallery("Holidays/Lakes", b_);
    const ItemId c = ItemId::pictureInGallery("Holidays", c_);
    EXPECT_EQ(folder.text(a, Column::DateTaken), "2004-02-26 06:27:51");
    EXPECT_EQ(folder.text(b, Column::DateTaken), "2003-01-01 07:08:09"); // the sample's time
    EXPECT_EQ(folder.text(c, Column::DateTaken), "2024-05-06 07:08:09");
    EXPECT_EQ(folder.text(c, Column::Title), "Morning light");
    EXPECT_EQ(folder.text(a, Column::Title), "Dawn");
    EXPECT_EQ(folder.text(a, Column::Keywords), "Sunrise; Lake");
    EXPECT_EQ(folder.text(a, Column::Camera), "Acme Roadrunner 7");
    EXPECT_EQ(folder.text(a, Column::Path), a_);
    EXPECT_EQ(folder.text(a, Column::Size), "5 KB");
    EXPECT_EQ(folder.text(lakes, Column::Name), "Lakes");
    EXPECT_EQ(folder.text(lakes, Column::DateTaken), "");

    EXPECT_LT(folder.compare(lakes, a, Column::DateTaken), 0) << "folders first";
    EXPECT_GT(folder.compare(a, lakes, Column::Name), 0);
    EXPECT_GT(folder.compare(c, b, Column::DateTaken), 0);
    EXPECT_GT(folder.compare(c, a, Column::DateTaken), 0);
    EXPECT_LT(folder.compare(b, a, Column::DateTaken), 0);
    EXPECT_GT(folder.compare(a, b, Column::DateTaken), 0);
    EXPECT_LT(folder.compare(a, b, Column::Name), 0);
    EXPECT_LT(folder.compare(a, b, Column::Title), 0) << "'Dawn' before 'Morning light'";
    EXPECT_EQ(folder.compare(a, a, Column::Size), 0);
    EXPECT_NE(folder.compare(a, ItemId::pictureUnderKeyword("Lake", b_), Column::Name), 0);

    // A listing's identifiers carry the capture dates, and sort by them without the catalogue.
    const std::vector<ItemId> listed = folder.children(&lakes);
    ASSERT_EQ(listed.size(), 2u);
    EXPECT_EQ(listed[0].sortDate, std::optional<std::string>("20040226062751"));
    EXPECT_EQ(listed[1].sortDate, std::optional<std::string>("20030101070809"));
    ItemId early = ItemId::pictureInGallery("Holidays", "/nowhere/late.jpg", "19990101000000");
    ItemId late = ItemId::pictureInGallery("Holidays", "/nowhere/early.jpg", "20200101000000");
    EXPECT_LT(folder.compare(early, late, Column::DateTaken), 0) << "not in the catalogue, yet dated";
    late.sortDate.reset();
    EXPECT_GT(folder.compare(early, late, Column::DateTaken), 0) << "one undated: both looked up (neither has a date), then by name";
    EXPECT_STREQ(columnInfo(Column::Size).title, "Size");
    EXPECT_TRUE(columnInfo(Column::Size).rightAligned);
}

TEST(GalleryFolderColumns, OrderAndVisibilityFollowTheStoredTitles)
{
    EXPECT_EQ(columnOrder({}), (std::vector<Column>{Column::Name, Column::DateTaken, Column::Title, Column::Keywords,
                                                    Column::Camera, Column::Size, Column::Path}));
    EXPECT_EQ(columnOrder({"size", "Nonsense", "Date taken", "Size"}),
              (std::vector<Column>{Column::Size, Column::DateTaken, Column::Name, Column::Title, Column::Keywords,
                                   Column::Camera, Column::Path}));
    EXPECT_TRUE(isNamed({"Name", "CAMERA"}, Column::Camera));
    EXPECT_FALSE(isNamed({"Name", "CAMERA"}, Column::Path));
}

TEST(FolderMenu, EntriesFollowTheSelection)
{
    auto verbs = [](const std::vector<FolderMenuEntry>& menu) {
        std::string out;
        for (const FolderMenuEntry& entry : menu) {
            out += std::string(out.empty() ? "" : " ") + entry.verb;
        }
        return out;
    };
    const ItemId gallery = ItemId::gallery("Holidays");
    const ItemId inGallery = ItemId::pictureInGallery("Holidays", "/p/a.jpg");
    const ItemId underKeyword = ItemId::pictureUnderKeyword("Lake", "/p/b.jpg");
    EXPECT_EQ(verbs(folderMenu({inGallery}, &gallery)), "open preview remove");
    EXPECT_EQ(verbs(folderMenu({inGallery, underKeyword}, &gallery)), "open preview") << "not all in a gallery";
    EXPECT_EQ(verbs(folderMenu({gallery}, nullptr)), "open newgallery rename delete export synchronize");
    EXPECT_EQ(verbs(folderMenu({gallery, ItemId::gallery("Family")}, nullptr)), "delete");
    EXPECT_EQ(verbs(folderMenu({gallery, inGallery}, nullptr)), "");
    EXPECT_EQ(verbs(folderMenu({ItemId::keywords()}, nullptr)), "open");
    EXPECT_EQ(verbs(folderMenu({}, &gallery)), "newgallery");
    EXPECT_EQ(verbs(folderMenu({}, nullptr)), "newgallery");
    const ItemId keyword = ItemId::keyword("Lake");
    EXPECT_EQ(verbs(folderMenu({}, &keyword)), "");
    const auto menu = folderMenu({gallery}, nullptr);
    EXPECT_EQ(commandForVerb(menu, "EXPORT"), FolderCommand::Export);
    EXPECT_FALSE(commandForVerb(menu, "remove"));
}

TEST_F(GalleryFolderTest, CommandsChangeTheStore)
{
    EXPECT_EQ(createNewGallery(store_, "Holidays"), "Holidays/New Gallery");
    EXPECT_EQ(createNewGallery(store_, "Holidays"), "Holidays/New Gallery (2)");
    EXPECT_EQ(createNewGallery(store_, ""), "New Gallery");
    EXPECT_TRUE(store_.galleryExists("Holidays/New Gallery (2)"));
    // Renamed where it is, with what is inside it; a name that is no gallery's is refused.
    EXPECT_EQ(renameGallery(store_, "Holidays/New Gallery (2)", "Autumn"), "Holidays/Autumn");
    EXPECT_TRUE(store_.galleryExists("Holidays/Autumn"));
    for (const char* bad : {"", "a/b", "a\\b", "..", "."}) {
        EXPECT_THROW(renameGallery(store_, "Holidays/Autumn", bad), std::invalid_argument) << bad;
    }
    EXPECT_ANY_THROW(renameGallery(store_, "Holidays/Autumn", "New Gallery")) << "the name is taken";
    EXPECT_TRUE(store_.galleryExists("Holidays/Autumn"));

    // Out of the gallery, not out of the catalogue; a picture under a keyword is in no gallery.
    EXPECT_EQ(removeFromGalleries(store_, {ItemId::pictureInGallery("Holidays/Lakes", a_),
                                           ItemId::pictureUnderKeyword("Lake", b_)}),
              1u);
    EXPECT_EQ(store_.images("Holidays/Lakes"), std::vector<std::string>{b_});
    DB::StoreImageEntry entry;
    EXPECT_TRUE(store_.image(a_, entry));

    // Synchronized: the records follow the files; a file gone is named, its record kept.
    photo("b.jpg", {{5, {"Renamed"}}});
    std::filesystem::remove(c_);
    EXPECT_TRUE(synchronizeGallery(store_, "Holidays/Lakes").empty());
    ASSERT_TRUE(store_.image(b_, entry));
    EXPECT_EQ(entry.objectName, "Renamed");
    EXPECT_EQ(synchronizeGallery(store_, "Holidays"), std::vector<std::string>{c_});
    EXPECT_TRUE(store_.image(c_, entry));
}

TEST_F(GalleryFolderTest, SearchesFindByKeywordPrefixOrByEveryWordAndAreRemembered)
{
    // (c's keywords come from the sample's XMP: sunrise, lake.)
    EXPECT_EQ(searchPictures(store_, "*sun"), (std::vector<std::string>{a_, c_}));
    EXPECT_EQ(searchPictures(store_, "*LA").size(), 3u);
    EXPECT_TRUE(searchPictures(store_, "*snow").empty());
    // Caption, headline and title words, every one of them, letter case aside.
    EXPECT_EQ(searchPictures(store_, "DAWN"), std::vector<std::string>{a_});
    EXPECT_EQ(searchPictures(store_, "lake SUNRISE").size(), 3u) << "the sample's caption, in every copy";
    EXPECT_TRUE(searchPictures(store_, "sunrise desert").empty());
    EXPECT_TRUE(searchPictures(store_, "  ").empty());

    GalleryFolder folder(store_);
    const auto found = folder.parse(nullptr, "?dawn");
    ASSERT_TRUE(found);
    EXPECT_EQ(found->back(), ItemId::search("dawn"));
    EXPECT_EQ(names(folder.children(&found->back())), std::vector<std::string>{"a.jpg"});
    EXPECT_EQ(folder.parse(nullptr, "?dawn\\a.jpg")->back(), ItemId::pictureUnderKeyword("dawn", a_));

    EXPECT_EQ(rememberSearch({"b", "a", "c"}, "a"), (std::vector<std::string>{"a", "b", "c"}));
    EXPECT_EQ(rememberSearch({"b", "c"}, "a", 2), (std::vector<std::string>{"a", "b"}));
}
