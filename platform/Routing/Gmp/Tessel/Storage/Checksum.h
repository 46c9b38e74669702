#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>

namespace Routing::Gmp::Tessel::Storage {

/// The checksum in plain C++, for processors without an instruction for it.
std::uint32_t portableChecksum(std::uint32_t crc, const std::uint64_t* words,
                               std::size_t count) noexcept;

/// Whether this processor has the instruction.
extern const bool hasChecksumInstruction;

/// The CRC-32C (Castagnoli) of 64-bit words as they lie in memory, going on from `crc`. Neither the
/// start nor the result is inverted: the checksum of no words, from 0, is 0. Computed by the
/// processor where it can; the result is the same everywhere.
inline std::uint32_t checksum(std::uint32_t crc, const std::uint64_t* words,
                              std::size_t count) noexcept {
#if defined(__x86_64__)
    if (hasChecksumInstruction) {
        std::uint64_t wide = crc;
        for (std::size_t i = 0; i < count; ++i) {
            // The compilers' own name for it cannot be inlined into code for every processor.
            asm("crc32q %1, %0" : "+r"(wide) : "rm"(words[i]));
        }
        return static_cast<std::uint32_t>(wide);
    }
#endif
    return portableChecksum(crc, words, count);
}

/// The same of words that need not lie in memory.
template <std::convertible_to<std::uint64_t>... Words>
inline std::uint32_t checksum(std::uint32_t crc, Words... words) noexcept {
#if defined(__x86_64__)
    if (hasChecksumInstruction) {
        std::uint64_t wide = crc;
        const auto add = [&](std::uint64_t word) {
            asm("crc32q %1, %0" : "+r"(wide) : "rm"(word));
        };
        (add(words), ...);
        return static_cast<std::uint32_t>(wide);
    }
#endif
    const std::uint64_t all[] = {words...};
    return portableChecksum(crc, all, sizeof...(words));
}

}  // namespace Routing::Gmp::Tessel::Storage
