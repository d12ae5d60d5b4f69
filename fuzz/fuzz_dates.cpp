// The date and time parsers: ISO values of every form, EXIF time stamps, IPTC dates and times.
#include "FuzzSupport.h"

#include <Metadata/DateTime.h>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string text(reinterpret_cast<const char*>(data), size);
    Fuzz::expectingFileErrors([&] {
        Metadata::ISODateTime value;
        value.setText(text);
        value.parse();
        value.format();
        try {
            (void)Metadata::EXIFTimeStamp::fromISO(value);
            (void)Metadata::IPTCDate::fromISO(value);
            (void)Metadata::IPTCTime::fromISO(value);
        } catch (const Metadata::LogicError&) {
            // The conversions refuse values outside a four-digit year, as documented.
        }
    });
    Fuzz::expectingFileErrors([&] {
        Metadata::ISODate date;
        date.setText(text);
        date.parse();
        date.format();
    });
    Fuzz::expectingFileErrors([&] {
        Metadata::ISOTime time;
        time.setText(text);
        time.parse();
        time.format();
    });
    Fuzz::expectingFileErrors([&] { (void)Metadata::EXIFTimeStamp(text).isValid(); });
    Fuzz::expectingFileErrors([&] {
        const std::size_t half = text.size() / 2;
        const Metadata::IPTCTimeStamp stamp(Metadata::IPTCDate(text.substr(0, half)),
                                            Metadata::IPTCTime(text.substr(half)));
        (void)stamp.isValid();
    });
    return 0;
}
