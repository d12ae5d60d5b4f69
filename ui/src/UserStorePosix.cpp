#include "Lumeno/UI/Settings.h"

#include <Lumeno/Platform/Services.h>

namespace Lumeno::UI {

std::unique_ptr<SettingsStore> userSettingsStore()
{
    const std::string folder = Platform::services().configFolder();
    return keyFileSettingsStore((folder.empty() ? std::string(".") : folder) + "/LumenoWorks/Lumeno.conf");
}

} // namespace Lumeno::UI
