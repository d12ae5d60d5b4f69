#include <Lumeno/Platform/Services.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>

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
