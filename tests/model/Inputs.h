#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "Ondel/IntfId.h"
#include "Ondel/IpGenAddr.h"
#include "model/Ordered.h"

// What the other agents publish, as values. A record that can be replaced under its key is held
// by a shared pointer: its address is its identity, and whoever missed the replacement still
// looks at the old one.
namespace model {

using Addr = Ondel::IpGenAddr;
using Intf = Ondel::IntfId;

/// An interface set, and whether the next read of its size finds it corrupt.
struct IntfSet {
    std::set<Intf> intfs;
    bool corrupt = false;
};

struct SourceJoin {
    Addr source;
    IntfSet include;
    IntfSet exclude;
};

struct GroupJoin {
    Addr group;
    Ordered<Addr, std::shared_ptr<SourceJoin>> sources;
};

struct VlanJoin {
    std::uint16_t vlan = 1;
    Ordered<Addr, std::shared_ptr<GroupJoin>> groups;
};

struct IntfStatus {
    Intf intf;
    std::string vrf;
};

struct PimStatus {
    std::string vrf;
    std::vector<Intf> intfs;  ///< in the order of addition
};

struct PegDr {
    std::uint8_t first = 0;   ///< the role in domain 1
    std::uint8_t second = 0;  ///< the role in every other domain
    std::uint8_t role = 0;    ///< the role of a record that knows no domains

    friend bool operator==(const PegDr&, const PegDr&) = default;
};

/// The two maps of one data plane between VRFs and their SBD VLANs; each can say what the other
/// does not.
struct SbdMaps {
    Ordered<std::string, std::uint16_t> vrfToSbd;
    Ordered<std::uint32_t, std::string> sbdToVrf;
};

struct Inputs {
    std::string joinName = "default";
    Ordered<std::uint16_t, std::shared_ptr<VlanJoin>> vlans;
    std::map<std::uint16_t, PegDr> pegDr;
    std::set<std::uint16_t> corruptPegDr;  ///< VLANs whose next read finds corruption
    Ordered<Intf, std::shared_ptr<IntfStatus>> intfs;
    Ordered<std::string, std::shared_ptr<PimStatus>> pim;
    SbdMaps vxlan;
    SbdMaps mpls;
};

}  // namespace model
