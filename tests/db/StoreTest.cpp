// The gallery store: its files, record layout and keys, the per-file update, galleries, and what
// survives another process and a killed one.
#include "../metadata/ContainerHelpers.h"

#include <Lumeno/DB/Engine.h>
#include <Lumeno/DB/Store.h>

#include <Metadata/ImageFactory.h>
#include <Metadata/ImageStream.h>
#include <Metadata/IPTC.h>

#include <gtest/gtest.h>
#include <turbojpeg.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <functional>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <sys/wait.h>
#include <unistd.h>

namespace fs = std::filesystem;
using namespace Lumeno;
using namespace Lumeno::DB;

namespace {

class StoreFolder : public ::testing::Test {
protected:
    void SetUp() override { fs::create_directories(folder_ / "store"); }

    std::string store() const { return (folder_ / "store").string(); }
    std::string file(const std::string& name) const { return (folder_ / name).string(); }

    // A copy of the sample photo with the IPTC datasets given (number, values).
    std::string photo(const std::string& name, const std::vector<std::pair<std::uint8_t, std::vector<std::string>>>& sets)
    {
        Metadata::ImageStreamT stream;
        auto image = Metadata::openImage(LUMENO_TEST_DATA "/sample.jpg", stream);
        for (const auto& [number, values] : sets) {
            image->iptc().set(number, values);
        }
        image->writeWithIPTC(file(name));
        return file(name);
    }

    TestSupport::TempFolder temp_;
    const fs::path folder_ = temp_.path();
};

std::vector<std::string> sorted(std::vector<std::string> v)
{
    std::sort(v.begin(), v.end());
    return v;
}

} // namespace

TEST_F(StoreFolder, TablesAreFilePairsThatCanBeRemoved)
{
    {
        Store s;
        s.open(store());
        EXPECT_TRUE(s.isOpen());
    }
    for (const char* table : {"Gallery", "TOC", "Thumbnails", "TransporterGallery", "TransporterTOC"}) {
        EXPECT_TRUE(fs::is_regular_file(folder_ / "store" / (std::string(table) + ".GDB"))) << table;
        EXPECT_TRUE(fs::is_regular_file(folder_ / "store" / (std::string(table) + ".NDX"))) << table;
    }
    EXPECT_NO_THROW(Store::removeTableFiles(store(), "NeverCreated"));
    Store::removeTableFiles(store(), "TransporterTOC");
    EXPECT_FALSE(fs::exists(folder_ / "store" / "TransporterTOC.GDB"));
    EXPECT_FALSE(fs::exists(folder_ / "store" / "TransporterTOC.NDX"));
    // A file that will not go away is an error with the system's code.
    fs::create_directories(folder_ / "store" / "Stuck.NDX" / "inside");
    try {
        Store::removeTableFiles(store(), "Stuck");
        FAIL() << "no error";
    } catch (const ErrorDb& e) {
        EXPECT_NE(e.code(), 0);
    }
}

TEST(StoreRecords, LayoutFollowsTheFieldDefinitions)
{
    const TableDefinition keywords = StoreKeywords().definition();
    EXPECT_EQ(encodeRecord(keywords, {std::string(1, '\0'), "Lake", "/p/a.jpg"}),
              std::string("\0Lake\0/p/a.jpg\0", 15));
    // 64 characters fit a keyword, 65 do not: nothing is cut silently at this level.
    EXPECT_NO_THROW(encodeRecord(keywords, {std::string(1, '\0'), std::string(64, 'k'), "/p"}));
    EXPECT_THROW(encodeRecord(keywords, {std::string(1, '\0'), std::string(65, 'k'), "/p"}), ErrorDb);

    StoreImageEntry entry;
    entry.flags = StoreImageEntry::HasEXIF | StoreImageEntry::HasXMP;
    entry.filePath = "/p/a.jpg";
    entry.caption = std::string(300, 'c');
    entry.dateCreated = "20240506extra";
    entry.timeCreated = "070809+0200";
    entry.keywords = {"one", "two"};
    const TableDefinition images = StoreImages().definition();
    const std::string bytes = encodeRecord(images, entry.toRecord());
    // Fixed part: the engine's byte and the flag word; then FilePath.
    EXPECT_EQ(bytes.substr(0, 5), std::string("\0\x05\0\0\0", 5));
    EXPECT_EQ(bytes.substr(5, 9), std::string("/p/a.jpg\0", 9));
    // Keywords are a block with a 32-bit length, then the thumbnail's empty block.
    EXPECT_EQ(bytes.substr(bytes.size() - 16), std::string("\x08\0\0\0one\0two\0\0\0\0\0", 16));

    const StoreImageEntry back = StoreImageEntry::fromRecord(decodeRecord(images, bytes));
    EXPECT_EQ(back.flags, entry.flags);
    EXPECT_EQ(back.caption, std::string(265, 'c'));
    EXPECT_EQ(back.dateCreated, "20240506ex");
    EXPECT_EQ(back.timeCreated, "070809+02");
    EXPECT_EQ(back.keywords, entry.keywords);
    EXPECT_THROW(decodeRecord(images, bytes.substr(0, bytes.size() - 3)), ErrorDb);
    EXPECT_THROW(decodeRecord(images, bytes.substr(0, 3)), ErrorDb);
}

TEST_F(StoreFolder, KeysCompareWithoutLetterCase)
{
    auto engine = Engine::open(store());
    Table& images = engine->table(StoreImages().definition());
    StoreImageEntry entry;
    entry.filePath = "/Photos/Lake.jpg";
    images.add(entry.toRecord());
    entry.filePath = "/PHOTOS/lake.JPG";
    try {
        images.add(entry.toRecord());
        FAIL() << "a path differing in letter case was added";
    } catch (const ErrorDb& e) {
        EXPECT_EQ(e.code(), DuplicateKey) << e.what();
    }
    EXPECT_EQ(images.count(), 1u);
    Record found;
    RecordId id = 0;
    ASSERT_TRUE(images.find(1, "/photos/LAKE.jpg", found, id));
    EXPECT_EQ(found[2], "/Photos/Lake.jpg");
    EXPECT_FALSE(images.find(1, "/photos/lake.jp", found, id));

    Table& keywords = engine->table(StoreKeywords().definition());
    keywords.add({std::string(1, '\0'), "Lake", "/a.jpg"});
    keywords.add({std::string(1, '\0'), "lake", "/b.jpg"});
    keywords.add({std::string(1, '\0'), "Lakeside", "/c.jpg"});
    keywords.add({std::string(1, '\0'), "mountain", "/a.jpg"});
    std::vector<std::string> files;
    keywords.range(1, "LAK", [&](RecordId, const Record& r) {
        files.push_back(r[2]);
        return true;
    });
    EXPECT_EQ(sorted(files), (std::vector<std::string>{"/a.jpg", "/b.jpg", "/c.jpg"}));
    std::vector<RecordId> ofA;
    keywords.range(2, "/A.JPG", [&](RecordId k, const Record&) {
        ofA.push_back(k);
        return true;
    });
    ASSERT_EQ(ofA.size(), 2u);
    keywords.remove(ofA[0]);
    keywords.rewrite(ofA[1], {std::string(1, '\0'), "Hill", "/a.jpg"});
    EXPECT_EQ(keywords.count(), 3u);
    ASSERT_TRUE(keywords.find(1, "hill", found, id));
    EXPECT_EQ(found[2], "/a.jpg");
}

TEST_F(StoreFolder, AWalkHandsOutEveryRecordOnceWhileTheTableChanges)
{
    // A walk reads a few hundred records at a time and hands them out between its reads, so
    // the caller may change the table meanwhile: here it deletes the record that ended a batch
    // (the next batch starts after where it was), and later every record of the key not yet
    // handed out (the next batch starts at the next key).
    auto engine = Engine::open(store());
    Table& keywords = engine->table(StoreKeywords().definition());
    constexpr int Same = 700, Next = 10;
    for (int i = 0; i < Same; ++i) {
        keywords.add({std::string(1, '\0'), "same", "/" + std::to_string(i) + ".jpg"});
    }
    for (int i = 0; i < Next; ++i) {
        keywords.add({std::string(1, '\0'), "samf", "/f" + std::to_string(i) + ".jpg"});
    }
    keywords.add({std::string(1, '\0'), "other", "/o.jpg"});
    std::vector<RecordId> seen;
    std::vector<std::string> keys;
    keywords.range(1, "SAM", [&](RecordId id, const Record& r) {
        seen.push_back(id);
        keys.push_back(r[1]);
        if (seen.size() == 256) {
            keywords.remove(id);
        }
        if (seen.size() == 512) {
            std::vector<RecordId> rest;
            keywords.range(1, "same", [&](RecordId other, const Record&) {
                if (std::find(seen.begin(), seen.end(), other) == seen.end() || other == id) {
                    rest.push_back(other);
                }
                return true;
            });
            for (RecordId other : rest) {
                keywords.remove(other);
            }
        }
        return true;
    });
    std::vector<RecordId> unique = seen;
    std::sort(unique.begin(), unique.end());
    EXPECT_EQ(std::unique(unique.begin(), unique.end()), unique.end()) << "a record was handed out twice";
    ASSERT_EQ(seen.size(), 512u + Next);
    EXPECT_EQ(std::count(keys.begin(), keys.end(), "same"), 512);
    EXPECT_EQ(std::count(keys.begin(), keys.end(), "samf"), Next);
    EXPECT_EQ(keywords.count(), static_cast<std::size_t>(510 + Next + 1)); // the 256th and the 512th are gone
}

TEST_F(StoreFolder, TransactionsKeepAllOrNothing)
{
    auto engine = Engine::open(store());
    Table& keywords = engine->table(StoreKeywords().definition());
    Table& images = engine->table(StoreImages().definition());
    const Record lake = {std::string(1, '\0'), "lake", "/a.jpg"};
    const Record hill = {std::string(1, '\0'), "hill", "/a.jpg"};
    EXPECT_THROW(engine->transaction([&] {
        keywords.add(lake);
        keywords.add(hill);
        throw ErrorDb(1, "changed my mind");
    }),
                 ErrorDb);
    EXPECT_EQ(keywords.count(), 0u);

    engine->transaction([&] {
        keywords.add(lake);
        Record r;
        RecordId id = 0;
        EXPECT_TRUE(keywords.find(1, "LAKE", r, id)); // a transaction reads its own writes
        keywords.add(hill);
    });
    EXPECT_EQ(keywords.count(), 2u);

    // A duplicate key undoes everything else the transaction did, in every table.
    StoreImageEntry a, b;
    a.filePath = "/a.jpg";
    b.filePath = "/b.jpg";
    images.add(a.toRecord());
    try {
        engine->transaction([&] {
            images.add(b.toRecord());
            keywords.add({std::string(1, '\0'), "mist", "/b.jpg"});
            images.add(a.toRecord());
        });
        FAIL() << "no duplicate";
    } catch (const ErrorDb& e) {
        EXPECT_EQ(e.code(), DuplicateKey);
    }
    Record r;
    RecordId id = 0;
    EXPECT_FALSE(images.find(1, "/b.jpg", r, id));
    EXPECT_FALSE(keywords.find(1, "mist", r, id));
    EXPECT_EQ(images.count(), 1u);
}

TEST_F(StoreFolder, UpdateBringsRecordKeywordsAndThumbnailUpToDate)
{
    Store s;
    s.open(store());
    const std::string path = photo("Lake.jpg", {{25, {"Sunrise", "Lake"}}, {120, {std::string(400, 'x')}}, {90, {"Annecy"}}});
    s.update(path, true);

    StoreImageEntry entry;
    ASSERT_TRUE(s.image(path, entry));
    EXPECT_EQ(entry.filePath, path);
    EXPECT_EQ(entry.city, "Annecy");
    EXPECT_EQ(entry.caption, std::string(265, 'x'));
    EXPECT_EQ(entry.keywords, (std::vector<std::string>{"Sunrise", "Lake"}));
    EXPECT_EQ(entry.flags & StoreImageEntry::HasIPTC, StoreImageEntry::HasIPTC);
    EXPECT_EQ(s.filesWithKeyword("SUNRISE"), std::vector<std::string>{path});
    EXPECT_EQ(s.filesWithKeyword("sun"), std::vector<std::string>{});
    EXPECT_EQ(s.keywordsWithPrefix("la").size(), 1u);

    std::string jpeg;
    ASSERT_TRUE(s.thumbnail(path, jpeg));
    tjhandle h = tjInitDecompress();
    int width = 0, height = 0, subsampling = 0, colours = 0;
    ASSERT_EQ(tjDecompressHeader3(h, reinterpret_cast<const unsigned char*>(jpeg.data()),
                                  static_cast<unsigned long>(jpeg.size()), &width, &height, &subsampling, &colours),
              0);
    tjDestroy(h);
    EXPECT_LE(std::max(width, height), 160);
    EXPECT_GT(std::min(width, height), 0);

    // New keywords replace the old ones; the record is rewritten, not doubled.
    photo("Lake.jpg", {{25, {"Dusk"}}});
    s.update(path, false);
    EXPECT_TRUE(s.filesWithKeyword("sunrise").empty());
    EXPECT_EQ(s.filesWithKeyword("dusk"), std::vector<std::string>{path});
    EXPECT_EQ(s.imageCount(), 1u);

    // The same path in other letters is a duplicate; a file that is no image fails cleanly.
    const std::string other = photo("LAKE.JPG", {});
    try {
        s.update(other, false);
        FAIL() << "no duplicate";
    } catch (const ErrorDb& e) {
        EXPECT_EQ(e.code(), DuplicateKey) << e.what();
    }
    std::ofstream(file("notes.jpg")) << "not a picture";
    EXPECT_THROW(s.update(file("notes.jpg"), true), ErrorDb);
    EXPECT_EQ(s.imageCount(), 1u);
}

TEST_F(StoreFolder, GalleriesFormATree)
{
    Store s;
    s.open(store());
    const std::string a = photo("a.jpg", {{25, {"x"}}});
    const std::string b = photo("b.jpg", {});
    s.createGallery("Travel");
    s.createGallery("Travel/Alps");
    s.createGallery("Family");
    EXPECT_THROW(s.createGallery("Nowhere/Child"), ErrorDb);
    EXPECT_THROW(s.createGallery("travel"), ErrorDb);
    for (const char* bad : {"", "/Top", "Travel/", "Travel//x", "Travel/..", ".", "Travel/./x", "a\\b"}) {
        EXPECT_THROW(s.createGallery(bad), ErrorDb) << bad;
    }
    EXPECT_THROW(s.renameGallery("Family", "Travel/../Family2"), ErrorDb);
    EXPECT_EQ(sorted(s.subGalleries("")), (std::vector<std::string>{"Family", "Travel"}));
    EXPECT_EQ(s.subGalleries("Travel"), std::vector<std::string>{"Travel/Alps"});

    EXPECT_TRUE(s.addImage("Travel/Alps", a, false));
    EXPECT_FALSE(s.addImage("Travel/Alps", a, false));
    EXPECT_TRUE(s.addImage("Family", a, false));
    EXPECT_TRUE(s.addImage("Family", b, false));
    EXPECT_THROW(s.addImage("Missing", a, false), ErrorDb);

    s.renameGallery("Travel", "Trips");
    EXPECT_FALSE(s.galleryExists("Travel/Alps"));
    EXPECT_EQ(s.subGalleries("Trips"), std::vector<std::string>{"Trips/Alps"});
    EXPECT_EQ(s.images("Trips/Alps"), std::vector<std::string>{a});

    EXPECT_TRUE(s.removeImage("Family", b));
    EXPECT_FALSE(s.removeImage("Family", b));
    EXPECT_EQ(s.images("Family"), std::vector<std::string>{a});

    s.removeGallery("Trips");
    EXPECT_EQ(s.subGalleries(""), std::vector<std::string>{"Family"});
    EXPECT_TRUE(s.images("Trips/Alps").empty());
    EXPECT_EQ(s.imageCount(), 2u); // the catalogue keeps its records
}

TEST_F(StoreFolder, AScanHandsOutEveryRecordOnceInTheOrderOfTheirPositions)
{
    // The scan reads the data file a few hundred records at a time too, resuming at the record
    // that ended the last batch: here the caller deletes that record (the scan starts again
    // from the first and passes over what it handed out) and one not yet reached.
    auto engine = Engine::open(store());
    Table& keywords = engine->table(StoreKeywords().definition());
    std::vector<RecordId> added;
    for (int i = 0; i < 600; ++i) {
        // Keys in the opposite order to the positions: the scan must not follow an index.
        added.push_back(keywords.add({std::string(1, '\0'), "k" + std::to_string(1000 - i), "/" + std::to_string(i)}));
    }
    std::vector<RecordId> seen;
    keywords.scan([&](RecordId id, const Record& r) {
        EXPECT_EQ(r[2], "/" + std::to_string(seen.size() + (seen.size() >= 400 ? 1 : 0)));
        seen.push_back(id);
        if (seen.size() == 256) {
            keywords.remove(id);
            keywords.remove(added[400]);
        }
        return true;
    });
    std::vector<RecordId> expected = added;
    expected.erase(expected.begin() + 400);
    EXPECT_EQ(seen, expected);
    std::size_t visits = 0;
    keywords.scan([&](RecordId, const Record&) { return ++visits < 3; });
    EXPECT_EQ(visits, 3u) << "a visit answering false ends the scan";
    engine->transaction([&] {
        keywords.add({std::string(1, '\0'), "new", "/new"});
        std::size_t inside = 0;
        keywords.scan([&](RecordId, const Record&) { return ++inside, true; });
        EXPECT_EQ(inside, 599u) << "a scan inside a transaction sees its writes";
    });
}

TEST_F(StoreFolder, AGallerysRecordsComeInItsOrderWhetherLookedUpOrWalked)
{
    Store s;
    s.open(store());
    s.createGallery("Few");
    s.createGallery("Many");
    std::vector<std::string> many;
    for (int i = 0; i < 80; ++i) {
        // Numbered so that the gallery's order is not the catalogue's (by path).
        many.push_back(photo("p" + std::to_string((i * 37) % 80) + ".jpg", {{5, {"title " + std::to_string(i)}}}));
        s.addImage("Many", many.back(), false);
    }
    s.addImage("Few", many[5], false);
    s.addImage("Few", many[2], false);
    // 80 of 80 records: one walk through the catalogue; 2 of 80: a look-up each.
    const std::vector<StoreImageEntry> all = s.galleryEntries("Many");
    ASSERT_EQ(all.size(), 80u);
    for (std::size_t i = 0; i < all.size(); ++i) {
        EXPECT_EQ(all[i].filePath, fs::absolute(many[i]).lexically_normal().string());
        EXPECT_EQ(all[i].objectName, "title " + std::to_string(i));
    }
    const std::vector<StoreImageEntry> few = s.galleryEntries("Few");
    ASSERT_EQ(few.size(), 2u);
    EXPECT_EQ(few[0].objectName, "title 5");
    EXPECT_EQ(few[1].objectName, "title 2");
    EXPECT_TRUE(s.galleryEntries("Nowhere").empty());
}

TEST_F(StoreFolder, FindingWalksTheCatalogueAndAViewerNeverMakesAStore)
{
    {
        Store none;
        none.useFolder(file("nowhere"));
        EXPECT_FALSE(none.present());
        EXPECT_FALSE(fs::exists(file("nowhere"))) << "asking made no store";
    }
    Store s;
    s.useFolder(store());
    EXPECT_FALSE(s.present()) << "the folder exists, the store not yet";
    s.update(photo("dawn.jpg", {{120, {"Dawn at the lake"}}}), false);
    s.update(photo("dusk.jpg", {{120, {"Dusk"}}}), false);
    EXPECT_TRUE(s.present());
    const std::vector<std::string> found =
        s.findImages([](const StoreImageEntry& e) { return e.caption.find("lake") != std::string::npos; });
    ASSERT_EQ(found.size(), 1u);
    EXPECT_EQ(fs::path(found[0]).filename(), "dawn.jpg");
    EXPECT_EQ(s.findImages([](const StoreImageEntry&) { return true; }).size(), 2u);
    s.close();
    Store again;
    again.useFolder(store());
    EXPECT_TRUE(again.present()) << "a store on disk, not yet opened";
}

TEST_F(StoreFolder, AnotherProcessSeesWhatWasStored)
{
    const std::string path = photo("a.jpg", {{25, {"Shared"}}});
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        int status = 1;
        try {
            Store s;
            s.open(store());
            s.createGallery("FromChild");
            s.addImage("FromChild", path, false);
            status = 0;
        } catch (...) {
        }
        _exit(status);
    }
    int status = -1;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
    Store s;
    s.open(store());
    EXPECT_EQ(s.images("FromChild"), std::vector<std::string>{path});
    EXPECT_EQ(s.filesWithKeyword("shared"), std::vector<std::string>{path});
}

TEST_F(StoreFolder, KilledWriterLeavesEveryCommittedImage)
{
    int pipeEnds[2];
    ASSERT_EQ(pipe(pipeEnds), 0);
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        close(pipeEnds[0]);
        auto engine = Engine::open(store());
        Table& images = engine->table(StoreImages().definition());
        for (std::uint32_t i = 0; i < 10000; ++i) {
            StoreImageEntry entry;
            entry.filePath = "/photos/img" + std::to_string(i) + ".jpg";
            images.add(entry.toRecord());
            if (write(pipeEnds[1], &i, sizeof i) != sizeof i) {
                _exit(1);
            }
        }
        _exit(0);
    }
    close(pipeEnds[1]);
    std::uint32_t last = 0;
    bool any = false;
    std::uint32_t i = 0;
    while (read(pipeEnds[0], &i, sizeof i) == sizeof i) {
        last = i;
        any = true;
        if (i >= 2500) {
            kill(child, SIGKILL);
            break;
        }
    }
    int status = 0;
    waitpid(child, &status, 0);
    // Whatever was reported before the kill was committed.
    while (read(pipeEnds[0], &i, sizeof i) == sizeof i) {
        last = i;
    }
    close(pipeEnds[0]);
    ASSERT_TRUE(any);
    ASSERT_TRUE(WIFSIGNALED(status)) << "the writer finished before it was killed";

    Store s;
    s.open(store());
    EXPECT_GE(s.imageCount(), static_cast<std::size_t>(last) + 1);
    StoreImageEntry entry;
    for (std::uint32_t k = 0; k <= last; ++k) {
        ASSERT_TRUE(s.image("/photos/img" + std::to_string(k) + ".jpg", entry)) << k;
    }
    // And the store takes writes again.
    s.createGallery("After");
    EXPECT_TRUE(s.galleryExists("after"));
}

namespace {

// Runs `work` in a child process; its exit status (0 for success, 1 for an exception).
pid_t inChild(const std::function<void()>& work)
{
    const pid_t child = fork();
    if (child == 0) {
        alarm(240); // a process that hangs ends the test instead of holding it
        int status = 1;
        try {
            work();
            status = 0;
        } catch (const std::exception& e) {
            std::fprintf(stderr, "child %d: %s\n", static_cast<int>(getpid()), e.what());
        }
        _exit(status);
    }
    return child;
}

bool succeeded(pid_t child)
{
    int status = -1;
    return waitpid(child, &status, 0) == child && WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

} // namespace

TEST_F(StoreFolder, TwoWritersAndAReaderAllMakeProgress)
{
    // Each writer changes two tables in one transaction, in opposite orders, so that each ends
    // up waiting for the other; a reader walks both tables all the while.
    constexpr int PerWriter = 400;
    const auto writer = [&](const std::string& name, bool keywordsFirst) {
        return inChild([&, name, keywordsFirst] {
            auto engine = Engine::open(store());
            Table& images = engine->table(StoreImages().definition());
            Table& keywords = engine->table(StoreKeywords().definition());
            for (int i = 0; i < PerWriter; ++i) {
                StoreImageEntry entry;
                entry.filePath = "/" + name + "/" + std::to_string(i) + ".jpg";
                const Record keyword = {std::string(1, '\0'), name, entry.filePath};
                engine->transaction([&] {
                    if (keywordsFirst) {
                        keywords.add(keyword);
                        images.add(entry.toRecord());
                    } else {
                        images.add(entry.toRecord());
                        keywords.add(keyword);
                    }
                });
            }
        });
    };
    { auto engine = Engine::open(store()); } // made before the race
    std::atomic<bool> stop{false};
    const pid_t a = writer("alpha", true);
    const pid_t b = writer("beta", false);
    const pid_t reader = inChild([&] {
        auto engine = Engine::open(store());
        Table& images = engine->table(StoreImages().definition());
        Table& keywords = engine->table(StoreKeywords().definition());
        std::size_t seen = 0;
        while (seen < 2 * PerWriter) {
            seen = 0;
            keywords.range(1, "", [&](RecordId, const Record&) {
                ++seen;
                return true;
            });
            images.count();
        }
    });
    EXPECT_TRUE(succeeded(a));
    EXPECT_TRUE(succeeded(b));
    EXPECT_TRUE(succeeded(reader)) << "the reader never saw every record";

    Store s;
    s.open(store());
    EXPECT_EQ(s.imageCount(), 2u * PerWriter);
    EXPECT_EQ(s.filesWithKeyword("alpha").size(), static_cast<std::size_t>(PerWriter));
    EXPECT_EQ(s.filesWithKeyword("beta").size(), static_cast<std::size_t>(PerWriter));
    StoreImageEntry entry;
    for (int i = 0; i < PerWriter; ++i) {
        ASSERT_TRUE(s.image("/alpha/" + std::to_string(i) + ".jpg", entry)) << i;
        ASSERT_TRUE(s.image("/beta/" + std::to_string(i) + ".jpg", entry)) << i;
    }
    (void)stop;
}

TEST_F(StoreFolder, EveryDamageIsToldAndRepaired)
{
    const std::string dawn = photo("dawn.jpg", {{25, {"sunrise", "lake"}}});
    const std::string dusk = photo("dusk.jpg", {{25, {"sunset"}}});
    {
        Store s;
        s.open(store());
        s.createGallery("Trips");
        s.createGallery("Trips/Lakes");
        s.addImage("Trips", dawn, false);
        s.addImage("Trips/Lakes", dusk, false);
    }
    const fs::path healthy = folder_ / "healthy";
    fs::copy(store(), healthy);

    const auto cut = [](const fs::path& f, double share) {
        fs::resize_file(f, static_cast<std::uintmax_t>(static_cast<double>(fs::file_size(f)) * share));
    };
    const auto flip = [](const fs::path& f) {
        std::fstream io(f, std::ios::in | std::ios::out | std::ios::binary);
        for (std::streamoff at = 100; at < static_cast<std::streamoff>(fs::file_size(f)); at += 997) {
            io.seekp(at);
            io.put('\xA5');
        }
    };
    const std::vector<std::pair<std::string, std::function<void(const fs::path&)>>> damages = {
        {"TOC.NDX cut to nothing", [&](const fs::path& s) { cut(s / "TOC.NDX", 0); }},
        {"TOC.NDX cut in half", [&](const fs::path& s) { cut(s / "TOC.NDX", 0.5); }},
        {"Gallery.NDX bytes flipped", [&](const fs::path& s) { flip(s / "Gallery.NDX"); }},
        {"Gallery.GDB cut in half", [&](const fs::path& s) { cut(s / "Gallery.GDB", 0.5); }},
        {"Galleries.GDB bytes flipped", [&](const fs::path& s) { flip(s / "Galleries.GDB"); }},
        {"GalleryImages.NDX cut to nothing", [&](const fs::path& s) { cut(s / "GalleryImages.NDX", 0); }},
        {"the log deleted", [&](const fs::path& s) {
             for (const auto& e : fs::directory_iterator(s)) {
                 if (e.path().filename().string().rfind("log.", 0) == 0) {
                     fs::remove(e.path());
                 }
             }
         }},
        {"region files flipped", [&](const fs::path& s) {
             for (const char* region : {"__db.001", "__db.002", "__db.003", "__db.register"}) {
                 if (fs::exists(s / region)) {
                     flip(s / region);
                 }
             }
         }},
    };
    for (const auto& [what, damage] : damages) {
        fs::remove_all(store());
        fs::copy(healthy, store());
        damage(fs::path(store()));
        Store s;
        s.useFolder(store());
        // Used, the store answers or says that it is damaged; nothing else.
        try {
            s.images("Trips");
            s.filesWithKeyword("sunrise");
            s.update(dawn, false);
        } catch (const ErrorDb& e) {
            EXPECT_TRUE(e.damaged()) << what << ": " << e.what();
            EXPECT_NE(std::string(e.what()).find("lumeno gallery repair"), std::string::npos) << what << ": " << e.what();
        }
        const std::vector<StoreProblem> problems = s.check();
        if (what != "region files flipped") { // made anew by the next opener: no damage left
            EXPECT_FALSE(problems.empty()) << what;
        }
        const RepairReport report = s.repair();
        EXPECT_TRUE(fs::is_directory(report.setAside)) << what;
        EXPECT_TRUE(s.check().empty()) << what;
        EXPECT_EQ(s.images("Trips"), std::vector<std::string>{dawn}) << what;
        EXPECT_EQ(s.images("Trips/Lakes"), std::vector<std::string>{dusk}) << what;
        EXPECT_EQ(s.filesWithKeyword("sunrise"), std::vector<std::string>{dawn}) << what;
        StoreImageEntry entry;
        EXPECT_TRUE(s.image(dusk, entry)) << what;
    }
}

TEST_F(StoreFolder, ManyTransactionsInOneProgramDoNotWearTheEngineOut)
{
    // A long-running program (the file manager's) that stores picture after picture must not
    // run out of any of the engine's room: locks, transactions, cache.
    const std::string original = photo("original.jpg", {{25, {"a", "b", "common"}}});
    fs::create_directories(file("many"));
    Store s;
    s.open(store());
    constexpr int Pictures = 8000;
    for (int i = 0; i < Pictures; ++i) {
        const std::string link = file("many/" + std::to_string(i) + ".jpg");
        fs::create_symlink(original, link);
        s.update(link, false);
    }
    EXPECT_EQ(s.imageCount(), static_cast<std::size_t>(Pictures));
    EXPECT_EQ(s.filesWithKeyword("common").size(), static_cast<std::size_t>(Pictures));
}

TEST_F(StoreFolder, AGalleryListsItsPicturesInTheOrderTheyCameIn)
{
    // More than 256 members: the index orders a gallery's members by the bytes of their record
    // numbers, which differs from their order from the 257th on. Each picture is in two
    // galleries, so that the membership check finds other galleries' records beside its own.
    const std::string original = photo("original.jpg", {});
    fs::create_directories(file("card"));
    Store s;
    s.open(store());
    s.createGallery("Card");
    s.createGallery("Best");
    std::vector<std::string> order;
    constexpr int Pictures = 600;
    for (int i = 0; i < Pictures; ++i) {
        // Names whose sorted order is not the order they are added in.
        const std::string link = file("card/" + std::to_string((i * 7919) % Pictures) + ".jpg");
        fs::create_symlink(original, link);
        EXPECT_TRUE(s.addImage("Best", link, false));
        EXPECT_TRUE(s.addImage("Card", link, false));
        order.push_back(fs::absolute(link).string());
    }
    EXPECT_FALSE(s.addImage("Card", order[300], false));
    EXPECT_FALSE(s.addImage("Best", order[599], false));
    EXPECT_EQ(s.images("Card"), order);
    EXPECT_TRUE(s.removeImage("Card", order[0]));
    order.erase(order.begin());
    EXPECT_TRUE(s.addImage("Card", file("card/0.jpg"), false));
    order.push_back(fs::absolute(file("card/0.jpg")).string());
    s.renameGallery("Card", "Cards");
    EXPECT_EQ(s.images("Cards"), order);
    EXPECT_EQ(s.images("Best").size(), static_cast<std::size_t>(Pictures));
}

TEST_F(StoreFolder, APhotoWithOnlyXmpIsListedAndFoundByItsXmp)
{
    // A real file whose editor wrote XMP and no IPTC.
    const std::string path = file("XMP.jpg");
    fs::copy_file(LUMENO_TEST_DATA "/camera/XMP.jpg", path);
    Store s;
    s.open(store());
    s.update(path, false);
    StoreImageEntry entry;
    ASSERT_TRUE(s.image(path, entry));
    EXPECT_EQ(entry.objectName, "Test IPTC picture");
    EXPECT_EQ(entry.byLine, "Phil Harvey");
    EXPECT_EQ(entry.copyrightNotice, "Copyright 2004 Phil Harvey");
    EXPECT_EQ(entry.keywords, (std::vector<std::string>{"ExifTool", "Test", "XMP"}));
    EXPECT_EQ(s.filesWithKeyword("exiftool"), std::vector<std::string>{path});
    EXPECT_EQ(entry.flags & StoreImageEntry::HasIPTC, 0u);

    // A photo with IPTC keeps its record's own values.
    const std::string lake = photo("Lake.jpg", {{25, {"Sunrise"}}, {5, {"From IPTC"}}});
    s.update(lake, false);
    ASSERT_TRUE(s.image(lake, entry));
    EXPECT_EQ(entry.objectName, "From IPTC");
    EXPECT_EQ(entry.keywords, std::vector<std::string>{"Sunrise"});
}
