#include "Lumeno/Shell/PropertyPages.h"

#include <Metadata/EXIF.h>
#include <Metadata/ImageMetadata.h>
#include <Metadata/XMP.h>

#include <sstream>

namespace Lumeno::Shell {

std::vector<ExifSection> exifSections(const Metadata::ImageMetadata& image)
{
    std::vector<ExifSection> sections;
    const Metadata::EXIF& exif = image.exif();
    const Metadata::DisplayContext& context = exif.displayContext();
    for (const Metadata::IFD* directory : exif.directories()) {
        ExifSection section;
        section.directory = directory->name();
        for (const Metadata::Field& field : directory->fields()) {
            // Each field as the dump writes its line: "Name: text", or the generic
            // "0x1234 (SHORT, 2): values" of a field without a known name.
            std::ostringstream line;
            field.dump(line, context);
            std::string text = line.str();
            while (!text.empty() && (text.back() == '\n' || text.back() == '\r')) {
                text.pop_back();
            }
            const std::size_t colon = text.find(": ");
            if (colon == std::string::npos) {
                section.rows.emplace_back(text, std::string());
            } else {
                section.rows.emplace_back(text.substr(0, colon), text.substr(colon + 2));
            }
        }
        sections.push_back(std::move(section));
    }
    return sections;
}

namespace {

// The node named `name` among `nodes`, made when missing.
XmpNode& child(std::vector<XmpNode>& nodes, const std::string& name)
{
    for (XmpNode& node : nodes) {
        if (node.name == name) {
            return node;
        }
    }
    nodes.push_back({name, {}, {}});
    return nodes.back();
}

} // namespace

std::vector<XmpNode> xmpTree(const Metadata::ImageMetadata& image)
{
    std::vector<XmpNode> tree;
    const Metadata::XMP* xmp = image.xmp().get();
    if (xmp == nullptr) {
        return tree;
    }
    for (const Metadata::XMP::Property& property : xmp->properties()) {
        // "xmpBJ:JobRef[1]/stJob:name": a step per structure field, a step per array index.
        std::vector<XmpNode>* level = &tree;
        XmpNode* node = nullptr;
        std::size_t start = 0;
        const std::string& path = property.path;
        while (start < path.size()) {
            std::size_t end = path.find_first_of("/[", start + 1);
            if (path[start] == '[') {
                end = path.find(']', start);
                end = end == std::string::npos ? path.size() : end + 1;
            }
            if (end == std::string::npos) {
                end = path.size();
            }
            node = &child(*level, path.substr(start, end - start));
            level = &node->children;
            start = end < path.size() && path[end] == '/' ? end + 1 : end;
        }
        if (node != nullptr) {
            node->value = property.value;
        }
    }
    return tree;
}

} // namespace Lumeno::Shell
