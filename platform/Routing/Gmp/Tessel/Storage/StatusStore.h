#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "Routing/Gmp/Tessel/Membership.h"
#include "Routing/Gmp/Tessel/Storage/Directory.h"
#include "Routing/Gmp/Tessel/Storage/Format.h"
#include "Routing/Gmp/Tessel/Storage/Guard.h"
#include "Routing/Gmp/Tessel/Storage/Segment.h"
#include "Routing/Gmp/Tessel/Storage/StatusIdentity.h"
#include "Routing/Gmp/Tessel/Storage/Table.h"
#include "Routing/Gmp/Tessel/VrfApp.h"

namespace Routing::Gmp::Tessel::Storage {

/// The writer's side of one status in shared memory: its memberships, hashed into segments.
///
/// Made by the table that owns it, when the status is added or the table is opened; destroyed when
/// the status is removed or the table closed. Belongs to the writer's thread. What leads to the
/// segments is kept here, and not read from shared memory again: damage to it leads no write
/// astray, and is written right when it is met.
class StatusStore {
  public:
    /// A status that exists already.
    /// @throws Rix::CorruptionError if its directory is damaged; the message says how
    StatusStore(Table& table, std::uint16_t place, const StatusIdentity& identity,
                std::uint64_t root);
    /// A new status: one empty segment, and a root that leads to it, which is for the table to
    /// publish, like the status's identity.
    /// @throws std::system_error if memory is full
    StatusStore(Table& table, std::uint16_t place, const StatusIdentity& identity);

    const VrfApp& key() const { return identity_.key; }
    std::uint64_t id() const { return identity_.id; }
    const StatusIdentity& identity() const { return identity_; }
    std::uint16_t place() const { return place_; }
    std::uint64_t root() const { return root_; }
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
    /// Appends to `into` what one segment holds: the one of that position. What is damaged is
    /// reported and cleared away.
    /// @returns the position behind the segment
    Directory::Position segmentMemberships(const Directory::Position& position,
                                           std::vector<Membership>& into);

    /// Every run of pages that the status uses.
    std::vector<Directory::Extent> extents() const;
    /// Whether each of its segments begins as one of this status does: if another status uses the
    /// page by now, it does not.
    bool holdsItsSegments() const;
    /// Whether it was made later than another one, or, if that has the same identifier, changed
    /// later.
    bool isNewerThan(const StatusStore& other) const;

  private:
    /// A segment, and the writer's book about it, which is begun when it is first needed: a table
    /// is open before its memberships were looked at.
    struct OpenSegment {
        Directory::Extent extent;
        std::uint32_t node = 0;  ///< whose hash it is for
        Segment view;
        bool isKnown = false;  ///< whether the two counts are
        std::uint32_t live = 0;
        std::uint32_t used = 0;  ///< live, or removed but still in the way
        GuardReading guard;      ///< as it is in shared memory; both words are the same once known

        void guardIs(Guard both) { guard = {both, both}; }
    };
    /// Where a key is or could be.
    struct Search {
        std::uint64_t hash;  ///< the key's in the segment's node
        OpenSegment* segment;
        SearchResult result;

        bool isFound() const { return result.kind == SearchResult::Kind::live; }
        /// Those of the group that it is in.
        GroupTags tags() const { return segment->view.tags(result.place / groupPlaces); }
    };
    Directory::Spot locate(const KeyWords& key) const {
        return directory_.locate(key, hashOf(key, table_.hashSeed()));
    }
    /// Searches a known segment, once damage on the way is cleared away.
    Search search(const KeyWords& key);

    void insert(Search& at, const KeyWords& key, FilterMode mode);
    void put(OpenSegment& segment, std::uint32_t place, const KeyWords& key, std::uint64_t hash,
             FilterMode mode);
    void overwrite(const Search& at, const KeyWords& key, FilterMode mode);
    void announce(ChangeKind kind, const KeyWords& key, FilterMode before, FilterMode after);

    /// Does an operation that changes a segment's content.
    /// @param without what it takes from the sum over the segment, and `with` what it adds
    template <class Operation>
    void change(OpenSegment& segment, std::uint32_t without, std::uint32_t with,
                Operation operation) {
        const Guard after = segment.guard.current.after(without, with);
        segment.guardIs(after);
        guarded(guardPair(segment), after, operation);
    }
    OpenSegment openSegment(Directory::Extent extent, std::uint32_t node) const;
    /// Where the guards are now: behind the directory, which was stored or read.
    void guardsAreInDirectory() {
        guards_ = reinterpret_cast<GuardPair*>(table_.file().page(directoryPage()) +
                                               directory_.guardsOffset());
    }
    GuardPair& guardPair(const OpenSegment& segment) const {
        return guards_[&segment - segments_.data()];
    }
    PageNumber directoryPage() const { return static_cast<PageNumber>(root_); }
    // Damage: StatusAudit.cpp.

    OpenSegment& known(OpenSegment& segment) {
        if (!segment.isKnown && !read(segment, [](const FoundRecord&) {})) audit(segment);
        return segment;
    }
    /// Calls `visit` for each live record of a segment, and begins its book if it has none.
    /// @returns whether the segment is as it was written; if not, there may be others than those
    template <class Visit>
    bool read(OpenSegment& segment, Visit visit);
    /// Looks at all of a segment, repairs or clears away what is damaged, and begins its book anew.
    void audit(OpenSegment& segment);
    struct Audit;
    void auditWord(OpenSegment& segment, std::uint32_t number, Audit& audit) const;
    void auditPlace(OpenSegment& segment, std::uint32_t place, bool isTagSound, Audit& audit) const;
    void settle(OpenSegment& segment, Audit& audit) const;
    void restore(OpenSegment& segment, Audit& audit) const;
    /// Writes the directory and its guards again if somebody else changed them.
    void mendDirectory();
    std::string statusText() const;
    std::string segmentText(const OpenSegment& segment) const;
    std::string placeText(const OpenSegment& segment, std::uint32_t place) const;

    // Growth: StatusGrowth.cpp.

    struct Plan;
    /// Makes room in a segment that is full of live or removed records.
    /// @param isCrowded whether it is full around that hash only
    void makeRoom(const Directory::Spot& spot, bool isCrowded);
    Plan plan(const Directory::Spot& spot) const;
    Plan planBelow(const Directory::Spot& spot) const;
    /// @returns false if the plan would divide nothing; nothing is changed then
    bool carryOut(Plan& plan);
    void storeGuards() const;
    /// Copies what is live to the segment that it belongs to.
    /// @returns whether all was there that should be
    bool move(const OpenSegment& from, const Plan& plan, OpenSegment& low, OpenSegment& high) const;

    Table& table_;
    const std::uint16_t place_;
    const StatusIdentity identity_;
    const std::uint32_t checksum_;
    std::uint64_t root_ = 0;

    Directory directory_;
    GuardPair* guards_ = nullptr;        ///< by the same numbers
    std::vector<OpenSegment> segments_;  ///< by their numbers in the directory
};

template <class Visit>
bool StatusStore::read(OpenSegment& segment, Visit visit) {
    const Segment view = segment.view;
    std::uint32_t sum = view.salt();
    std::uint32_t live = 0;
    std::uint32_t used = 0;
    for (std::uint32_t group = 0; group < view.groups(); ++group) {
        const GroupTags tags = view.tags(group);
        if (!tags.isSound()) return false;
        used += groupPlaces - tags.empty().count();
        for (auto places = tags.used(); places.any(); places.dropFirst()) {
            const std::uint32_t place = group * groupPlaces + places.first();
            const FoundRecord found = readRecord(view, place, checksum_);
            if (found.kind != FoundRecord::Kind::live) return false;
            visit(found);
            sum += Guard::shareOf(found.state, tags.tag(places.first()));
            ++live;
        }
    }
    // Another writer may have been killed in the middle of an operation.
    const GuardReading& guard = segment.guard;
    if (sum != guard.current.sum() || !(guard.current == guard.next)) return false;
    segment.isKnown = true;
    segment.live = live;
    segment.used = used;
    return true;
}

}  // namespace Routing::Gmp::Tessel::Storage
