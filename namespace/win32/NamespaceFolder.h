// The "My Galleries" folder's class, for the server's class table.
#pragma once

#include <windows.h>

#include <unknwn.h>

namespace Lumeno::Namespace {

// Makes a folder object at the top of My Galleries (the shell initialises it with its place).
HRESULT createNamespaceFolder(IUnknown* outer, IUnknown** inner);

} // namespace Lumeno::Namespace
