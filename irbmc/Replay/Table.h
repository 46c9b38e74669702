#pragma once

#include <filesystem>
#include <vector>

#include "Lumo/Ptr.h"
#include "Replay/Event.h"
#include "Replay/Outcome.h"
#include "Replay/TableChanges.h"
#include "Rix/CorruptionHandler.h"
#include "Routing/Gmp/Tessel/StatusColl.h"

namespace Irbmc::Replay {

/// The GMP status table under replay: the one that the state machine writes, the writing that an
/// earlier run of the agent did, and what changed in it. Owned by the engine; one thread.
class Table {
  public:
    /// @param directory where the table is; if empty, it is private
    /// @param handler   who is told of damaged memberships; outlives the table
    /// @throws what StatusColl::open raises
    Table(const std::filesystem::path& directory, Rix::CorruptionHandler& handler);
    Table(const Table&) = delete;
    Table& operator=(const Table&) = delete;
    ~Table() = default;

    /// What a state machine is to write to.
    const Lumo::Ptr<Routing::Gmp::Tessel::StatusColl>& statusColl() const { return statusColl_; }
    /// Takes the table from whoever was given statusColl() so far: that one is a table of nothing
    /// from now on, and the content goes on in another.
    void handOver();

    /// Writes a membership, into a new status where there is none.
    void set(const TableEntry& entry);
    /// Removes a membership, and nothing else.
    void del(const MembershipPlace& place);
    /// Makes an empty status; does nothing if there is one.
    void statusIs(const StatusPlace& place);

    /// What changed since the last call, as a net effect.
    void changesTo(Outcome& outcome) { changes_.moveTo(outcome); }
    /// Every status, in the order of reports.
    std::vector<StatusContent> content() const;

  private:
    TableChanges changes_;
    Lumo::Ptr<Routing::Gmp::Tessel::StatusColl> statusColl_;
};

}  // namespace Irbmc::Replay
