// What the formatters of every table share: reading a value without letting a failure escape,
// rationals as quotients, enumerations as tables of texts.
#pragma once

#include "Metadata/Field.h"
#include "Metadata/TagTable.h"

#include <cstdint>

namespace Metadata::FormatterSupport {

// A value that cannot be read makes the formatter answer false with nothing written; so does
// anything a getter throws.
template <class Read, class Write> bool formatValue(Read read, Write write) noexcept
{
    try {
        if (!read()) {
            return false;
        }
        write();
        return true;
    } catch (...) {
        return false;
    }
}

inline double quotient(const URational& r)
{
    // Components are unsigned 32-bit: one that would read negative as a signed value counts
    // 2^32 more, which holding them unsigned already gives.
    return static_cast<double>(r.numerator) / static_cast<double>(r.denominator);
}

inline double quotient(const SRational& r)
{
    return static_cast<double>(r.numerator) / static_cast<double>(r.denominator);
}

template <class Write> bool formatURational(const Field& field, Write write)
{
    URational r;
    return formatValue([&] { return field.getURational(r); }, [&] { write(r); });
}

template <class Write> bool formatSRational(const Field& field, Write write)
{
    SRational r;
    return formatValue([&] { return field.getSRational(r); }, [&] { write(r); });
}

struct EnumName {
    std::uint32_t value;
    const char* text;
};

// The text of the value in `Names`, "..." for a value the table does not list.
template <const auto& Names> bool formatEnum(ValueText& out, const Field& field)
{
    std::uint32_t v = 0;
    return formatValue([&] { return field.getUInt32(v); },
                      [&] {
                          for (const EnumName& n : Names) {
                              if (n.value == v) {
                                  out << n.text;
                                  return;
                              }
                          }
                          out << "...";
                      });
}

} // namespace Metadata::FormatterSupport
