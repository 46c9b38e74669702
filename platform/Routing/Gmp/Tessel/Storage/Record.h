#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#include "Routing/Gmp/Tessel/Membership.h"
#include "Routing/Gmp/Tessel/Storage/Checksum.h"
#include "Routing/Gmp/Tessel/Storage/Format.h"

namespace Routing::Gmp::Tessel::Storage {

/// The five words that a key takes in shared memory.
using KeyWords = std::array<std::uint64_t, 5>;

inline KeyWords keyWords(const RouteIntfKey& key) {
    KeyWords words{};
    std::memcpy(words.data(), key.source.bytes().data(), 16);
    std::memcpy(&words[2], key.group.bytes().data(), 16);
    words[4] = std::uint64_t{key.intf.value()} |
               static_cast<std::uint64_t>(key.source.family()) << 32 |
               static_cast<std::uint64_t>(key.group.family()) << 40;
    return words;
}

/// The parts of a key, as they are in its words.
struct KeyParts {
    explicit KeyParts(const KeyWords& words)
        : intf(static_cast<Ondel::IntfId::Kind>(static_cast<std::uint32_t>(words[4]) >> 30),
               static_cast<std::uint32_t>(words[4]) & ((1u << 30) - 1)),
          sourceFamily(
              static_cast<Ondel::IpGenAddr::Family>(static_cast<std::uint8_t>(words[4] >> 32))),
          groupFamily(
              static_cast<Ondel::IpGenAddr::Family>(static_cast<std::uint8_t>(words[4] >> 40))) {
        for (std::size_t half = 0; half < 2; ++half) {
            std::memcpy(source.data() + half * 8, &words[half], 8);
            std::memcpy(group.data() + half * 8, &words[2 + half], 8);
        }
    }

    Ondel::IntfId intf;
    Ondel::IpGenAddr::Family sourceFamily;
    Ondel::IpGenAddr::Family groupFamily;
    Ondel::IpGenAddr::Bytes source;
    Ondel::IpGenAddr::Bytes group;
};

inline RouteIntfKey keyFromWords(const KeyWords& words) {
    const KeyParts parts(words);
    return {parts.intf, Ondel::IpGenAddr(parts.sourceFamily, parts.source),
            Ondel::IpGenAddr(parts.groupFamily, parts.group)};
}

/// Whether these words can be a key that somebody wrote: of a VLAN interface, and of families that
/// there are.
inline bool isPossibleKey(const KeyWords& key) {
    constexpr std::uint64_t fixedBits = ~std::uint64_t{0x0303'0000'ffff};
    constexpr std::uint64_t vlanKind = 0x4000'0000;
    constexpr std::uint64_t lowBits = 0x0101'0000'0000;
    return (key[4] & fixedBits) == vlanKind && (key[4] & key[4] >> 1 & lowBits) == 0;
}

/// Adds the membership of these words to others.
inline void append(std::vector<Membership>& memberships, const KeyWords& words, FilterMode mode) {
    const KeyParts parts(words);
    memberships.emplace_back(parts.intf, parts.sourceFamily, parts.source, parts.groupFamily,
                             parts.group, mode);
}

/// The hash of a key under a table's five seeds. Hosts choose groups and sources: without the
/// seeds they could choose them so that all fall into one place.
using HashSeed = std::array<std::uint64_t, 5>;

inline std::uint64_t foldedProduct(std::uint64_t a, std::uint64_t b) {
    __extension__ using Wide = unsigned __int128;
    const Wide product = Wide(a) * Wide(b);
    return static_cast<std::uint64_t>(product) ^ static_cast<std::uint64_t>(product >> 64);
}

inline std::uint64_t hashOf(const KeyWords& key, const HashSeed& seed) {
    const std::uint64_t source = foldedProduct(key[0] ^ seed[0], key[1] ^ seed[1]);
    const std::uint64_t group = foldedProduct(key[2] ^ seed[2], key[3] ^ seed[3]);
    return foldedProduct(source ^ key[4], group ^ seed[4]);
}

/// The word `state` of a record.
class RecordState {
  public:
    enum class Kind : std::uint8_t { neverUsed = 0, live = 1, removed = 2 };

    RecordState() = default;
    explicit RecordState(std::uint64_t word) : word_(word) {}

    /// The state of a live record of this content, in the place of one of that state.
    /// @param statusChecksum the checksum of the identifier of the status that holds the record
    static RecordState live(const KeyWords& key, FilterMode mode, RecordState before,
                            std::uint32_t statusChecksum) {
        const RecordState bare(std::uint64_t{static_cast<std::uint16_t>(before.version() + 1)}
                                   << 48 |
                               std::uint64_t{static_cast<std::uint8_t>(Kind::live)} << 40 |
                               std::uint64_t{static_cast<std::uint8_t>(mode)} << 32);
        return RecordState(bare.word_ | bare.liveChecksum(key, statusChecksum));
    }
    /// The state of a place whose record is gone.
    static RecordState removed(RecordState before, std::uint32_t statusChecksum) {
        const RecordState bare(std::uint64_t{before.version()} << 48 |
                               std::uint64_t{static_cast<std::uint8_t>(Kind::removed)} << 40);
        return RecordState(bare.word_ | checksum(statusChecksum, bare.word_));
    }

    std::uint64_t word() const { return word_; }
    Kind kind() const { return static_cast<Kind>(static_cast<std::uint8_t>(word_ >> 40)); }
    FilterMode mode() const {
        return static_cast<FilterMode>(static_cast<std::uint8_t>(word_ >> 32));
    }
    std::uint16_t version() const { return static_cast<std::uint16_t>(word_ >> 48); }

    /// Whether this is the state that belongs to that key.
    bool isLiveOf(const KeyWords& key, std::uint32_t statusChecksum) const {
        constexpr std::uint64_t liveOrMode = 0xfffe'00000000;
        constexpr std::uint64_t live = std::uint64_t{1} << 40;
        return (word_ & liveOrMode) == live && isPossibleKey(key) &&
               RecordState(word_ & ~checksumMask).liveChecksum(key, statusChecksum) ==
                   (word_ & checksumMask);
    }
    /// Whether the place holds no record, and says so without damage.
    bool isFree(std::uint32_t statusChecksum) const {
        return word_ == 0 || word_ == removed(*this, statusChecksum).word_;
    }

    friend bool operator==(RecordState, RecordState) = default;

  private:
    static constexpr std::uint64_t checksumMask = 0xffffffff;

    std::uint32_t liveChecksum(const KeyWords& key, std::uint32_t statusChecksum) const {
        return checksum(statusChecksum, key[0], key[1], key[2], key[3], key[4], word_);
    }

    std::uint64_t word_ = 0;
};

/// Where a record's checksum starts: whatever strays in from another status is no record of this.
inline std::uint32_t statusChecksum(std::uint64_t statusId) {
    return checksum(0xffffffff, statusId);
}

}  // namespace Routing::Gmp::Tessel::Storage
