// The MD5 digest (RFC 1321), which Photoshop's IPTC digest resource holds.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace Metadata {

std::array<std::uint8_t, 16> md5(const std::uint8_t* bytes, std::size_t size);

} // namespace Metadata
