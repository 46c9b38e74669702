// What each change of an input leads to.
#include <algorithm>

#include "Ondel/VlanIntfId.h"
#include "model/Event.h"
#include "model/Machine.h"

namespace model {

namespace {

/// Whether the number of a VLAN interface is one of those that stand for no VLAN and are passed
/// over in silence.
bool isPassedOver(Intf intf) {
    const std::uint16_t number = Ondel::VlanIntfId::vlanId(intf);
    return number >= 4096 && number <= 16383;
}

}  // namespace

void Machine::vlanChanged(std::uint16_t number) {
    if (!has(input::joins) || !listening_) return;
    if (const auto* join = world_.inputs.vlans.find(number)) {
        vlanIs(*join);
        return;
    }
    VlanTracker* known = vlans_.find(number);
    if (known == nullptr) return;
    VlanTracker vlan = std::move(*known);
    vlans_.erase(number);
    reapVlan(vlan);
}

void Machine::groupChanged(const std::shared_ptr<VlanJoin>& join, const Addr& address) {
    VlanTracker* vlan = vlans_.find(join->vlan);
    if (vlan == nullptr || vlan->join != join || !vlan->listening) return;
    if (const auto* group = join->groups.find(address)) {
        groupIs(*vlan, *group);
    } else {
        groupDel(*vlan, address);
    }
}

void Machine::sourceChanged(std::uint16_t number, const std::shared_ptr<GroupJoin>& join,
                            const Addr& address) {
    VlanTracker* vlan = vlans_.find(number);
    GroupTracker* group = vlan != nullptr ? vlan->groups.find(join->group) : nullptr;
    if (group == nullptr || group->join != join || !group->listening) return;
    if (const auto* source = join->sources.find(address)) {
        sourceIs(*vlan, *group, *source);
    } else {
        sourceDel(*vlan, *group, address);
    }
}

/// A reaped source hears nothing; one that is not listens whenever its VLAN does.
void Machine::setChanged(std::uint16_t number, const Addr& address,
                         const std::shared_ptr<SourceJoin>& join, Mode set) {
    VlanTracker* vlan = vlans_.find(number);
    GroupTracker* group = vlan != nullptr ? vlan->groups.find(address) : nullptr;
    auto* followed = group != nullptr ? group->sources.find(join->source) : nullptr;
    if (followed == nullptr || *followed != join || group->reaped || !vlan->listening) return;
    if (set == Mode::include) {
        handleInclude(*vlan, *group, *join);
    } else {
        handleExclude(*vlan, *group, *join);
    }
}

void Machine::intfChanged(Intf intf) {
    if (!has(input::l3) || !listening_) return;
    if (const auto* status = world_.inputs.intfs.find(intf)) {
        intfStatusIs(*status);
        return;
    }
    IntfTracker* known = intfs_.find(intf);
    if (known == nullptr) return;
    IntfTracker tracker = *known;
    intfs_.erase(intf);
    reapIntf(tracker);
}

/// A status put in place of another is a change of the VRF if the two name different ones. A
/// status whose first handling fails is not followed at all.
void Machine::intfStatusIs(const std::shared_ptr<IntfStatus>& status) {
    IntfTracker* known = intfs_.find(status->intf);
    if (known == nullptr) {
        handleL3IntfStatus(status->intf);
        intfs_.put(status->intf, {status, listening_});
        return;
    }
    if (known->status == status) return;
    const bool changed = known->status->vrf != status->vrf;
    known->status = status;
    if (changed && !known->reaped) handleL3IntfStatus(status->intf);
}

void Machine::intfVrfChanged(const std::shared_ptr<IntfStatus>& status) {
    const IntfTracker* known = intfs_.find(status->intf);
    if (known == nullptr || known->status != status || !known->listening || known->reaped) return;
    handleL3IntfStatus(status->intf);
}

/// An error does not keep the tracker from being reaped.
void Machine::reapIntf(IntfTracker& tracker) {
    if (tracker.reaped) return;
    tracker.listening = false;
    tracker.reaped = true;
    handleL3IntfStatus(tracker.status->intf);
}

void Machine::handleL3IntfStatus(Intf intf) {
    if (!initialized_) return;
    trace(3, "handleL3IntfStatus", "L3 intf change ", intf);
    if (!Ondel::VlanIntfId::isVlanIntfId(intf) || isPassedOver(intf)) return;
    const std::uint16_t number = Ondel::VlanIntfId::vlanId(intf);
    requireVlanId(number);
    VlanTracker* vlan = vlans_.find(number);
    if (vlan == nullptr) return;
    const IntfStatus* status = intfStatus(intf);
    const std::string vrf = status != nullptr ? status->vrf : std::string();
    if (vlan->vrf == vrf) return;
    if (!vlan->vrf.empty()) updateGmpStatus(*vlan, Update::deleteVlan);
    trace(8, "handleL3IntfStatus", "handleL3IntfStatus(), Set vrfName ", vrf, " for ", number);
    updateVrfName(*vlan, vrf);
    if (!vrf.empty()) updateGmpStatus(*vlan, Update::asWanted);
}

void Machine::pimChanged(const std::string& vrf) {
    if (!has(input::pim) || !listening_) return;
    const auto* status = world_.inputs.pim.find(vrf);
    if (status == nullptr) {
        pim_.erase(vrf);
        return;
    }
    if (PimTracker* known = pim_.find(vrf)) {
        known->status = *status;
    } else {
        pim_.put(vrf, {*status});
    }
    if (reaped_) return;
    for (const Intf intf : (*status)->intfs)
        handlePimTransitIntf(vrf, intf);
}

void Machine::pimIntfChanged(const std::shared_ptr<PimStatus>& status, Intf intf) {
    const PimTracker* known = pim_.find(status->vrf);
    if (known == nullptr || known->status != status || known->reaped || !listening_) return;
    handlePimTransitIntf(status->vrf, intf);
}

void Machine::handlePimTransitIntf(const std::string& vrf, Intf intf) {
    static constexpr const char* self = "handlePimTransitIntf";
    trace(9, self, self, "( ", vrf, ", ", intf, " )");
    if (!initialized_) return;
    if (!Ondel::VlanIntfId::isVlanIntfId(intf)) {
        trace(9, self, self, ", Not a VLAN ", intf);
        return;
    }
    if (isPassedOver(intf)) return;
    const std::uint16_t number = Ondel::VlanIntfId::vlanId(intf);
    requireVlanId(number);
    VlanTracker* vlan = vlans_.find(number);
    if (vlan == nullptr) {
        trace(9, self, self, ", No membership for VLAN ", number);
    } else if (intfStatus(intf) == nullptr) {
        trace(9, self, self, ", No IntfStatus for ", intf);
    } else if (sbdVrfOf(number).empty()) {
        trace(9, self, self, ", Not SBD vlan ", intf);
    } else {
        updateGmpStatus(*vlan, Update::asWanted);
    }
}

void Machine::pegDrChanged(std::uint16_t vlan) {
    if (has(input::pegDr) && listening_ && !reaped_) handlePegDrStatus(vlan);
}

void Machine::handlePegDrStatus(Vlan vlan) {
    trace(3, "handlePegDrStatus", " PEG DR change, VLAN: ", vlan);
    if (sbdVrfOf(vlan).empty()) {
        trace(9, "handlePegDrStatus", "handlePegDrStatus, No SBD VRF name associated with VLAN ",
              vlan);
        return;
    }
    updateSbdVlanMembership(vlan);
}

// The maps are heard whether or not notifications are on, and after reaping too.

void Machine::vxlanVrfChanged(const std::string& vrf, const std::uint16_t* before) {
    if (has(input::vxlan)) handleVxlanVrf(vrf, before, world_.inputs.vxlan.vrfToSbd.find(vrf));
}

void Machine::mplsVrfChanged(const std::string& vrf, const std::uint16_t* before) {
    if (has(input::mpls)) handleMplsVrf(vrf, before, world_.inputs.mpls.vrfToSbd.find(vrf));
}

void Machine::vxlanSbdChanged(std::uint32_t vlan) {
    if (has(input::vxlan)) handleSbdVlanToVrf(vlan);
}

void Machine::mplsSbdChanged(std::uint32_t vlan) {
    if (has(input::mpls)) handleSbdVlanToVrf(vlan);
}

namespace {

using Number = const std::uint16_t*;

/// Each VRF of the old map, changed or not, then each that only the new one has; then the VLANs
/// of the two reverse maps in the same way.
template <class VrfHandler, class VlanHandler>
void replay(const SbdMaps& before, const SbdMaps& after, VrfHandler&& vrfHandler,
            VlanHandler&& vlanHandler) {
    for (const auto& [vrf, vlan] : before.vrfToSbd)
        vrfHandler(vrf, &vlan, after.vrfToSbd.find(vrf));
    for (const auto& [vrf, vlan] : after.vrfToSbd) {
        if (before.vrfToSbd.find(vrf) == nullptr) vrfHandler(vrf, nullptr, &vlan);
    }
    for (const auto& [vlan, vrf] : before.sbdToVrf)
        vlanHandler(vlan);
    for (const auto& [vlan, vrf] : after.sbdToVrf) {
        if (before.sbdToVrf.find(vlan) == nullptr) vlanHandler(vlan);
    }
}

}  // namespace

/// A machine that had no such input has one from now on, and knew nothing of the old maps.
void Machine::vxlanReplaced(const SbdMaps& before) {
    const SbdMaps known = has(input::vxlan) ? before : SbdMaps();
    without_ = static_cast<std::uint8_t>(without_ & ~input::vxlan);
    replay(
        known, world_.inputs.vxlan,
        [this](const std::string& vrf, Number was, Number is) { handleVxlanVrf(vrf, was, is); },
        [this](Vlan vlan) { handleSbdVlanToVrf(vlan); });
}

void Machine::mplsReplaced(const SbdMaps& before) {
    const SbdMaps known = has(input::mpls) ? before : SbdMaps();
    without_ = static_cast<std::uint8_t>(without_ & ~input::mpls);
    replay(
        known, world_.inputs.mpls,
        [this](const std::string& vrf, Number was, Number is) { handleMplsVrf(vrf, was, is); },
        [this](Vlan vlan) { handleSbdVlanToVrf(vlan); });
}

/// Acts whatever the toggle: the old VLAN first, so that it withdraws before the new one writes.
void Machine::handleVxlanVrf(const std::string& vrf, const std::uint16_t* before,
                             const std::uint16_t* after) {
    static constexpr const char* self = "handleVxlanVrfToSbdVlan";
    trace(9, self, self, "( ", vrf, " )");
    trace(2, self, "VRF to SBD VLAN change, old: ", before != nullptr ? *before : Vlan{0},
          " new: ", after != nullptr ? *after : Vlan{0});
    for (const std::uint16_t* vlan : {before, after}) {
        if (vlan == nullptr) continue;
        requireVlanId(*vlan);
        updateSbdVlanMembership(*vlan);
    }
}

void Machine::handleMplsVrf(const std::string& vrf, const std::uint16_t* before,
                            const std::uint16_t* after) {
    static constexpr const char* self = "handleMplsVrfToSbdVlan";
    trace(9, self, self, "( ", vrf, " )");
    if (!world_.toggles.oismMplsTunnel) return;
    trace(2, self, "VRF to SBD VLAN change, old: ", before != nullptr ? *before : Vlan{0},
          " new: ", after != nullptr ? *after : Vlan{0});
    if (before != nullptr) updateSbdVlanMembership(*before);
    if (after != nullptr) updateSbdVlanMembership(*after);
}

void Machine::handleSbdVlanToVrf(Vlan vlan) {
    trace(2, "handleSbdVlanToVrf", "SBD VLAN to VRF change, VLAN: ", vlan);
    requireVlanId(vlan);
    updateSbdVlanMembership(vlan);
}

void Machine::updateSbdVlanMembership(Vlan number) {
    VlanTracker* vlan = vlans_.find(static_cast<std::uint16_t>(number));
    if (vlan == nullptr || vlan->vrf.empty()) {
        trace(9, "updateSbdVlanMembership",
              "updateSbdVlanMembership, No membership or VRF association for SBD VLAN ", number);
        return;
    }
    trace(2, "updateSbdVlanMembership", "Update SBD VLAN ", number);
    vlan->drForSbd = vlan->vrf == sbdVrfOf(number) && isDrForVlan(number);
    updateGmpStatus(*vlan, Update::asWanted);
}

}  // namespace model
