#include "CameraFiles.h"

#include "JpegBuilder.h"
#include "TiffBuilder.h"

#include <random>
#include <string>

#include <turbojpeg.h>

using TestSupport::Bytes;
using TestSupport::TiffBuilder;

namespace Bench {

std::vector<std::uint8_t> cameraExif(const char* dateTimeOriginal, const std::vector<std::uint8_t>& thumbnail);

std::vector<std::uint8_t> cameraExif()
{
    return cameraExif("2024:05:06 07:08:09", {});
}

std::vector<std::uint8_t> cameraExif(const char* dateTimeOriginal, const std::vector<std::uint8_t>& thumbnail)
{
    TiffBuilder b(false);
    TiffBuilder::Dir& exif = b.newDir();
    TiffBuilder::Dir& interop = b.newDir();
    TiffBuilder::Dir& ifd1 = b.newDir();
    b.ifd0()
        .ascii(271, "Canon")
        .ascii(272, "Canon EOS 5D Mark IV")
        .shorts(274, {1})
        .rationals(282, {{72, 1}})
        .rationals(283, {{72, 1}})
        .shorts(296, {2})
        .ascii(305, "1.4.2")
        .ascii(306, "2024:05:06 07:08:09")
        .ascii(315, "A. Photographer")
        .shorts(531, {2})
        .ascii(33432, "(c) A. Photographer")
        .pointer(34665, exif);
    b.ifd0().next = &ifd1;

    // A maker note that is a directory of 24 SHORT arrays and texts, as some makers write.
    TiffBuilder notes(false);
    for (std::uint16_t t = 1; t <= 24; ++t) {
        if (t % 4 == 0) {
            notes.ifd0().ascii(t, "maker text value");
        } else {
            notes.ifd0().shorts(t, std::vector<std::uint32_t>(t % 3 == 0 ? 20 : 1, t));
        }
    }
    std::vector<std::uint8_t> noteBytes = notes.build();
    noteBytes.erase(noteBytes.begin(), noteBytes.begin() + 8); // a directory without a TIFF header

    exif.rationals(33434, {{1, 160}})
        .rationals(33437, {{56, 10}})
        .shorts(34850, {3})
        .shorts(34855, {400})
        .bytes(36864, {'0', '2', '3', '0'})
        .ascii(36867, dateTimeOriginal)
        .ascii(36868, "2024:05:06 07:08:09")
        .bytes(37121, {1, 2, 3, 0})
        .srationals(37377, {{483, 66}})
        .rationals(37378, {{497, 100}})
        .srationals(37380, {{-1, 3}})
        .rationals(37381, {{4, 1}})
        .shorts(37383, {5})
        .shorts(37385, {16})
        .rationals(37386, {{50, 1}})
        .bytes(37500, noteBytes)
        .bytes(37510, std::vector<std::uint8_t>(264, 0))
        .ascii(37520, "00")
        .ascii(37521, "00")
        .ascii(37522, "00")
        .bytes(40960, {'0', '1', '0', '0'})
        .shorts(40961, {1})
        .shorts(40962, {6720})
        .shorts(40963, {4480})
        .pointer(40965, interop)
        .rationals(41486, {{6720000, 1418}})
        .rationals(41487, {{4480000, 945}})
        .shorts(41488, {2})
        .shorts(41985, {0})
        .shorts(41986, {1})
        .shorts(41987, {0})
        .shorts(41990, {0});
    interop.ascii(1, "R98").bytes(2, {'0', '1', '0', '0'});
    ifd1.shorts(259, {6}).rationals(282, {{72, 1}}).rationals(283, {{72, 1}}).shorts(296, {2});
    if (thumbnail.empty()) {
        ifd1.longs(513, {8000}).longs(514, {12000});
        return b.build();
    }
    // The thumbnail after the directories, where cameras put it: built once to learn where that is.
    ifd1.longs(513, {0}).longs(514, {static_cast<std::uint32_t>(thumbnail.size())});
    const auto place = static_cast<std::uint32_t>(b.build().size());
    ifd1.entries.pop_back();
    ifd1.entries.pop_back();
    ifd1.longs(513, {place}).longs(514, {static_cast<std::uint32_t>(thumbnail.size())});
    std::vector<std::uint8_t> tiff = b.build();
    tiff.insert(tiff.end(), thumbnail.begin(), thumbnail.end());
    return tiff;
}

std::vector<std::uint8_t> cameraSegments(const char* dateTimeOriginal, const std::vector<std::uint8_t>& thumbnail)
{
    using namespace TestSupport;
    const std::string packet =
        "<?xpacket begin=\"\" id=\"W5M0MpCehiHzreSzNTczkc9d\"?><x:xmpmeta xmlns:x=\"adobe:ns:meta/\">"
        "<rdf:RDF xmlns:rdf=\"http://www.w3.org/1999/02/22-rdf-syntax-ns#\"><rdf:Description rdf:about=\"\" "
        "xmlns:dc=\"http://purl.org/dc/elements/1.1/\" xmlns:photoshop=\"http://ns.adobe.com/photoshop/1.0/\" "
        "xmlns:xmp=\"http://ns.adobe.com/xap/1.0/\"><xmp:CreatorTool>Camera firmware 1.4.2</xmp:CreatorTool>"
        "<dc:title><rdf:Alt><rdf:li xml:lang=\"x-default\">Morning light</rdf:li></rdf:Alt></dc:title>"
        "<dc:creator><rdf:Seq><rdf:li>A. Photographer</rdf:li></rdf:Seq></dc:creator>"
        "<dc:subject><rdf:Bag><rdf:li>sunrise</rdf:li><rdf:li>lake</rdf:li><rdf:li>mountains</rdf:li></rdf:Bag>"
        "</dc:subject><photoshop:City>Annecy</photoshop:City></rdf:Description></rdf:RDF></x:xmpmeta>"
        "<?xpacket end=\"w\"?>";
    const Bytes record = iptcDataSet(2, 0, std::string("\0\4", 2)) + iptcDataSet(2, 5, "Morning light") +
                         iptcDataSet(2, 25, "sunrise") + iptcDataSet(2, 25, "lake") + iptcDataSet(2, 25, "mountains") +
                         iptcDataSet(2, 80, "A. Photographer") + iptcDataSet(2, 90, "Annecy") +
                         iptcDataSet(2, 120, "Sunrise over the lake, seen from the north shore");
    JpegBuilder b;
    b.exif(cameraExif(dateTimeOriginal, thumbnail))
        .photoshop(resourceBlock(1061, Bytes(16, 7)) + resourceBlock(1028, record))
        .xmp(packet);
    return Bytes(b.bytes().begin() + 2, b.bytes().end());
}

std::vector<std::uint8_t> cameraJpeg(std::size_t imageBytes)
{
    using namespace TestSupport;
    JpegBuilder b;
    b.segment(0xE0, bytesOf(std::string("JFIF\0\1\1\0\0\1\0\1\0\0", 14))).raw(cameraSegments()).frame();
    // Entropy-coded data stand-in: random bytes without 0xFF, so that no marker appears in it.
    std::mt19937 random(1);
    Bytes data(imageBytes);
    for (auto& byte : data) {
        byte = static_cast<std::uint8_t>(random() % 255);
    }
    b.segment(0xDA, {1, 1, 0x00, 0, 63, 0}).raw(data).raw({0xFF, 0xD9});
    return b.bytes();
}

namespace {

// The noisy pattern of the benchmarks' pictures, as RGB.
std::vector<unsigned char> pattern(int width, int height)
{
    std::vector<unsigned char> rgb(static_cast<std::size_t>(width) * static_cast<std::size_t>(height) * 3);
    std::mt19937 random(7);
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            unsigned char* p = &rgb[(static_cast<std::size_t>(y) * static_cast<std::size_t>(width) + static_cast<std::size_t>(x)) * 3];
            const auto noise = static_cast<unsigned>(random() % 24);
            p[0] = static_cast<unsigned char>((x / 7 + noise) & 0xFF);
            p[1] = static_cast<unsigned char>((y / 5 + noise) & 0xFF);
            p[2] = static_cast<unsigned char>(((x ^ y) / 9 + noise) & 0xFF);
        }
    }
    return rgb;
}

Bytes encoded(const std::vector<unsigned char>& rgb, int width, int height)
{
    tjhandle h = tjInitCompress();
    unsigned char* out = nullptr;
    unsigned long size = 0;
    tjCompress2(h, rgb.data(), width, 0, height, TJPF_RGB, &out, &size, TJSAMP_420, 90, 0);
    Bytes jpeg(out, out + size);
    tjFree(out);
    tjDestroy(h);
    return jpeg;
}

Bytes withSegments(const Bytes& jpeg, const std::vector<std::uint8_t>& segments)
{
    Bytes photo;
    photo.reserve(jpeg.size() + segments.size());
    photo.insert(photo.end(), jpeg.begin(), jpeg.begin() + 2); // SOI
    photo.insert(photo.end(), segments.begin(), segments.end());
    photo.insert(photo.end(), jpeg.begin() + 2, jpeg.end());
    return photo;
}

} // namespace

std::vector<std::uint8_t> encodedPhoto(int width, int height, const std::vector<std::uint8_t>& segments)
{
    return withSegments(encoded(pattern(width, height), width, height), segments);
}

std::vector<std::uint8_t> photoWithThumbnail(int width, int height)
{
    const std::vector<unsigned char> rgb = pattern(width, height);
    // The camera's thumbnail: 160 pixels across, each the average of the block it covers.
    const int w = 160;
    const int h = height * w / width;
    std::vector<unsigned char> small(static_cast<std::size_t>(w) * static_cast<std::size_t>(h) * 3);
    for (int y = 0; y < h; ++y) {
        for (int x = 0; x < w; ++x) {
            for (int c = 0; c < 3; ++c) {
                unsigned long sum = 0;
                unsigned long n = 0;
                for (int sy = y * height / h; sy < (y + 1) * height / h; ++sy) {
                    for (int sx = x * width / w; sx < (x + 1) * width / w; ++sx, ++n) {
                        sum += rgb[(static_cast<std::size_t>(sy) * static_cast<std::size_t>(width) + static_cast<std::size_t>(sx)) * 3 + static_cast<std::size_t>(c)];
                    }
                }
                small[(static_cast<std::size_t>(y) * w + static_cast<std::size_t>(x)) * 3 + static_cast<std::size_t>(c)] =
                    static_cast<unsigned char>(n == 0 ? 0 : (sum + n / 2) / n);
            }
        }
    }
    return withSegments(encoded(rgb, width, height), cameraSegments("2024:05:06 07:08:09", encoded(small, w, h)));
}

} // namespace Bench
