// The annotation entries of the context menu: the raw IPTC record on the clipboard (cut, copy,
// paste), the saved templates, the metadata editor.
#pragma once

#include "ShellInterfaces.h"

#include <Lumeno/Shell/ContextMenu.h>

#include <string>
#include <vector>

namespace Lumeno::Shell {

// The names of the saved templates, sorted; none when they cannot be read.
std::vector<std::string> templateNames();
// Asks for the name of a new template (a dialog owned by `owner`); false when cancelled.
bool askTemplateName(HWND owner, std::string& name);
// Runs an annotation entry of the menu on the selection; `window` owns any dialog it shows.
HRESULT runAnnotation(const MenuItem& item, const std::vector<std::string>& files, HWND window);

} // namespace Lumeno::Shell
