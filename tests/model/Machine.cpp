// The machine's life: start, notifications, reaping, stop.
#include "model/Machine.h"

#include <exception>

#include "model/Event.h"

namespace model {

void requireVlanId(std::uint32_t number) {
    if (number < 1 || number > 4094) {
        throw Refusal{"Bridging::VlanId::value < 1 or > 4094 not allowed"};
    }
}

void requireVrfName(const std::string& text) {
    if (text.size() > 100) throw Refusal{"Rix::String::bytes > maxLength() not allowed"};
}

Machine::Machine(World& world, std::uint8_t domain, std::uint8_t app, std::uint8_t without)
    : world_(world), domain_(domain), app_(app), without_(without) {}

void Machine::start() {
    const Inputs& in = world_.inputs;
    if (has(input::l3)) {
        for (const auto& [intf, status] : in.intfs)
            intfStatusIs(status);
    }
    if (has(input::pim)) {
        for (const auto& [vrf, status] : in.pim)
            pim_.put(vrf, {status});
    }
    if (has(input::joins)) {
        for (const auto& [vlan, join] : in.vlans)
            vlanIs(join);
    }
    handleInitialized();
    if (has(input::vxlan)) {
        for (const auto& [vrf, vlan] : in.vxlan.vrfToSbd)
            handleVxlanVrf(vrf, nullptr, &vlan);
    }
    if (has(input::mpls)) {
        for (const auto& [vrf, vlan] : in.mpls.vrfToSbd)
            handleMplsVrf(vrf, nullptr, &vlan);
    }
    if (has(input::vxlan)) {
        for (const auto& [vlan, vrf] : in.vxlan.sbdToVrf)
            handleSbdVlanToVrf(vlan);
    }
    if (has(input::mpls)) {
        for (const auto& [vlan, vrf] : in.mpls.sbdToVrf)
            handleSbdVlanToVrf(vlan);
    }
    notificationsAre(true);
}

void Machine::stop() {
    notificationsAre(false);
    try {
        reap();
    } catch (const Refusal&) {
        // Destruction never fails.
    }
    dropTrackers();
}

/// Reaps whatever is not yet reaped. An error does not spare the trackers that come after; the
/// first one is raised at the end.
void Machine::reap() {
    if (reaped_) return;
    std::optional<Refusal> first;
    for (auto& [key, intf] : intfs_) {
        try {
            reapIntf(intf);
        } catch (const Refusal& refusal) {
            if (!first) first = refusal;
        }
    }
    for (auto& [vrf, pim] : pim_)
        pim.reaped = true;
    for (auto& [number, vlan] : vlans_)
        reapVlan(vlan);
    reaped_ = true;
    if (first) throw Refusal(*first);
}

/// Destruction of what is left. A VLAN that was never reaped, since it came after the reaping, does
/// not refresh its memberships; its groups reap themselves.
void Machine::dropTrackers() {
    for (auto& [number, vlan] : vlans_) {
        for (auto& [address, group] : vlan.groups) {
            if (!group.reaped) reapGroup(vlan, group);
        }
    }
}

void Machine::notificationsAre(bool on) {
    if (listening_ == on) return;
    listening_ = on;
    for (auto& [key, intf] : intfs_)
        intf.listening = on;
    for (auto& [number, vlan] : vlans_)
        listeningIs(vlan, on);
}

void Machine::listeningIs(VlanTracker& vlan, bool on) {
    if (vlan.listening == on) return;
    vlan.listening = on;
    for (auto& [address, group] : vlan.groups)
        group.listening = on;
}

}  // namespace model
