// The file manager's context menu on a selection of pictures: which entries it offers, their
// texts, verbs and help texts, and which of them apply. Portable, so that the COM extension only
// turns the tree into a Windows menu and a chosen entry back into a command.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace Lumeno::Shell {

enum class MenuCommand {
    Preview,
    SlideShow,
    Rename,
    RotateRight,
    RotateLeft,
    ExportExif,
    ExportIptc,
    ExportXmp,
    Synchronize,
    CreateSlideShow,
    AnnotateAdd,
    AnnotateRemove,
    AnnotateCut,
    AnnotateCopy,
    AnnotatePaste,
    AnnotateCreateTemplate,
    AnnotateApplyTemplate,
    AnnotateRemoveTemplate,
    Options,
};

struct MenuItem {
    enum class Kind { Command, Separator, Submenu };
    Kind kind = Kind::Command;
    std::string text;
    MenuCommand command = MenuCommand::Options;
    std::string templateName; // of the template entries
    std::string verb;
    std::string help;
    bool enabled = true;
    std::vector<MenuItem> items; // a submenu's
};

// What the menu is made for: the selected files (full paths), whether the clipboard holds a
// copied IPTC record, and the names of the saved templates.
struct MenuSelection {
    std::vector<std::string> files;
    bool iptcOnClipboard = false;
    std::vector<std::string> templates;
};

// Which parts the user shows: the commands (EnableLumenoMenu) and the annotation entries
// (EnableAnnotateMenu).
struct MenuParts {
    bool commands = true;
    bool annotation = true;
    static MenuParts fromSettings();
};

// The "Lumeno" submenu for the selection; nothing when both parts are off or no selected file
// is of a type the menu is registered for. An entry that cannot apply to every selected file
// (turning a TIFF, pasting with nothing copied) is there but not enabled.
std::optional<MenuItem> contextMenu(const MenuSelection& selection, MenuParts parts);

// The commands of a menu, depth first: a command's place in this list is its offset, by which
// the shell names it.
std::vector<const MenuItem*> menuCommands(const MenuItem& menu);
// The command that answers to `verb` (any letter case); null when none does, or when several
// do (a verb shared by the template entries names one only when there is one template;
// "annotateApplyTemplate:NAME" names the template's entry whatever their number).
const MenuItem* commandForVerb(const MenuItem& menu, const std::string& verb);

// The file types the menu is registered for, and those the metadata commands work on.
bool menuFileType(const std::string& path);
bool metadataFileType(const std::string& path);
bool jpegFileType(const std::string& path);

} // namespace Lumeno::Shell
