#include "MembershipJoinStatusSm/L3IntfStatus.h"

#include "Lumo/Delivery.h"
#include "MembershipJoinStatusSm/InternalVlan.h"
#include "MembershipJoinStatusSm/RixVlanMembership.h"
#include "MembershipJoinStatusSm/SmTrace.h"
#include "Ondel/VlanIntfId.h"
#include "Rix/FirstError.h"
#include "Rix/NullArgumentError.h"

namespace Irb::Multicast::Ingress::Detail {

using NestedSm_L3IntfStatus = MembershipJoinStatusSm::NestedSm_L3IntfStatus;
using Update = MembershipJoinStatusSm::RixVlanMembership::Update;

NestedSm_L3IntfStatus::NestedSm_L3IntfStatus(const Lumo::Ptr<const L3::Intf::Status>& status,
                                             MembershipJoinStatusSm* parent)
    : Object(parent) {
    follow(status);
    isRegisteredNotifieeIs(true);
    if (status && parent) parent->handleL3IntfStatus(status->intfId());
}

const Lumo::TypeData& NestedSm_L3IntfStatus::type() {
    static const Lumo::TypeData data(
        "MembershipJoinStatusSm::NestedSm_L3IntfStatus",
        {{"intfId", [](const Lumo::Node& o) {
              return static_cast<const NestedSm_L3IntfStatus&>(o).intfId().shortName();
          }}});
    return data;
}

void NestedSm_L3IntfStatus::onAttribute(Lumo::FieldId attribute, const void*) {
    if (attribute != L3::Intf::Status::vrfField || isZombie()) return;
    rix_handleL3IntfStatus_vrf();
}

void NestedSm_L3IntfStatus::rix_handleL3IntfStatus_vrf() {
    if (parent()) parent()->handleL3IntfStatus(intfId());
}

void NestedSm_L3IntfStatus::rixDoZombieReactors(bool zombie) {
    if (zombie == isZombie()) return;
    hasNotificationActiveIs(!zombie);
    Rix::FirstError error;
    error.run([&] { rix_handleL3IntfStatus_vrf(); });
    zombieFlagIs(zombie);
    error.raise();
}

void NestedSm_L3IntfStatus::notifierIs(const Lumo::Ptr<const Lumo::Node>& status) {
    const auto intfStatus = Lumo::dynamicCast<const L3::Intf::Status>(status);
    if (intfStatus == notifier()) return;
    const L3::VrfName oldVrfName = notifier() ? notifier()->vrf() : L3::VrfName();
    follow(intfStatus);
    isRegisteredNotifieeIs(true);
    const L3::VrfName newVrfName = notifier() ? notifier()->vrf() : L3::VrfName();
    if (newVrfName != oldVrfName && !isZombie()) rix_handleL3IntfStatus_vrf();
}

Lumo::Ptr<NestedSm_L3IntfStatus> MembershipJoinStatusSm::l3IntfStatus(Ondel::IntfId intfId) {
    return l3IntfStatus_.get(intfId);
}

Lumo::Ptr<NestedSm_L3IntfStatus> MembershipJoinStatusSm::l3IntfStatusIs(
    const Lumo::Ptr<const L3::Intf::Status>& status) {
    if (!status) throw Rix::NullArgumentError("l3IntfStatus", "MembershipJoinStatusSm");
    const Ondel::IntfId intfId = status->intfId();
    Lumo::Ptr<NestedSm_L3IntfStatus> tracker = l3IntfStatus_.get(intfId);
    if (tracker) {
        tracker->notifierIs(status);
        return tracker;
    }
    tracker = Lumo::make<NestedSm_L3IntfStatus>(status, this);
    tracker->hasNotificationActiveIs(hasNotificationActive());
    l3IntfStatus_.valueIs(intfId, tracker);
    Lumo::Delivery::deliver({*this, l3IntfStatusField, &intfId, nullptr});
    return tracker;
}

Lumo::Ptr<NestedSm_L3IntfStatus> MembershipJoinStatusSm::l3IntfStatusDel(Ondel::IntfId intfId) {
    Lumo::Ptr<NestedSm_L3IntfStatus> tracker = l3IntfStatus_.del(intfId);
    if (!tracker) return nullptr;
    Rix::FirstError error;
    error.run([&] { tracker->rixDoZombieReactors(true); });
    error.run([&] { Lumo::Delivery::deliver({*this, l3IntfStatusField, &intfId, nullptr}); });
    tracker->parentIs(nullptr);
    tracker->hasNotificationActiveIs(false);
    error.raise();
    return tracker;
}

void MembershipJoinStatusSm::l3IntfStatusDelAll() {
    for (const auto [intfId, tracker] : l3IntfStatus_)
        l3IntfStatusDel(intfId);
}

void MembershipJoinStatusSm::handleL3IntfStatus(Ondel::IntfId intfId) {
    TRACE_BLOCK(smTrace(),
                "void Irb::Multicast::Ingress::MembershipJoinStatusSm::"
                "handleL3IntfStatus(Ondel::IntfId)");
    if (!initialized_) return;
    TRACE(smTrace(), 3, "handleL3IntfStatus", "L3 intf change {}", intfId);
    if (!Ondel::VlanIntfId::isVlanIntfId(intfId)) return;
    const std::uint16_t number = Ondel::VlanIntfId::vlanId(intfId);
    if (isInternalVlan(number)) return;
    const Bridging::VlanId vlanId(number);
    const Lumo::Ptr<RixVlanMembership> tracker = rixVlanMembership(vlanId);
    if (!tracker) return;
    const auto status =
        inputs_.l3IntfStatusDir ? inputs_.l3IntfStatusDir->intfStatus(intfId) : nullptr;
    const L3::VrfName newVrfName = status ? status->vrf() : L3::VrfName();
    if (tracker->vrfName() == newVrfName) return;
    if (!tracker->vrfName().empty()) tracker->updateGmpStatus(Update::deleteVlan);
    TRACE(smTrace(), 8, "handleL3IntfStatus", "handleL3IntfStatus(), Set vrfName {} for {}",
          newVrfName, vlanId);
    tracker->updateVrfName(newVrfName);
    if (!newVrfName.empty()) tracker->updateGmpStatus(Update::asWanted);
}

void MembershipJoinStatusSm::handlePimTransitIntf(const L3::VrfName& vrfName,
                                                  Ondel::IntfId intfId) {
    TRACE_BLOCK(smTrace(),
                "void Irb::Multicast::Ingress::MembershipJoinStatusSm::"
                "handlePimTransitIntf(const L3::VrfName&, Ondel::IntfId)");
    static constexpr auto function = "handlePimTransitIntf";
    TRACE(smTrace(), 9, function, "handlePimTransitIntf( {}, {} )", vrfName, intfId);
    if (!initialized_) return;
    if (!Ondel::VlanIntfId::isVlanIntfId(intfId)) {
        TRACE(smTrace(), 9, function, "handlePimTransitIntf, Not a VLAN {}", intfId);
        return;
    }
    const std::uint16_t number = Ondel::VlanIntfId::vlanId(intfId);
    if (isInternalVlan(number)) return;
    const Bridging::VlanId vlanId(number);
    const Lumo::Ptr<RixVlanMembership> tracker = rixVlanMembership(vlanId);
    if (!tracker) {
        TRACE(smTrace(), 9, function, "handlePimTransitIntf, No membership for VLAN {}", vlanId);
        return;
    }
    if (!inputs_.l3IntfStatusDir || !inputs_.l3IntfStatusDir->intfStatus(intfId)) {
        TRACE(smTrace(), 9, function, "handlePimTransitIntf, No IntfStatus for {}", intfId);
        return;
    }
    if (sbdVlanToVrf(vlanId).empty()) {
        TRACE(smTrace(), 9, function, "handlePimTransitIntf, Not SBD vlan {}", intfId);
        return;
    }
    tracker->updateGmpStatus(Update::asWanted);
}

}  // namespace Irb::Multicast::Ingress::Detail
