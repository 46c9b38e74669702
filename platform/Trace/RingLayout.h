// The layout of a trace ring, in memory and in a file: a header, a table of trace sites, and slots
// of equal size that records fill in turn, the newest in place of the oldest.
//
//   0                 RingHeader
//   ringSitesOffset   the site table: entries one behind the other, RingHeader::sitesUsed bytes
//   ringSlotsOffset   slotCount slots of ringSlotBytes
//
// Numbers are in the writer's byte order. Writers share the ring without waiting for each other: a
// record's slot is reserved by counting RingHeader::written up, and then filled word by word. What
// makes a slot a record is its checksum alone: a record that its writer could not finish, that
// another overtook by a whole round, or that was damaged since, does not have the right one.
#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "Rix/Hash.h"

namespace Trace {

inline constexpr std::array<char, 8> ringMagic{'I', 'R', 'B', 'T', 'R', 'A', 'C', 'E'};
inline constexpr std::uint32_t ringVersion = 1;
inline constexpr std::uint32_t ringByteOrder = 0x01020304;
inline constexpr std::uint64_t ringSitesOffset = 4096;
inline constexpr std::uint64_t ringSitesBytes = std::uint64_t{256} * 1024;
inline constexpr std::uint64_t ringSlotsOffset = ringSitesOffset + ringSitesBytes;
inline constexpr std::size_t ringSlotBytes = 256;
inline constexpr std::size_t ringSlotWords = ringSlotBytes / 8;
inline constexpr std::uint32_t ringDefaultSlots = 4096;
inline constexpr std::uint32_t ringMaxSlots = 1u << 22;

/// Written once, when the ring is made, before anybody can see it.
struct RingIdentity {
    std::array<char, 8> magic;
    std::uint32_t version;
    std::uint32_t byteOrder;
    /// A power of two.
    std::uint32_t slotCount;
    std::uint32_t processId;
    /// Nanoseconds since the epoch.
    std::int64_t startedNs;
    /// Of the words before it, see ringChecksum.
    std::uint64_t checksum;
};

/// The first page. The counters are each on a cache line of their own.
struct RingHeader {  // NOLINT(clang-analyzer-optin.performance.Padding)
    RingIdentity identity{};
    /// How many records were ever reserved; record number N (from 1) is in slot (N - 1) %
    /// slotCount.
    alignas(64) std::atomic<std::uint64_t> written;
    /// How many bytes of the site table hold entries. Counted up when an entry is complete.
    alignas(64) std::atomic<std::uint64_t> sitesUsed;
};

/// What an entry of the site table begins with; behind it the kinds of the values (ValueKind, a
/// byte each), the handle's name, the function and the format, as long as it says. A record names
/// its site by number: everything about a message that is the same each time is here.
struct RingSiteHead {
    /// Of the entry's bytes behind this field.
    std::uint64_t checksum;
    /// Of the whole entry, this head included.
    std::uint32_t entryBytes;
    std::uint32_t site;
    std::uint16_t kindsBytes;
    std::uint16_t handleBytes;
    std::uint16_t functionBytes;
    std::uint16_t formatBytes;
    std::uint8_t level;
    std::array<std::uint8_t, 7> reserved;
};

/// What a record is of. 0 is none of them: a slot that was never written is all zero.
enum class RecordType : std::uint8_t { message = 1, blockBegin = 2, blockEnd = 3 };

/// What a slot begins with; behind it `payloadBytes` bytes of values, filled up with zeros to whole
/// words. A value that did not fit ends with the payload, and those behind it were left out.
/// A block's end has one value, its duration in nanoseconds (unsigned64).
struct RingRecordHead {
    /// Of the words behind this field, the payload's included.
    std::uint64_t checksum;
    /// From 1.
    std::uint64_t number;
    /// Nanoseconds since the epoch.
    std::int64_t timeNs;
    std::uint32_t site;
    /// The process's threads in the order in which they first traced, from 1.
    std::uint16_t thread;
    RecordType type;
    std::uint8_t payloadBytes;
};

inline constexpr std::size_t ringHeadWords = sizeof(RingRecordHead) / 8;
inline constexpr std::size_t ringPayloadBytes = ringSlotBytes - sizeof(RingRecordHead);

static_assert(sizeof(RingIdentity) == 40 && std::is_trivially_copyable_v<RingIdentity>);
static_assert(sizeof(RingHeader) == 192 && offsetof(RingHeader, sitesUsed) == 128);
static_assert(sizeof(RingSiteHead) == 32 && std::is_trivially_copyable_v<RingSiteHead>);
static_assert(sizeof(RingRecordHead) == 32 && std::is_trivially_copyable_v<RingRecordHead>);
static_assert(ringPayloadBytes <= 255 && ringSlotsOffset % 4096 == 0);
static_assert(std::atomic<std::uint64_t>::is_always_lock_free &&
              sizeof(std::atomic<std::uint64_t>) == 8);

/// The checksum of `count` words: Rix::hashWord folded over them, beginning with their number.
inline std::uint64_t ringChecksum(const std::uint64_t* words, std::size_t count) noexcept {
    std::uint64_t sum = count;
    for (std::size_t i = 0; i < count; ++i)
        sum = Rix::hashWord(sum, words[i]);
    return sum;
}

}  // namespace Trace
