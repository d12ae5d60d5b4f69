#include "Lumeno/Commands/SlideShowCD.h"

#include <Lumeno/Platform/Services.h>
#include <Lumeno/Platform/Thumbnail.h>
#include <Lumeno/Shell/ContextMenu.h>
#include <Lumeno/Shell/Viewer.h>

#include <hpdf.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <optional>
#include <set>
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

std::string lowerAscii(std::string text)
{
    std::transform(text.begin(), text.end(), text.begin(),
                   [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
    return text;
}

// A file name that can go on a CD read by Windows: what Windows does not allow in a name, and a
// line break (which would split the play list's line), made "_".
std::string cdFileName(std::string name)
{
    for (char& c : name) {
        if (static_cast<unsigned char>(c) < 0x20 || std::strchr("\\/:*?\"<>|", c) != nullptr) {
            c = '_';
        }
    }
    return name;
}

// The copies of the pictures in the CD's Pictures folder. A CD is read without regard to letter
// case, so a name is free only when no name in the folder differs from it by case alone; a
// second picture of a taken name is numbered ("2-NAME") instead of replacing the first.
class PictureCopies {
public:
    explicit PictureCopies(const fs::path& folder) : folder_(folder)
    {
        std::error_code ec;
        made_ = fs::create_directories(folder_, ec);
        if (ec || !fs::is_directory(folder_)) {
            throw std::runtime_error("cannot make the folder " + folder_.u8string());
        }
        for (fs::directory_iterator it(folder_, ec), end; !ec && it != end; it.increment(ec)) {
            taken_.insert(lowerAscii(it->path().filename().u8string()));
        }
    }

    // Copies `file`; its name in the folder, or empty (and `why` set) when it cannot be copied.
    std::string copy(const std::string& file, std::string& why)
    {
        const fs::path source = fs::u8path(file);
        const std::string name = cdFileName(source.filename().u8string());
        std::string target = name;
        std::error_code ec;
        for (int n = 2; taken_.count(lowerAscii(target)) != 0 || fs::exists(folder_ / fs::u8path(target), ec); ++n) {
            target = std::to_string(n) + "-" + name;
        }
        // Never over another file: copy_file refuses one that appeared meanwhile.
        fs::copy_file(source, folder_ / fs::u8path(target), ec);
        if (ec) {
            why = ec.message();
            return std::string();
        }
        taken_.insert(lowerAscii(target));
        copied_.push_back(folder_ / fs::u8path(target));
        return target;
    }

    // Takes back what this run copied (and the folder, when it made it).
    void undo()
    {
        std::error_code ec;
        for (const fs::path& path : copied_) {
            fs::remove(path, ec);
        }
        copied_.clear();
        if (made_) {
            fs::remove(folder_, ec);
        }
    }

private:
    fs::path folder_;
    bool made_ = false;
    std::set<std::string> taken_;
    std::vector<fs::path> copied_;
};

// The autorun.inf that starts the viewer, or the PDF when it is asked for or is all there is;
// empty when there is nothing to start. Windows reads it: its lines end in CR LF.
std::string autorunText(bool viewer, bool pdf, bool autorunPdf)
{
    const bool startsPdf = pdf && (autorunPdf || !viewer);
    if (!viewer && !pdf) {
        return std::string();
    }
    std::string text = "[autorun]\r\n";
    if (startsPdf) {
        text += std::string("shellexecute=") + SlideShowPdfName + "\r\n";
    } else {
        text += std::string("open=") + ViewerProgramName + "\r\n";
        text += std::string("icon=") + ViewerProgramName + ",0\r\n";
    }
    text += "label=Lumeno slide show\r\n";
    return text;
}

// A play list is read a line at a time, each at most this long and at most this many; what is
// beyond is not read, so that a hostile list cannot take the memory.
constexpr std::size_t MostListLines = 100000;
constexpr std::size_t MostLineBytes = 4096;

// The next line of `in` (without its "\n"), at most MostLineBytes kept (`tooLong` said when more
// were there); false at the end of the file.
bool readLine(std::streambuf& in, std::string& line, bool& tooLong)
{
    line.clear();
    tooLong = false;
    auto c = in.sbumpc();
    if (c == std::char_traits<char>::eof()) {
        return false;
    }
    for (; c != std::char_traits<char>::eof() && c != '\n'; c = in.sbumpc()) {
        if (line.size() < MostLineBytes) {
            line.push_back(static_cast<char>(c));
        } else {
            tooLong = true;
        }
    }
    return true;
}

// The path a play list's line names, relative to the CD's folder, with "/" between its parts;
// empty for a line to skip: empty, absolute (a drive, a share, a root), climbing out with "..",
// or holding what no file name holds.
std::string listedPath(std::string line)
{
    if (!line.empty() && line.back() == '\r') {
        line.pop_back();
    }
    std::replace(line.begin(), line.end(), '\\', '/');
    if (line.empty() || line.front() == '/' || line.find(':') != std::string::npos ||
        line.find("..") != std::string::npos ||
        std::any_of(line.begin(), line.end(), [](char c) { return static_cast<unsigned char>(c) < 0x20; })) {
        return std::string();
    }
    return line;
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
    options.autorunPdf = settings.getAutorunPDF();
    options.viewerProgram = Platform::services().programFolder() + "/" + ViewerProgramName;
    std::error_code ec;
    options.viewer = settings.getEnableLumeno() && fs::is_regular_file(fs::u8path(options.viewerProgram), ec);
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
    if (viewer) {
        if (viewerProgram.empty()) {
            return "no viewer program given";
        }
        std::error_code ec;
        if (!fs::is_regular_file(fs::u8path(viewerProgram), ec)) {
            return "the viewer program " + viewerProgram + " is not there (or is no file)";
        }
        if (!std::ifstream(fs::u8path(viewerProgram), std::ios::binary)) {
            return "the viewer program " + viewerProgram + " cannot be read";
        }
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
    // Without a PDF the CD holds the pictures themselves, for a viewer to show; the Lumeno viewer
    // shows them beside the PDF.
    std::optional<PictureCopies> copies;
    if (!options.pdf || options.viewer) {
        copies.emplace(folder / PicturesFolderName);
    }
    std::vector<std::string> listed; // the copies, as the play list names them
    std::optional<Pdf> pdf;
    if (options.pdf) {
        pdf.emplace();
    }
    for (std::size_t i = 0; i < files.size(); ++i) {
        const std::string& file = files[i];
        if (options.progress && !options.progress(i, files.size())) {
            if (copies) {
                copies->undo();
                result.pictures.clear();
            }
            result.cancelled = true;
            return result;
        }
        if (copies) {
            std::string reason;
            const std::string name = copies->copy(file, reason);
            if (name.empty()) {
                // Not readable: no page for it either, and one failure said.
                result.failures.push_back({file, reason});
                continue;
            }
            result.pictures.push_back((folder / PicturesFolderName / fs::u8path(name)).u8string());
            listed.push_back(std::string(PicturesFolderName) + "/" + name);
        }
        if (!pdf) {
            continue;
        }
        try {
            const int orientation = Shell::orientationForFile(file);
            bool added = false;
            if (options.originals && pageTurn(orientation) >= 0 &&
                fs::file_size(fs::u8path(file)) <= MostOriginalBytes) {
                const std::string original = readFile(fs::u8path(file));
                added = isJpeg(original) && pdf->addPage(original, pageTurn(orientation));
            }
            // Not a JPEG the PDF can carry as it is (a TIFF, a mirrored or damaged one), or
            // the pictures are to be made smaller: encoded anew.
            if (!added && !pdf->addPage(fitted(file, orientation, options), 0)) {
                throw std::runtime_error("the picture could not be placed in the PDF");
            }
        } catch (const std::exception& e) {
            result.failures.push_back({file, e.what()});
        }
    }
    if (pdf && pdf->pages() > 0) {
        const fs::path path = folder / SlideShowPdfName;
        pdf->save(path);
        result.pdf = path.u8string();
        result.pages = pdf->pages();
    }
    if (copies) {
        // The play list keeps the order the pictures were given in, which their names do not.
        std::string list;
        for (const std::string& line : listed) {
            list += line + "\r\n";
        }
        result.list = (folder / SlideShowListName).u8string();
        Platform::writeFileSafely(result.list, list, false);
    }
    if (options.viewer) {
        result.viewer = (folder / ViewerProgramName).u8string();
        Platform::writeFileSafely(result.viewer, [&](const std::string& temporary) {
            Platform::services().copyFile(options.viewerProgram, temporary);
        });
    }
    const std::string autorun = autorunText(options.viewer, !result.pdf.empty(), options.autorunPdf);
    if (!autorun.empty()) {
        result.autorun = (folder / AutorunName).u8string();
        Platform::writeFileSafely(result.autorun, autorun, false);
    }
    return result;
}

std::vector<std::string> slideShowPictures(const std::string& folder)
{
    const fs::path root = fs::u8path(folder);
    std::vector<std::string> pictures;
    std::error_code ec;
    const fs::path list = root / SlideShowListName;
    if (fs::is_regular_file(list, ec)) {
        std::ifstream in(list, std::ios::binary);
        if (!in) {
            return pictures;
        }
        std::string line;
        bool tooLong = false;
        for (std::size_t n = 0; n < MostListLines && readLine(*in.rdbuf(), line, tooLong); ++n) {
            if (n == 0 && line.rfind("\xEF\xBB\xBF", 0) == 0) {
                line.erase(0, 3); // the byte-order mark an editor may have written
            }
            const std::string relative = tooLong ? std::string() : listedPath(line);
            if (relative.empty()) {
                continue;
            }
            const fs::path path = (root / fs::u8path(relative)).make_preferred();
            if (fs::is_regular_file(path, ec)) {
                pictures.push_back(path.u8string());
            }
        }
        return pictures;
    }
    const fs::path inPictures = root / PicturesFolderName;
    const fs::path shown = fs::is_directory(inPictures, ec) ? inPictures : root;
    std::vector<fs::path> found;
    for (fs::directory_iterator it(shown, ec), end; !ec && it != end && found.size() < MostListLines;
         it.increment(ec)) {
        if (Shell::metadataFileType(it->path().filename().u8string()) && it->is_regular_file(ec)) {
            found.push_back(it->path());
        }
    }
    std::sort(found.begin(), found.end(),
              [](const fs::path& a, const fs::path& b) { return a.filename() < b.filename(); });
    for (const fs::path& path : found) {
        pictures.push_back(path.u8string());
    }
    return pictures;
}

} // namespace Lumeno::Commands
