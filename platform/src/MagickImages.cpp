// The image service on POSIX: ImageMagick in a module loaded on first use.
#include "Lumeno/Platform/Images.h"

#include "Lumeno/Platform/Services.h"
#include "MagickModule.h"

#include <memory>
#include <stdexcept>
#include <system_error>

namespace Lumeno::Platform {

namespace {

// The module, looked for in the installation's module folder (which the build tree mirrors),
// then beside the program.
struct MagickModule {
    std::unique_ptr<LoadedModule> module;
    LumenoMakeThumbnail make = nullptr;
    std::string failure; // every place tried, and why it failed

    void note(const std::string& why) { failure += (failure.empty() ? "" : "; ") + why; }

    MagickModule()
    {
        const std::string program = services().programFolder();
        for (const std::string& folder : {program + "/" + LUMENO_MODULES_FROM_PROGRAM, program}) {
            try {
                module = services().loadModule(folder + "/" + LUMENO_IMAGE_MODULE);
            } catch (const std::system_error& e) {
                note(e.what());
                continue;
            }
            make = reinterpret_cast<LumenoMakeThumbnail>(module->symbol(LUMENO_MAKE_THUMBNAIL_SYMBOL));
            if (make == nullptr) {
                note(folder + "/" + LUMENO_IMAGE_MODULE + " has no " + LUMENO_MAKE_THUMBNAIL_SYMBOL);
                continue;
            }
            return;
        }
    }
};

const MagickModule& loaded()
{
    static const MagickModule module;
    return module;
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

class MagickImages final : public ImageService {
public:
    void start() const override { loaded(); }

    std::string thumbnail(const std::string& path, unsigned longerSide, int orientation) const override
    {
        const MagickModule& magick = loaded();
        if (magick.make == nullptr) {
            throw std::runtime_error("the image module could not be loaded (" + magick.failure + ")");
        }
        Outcome outcome;
        if (magick.make(path.c_str(), longerSide, orientation, &takeJpeg, &takeError, &outcome) == 0) {
            throw std::runtime_error(outcome.error);
        }
        return std::move(outcome.jpeg);
    }
};

} // namespace

const ImageService& imageService()
{
    static const MagickImages service;
    return service;
}

} // namespace Lumeno::Platform
