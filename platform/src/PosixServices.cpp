#include "Lumeno/Platform/Services.h"

#include <ctime>

namespace Lumeno::Platform {

namespace {

class PosixServices final : public Services {
public:
    int utcOffsetMinutes() const override
    {
        const std::time_t now = std::time(nullptr);
        std::tm local{};
        if (localtime_r(&now, &local) == nullptr) {
            return 0;
        }
        return static_cast<int>(local.tm_gmtoff / 60);
    }
};

} // namespace

const Services& services()
{
    static const PosixServices instance;
    return instance;
}

} // namespace Lumeno::Platform
