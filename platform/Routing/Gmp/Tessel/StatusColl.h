#pragma once

#include <cstddef>
#include <filesystem>
#include <functional>
#include <iterator>
#include <memory>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "Lumo/Object.h"
#include "Lumo/Ptr.h"
#include "Rix/Export.h"
#include "Routing/Gmp/Tessel/MembershipChange.h"
#include "Routing/Gmp/Tessel/Status.h"
#include "Routing/Gmp/Tessel/TableAccess.h"
#include "Routing/Gmp/Tessel/TableOptions.h"
#include "Routing/Gmp/Tessel/VrfApp.h"

namespace Routing::Gmp::Tessel {

/// The GMP status table: which memberships each application holds in each VRF; the writer's side.
///
/// The table is a directory that outlives its writer. There is one writer at a time; any number of
/// other processes read it meanwhile (TableReader), see each change as soon as it is made, and
/// neither wait for the writer nor are waited for. A writer may be killed at any instruction:
/// whatever was finished is there for the next one. A collection that was not opened over a
/// directory is private to its process, and goes with it.
///
/// Made by open() or anonymous(), and kept by whoever writes the table. It owns the storage.
/// Belongs to the thread of that writer's event loop, and to its process: in a child that inherits
/// it by fork(2), as daemon(3) does, every operation on it or on its statuses raises a
/// std::logic_error, and its destruction touches nothing. Fork first, then open the table.
///
/// An operation on a table whose file was cut short raises a std::system_error, from the one on
/// that met it. A write to a table whose directory or file was removed or replaced raises a
/// TableGoneError, half a second or eight writes later at the latest: others read and write what is
/// there now. The collection is of no use then; let it go, and open the directory anew.
class RIX_EXPORT StatusColl final : public Lumo::Object<StatusColl> {
  public:
    class Walk;

    static const Lumo::TypeData& type();

    /// The table in a directory; both are made if they are missing. The files get the modes and
    /// the group of the access, and so does a directory that is made; one that is there keeps its
    /// own. The directory and all in it must belong to root or to this process's user, and nobody
    /// else may write them.
    /// @throws std::system_error if the operating system refuses, if somebody else could change the
    ///         files, or if another writer has the table open
    ///         (std::errc::device_or_resource_busy); the message names the path
    /// @throws std::invalid_argument if more may wait than may read
    /// @throws Rix::CorruptionError if the file there is not a GMP status table, is one of a later
    ///         version, or has a damaged header; the message names the file, and nothing is
    ///         written to it
    /// @throws Rix::RangeError if an option is not allowed
    /// A table of an earlier version is replaced by an empty one. Statuses and memberships that are
    /// damaged are lost, and the corruption handler hears of them as soon as there is one.
    static Lumo::Ptr<StatusColl> open(const std::filesystem::path& directory,
                                      const TableAccess& access = {},
                                      const TableOptions& options = {});
    /// An empty table, private to this process.
    static Lumo::Ptr<StatusColl> anonymous();

    ~StatusColl() override;

    /// The status of that key, or null.
    Lumo::Ptr<Status> gmpStatus(const VrfApp& key) const;
    /// Puts a status that no collection holds under a key. It starts empty; a status that was there
    /// is removed first. The same status again changes nothing.
    /// @throws Rix::NullArgumentError if there is none
    /// @throws std::invalid_argument if it is stored elsewhere already
    /// @throws std::system_error if memory is full; nothing is changed then
    void gmpStatusIs(const VrfApp& key, const Lumo::Ptr<Status>& status);
    /// Removes a status with all its memberships; nothing if there is none of that key.
    void gmpStatusDel(const VrfApp& key);
    /// How many statuses there are.
    std::size_t gmpStatuses() const { return statuses_.size(); }

    /// Every status with its key: `for (const auto& [key, status] : coll)`. Statuses may come and
    /// go meanwhile, the current one included: one that went is not met, one that came may be
    /// missed.
    Walk begin() const;
    std::default_sentinel_t end() const { return {}; }

    /// Whom to tell of damage in the shared memory; replaces any earlier one. It hears at once what
    /// was found while there was none. Later it is called from inside the operation that met the
    /// damage. It must not change this collection.
    void corruptionHandlerIs(std::function<void(std::string_view message)> handler);
    /// Whom to tell of every membership that comes, changes or goes, after it did; also of those
    /// that go with their status. Replaces any earlier one.
    void membershipObserverIs(std::function<void(const MembershipChange&)> observer);

    /// Whether the directory and its files are still what others find under their names. Every
    /// write asks that by itself, at most twice a second; this is for the timer of an agent that
    /// has nothing to write.
    /// @throws what a write raises then, see above
    void checkFiles() const;

    /// Moves the whole storage (its files, the writer's lock, the statuses, the handler and the
    /// observer) to a new collection. This one is from then on an empty anonymous table of its own.
    Lumo::Ptr<StatusColl> handOver();

  private:
    friend class TableReader;

    explicit StatusColl(std::unique_ptr<Storage::Table> table);
    static Lumo::Ptr<StatusColl> over(std::unique_ptr<Storage::Table> table);

    std::unique_ptr<Storage::Table> table_;
    std::unordered_map<VrfApp, Lumo::Ptr<Status>> statuses_;
};

/// Where a walk over a collection's statuses is. Keeps the statuses alive; valid while the
/// collection is.
class StatusColl::Walk {
  public:
    using Entry = std::pair<VrfApp, Lumo::Ptr<Status>>;
    using iterator_concept = std::input_iterator_tag;
    using iterator_category = std::input_iterator_tag;
    using value_type = Entry;
    using difference_type = std::ptrdiff_t;
    using pointer = const Entry*;
    using reference = const Entry&;

    /// @param entries what the collection holds, in its own order
    Walk(const StatusColl& coll, std::vector<Entry> entries);

    reference operator*() const { return entries_[next_]; }
    pointer operator->() const { return &entries_[next_]; }
    Walk& operator++() {
        ++next_;
        skipGone();
        return *this;
    }
    void operator++(int) { ++*this; }

    friend bool operator==(const Walk& walk, std::default_sentinel_t) {
        return walk.next_ == walk.entries_.size();
    }

  private:
    void skipGone();

    const StatusColl* coll_;
    std::vector<Entry> entries_;
    std::size_t next_ = 0;
};

}  // namespace Routing::Gmp::Tessel
