// Reading built TIFF bytes back through the library.
#pragma once

#include "TiffBuilder.h"

#include <Metadata/EXIF.h>
#include <Metadata/IFD.h>
#include <Metadata/TIFFReader.h>

#include <memory>
#include <string>
#include <vector>

namespace TestSupport {

inline std::shared_ptr<Metadata::TIFFReader> readerFor(std::vector<std::uint8_t> bytes)
{
    return Metadata::TIFFReader::open(std::make_shared<Metadata::MemorySource>(std::move(bytes)));
}

inline Metadata::EXIF treeOf(const TiffBuilder& builder)
{
    return Metadata::EXIF(readerFor(builder.build()));
}

// IFD0 of the built bytes, read as a directory with id `id`.
inline Metadata::IFD directoryOf(const TiffBuilder& builder, std::uint32_t id = Metadata::DirectoryId::Primary)
{
    auto reader = readerFor(builder.build());
    return Metadata::IFD(reader, id, reader->firstIFDOffset());
}

// The texts of warnings, in order.
inline std::vector<std::string> textsOf(const std::vector<Metadata::ReadWarning>& warnings)
{
    std::vector<std::string> texts;
    for (const Metadata::ReadWarning& w : warnings) {
        texts.push_back(w.text);
    }
    return texts;
}

} // namespace TestSupport
