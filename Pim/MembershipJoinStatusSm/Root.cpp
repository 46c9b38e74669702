// The life of the machine, and its attributes.
#include "MembershipJoinStatusSm/Root.h"

#include <utility>

#include "Lumo/Delivery.h"
#include "MembershipJoinStatusSm/L3IntfStatus.h"
#include "MembershipJoinStatusSm/PimVrfStatus.h"
#include "MembershipJoinStatusSm/RixVlanMembership.h"
#include "Rix/FirstError.h"

namespace Irb::Multicast::Ingress::Detail {

MembershipJoinStatusSm::MembershipJoinStatusSm(Inputs inputs)
    : inputs_(std::move(inputs)),
      membershipJoinStatusDispatch_(*this, inputs_.membershipJoinStatus,
                                    Gmp::MembershipJoinStatus::vlanField, dispatchVlan),
      pegDrStatusDispatch_(*this, inputs_.pegDrStatus,
                           Routing::Multicast::PegDrStatus::pegDrVlanField, dispatchPegDrVlan),
      l3IntfStatusDirDispatch_(*this, inputs_.l3IntfStatusDir, L3::Intf::StatusDir::intfStatusField,
                               dispatchIntfStatus),
      pimStatusCollDispatch_(*this, inputs_.pimStatusColl, Routing::Pim::StatusColl::vrfStatusField,
                             dispatchVrfStatus),
      on_enabledStatus_(*this),
      on_gmpProxyStatus_(*this) {
    dispatchersAreSubscribedIs(true);
    // VLAN trackers consult the state of interfaces and of PIM, which is therefore there first.
    if (inputs_.l3IntfStatusDir) {
        for (const auto [intfId, status] : inputs_.l3IntfStatusDir->intfStatus())
            l3IntfStatusIs(status);
    }
    if (inputs_.pimStatusColl) {
        for (const auto [vrfName, status] : inputs_.pimStatusColl->vrfStatus())
            pimVrfStatusIs(status);
    }
    if (inputs_.membershipJoinStatus) {
        for (const auto [vlanId, join] : inputs_.membershipJoinStatus->vlan())
            vlanMembershipIs(join);
    }
    handleInitialized();
    on_enabledStatus_.on_selfPublisher(nullptr, inputs_.enabledStatus);
    on_enabledStatus_.on_self0(nullptr, inputs_.enabledStatus);
    on_gmpProxyStatus_.on_selfPublisher(nullptr, inputs_.gmpProxyStatus);
    on_gmpProxyStatus_.on_self0(nullptr, inputs_.gmpProxyStatus);
    on_enabledStatus_.on_self1(nullptr, inputs_.enabledStatus);
    on_gmpProxyStatus_.on_self1(nullptr, inputs_.gmpProxyStatus);
    started_ = true;
}

MembershipJoinStatusSm::~MembershipJoinStatusSm() {
    hasNotificationActiveIs(false);
    try {
        rixDoZombieReactors(true);
    } catch (...) {  // NOLINT(bugprone-empty-catch): there is nobody left to tell
    }
    dispatchersAreSubscribedIs(false);
    on_enabledStatus_.on_shutdown();
    on_gmpProxyStatus_.on_shutdown();
    // An observer may keep a tracker longer than the machine.
    for (const auto [intfId, tracker] : l3IntfStatus_)
        tracker->parentIs(nullptr);
    for (const auto [vrfName, tracker] : pimVrfStatus_)
        tracker->parentIs(nullptr);
    for (const auto [vlanId, tracker] : rixVlanMembership_)
        tracker->abandonedByParent();
}

void MembershipJoinStatusSm::dispatchersAreSubscribedIs(bool subscribed) {
    membershipJoinStatusDispatch_.isSubscribedIs(subscribed);
    pegDrStatusDispatch_.isSubscribedIs(subscribed);
    l3IntfStatusDirDispatch_.isSubscribedIs(subscribed);
    pimStatusCollDispatch_.isSubscribedIs(subscribed);
}

void MembershipJoinStatusSm::enabledStatusIs(
    const Lumo::Ptr<const Vxlan::EnabledStatus>& enabledStatus) {
    if (enabledStatus == inputs_.enabledStatus) return;
    const auto previous = std::exchange(inputs_.enabledStatus, enabledStatus);
    on_enabledStatus_.on_selfPublisher(previous, enabledStatus);
    on_enabledStatus_.on_self0(previous, enabledStatus);
    on_enabledStatus_.on_self1(previous, enabledStatus);
}

void MembershipJoinStatusSm::gmpProxyStatusIs(
    const Lumo::Ptr<const GmpProxyStatus>& gmpProxyStatus) {
    if (gmpProxyStatus == inputs_.gmpProxyStatus) return;
    const auto previous = std::exchange(inputs_.gmpProxyStatus, gmpProxyStatus);
    on_gmpProxyStatus_.on_selfPublisher(previous, gmpProxyStatus);
    on_gmpProxyStatus_.on_self0(previous, gmpProxyStatus);
    on_gmpProxyStatus_.on_self1(previous, gmpProxyStatus);
}

void MembershipJoinStatusSm::initializedIs(bool initialized) {
    if (initialized == initialized_) return;
    const bool previous = std::exchange(initialized_, initialized);
    Lumo::Delivery::deliver({*this, initializedField, nullptr, &previous});
}

void MembershipJoinStatusSm::hasNotificationActiveIs(bool active) {
    if (active == hasNotificationActive()) return;
    notificationActiveFlagIs(active);
    dispatchersAreSubscribedIs(active);
    for (const auto [intfId, tracker] : l3IntfStatus_)
        tracker->hasNotificationActiveIs(active);
    for (const auto [vrfName, tracker] : pimVrfStatus_)
        tracker->hasNotificationActiveIs(active);
    for (const auto [vlanId, tracker] : rixVlanMembership_) {
        tracker->hasNotificationActiveIs(active);
    }
}

void MembershipJoinStatusSm::rixDoZombieReactors(bool zombie) {
    if (zombie == isZombie()) return;
    Rix::FirstError error;
    const auto reap = [&](auto& trackers) {
        for (const auto& entry : trackers) {
            error.run([&] { entry.value->rixDoZombieReactors(zombie); });
        }
    };
    reap(l3IntfStatus_);
    reap(pimVrfStatus_);
    reap(rixVlanMembership_);
    zombieFlagIs(zombie);
    error.raise();
}

}  // namespace Irb::Multicast::Ingress::Detail
