#pragma once

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include "Routing/Gmp/Tessel/MembershipReading.h"
#include "Routing/Gmp/Tessel/Storage/Directory.h"
#include "Routing/Gmp/Tessel/Storage/Record.h"
#include "Routing/Gmp/Tessel/Storage/TableFile.h"
#include "Routing/Gmp/Tessel/VrfApp.h"

namespace Routing::Gmp::Tessel {

/// The memberships of one status, as another process sees them while the writer changes them.
///
/// Given out by a TableReader, which it may outlive. Holds a copy of the status's small directory
/// and reads everything else from the shared memory, never waiting for the writer. A plain value;
/// each belongs to one thread.
class StatusReader {
  public:
    class Walk;

    const VrfApp& key() const { return key_; }
    /// Whether the writer removed the status since. It reads as empty then, for good: a status that
    /// is added under the same key again is another one.
    bool isGone() const;

    /// The membership of that key, as it was at one moment within this call.
    MembershipReading membership(const RouteIntfKey& key);

    /// Every membership: `for (const Membership& m : reader)`. Each that is there all along is met
    /// once, whole, as it was at some moment meanwhile; one that comes, goes or changes meanwhile
    /// is met as before or as after, or not at all if it was not always there. Damaged ones are
    /// left out and added to damage().
    Walk begin();
    std::default_sentinel_t end() const { return {}; }

    /// What the walks over this reader found damaged so far, with the file, the status and the
    /// slot.
    const std::vector<std::string>& damage() const { return damage_; }

    /// What is wrong with the status, one text a fault, checked more closely than reading does.
    std::vector<std::string> faults();

  private:
    friend class TableReader;

    StatusReader(std::shared_ptr<const Storage::TableFile> file, const Storage::HashSeed& hashSeed,
                 const Storage::StatusEntry& entry, VrfApp key, std::uint64_t id);

    /// Brings the directory up to date. False if the status is gone or its directory damaged; the
    /// text then says how, and is empty for a status that is gone.
    bool refresh(std::string& problem);
    bool isCurrent() const;
    std::string text(std::string_view problem) const;
    std::string slotText(Storage::Directory::Extent extent, std::uint32_t place) const;

    /// What one segment held at one moment.
    struct SegmentReading {
        std::vector<Membership> memberships;
        std::vector<std::string> damage;
        std::uint64_t nextHash = 0;  ///< the first hash behind the segment's; 0 behind the last
    };
    /// False if the status is gone or its directory damaged; the reading's damage then says how.
    bool readSegment(std::uint64_t firstHash, SegmentReading& reading);
    void readGroups(std::uint32_t index, SegmentReading& reading) const;
    void checkGroups(std::uint32_t index, std::vector<std::string>& faults) const;

    std::shared_ptr<const Storage::TableFile> file_;
    Storage::HashSeed hashSeed_;
    const Storage::StatusEntry* entry_;
    VrfApp key_;
    std::uint64_t id_;
    std::uint32_t checksum_;
    std::uint64_t root_ = 0;  ///< the root that the directory was read from; 0 for none yet
    Storage::Directory directory_;
    std::vector<std::string> damage_;
};

/// Where a walk over a status is. Valid while its reader is.
class StatusReader::Walk {
  public:
    using iterator_concept = std::input_iterator_tag;
    using iterator_category = std::input_iterator_tag;
    using value_type = Membership;
    using difference_type = std::ptrdiff_t;
    using pointer = const Membership*;
    using reference = const Membership&;

    explicit Walk(StatusReader& status);

    reference operator*() const { return met_.memberships[next_]; }
    pointer operator->() const { return &met_.memberships[next_]; }
    Walk& operator++() {
        if (++next_ == met_.memberships.size()) fill();
        return *this;
    }
    void operator++(int) { ++*this; }

    friend bool operator==(const Walk& walk, std::default_sentinel_t) {
        return walk.next_ == walk.met_.memberships.size();
    }

  private:
    void fill();

    StatusReader* status_;
    SegmentReading met_;
    std::size_t next_ = 0;
    bool isLast_ = false;
};

}  // namespace Routing::Gmp::Tessel
