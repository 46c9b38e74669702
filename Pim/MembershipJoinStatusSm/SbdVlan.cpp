// Which VLAN is the SBD VLAN of which VRF, and what a change of that leads to.
#include "MembershipJoinStatusSm/FeatureToggles.h"
#include "MembershipJoinStatusSm/RixVlanMembership.h"
#include "MembershipJoinStatusSm/Root.h"
#include "MembershipJoinStatusSm/SmTrace.h"
#include "Trace/VlanNumber.h"

namespace Irb::Multicast::Ingress::Detail {

Bridging::VlanId MembershipJoinStatusSm::vrfNameToSbdVlan(const L3::VrfName& vrfName) const {
    // The default VLAN id, 1, is the answer where there is none.
    return inputs_.gmpProxyStatus ? inputs_.gmpProxyStatus->vrfToSbdVlan().get(vrfName)
                                  : Bridging::VlanId();
}

std::uint16_t MembershipJoinStatusSm::vrfToSbdVlan(const L3::VrfName& vrfName) const {
    return inputs_.enabledStatus ? inputs_.enabledStatus->vrfToSBDVlan().get(vrfName)
                                 : std::uint16_t{0};
}

L3::VrfName MembershipJoinStatusSm::sbdVlanToVrf(Bridging::VlanId vlanId) const {
    if (isOismMplsTunnel()) {
        return inputs_.gmpProxyStatus ? inputs_.gmpProxyStatus->sbdVlanToVrf().get(vlanId)
                                      : L3::VrfName();
    }
    return inputs_.enabledStatus ? inputs_.enabledStatus->sbdVlanToVrf().get(vlanId.value())
                                 : L3::VrfName();
}

void MembershipJoinStatusSm::handleVxlanVrfToSbdVlan(const L3::VrfName& vrfName,
                                                     Rix::Optional<std::uint16_t> oldSbdVlan,
                                                     Rix::Optional<std::uint16_t> newSbdVlan) {
    TRACE_BLOCK(smTrace(),
                "void Irb::Multicast::Ingress::MembershipJoinStatusSm::handleVxlanVrfToSbdVlan("
                "const L3::VrfName&, Rix::Optional<short unsigned int>, "
                "Rix::Optional<short unsigned int>)");
    TRACE(smTrace(), 9, "handleVxlanVrfToSbdVlan", "handleVxlanVrfToSbdVlan( {} )", vrfName);
    TRACE(smTrace(), 2, "handleVxlanVrfToSbdVlan", "VRF to SBD VLAN change, old: {} new: {}",
          oldSbdVlan.value_or(std::uint16_t{0}), newSbdVlan.value_or(std::uint16_t{0}));
    if (oldSbdVlan) updateSbdVlanMembership(Bridging::VlanId(*oldSbdVlan));
    if (newSbdVlan) updateSbdVlanMembership(Bridging::VlanId(*newSbdVlan));
}

void MembershipJoinStatusSm::handleMplsVrfToSbdVlan(const L3::VrfName& vrfName,
                                                    Bridging::VlanId::Optional oldSbdVlan,
                                                    Bridging::VlanId::Optional newSbdVlan) {
    TRACE_BLOCK(smTrace(),
                "void Irb::Multicast::Ingress::MembershipJoinStatusSm::handleMplsVrfToSbdVlan("
                "const L3::VrfName&, Bridging::VlanId::Optional, Bridging::VlanId::Optional)");
    TRACE(smTrace(), 9, "handleMplsVrfToSbdVlan", "handleMplsVrfToSbdVlan( {} )", vrfName);
    if (!isOismMplsTunnel()) return;
    TRACE(smTrace(), 2, "handleMplsVrfToSbdVlan", "VRF to SBD VLAN change, old: {} new: {}",
          oldSbdVlan, newSbdVlan);
    if (oldSbdVlan) updateSbdVlanMembership(*oldSbdVlan);
    if (newSbdVlan) updateSbdVlanMembership(*newSbdVlan);
}

void MembershipJoinStatusSm::handleSbdVlanToVrf(std::uint32_t vlan) {
    TRACE_BLOCK(smTrace(),
                "void Irb::Multicast::Ingress::MembershipJoinStatusSm::handleSbdVlanToVrf(U32)");
    TRACE(smTrace(), 2, "handleSbdVlanToVrf", "SBD VLAN to VRF change, VLAN: {}",
          Trace::VlanNumber{vlan});
    updateSbdVlanMembership(Bridging::VlanId(vlan));
}

void MembershipJoinStatusSm::updateSbdVlanMembership(Bridging::VlanId vlanId) {
    TRACE_BLOCK(smTrace(),
                "void Irb::Multicast::Ingress::MembershipJoinStatusSm::updateSbdVlanMembership("
                "Bridging::VlanId)");
    const Lumo::Ptr<RixVlanMembership> tracker = rixVlanMembership(vlanId);
    if (!tracker || tracker->vrfName().empty()) {
        TRACE(smTrace(), 9, "updateSbdVlanMembership",
              "updateSbdVlanMembership, No membership or VRF association for SBD VLAN {}", vlanId);
        return;
    }
    const L3::VrfName sbdVrfName = sbdVlanToVrf(vlanId);
    TRACE(smTrace(), 2, "updateSbdVlanMembership", "Update SBD VLAN {}", vlanId);
    tracker->isDrForSbdVlanIs(tracker->vrfName() == sbdVrfName && isDrForVlan(vlanId.value()));
    tracker->updateGmpStatus(RixVlanMembership::Update::asWanted);
}

}  // namespace Irb::Multicast::Ingress::Detail
