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
namespace Routing::Gmp::Tessel::Storage {

/// The unit of shared memory. All fields that change while readers look are read and written as
/// whole words.
using Word = std::atomic<std::uint64_t>;
static_assert(sizeof(Word) == 8 && Word::is_always_lock_free);

using PageNumber = std::uint32_t;

constexpr std::size_t pageBytes = 4096;

// --- the header: page 0; written once, before the file gets its name ---------------------------

constexpr std::uint64_t headerMagic = 0x454c4241'54504d47;  // "GMPTABLE" in memory
constexpr std::uint32_t byteOrderMark = 0x01020304;
constexpr std::uint32_t formatVersion = 1;

struct Header {
    std::uint64_t magic;
    std::uint32_t byteOrder;
    std::uint32_t version;
    std::uint32_t bytesAPage;
    std::uint32_t logEntries;
    std::uint64_t tableId;
    std::uint64_t hashSeed[5];
    std::uint32_t zero;
    std::uint32_t checksum;  ///< CRC-32C of all before it
};
static_assert(sizeof(Header) == 80);

// --- the control page: page 1; changed by the writer ------------------------------------------

struct Control {
    /// The number of changes ever logged.
    alignas(64) Word changes;
    /// How often sleeping readers were woken. Its low half is what they sleep on.
    Word wakes;
};
constexpr PageNumber controlPage = 1;

// --- the list of status pages: page 2 ---------------------------------------------------------

/// Each entry is 0, or a page number with its complement in the upper half. Entries are only added.
constexpr PageNumber statusListPage = 2;
constexpr std::size_t maxStatusPages = pageBytes / sizeof(Word);

/// One status. `life` is its identifier while it exists and 0 otherwise; everything above `root` is
/// written before `life` is set and stays until the entry is taken for another status.
struct StatusEntry {
    Word life;
    Word id;  ///< never used twice in a table
    /// Bits 0-7 the application, 8-15 the length of the VRF name, 32-63 the CRC-32C of `id`, of
    /// this word with 0 in its place, and of `name`.
    Word description;
    Word name[13];  ///< the bytes of the VRF name, then zeros
    /// Bits 0-31 the page of the status's directory, 32-63 the directory's generation.
    alignas(64) Word root;
    std::uint64_t unused[7];
};
static_assert(sizeof(StatusEntry) == 192);
constexpr std::size_t statusEntriesAPage = pageBytes / sizeof(StatusEntry);
constexpr std::size_t maxStatuses = maxStatusPages * statusEntriesAPage;

// --- the change log: a ring -------------------------------------------------------------------

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
constexpr std::uint32_t logEntries = 4096;
constexpr PageNumber logPage = 64;
constexpr PageNumber logPages = logEntries * sizeof(LogEntry) / pageBytes;

/// What a new file starts with.
constexpr PageNumber firstPages = logPage + logPages;
/// Files grow by this many pages at a time, or by more if one run of pages needs it.
constexpr PageNumber growthPages = 64;

// --- a directory: which segment holds which hashes; never changed once it is published --------

constexpr std::uint64_t directoryMagic = 0x31524944'54504d47;  // "GMPTDIR1" in memory
constexpr unsigned maxDirectoryDepth = 24;

/// Followed by 2^depth words: bits 0-31 the segment's first page, 32-63 its number of pages.
/// The word at place `hash >> (64 - depth)` is the segment that holds the hash; a segment's words
/// are neighbours.
struct DirectoryHeader {
    Word magic;
    Word statusId;
    Word generation;  ///< bits 0-31 the generation, 32-63 the depth
    Word checksum;    ///< CRC-32C of the three words before it and of all behind it
};
static_assert(sizeof(DirectoryHeader) == 32);

// --- a segment: tags, then records ------------------------------------------------------------

/// Records are found through their tags, one byte each, in groups of 16. A tag is 7 bits and their
/// parity, so that a flipped bit shows.
constexpr std::uint32_t groupPlaces = 16;
constexpr std::uint8_t emptyTag = 0;       ///< never used since the segment was made
constexpr std::uint8_t removedTag = 0x81;  ///< free, but a search must go on behind it
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
                                      (groupPlaces * (1 + sizeof(Record))));
}
/// Where the records start: behind the tags, at the next cache line.
constexpr std::size_t recordsOffset(std::uint32_t groups) {
    return (std::size_t{groups} * groupPlaces + 63) / 64 * 64;
}

}  // namespace Routing::Gmp::Tessel::Storage
