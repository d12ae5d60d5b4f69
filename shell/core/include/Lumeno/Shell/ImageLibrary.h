// The image-processing library (ImageMagick) that previews, thumbnails and slide shows use:
// started once when the server loads.
#pragma once

#include <string>

namespace Lumeno::Shell {

// Starts the library with `clientName` as its client name and `clientPath` (the folder of the
// module that loads it) as its client path. Repeated calls do nothing.
void startImageLibrary(const std::string& clientName, const std::string& clientPath);
// Releases what the library holds; called when the module is unloaded.
void stopImageLibrary();

} // namespace Lumeno::Shell
