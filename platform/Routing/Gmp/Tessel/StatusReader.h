#pragma once

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include "Rix/Export.h"
#include "Routing/Gmp/Tessel/MembershipReading.h"
#include "Routing/Gmp/Tessel/VrfApp.h"

namespace Routing::Gmp::Tessel {

namespace Storage {
class StatusView;
}  // namespace Storage

/// The memberships of one status, as another process sees them while the writer changes them.
///
/// Given out by a TableReader, which it may outlive. Holds a copy of the status's small directory
/// and reads everything else from the shared memory, never waiting for the writer. A plain value;
/// each belongs to one thread.
class RIX_EXPORT StatusReader {
  public:
    class Walk;

    const VrfApp& key() const;
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

    StatusReader(const StatusReader& other);
    StatusReader(StatusReader&&) noexcept;
    StatusReader& operator=(const StatusReader& other);
    StatusReader& operator=(StatusReader&&) noexcept;
    ~StatusReader();

  private:
    friend class TableReader;

    explicit StatusReader(std::unique_ptr<Storage::StatusView> view);

    std::unique_ptr<Storage::StatusView> view_;
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

    reference operator*() const { return met_[next_]; }
    pointer operator->() const { return &met_[next_]; }
    Walk& operator++() {
        if (++next_ == met_.size()) fill();
        return *this;
    }
    void operator++(int) { ++*this; }

    friend bool operator==(const Walk& walk, std::default_sentinel_t) {
        return walk.next_ == walk.met_.size();
    }

  private:
    void fill();

    StatusReader* status_;
    std::vector<std::uint64_t> position_{0};  ///< of the next segment; empty behind the last
    std::vector<Membership> met_;             ///< what one segment held
    std::size_t next_ = 0;
};

}  // namespace Routing::Gmp::Tessel
