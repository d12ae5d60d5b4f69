#include "Lumeno/Commands/SlideShowCD.h"

#include <Lumeno/Platform/Thumbnail.h>
#include <Metadata/EXIF.h>
#include <Metadata/ImageFactory.h>
#include <Metadata/ImageStream.h>

#include <hpdf.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <stdexcept>

namespace fs = std::filesystem;

namespace Lumeno::Commands {

namespace {

constexpr unsigned LeastSide = 16;
constexpr unsigned MostSide = 16384;
// A page of a PDF is at most 14,400 units on a side; pictures are placed a pixel to a unit,
// and a larger original is placed smaller.
constexpr double MostPageSide = 14400;
constexpr double LeastPageSide = 3;
// Originals larger than this are encoded again rather than carried whole.
constexpr std::uintmax_t MostOriginalBytes = std::uintmax_t{256} << 20;

// What libharu reports, kept for the code that called it (its handler is called from C and
// must not throw).
struct PdfErrors {
    HPDF_STATUS error = 0;
    HPDF_STATUS detail = 0;
};

void onPdfError(HPDF_STATUS error, HPDF_STATUS detail, void* context)
{
    auto* errors = static_cast<PdfErrors*>(context);
    if (errors->error == 0) {
        errors->error = error;
        errors->detail = detail;
    }
}

class Pdf {
public:
    Pdf() : doc_(HPDF_New(onPdfError, &errors_))
    {
        if (doc_ == nullptr) {
            throw std::runtime_error("the PDF library could not start");
        }
        HPDF_SetCompressionMode(doc_, HPDF_COMP_ALL);
    }
    ~Pdf() { HPDF_Free(doc_); }
    Pdf(const Pdf&) = delete;
    Pdf& operator=(const Pdf&) = delete;

    // A page showing the JPEG, turned clockwise by `rotate` degrees when viewed. False (the
    // document as it was) when the library does not take the JPEG.
    bool addPage(const std::string& jpeg, int rotate)
    {
        errors_ = {};
        HPDF_Image image = HPDF_LoadJpegImageFromMem(doc_, reinterpret_cast<const HPDF_BYTE*>(jpeg.data()),
                                                     static_cast<HPDF_UINT>(jpeg.size()));
        if (image == nullptr || errors_.error != 0) {
            HPDF_ResetError(doc_);
            return false;
        }
        const double width = std::max(1u, HPDF_Image_GetWidth(image));
        const double height = std::max(1u, HPDF_Image_GetHeight(image));
        // A page is 3 to 14,400 units on a side: a tiny picture is placed larger, a huge one
        // smaller.
        const double scale = std::max(std::min({1.0, MostPageSide / width, MostPageSide / height}),
                                      LeastPageSide / std::min(width, height));
        HPDF_Page page = HPDF_AddPage(doc_);
        if (page == nullptr) {
            throw std::runtime_error(failure("add a page"));
        }
        const auto w = static_cast<HPDF_REAL>(std::min(width * scale, MostPageSide));
        const auto h = static_cast<HPDF_REAL>(std::min(height * scale, MostPageSide));
        HPDF_Page_SetWidth(page, w);
        HPDF_Page_SetHeight(page, h);
        if (rotate != 0) {
            HPDF_Page_SetRotate(page, static_cast<HPDF_UINT16>(rotate));
        }
        HPDF_Page_DrawImage(page, image, 0, 0, w, h);
        if (errors_.error != 0) {
            // The document cannot be written any more once a page went wrong.
            throw std::runtime_error(failure("draw a picture"));
        }
        ++pages_;
        return true;
    }

    std::size_t pages() const { return pages_; }

    // The document, written to `path` whole: first beside it, then renamed over it.
    void save(const fs::path& path)
    {
        errors_ = {};
        if (HPDF_SaveToStream(doc_) != HPDF_OK) {
            throw std::runtime_error(failure("write the PDF"));
        }
        HPDF_ResetStream(doc_);
        std::string bytes;
        for (;;) {
            HPDF_BYTE buffer[65536];
            HPDF_UINT32 size = sizeof buffer;
            const HPDF_STATUS status = HPDF_ReadFromStream(doc_, buffer, &size);
            bytes.append(reinterpret_cast<const char*>(buffer), size);
            if (status == HPDF_STREAM_EOF) {
                break;
            }
            if (status != HPDF_OK) {
                throw std::runtime_error(failure("write the PDF"));
            }
        }
        fs::path partial = path;
        partial += ".partial";
        {
            std::ofstream out(partial, std::ios::binary | std::ios::trunc);
            out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
            out.close();
            if (!out) {
                std::error_code ignored;
                fs::remove(partial, ignored);
                throw std::runtime_error("cannot write " + partial.u8string());
            }
        }
        std::error_code ec;
        fs::rename(partial, path, ec);
        if (ec) {
            fs::remove(partial, ec);
            throw std::runtime_error("cannot write " + path.u8string());
        }
    }

private:
    std::string failure(const char* what) const
    {
        char code[48];
        std::snprintf(code, sizeof code, " (PDF library error 0x%04X/%u)", static_cast<unsigned>(errors_.error),
                      static_cast<unsigned>(errors_.detail));
        return std::string("cannot ") + what + code;
    }

    PdfErrors errors_;
    HPDF_Doc doc_;
    std::size_t pages_ = 0;
};

// The picture's EXIF orientation, 1 when it says none (or is not a picture of ours).
int orientationOf(const std::string& path)
{
    try {
        Metadata::ImageStreamT stream;
        const auto image = Metadata::openImage(path, stream);
        std::uint32_t value = 1;
        if (image->exif().getUInt32(Metadata::DirectoryId::Primary, 274, value) && value >= 1 && value <= 8) {
            return static_cast<int>(value);
        }
    } catch (const std::exception&) {
    }
    return 1;
}

std::string readFile(const fs::path& path)
{
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        throw std::runtime_error("cannot open the file");
    }
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

bool isJpeg(const std::string& bytes)
{
    return bytes.size() > 3 && static_cast<unsigned char>(bytes[0]) == 0xFF && static_cast<unsigned char>(bytes[1]) == 0xD8;
}

// The JPEG's size as it is stored, from its frame header; false when there is none.
bool jpegSize(const std::string& jpeg, unsigned& width, unsigned& height)
{
    std::size_t at = 2;
    while (at + 9 < jpeg.size()) {
        if (static_cast<unsigned char>(jpeg[at]) != 0xFF) {
            return false;
        }
        const auto marker = static_cast<unsigned char>(jpeg[at + 1]);
        if (marker == 0xFF) {
            ++at;
            continue;
        }
        const std::size_t length = (static_cast<unsigned char>(jpeg[at + 2]) << 8) | static_cast<unsigned char>(jpeg[at + 3]);
        const bool frame = marker >= 0xC0 && marker <= 0xCF && marker != 0xC4 && marker != 0xC8 && marker != 0xCC;
        if (frame) {
            height = (static_cast<unsigned char>(jpeg[at + 5]) << 8) | static_cast<unsigned char>(jpeg[at + 6]);
            width = (static_cast<unsigned char>(jpeg[at + 7]) << 8) | static_cast<unsigned char>(jpeg[at + 8]);
            return width > 0 && height > 0;
        }
        if (length < 2) {
            return false;
        }
        at += 2 + length;
    }
    return false;
}

// The longer side that fits a picture of `width` x `height` (as stored; turned by
// `orientation`) into the box.
unsigned longerSideInBox(unsigned width, unsigned height, int orientation, const SlideShowCDOptions& options)
{
    if (orientation >= 5 && orientation <= 8) {
        std::swap(width, height);
    }
    const double scale = std::min({1.0, static_cast<double>(options.width) / width,
                                   static_cast<double>(options.height) / height});
    return std::max(1u, static_cast<unsigned>(std::floor(std::max(width, height) * scale)));
}

// The picture fitted into the box, upright, encoded at the quality asked for. A JPEG's size is
// in its first bytes, so it is decoded once; another picture is made with the box's longer side
// first, and, when its aspect is not the box's, made smaller again.
std::string fitted(const std::string& path, int orientation, const SlideShowCDOptions& options)
{
    unsigned longer = std::max(options.width, options.height);
    const auto quality = static_cast<int>(options.quality);
    {
        std::ifstream in(fs::u8path(path), std::ios::binary);
        std::string head(64 * 1024, '\0');
        in.read(&head[0], static_cast<std::streamsize>(head.size()));
        head.resize(static_cast<std::size_t>(in.gcount()));
        unsigned w = 0, h = 0;
        if (isJpeg(head) && jpegSize(head, w, h)) {
            longer = longerSideInBox(w, h, orientation, options);
        }
    }
    std::string jpeg = Platform::thumbnail(path, longer, orientation, {}, quality);
    unsigned w = 0, h = 0;
    if (jpegSize(jpeg, w, h) && (w > options.width || h > options.height)) {
        jpeg = Platform::thumbnail(path, longerSideInBox(w, h, 1, options), orientation, {}, quality);
    }
    return jpeg;
}

// The clockwise turn a viewer gives a page to show an original upright; -1 when no turn does
// (a mirrored picture).
int pageTurn(int orientation)
{
    switch (orientation) {
    case 1: return 0;
    case 3: return 180;
    case 6: return 90;
    case 8: return 270;
    default: return -1;
    }
}

// A name in the folder for a copy of `source`: its own, or numbered when it is taken.
fs::path freeName(const fs::path& folder, const fs::path& source)
{
    fs::path target = folder / source.filename();
    for (int n = 2; fs::exists(target); ++n) {
        target = folder / (std::to_string(n) + "-" + source.filename().u8string());
    }
    return target;
}

} // namespace

SlideShowCDOptions SlideShowCDOptions::fromSettings(const UI::Settings& settings)
{
    SlideShowCDOptions options;
    options.folder = settings.getSlideshowFolder();
    options.pdf = settings.getEnablePDF();
    options.originals = settings.getPDFImageUseOriginal();
    options.quality = settings.getPDFImageQuality();
    options.width = settings.getPDFImageWidth();
    options.height = settings.getPDFImageHeight();
    return options;
}

std::string SlideShowCDOptions::whyNot() const
{
    if (folder.empty()) {
        return "no folder to write the slide show into";
    }
    if (quality < 1 || quality > 100) {
        return "the picture quality must be from 1 to 100";
    }
    if (width < LeastSide || width > MostSide || height < LeastSide || height > MostSide) {
        return "the picture size must be from 16 to 16384 pixels on each side";
    }
    return std::string();
}

SlideShowCDResult writeSlideShowCD(const std::vector<std::string>& files, const SlideShowCDOptions& options)
{
    const std::string why = options.whyNot();
    if (!why.empty()) {
        throw std::invalid_argument(why);
    }
    const fs::path folder = fs::u8path(options.folder);
    std::error_code ec;
    fs::create_directories(folder, ec);
    if (ec || !fs::is_directory(folder)) {
        throw std::runtime_error("cannot make the folder " + options.folder);
    }
    SlideShowCDResult result;
    if (!options.pdf) {
        // Without a PDF the CD holds the pictures themselves, for a viewer to show.
        const fs::path pictures = folder / "Pictures";
        fs::create_directories(pictures, ec);
        for (const std::string& file : files) {
            const fs::path source = fs::u8path(file);
            const fs::path target = freeName(pictures, source);
            fs::copy_file(source, target, ec);
            if (ec) {
                result.failures.push_back({file, ec.message()});
            } else {
                result.pictures.push_back(target.u8string());
            }
        }
        return result;
    }
    Pdf pdf;
    for (std::size_t i = 0; i < files.size(); ++i) {
        const std::string& file = files[i];
        if (options.progress && !options.progress(i, files.size())) {
            result.cancelled = true;
            return result;
        }
        try {
            const int orientation = orientationOf(file);
            bool added = false;
            if (options.originals && pageTurn(orientation) >= 0 &&
                fs::file_size(fs::u8path(file)) <= MostOriginalBytes) {
                const std::string original = readFile(fs::u8path(file));
                added = isJpeg(original) && pdf.addPage(original, pageTurn(orientation));
            }
            // Not a JPEG the PDF can carry as it is (a TIFF, a mirrored or damaged one), or
            // the pictures are to be made smaller: encoded anew.
            if (!added && !pdf.addPage(fitted(file, orientation, options), 0)) {
                throw std::runtime_error("the picture could not be placed in the PDF");
            }
        } catch (const std::exception& e) {
            result.failures.push_back({file, e.what()});
        }
    }
    if (pdf.pages() > 0) {
        const fs::path path = folder / SlideShowPdfName;
        pdf.save(path);
        result.pdf = path.u8string();
        result.pages = pdf.pages();
    }
    return result;
}

} // namespace Lumeno::Commands
