// Whether this router is PEG DR for a VLAN, whether PIM runs on it, and what changes of that lead
// to.
#include "Irb/Multicast/App/ClientInstance.h"
#include "MembershipJoinStatusSm/FeatureToggles.h"
#include "MembershipJoinStatusSm/Root.h"
#include "MembershipJoinStatusSm/SmTrace.h"
#include "Ondel/VlanIntfId.h"
#include "Rix/CorruptionError.h"

namespace Irb::Multicast::Ingress::Detail {

using Routing::Multicast::PegDrRole;
using Routing::Multicast::PegDrStatus;
using Routing::Multicast::PegDrVlan;

namespace {

/// A VLAN's record; the default record where there is none, or where it is damaged, which is
/// reported.
PegDrVlan recordOf(const PegDrStatus& status, Bridging::VlanId vlanId) {
    try {
        return status.pegDrVlan(vlanId);
    } catch (const Rix::CorruptionError& corruption) {
        status.handleCorruption(corruption.what());
        return {};
    }
}

PegDrRole roleOf(const PegDrVlan& record, Domain domain) {
    if (!isOismGateway()) return record.pegDrRole();
    return domain == Domain::vxlan ? record.vxlanRole : record.mplsRole;
}

}  // namespace

bool MembershipJoinStatusSm::isDrForVlan(std::uint32_t vlan) const {
    TRACE_BLOCK(smTrace(),
                "bool Irb::Multicast::Ingress::MembershipJoinStatusSm::isDrForVlan(U32) const");
    if (vlan == 0) return false;
    const App::ClientInstance instance(
        inputs_.membershipJoinStatus ? inputs_.membershipJoinStatus->name() : "");
    if (instance.value() == App::ClientInstance::standalone) return true;
    const Bridging::VlanId vlanId(vlan);
    const PegDrVlan record =
        inputs_.pegDrStatus ? recordOf(*inputs_.pegDrStatus, vlanId) : PegDrVlan();
    const PegDrRole role = roleOf(record, inputs_.domain);
    TRACE(smTrace(), 8, "MembershipJoinStatusSm", "{}:{}", vlanId, static_cast<std::uint8_t>(role));
    return role == PegDrRole::dr;
}

bool MembershipJoinStatusSm::isPimEnabled(const L3::VrfName& vrfName,
                                          Bridging::VlanId vlanId) const {
    const auto status = inputs_.pimStatusColl ? inputs_.pimStatusColl->vrfStatus(vrfName) : nullptr;
    if (!status) return false;
    return static_cast<bool>(status->intf(Ondel::VlanIntfId::vlanIdToIntfId(vlanId.value())));
}

void MembershipJoinStatusSm::handlePegDrStatus(Bridging::VlanId vlanId) {
    TRACE_BLOCK(smTrace(),
                "void Irb::Multicast::Ingress::MembershipJoinStatusSm::handlePegDrStatus("
                "Bridging::VlanId)");
    TRACE(smTrace(), 3, "handlePegDrStatus", " PEG DR change, VLAN: {}", vlanId);
    if (sbdVlanToVrf(vlanId).empty()) {
        TRACE(smTrace(), 9, "handlePegDrStatus",
              "handlePegDrStatus, No SBD VRF name associated with VLAN {}", vlanId);
        return;
    }
    updateSbdVlanMembership(vlanId);
}

void MembershipJoinStatusSm::handlePimVrf(const L3::VrfName& vrfName) {
    TRACE_BLOCK(smTrace(),
                "void Irb::Multicast::Ingress::MembershipJoinStatusSm::handlePimVrf("
                "const L3::VrfName&)");
    const auto status = inputs_.pimStatusColl ? inputs_.pimStatusColl->vrfStatus(vrfName) : nullptr;
    if (!status) return;
    for (const auto [intfId, intf] : status->intf())
        handlePimTransitIntf(vrfName, intfId);
}

}  // namespace Irb::Multicast::Ingress::Detail
