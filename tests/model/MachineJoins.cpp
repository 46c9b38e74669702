// What the machine does with VLANs, groups and sources.
#include <vector>

#include "Ondel/VlanIntfId.h"
#include "Routing/Gmp/Tessel/App.h"
#include "model/Machine.h"

namespace model {

void Machine::vlanIs(const std::shared_ptr<VlanJoin>& join) {
    VlanTracker* known = vlans_.find(join->vlan);
    if (known == nullptr) {
        VlanTracker fresh = newVlan(join);
        fresh.listening = listening_;
        vlans_.put(join->vlan, std::move(fresh));
        return;
    }
    if (known->join == join) return;
    known->join = join;
    for (const auto& [address, group] : join->groups)
        groupIs(*known, group);
    std::vector<Addr> gone;
    for (const auto& [address, group] : known->groups) {
        if (join->groups.find(address) == nullptr) gone.push_back(address);
    }
    for (const Addr& address : gone)
        groupDel(*known, address);
}

VlanTracker Machine::newVlan(const std::shared_ptr<VlanJoin>& join) {
    VlanTracker vlan;
    vlan.join = join;
    trace(3, "handleVlanMembership", "Added VLAN :", join->vlan);
    const Intf intf = Ondel::VlanIntfId::vlanIdToIntfId(join->vlan);
    if (const IntfStatus* status = intfStatus(intf)) {
        updateVrfName(vlan, status->vrf);
    } else {
        trace(9, "handleVlanMembership", "handleVlanMembership, No IntfStatus for ", intf);
    }
    for (const auto& [address, group] : join->groups)
        groupIs(vlan, group);
    return vlan;
}

void Machine::reapVlan(VlanTracker& vlan) {
    if (vlan.reaped) return;
    listeningIs(vlan, false);
    updateGmpStatus(vlan, Update::deleteVlan);
    for (auto& [address, group] : vlan.groups)
        reapGroup(vlan, group);
    vlan.reaped = true;
}

/// Changes nothing if the VRF's SBD VLAN is a number that no VLAN id can have.
void Machine::updateVrfName(VlanTracker& vlan, const std::string& vrf) {
    if (vlan.vrf == vrf) return;
    const std::uint16_t id = vlan.join->vlan;
    trace(7, "updateVrfName", "updateVrfName( ", id, " ), old name: ", vlan.vrf,
          ", new name: ", vrf, " vlan is ", id);
    vlan.drForSbd = isDrForVlan(sbdVlanOf(vrf));
    vlan.vrf = vrf;
    trace(7, "updateVrfName", "updateVrfName, gmpVrfApp ", vrf, ".",
          stringValue(static_cast<Routing::Gmp::Tessel::App>(app_)));
}

/// Writes or deletes every entry of the VLAN as the rules say now; deletes them all if the VLAN
/// goes or leaves its VRF.
void Machine::updateGmpStatus(VlanTracker& vlan, Update update) {
    const bool deleteVlan = update == Update::deleteVlan;
    const std::uint16_t id = vlan.join->vlan;
    if (vlan.vrf.empty()) {
        trace(9, "updateGmpStatus", "updateGmpStatus, VLAN: ", id, " no VRF association");
        return;
    }
    trace(3, "updateGmpStatus", "Update VLAN: ", id, ", isSbdVlan: ", isSbdVlan(vlan),
          ", isDrForSbdVlan: ", vlan.drForSbd, ", deleteVlan: ", deleteVlan,
          ", isPimEnabled: ", isPimEnabled(vlan.vrf, id));
    const auto reconcile = [&](bool wanted, const Addr& source, const Addr& group, Mode mode) {
        if (wanted) {
            addMembership(vlan, source, group, mode);
        } else {
            delMembership(vlan, source, group, mode);
        }
    };
    for (const auto& [address, group] : vlan.groups) {
        for (const auto& [source, join] : group.sources) {
            if (!source.isSpecificSource()) continue;
            reconcile(!deleteVlan && updateVlanInclude(vlan, *join), source, address,
                      Mode::include);
            reconcile(!deleteVlan && updateVlanExclude(vlan, *join), source, address,
                      Mode::exclude);
        }
        reconcile(!deleteVlan && requireStarG(vlan, group, Addr()), Addr::zero(address.family()),
                  address, Mode::include);
        if (deleteVlan) sweepStarG(vlan, address);
    }
}

void Machine::groupIs(VlanTracker& vlan, const std::shared_ptr<GroupJoin>& join) {
    if (GroupTracker* known = vlan.groups.find(join->group)) {
        repoint(vlan, *known, join);
        return;
    }
    GroupTracker fresh;
    fresh.join = join;
    for (const auto& [address, source] : join->sources)
        sourceIs(vlan, fresh, source);
    GroupTracker& group = vlan.groups.put(join->group, std::move(fresh));
    if (vlan.reaped) reapGroup(vlan, group);
}

void Machine::groupDel(VlanTracker& vlan, const Addr& address) {
    GroupTracker* known = vlan.groups.find(address);
    if (known == nullptr) return;
    GroupTracker group = std::move(*known);
    vlan.groups.erase(address);
    if (!group.reaped) reapGroup(vlan, group);
}

void Machine::reapGroup(const VlanTracker& vlan, GroupTracker& group) {
    group.listening = false;
    handleGroupDel(vlan, group);
    for (const auto& [source, join] : group.sources)
        handleSourceDel(vlan, group, *join);
    sweepStarG(vlan, group.join->group);
    group.reaped = true;
}

/// Follows another join of the same group. Sources that both list are not looked at again.
void Machine::repoint(const VlanTracker& vlan, GroupTracker& group,
                      const std::shared_ptr<GroupJoin>& join) {
    if (group.join == join) return;
    group.join = join;
    for (const auto& [address, source] : join->sources)
        sourceIs(vlan, group, source);
    std::vector<Addr> gone;
    for (const auto& [address, source] : group.sources) {
        if (join->sources.find(address) == nullptr) gone.push_back(address);
    }
    for (const Addr& address : gone)
        sourceDel(vlan, group, address);
}

/// A source that is known is re-pointed, and nothing is written. A new one is written, and in a
/// reaped group withdrawn at once.
void Machine::sourceIs(const VlanTracker& vlan, GroupTracker& group,
                       const std::shared_ptr<SourceJoin>& join) {
    if (auto* known = group.sources.find(join->source)) {
        *known = join;
        return;
    }
    handleInclude(vlan, group, *join);
    handleExclude(vlan, group, *join);
    group.sources.put(join->source, join);
    if (group.reaped) handleSourceDel(vlan, group, *join);
}

void Machine::sourceDel(const VlanTracker& vlan, GroupTracker& group, const Addr& address) {
    const auto* known = group.sources.find(address);
    if (known == nullptr) return;
    const std::shared_ptr<SourceJoin> join = *known;
    group.sources.erase(address);
    if (!group.reaped) handleSourceDel(vlan, group, *join);
}

void Machine::updateStarG(const VlanTracker& vlan, const GroupTracker& group, const Addr& skip) {
    const Addr& address = group.join->group;
    const Addr any = Addr::zero(address.family());
    trace(8, "updateStarG", "updateStarG: Update gmpStatus (", vlan.vrf, ") for Smet ( Vlan ",
          vlan.join->vlan, ", ", any, ", ", address, " )");
    if (requireStarG(vlan, group, skip)) {
        addMembership(vlan, any, address, Mode::include);
    } else {
        delMembership(vlan, any, address, Mode::include);
    }
}

/// Deletes whatever the group may have written, whether it has or not.
void Machine::handleGroupDel(const VlanTracker& vlan, const GroupTracker& group) {
    const Addr& address = group.join->group;
    trace(5, "handleGroupDel", "Delete group: ", address, ", VLAN ", vlan.join->vlan,
          ", members: ", group.sources.size());
    if (vlan.vrf.empty()) {
        trace(8, "handleGroupDel", "handleGroupDel: No vrfName for vlan ", vlan.join->vlan);
        return;
    }
    for (const auto& [source, join] : group.sources) {
        const std::size_t includes = sizeOf(join->include).value_or(0);
        const std::size_t excludes = sizeOf(join->exclude).value_or(0);
        trace(8, "handleGroupDel", "handleGroupDel deleting source ", source, " includeIntfs ",
              includes, " excludeIntfs ", excludes);
        delMembership(vlan, source, address, Mode::include);
        delMembership(vlan, source, address, Mode::exclude);
    }
    delMembership(vlan, Addr::zero(address.family()), address, Mode::include);
}

/// Whether a source's handler goes on: the VLAN has a VRF and, if it is the SBD VLAN, this router
/// pulls for it at all. What is in the table stays where it does not.
bool Machine::mayWrite(const VlanTracker& vlan, const char* handler) {
    const std::uint16_t id = vlan.join->vlan;
    if (vlan.vrf.empty()) {
        trace(8, handler, handler, ": No vrfName for vlanId ", id);
        return false;
    }
    if (isSbdVlan(vlan) && !vlan.drForSbd && !isPimEnabled(vlan.vrf, id)) {
        trace(8, handler, handler, ": Not PEG DR or Pim enabled for SBD VLAN", id);
        return false;
    }
    return true;
}

void Machine::handleInclude(const VlanTracker& vlan, const GroupTracker& group, SourceJoin& join) {
    if (!mayWrite(vlan, "handleInclude")) return;
    if (!join.source.isSpecificSource()) {
        updateStarG(vlan, group, Addr());
        return;
    }
    const Addr& address = group.join->group;
    const bool include = updateVlanInclude(vlan, join);
    trace(8, "handleInclude", "handleInclude: Update gmpStatus (", vlan.vrf, ") for Smet ( Vlan ",
          vlan.join->vlan, ", ", join.source, ", ", address, " ), add include: ", include);
    if (include) {
        addMembership(vlan, join.source, address, Mode::include);
    } else {
        delMembership(vlan, join.source, address, Mode::include);
    }
}

/// Any source is handled like one source here; its exclude entry is the (*,G) entry's own place.
void Machine::handleExclude(const VlanTracker& vlan, const GroupTracker& group, SourceJoin& join) {
    if (!mayWrite(vlan, "handleExclude")) return;
    const Addr& address = group.join->group;
    const bool exclude = updateVlanExclude(vlan, join);
    trace(8, "handleExclude", "handleExclude: Update gmpStatus (", vlan.vrf, ") for Smet ( Vlan ",
          vlan.join->vlan, ", ", join.source, ", ", address, " ), add exclude: ", exclude);
    updateStarG(vlan, group, Addr());
    if (exclude) {
        addMembership(vlan, join.source, address, Mode::exclude);
    } else {
        delMembership(vlan, join.source, address, Mode::exclude);
    }
}

/// Withdraws what the sets, as they are now, can have written.
void Machine::handleSourceDel(const VlanTracker& vlan, const GroupTracker& group,
                              SourceJoin& join) {
    if (!mayWrite(vlan, "handleSourceDel")) return;
    const Addr& address = group.join->group;
    const std::size_t includes = sizeOf(join.include).value_or(0);
    const std::size_t excludes = sizeOf(join.exclude).value_or(0);
    trace(8, "handleSourceDel", "handleSourceDel( ", join.source, " ), includeIntfs: ", includes,
          ", excludeIntfs: ", excludes);
    if (includes != 0) delMembership(vlan, join.source, address, Mode::include);
    if (excludes != 0) delMembership(vlan, join.source, address, Mode::exclude);
    if (!join.source.isSpecificSource() || excludes != 0) {
        updateStarG(vlan, group, join.source);
    }
}

}  // namespace model
