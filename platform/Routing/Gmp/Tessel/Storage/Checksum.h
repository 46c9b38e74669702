#pragma once

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

/// The same of one word, which need not lie in memory.
inline std::uint32_t checksum(std::uint32_t crc, std::uint64_t word) noexcept {
#if defined(__x86_64__)
    if (hasChecksumInstruction) {
        std::uint64_t wide = crc;
        asm("crc32q %1, %0" : "+r"(wide) : "r"(word));
        return static_cast<std::uint32_t>(wide);
    }
#endif
    return portableChecksum(crc, &word, 1);
}

}  // namespace Routing::Gmp::Tessel::Storage
