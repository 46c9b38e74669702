#pragma once

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <string>
#include <string_view>
#include <vector>

#include "Lumo/Object.h"
#include "Lumo/Ptr.h"
#include "Rix/Export.h"
#include "Routing/Gmp/Tessel/Membership.h"
#include "Routing/Gmp/Tessel/RouteIntfKey.h"

namespace Routing::Gmp::Tessel {

namespace Storage {
class StatusStore;
class Table;
}  // namespace Storage

/// The GMP memberships that one application holds in one VRF; the writer's side.
///
/// An object of its own until StatusColl::gmpStatusIs puts it under a key; from then on its
/// memberships are in the collection's storage, where other processes see each change at once. When
/// the collection removes it, is destroyed, or hands its storage over, the object is by itself
/// again, and whatever still refers to it reaches no storage any more. By itself it holds nothing.
/// Belongs to the thread of the event loop on which its collection is written.
class RIX_EXPORT Status final : public Lumo::Object<Status> {
  public:
    class Walk;

    static const Lumo::TypeData& type();

    explicit Status(std::string name) : name_(std::move(name)) {}
    ~Status() override = default;

    /// What the status is called in traces: "<VRF name>.<application>".
    const std::string& name() const { return name_; }
    /// Whether a collection holds it.
    bool isStored() const { return store_ != nullptr; }

    /// Puts a membership in place, over any of the same key.
    /// @throws Rix::RangeError if its interface is not a VLAN interface
    /// @throws std::system_error if memory is full, or as StatusColl says; the message names the
    ///         path
    /// @throws std::logic_error if no collection holds the status
    /// Nothing is changed in each of these cases.
    void membershipIs(const Membership& membership);
    /// Removes a membership; nothing if there is none of that key.
    void membershipDel(const RouteIntfKey& key);
    /// The membership of that key, or the default record.
    /// @throws Rix::CorruptionError if it may be there but is damaged; the message names the status
    ///         and the slot. Writing to the key clears the damage away.
    Membership membership(const RouteIntfKey& key) const;
    /// How many memberships there are, damaged ones included until they are met.
    std::size_t memberships() const;

    /// Every membership, in the table's own order: `for (const Membership& m : status)`. Entries
    /// may come and go meanwhile, the current one included: each that is there all along is met
    /// once, with the content it has by then; one that came meanwhile may be met. A damaged entry
    /// is reported to the corruption handler, cleared away and left out.
    Walk begin() const;
    std::default_sentinel_t end() const { return {}; }

    /// Hands a corruption report to the collection's corruption handler; nothing without one.
    void handleCorruption(std::string_view message) const;

  private:
    friend class StatusColl;

    void storeIs(Storage::Table* table, Storage::StatusStore* store) {
        table_ = table;
        store_ = store;
        ++changes_;
    }

    const std::string name_;
    Storage::Table* table_ = nullptr;
    Storage::StatusStore* store_ = nullptr;
    /// Goes up with every write, and when the status comes or goes: walks look at it.
    std::uint64_t changes_ = 0;
};

/// Where a walk over a status's memberships is. Keeps the status alive; the walk ends when the
/// status leaves its collection. Belongs to the status's thread.
class Status::Walk {
  public:
    using iterator_concept = std::input_iterator_tag;
    using iterator_category = std::input_iterator_tag;
    using value_type = Membership;
    using difference_type = std::ptrdiff_t;
    using pointer = const Membership*;
    using reference = const Membership&;

    explicit Walk(Lumo::Ptr<const Status> status);

    reference operator*() const { return met_[next_ - 1]; }
    pointer operator->() const { return &met_[next_ - 1]; }
    Walk& operator++() {
        if (next_ < met_.size() && status_->changes_ == changes_) {
            ++next_;
        } else {
            advance();
        }
        return *this;
    }
    void operator++(int) { ++*this; }

    friend bool operator==(const Walk& walk, std::default_sentinel_t) { return walk.isOver_; }

  private:
    void advance();
    bool fill();
    bool isStillThere(Membership& membership) const;

    Lumo::Ptr<const Status> status_;
    std::uint64_t id_;                        ///< of the storage that is walked
    std::uint64_t changes_ = 0;               ///< of the status, when `met_` was filled
    std::vector<std::uint64_t> position_{0};  ///< of the next segment; empty behind the last
    bool isOver_ = false;
    std::vector<Membership> met_;  ///< what one segment held
    std::size_t next_ = 0;
};

}  // namespace Routing::Gmp::Tessel
