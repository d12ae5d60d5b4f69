#include "Metadata/MD5.h"

#include <boost/uuid/detail/md5.hpp>


namespace Metadata {

std::array<std::uint8_t, 16> md5(const std::uint8_t* bytes, std::size_t size)
{
    // Boost's implementation behind its name-based UUIDs. Its digest type is four words whose
    // values, read as numbers on any machine, hold the digest's bytes most significant first
    // (checked against RFC 1321's examples in the tests).
    boost::uuids::detail::md5 hash;
    hash.process_bytes(bytes, size);
    boost::uuids::detail::md5::digest_type words;
    hash.get_digest(words);
    std::array<std::uint8_t, 16> digest{};
    for (std::size_t i = 0; i < 16; ++i) {
        digest[i] = static_cast<std::uint8_t>(words[i / 4] >> (24 - 8 * (i % 4)));
    }
    return digest;
}

} // namespace Metadata
