#include <Metadata/Exceptions.h>
#include <Metadata/ImageMetadata.h>
#include <Metadata/ImageStream.h>
#include <Metadata/TIFFReader.h>

#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

using namespace Metadata;

namespace {

// A stream over a temporary file holding `bytes`.
class TempStream {
public:
    explicit TempStream(const std::vector<std::uint8_t>& bytes)
    {
        const ::testing::TestInfo* info = ::testing::UnitTest::GetInstance()->current_test_info();
        path_ = ::testing::TempDir() + "stream-" + info->name() + ".bin";
        std::FILE* f = std::fopen(path_.c_str(), "wb");
        if (!bytes.empty()) {
            std::fwrite(bytes.data(), 1, bytes.size(), f);
        }
        std::fclose(f);
        stream.open(path_, std::ios::in | std::ios::out | std::ios::binary);
    }
    ~TempStream() { std::remove(path_.c_str()); }
    ImageStreamT stream;

private:
    std::string path_;
};

} // namespace

TEST(Exceptions, KeepOnlyTheFileNameAndDescribeWithTheFullPath)
{
    const Exception e("bad", "C:\\src\\lib/Field.cpp", 42);
    EXPECT_STREQ(e.what(), "bad");
    EXPECT_EQ(e.file(), "Field.cpp");
    EXPECT_EQ(e.line(), 42u);
    EXPECT_EQ(Exception("x", "drive:IFD.cpp", 1).file(), "IFD.cpp");

    const Error err("broken", "/home/dev/libmetadata/src/EXIF.cpp", 7);
    EXPECT_EQ(err.file(), "EXIF.cpp");
    EXPECT_EQ(err.description(), "Error: broken @ /home/dev/libmetadata/src/EXIF.cpp:7");
    // The description is built in a buffer of 1024 characters.
    const Error longError(std::string(2000, 'm'), "f.cpp", 1);
    EXPECT_EQ(longError.description().size(), 1023u);
    EXPECT_EQ(longError.message().size(), 2000u);
}

TEST(Exceptions, FixedMessagesAndFamily)
{
    EXPECT_STREQ(IOOpenError("a", 1).what(), "write failed");
    EXPECT_STREQ(IOReadException("a", 1).what(), "read failed");
    EXPECT_STREQ(IOWriteException("a", 1).what(), "write failed");
    EXPECT_STREQ(MemoryError("a", 1).what(), "out of memory");
    EXPECT_EQ(Win32Exception("w", 5, "a", 1).systemError(), 5u);

    // Callers catch by family.
    EXPECT_THROW(METADATA_THROW0(IOOpenError), IOException);
    EXPECT_THROW(METADATA_THROW(FileFormatException, "f"), Exception);
    EXPECT_THROW(METADATA_THROW(LibTIFFException, "libtiff failed"), Exception);
    EXPECT_THROW(METADATA_THROW(LogicError, "l"), Error);
    EXPECT_THROW(METADATA_THROW0(MemoryError), Error);
    try {
        METADATA_THROW(FileFormatException, "here");
    } catch (const Exception& e) {
        EXPECT_EQ(e.file(), "StreamTest.cpp");
        EXPECT_GT(e.line(), 0u);
    }
}

TEST(ImageStream, ReadsValuesInEitherOrderAndStopsQuietlyAtEndOfFile)
{
    TempStream t({0x12, 0x34, 0x56, 0x78, 0x9A, 0xBC, 0xDE});
    ImageStreamT& s = t.stream;
    EXPECT_FALSE(s.bigEndian());
    EXPECT_EQ(s.read16(), 0x3412);
    s.seekg(0);
    EXPECT_EQ(s.read32(), 0x78563412u);
    s.seekg(0);
    s.setBigEndian();
    EXPECT_EQ(s.read16(), 0x1234);
    EXPECT_EQ(s.read32(), 0x56789ABCu);

    // Only one byte is left: no exception, end of file set, the rest of the buffer untouched.
    std::uint8_t buffer[4] = {0xEE, 0xEE, 0xEE, 0xEE};
    s.read(buffer, sizeof buffer);
    EXPECT_TRUE(s.eof());
    EXPECT_EQ(buffer[0], 0xDE);
    EXPECT_EQ(buffer[1], 0xEE);
}

TEST(ImageStream, WritesBigEndianWhateverTheFlagAndReportsFailures)
{
    TempStream t({});
    t.stream.writeBig32(0x01020304);
    t.stream.seekg(0);
    std::uint8_t b[4] = {};
    t.stream.read(b, 4);
    EXPECT_EQ(std::vector<std::uint8_t>(b, b + 4), (std::vector<std::uint8_t>{1, 2, 3, 4}));

    ImageStreamT closed;
    EXPECT_THROW(closed.write(b, 4), IOWriteException);
}

TEST(BigEndianBuffers, AdvanceTheCursorAndRefuseToReadPastTheEnd)
{
    const std::uint8_t data[] = {0x00, 0x00, 0x01, 0x02, 0xAB, 0xCD, 0xEF};
    const std::uint8_t* cursor = data;
    std::size_t remaining = sizeof data;
    EXPECT_EQ(readBig32(cursor, remaining), 0x0102u);
    EXPECT_EQ(readBig16(cursor, remaining), 0xABCD);
    EXPECT_EQ(remaining, 1u);
    EXPECT_THROW(readBig16(cursor, remaining), FileFormatException);
    EXPECT_EQ(remaining, 1u);

    std::uint8_t out[4];
    storeBig32(out, 0xCAFEBABE);
    EXPECT_EQ(out[0], 0xCA);
    EXPECT_EQ(out[3], 0xBE);
}

TEST(TIFFHeader, ReadsByteOrderMagicAndFirstOffset)
{
    {
        TempStream t({'X', 'M', 'M', 0x00, 0x2A, 0x00, 0x00, 0x01, 0x00});
        t.stream.seekg(1);
        const ImageMetadata::TIFFHeader h(t.stream);
        EXPECT_TRUE(h.bigEndian());
        EXPECT_TRUE(t.stream.bigEndian());
        EXPECT_EQ(h.basePosition(), std::streampos(1));
        EXPECT_EQ(h.size(), 8u);
        EXPECT_EQ(h.firstIFDOffset(), 256u);
    }
    {
        TempStream t({'I', 'I', 0x2A, 0x00, 0x08, 0x00, 0x00, 0x00});
        t.stream.setBigEndian();
        const ImageMetadata::TIFFHeader h(t.stream);
        EXPECT_FALSE(h.bigEndian());
        // "II" never clears the flag of a stream that once read "MM".
        EXPECT_TRUE(t.stream.bigEndian());
        EXPECT_EQ(h.firstIFDOffset(), 8u);
    }
    auto failure = [](std::vector<std::uint8_t> bytes) -> std::string {
        TempStream t(bytes);
        try {
            ImageMetadata::TIFFHeader h(t.stream);
        } catch (const FileFormatException& e) {
            return e.what();
        }
        return "no error";
    };
    EXPECT_EQ(failure({'I', 'M', 0x2A, 0x00, 8, 0, 0, 0}), "unknown byte ordering");
    EXPECT_EQ(failure({'M', 'I', 0x00, 0x2A, 0, 0, 0, 8}), "unknown byte ordering");
    // 0x00 0x2A read little-endian is 10752.
    EXPECT_EQ(failure({'I', 'I', 0x00, 0x2A, 8, 0, 0, 0}), "Bad EXIF magic");
    EXPECT_EQ(failure({'I', 'I'}), "Bad EXIF magic");
    EXPECT_EQ(failure({}), "unknown byte ordering");
}

TEST(ByteSources, ReadZerosPastTheEndAndGiveViewsOnlyOfWholeRanges)
{
    const MemorySource memory(std::vector<std::uint8_t>{1, 2, 3});
    std::uint8_t b[5] = {9, 9, 9, 9, 9};
    EXPECT_EQ(memory.read(1, b, 5), 2u);
    EXPECT_EQ(std::vector<std::uint8_t>(b, b + 5), (std::vector<std::uint8_t>{2, 3, 0, 0, 0}));
    EXPECT_EQ(memory.read(0xFFFFFFFFFFFFFFF0ull, b, 5), 0u);
    EXPECT_NE(memory.view(1, 2), nullptr);
    EXPECT_EQ(memory.view(2, 2), nullptr);
    EXPECT_EQ(memory.view(0xFFFFFFFFFFFFFFFFull, 2), nullptr);

    // A stream source across page boundaries gives the same bytes as the file, and keeps the
    // stream where it was.
    std::vector<std::uint8_t> bytes(40000);
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        bytes[i] = static_cast<std::uint8_t>(i * 7);
    }
    TempStream t(bytes);
    t.stream.seekg(123);
    const StreamSource stream(t.stream);
    EXPECT_EQ(stream.size(), bytes.size());
    std::vector<std::uint8_t> got(20000);
    EXPECT_EQ(stream.read(10000, got.data(), got.size()), got.size());
    EXPECT_TRUE(std::equal(got.begin(), got.end(), bytes.begin() + 10000));
    EXPECT_EQ(stream.read(39998, got.data(), 4), 2u);
    EXPECT_EQ(got[1], bytes[39999]);
    EXPECT_EQ(got[2], 0);
    EXPECT_EQ(t.stream.tellg(), std::streampos(123));
}
