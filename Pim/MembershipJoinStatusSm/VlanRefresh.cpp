// What decides the fate of a VLAN's memberships as a whole, and their refresh.
#include "MembershipJoinStatusSm/GroupMembership.h"
#include "MembershipJoinStatusSm/RixVlanMembership.h"
#include "MembershipJoinStatusSm/SmTrace.h"
#include "MembershipJoinStatusSm/SourceMembership.h"
#include "Ondel/VlanIntfId.h"
#include "Rix/CorruptionError.h"

namespace Irb::Multicast::Ingress::Detail {

using Routing::Gmp::Tessel::FilterMode;
using RixVlanMembership = MembershipJoinStatusSm::RixVlanMembership;

void RixVlanMembership::handleVlanMembership() {
    TRACE_BLOCK(smTrace(),
                "void Irb::Multicast::Ingress::MembershipJoinStatusSm::RixVlanMembership::"
                "handleVlanMembership()");
    TRACE(smTrace(), 3, "handleVlanMembership", "Added VLAN :{}", vlanId());
    const Ondel::IntfId intfId = Ondel::VlanIntfId::vlanIdToIntfId(vlanId().value());
    const auto& intfStatusDir = parent()->l3IntfStatusDir();
    const auto status = intfStatusDir ? intfStatusDir->intfStatus(intfId) : nullptr;
    if (!status) {
        TRACE(smTrace(), 9, "handleVlanMembership", "handleVlanMembership, No IntfStatus for {}",
              intfId);
        return;
    }
    updateVrfName(status->vrf());
}

void RixVlanMembership::updateGmpStatus(Update update) {
    TRACE_BLOCK(smTrace(),
                "void Irb::Multicast::Ingress::MembershipJoinStatusSm::RixVlanMembership::"
                "updateGmpStatus(bool)");
    if (vrfName_.empty()) {
        TRACE(smTrace(), 9, "updateGmpStatus", "updateGmpStatus, VLAN: {} no VRF association",
              vlanId());
        return;
    }
    const bool deleteVlan = update == Update::deleteVlan;
    TRACE(smTrace(), 3, "updateGmpStatus",
          "Update VLAN: {}, isSbdVlan: {}, isDrForSbdVlan: {}, deleteVlan: {}, isPimEnabled: {}",
          vlanId(), isSbdVlan(), isDrForSbdVlan_, deleteVlan,
          parent()->isPimEnabled(vrfName_, vlanId()));
    for (const auto [key, group] : groupMembership_) {
        const Ondel::IpGenAddr groupAddr = group->groupAddr();
        updateSources(*group, groupAddr, update);
        const auto anySource = Ondel::IpGenAddr::zero(groupAddr.family());
        membershipIs(anySource, groupAddr, FilterMode::include,
                     !deleteVlan && group->requireStarG(Ondel::IpGenAddr()));
        if (deleteVlan) delStarG(groupAddr);
    }
}

void RixVlanMembership::updateSources(NestedSm_GroupMembership& group,
                                      const Ondel::IpGenAddr& groupAddr, Update update) {
    const bool mayStay = update != Update::deleteVlan;
    for (const auto [key, tracker] : group.sourceMembership()) {
        const Ondel::IpGenAddr source = tracker->source();
        if (!source.isSpecificSource()) continue;
        const auto& join = tracker->notifier();
        membershipIs(source, groupAddr, FilterMode::include, mayStay && updateVlanInclude(join));
        membershipIs(source, groupAddr, FilterMode::exclude, mayStay && updateVlanExclude(join));
    }
}

void RixVlanMembership::delStarG(const Ondel::IpGenAddr& groupAddr) {
    if (vrfName_.empty()) return;
    const auto anySource = Ondel::IpGenAddr::zero(groupAddr.family());
    parent()->delMembershipOfAnyMode(vrfName_, gmpVrfApp_, anySource, groupAddr, vlanId());
}

void RixVlanMembership::membershipIs(const Ondel::IpGenAddr& source,
                                     const Ondel::IpGenAddr& groupAddr, FilterMode mode,
                                     bool isWanted) {
    if (!isWanted) return membershipDel(source, groupAddr, mode);
    parent()->addMembership(vrfName_, gmpVrfApp_, source, groupAddr, vlanId(), mode);
}

void RixVlanMembership::membershipDel(const Ondel::IpGenAddr& source,
                                      const Ondel::IpGenAddr& groupAddr, FilterMode mode) {
    parent()->delMembership(vrfName_, gmpVrfApp_, source, groupAddr, vlanId(), mode);
}

bool RixVlanMembership::updateVlanInclude(
    const Lumo::Ptr<const Gmp::SourceMembershipJoin>& source) const {
    if (!source) return false;
    try {
        if (source->includeIntfs().size() == 0) return false;
    } catch (const Rix::CorruptionError& corruption) {
        source->handleCorruption(corruption.what());
        return false;
    }
    return isWantedWithoutLocalReceiver() || hasLocalInclude(source);
}

bool RixVlanMembership::updateVlanExclude(
    const Lumo::Ptr<const Gmp::SourceMembershipJoin>& source) const {
    if (!source) return false;
    try {
        if (source->includeIntfs().size() != 0) return false;
        if (source->excludeIntfs().size() == 0) return false;
    } catch (const Rix::CorruptionError& corruption) {
        source->handleCorruption(corruption.what());
        return false;
    }
    return isWantedWithoutLocalReceiver() || hasLocalExclude(source);
}

bool RixVlanMembership::isWantedWithoutLocalReceiver() const {
    return isSbdVlan() && (isDrForSbdVlan_ || parent()->isPimEnabled(vrfName_, vlanId()));
}

}  // namespace Irb::Multicast::Ingress::Detail
