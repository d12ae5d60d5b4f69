#include "Lumeno/Platform/Thumbnail.h"

#include "Lumeno/Platform/Images.h"

#include <turbojpeg.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <stdexcept>
#include <vector>

namespace Lumeno::Platform {

namespace {

// Pixels as three bytes each, row after row.
struct Pixels {
    int width = 0;
    int height = 0;
    std::vector<std::uint8_t> rgb;
};

// A decoded picture larger than this is left to the image service, whose limits guard it: a
// hostile header may claim 65535 x 65535 pixels in a few bytes. (A photo of 128 megapixels
// decodes to 2 at one eighth.)
constexpr std::uint64_t MostDecodedPixels = std::uint64_t{16} << 20;
// A picture shown at its full size (a viewer's 100 %) may be larger: the user asked for it.
constexpr std::uint64_t MostShownPixels = std::uint64_t{100} << 20;

// Files larger than this are no photos of ours; the image service may still try.
constexpr std::uint64_t MostFileBytes = std::uint64_t{512} << 20;

struct Codec {
    tjhandle handle;
    explicit Codec(tjhandle h) : handle(h) {}
    ~Codec()
    {
        if (handle != nullptr) {
            tjDestroy(handle);
        }
    }
    Codec(const Codec&) = delete;
    Codec& operator=(const Codec&) = delete;
};

// A handle per use: one kept per thread (thread_local) crashes the Windows build's encoder on
// every thread but the first, and making one costs little beside the work.
Codec decoder()
{
    return Codec(tjInitDecompress());
}

Codec encoder()
{
    return Codec(tjInitCompress());
}

// The size of a `width` x `height` picture fitted into `longerSide` (never enlarged), rounded as
// the image service rounds.
void fitted(int width, int height, unsigned longerSide, int& w, int& h)
{
    const int longer = std::max(width, height);
    if (longer <= static_cast<int>(longerSide)) {
        w = width;
        h = height;
        return;
    }
    const double scale = static_cast<double>(longerSide) / longer;
    w = std::max(1, static_cast<int>(std::lround(width * scale)));
    h = std::max(1, static_cast<int>(std::lround(height * scale)));
}

// For each output sample, the input samples it covers and how much of each: a box filter with
// exact overlaps, which averages every input pixel into the output once (no aliasing, however
// large the step).
struct Taps {
    std::vector<int> first;       // per output sample
    std::vector<int> count;       // per output sample
    std::vector<float> weights;   // `count` weights per output sample, one after the other
    std::vector<std::size_t> at;  // where each output sample's weights start
};

Taps taps(int from, int to)
{
    Taps t;
    const double step = static_cast<double>(from) / to;
    for (int i = 0; i < to; ++i) {
        const double start = i * step;
        const double end = std::min<double>(from, (i + 1) * step);
        const int first = static_cast<int>(std::floor(start));
        const int last = std::min(from, static_cast<int>(std::ceil(end)));
        t.first.push_back(first);
        t.count.push_back(last - first);
        t.at.push_back(t.weights.size());
        for (int j = first; j < last; ++j) {
            const double overlap = std::min<double>(end, j + 1) - std::max<double>(start, j);
            t.weights.push_back(static_cast<float>(overlap / (end - start)));
        }
    }
    return t;
}

Pixels scaled(const Pixels& in, int width, int height)
{
    if (width == in.width && height == in.height) {
        return in;
    }
    // Across first, into floats, then down.
    const Taps across = taps(in.width, width);
    const Taps down = taps(in.height, height);
    std::vector<float> rows(static_cast<std::size_t>(width) * in.height * 3);
    for (int y = 0; y < in.height; ++y) {
        const std::uint8_t* source = &in.rgb[static_cast<std::size_t>(y) * in.width * 3];
        float* target = &rows[static_cast<std::size_t>(y) * width * 3];
        for (int x = 0; x < width; ++x) {
            float r = 0, g = 0, b = 0;
            const float* w = &across.weights[across.at[x]];
            const std::uint8_t* p = source + static_cast<std::size_t>(across.first[x]) * 3;
            for (int k = 0; k < across.count[x]; ++k, p += 3) {
                r += w[k] * p[0];
                g += w[k] * p[1];
                b += w[k] * p[2];
            }
            target[3 * x] = r;
            target[3 * x + 1] = g;
            target[3 * x + 2] = b;
        }
    }
    Pixels out{width, height, std::vector<std::uint8_t>(static_cast<std::size_t>(width) * height * 3)};
    const std::size_t stride = static_cast<std::size_t>(width) * 3;
    std::vector<float> sum(stride);
    for (int y = 0; y < height; ++y) {
        std::fill(sum.begin(), sum.end(), 0.0f);
        const float* w = &down.weights[down.at[y]];
        for (int k = 0; k < down.count[y]; ++k) {
            const float* row = &rows[static_cast<std::size_t>(down.first[y] + k) * stride];
            for (std::size_t i = 0; i < stride; ++i) {
                sum[i] += w[k] * row[i];
            }
        }
        std::uint8_t* target = &out.rgb[static_cast<std::size_t>(y) * stride];
        for (std::size_t i = 0; i < stride; ++i) {
            target[i] = static_cast<std::uint8_t>(std::clamp(sum[i] + 0.5f, 0.0f, 255.0f));
        }
    }
    return out;
}

// The picture turned upright by its EXIF orientation: each target pixel taken from where the
// orientation says it is stored.
Pixels upright(Pixels in, int orientation)
{
    if (orientation < 2 || orientation > 8) {
        return in;
    }
    const bool swaps = orientation >= 5;
    const int w = in.width;
    const int h = in.height;
    Pixels out{swaps ? h : w, swaps ? w : h, std::vector<std::uint8_t>(in.rgb.size())};
    for (int y = 0; y < out.height; ++y) {
        for (int x = 0; x < out.width; ++x) {
            int sx = x;
            int sy = y;
            switch (orientation) {
            case 2: sx = w - 1 - x; break;                   // mirrored
            case 3: sx = w - 1 - x; sy = h - 1 - y; break;   // upside down
            case 4: sy = h - 1 - y; break;                   // mirrored upside down
            case 5: sx = y; sy = x; break;                   // transposed
            case 6: sx = y; sy = h - 1 - x; break;           // turned a quarter left when shot
            case 7: sx = w - 1 - y; sy = h - 1 - x; break;   // transversed
            case 8: sx = w - 1 - y; sy = x; break;           // turned a quarter right when shot
            default: break;
            }
            const std::uint8_t* s = &in.rgb[(static_cast<std::size_t>(sy) * w + sx) * 3];
            std::uint8_t* t = &out.rgb[(static_cast<std::size_t>(y) * out.width + x) * 3];
            t[0] = s[0];
            t[1] = s[1];
            t[2] = s[2];
        }
    }
    return out;
}

// A JPEG's size, when the codec decodes it to RGB.
bool header(const Codec& codec, const std::uint8_t* data, std::size_t size, int& width, int& height)
{
    int subsampling = 0, colorspace = 0;
    auto* bytes = const_cast<unsigned char*>(data); // older TurboJPEG takes no const
    return codec.handle != nullptr && size <= MostFileBytes &&
           tjDecompressHeader3(codec.handle, bytes, static_cast<unsigned long>(size), &width, &height, &subsampling,
                               &colorspace) == 0 &&
           width > 0 && height > 0 && colorspace != TJCS_CMYK && colorspace != TJCS_YCCK;
}

// What a decode is asked for: the size (as stored) it must still cover (65535 for the whole
// picture), the order of the three bytes, and how many pixels it may make at most.
struct Wanted {
    int width = 0;
    int height = 0;
    bool bgr = false;
    std::uint64_t mostPixels = MostDecodedPixels;
};

// The JPEG decoded at the smallest of the codec's reductions (1/8, 1/4, 1/2, none) that still
// covers what is wanted.
std::optional<Pixels> decode(const Codec& codec, const std::uint8_t* data, std::size_t size, const Wanted& wanted,
                             bool* clean = nullptr)
{
    int width = 0, height = 0;
    if (!header(codec, data, size, width, height)) {
        return std::nullopt;
    }
    auto* bytes = const_cast<unsigned char*>(data);
    const auto length = static_cast<unsigned long>(size);
    tjscalingfactor chosen{1, 1};
    for (const int denominator : {8, 4, 2}) {
        const tjscalingfactor f{1, denominator};
        if (TJSCALED(width, f) >= wanted.width && TJSCALED(height, f) >= wanted.height) {
            chosen = f;
            break;
        }
    }
    Pixels pixels{TJSCALED(width, chosen), TJSCALED(height, chosen), {}};
    if (static_cast<std::uint64_t>(pixels.width) * static_cast<std::uint64_t>(pixels.height) > wanted.mostPixels) {
        return std::nullopt;
    }
    pixels.rgb.resize(static_cast<std::size_t>(pixels.width) * pixels.height * 3);
    const bool failed = tjDecompress2(codec.handle, bytes, length, pixels.rgb.data(), pixels.width, 0, pixels.height,
                                      wanted.bgr ? TJPF_BGR : TJPF_RGB, 0) != 0;
    if (failed && tjGetErrorCode(codec.handle) != TJERR_WARNING) {
        return std::nullopt; // a warning (data cut short) still leaves a picture, as viewers show it
    }
    if (clean != nullptr) {
        *clean = !failed;
    }
    return pixels;
}

// The same, covering `longerSide` on the picture's longer side.
std::optional<Pixels> decode(const Codec& codec, const std::uint8_t* data, std::size_t size, unsigned longerSide,
                             bool* clean = nullptr)
{
    int width = 0, height = 0;
    if (!header(codec, data, size, width, height)) {
        return std::nullopt;
    }
    Wanted wanted;
    const int longer = static_cast<int>(std::min<unsigned>(longerSide, 65535));
    (width >= height ? wanted.width : wanted.height) = longer;
    return decode(codec, data, size, wanted, clean);
}

std::optional<std::string> encode(const Pixels& pixels, int quality)
{
    const Codec codec = encoder();
    if (codec.handle == nullptr) {
        return std::nullopt;
    }
    unsigned char* jpeg = nullptr;
    unsigned long size = 0;
    if (tjCompress2(codec.handle, pixels.rgb.data(), pixels.width, 0, pixels.height, TJPF_RGB, &jpeg, &size, TJSAMP_420,
                    std::clamp(quality, 1, 100), 0) != 0) {
        tjFree(jpeg);
        return std::nullopt;
    }
    std::string out(reinterpret_cast<const char*>(jpeg), size);
    tjFree(jpeg);
    return out;
}

// Whether the embedded thumbnail can stand for the picture: as large as asked for (or as the
// picture itself), and of the same aspect to within a pixel of its size.
bool standsFor(const Codec& codec, const Embedded& embedded, const std::uint8_t* data, std::size_t size,
               unsigned longerSide)
{
    if (embedded.data == nullptr || embedded.size == 0) {
        return false;
    }
    int width = 0, height = 0, w = 0, h = 0;
    if (!header(codec, data, size, width, height) || !header(codec, embedded.data, embedded.size, w, h)) {
        return false;
    }
    const auto wanted = std::min<unsigned>(longerSide, static_cast<unsigned>(std::max(width, height)));
    const double aspect = static_cast<double>(width) / height;
    return static_cast<unsigned>(std::max(w, h)) >= wanted && std::abs(aspect * h - w) <= 1.0 &&
           std::abs(h - w / aspect) <= 1.0;
}

// `data` holds the whole file, or (`headOnly`) its first bytes, enough for the picture's size
// but not for its pixels.
std::optional<std::string> jpegThumbnail(const Codec& codec, const std::uint8_t* data, std::size_t size,
                                         unsigned longerSide, int orientation, const Embedded& embedded, int quality,
                                         bool headOnly = false)
{
    if (longerSide == 0 || codec.handle == nullptr) {
        return std::nullopt;
    }
    std::optional<Pixels> decoded;
    if (standsFor(codec, embedded, data, size, longerSide)) {
        int w = 0, h = 0, width = 0, height = 0;
        header(codec, embedded.data, embedded.size, w, h);
        fitted(w, h, longerSide, width, height);
        if ((orientation < 2 || orientation > 8) && width == w && height == h) {
            // The camera's thumbnail, upright and of just the size, is the thumbnail when it is
            // whole: its entropy-coded data read through at the smallest scale shows that
            // without the cost of its pixels.
            bool clean = false;
            if (decode(codec, embedded.data, embedded.size, 1, &clean) && clean) {
                return std::string(reinterpret_cast<const char*>(embedded.data), embedded.size);
            }
        }
        // A camera's thumbnail cut short or damaged is not used: the picture is.
        bool clean = false;
        decoded = decode(codec, embedded.data, embedded.size, longerSide, &clean);
        if (!clean) {
            decoded.reset();
        }
    }
    if (!decoded && !headOnly) {
        decoded = decode(codec, data, size, longerSide);
    }
    if (!decoded) {
        return std::nullopt;
    }
    int width = 0, height = 0;
    fitted(decoded->width, decoded->height, longerSide, width, height);
    return encode(upright(scaled(*decoded, width, height), orientation), quality);
}

} // namespace

std::optional<std::string> jpegThumbnail(const std::uint8_t* data, std::size_t size, unsigned longerSide,
                                         int orientation, Embedded embedded, int quality)
{
    const Codec codec = decoder();
    return jpegThumbnail(codec, data, size, longerSide, orientation, embedded, quality);
}

std::string thumbnail(const std::string& path, unsigned longerSide, int orientation, Embedded embedded, int quality)
{
    std::ifstream in(std::filesystem::u8path(path), std::ios::binary); // UTF-8, whatever the system's code page
    char start[3] = {};
    if (in && in.read(start, 3) && start[0] == '\xFF' && start[1] == '\xD8' && start[2] == '\xFF') {
        in.seekg(0, std::ios::end);
        const auto size = static_cast<std::uint64_t>(in.tellg());
        if (size <= MostFileBytes) {
            // Each thread reads into the buffer its last picture used: already there, already
            // mapped (a new one of a few megabytes costs a page fault per page).
            thread_local std::vector<std::uint8_t> bytes;
            auto readFirst = [&](std::uint64_t n) {
                bytes.resize(static_cast<std::size_t>(n));
                in.clear();
                in.seekg(0);
                return static_cast<bool>(in.read(reinterpret_cast<char*>(bytes.data()), static_cast<std::streamsize>(n)));
            };
            const Codec codec = decoder();
            std::optional<std::string> made;
            // The picture's size is in its first bytes, after the metadata: enough when the
            // camera's thumbnail stands for it; the whole file is read only to decode it.
            constexpr std::uint64_t Head = 64 * 1024;
            if (embedded.data != nullptr && size > Head && readFirst(Head) &&
                standsFor(codec, embedded, bytes.data(), bytes.size(), longerSide)) {
                made = jpegThumbnail(codec, bytes.data(), bytes.size(), longerSide, orientation, embedded, quality, true);
            }
            if (!made && readFirst(size)) {
                made = jpegThumbnail(codec, bytes.data(), bytes.size(), longerSide, orientation, embedded, quality);
            }
            if (bytes.capacity() > (16u << 20)) {
                std::vector<std::uint8_t>().swap(bytes); // a rare huge picture's memory is given back
            }
            if (made) {
                return std::move(*made);
            }
        }
    }
    // Other pictures through the image service, at its own quality; encoded again at the one
    // asked for when that differs.
    std::string made = imageService().thumbnail(path, longerSide, orientation);
    if (quality != ThumbnailQuality) {
        const auto* bytes = reinterpret_cast<const std::uint8_t*>(made.data());
        if (std::optional<std::string> again = jpegThumbnail(bytes, made.size(), longerSide, 1, {}, quality)) {
            return std::move(*again);
        }
    }
    return made;
}

namespace {

// The size of a `width` x `height` picture fitted into a box (never enlarged).
void fittedInBox(int width, int height, unsigned boxWidth, unsigned boxHeight, int& w, int& h)
{
    const double scale = std::min({1.0, static_cast<double>(boxWidth) / width, static_cast<double>(boxHeight) / height});
    w = std::max(1, static_cast<int>(std::lround(width * scale)));
    h = std::max(1, static_cast<int>(std::lround(height * scale)));
}

Picture pictureOf(Pixels pixels, bool bgr, int fullWidth, int fullHeight)
{
    Picture out;
    out.width = pixels.width;
    out.height = pixels.height;
    out.fullWidth = fullWidth;
    out.fullHeight = fullHeight;
    out.bgr = bgr;
    out.pixels = std::move(pixels.rgb);
    return out;
}

// The whole file when it is a JPEG of a size we read.
bool readJpeg(const std::string& path, std::vector<std::uint8_t>& bytes)
{
    std::ifstream in(std::filesystem::u8path(path), std::ios::binary);
    char start[3] = {};
    if (!in || !in.read(start, 3) || start[0] != '\xFF' || start[1] != '\xD8' || start[2] != '\xFF') {
        return false;
    }
    in.seekg(0, std::ios::end);
    const auto size = static_cast<std::uint64_t>(in.tellg());
    if (size > MostFileBytes) {
        return false;
    }
    bytes.resize(static_cast<std::size_t>(size));
    in.seekg(0);
    return static_cast<bool>(in.read(reinterpret_cast<char*>(bytes.data()), static_cast<std::streamsize>(size)));
}

} // namespace

Picture fittedPicture(const std::string& path, unsigned boxWidth, unsigned boxHeight, int orientation, bool bgr)
{
    if (boxWidth == 0 || boxHeight == 0) {
        throw std::runtime_error("no room for the picture");
    }
    const bool swaps = orientation >= 5 && orientation <= 8;
    const Codec codec = decoder();
    std::vector<std::uint8_t> bytes;
    int width = 0, height = 0;
    if (readJpeg(path, bytes) && header(codec, bytes.data(), bytes.size(), width, height)) {
        // Fitted as seen, decoded as stored.
        int w = 0, h = 0;
        fittedInBox(swaps ? height : width, swaps ? width : height, boxWidth, boxHeight, w, h);
        Wanted wanted{swaps ? h : w, swaps ? w : h, bgr, MostShownPixels};
        if (std::optional<Pixels> decoded = decode(codec, bytes.data(), bytes.size(), wanted)) {
            return pictureOf(upright(scaled(*decoded, wanted.width, wanted.height), orientation), bgr,
                             swaps ? height : width, swaps ? width : height);
        }
    }
    // Other pictures (and JPEGs the codec cannot give as RGB) come from the image service,
    // upright, as a JPEG of the box's longer side.
    const std::string made = imageService().thumbnail(path, std::max(boxWidth, boxHeight), orientation);
    const auto* data = reinterpret_cast<const std::uint8_t*>(made.data());
    Wanted all{65535, 65535, bgr, MostShownPixels};
    std::optional<Pixels> decoded = decode(codec, data, made.size(), all);
    if (!decoded) {
        throw std::runtime_error("the picture could not be decoded");
    }
    int w = 0, h = 0;
    fittedInBox(decoded->width, decoded->height, boxWidth, boxHeight, w, h);
    const int fullWidth = decoded->width;
    const int fullHeight = decoded->height;
    return pictureOf(scaled(*decoded, w, h), bgr, fullWidth, fullHeight);
}

std::optional<Picture> jpegPicture(const std::uint8_t* data, std::size_t size, bool bgr)
{
    const Codec codec = decoder();
    Wanted all{65535, 65535, bgr, MostDecodedPixels};
    std::optional<Pixels> decoded = decode(codec, data, size, all);
    if (!decoded) {
        return std::nullopt;
    }
    const int w = decoded->width;
    const int h = decoded->height;
    return pictureOf(std::move(*decoded), bgr, w, h);
}

} // namespace Lumeno::Platform
