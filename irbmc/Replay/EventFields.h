// What the fields of a recording's events hold.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "Ondel/IntfId.h"
#include "Ondel/IpGenAddr.h"
#include "Routing/Gmp/Tessel/FilterMode.h"

namespace Irbmc::Replay {

/// A VLAN number as it was written: whether it can be a VLAN id is for the object that takes it.
using VlanNumber = std::uint32_t;
/// A VRF name as it was written: its length is checked by the object that takes it.
using VrfText = std::string;

/// The state machine's inputs by the names that `start` knows them by.
enum class Input : std::uint8_t {
    membershipJoinStatus,
    pegDrStatus,
    l3IntfStatusDir,
    enabledStatus,
    pimStatusColl,
    gmpStatusLocalColl,
    gmpProxyStatus,
};
/// Which of the two sets of a source join, or which filter mode.
using JoinMode = Routing::Gmp::Tessel::FilterMode;
enum class Change : std::uint8_t { add, del };
/// Which pair of VRF-to-SBD-VLAN maps: that of the VXLAN or that of the MPLS domain.
enum class SbdMaps : std::uint8_t { vxlan, mpls };

struct SourceJoin {
    Ondel::IpGenAddr source;
    std::vector<Ondel::IntfId> include;
    std::vector<Ondel::IntfId> exclude;
    bool operator==(const SourceJoin&) const = default;
};
struct GroupJoin {
    Ondel::IpGenAddr group;
    std::vector<SourceJoin> sources;
    bool operator==(const GroupJoin&) const = default;
};
/// Where a group's record stands.
struct GroupPlace {
    VlanNumber vlan = 0;
    Ondel::IpGenAddr group;
    bool operator==(const GroupPlace&) const = default;
};
/// Where a source's record stands.
struct SourcePlace {
    VlanNumber vlan = 0;
    Ondel::IpGenAddr group;
    Ondel::IpGenAddr source;
    bool operator==(const SourcePlace&) const = default;
};
/// The key of a status of the GMP status table, as it was written.
struct StatusPlace {
    VrfText vrf;
    std::uint8_t app = 1;
    bool operator==(const StatusPlace&) const = default;
};
/// The key of one membership of the GMP status table.
struct MembershipPlace {
    StatusPlace status;
    Ondel::IntfId intf;
    Ondel::IpGenAddr source;
    Ondel::IpGenAddr group;
    bool operator==(const MembershipPlace&) const = default;
};
/// One membership of the GMP status table, with all that a report says of it.
struct TableEntry {
    MembershipPlace place;
    JoinMode mode = JoinMode::include;
    bool operator==(const TableEntry&) const = default;
};

}  // namespace Irbmc::Replay
