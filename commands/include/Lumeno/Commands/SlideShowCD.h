// The slide-show CD: a folder ready to burn with the selected pictures as a PDF slide show, one
// page per picture, each scaled down and encoded again as the SlideShow settings say, or the
// original JPEG itself. The file manager's "Create Lumeno slide show" and 'lumeno slideshow-cd'
// both write it.
#pragma once

#include <Lumeno/UI/Settings.h>

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

namespace Lumeno::Commands {

struct SlideShowCDOptions {
    std::string folder;        // where the CD's files go (made when missing)
    bool pdf = true;           // EnablePDF
    bool originals = false;    // PDFImageUseOriginal: the JPEGs as they are
    unsigned quality = 75;     // PDFImageQuality, 1 to 100
    unsigned width = 1024;     // PDFImageWidth: the box the pictures are fitted into
    unsigned height = 768;     // PDFImageHeight

    // Told before each picture (how many are done, of how many); answering false stops the
    // work there (the PDF is then not written). Unset: nothing is told.
    std::function<bool(std::size_t done, std::size_t total)> progress;

    // The options the user's settings give (the folder: SlideshowFolder).
    static SlideShowCDOptions fromSettings(const UI::Settings& settings);
    // Empty when the options can be used; otherwise why not.
    std::string whyNot() const;
};

// The name of the slide show's PDF in the folder.
constexpr const char* SlideShowPdfName = "Slideshow.pdf";

struct SlideShowCDResult {
    std::string pdf;                // the PDF written; empty when none
    std::size_t pages = 0;
    std::vector<std::string> pictures; // the pictures copied for a viewer (no PDF asked for)
    bool cancelled = false;           // stopped by the progress function: nothing written
    struct Failure {
        std::string path;
        std::string reason;
    };
    std::vector<Failure> failures; // pictures left out, with why
};

// Writes the CD's files for `files`, in their order. A picture that cannot be read is left out
// and listed; the rest still make the slide show. Throws std::invalid_argument for unusable
// options, std::runtime_error when the folder or the PDF cannot be written (a PDF is written
// whole or not at all).
SlideShowCDResult writeSlideShowCD(const std::vector<std::string>& files, const SlideShowCDOptions& options);

} // namespace Lumeno::Commands
