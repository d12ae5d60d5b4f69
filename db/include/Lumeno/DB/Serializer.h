// Gallery documents: one XML document per exported gallery, shown by browsers through the
// program's stylesheet, and read back again.
#pragma once

#include "Lumeno/DB/Store.h"

#include <string>
#include <vector>

namespace Lumeno::DB {

struct GalleryLink {
    std::string title;
    std::string path; // the linked sub-gallery's document
};

struct GalleryImage {
    std::string path; // the image file
    std::string name; // shown under the thumbnail
    StoreImageEntry entry;
    std::string title, rights; // from the image's XMP when it has them, else from its IPTC
    std::string thumbnail;     // JPEG bytes; none when empty
    std::string thumbnailPath; // where the thumbnail was written (set by writeGallery, read back)
};

struct GalleryDocument {
    std::string name;
    std::vector<GalleryLink> subGalleries;
    std::vector<GalleryImage> images;
};

class Serializer {
public:
    static const char* const NamespaceURI;
    static const char* const DocumentName; // "LumenoGallery.xml"
    static const char* const LinkName;     // "LumenoGallery.XML", as other documents spell it

    // Writes the document, its thumbnails and the page's resources into `folder` (created when
    // missing), and the page already transformed as "index.html". ErrorDb "Failed to export to: "
    // and the path when something cannot be written.
    static void writeGallery(GalleryDocument& document, const std::string& folder);
    // Reads a gallery document; nothing is loaded from outside the file. ErrorDb when it cannot
    // be read or is not a gallery document.
    static GalleryDocument readGallery(const std::string& file);

    // "file:///" and the path, escaped as a URI; and back.
    static std::string fileAddress(const std::string& path);
    static std::string pathOfAddress(const std::string& address);
    // The page a browser shows for a gallery document, transformed with the program's stylesheet.
    static std::string transform(const std::string& documentFile);

    // The stylesheet and the logo as the program carries them.
    static std::string stylesheetResource();
    static std::string logoResource();
    // Where the installed style sheet and folder icon are: $LUMENO_DATA_DIR, else the folder the
    // program was built or installed with.
    static std::string installationFolder();
};

} // namespace Lumeno::DB
