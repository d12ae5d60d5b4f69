#include "Lumeno/Shell/ContextMenu.h"

#include <Lumeno/UI/Settings.h>

#include <algorithm>
#include <cctype>

namespace Lumeno::Shell {

namespace {

std::string lower(std::string s)
{
    std::transform(s.begin(), s.end(), s.begin(), [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return s;
}

std::string extensionOf(const std::string& path)
{
    const std::size_t dot = path.rfind('.');
    const std::size_t slash = path.find_last_of("/\\");
    if (dot == std::string::npos || (slash != std::string::npos && dot < slash)) {
        return std::string();
    }
    return lower(path.substr(dot));
}

bool oneOf(const std::string& path, std::initializer_list<const char*> extensions)
{
    const std::string extension = extensionOf(path);
    return std::any_of(extensions.begin(), extensions.end(), [&](const char* e) { return extension == e; });
}

// What an entry needs of the selection to apply.
enum class Needs {
    Anything,    // any picture the menu is shown for
    Pictures,    // every file a picture the slide show can show (JPEG, TIFF, PNG, GIF, BMP)
    Metadata,    // every file a JPEG or TIFF
    Jpeg,        // every file a JPEG
    OneMetadata, // a single JPEG or TIFF
};

struct Row {
    MenuCommand command;
    const char* text;
    const char* verb;
    const char* help;
    Needs needs;
};

// The entries, in menu order; texts of the commands are their help texts too.
const Row PreviewRows[] = {
    {MenuCommand::Preview, "Preview images...", "preview", "Preview images...", Needs::Anything},
    {MenuCommand::SlideShow, "Run slide show...", "slideshow", "Run slide show...", Needs::Anything},
};
const Row CommandRows[] = {
    {MenuCommand::Rename, "Rename based on EXIF date", "rename", "Rename based on EXIF date", Needs::Metadata},
    {MenuCommand::RotateRight, "Rotate JPEG +90", "rotateRight", "Rotate JPEG +90", Needs::Jpeg},
    {MenuCommand::RotateLeft, "Rotate JPEG -90", "rotateLeft", "Rotate JPEG -90", Needs::Jpeg},
    {MenuCommand::ExportExif, "Export EXIF to text file", "exportExif", "Export EXIF to text file", Needs::Metadata},
    {MenuCommand::ExportIptc, "Export IPTC to text file", "exportIptc", "Export IPTC to text file", Needs::Metadata},
    {MenuCommand::ExportXmp, "Export XMP to text file", "exportXmp", "Export XMP to text file", Needs::Metadata},
    {MenuCommand::Synchronize, "Synchronize with database", "synchronize", "Synchronize with database", Needs::Metadata},
};
const Row SlideShowRow = {MenuCommand::CreateSlideShow, "Create Lumeno slide show", "createSlideShowCD",
                          "Create Lumeno slide show", Needs::Pictures};
const Row AnnotationRows[] = {
    {MenuCommand::AnnotateAdd, "Edit metadata...", "annotateAdd", "Edit the IPTC information of the selected pictures",
     Needs::Metadata},
    {MenuCommand::AnnotateRemove, "Remove metadata", "annotateRemove",
     "Remove the IPTC information from the selected pictures", Needs::Metadata},
    {MenuCommand::AnnotateCut, "Cut metadata", "annotateCut",
     "Copy the picture's IPTC information and remove it from the picture", Needs::OneMetadata},
    {MenuCommand::AnnotateCopy, "Copy metadata", "annotateCopy", "Copy the picture's IPTC information",
     Needs::OneMetadata},
    {MenuCommand::AnnotatePaste, "Paste metadata", "annotatePaste",
     "Write the copied IPTC information into the selected pictures", Needs::Metadata},
    {MenuCommand::AnnotateCreateTemplate, "Create template...", "annotateCreateTemplate",
     "Keep the picture's IPTC information as a template", Needs::OneMetadata},
};
const Row OptionsRow = {MenuCommand::Options, "Options...", "options", "Change the settings of Lumeno", Needs::Anything};

bool applies(Needs needs, const std::vector<std::string>& files)
{
    switch (needs) {
    case Needs::Anything:
        return true;
    case Needs::Pictures:
        return std::all_of(files.begin(), files.end(),
                           [](const std::string& f) { return menuFileType(f) && !oneOf(f, {".psd"}); });
    case Needs::Metadata:
        return std::all_of(files.begin(), files.end(), metadataFileType);
    case Needs::Jpeg:
        return std::all_of(files.begin(), files.end(), jpegFileType);
    case Needs::OneMetadata:
        return files.size() == 1 && metadataFileType(files.front());
    }
    return false;
}

MenuItem entry(const Row& row, const std::vector<std::string>& files)
{
    MenuItem item;
    item.text = row.text;
    item.command = row.command;
    item.verb = row.verb;
    item.help = row.help;
    item.enabled = applies(row.needs, files);
    return item;
}

MenuItem separator()
{
    MenuItem item;
    item.kind = MenuItem::Kind::Separator;
    return item;
}

// "Apply template" or "Remove template" with one entry per template; not enabled when there is
// none.
MenuItem templateMenu(const char* text, MenuCommand command, const char* verb, const char* help, bool enabled,
                      const std::vector<std::string>& templates)
{
    MenuItem menu;
    menu.kind = MenuItem::Kind::Submenu;
    menu.text = text;
    menu.enabled = !templates.empty();
    for (const std::string& name : templates) {
        MenuItem item;
        item.text = name;
        item.command = command;
        item.templateName = name;
        item.verb = verb;
        item.help = std::string(help) + " \"" + name + "\"";
        item.enabled = enabled;
        menu.items.push_back(std::move(item));
    }
    return menu;
}

void collect(const MenuItem& menu, std::vector<const MenuItem*>& out)
{
    for (const MenuItem& item : menu.items) {
        if (item.kind == MenuItem::Kind::Command) {
            out.push_back(&item);
        } else if (item.kind == MenuItem::Kind::Submenu) {
            collect(item, out);
        }
    }
}

} // namespace

bool menuFileType(const std::string& path)
{
    return oneOf(path, {".jpg", ".jpeg", ".tif", ".tiff", ".png", ".gif", ".psd", ".bmp"});
}

bool metadataFileType(const std::string& path)
{
    return oneOf(path, {".jpg", ".jpeg", ".tif", ".tiff"});
}

bool jpegFileType(const std::string& path)
{
    return oneOf(path, {".jpg", ".jpeg"});
}

MenuParts MenuParts::fromSettings()
{
    MenuParts parts;
    try {
        const UI::Settings settings;
        parts.commands = settings.getEnableLumenoMenu();
        parts.annotation = settings.getEnableAnnotateMenu();
    } catch (...) {
        // Unreadable settings: their defaults, both shown.
    }
    return parts;
}

std::optional<MenuItem> contextMenu(const MenuSelection& selection, MenuParts parts)
{
    const std::vector<std::string>& files = selection.files;
    if ((!parts.commands && !parts.annotation) || files.empty() ||
        std::none_of(files.begin(), files.end(), menuFileType)) {
        return std::nullopt;
    }
    MenuItem menu;
    menu.kind = MenuItem::Kind::Submenu;
    menu.text = "Lumeno";
    if (parts.commands) {
        for (const Row& row : PreviewRows) {
            menu.items.push_back(entry(row, files));
        }
        menu.items.push_back(separator());
        for (const Row& row : CommandRows) {
            menu.items.push_back(entry(row, files));
        }
        menu.items.push_back(entry(SlideShowRow, files));
    }
    if (parts.annotation) {
        if (!menu.items.empty()) {
            menu.items.push_back(separator());
        }
        for (const Row& row : AnnotationRows) {
            MenuItem item = entry(row, files);
            if (row.command == MenuCommand::AnnotatePaste) {
                item.enabled = item.enabled && selection.iptcOnClipboard;
            }
            menu.items.push_back(std::move(item));
        }
        menu.items.push_back(templateMenu("Apply template", MenuCommand::AnnotateApplyTemplate, "annotateApplyTemplate",
                                          "Apply the template", applies(Needs::Metadata, files), selection.templates));
        menu.items.push_back(templateMenu("Remove template", MenuCommand::AnnotateRemoveTemplate,
                                          "annotateRemoveTemplate", "Remove the template", true, selection.templates));
    }
    menu.items.push_back(separator());
    menu.items.push_back(entry(OptionsRow, files));
    return menu;
}

std::vector<const MenuItem*> menuCommands(const MenuItem& menu)
{
    std::vector<const MenuItem*> commands;
    collect(menu, commands);
    return commands;
}

const MenuItem* commandForVerb(const MenuItem& menu, const std::string& verb)
{
    const MenuItem* found = nullptr;
    for (const MenuItem* item : menuCommands(menu)) {
        // A template's entry also answers to its verb with the template's name after a colon.
        if (!item->templateName.empty() && lower(verb) == lower(item->verb + ":" + item->templateName)) {
            return item;
        }
        if (lower(item->verb) == lower(verb)) {
            if (found != nullptr) {
                return nullptr; // which template is meant cannot be told
            }
            found = item;
        }
    }
    return found;
}

} // namespace Lumeno::Shell
