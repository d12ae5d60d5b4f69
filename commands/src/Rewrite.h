// The one way the annotation code rewrites a file: opened, its record changed, written safely.
#pragma once

#include "Lumeno/Commands/Annotation.h"

#include <Metadata/ImageMetadata.h>

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace Lumeno::Commands::Detail {

// Changes the opened file's metadata; appends to `removed` the datasets it took out of the
// record, whose XMP namesakes are then deleted.
using RecordChange = std::function<void(Metadata::ImageMetadata& image, std::vector<std::uint8_t>& removed)>;

// Opens `path`, runs `change`, and rewrites the file safely as `options` say.
void rewriteFile(const std::string& path, const AnnotateOptions& options, const RecordChange& change);

} // namespace Lumeno::Commands::Detail
