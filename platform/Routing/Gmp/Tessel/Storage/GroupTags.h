#pragma once

#include <bit>
#include <cstdint>

#include "Routing/Gmp/Tessel/Storage/Format.h"

namespace Routing::Gmp::Tessel::Storage {

/// The seven bits of a hash that its record's tag shows, and their parity. Never a tag that means
/// "free".
inline std::uint8_t tagOf(std::uint64_t hash) {
    auto bits = static_cast<std::uint32_t>(hash >> 32) & 0x7f;
    if (bits < 2) bits += 2;
    // std::popcount would be a call where the compiler may not count on the instruction.
    const auto parity = static_cast<std::uint32_t>(__builtin_parity(bits));
    return static_cast<std::uint8_t>(bits | parity << 7);
}

/// The 16 tags of a group, as they were at one moment each half, and questions to all of them. An
/// answer has bit 0 of each byte set whose tag it means; bytes are taken from the lowest place.
class GroupTags {
    static constexpr std::uint64_t everyByte = 0x0101010101010101;

  public:
    struct Places {
        std::uint64_t half[2];  ///< bit 0 of each byte

        bool any() const { return (half[0] | half[1]) != 0; }
        bool has(std::uint32_t place) const { return (half[place / 8] >> place % 8 * 8 & 1) != 0; }
        /// The lowest place, 0..15. There must be one.
        std::uint32_t first() const {
            return half[0] != 0 ? static_cast<std::uint32_t>(std::countr_zero(half[0])) / 8
                                : static_cast<std::uint32_t>(std::countr_zero(half[1])) / 8 + 8;
        }
        void dropFirst() {
            std::uint64_t& low = half[0] != 0 ? half[0] : half[1];
            low &= low - 1;
        }
        std::uint32_t count() const {
            return static_cast<std::uint32_t>((half[0] + half[1]) * everyByte >> 56);
        }
    };

    GroupTags(std::uint64_t low, std::uint64_t high) : half_{low, high} {}

    Places equal(std::uint8_t tag) const {
        const std::uint64_t pattern = everyByte * tag;
        return {zeroBytes(half_[0] ^ pattern), zeroBytes(half_[1] ^ pattern)};
    }
    Places empty() const { return {zeroBytes(half_[0]), zeroBytes(half_[1])}; }
    Places removed() const { return equal(removedTag); }
    Places used() const {
        const Places none = empty();
        const Places gone = removed();
        return {everyByte ^ (none.half[0] | gone.half[0]),
                everyByte ^ (none.half[1] | gone.half[1])};
    }
    /// Places that a record may be put in.
    Places unused() const {
        const Places none = empty();
        const Places gone = removed();
        return {none.half[0] | gone.half[0], none.half[1] | gone.half[1]};
    }
    /// Tags whose parity is wrong.
    Places damaged() const { return {oddBytes(half_[0]), oddBytes(half_[1])}; }

  private:
    static std::uint64_t zeroBytes(std::uint64_t word) {
        constexpr std::uint64_t low7 = 0x7f * everyByte;
        return (~((((word & low7) + low7) | word) | low7)) >> 7;
    }
    static std::uint64_t oddBytes(std::uint64_t word) {
        word ^= word >> 4;
        word ^= word >> 2;
        word ^= word >> 1;
        return word & everyByte;
    }

    std::uint64_t half_[2];
};

}  // namespace Routing::Gmp::Tessel::Storage
