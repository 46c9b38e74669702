// Bringing the table back into line while the machine runs.
#include "MembershipJoinStatusSm/L3IntfStatus.h"
#include "MembershipJoinStatusSm/PimVrfStatus.h"
#include "MembershipJoinStatusSm/RixVlanMembership.h"
#include "MembershipJoinStatusSm/Root.h"
#include "MembershipJoinStatusSm/SourceMembership.h"
#include "MembershipJoinStatusSm/followAll.h"
#include "Ondel/VlanIntfId.h"
#include "Rix/FirstError.h"

namespace Irb::Multicast::Ingress::Detail {

namespace {

/// Follows every record of an input and nothing else, whatever was heard of it so far. Goes on
/// where one of them raises an error, and raises the first at the end.
template <class Records, class Trackers, class Follow, class Forget>
void reconcileAll(const Records& records, const Trackers& trackers, const Follow& follow,
                  const Forget& forget) {
    Rix::FirstError error;
    followAll(
        records, trackers, [&](const auto& record) { error.run([&] { follow(record); }); },
        [&](const auto& key) { error.run([&] { forget(key); }); });
    error.raise();
}

}  // namespace

void MembershipJoinStatusSm::reconcile() {
    if (isZombie()) return;
    Rix::FirstError error;
    error.run([&] { followInterfaces(); });
    error.run([&] { followPim(); });
    error.run([&] {
        followJoins();
        // Not where a VLAN could not be followed: what it wants is not known then.
        handleInitialized();
    });
    error.raise();
}

void MembershipJoinStatusSm::followInterfaces() {
    if (!inputs_.l3IntfStatusDir) return;
    reconcileAll(
        inputs_.l3IntfStatusDir->intfStatus(), l3IntfStatus_,
        [&](const auto& status) { l3IntfStatusIs(status); },
        [&](Ondel::IntfId intfId) { l3IntfStatusDel(intfId); });
}

void MembershipJoinStatusSm::followPim() {
    if (!inputs_.pimStatusColl) return;
    reconcileAll(
        inputs_.pimStatusColl->vrfStatus(), pimVrfStatus_,
        [&](const auto& status) { pimVrfStatusIs(status); },
        [&](const L3::VrfName& vrfName) { pimVrfStatusDel(vrfName); });
}

void MembershipJoinStatusSm::followJoins() {
    if (!inputs_.membershipJoinStatus) return;
    reconcileAll(
        inputs_.membershipJoinStatus->vlan(), rixVlanMembership_,
        [&](const auto& join) { vlanMembershipIs(join)->reconcile(); },
        [&](Bridging::VlanId vlanId) { vlanMembershipDel(vlanId); });
}

void MembershipJoinStatusSm::RixVlanMembership::reconcile() {
    // An error may have ended the change to another record half way.
    isRegisteredNotifieeIs(true);
    const auto& interfaces = parent()->l3IntfStatusDir();
    const auto status =
        interfaces ? interfaces->intfStatus(Ondel::VlanIntfId::vlanIdToIntfId(vlanId().value()))
                   : nullptr;
    updateVrfName(status ? status->vrf() : L3::VrfName());
    isDrForSbdVlan_ = isDrForSbdVlanOf(vrfName_);
    reconcileAll(
        notifier()->group(), groupMembership_,
        [&](const auto& join) { groupMembershipIs(join)->reconcile(); },
        [&](const Ondel::IpGenAddr& groupAddr) { groupMembershipDel(groupAddr); });
}

void MembershipJoinStatusSm::RixVlanMembership::NestedSm_GroupMembership::reconcile() {
    isRegisteredNotifieeIs(true);
    reconcileAll(
        notifier()->source(), sourceMembership_,
        [&](const auto& join) {
            const auto tracker = sourceMembershipIs(join);
            tracker->handleInclude();
            tracker->handleExclude();
        },
        [&](const Ondel::IpGenAddr& source) { sourceMembershipDel(source); });
}

}  // namespace Irb::Multicast::Ingress::Detail
