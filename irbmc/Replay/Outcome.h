// What the engine reports: the outcome of one event, and the table as it stands.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "Replay/Event.h"

namespace Irbmc::Replay {

/// One record that the state machine wrote to its trace handle.
struct TraceLine {
    unsigned level = 0;
    std::string function;
    std::string text;
    bool operator==(const TraceLine&) const = default;
};

/// How an `expect` compares with the table. Met when both lists are empty.
struct Expectation {
    std::vector<TableEntry> missing;
    std::vector<TableEntry> unexpected;

    bool isMet() const { return missing.empty() && unexpected.empty(); }
};

/// What one event led to. The lists of memberships give the event's net effect on the table, each
/// in the order of `tableOrder`; the rest is in the order in which it happened.
struct Outcome {
    std::vector<TableEntry> added;
    /// As they are now: only the mode of a membership can change.
    std::vector<TableEntry> changed;
    std::vector<TableEntry> removed;
    /// What the corruption handlers were told.
    std::vector<std::string> corruptions;
    std::vector<TraceLine> trace;
    /// Why the system refused the event, or what was left of it; empty if it did not.
    std::string error;
    /// Why the computer failed at it (a full disk, no memory), whatever the event was; empty if it
    /// did not. What comes after is not to be trusted any more.
    std::string failure;
    /// For an `expect` alone.
    std::optional<Expectation> expectation;
};

/// One status of the table with its memberships, in the order of `tableOrder`.
struct StatusContent {
    std::string name;
    StatusPlace status;
    std::vector<TableEntry> memberships;
};

/// The order of reports: VRF name by its bytes, application, VLAN number, group, source.
bool placeOrder(const MembershipPlace& left, const MembershipPlace& right);
/// The same, and among equals by mode.
bool tableOrder(const TableEntry& left, const TableEntry& right);
/// The order of statuses in reports: VRF name by its bytes, application.
bool statusOrder(const StatusPlace& left, const StatusPlace& right);

}  // namespace Irbmc::Replay
