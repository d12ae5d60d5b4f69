#include "Lumeno/Platform/Services.h"

#include <Metadata/DateTime.h>

namespace Lumeno::Platform {

namespace {

int utcOffsetFromServices()
{
    return services().utcOffsetMinutes();
}

Metadata::GUID guidFromServices()
{
    return services().newGUID();
}

} // namespace

void installMetadataServices()
{
    Metadata::setUtcOffsetFunction(&utcOffsetFromServices);
    Metadata::setGUIDFunction(&guidFromServices);
}

int offsetFromTimeZoneInformation(unsigned long result, long bias, long standardBias, long daylightBias) noexcept
{
    long extra = 0;
    if (result == 1) {
        extra = standardBias;
    } else if (result == 2) {
        extra = daylightBias;
    }
    return static_cast<int>(-(bias + extra));
}

} // namespace Lumeno::Platform
