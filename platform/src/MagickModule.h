// ImageMagick lives in a module of its own, loaded the first time a picture is made: it brings
// some thirty shared libraries with it, which every other command would otherwise load at start.
// This is the module's one entry point, in C so that nothing but plain data crosses between the
// program and the module.
#pragma once

#include <cstddef>

extern "C" {

// Receives the JPEG, or the reason why there is none.
typedef void (*LumenoThumbnailSink)(void* context, const char* bytes, std::size_t size);

// Makes a JPEG of the image at `path` (UTF-8) no larger than `longerSide` pixels on either side,
// turned upright by `orientation` (EXIF, 1 to 8). On success gives the JPEG to `jpeg` and returns
// 1; on failure gives the reason to `error` and returns 0. Never throws.
typedef int (*LumenoMakeThumbnail)(const char* path, unsigned longerSide, int orientation, LumenoThumbnailSink jpeg,
                                   LumenoThumbnailSink error, void* context);
}

// The name under which the module exports its LumenoMakeThumbnail.
#define LUMENO_MAKE_THUMBNAIL_SYMBOL "lumenoMakeThumbnail"
