#include "Thumbnail.h"

#include "ThumbnailModule.h"

#include "Lumeno/DB/Engine.h"

#include <Lumeno/Platform/Services.h>

#include <cerrno>
#include <memory>
#include <system_error>

namespace Lumeno::DB {

namespace {

// The module is looked for beside the program (where an installation puts it), then where the
// build made it.
struct ThumbnailModule {
    std::unique_ptr<Platform::LoadedModule> module;
    LumenoMakeThumbnail make = nullptr;
    std::string failure; // every place tried, and why it failed

    void note(const std::string& why) { failure += (failure.empty() ? "" : "; ") + why; }

    ThumbnailModule()
    {
        const Platform::Services& system = Platform::services();
        // Beside the program, or in the installation's module folder (which the build tree
        // mirrors).
        const std::string program = system.programFolder();
        for (const std::string& folder : {program + "/" + LUMENO_MODULES_FROM_PROGRAM, program}) {
            try {
                module = system.loadModule(folder + "/" + LUMENO_THUMBNAIL_MODULE);
            } catch (const std::system_error& e) {
                note(e.what());
                continue;
            }
            make = reinterpret_cast<LumenoMakeThumbnail>(module->symbol(LUMENO_MAKE_THUMBNAIL_SYMBOL));
            if (make == nullptr) {
                note(folder + "/" + LUMENO_THUMBNAIL_MODULE + " has no " + LUMENO_MAKE_THUMBNAIL_SYMBOL);
                continue;
            }
            return;
        }
    }
};

const ThumbnailModule& thumbnailModule()
{
    static const ThumbnailModule loaded;
    return loaded;
}

struct Outcome {
    std::string jpeg;
    std::string error;
};

void takeJpeg(void* context, const char* bytes, std::size_t size)
{
    static_cast<Outcome*>(context)->jpeg.append(bytes, size);
}

void takeError(void* context, const char* bytes, std::size_t size)
{
    static_cast<Outcome*>(context)->error.append(bytes, size);
}

} // namespace

std::string makeThumbnail(const std::string& path)
{
    const ThumbnailModule& loaded = thumbnailModule();
    if (loaded.make == nullptr) {
        throw ErrorDb(ENOENT, "cannot make thumbnails: the thumbnail module could not be loaded (" + loaded.failure +
                                  ")");
    }
    Outcome outcome;
    if (loaded.make(path.c_str(), ThumbnailSize, &takeJpeg, &takeError, &outcome) == 0) {
        throw ErrorDb(EIO, "cannot make a thumbnail of " + path + ": " + outcome.error);
    }
    return std::move(outcome.jpeg);
}

} // namespace Lumeno::DB
