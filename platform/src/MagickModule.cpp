// The image module: Magick++ behind the module's C entry point.
#include "MagickModule.h"

#include <Magick++.h>

#include <exception>
#include <mutex>
#include <string>

#if defined(_WIN32)
#define LUMENO_MODULE_EXPORT __declspec(dllexport)
#else
#define LUMENO_MODULE_EXPORT __attribute__((visibility("default")))
#endif

namespace {

void deliver(LumenoThumbnailSink sink, void* context, const std::string& text)
{
    sink(context, text.data(), text.size());
}

} // namespace

extern "C" LUMENO_MODULE_EXPORT int lumenoMakeThumbnail(const char* path, unsigned longerSide, int orientation,
                                                        LumenoThumbnailSink jpeg, LumenoThumbnailSink error,
                                                        void* context)
{
    static std::once_flag started;
    try {
        std::call_once(started, [] { Magick::InitializeMagick(nullptr); });
        Magick::Image image;
        // A warning (a TIFF tag of an unexpected type, which libtiff ignores) is no reason to
        // refuse the picture: only errors are thrown.
        image.quiet(true);
        // The size hint lets the JPEG decoder scale while it decodes: far less work than
        // decoding every pixel of a large photo.
        image.read(Magick::Geometry(2 * longerSide, 2 * longerSide), path);
        // Turned by the orientation the program read, not by the library's own reading of it.
        image.orientation(orientation >= 1 && orientation <= 8 ? static_cast<Magick::OrientationType>(orientation)
                                                                : Magick::TopLeftOrientation);
        image.autoOrient();
        Magick::Geometry fit(longerSide, longerSide);
        fit.greater(true); // only ever smaller: a small picture is not blown up
        image.thumbnail(fit);
        image.strip();
        image.magick("JPEG");
        image.quality(85);
        Magick::Blob blob;
        image.write(&blob);
        jpeg(context, static_cast<const char*>(blob.data()), blob.length());
        return 1;
    } catch (const std::exception& e) {
        deliver(error, context, e.what());
    } catch (...) {
        deliver(error, context, "unknown failure of the image library");
    }
    return 0;
}

// The declaration above must match what the program looks up.
static_assert(sizeof(LumenoMakeThumbnail) == sizeof(&lumenoMakeThumbnail), "entry point type");
