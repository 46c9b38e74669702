// The life of the machine, and its attributes.
#include "MembershipJoinStatusSm/Root.h"

#include <utility>

#include "Lumo/Delivery.h"
#include "MembershipJoinStatusSm/L3IntfStatus.h"
#include "MembershipJoinStatusSm/PimVrfStatus.h"
#include "MembershipJoinStatusSm/RixVlanMembership.h"
#include "Rix/FirstError.h"

namespace Irb::Multicast::Ingress::Detail {

using Routing::Gmp::Tessel::App;

MembershipJoinStatusSm::MembershipJoinStatusSm(
    Domain domain, Lumo::Ptr<const Gmp::MembershipJoinStatus> membershipJoinStatus,
    Lumo::Ptr<const Routing::Multicast::PegDrStatus> pegDrStatus,
    Lumo::Ptr<const L3::Intf::StatusDir> l3IntfStatusDir,
    Lumo::Ptr<const Vxlan::EnabledStatus> enabledStatus,
    Lumo::Ptr<const Routing::Pim::StatusColl> pimStatusColl,
    Lumo::Ptr<Routing::Gmp::Tessel::StatusColl> gmpStatusLocalColl,
    Lumo::Ptr<const GmpProxyStatus> gmpProxyStatus, App gmpStatusApp)
    : domain_(domain),
      membershipJoinStatus_(std::move(membershipJoinStatus)),
      pegDrStatus_(std::move(pegDrStatus)),
      l3IntfStatusDir_(std::move(l3IntfStatusDir)),
      enabledStatus_(std::move(enabledStatus)),
      pimStatusColl_(std::move(pimStatusColl)),
      gmpProxyStatus_(std::move(gmpProxyStatus)),
      gmpStatusLocalColl_(std::move(gmpStatusLocalColl)),
      gmpStatusApp_(gmpStatusApp),
      membershipJoinStatusDispatch_(*this, membershipJoinStatus_,
                                    Gmp::MembershipJoinStatus::vlanField, dispatchVlan),
      pegDrStatusDispatch_(*this, pegDrStatus_, Routing::Multicast::PegDrStatus::pegDrVlanField,
                           dispatchPegDrVlan),
      l3IntfStatusDirDispatch_(*this, l3IntfStatusDir_, L3::Intf::StatusDir::intfStatusField,
                               dispatchIntfStatus),
      pimStatusCollDispatch_(*this, pimStatusColl_, Routing::Pim::StatusColl::vrfStatusField,
                             dispatchVrfStatus),
      on_enabledStatus_(*this),
      on_gmpProxyStatus_(*this) {
    dispatchersAreSubscribedIs(true);
    // VLAN trackers consult the state of interfaces and of PIM, which is therefore there first.
    if (l3IntfStatusDir_) {
        for (const auto [intfId, status] : l3IntfStatusDir_->intfStatus())
            l3IntfStatusIs(status);
    }
    if (pimStatusColl_) {
        for (const auto [vrfName, status] : pimStatusColl_->vrfStatus())
            pimVrfStatusIs(status);
    }
    if (membershipJoinStatus_) {
        for (const auto [vlanId, join] : membershipJoinStatus_->vlan())
            vlanMembershipIs(join);
    }
    handleInitialized();
    on_enabledStatus_.on_selfPublisher(nullptr, enabledStatus_);
    on_enabledStatus_.on_self0(nullptr, enabledStatus_);
    on_gmpProxyStatus_.on_selfPublisher(nullptr, gmpProxyStatus_);
    on_gmpProxyStatus_.on_self0(nullptr, gmpProxyStatus_);
    on_enabledStatus_.on_self1(nullptr, enabledStatus_);
    on_gmpProxyStatus_.on_self1(nullptr, gmpProxyStatus_);
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
    if (enabledStatus == enabledStatus_) return;
    const auto previous = std::exchange(enabledStatus_, enabledStatus);
    on_enabledStatus_.on_selfPublisher(previous, enabledStatus);
    on_enabledStatus_.on_self0(previous, enabledStatus);
    on_enabledStatus_.on_self1(previous, enabledStatus);
}

void MembershipJoinStatusSm::gmpProxyStatusIs(
    const Lumo::Ptr<const GmpProxyStatus>& gmpProxyStatus) {
    if (gmpProxyStatus == gmpProxyStatus_) return;
    const auto previous = std::exchange(gmpProxyStatus_, gmpProxyStatus);
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
