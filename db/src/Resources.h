// The files the program carries inside itself, generated from db/resources at build time.
#pragma once

#include <cstddef>

namespace Lumeno::DB::Resources {

extern const unsigned char stylesheet[]; // LumenoGallery.XSL
extern const std::size_t stylesheetSize;
extern const unsigned char logo[]; // __Lumeno.GIF
extern const std::size_t logoSize;

} // namespace Lumeno::DB::Resources
