#include <Lumeno/Platform/Services.h>

#include <Metadata/DateTime.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>
#include <system_error>

#if defined(__GLIBC__)
#include <malloc.h>
#endif
#include <unistd.h>

using namespace Lumeno::Platform;

namespace {

// Sets TZ for the scope of a test.
class TimeZone {
public:
    explicit TimeZone(const char* zone)
    {
        const char* old = std::getenv("TZ");
        saved_ = old ? old : "";
        hadOne_ = old != nullptr;
        setenv("TZ", zone, 1);
        tzset();
    }
    ~TimeZone()
    {
        if (hadOne_) {
            setenv("TZ", saved_.c_str(), 1);
        } else {
            unsetenv("TZ");
        }
        tzset();
    }

private:
    std::string saved_;
    bool hadOne_ = false;
};

} // namespace

TEST(Services, UtcOffsetFollowsTheTimeZoneAndReachesTheLibrary)
{
    {
        const TimeZone zone("UTC0");
        EXPECT_EQ(services().utcOffsetMinutes(), 0);
    }
    {
        // POSIX zone strings count west as positive: this is UTC+05:30.
        const TimeZone zone("<+0530>-5:30");
        EXPECT_EQ(services().utcOffsetMinutes(), 330);
        EXPECT_EQ(Metadata::currentUtcOffsetMinutes(), 330);
        installMetadataServices();
        EXPECT_EQ(Metadata::ISODateTime(2003, 7, 14, 9, 5, 3).text(), "2003-07-14T09:05:03+05:30");
    }
    {
        const TimeZone zone("<-0330>3:30");
        EXPECT_EQ(services().utcOffsetMinutes(), -210);
        // A negative offset: hours truncated toward zero, minutes without sign.
        const Metadata::ISODateTime v(2003, 7, 14, 9, 5, 3);
        EXPECT_EQ(v.zoneHours(), -3);
        EXPECT_EQ(v.zoneMinutes(), 30);
    }
    Metadata::setUtcOffsetFunction(nullptr);
}

TEST(Services, WindowsTimeZoneAnswersBecomeOffsets)
{
    // Central European: bias -60, daylight bias -60.
    EXPECT_EQ(offsetFromTimeZoneInformation(1, -60, 0, -60), 60);
    EXPECT_EQ(offsetFromTimeZoneInformation(2, -60, 0, -60), 120);
    // Eastern: bias 300; unknown answers ignore both extra biases.
    EXPECT_EQ(offsetFromTimeZoneInformation(2, 300, 0, -60), -240);
    EXPECT_EQ(offsetFromTimeZoneInformation(0, 300, 7, -60), -300);
    EXPECT_EQ(offsetFromTimeZoneInformation(0xFFFFFFFFul, -330, 0, 0), 330);
}

TEST(Services, UserFoldersFollowTheXdgVariables)
{
    const auto keep = [](const char* name) {
        const char* v = std::getenv(name);
        return v != nullptr ? std::optional<std::string>(v) : std::nullopt;
    };
    const auto data = keep("XDG_DATA_HOME"), config = keep("XDG_CONFIG_HOME"), home = keep("HOME");
    setenv("HOME", "/home/someone", 1);
    setenv("XDG_DATA_HOME", "/srv/data", 1);
    setenv("XDG_CONFIG_HOME", "/srv/config", 1);
    EXPECT_EQ(Lumeno::Platform::services().dataFolder(), "/srv/data");
    EXPECT_EQ(Lumeno::Platform::services().configFolder(), "/srv/config");
    // The XDG rules ignore a relative value: the default applies.
    setenv("XDG_DATA_HOME", "relative/data", 1);
    unsetenv("XDG_CONFIG_HOME");
    EXPECT_EQ(Lumeno::Platform::services().dataFolder(), "/home/someone/.local/share");
    EXPECT_EQ(Lumeno::Platform::services().configFolder(), "/home/someone/.config");
    const auto restore = [](const char* name, const std::optional<std::string>& v) {
        v ? setenv(name, v->c_str(), 1) : unsetenv(name);
    };
    restore("XDG_DATA_HOME", data);
    restore("XDG_CONFIG_HOME", config);
    restore("HOME", home);
}

TEST(Services, ModulesAreLoadedByPathAndFailuresSayWhy)
{
    const Services& system = services();
    namespace fs = std::filesystem;
    EXPECT_TRUE(fs::is_regular_file(fs::path(system.programFolder()) / "platform_tests")) << system.programFolder();

    const auto module = system.loadModule(LUMENO_TEST_MODULE);
    using Answer = int (*)();
    const auto answer = reinterpret_cast<Answer>(module->symbol("lumenoTestAnswer"));
    ASSERT_NE(answer, nullptr);
    EXPECT_EQ(answer(), 42);
    EXPECT_EQ(module->symbol("noSuchFunction"), nullptr);

    const fs::path folder = fs::temp_directory_path() / ("lumeno-modules-" + std::to_string(::getpid()));
    fs::create_directories(folder);
    const auto failure = [&](const fs::path& path) {
        try {
            system.loadModule(path.string());
        } catch (const std::system_error& e) {
            return e.code();
        }
        return std::error_code();
    };
    EXPECT_EQ(failure(folder / "missing.so"), std::errc::no_such_file_or_directory);
    std::ofstream(folder / "text.so") << "not a library\n";
    EXPECT_EQ(failure(folder / "text.so"), std::errc::executable_format_error);
    fs::remove_all(folder);
}

// mallinfo2 reads glibc's own allocator, which AddressSanitizer replaces.
#if defined(__GLIBC__) && !defined(__SANITIZE_ADDRESS__)
TEST(Services, FreedMemoryIsKeptWhileAskedThenGivenBack)
{
    constexpr std::size_t block = 24 * 1024 * 1024; // a large picture's coefficients
    std::size_t heapWhileKept = 0;
    {
        const FreedMemoryKept kept;
        void* picture = std::malloc(block);
        ASSERT_NE(picture, nullptr);
        std::memset(picture, 1, block);
        std::free(picture);
        heapWhileKept = ::mallinfo2().arena;
        // Still in the heap for the next picture rather than unmapped.
        EXPECT_GE(heapWhileKept, block);
    }
    EXPECT_LE(::mallinfo2().arena + block, heapWhileKept);
}
#endif
