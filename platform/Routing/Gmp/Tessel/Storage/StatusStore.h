#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "Routing/Gmp/Tessel/Membership.h"
#include "Routing/Gmp/Tessel/Storage/Directory.h"
#include "Routing/Gmp/Tessel/Storage/Format.h"
#include "Routing/Gmp/Tessel/Storage/Segment.h"
#include "Routing/Gmp/Tessel/Storage/Table.h"
#include "Routing/Gmp/Tessel/VrfApp.h"

namespace Routing::Gmp::Tessel::Storage {

/// The writer's side of one status in shared memory: its memberships, hashed into segments.
///
/// Made by the table that owns it, when the status is added or the table is opened; destroyed when
/// the status is removed or the table closed. Belongs to the writer's thread. The directory here is
/// the writer's own copy, so that damage to the shared one leads no write astray.
class StatusStore {
  public:
    /// A status that exists already.
    /// @throws Rix::CorruptionError if its directory is damaged
    StatusStore(Table& table, std::uint16_t place);
    /// A new status: gets the entry's root and one empty segment. The entry's `life` is for the
    /// table to set.
    /// @throws std::system_error if memory is full
    StatusStore(Table& table, std::uint16_t place, const VrfApp& key, std::uint64_t id);

    const VrfApp& key() const { return key_; }
    std::uint64_t id() const { return id_; }
    std::uint16_t place() const { return place_; }
    /// The number of memberships. The first call after the table was opened counts them.
    std::size_t count();

    /// The filter mode of the membership, or nothing if there is none.
    /// @throws Rix::CorruptionError if it may be there, but is damaged
    std::optional<FilterMode> filterMode(const RouteIntfKey& key) const;
    /// Inserts or overwrites. Damage met on the way is reported and cleared away.
    /// @throws Rix::RangeError if the interface is no VLAN interface
    /// @throws std::system_error if memory is full
    void membershipIs(const Membership& membership);
    /// Removes, if it is there. Damage met on the way is reported and cleared away.
    void membershipDel(const RouteIntfKey& key);

    /// Appends to `into` all memberships.
    void memberships(std::vector<Membership>& into);
    /// Appends to `into` what one segment holds: the one that the hash belongs to. Damaged records
    /// are reported and cleared away.
    /// @returns the first hash behind the segment's; 0 behind the last
    std::uint64_t segmentMemberships(std::uint64_t firstHash, std::vector<Membership>& into);

    /// Every run of pages that the status uses.
    std::vector<Directory::Extent> extents() const;

  private:
    /// A segment, and the writer's book about it, which is begun when it is first needed: a table
    /// is open before its memberships were looked at.
    struct OpenSegment {
        Directory::Extent extent;
        Segment view;
        bool isCounted = false;
        std::uint32_t live = 0;
        std::uint32_t used = 0;  ///< live, or removed but still in the way
    };
    StatusEntry& entry() const { return table_.statusEntry(place_); }
    const OpenSegment& segmentOf(std::uint64_t hash) const {
        return segments_[index_[directory_.index(hash)]];
    }
    OpenSegment& segmentOf(std::uint64_t hash) { return segments_[index_[directory_.index(hash)]]; }
    SearchResult search(const KeyWords& key, std::uint64_t hash) const {
        return searchSegment(segmentOf(hash).view, key, hash, checksum_);
    }
    /// The same, once damage on the way is cleared away.
    SearchResult soundSearch(const KeyWords& key, std::uint64_t hash);

    void insert(OpenSegment& segment, const KeyWords& key, std::uint64_t hash, FilterMode mode);
    void clear(OpenSegment& segment, std::uint32_t place, RecordState state);
    void announce(ChangeKind kind, const KeyWords& key, FilterMode before, FilterMode after);

    OpenSegment openSegment(Directory::Extent extent) const;
    void recount(OpenSegment& segment) const;
    OpenSegment& counted(OpenSegment& segment) const {
        if (!segment.isCounted) recount(segment);
        return segment;
    }
    /// Repairs or clears away what is damaged in a group. Nothing of it is damaged afterwards.
    void repairGroup(OpenSegment& segment, std::uint32_t group);
    void repairTag(OpenSegment& segment, std::uint32_t place);
    void lose(OpenSegment& segment, std::uint32_t place);
    std::string placeText(const OpenSegment& segment, std::uint32_t place) const;

    /// Makes room in the segment of the hash, which is full of live or removed records.
    void makeRoom(std::uint64_t hash);
    struct Plan;
    Plan plan(std::uint64_t hash) const;
    void carryOut(Plan& plan);
    /// Copies what is live to the segment that its hash belongs to.
    void move(OpenSegment& from, std::uint64_t boundary, const Segment& low, const Segment& high);

    Table& table_;
    const std::uint16_t place_;
    VrfApp key_;
    std::uint64_t id_ = 0;
    std::uint32_t checksum_ = 0;

    Directory directory_;
    PageNumber directoryPage_ = 0;
    std::vector<OpenSegment> segments_;
    std::vector<std::uint32_t> index_;  ///< the directory's entries, as places in segments_
};

}  // namespace Routing::Gmp::Tessel::Storage
