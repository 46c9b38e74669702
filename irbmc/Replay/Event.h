// The events of a recording: one type an op, named after it, with the op's fields.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "Replay/EventFields.h"

namespace Irbmc::Replay {

// The state machine's life.
struct Toggle {
    std::string name;
    bool on = false;
    bool operator==(const Toggle&) const = default;
};
struct Start {
    std::uint8_t domain = 1;
    std::uint8_t app = 1;
    std::string name = "default";
    std::vector<Input> without;
    bool operator==(const Start&) const = default;
};
struct Stop {
    bool operator==(const Stop&) const = default;
};
struct Abandon {
    bool operator==(const Abandon&) const = default;
};
struct Reap {
    bool operator==(const Reap&) const = default;
};
struct Notifications {
    bool on = false;
    bool operator==(const Notifications&) const = default;
};

// The joins.
struct VlanSet {
    VlanNumber vlan = 0;
    std::vector<GroupJoin> groups;
    bool operator==(const VlanSet&) const = default;
};
struct VlanDel {
    VlanNumber vlan = 0;
    bool operator==(const VlanDel&) const = default;
};
struct GroupSet {
    VlanNumber vlan = 0;
    GroupJoin join;
    bool operator==(const GroupSet&) const = default;
};
struct GroupDel {
    GroupPlace place;
    bool operator==(const GroupDel&) const = default;
};
struct SourceSet {
    GroupPlace place;
    SourceJoin join;
    bool operator==(const SourceSet&) const = default;
};
struct SourceDel {
    SourcePlace place;
    bool operator==(const SourceDel&) const = default;
};
/// `include.add`, `include.del`, `exclude.add`, `exclude.del`.
struct IntfChange {
    JoinMode set = JoinMode::include;
    Change change = Change::add;
    SourcePlace place;
    Ondel::IntfId intf;
    bool operator==(const IntfChange&) const = default;
};
struct Join {
    SourcePlace place;
    Ondel::IntfId intf;
    JoinMode mode = JoinMode::include;
    bool operator==(const Join&) const = default;
};
struct Leave {
    SourcePlace place;
    Ondel::IntfId intf;
    JoinMode mode = JoinMode::include;
    bool operator==(const Leave&) const = default;
};

// The other inputs.
struct L3Set {
    Ondel::IntfId intf;
    VrfText vrf;
    bool operator==(const L3Set&) const = default;
};
struct L3Vrf {
    Ondel::IntfId intf;
    VrfText vrf;
    bool operator==(const L3Vrf&) const = default;
};
struct L3Del {
    Ondel::IntfId intf;
    bool operator==(const L3Del&) const = default;
};
struct PimSet {
    VrfText vrf;
    std::vector<Ondel::IntfId> intfs;
    bool operator==(const PimSet&) const = default;
};
struct PimDel {
    VrfText vrf;
    bool operator==(const PimDel&) const = default;
};
/// `pim.intf.add`, `pim.intf.del`.
struct PimIntfChange {
    Change change = Change::add;
    VrfText vrf;
    Ondel::IntfId intf;
    bool operator==(const PimIntfChange&) const = default;
};
struct PegDrSet {
    VlanNumber vlan = 0;
    std::uint8_t first = 0;
    std::uint8_t second = 0;
    std::uint8_t role = 0;
    bool operator==(const PegDrSet&) const = default;
};
struct PegDrDel {
    VlanNumber vlan = 0;
    bool operator==(const PegDrDel&) const = default;
};
struct VrfToSbdSet {
    SbdMaps maps = SbdMaps::vxlan;
    VrfText vrf;
    VlanNumber vlan = 0;
    bool operator==(const VrfToSbdSet&) const = default;
};
struct VrfToSbdDel {
    SbdMaps maps = SbdMaps::vxlan;
    VrfText vrf;
    bool operator==(const VrfToSbdDel&) const = default;
};
struct SbdToVrfSet {
    SbdMaps maps = SbdMaps::vxlan;
    VlanNumber vlan = 0;
    VrfText vrf;
    bool operator==(const SbdToVrfSet&) const = default;
};
struct SbdToVrfDel {
    SbdMaps maps = SbdMaps::vxlan;
    VlanNumber vlan = 0;
    bool operator==(const SbdToVrfDel&) const = default;
};
/// Both maps in the order in which their entries were written: a map is walked in that order.
struct SbdReplace {
    SbdMaps maps = SbdMaps::vxlan;
    std::vector<std::pair<VrfText, VlanNumber>> vrfToSbd;
    std::vector<std::pair<VlanNumber, VrfText>> sbdToVrf;
    bool operator==(const SbdReplace&) const = default;
};

// The table, damage, and checks.
struct TableSet {
    TableEntry entry;
    bool operator==(const TableSet&) const = default;
};
struct TableDel {
    MembershipPlace place;
    bool operator==(const TableDel&) const = default;
};
struct TableStatus {
    StatusPlace status;
    bool operator==(const TableStatus&) const = default;
};
struct PegDrCorrupt {
    VlanNumber vlan = 0;
    bool operator==(const PegDrCorrupt&) const = default;
};
struct SetCorrupt {
    SourcePlace place;
    JoinMode set = JoinMode::include;
    bool operator==(const SetCorrupt&) const = default;
};
struct Expect {
    std::vector<TableEntry> table;
    bool operator==(const Expect&) const = default;
};

using Action = std::variant<Toggle, Start, Stop, Abandon, Reap, Notifications, VlanSet, VlanDel,
                            GroupSet, GroupDel, SourceSet, SourceDel, IntfChange, Join, Leave,
                            L3Set, L3Vrf, L3Del, PimSet, PimDel, PimIntfChange, PegDrSet, PegDrDel,
                            VrfToSbdSet, VrfToSbdDel, SbdToVrfSet, SbdToVrfDel, SbdReplace,
                            TableSet, TableDel, TableStatus, PegDrCorrupt, SetCorrupt, Expect>;

/// One line of a recording: what was done, and when. A plain value.
struct Event {
    Action action;
    /// The time as it was written, a JSON number of seconds since the epoch; empty for none.
    std::string time{};
    bool operator==(const Event&) const = default;
};

/// The op that an action is written with, for example "include.add".
std::string_view opName(const Action& action);
/// The name that `start` knows an input by, for example "pegDrStatus".
std::string_view inputName(Input input);
/// The input of that name, or nothing.
std::optional<Input> inputNamed(std::string_view name);

}  // namespace Irbmc::Replay
