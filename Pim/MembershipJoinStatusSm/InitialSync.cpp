// The reconciliation of a table that an earlier incarnation wrote.
#include "MembershipJoinStatusSm/GroupMembership.h"
#include "MembershipJoinStatusSm/InternalVlan.h"
#include "MembershipJoinStatusSm/RixVlanMembership.h"
#include "MembershipJoinStatusSm/Root.h"
#include "MembershipJoinStatusSm/SmTrace.h"
#include "Ondel/VlanIntfId.h"
#include "Rix/Assert.h"
#include "Rix/CorruptionError.h"

namespace Irb::Multicast::Ingress::Detail {

using Routing::Gmp::Tessel::FilterMode;
using Routing::Gmp::Tessel::Membership;
using Routing::Gmp::Tessel::Status;
using Routing::Gmp::Tessel::VrfApp;

void MembershipJoinStatusSm::handleInitialized() {
    TRACE_BLOCK(smTrace(),
                "void Irb::Multicast::Ingress::MembershipJoinStatusSm::handleInitialized()");
    const std::string name =
        inputs_.membershipJoinStatus ? inputs_.membershipJoinStatus->name() : "";
    TRACE(smTrace(), 8, "handleInitialized", "handleInitialized: {}", name);
    initializedIs(true);
    if (!inputs_.gmpStatusLocalColl) return;
    for (const auto& [key, status] : *inputs_.gmpStatusLocalColl) {
        if (key.app != inputs_.gmpStatusApp) {
            TRACE(smTrace(), 8, "handleInitialized",
                  "handleInitialized: gmpLocalColl {} not applicable to {}", key, name);
            continue;
        }
        reconcileStatus(key, *status);
    }
}

void MembershipJoinStatusSm::reconcileStatus(const VrfApp& key, Status& status) {
    try {
        for (const Membership membership : status) {
            if (isStale(key, membership)) status.membershipDel(membership.key());
        }
    } catch (const Rix::CorruptionError& corruption) {
        status.handleCorruption(corruption.what());
        throw;
    }
    if (status.memberships() != 0) return;
    TRACE(smTrace(), 8, "handleInitialized", "handleInitialized: del gmpStatusLocalColl {}", key);
    inputs_.gmpStatusLocalColl->gmpStatusDel(key);
}

/// Traces why a membership must go; what follows the reason is the same in every message.
#define TRACE_STALE(reason, vlan, membership)                                       \
    TRACE(smTrace(), 8, "handleInitialized",                                        \
          "handleInitialized(): " reason ", delete gmp membership ( {},{} )", vlan, \
          (membership).key().source, (membership).key().group)

/// Whether the inputs no longer justify a membership that the table holds; traces why.
bool MembershipJoinStatusSm::isStale(const VrfApp& key, const Membership& membership) {
    const std::uint16_t number = Ondel::VlanIntfId::vlanId(membership.key().intf);
    if (isInternalVlan(number)) return false;
    const Bridging::VlanId vlanId(number);
    const Lumo::Ptr<RixVlanMembership> tracker = rixVlanMembership(vlanId);
    if (!tracker) {
        TRACE_STALE("No VLAN{}", vlanId, membership);
        return true;
    }
    if (tracker->vrfName().empty()) {
        TRACE_STALE("VRF is not set for VLAN{}", vlanId, membership);
        return true;
    }
    if (tracker->vrfName() != key.vrfName) {
        TRACE_STALE("VRF name has changed for VLAN{}", vlanId, membership);
        return true;
    }
    if (tracker->isSbdVlan() && !tracker->isDrForSbdVlan() &&
        !isPimEnabled(tracker->vrfName(), vlanId)) {
        TRACE_STALE("Not PEG DR or Pim enabled for SBD VLAN {}", vlanId, membership);
        return true;
    }
    const auto vlan =
        inputs_.membershipJoinStatus ? inputs_.membershipJoinStatus->vlan(vlanId) : nullptr;
    if (!vlan) {
        TRACE_STALE("No VLAN{}", vlanId, membership);
        return true;
    }
    const auto group = vlan->group(membership.key().group);
    if (!group) {
        TRACE_STALE("No group in VLAN {}", vlanId, membership);
        return true;
    }
    return isNotNeeded(*tracker, *group, membership);
}

/// The last of the checks: whether the rules of the group and the source call for the membership.
bool MembershipJoinStatusSm::isNotNeeded(RixVlanMembership& tracker,
                                         const Gmp::GroupMembershipJoin& group,
                                         const Membership& membership) {
    const Bridging::VlanId vlanId = tracker.vlanId();
    const auto source = group.source(membership.key().source);
    if (!membership.key().source.isSpecificSource()) {
        const auto tgm = tracker.groupMembership(membership.key().group);
        RIX_ASSERT(tgm);
        if (tgm->requireStarG(membership.key().group)) return false;
        TRACE_STALE("(*,G) not needed in {}", vlanId, membership);
        return true;
    }
    if (membership.filterMode() == FilterMode::include) {
        if (tracker.updateVlanInclude(source)) return false;
        TRACE_STALE("(S,G) not needed in {}", vlanId, membership);
        return true;
    }
    if (tracker.updateVlanExclude(source)) return false;
    TRACE_STALE("(S,G) not needed in {}", vlanId, membership);
    return true;
}

}  // namespace Irb::Multicast::Ingress::Detail
