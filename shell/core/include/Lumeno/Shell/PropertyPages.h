// What the file manager's property pages of a picture show, in portable code: the EXIF
// directories as lists of names and texts (as 'lumeno dump' shows them) and the XMP packet as a
// tree.
#pragma once

#include <string>
#include <utility>
#include <vector>

namespace Metadata {
class ImageMetadata;
}

namespace Lumeno::Shell {

// One EXIF directory: its name ("Primary Image", "EXIF", "GPS", "Canon CameraSettings"...) and
// a row per field, name and text, in the directory's order.
struct ExifSection {
    std::string directory;
    std::vector<std::pair<std::string, std::string>> rows;
};
std::vector<ExifSection> exifSections(const Metadata::ImageMetadata& image);

// A node of the XMP tree: a property ("dc:subject"), an item of an array ("[2]") or a field of a
// structure ("stJob:name"); its value when it has one, its children when it has any.
struct XmpNode {
    std::string name;
    std::string value;
    std::vector<XmpNode> children;
};
std::vector<XmpNode> xmpTree(const Metadata::ImageMetadata& image);

} // namespace Lumeno::Shell
