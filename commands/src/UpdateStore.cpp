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

namespace {

struct PreparedImage : CommandBase::Prepared {
    explicit PreparedImage(DB::Store::PreparedImage i) : image(std::move(i)) {}
    DB::Store::PreparedImage image;
};

} // namespace

std::unique_ptr<CommandBase::Prepared> CommandUpdateStore::prepareFile(const std::string& path)
{
    return std::make_unique<PreparedImage>(DB::Store::prepare(path, thumbnails_));
}

void CommandUpdateStore::finishFile(const std::string&, std::unique_ptr<Prepared> prepared)
{
    const auto& image = static_cast<const PreparedImage&>(*prepared).image;
    if (gallery_.empty()) {
        DB::Store::instance().commit(image);
    } else {
        DB::Store::instance().addImage(gallery_, image);
    }
}

} // namespace Lumeno::Commands
