#include <Lumeno/Platform/Services.h>

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>

#include <sys/stat.h>
#include <unistd.h>

namespace fs = std::filesystem;
using namespace Lumeno::Platform;

namespace {

class Folder {
public:
    Folder()
    {
        path_ = fs::path(::testing::TempDir()) /
                ("lumeno-" + std::string(::testing::UnitTest::GetInstance()->current_test_info()->name()));
        fs::remove_all(path_);
        fs::create_directories(path_);
    }
    ~Folder() { fs::remove_all(path_); }
    std::string file(const std::string& name) const { return (path_ / name).string(); }
    std::size_t count() const
    {
        return static_cast<std::size_t>(std::distance(fs::directory_iterator(path_), fs::directory_iterator()));
    }

private:
    fs::path path_;
};

void put(const std::string& path, const std::string& text)
{
    std::ofstream(path, std::ios::binary) << text;
}

std::string get(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

} // namespace

TEST(WriteFileSafely, ReplacesTheFileOnlyWhenTheNewOneIsComplete)
{
    Folder folder;
    const std::string target = folder.file("photo.jpg");
    put(target, "original");
    fs::permissions(target, fs::perms::owner_read | fs::perms::owner_write | fs::perms::group_read,
                    fs::perm_options::replace);

    std::string seen;
    writeFileSafely(target, [&](const std::string& temporary) {
        seen = temporary;
        EXPECT_EQ(fs::path(temporary).parent_path(), fs::path(target).parent_path());
        // Named after the photo, so that one left by a killed write says whose it was.
        EXPECT_EQ(fs::path(temporary).filename().string().rfind(".photo.jpg.lumeno-", 0), 0u) << temporary;
        put(temporary, "new contents");
    });
    EXPECT_EQ(get(target), "new contents");
    EXPECT_FALSE(fs::exists(seen));
    EXPECT_EQ(fs::status(target).permissions(),
              fs::perms::owner_read | fs::perms::owner_write | fs::perms::group_read);
    EXPECT_EQ(folder.count(), 1u);

    EXPECT_THROW(writeFileSafely(target,
                                 [&](const std::string& temporary) {
                                     put(temporary, "half");
                                     throw std::runtime_error("disk full");
                                 }),
                 std::runtime_error);
    EXPECT_EQ(get(target), "new contents");
    EXPECT_EQ(folder.count(), 1u);

    EXPECT_THROW(writeFileSafely(folder.file("no/such/folder/x.jpg"), [](const std::string&) {}), std::system_error);
}

TEST(WriteFileSafely, WritesWhatALinkLeadsToAndKeepsOwnerModeAndOnRequestTime)
{
    Folder folder;
    fs::create_directories(folder.file("originals"));
    const std::string photo = folder.file("originals/photo.jpg");
    put(photo, "original");
    fs::permissions(photo, fs::perms::owner_read | fs::perms::owner_write | fs::perms::others_read,
                    fs::perm_options::replace);
    const std::string link = folder.file("link.jpg");
    fs::create_symlink("originals/photo.jpg", link);
    const auto anHourAgo = fs::last_write_time(photo) - std::chrono::hours(1);
    fs::last_write_time(photo, anHourAgo);
    // As root, the photo can belong to someone else: the new file must too.
    const bool root = ::geteuid() == 0;
    if (root) {
        ASSERT_EQ(::chown(photo.c_str(), 4242, 4343), 0);
    }

    writeFileSafely(link, [](const std::string& temporary) {
        EXPECT_EQ(fs::path(temporary).parent_path().filename(), "originals");
        put(temporary, "turned");
    }, SafeWriteOptions{true});
    EXPECT_TRUE(fs::is_symlink(link)) << "the link was replaced by a file";
    EXPECT_EQ(get(photo), "turned");
    EXPECT_EQ(fs::status(photo).permissions(), fs::perms::owner_read | fs::perms::owner_write | fs::perms::others_read);
    EXPECT_EQ(fs::last_write_time(photo), anHourAgo);
    struct stat after {};
    ASSERT_EQ(::stat(photo.c_str(), &after), 0);
    if (root) {
        EXPECT_EQ(after.st_uid, 4242u);
        EXPECT_EQ(after.st_gid, 4343u);
    } else {
        EXPECT_EQ(after.st_uid, ::geteuid());
    }

    // Without the option, the time is the time of writing.
    writeFileSafely(link, [](const std::string& temporary) { put(temporary, "again"); });
    EXPECT_GT(fs::last_write_time(photo), anHourAgo);
    EXPECT_EQ(fs::directory_iterator(folder.file("originals"))->path().filename(), "photo.jpg");

    // A link to a file that does not exist yet makes the file, not a file in place of the link.
    fs::create_symlink("originals/new.txt", folder.file("new-link.txt"));
    writeFileSafely(folder.file("new-link.txt"), "made", false);
    EXPECT_TRUE(fs::is_symlink(folder.file("new-link.txt")));
    EXPECT_EQ(get(folder.file("originals/new.txt")), "made");
}

TEST(WriteFileSafely, RefusesFilesWithOtherHardLinks)
{
    Folder folder;
    const std::string photo = folder.file("photo.jpg");
    put(photo, "original");
    fs::create_hard_link(photo, folder.file("backup.jpg"));
    try {
        writeFileSafely(photo, [](const std::string& temporary) { put(temporary, "new"); }, SafeWriteOptions{false, true});
        FAIL() << "a hard-linked file was replaced";
    } catch (const std::runtime_error& e) {
        EXPECT_NE(std::string(e.what()).find("the file has 2 hard links"), std::string::npos) << e.what();
    }
    EXPECT_EQ(get(photo), "original");
    EXPECT_EQ(get(folder.file("backup.jpg")), "original");
    EXPECT_EQ(folder.count(), 2u); // and no backup was made of it
}

TEST(MakeNumberedBackup, TakesTheNextFreeNumberAndNeverOverwrites)
{
    Folder folder;
    const std::string photo = folder.file("IMG_0042.JPG");
    put(photo, "v1");
    EXPECT_EQ(makeNumberedBackup(photo), folder.file("Lumeno.00.IMG_0042.JPG"));
    put(photo, "v2");
    EXPECT_EQ(makeNumberedBackup(photo), folder.file("Lumeno.01.IMG_0042.JPG"));
    put(folder.file("Lumeno.02.IMG_0042.JPG"), "someone else's");
    EXPECT_EQ(makeNumberedBackup(photo), folder.file("Lumeno.03.IMG_0042.JPG"));
    EXPECT_EQ(get(folder.file("Lumeno.00.IMG_0042.JPG")), "v1");
    EXPECT_EQ(get(folder.file("Lumeno.02.IMG_0042.JPG")), "someone else's");
    EXPECT_EQ(get(folder.file("Lumeno.03.IMG_0042.JPG")), "v2");

    for (int n = 4; n <= 98; ++n) {
        char name[32];
        std::snprintf(name, sizeof name, "Lumeno.%.2d.IMG_0042.JPG", n);
        put(folder.file(name), "x");
    }
    EXPECT_THROW(makeNumberedBackup(photo), std::runtime_error);
}

TEST(WriteFileSafely, RemovesTheTemporaryFilesKilledWritesLeftAndNoOthers)
{
    Folder folder;
    const std::string photo = folder.file("photo.jpg");
    put(photo, "original");
    put(folder.file(".photo.jpg.lumeno-Ab3xQz"), "left by a killed write");
    put(folder.file(".photo.jpg.lumeno-Busy01"), "being written by another");
    put(folder.file(".other.jpg.lumeno-Zz9xQz"), "another photo's");
    const auto busy = services().lockFile(folder.file(".photo.jpg.lumeno-Busy01"));
    writeFileSafely(photo, [](const std::string& temporary) { put(temporary, "new"); });
    EXPECT_EQ(get(photo), "new");
    EXPECT_FALSE(fs::exists(folder.file(".photo.jpg.lumeno-Ab3xQz")));
    EXPECT_TRUE(fs::exists(folder.file(".photo.jpg.lumeno-Busy01")));
    EXPECT_TRUE(fs::exists(folder.file(".other.jpg.lumeno-Zz9xQz")));
}
