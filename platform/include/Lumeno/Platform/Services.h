// The operating-system services the portable code needs, behind one interface with a Windows and
// a POSIX implementation.
#pragma once

namespace Lumeno::Platform {

class Services {
public:
    virtual ~Services() = default;
    // The machine's current offset from UTC, in minutes east of UTC.
    virtual int utcOffsetMinutes() const = 0;
};

// The services of the operating system the program runs on.
const Services& services();

// Gives the metadata library what it asks of the operating system (the UTC offset behind dates
// written in local time). Programs call it once at start.
void installMetadataServices();

// The offset from UTC that Windows' time-zone information describes: -(Bias + the standard bias
// when the answer is "standard time" (1), the daylight bias when it is "daylight time" (2), and
// nothing otherwise). Kept apart from the system call so that it can be checked anywhere.
int offsetFromTimeZoneInformation(unsigned long result, long bias, long standardBias, long daylightBias) noexcept;

} // namespace Lumeno::Platform
