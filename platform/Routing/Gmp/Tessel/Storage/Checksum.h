#pragma once

#include <cstddef>
#include <cstdint>

namespace Routing::Gmp::Tessel::Storage {

/// The CRC-32C (Castagnoli) of 64-bit words as they lie in memory, going on from `crc`. Neither the
/// start nor the result is inverted: the checksum of no words, from 0, is 0. Computed by the
/// processor where it can; the result is the same everywhere.
std::uint32_t checksum(std::uint32_t crc, const std::uint64_t* words, std::size_t count) noexcept;

/// The same in plain C++, for processors without the instruction and for the test that compares.
std::uint32_t portableChecksum(std::uint32_t crc, const std::uint64_t* words,
                               std::size_t count) noexcept;

}  // namespace Routing::Gmp::Tessel::Storage
