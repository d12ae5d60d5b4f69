// Thumbnails through the JPEG codec: the size and the way up, the camera's embedded thumbnail
// taken only when it can stand for the picture, and bytes that are no JPEG.
#include <Lumeno/Platform/Thumbnail.h>

#include <gtest/gtest.h>

#include <turbojpeg.h>

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

using Lumeno::Platform::Embedded;
using Lumeno::Platform::jpegThumbnail;

namespace {

struct Colour {
    int r, g, b;
};

// A JPEG of `width` x `height` pixels: `left` on the left half, `right` on the right half.
std::vector<std::uint8_t> halves(int width, int height, Colour left, Colour right)
{
    std::vector<unsigned char> rgb(static_cast<std::size_t>(width) * height * 3);
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            const Colour c = x < width / 2 ? left : right;
            unsigned char* p = &rgb[(static_cast<std::size_t>(y) * width + x) * 3];
            p[0] = static_cast<unsigned char>(c.r);
            p[1] = static_cast<unsigned char>(c.g);
            p[2] = static_cast<unsigned char>(c.b);
        }
    }
    tjhandle h = tjInitCompress();
    unsigned char* out = nullptr;
    unsigned long size = 0;
    tjCompress2(h, rgb.data(), width, 0, height, TJPF_RGB, &out, &size, TJSAMP_444, 95, 0);
    std::vector<std::uint8_t> jpeg(out, out + size);
    tjFree(out);
    tjDestroy(h);
    return jpeg;
}

struct Decoded {
    int width = 0;
    int height = 0;
    std::vector<unsigned char> rgb;
    Colour at(int x, int y) const
    {
        const unsigned char* p = &rgb[(static_cast<std::size_t>(y) * width + x) * 3];
        return {p[0], p[1], p[2]};
    }
};

Decoded decoded(const std::string& jpeg)
{
    Decoded d;
    tjhandle h = tjInitDecompress();
    auto* bytes = reinterpret_cast<unsigned char*>(const_cast<char*>(jpeg.data()));
    int subsampling = 0, colorspace = 0;
    tjDecompressHeader3(h, bytes, jpeg.size(), &d.width, &d.height, &subsampling, &colorspace);
    d.rgb.resize(static_cast<std::size_t>(d.width) * d.height * 3);
    tjDecompress2(h, bytes, jpeg.size(), d.rgb.data(), d.width, 0, d.height, TJPF_RGB, 0);
    tjDestroy(h);
    return d;
}

bool near(Colour a, Colour b)
{
    return std::abs(a.r - b.r) < 24 && std::abs(a.g - b.g) < 24 && std::abs(a.b - b.b) < 24;
}

constexpr Colour Red{230, 20, 20}, Blue{20, 20, 230}, Green{20, 230, 20};

} // namespace

TEST(Thumbnail, FittedAndTurnedUprightByTheOrientation)
{
    const std::vector<std::uint8_t> photo = halves(1600, 800, Red, Blue);
    const auto as = [&](int orientation) {
        const auto made = jpegThumbnail(photo.data(), photo.size(), 160, orientation);
        return made ? decoded(*made) : Decoded{};
    };
    const Decoded upright = as(1);
    ASSERT_EQ(upright.width, 160);
    ASSERT_EQ(upright.height, 80);
    EXPECT_TRUE(near(upright.at(10, 40), Red));
    EXPECT_TRUE(near(upright.at(150, 40), Blue));
    const Decoded upsideDown = as(3);
    EXPECT_TRUE(near(upsideDown.at(10, 40), Blue));
    // Shot turned a quarter: the stored left half becomes the top (6) or the bottom (8).
    const Decoded six = as(6);
    ASSERT_EQ(six.width, 80);
    ASSERT_EQ(six.height, 160);
    EXPECT_TRUE(near(six.at(40, 10), Red));
    EXPECT_TRUE(near(six.at(40, 150), Blue));
    const Decoded eight = as(8);
    EXPECT_TRUE(near(eight.at(40, 10), Blue));
    const Decoded mirrored = as(2);
    EXPECT_TRUE(near(mirrored.at(10, 40), Blue));

    // A picture smaller than the thumbnail keeps its size.
    const std::vector<std::uint8_t> small = halves(100, 40, Red, Blue);
    const auto kept = jpegThumbnail(small.data(), small.size(), 160, 1);
    ASSERT_TRUE(kept);
    EXPECT_EQ(decoded(*kept).width, 100);
    EXPECT_EQ(decoded(*kept).height, 40);
}

TEST(Thumbnail, TheEmbeddedThumbnailStandsForThePictureOnlyWhenLargeEnoughAndOfItsAspect)
{
    const std::vector<std::uint8_t> photo = halves(1600, 800, Red, Blue);
    const auto from = [&](const std::vector<std::uint8_t>& embedded) {
        const auto made = jpegThumbnail(photo.data(), photo.size(), 160, 1, Embedded{embedded.data(), embedded.size()});
        return made ? decoded(*made) : Decoded{};
    };
    // A green one tells which was used.
    EXPECT_TRUE(near(from(halves(200, 100, Green, Green)).at(10, 40), Green));
    EXPECT_TRUE(near(from(halves(150, 75, Green, Green)).at(10, 40), Red));   // too small
    EXPECT_TRUE(near(from(halves(160, 120, Green, Green)).at(10, 40), Red));  // 4:3 for a 2:1 picture
    EXPECT_TRUE(near(from(std::vector<std::uint8_t>{0xFF, 0xD8, 0xFF, 0xE0}).at(10, 40), Red)); // no picture
}

TEST(Thumbnail, BytesThatAreNoPictureTheCodecDecodesGiveNothing)
{
    const std::vector<std::uint8_t> photo = halves(320, 160, Red, Blue);
    EXPECT_FALSE(jpegThumbnail(photo.data(), 100, 160, 1)); // cut inside the tables
    std::vector<std::uint8_t> noise(4096);
    for (std::size_t i = 0; i < noise.size(); ++i) {
        noise[i] = static_cast<std::uint8_t>(i * 7919 >> 3);
    }
    EXPECT_FALSE(jpegThumbnail(noise.data(), noise.size(), 160, 1));
    // A frame that claims 65000 x 65000 pixels in a few bytes: left to the image service.
    std::vector<std::uint8_t> huge = photo;
    for (std::size_t i = 0; i + 8 < huge.size(); ++i) {
        if (huge[i] == 0xFF && huge[i + 1] == 0xC0) {
            huge[i + 5] = 0xFD;
            huge[i + 6] = 0xE8;
            huge[i + 7] = 0xFD;
            huge[i + 8] = 0xE8;
            break;
        }
    }
    EXPECT_FALSE(jpegThumbnail(huge.data(), huge.size(), 160, 1));
    // Cut in the middle of the picture: what is there, as viewers show it.
    const auto cut = jpegThumbnail(photo.data(), photo.size() / 2, 160, 1);
    ASSERT_TRUE(cut);
    EXPECT_EQ(decoded(*cut).width, 160);
}

TEST(Thumbnail, AnEmbeddedThumbnailOfJustTheSizeIsTakenAsItIsWhenUpright)
{
    const std::vector<std::uint8_t> photo = halves(1600, 800, Red, Blue);
    const std::vector<std::uint8_t> embedded = halves(160, 80, Green, Green);
    const Embedded camera{embedded.data(), embedded.size()};
    const auto upright = jpegThumbnail(photo.data(), photo.size(), 160, 1, camera);
    ASSERT_TRUE(upright);
    EXPECT_EQ(std::vector<std::uint8_t>(upright->begin(), upright->end()), embedded); // not encoded again
    // Turned, it is decoded, turned and encoded: 80 x 160.
    const auto turned = jpegThumbnail(photo.data(), photo.size(), 160, 6, camera);
    ASSERT_TRUE(turned);
    EXPECT_NE(std::vector<std::uint8_t>(turned->begin(), turned->end()), embedded);
    EXPECT_EQ(decoded(*turned).width, 80);
    EXPECT_TRUE(near(decoded(*turned).at(40, 80), Green));
    // Cut short, it is no thumbnail to copy: the picture is decoded instead.
    const std::vector<std::uint8_t> cut(embedded.begin(), embedded.end() - 40);
    const auto fromPicture = jpegThumbnail(photo.data(), photo.size(), 160, 1, Embedded{cut.data(), cut.size()});
    ASSERT_TRUE(fromPicture);
    EXPECT_TRUE(near(decoded(*fromPicture).at(40, 40), Red));
    EXPECT_TRUE(near(decoded(*fromPicture).at(120, 40), Blue));
    // Nor when the picture must be turned (its left half is then at the top).
    const auto turnedFromPicture =
        jpegThumbnail(photo.data(), photo.size(), 160, 6, Embedded{cut.data(), cut.size()});
    ASSERT_TRUE(turnedFromPicture);
    EXPECT_TRUE(near(decoded(*turnedFromPicture).at(40, 40), Red));
}

TEST(Thumbnail, AViewersPictureIsFittedIntoItsBoxAsSeenInEitherByteOrder)
{
    const std::vector<std::uint8_t> photo = halves(1600, 800, Red, Blue);
    const std::string path = ::testing::TempDir() + "lumeno-fitted.jpg";
    {
        std::FILE* f = std::fopen(path.c_str(), "wb");
        ASSERT_NE(f, nullptr);
        std::fwrite(photo.data(), 1, photo.size(), f);
        std::fclose(f);
    }
    using Lumeno::Platform::fittedPicture;
    // The box's narrower side decides; a quarter-turned picture is fitted as it is seen.
    const auto wide = fittedPicture(path, 400, 400, 1);
    EXPECT_EQ(wide.width, 400);
    EXPECT_EQ(wide.height, 200);
    ASSERT_EQ(wide.pixels.size(), 400u * 200 * 3);
    EXPECT_TRUE(near({wide.pixels[0], wide.pixels[1], wide.pixels[2]}, Red));
    const auto turned = fittedPicture(path, 400, 300, 6, true);
    EXPECT_EQ(turned.width, 150);
    EXPECT_EQ(turned.height, 300);
    // Blue, green, red: the stored left half (red) is on top.
    EXPECT_TRUE(near({turned.pixels[2], turned.pixels[1], turned.pixels[0]}, Red));
    const std::size_t last = turned.pixels.size() - 3;
    EXPECT_TRUE(near({turned.pixels[last + 2], turned.pixels[last + 1], turned.pixels[last]}, Blue));
    // Never enlarged.
    const auto whole = fittedPicture(path, 5000, 5000, 1);
    EXPECT_EQ(whole.width, 1600);
    EXPECT_EQ(whole.height, 800);
    EXPECT_THROW(fittedPicture(path, 0, 10, 1), std::runtime_error);
    std::remove(path.c_str());
    EXPECT_THROW(fittedPicture(path, 10, 10, 1), std::runtime_error);
}

TEST(Thumbnail, AViewersPictureOfATiffComesFromTheImageService)
{
    // The sample TIFF is a single pixel: kept as it is, never enlarged to the box.
    const auto tiff = Lumeno::Platform::fittedPicture(LUMENO_TEST_DATA "/sample.tif", 64, 64, 1, true);
    EXPECT_EQ(tiff.width, 1);
    EXPECT_EQ(tiff.height, 1);
    EXPECT_EQ(tiff.pixels.size(), 3u);
    EXPECT_TRUE(tiff.bgr);
    EXPECT_THROW(Lumeno::Platform::fittedPicture(LUMENO_TEST_DATA "/../CMakeLists.txt", 64, 64, 1), std::runtime_error);
}

TEST(Thumbnail, AThumbnailInMemoryIsDecodedWhole)
{
    const std::vector<std::uint8_t> photo = halves(320, 200, Red, Blue);
    const auto whole = Lumeno::Platform::jpegPicture(photo.data(), photo.size(), true);
    ASSERT_TRUE(whole);
    EXPECT_EQ(whole->width, 320);
    EXPECT_EQ(whole->height, 200);
    EXPECT_TRUE(near({whole->pixels[2], whole->pixels[1], whole->pixels[0]}, Red));
    const std::uint8_t noJpeg[] = {0xFF, 0xD8, 0xFF, 0xE0, 0, 2};
    EXPECT_FALSE(Lumeno::Platform::jpegPicture(noJpeg, sizeof noJpeg));
}
