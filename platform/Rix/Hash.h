// Hashing of keys whose values strangers choose.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "Rix/Export.h"

namespace Rix {

/// A random number drawn once per process. Groups and sources are chosen by hosts; without a
/// secret in the hash, a host could choose addresses that all fall into one bucket.
RIX_EXPORT std::uint64_t hashSeed() noexcept;

/// Folds one 64-bit word into a hash: the two halves of a 128-bit product, exclusive-ored.
constexpr std::uint64_t hashWord(std::uint64_t hash, std::uint64_t word) noexcept {
    __extension__ using Wide = unsigned __int128;
    const Wide product = Wide(hash ^ 0x9e3779b97f4a7c15u) * Wide(word ^ 0xd6e8feb86659fd93u);
    return static_cast<std::uint64_t>(product) ^ static_cast<std::uint64_t>(product >> 64);
}

/// Folds a run of bytes into a hash.
RIX_EXPORT std::uint64_t hashBytes(std::uint64_t hash, std::string_view bytes) noexcept;

}  // namespace Rix
