// Files on disk for container tests: each test gets its own folder, removed afterwards.
#pragma once

#include "JpegBuilder.h"

#include <Metadata/ImageFactory.h>
#include <Metadata/ImageStream.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <random>
#include <string>

namespace TestSupport {

class TempFolder {
public:
    TempFolder()
    {
        const ::testing::TestInfo* info = ::testing::UnitTest::GetInstance()->current_test_info();
        // Named by the test and made unique, so that two runs of the tests on one machine (two
        // builds, a sanitizer build beside the plain one) never share a folder.
        path_ = std::filesystem::path(::testing::TempDir()) /
                (std::string("lumeno-") + info->test_suite_name() + "-" + info->name() + "-" +
                 std::to_string(std::random_device()()));
        std::filesystem::remove_all(path_);
        std::filesystem::create_directories(path_);
    }
    ~TempFolder() { std::filesystem::remove_all(path_); }
    std::string file(const std::string& name) const { return (path_ / name).string(); }
    const std::filesystem::path& path() const noexcept { return path_; }

private:
    std::filesystem::path path_;
};

inline void writeBytes(const std::string& path, const Bytes& bytes)
{
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
}

inline Bytes readBytes(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    return Bytes(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

struct Opened {
    Metadata::ImageStreamT stream;
    std::unique_ptr<Metadata::ImageMetadata> image;
};

inline std::unique_ptr<Opened> openFile(const std::string& path)
{
    auto o = std::make_unique<Opened>();
    o->image = Metadata::openImage(path, o->stream);
    return o;
}

// The message of what opening these bytes throws, or "opened".
inline std::string openError(const TempFolder& folder, const Bytes& bytes)
{
    const std::string path = folder.file("probe.jpg");
    writeBytes(path, bytes);
    try {
        openFile(path);
    } catch (const std::exception& e) {
        return e.what();
    }
    return "opened";
}

} // namespace TestSupport
