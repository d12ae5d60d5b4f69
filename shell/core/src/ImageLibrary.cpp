#include "Lumeno/Shell/ImageLibrary.h"

#include <magick/MagickCore.h>

#include <atomic>

namespace Lumeno::Shell {

namespace {
std::atomic<bool> g_started{false};
}

void startImageLibrary(const std::string& clientName, const std::string& clientPath)
{
    if (g_started.exchange(true)) {
        return;
    }
    MagickCoreGenesis(clientPath.c_str(), MagickFalse);
    SetClientName(clientName.c_str());
    SetClientPath(clientPath.c_str());
}

void stopImageLibrary()
{
    if (g_started.exchange(false)) {
        MagickCoreTerminus();
    }
}

} // namespace Lumeno::Shell
