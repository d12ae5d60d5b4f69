// "Create Lumeno slide show": the slide-show CD's dialog (the folder, the PDF's pictures), then
// the CD's files written under the progress dialog.
#pragma once

#include "ShellInterfaces.h"

#include <string>
#include <vector>

namespace Lumeno::Shell {

HRESULT createSlideShowCD(const std::vector<std::string>& files, HWND owner);

} // namespace Lumeno::Shell
