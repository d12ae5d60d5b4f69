#include <Lumeno/Namespace/ItemId.h>

#include <gtest/gtest.h>

#include <stdexcept>
#include <vector>

using namespace Lumeno::Namespace;

namespace {

std::optional<ItemId> decoded(const std::string& bytes)
{
    return decodeItem(bytes.data(), bytes.size());
}

} // namespace

TEST(ItemId, EveryKindComesBackAsItWasAndTheBytesAreStable)
{
    const std::vector<ItemId> items = {ItemId::gallery("Holidays/Lakes"), ItemId::keywords(),
                                       ItemId::keyword("Sunrise"),
                                       ItemId::pictureInGallery("Holidays", "/photos/IMG_0042.JPG"),
                                       ItemId::pictureUnderKeyword("Sunrise", "C:\\Photos\\Lake.jpg"),
                                       ItemId::pictureInGallery("Holidays", "/photos/a.jpg", "20040226062751"),
                                       ItemId::pictureInGallery("Holidays", "/photos/b.jpg", "")};
    for (const ItemId& item : items) {
        const std::optional<ItemId> back = decoded(encodeItem(item));
        ASSERT_TRUE(back) << item.name;
        EXPECT_EQ(*back, item);
        EXPECT_EQ(back->sortDate, item.sortDate) << item.name;
    }
    // The same item has the same bytes in every session: the shell compares and keeps them.
    EXPECT_EQ(encodeItem(ItemId::gallery("A")), std::string("Lg\x02\x01\x01\x00" "A\x00\x00" "\x6e\xe3\x80\xb1", 13));
    EXPECT_NE(encodeItem(ItemId::pictureInGallery("A", "/p")), encodeItem(ItemId::pictureUnderKeyword("A", "/p")));
}

TEST(ItemId, DamagedForeignAndIllFormedIdentifiersAreRefused)
{
    const std::string good = encodeItem(ItemId::pictureInGallery("Holidays", "/photos/a.jpg"));
    // Every single damaged byte, and every shortened copy, is refused.
    for (std::size_t i = 0; i < good.size(); ++i) {
        std::string bad = good;
        bad[i] = static_cast<char>(bad[i] ^ 0x20);
        EXPECT_FALSE(decoded(bad)) << "byte " << i;
        EXPECT_FALSE(decoded(good.substr(0, i))) << "cut at " << i;
    }
    EXPECT_FALSE(decoded(good + "x"));
    EXPECT_FALSE(decodeItem(nullptr, 20));
    // Another folder's identifier (a file system item's bytes).
    const std::string foreign = "\x31\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00IMG_0042.JPG";
    EXPECT_FALSE(decoded(foreign));

    // Sound bytes of an impossible item: made by hand with a right check sum.
    auto forged = [](std::uint8_t kind, const std::string& name, const std::string& container,
                     std::optional<std::string> date = std::nullopt) {
        std::string out = "Lg\x02";
        out += static_cast<char>(kind);
        for (const std::string* text : {&name, &container}) {
            out += static_cast<char>(text->size() & 0xFF);
            out += static_cast<char>(text->size() >> 8);
            out += *text;
        }
        if (date) {
            out += static_cast<char>(date->size());
            out += '\0';
            out += *date;
        }
        const std::uint32_t h = itemCheckSum(out.data(), out.size());
        for (int i = 0; i < 4; ++i) {
            out += static_cast<char>((h >> (8 * i)) & 0xFF);
        }
        return out;
    };
    EXPECT_TRUE(decoded(forged(1, "Holidays", "")));
    EXPECT_FALSE(decoded(forged(1, "../etc", ""))) << "a gallery path that climbs";
    EXPECT_FALSE(decoded(forged(1, "A//B", "")));
    EXPECT_FALSE(decoded(forged(1, "", "")));
    EXPECT_FALSE(decoded(forged(2, "/p.jpg", ""))) << "a picture in no gallery";
    EXPECT_FALSE(decoded(forged(2, "/p.jpg", "x\\y")));
    EXPECT_FALSE(decoded(forged(3, "x", "")));
    EXPECT_FALSE(decoded(forged(4, "", "")));
    EXPECT_FALSE(decoded(forged(9, "x", "")));
    EXPECT_FALSE(decoded(forged(1, std::string("A\0B", 3), "")));
    EXPECT_FALSE(decoded(forged(1, std::string(2000, 'a'), "")));
    EXPECT_FALSE(decoded(forged(0x84, "Sunrise", ""))) << "only pictures are under a keyword";
    // A picture's sort date: digits, of a day or a day and a time; only pictures carry one.
    EXPECT_TRUE(decoded(forged(0x42, "/p.jpg", "A", "20040226062751")));
    EXPECT_TRUE(decoded(forged(0x42, "/p.jpg", "A", "")));
    EXPECT_FALSE(decoded(forged(0x42, "/p.jpg", "A", "2004-02-26")));
    EXPECT_FALSE(decoded(forged(0x42, "/p.jpg", "A", "200402260627")));
    EXPECT_FALSE(decoded(forged(0x41, "A", "", "20040226")));
    EXPECT_FALSE(decoded(forged(0x02, "/p.jpg", "A", "20040226"))) << "a date the kind does not announce";
    EXPECT_FALSE(decoded(forged(0x42, "/p.jpg", "A"))) << "a date announced and missing";

    EXPECT_THROW(encodeItem(ItemId::gallery(std::string(MostItemText + 1, 'a'))), std::invalid_argument);
}

TEST(ItemId, GalleryPathsAreThoseTheStoreTakes)
{
    EXPECT_TRUE(validGalleryPath("Travel/Alps/2003"));
    for (const char* bad : {"", "/Travel", "Travel/", "a/./b", "..", "a\\b"}) {
        EXPECT_FALSE(validGalleryPath(bad)) << bad;
    }
    EXPECT_FALSE(validGalleryPath(std::string(261, 'a')));
}
