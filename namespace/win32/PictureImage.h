// A picture's thumbnail in My Galleries' view: the store's, made when the picture came in, so a
// gallery of thousands shows its pictures without reading their files.
#pragma once

#include <windows.h>

#include <string>

namespace Lumeno::Namespace {

// The IExtractImage (and IExtractImage2) of the picture in `file`.
HRESULT createPictureImage(const std::string& file, REFIID riid, void** out);

} // namespace Lumeno::Namespace
