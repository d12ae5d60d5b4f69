// The slide-show CD: a folder ready to burn with the selected pictures as a PDF slide show, one
// page per picture, each scaled down and encoded again as the SlideShow settings say, or the
// original JPEG itself; and/or the pictures themselves with the Lumeno viewer program and its
// play list; and an autorun.inf that starts one of them when the CD is put in. The file
// manager's "Create Lumeno slide show" and 'lumeno slideshow-cd' both write it.
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
    bool viewer = false;       // EnableLumeno: the viewer program and the pictures it shows
    bool autorunPdf = false;   // AutorunPDF: the CD starts the PDF rather than the viewer
    std::string viewerProgram; // the viewer program copied onto the CD

    // Told before each picture (how many are done, of how many); answering false stops the
    // work there (the PDF is then not written). Unset: nothing is told.
    std::function<bool(std::size_t done, std::size_t total)> progress;

    // The options the user's settings give (the folder: SlideshowFolder). The viewer is the one
    // installed beside the program (ViewerProgramName in its folder), asked for only when it is
    // there.
    static SlideShowCDOptions fromSettings(const UI::Settings& settings);
    // Empty when the options can be used; otherwise why not.
    std::string whyNot() const;
};

// The names of the CD's files in the folder.
constexpr const char* SlideShowPdfName = "Slideshow.pdf";
constexpr const char* ViewerProgramName = "LumenoViewer.exe";
constexpr const char* SlideShowListName = "Slideshow.lst";
constexpr const char* AutorunName = "autorun.inf";
constexpr const char* PicturesFolderName = "Pictures";

struct SlideShowCDResult {
    std::string pdf;                // the PDF written; empty when none
    std::size_t pages = 0;
    std::vector<std::string> pictures; // the pictures copied for a viewer (no PDF, or the viewer)
    std::string list;                  // the play list of those pictures; empty when none
    std::string viewer;                // the viewer program copied; empty when none
    std::string autorun;               // the autorun.inf written; empty when none
    bool cancelled = false;            // stopped by the progress function: nothing written
    struct Failure {
        std::string path;
        std::string reason;
    };
    std::vector<Failure> failures; // pictures left out, with why
};

// Writes the CD's files for `files`, in their order. A picture that cannot be read is left out
// and listed; the rest still make the slide show. Without a PDF, or with the viewer, the pictures
// are copied into the Pictures folder (a name already taken there, in any letter case, gets a
// number: "2-NAME") and listed in the play list; with the viewer, the viewer program is copied
// beside it. autorun.inf starts the viewer, or the PDF when autorunPdf asks for it or there is
// no viewer; none is written when there is neither. Throws std::invalid_argument for unusable
// options, std::runtime_error when the folder or one of the CD's own files cannot be written
// (each is written whole or not at all).
SlideShowCDResult writeSlideShowCD(const std::vector<std::string>& files, const SlideShowCDOptions& options);

// The pictures a viewer shows from the CD's folder `folder`, as full paths: those its play list
// names that exist, in its order (a line that is empty, absolute or climbs out with ".." is
// skipped); without a play list, the JPEG and TIFF files of its Pictures folder (or of the folder
// itself when it has none), sorted by name.
std::vector<std::string> slideShowPictures(const std::string& folder);

} // namespace Lumeno::Commands
