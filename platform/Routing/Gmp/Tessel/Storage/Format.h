// The layout of a table file: every offset, every field, who writes it and how it is published.
// docs/table-format.md is the same in words, for readers in other languages.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>

/// The storage of the GMP status table: what lies in shared memory, and how it is changed.
///
/// One rule carries everything: each operation takes effect by one store of 8 bytes, and whatever
/// that store makes visible was complete before it. A writer that is killed leaves nothing that
/// must be repaired, and a reader never meets anything that it would have to wait for.
///
/// Another one guards it: a word of zeros is never right where something was written.
namespace Routing::Gmp::Tessel::Storage {

/// The unit of shared memory. All fields that change while readers look are read and written as
/// whole words.
using Word = std::atomic<std::uint64_t>;
static_assert(sizeof(Word) == 8 && Word::is_always_lock_free);

using PageNumber = std::uint32_t;

constexpr std::size_t pageBytes = 4096;

/// A number that no few flipped bits make another one, and that is never 0: bits 32-63 the number,
/// 0-31 its complement.
constexpr std::uint64_t paired(std::uint32_t number) {
    return std::uint64_t{number} << 32 | static_cast<std::uint32_t>(~number);
}
constexpr std::uint32_t numberOf(std::uint64_t pair) {
    return static_cast<std::uint32_t>(pair >> 32);
}
constexpr bool isPaired(std::uint64_t pair) {
    return pair == paired(numberOf(pair));
}

/// The sums over a part of the table's content before and after an operation on it (see Guard). The
/// writer stores `next`, then does the operation, then stores `current`: whenever it is killed,
/// what is there has one of the two sums.
struct GuardPair {
    Word current;
    Word next;
};

// --- the header: page 0; written once, before the file gets its name ---------------------------

constexpr std::uint64_t headerMagic = 0x454c4241'54504d47;  // "GMPTABLE" in memory
constexpr std::uint32_t byteOrderMark = 0x01020304;
constexpr std::uint32_t formatVersion = 3;

struct Header {
    std::uint64_t magic;
    std::uint32_t byteOrder;
    std::uint32_t version;
    std::uint32_t bytesAPage;
    std::uint32_t logEntries;  ///< the number of entries of the change log, a power of two
    std::uint64_t tableId;
    std::uint64_t hashSeed[5];
    std::uint32_t statusPages;  ///< how many pages of status entries there is room for
    std::uint32_t checksum;     ///< CRC-32C of all before it
};
static_assert(sizeof(Header) == 80);

// --- the control page: page 1; changed by the writer ------------------------------------------

struct Control {
    /// The number of changes ever logged.
    alignas(64) Word changes;
    /// How often sleeping readers were woken. Its low half is what they sleep on.
    Word wakes;
    alignas(64) Word statusPages;  ///< paired: how many pages of status entries are in use
    /// Paired: the highest number that a status was ever given. Stored before the status's entry.
    Word lastStatus;
    GuardPair statuses;  ///< over the life and root of every status
};
constexpr PageNumber controlPage = 1;

// --- the change log: a ring, from page 2 on ---------------------------------------------------

enum class ChangeKind : std::uint8_t {
    inserted = 1,
    overwritten = 2,
    removed = 3,
    statusAdded = 4,
    statusRemoved = 5,
    lost = 6,  ///< something may be missing from the log: readers must walk the table again
};

struct LogEntry {
    Word number;  ///< 1 for the first change ever; 0 while the entry is written
    Word statusId;
    Word intf;  ///< as in a record; bits 48-63 the status's place among all entries
    Word source[2];
    Word group[2];
    /// Bits 0-31 the CRC-32C of all before it and of this word with 0 in its place, 32-39 the kind,
    /// 40-47 the filter mode before, 48-55 the filter mode after.
    Word outcome;
};
static_assert(sizeof(LogEntry) == 64);
constexpr PageNumber logPage = 2;
constexpr std::uint32_t logEntriesAPage = pageBytes / sizeof(LogEntry);
constexpr std::uint32_t leastLogEntries = logEntriesAPage;
constexpr std::uint32_t mostLogEntries = std::uint32_t{1} << 24;

// --- status entries: behind the log -----------------------------------------------------------

/// One status. `life` is its identifier while it exists and `noLife` otherwise; everything above
/// `root` is written before `life` is set and stays until the entry is taken for another status.
struct StatusEntry {
    Word life;
    Word id;  ///< paired; never used twice in a table
    /// Bits 0-7 the application, 8-15 the length of the VRF name, 32-63 the CRC-32C of `id`, of
    /// this word with 0 in its place, and of `name`.
    Word description;
    Word name[13];  ///< the bytes of the VRF name, then zeros
    /// Bits 0-31 the page of the status's directory, 32-63 the directory's generation.
    alignas(64) Word root;
    std::uint64_t unused[7];
};
static_assert(sizeof(StatusEntry) == 192);
constexpr std::uint64_t noLife = 0x5a5a5a5a'5a5a5a5a;  ///< far from every paired number
constexpr std::size_t statusEntriesAPage = pageBytes / sizeof(StatusEntry);
constexpr PageNumber maxStatusPages = 512;
constexpr std::size_t maxStatuses = maxStatusPages * statusEntriesAPage;

/// Where the parts of a table are whose log has that many entries.
struct Dimensions {
    std::uint32_t logEntries = 0;

    PageNumber logPages() const { return logEntries / logEntriesAPage; }
    /// The first page of status entries. There is room for `maxStatusPages`; memory for them is
    /// got when they are needed.
    PageNumber statusPage() const { return logPage + logPages(); }
    /// Behind the room for status entries. All pages from there on are for directories and
    /// segments.
    PageNumber firstPages() const { return statusPage() + maxStatusPages; }
};

/// Files grow by this many pages at a time, or by more if one run of pages needs it.
constexpr PageNumber growthPages = 64;
/// So many are free in a new table if there is room for them: the first ten thousand memberships
/// wait for no growth.
constexpr PageNumber startPages = 512;

// --- a directory: which segment holds which hashes --------------------------------------------

constexpr std::uint64_t directoryMagic = 0x32524944'54504d47;  // "GMPTDIR2" in memory
constexpr unsigned maxDirectoryDepth = 24;
constexpr unsigned maxDirectoryLevels = 16;

/// Followed by its nodes, one behind the other, which are never changed once it is published; then,
/// at the next multiple of 16 bytes, by one GuardPair for each segment, which change.
struct DirectoryHeader {
    Word magic;
    Word statusId;
    Word generation;  ///< bits 0-31 the generation, 32-63 the number of nodes
    Word sizes;       ///< bits 0-31 the number of words of all nodes, 32-63 that of segments
    Word checksum;    ///< CRC-32C of the four words before it and of all nodes
    std::uint64_t unused;
};
static_assert(sizeof(DirectoryHeader) == 48);

/// A node is a depth, two seeds, and 2^depth entries. The entry at place `hash >> (64 - depth)` is
/// for the hash; equal entries are neighbours. Node 0 is for the table's own hash, each other one
/// for the hash of its seeds.
constexpr std::size_t nodeHeaderWords = 3;

/// Bits 0-31 a segment's first page, 32-39 its number of pages, 40-62 its number, 63 zero; or bits
/// 0-31 the number of a later node, 63 one and all others zero.
constexpr std::uint64_t nodeEntryBit = std::uint64_t{1} << 63;
constexpr std::uint32_t maxSegments = std::uint32_t{1} << 23;

// --- a segment: tags, then records ------------------------------------------------------------

/// Records are found through their tags, 7 bits each, in groups of two words of tags. Bits 0-6 of a
/// word's bytes 0-6 are tags; all others are a checksum (see sealedTags).
constexpr std::uint32_t wordPlaces = 7;
constexpr std::uint32_t groupPlaces = 2 * wordPlaces;
constexpr std::uint8_t emptyTag = 0;    ///< never used since the segment was made
constexpr std::uint8_t removedTag = 1;  ///< free, but a search must go on behind it
constexpr PageNumber maxSegmentPages = 64;

/// One membership. The five key words are written while `state` says that the record is not live.
struct Record {
    Word source[2];
    Word group[2];
    Word intf;  ///< bits 0-31 the interface, 32-39 the source's family, 40-47 the group's family
    /// Bits 0-31 the CRC-32C, 32-39 the filter mode, 40-47 the kind (0 never used, 1 live,
    /// 2 removed), 48-63 a version that goes up whenever a live record is put here.
    Word state;
};
static_assert(sizeof(Record) == 48);

constexpr std::uint32_t segmentGroups(PageNumber pages) {
    return static_cast<std::uint32_t>((pages * pageBytes - 63) /
                                      (2 * sizeof(Word) + groupPlaces * sizeof(Record)));
}
/// Where the records start: behind the tags, at the next cache line.
constexpr std::size_t recordsOffset(std::uint32_t groups) {
    return (std::size_t{groups} * 2 * sizeof(Word) + 63) / 64 * 64;
}

}  // namespace Routing::Gmp::Tessel::Storage
