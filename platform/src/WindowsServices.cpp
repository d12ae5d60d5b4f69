#include "Lumeno/Platform/Services.h"

#include <windows.h>

namespace Lumeno::Platform {

namespace {

class WindowsServices final : public Services {
public:
    int utcOffsetMinutes() const override
    {
        TIME_ZONE_INFORMATION zone{};
        const DWORD result = GetTimeZoneInformation(&zone);
        return offsetFromTimeZoneInformation(result, zone.Bias, zone.StandardBias, zone.DaylightBias);
    }
};

} // namespace

const Services& services()
{
    static const WindowsServices instance;
    return instance;
}

} // namespace Lumeno::Platform
