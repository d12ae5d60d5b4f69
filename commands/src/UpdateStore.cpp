#include "Lumeno/Commands/FileCommands.h"

#include <Lumeno/DB/Store.h>

namespace Lumeno::Commands {

CommandUpdateStore::CommandUpdateStore(bool thumbnails, std::uint32_t fileCount, std::uintptr_t parentWindow,
                                       std::shared_ptr<UI::Settings> settings)
    : CommandBase(fileCount, parentWindow, std::move(settings)), thumbnails_(thumbnails)
{
    startProgress(thumbnails ? "Updating image information & thumbnails..." : "Updating image information...",
                  FileCopyAnimation);
}

void CommandUpdateStore::perFile(const std::string& path)
{
    if (!beginFile(path)) {
        return;
    }
    try {
        DB::Store::instance().update(path, thumbnails_);
    } catch (const ErrorDb& e) {
        reportFailure(path, e.what());
    }
}

} // namespace Lumeno::Commands
