// lumeno slideshow-cd: the slide-show CD's folder, as the file manager's "Create Lumeno slide
// show" writes it, from the command line.
#include "Commands.h"

#include <Lumeno/Commands/SlideShowCD.h>
#include <Lumeno/UI/Settings.h>

#include <charconv>
#include <ostream>
#include <stdexcept>

namespace Lumeno::Cli {

namespace {

const char* const SlideShowHelp =
    "Usage: lumeno slideshow-cd [--no-pdf] [--quality N] [--size WxH] [--originals]\n"
    "                           [--viewer EXE] [--autorun-pdf] --out DIR FILE...\n"
    "\n"
    "Writes into DIR a slide show of the pictures, ready to burn on a CD: the PDF\n"
    "Slideshow.pdf with one page per picture, in the order given, each turned\n"
    "upright, fitted into WxH pixels and encoded as JPEG at quality N. With\n"
    "--originals each JPEG is placed as it is (turned by its page, if need be); a\n"
    "picture the PDF cannot carry so is encoded anew. With --no-pdf, or with a\n"
    "viewer, the pictures are copied into DIR/Pictures and listed in their order in\n"
    "DIR/Slideshow.lst. --viewer EXE puts the program EXE on the CD as the viewer,\n"
    "DIR/LumenoViewer.exe. DIR/autorun.inf starts the viewer, or the PDF with\n"
    "--autorun-pdf or when there is no viewer. A picture that cannot be read is\n"
    "left out and named.\n"
    "\n"
    "The defaults are the user's settings (section SlideShow: EnablePDF,\n"
    "PDFImageQuality, PDFImageWidth, PDFImageHeight, PDFImageUseOriginal,\n"
    "AutorunPDF; EnableLumeno, with LumenoViewer.exe installed beside lumeno):\n"
    "'lumeno settings list' shows them. Exit status 1 when a picture was left out.\n";

unsigned number(const std::string& text, const char* what)
{
    unsigned value = 0;
    const char* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, value);
    if (error != std::errc() || stop != end || text.empty()) {
        throw std::invalid_argument(std::string(what) + " must be a number, not '" + text + "'");
    }
    return value;
}

} // namespace

int runSlideShowCD(const std::vector<std::string>& arguments, Streams streams)
{
    Commands::SlideShowCDOptions options;
    std::vector<std::string> files;
    try {
        const UI::Settings settings;
        options = Commands::SlideShowCDOptions::fromSettings(settings);
        options.folder.clear(); // on the command line the folder is always named
        for (std::size_t i = 0; i < arguments.size(); ++i) {
            const std::string& a = arguments[i];
            auto value = [&]() -> const std::string& {
                if (i + 1 >= arguments.size()) {
                    throw std::invalid_argument(a + " needs a value");
                }
                return arguments[++i];
            };
            if (a == "-h" || a == "--help") {
                streams.out << SlideShowHelp;
                return 0;
            } else if (a == "--no-pdf") {
                options.pdf = false;
            } else if (a == "--originals") {
                options.originals = true;
            } else if (a == "--viewer") {
                options.viewer = true;
                options.viewerProgram = value();
            } else if (a == "--autorun-pdf") {
                options.autorunPdf = true;
            } else if (a == "--quality") {
                options.quality = number(value(), "the quality");
            } else if (a == "--size") {
                const std::string& size = value();
                const std::size_t x = size.find('x');
                if (x == std::string::npos) {
                    throw std::invalid_argument("the size is WIDTHxHEIGHT, not '" + size + "'");
                }
                options.width = number(size.substr(0, x), "the width");
                options.height = number(size.substr(x + 1), "the height");
            } else if (a == "--out") {
                options.folder = value();
            } else if (a == "--") {
                files.insert(files.end(), arguments.begin() + static_cast<std::ptrdiff_t>(i) + 1, arguments.end());
                break;
            } else if (a.size() > 1 && a[0] == '-') {
                throw std::invalid_argument("unknown option '" + a + "'");
            } else {
                files.push_back(a);
            }
        }
        if (options.folder.empty()) {
            throw std::invalid_argument("--out DIR is needed");
        }
        if (files.empty()) {
            throw std::invalid_argument("no file given");
        }
        const std::string why = options.whyNot();
        if (!why.empty()) {
            throw std::invalid_argument(why);
        }
    } catch (const std::invalid_argument& e) {
        streams.err << "lumeno slideshow-cd: " << e.what() << "\nRun 'lumeno slideshow-cd --help' for usage.\n";
        return 2;
    }
    try {
        const Commands::SlideShowCDResult result = Commands::writeSlideShowCD(files, options);
        for (const auto& failure : result.failures) {
            streams.err << "lumeno: " << failure.path << ": " << failure.reason << "\n";
        }
        if (!result.pdf.empty()) {
            streams.out << result.pdf << ": " << result.pages << (result.pages == 1 ? " page" : " pages") << "\n";
        }
        for (const std::string& written : {result.viewer, result.list, result.autorun}) {
            if (!written.empty()) {
                streams.out << written << "\n";
            }
        }
        for (const std::string& picture : result.pictures) {
            streams.out << picture << "\n";
        }
        return result.failures.empty() ? 0 : 1;
    } catch (const std::exception& e) {
        streams.err << "lumeno slideshow-cd: " << e.what() << "\n";
        return 1;
    }
}

} // namespace Lumeno::Cli
