#include "MembershipJoinStatusSm/RixVlanMembership.h"

#include <string>

#include "Lumo/Delivery.h"
#include "MembershipJoinStatusSm/FeatureToggles.h"
#include "MembershipJoinStatusSm/GroupMembership.h"
#include "MembershipJoinStatusSm/SmTrace.h"
#include "MembershipJoinStatusSm/followAll.h"
#include "Rix/FirstError.h"
#include "Rix/NullArgumentError.h"

namespace Irb::Multicast::Ingress::Detail {

using RixVlanMembership = MembershipJoinStatusSm::RixVlanMembership;
using NestedSm_GroupMembership = RixVlanMembership::NestedSm_GroupMembership;

RixVlanMembership::RixVlanMembership(const Lumo::Ptr<const Gmp::VlanMembershipJoin>& join,
                                     MembershipJoinStatusSm* parent)
    : Object(parent) {
    follow(join);
    isRegisteredNotifieeIs(true);
    handleVlanMembership();
    followGroups();
}

RixVlanMembership::~RixVlanMembership() {
    if (!parent() || parent()->isStarted()) abandonedByParent();
}

const Lumo::TypeData& RixVlanMembership::type() {
    static const Lumo::TypeData data(
        "MembershipJoinStatusSm::RixVlanMembership",
        {{"vlanId",
          [](const Lumo::Node& o) {
              const auto& self = static_cast<const RixVlanMembership&>(o);
              return std::to_string(self.vlanId().value());
          }},
         {"vrfName", [](const Lumo::Node& o) {
              const auto& self = static_cast<const RixVlanMembership&>(o);
              return std::string(self.vrfName().text());
          }}});
    return data;
}

void RixVlanMembership::notifierIs(const Lumo::Ptr<const Lumo::Node>& join) {
    const auto vlanJoin = Lumo::dynamicCast<const Gmp::VlanMembershipJoin>(join);
    if (vlanJoin == notifier()) return;
    follow(vlanJoin);
    followGroups();
    isRegisteredNotifieeIs(true);
}

void RixVlanMembership::followGroups() {
    const auto vlanJoin = notifier();  // held while it is walked
    if (!vlanJoin) return;
    followAll(
        vlanJoin->group(), groupMembership_, [&](const auto& join) { groupMembershipIs(join); },
        [&](const Ondel::IpGenAddr& groupAddr) { groupMembershipDel(groupAddr); });
}

void RixVlanMembership::onAttribute(Lumo::FieldId attribute, const void* key) {
    if (attribute != Gmp::VlanMembershipJoin::groupField || !notifier()) return;
    const auto& groupAddr = *static_cast<const Ondel::IpGenAddr*>(key);
    if (const auto group = notifier()->group(groupAddr)) {
        groupMembershipIs(group);
    } else {
        groupMembershipDel(groupAddr);
    }
}

void RixVlanMembership::hasNotificationActiveIs(bool active) {
    if (active == hasNotificationActive()) return;
    notificationActiveFlagIs(active);
    for (const auto [groupAddr, group] : groupMembership_)
        group->hasNotificationActiveIs(active);
}

void RixVlanMembership::rixDoZombieReactors(bool zombie) {
    if (zombie == isZombie()) return;
    if (notifier()) hasNotificationActiveIs(!zombie);
    Rix::FirstError error;
    error.run([&] { updateGmpStatus(Update::deleteVlan); });
    for (const auto [groupAddr, group] : groupMembership_) {
        error.run([&, &reaped = *group] { reaped.rixDoZombieReactors(zombie); });
    }
    zombieFlagIs(zombie);
    error.raise();
}

void RixVlanMembership::abandonedByParent() noexcept {
    for (const auto [groupAddr, tracker] : groupMembership_) {
        try {
            groupMembershipDel(groupAddr);
        } catch (...) {  // NOLINT(bugprone-empty-catch): there is nobody left to tell
        }
    }
    parentIs(nullptr);
    hasNotificationActiveIs(false);
}

Lumo::Ptr<NestedSm_GroupMembership> RixVlanMembership::groupMembership(
    const Ondel::IpGenAddr& groupAddr) {
    return groupMembership_.get(groupAddr);
}

Lumo::Ptr<NestedSm_GroupMembership> RixVlanMembership::groupMembershipIs(
    const Lumo::Ptr<const Gmp::GroupMembershipJoin>& join) {
    if (!join) {
        throw Rix::NullArgumentError("groupMembership",
                                     "MembershipJoinStatusSm::RixVlanMembership");
    }
    Lumo::Ptr<NestedSm_GroupMembership> tracker = groupMembership_.get(join->groupAddr());
    if (tracker) {
        if (tracker->notifier() != join) tracker->notifierIs(join);
    } else {
        tracker = Lumo::make<NestedSm_GroupMembership>(join, this);
        tracker->hasNotificationActiveIs(true);
        groupMembership_.valueIs(join->groupAddr(), tracker);
    }
    tracker->rixDoZombieReactors(isZombie());
    return tracker;
}

Lumo::Ptr<const Gmp::GroupMembershipJoin> RixVlanMembership::groupMembershipDel(
    const Ondel::IpGenAddr& groupAddr) {
    const Lumo::Ptr<NestedSm_GroupMembership> tracker = groupMembership_.del(groupAddr);
    if (!tracker) return nullptr;
    Rix::FirstError error;
    error.run([&] { tracker->rixDoZombieReactors(true); });
    tracker->parentIs(nullptr);
    tracker->hasNotificationActiveIs(false);
    error.raise();
    return tracker->notifier();
}

void RixVlanMembership::groupMembershipDelAll() {
    for (const auto [groupAddr, tracker] : groupMembership_) {
        groupMembershipDel(tracker->groupAddr());
    }
}

void RixVlanMembership::updateVrfName(const L3::VrfName& vrfName) {
    if (vrfName == vrfName_) return;
    TRACE_BLOCK(smTrace(),
                "void Irb::Multicast::Ingress::MembershipJoinStatusSm::RixVlanMembership::"
                "updateVrfName(const L3::VrfName&)");
    TRACE(smTrace(), 7, "updateVrfName",
          "updateVrfName( {} ), old name: {}, new name: {} vlan is {}", vlanId(), vrfName_, vrfName,
          vlanId());
    isDrForSbdVlan_ = isDrForSbdVlanOf(vrfName);
    vrfName_ = vrfName;
    gmpVrfApp_ = {vrfName, parent()->gmpStatusApp()};
    TRACE(smTrace(), 7, "updateVrfName", "updateVrfName, gmpVrfApp {}", gmpVrfApp_);
}

std::uint16_t RixVlanMembership::sbdVlanOf(const L3::VrfName& vrfName) const {
    return isOismMplsTunnel() ? parent()->vrfNameToSbdVlan(vrfName).value()
                              : parent()->vrfToSbdVlan(vrfName);
}

bool RixVlanMembership::isDrForSbdVlanOf(const L3::VrfName& vrfName) const {
    return parent()->isDrForVlan(sbdVlanOf(vrfName));
}

bool RixVlanMembership::isSbdVlan() const {
    return vlanId().value() == sbdVlanOf(vrfName_);
}

Lumo::Ptr<RixVlanMembership> MembershipJoinStatusSm::rixVlanMembership(Bridging::VlanId vlanId) {
    return rixVlanMembership_.get(vlanId);
}

Lumo::Ptr<RixVlanMembership> MembershipJoinStatusSm::vlanMembershipIs(
    const Lumo::Ptr<const Gmp::VlanMembershipJoin>& join) {
    if (!join) throw Rix::NullArgumentError("rixVlanMembership", "MembershipJoinStatusSm");
    const Bridging::VlanId vlanId = join->vlanId();
    Lumo::Ptr<RixVlanMembership> tracker = rixVlanMembership_.get(vlanId);
    if (tracker) {
        if (tracker->notifier() == join) return tracker;
        tracker->notifierIs(join);
    } else {
        tracker = Lumo::make<RixVlanMembership>(join, this);
        tracker->hasNotificationActiveIs(hasNotificationActive());
        rixVlanMembership_.valueIs(vlanId, tracker);
    }
    Lumo::Delivery::deliver({*this, rixVlanMembershipField, &vlanId, nullptr});
    return tracker;
}

Lumo::Ptr<const Gmp::VlanMembershipJoin> MembershipJoinStatusSm::vlanMembershipDel(
    Bridging::VlanId vlanId) {
    const Lumo::Ptr<RixVlanMembership> tracker = rixVlanMembership_.del(vlanId);
    if (!tracker) return nullptr;
    Rix::FirstError error;
    error.run([&] { tracker->rixDoZombieReactors(true); });
    error.run([&] { Lumo::Delivery::deliver({*this, rixVlanMembershipField, &vlanId, nullptr}); });
    tracker->parentIs(nullptr);
    tracker->hasNotificationActiveIs(false);
    error.raise();
    return tracker->notifier();
}

void MembershipJoinStatusSm::vlanMembershipDelAll() {
    for (const auto [vlanId, tracker] : rixVlanMembership_)
        vlanMembershipDel(tracker->vlanId());
}

}  // namespace Irb::Multicast::Ingress::Detail
