// A gallery of the store as web pages: its images from their records and thumbnails, and each
// sub-gallery in a folder of its name below.
#pragma once

#include "StoreCatalogue.h"
#include "StoreGalleries.h"
#include "StoreTables.h"

#include <string>

namespace Lumeno::DB {

class StoreExport {
public:
    StoreExport(StoreTables& tables, StoreGalleryTree& galleries, StoreCatalogue& catalogue)
        : tables_(tables), galleries_(galleries), catalogue_(catalogue)
    {
    }

    // Throws ErrorDb "Failed to export to: PATH" when a target cannot be written.
    void exportGallery(const std::string& name, const std::string& folder);

private:
    StoreTables& tables_;
    StoreGalleryTree& galleries_;
    StoreCatalogue& catalogue_;
};

} // namespace Lumeno::DB
