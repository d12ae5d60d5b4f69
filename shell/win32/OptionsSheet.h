// The "Lumeno Settings" sheet, modal, owned by `owner`.
#pragma once

#include "ShellInterfaces.h"

namespace Lumeno::Shell {

HRESULT showOptions(HWND owner);

} // namespace Lumeno::Shell
