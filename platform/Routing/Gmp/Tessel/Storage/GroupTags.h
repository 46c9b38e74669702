#pragma once

#include <bit>
#include <cstdint>

#include "Routing/Gmp/Tessel/Storage/Checksum.h"
#include "Routing/Gmp/Tessel/Storage/Format.h"

namespace Routing::Gmp::Tessel::Storage {

/// The bits of a tag word that are tags.
constexpr std::uint64_t tagBits = 0x007f7f7f'7f7f7f7f;
/// The bits that are its checksum. Bit 63 is none of them: it is always 1.
constexpr std::uint64_t tagChecksumBits = 0x7f808080'80808080;

/// All tags of a word, when each is this one.
constexpr std::uint64_t everyTag(std::uint8_t tag) {
    return tag * std::uint64_t{0x00010101'01010101};
}

/// A tag word as it lies in shared memory. Two different sound words of one place differ in four
/// bits at least.
/// @param salt another one for each word of each segment, so that no word passes for another
inline std::uint64_t sealedTags(std::uint64_t tags, std::uint32_t salt) {
    // Turned and folded like this, no three columns of the checksum's matrix cancel out.
    const std::uint64_t sum = checksum(salt, std::rotl(tags, 31));
    return tags | ((sum ^ sum << 31) & tagChecksumBits) | std::uint64_t{1} << 63;
}
/// The bits in which a tag word is not as its tags say; 0 if it is sound.
inline std::uint64_t unsoundBits(std::uint64_t word, std::uint32_t salt) {
    return sealedTags(word & tagBits, salt) ^ word;
}

/// The seven bits of a hash that its record's tag shows. Never a tag that means "free".
inline std::uint8_t tagOf(std::uint64_t hash) {
    const auto bits = static_cast<std::uint8_t>(hash >> 32 & 0x7f);
    return bits < 2 ? bits + 2 : bits;
}

/// The 14 tags of a group, as they were at one moment each half, and questions to all of them.
class GroupTags {
    static constexpr std::uint64_t everyByte = everyTag(1);

  public:
    /// An answer. Both halves are in one word: a branch between them would be foreseen by no
    /// processor.
    class Places {
      public:
        /// @param low, high bit 0 of each byte is a place
        Places(std::uint64_t low, std::uint64_t high) : bits_(low | high << 4) {}

        bool any() const { return bits_ != 0; }
        bool has(std::uint32_t place) const {
            return (bits_ >> (place % wordPlaces * 8 + place / wordPlaces * 4) & 1) != 0;
        }
        /// One of them, 0..13. There must be one.
        std::uint32_t first() const {
            const auto bit = static_cast<std::uint32_t>(std::countr_zero(bits_));
            return bit / 8 + bit / 4 % 2 * wordPlaces;
        }
        void dropFirst() { bits_ &= bits_ - 1; }
        std::uint32_t count() const {
            const std::uint64_t each = (bits_ & everyByte) + (bits_ >> 4 & everyByte);
            return static_cast<std::uint32_t>(each * everyByte >> 48 & 0xff);
        }

      private:
        std::uint64_t bits_;
    };

    /// @param salt that of the first word; the second one's is the next number
    GroupTags(std::uint64_t low, std::uint64_t high, std::uint32_t salt)
        : half_{low, high}, salt_(salt) {}

    /// Whether this is what the writer put there. If not, no other answer can be relied on.
    bool isSound() const {
        return (unsoundBits(half_[0], salt_) | unsoundBits(half_[1], salt_ + 1)) == 0;
    }

    /// The tag of one place, 0..13.
    std::uint8_t tag(std::uint32_t place) const {
        const std::uint64_t word = half_[place / wordPlaces] & tagBits;
        return static_cast<std::uint8_t>(word >> (place % wordPlaces * 8));
    }
    Places equal(std::uint8_t tag) const {
        const std::uint64_t pattern = everyTag(tag);
        return {equalBytes(half_[0], pattern), equalBytes(half_[1], pattern)};
    }
    Places empty() const { return equal(emptyTag); }
    Places used() const {
        return {everyByte ^ unusedBytes(half_[0]), everyByte ^ unusedBytes(half_[1])};
    }
    /// Places that a record may be put in.
    Places unused() const { return {unusedBytes(half_[0]), unusedBytes(half_[1])}; }

  private:
    static std::uint64_t equalBytes(std::uint64_t word, std::uint64_t pattern) {
        return ~(((word ^ pattern) & tagBits) + tagBits) >> 7 & everyByte;
    }

    static std::uint64_t unusedBytes(std::uint64_t word) {
        static_assert(emptyTag == 0 && removedTag == 1);
        return equalBytes(word & ~everyByte, 0);
    }

    std::uint64_t half_[2];
    std::uint32_t salt_;
};

}  // namespace Routing::Gmp::Tessel::Storage
