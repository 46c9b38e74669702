// The questions, and the two writers of the table.
#include <algorithm>

#include "Irb/Multicast/App/ClientInstance.h"
#include "Multicast/Tunnel/McastTunnelIntfId.h"
#include "Ondel/VlanIntfId.h"
#include "Routing/Gmp/Tessel/App.h"
#include "model/Event.h"
#include "model/Machine.h"

namespace model {

namespace {

Intf vlanIntf(std::uint32_t vlan) {
    return Ondel::VlanIntfId::vlanIdToIntfId(static_cast<std::uint16_t>(vlan));
}

bool hasPort(const IntfSet& set) {
    return std::any_of(set.intfs.begin(), set.intfs.end(), [](Intf intf) {
        return !Multicast::Tunnel::McastTunnelIntfId::isMcastTunnelIntfId(intf);
    });
}

std::string appText(std::uint8_t app) {
    return stringValue(static_cast<Routing::Gmp::Tessel::App>(app));
}

}  // namespace

std::string_view Machine::joinName() const {
    return has(input::joins) ? std::string_view(world_.inputs.joinName) : std::string_view();
}

/// The maps that the toggle selects, null if this machine has no such input.
const SbdMaps* Machine::selectedMaps() const {
    if (world_.toggles.oismMplsTunnel) return has(input::mpls) ? &world_.inputs.mpls : nullptr;
    return has(input::vxlan) ? &world_.inputs.vxlan : nullptr;
}

/// An unmapped VRF has VLAN 1 in the MPLS domain and none, 0, in the VXLAN domain.
Machine::Vlan Machine::sbdVlanOf(const std::string& vrf) const {
    const SbdMaps* maps = selectedMaps();
    const std::uint16_t* vlan = maps != nullptr ? maps->vrfToSbd.find(vrf) : nullptr;
    if (vlan != nullptr) return *vlan;
    return world_.toggles.oismMplsTunnel ? 1 : 0;
}

/// The VRF that a VLAN is SBD VLAN of, empty if none.
std::string Machine::sbdVrfOf(Vlan vlan) const {
    const SbdMaps* maps = selectedMaps();
    const std::string* vrf = maps != nullptr ? maps->sbdToVrf.find(vlan) : nullptr;
    return vrf != nullptr ? *vrf : std::string();
}

bool Machine::isSbdVlan(const VlanTracker& vlan) const {
    return vlan.join->vlan == sbdVlanOf(vlan.vrf);
}

bool Machine::isDrForVlan(Vlan vlan) {
    using Irb::Multicast::App::ClientInstance;
    if (vlan == 0) return false;
    if (ClientInstance(joinName()).value() == ClientInstance::standalone) return true;
    requireVlanId(vlan);
    const auto number = static_cast<std::uint16_t>(vlan);
    PegDr record;
    if (has(input::pegDr)) {
        if (world_.inputs.corruptPegDr.erase(number) != 0) {
            ++world_.answer.corruptions;
        } else if (const auto at = world_.inputs.pegDr.find(number);
                   at != world_.inputs.pegDr.end()) {
            record = at->second;
        }
    }
    std::uint8_t role = record.role;
    if (world_.toggles.oismGateway) role = domain_ == 1 ? record.first : record.second;
    trace(8, "MembershipJoinStatusSm", vlan, ":", role);
    return role == 1;
}

bool Machine::isPimEnabled(const std::string& vrf, Vlan vlan) const {
    const auto* status = has(input::pim) ? world_.inputs.pim.find(vrf) : nullptr;
    if (status == nullptr) return false;
    const auto& intfs = (*status)->intfs;
    return std::find(intfs.begin(), intfs.end(), vlanIntf(vlan)) != intfs.end();
}

const IntfStatus* Machine::intfStatus(Intf intf) const {
    const auto* status = has(input::l3) ? world_.inputs.intfs.find(intf) : nullptr;
    return status != nullptr ? status->get() : nullptr;
}

/// The size of a set, nothing if reading it reports corruption.
std::optional<std::size_t> Machine::sizeOf(IntfSet& set) {
    if (!set.corrupt) return set.intfs.size();
    set.corrupt = false;
    ++world_.answer.corruptions;
    return std::nullopt;
}

/// An SBD VLAN pulls for the whole VRF where this router is its DR or PIM runs on it.
bool Machine::wantsAsSbdVlan(const VlanTracker& vlan) const {
    return isSbdVlan(vlan) && (vlan.drForSbd || isPimEnabled(vlan.vrf, vlan.join->vlan));
}

bool Machine::updateVlanInclude(const VlanTracker& vlan, SourceJoin& join) {
    if (sizeOf(join.include).value_or(0) == 0) return false;
    return wantsAsSbdVlan(vlan) || hasPort(join.include);
}

bool Machine::updateVlanExclude(const VlanTracker& vlan, SourceJoin& join) {
    if (sizeOf(join.include).value_or(1) != 0) return false;
    if (sizeOf(join.exclude).value_or(0) == 0) return false;
    return wantsAsSbdVlan(vlan) || hasPort(join.exclude);
}

/// Asks the group's join as it is now, not the sources that the machine follows.
bool Machine::requireStarG(const VlanTracker& vlan, const GroupTracker& group, const Addr& skip) {
    for (const auto& [source, join] : group.join->sources) {
        if (source == skip) continue;
        const bool required = source.isSpecificSource() ? updateVlanExclude(vlan, *join)
                                                        : updateVlanInclude(vlan, *join);
        if (required) return true;
    }
    return false;
}

/// The memberships of the VLAN's status, null if there is no status.
Memberships* Machine::memberships(const VlanTracker& vlan) {
    if (!has(input::table)) return nullptr;
    const auto at = world_.table.find({vlan.vrf, app_});
    return at != world_.table.end() ? &at->second : nullptr;
}

void Machine::addMembership(const VlanTracker& vlan, const Addr& source, const Addr& group,
                            Mode mode) {
    const Intf intf = vlanIntf(vlan.join->vlan);
    trace(7, "addMembership", "addMembership: Add gmpStatus: ", vlan.vrf, "- ( ", source, ", ",
          group, ", ", intf, " , ", mode, " ) ", appText(app_));
    if (has(input::table)) world_.table[{vlan.vrf, app_}][{intf, source, group}] = mode;
}

/// A missing entry reads as one of mode exclude, so deleting it in that mode is traced. Whatever
/// was deleted, a status that is empty goes.
void Machine::delMembership(const VlanTracker& vlan, const Addr& source, const Addr& group,
                            Mode mode) {
    Memberships* status = memberships(vlan);
    if (status == nullptr) return;
    const Intf intf = vlanIntf(vlan.join->vlan);
    const auto at = status->find({intf, source, group});
    const Mode there = at != status->end() ? at->second : Mode::exclude;
    if (there == mode) {
        trace(7, "delMembership", "delMembership: Del gmpStatus: ", vlan.vrf, "- ( ", source, ", ",
              group, ", ", intf, " , ", mode, " ) ", appText(app_));
        if (at != status->end()) status->erase(at);
    }
    if (status->empty()) world_.table.erase({vlan.vrf, app_});
}

/// The last thing done with a group that goes: a (*,G) entry that is still there, in whichever
/// mode, goes too.
void Machine::sweepStarG(const VlanTracker& vlan, const Addr& group) {
    if (vlan.vrf.empty()) return;
    Memberships* status = memberships(vlan);
    if (status == nullptr) return;
    const Addr any = Addr::zero(group.family());
    const auto at = status->find({vlanIntf(vlan.join->vlan), any, group});
    if (at != status->end()) delMembership(vlan, any, group, at->second);
}

}  // namespace model
