#include "StoreExport.h"

#include "Lumeno/DB/Serializer.h"
#include "Lumeno/DB/Thumbnail.h"

#include <Metadata/ImageFactory.h>
#include <Metadata/ImageStream.h>
#include <Metadata/XMP.h>

#include <filesystem>
#include <system_error>

namespace fs = std::filesystem;

namespace Lumeno::DB {

void StoreExport::exportGallery(const std::string& name, const std::string& givenFolder)
{
    // The page links by full file addresses.
    const std::string folder = fullPath(givenFolder);
    Utility::CriticalSectionLock lock(tables_.section());
    galleries_.mustExist(name);
    GalleryDocument document;
    document.name = name.substr(name.rfind('/') == std::string::npos ? 0 : name.rfind('/') + 1);
    const fs::path target = fs::u8path(folder);
    for (const std::string& sub : galleries_.subGalleries(name)) {
        const std::string subName = sub.substr(sub.rfind('/') + 1);
        // The folders of sub-galleries are the export's own: a symbolic link found under such a
        // name would lead the export outside the folder it was given.
        std::error_code ec;
        if (fs::is_symlink(fs::symlink_status(target / fs::u8path(subName), ec))) {
            throw ErrorDb(EEXIST, "Failed to export to: " + (target / fs::u8path(subName)).u8string() +
                                      " (a symbolic link is in the way)");
        }
        exportGallery(sub, (target / fs::u8path(subName)).u8string());
        document.subGalleries.push_back({subName, (target / fs::u8path(subName) / "LumenoGallery.XML").u8string()});
    }
    for (const std::string& path : galleries_.images(name)) {
        StoreImageEntry entry;
        if (!catalogue_.image(path, entry)) {
            continue;
        }
        GalleryImage img;
        img.path = path;
        img.name = fs::u8path(path).filename().u8string();
        img.entry = entry;
        // Title and rights: the image's XMP when it has them, else the IPTC object name and
        // copyright notice kept in the record.
        img.title = entry.objectName;
        img.rights = entry.copyrightNotice;
        if (entry.flags & StoreImageEntry::HasXMP) { // only then is the file worth opening
            try {
                Metadata::ImageStreamT stream;
                const auto metadata = Metadata::openImage(path, stream);
                if (const auto& xmp = metadata->xmp(); xmp && !xmp->empty()) {
                    if (const std::string t = xmp->title(); !t.empty()) {
                        img.title = t;
                    }
                    if (const std::string r = xmp->rights(); !r.empty()) {
                        img.rights = r;
                    }
                }
            } catch (const std::exception&) {
                // An image that moved or broke since it was stored is exported from its record.
            }
        }
        if (!catalogue_.thumbnail(path, img.thumbnail)) {
            try {
                img.thumbnail = makeThumbnail(path);
            } catch (const ErrorDb&) {
                // Shown without a picture.
            }
        }
        document.images.push_back(std::move(img));
    }
    Serializer::writeGallery(document, folder);
}

} // namespace Lumeno::DB
