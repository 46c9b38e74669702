#include "MembershipJoinStatusSm/PimVrfStatus.h"

#include <string>

#include "Lumo/Delivery.h"
#include "Rix/FirstError.h"
#include "Rix/NullArgumentError.h"

namespace Irb::Multicast::Ingress::Detail {

using NestedSm_PimVrfStatus = MembershipJoinStatusSm::NestedSm_PimVrfStatus;

NestedSm_PimVrfStatus::NestedSm_PimVrfStatus(const Lumo::Ptr<const Routing::Pim::Status>& status,
                                             MembershipJoinStatusSm* parent)
    : Object(parent) {
    follow(status);
    isRegisteredNotifieeIs(true);
}

const Lumo::TypeData& NestedSm_PimVrfStatus::type() {
    static const Lumo::TypeData data(
        "MembershipJoinStatusSm::NestedSm_PimVrfStatus",
        {{"vrfName", [](const Lumo::Node& o) {
              return std::string(static_cast<const NestedSm_PimVrfStatus&>(o).vrfName().text());
          }}});
    return data;
}

void NestedSm_PimVrfStatus::onAttribute(Lumo::FieldId attribute, const void* key) {
    if (attribute != Routing::Pim::Status::intfField) return;
    if (isZombie() || !parent()) return;
    parent()->handlePimTransitIntf(vrfName(), *static_cast<const Ondel::IntfId*>(key));
}

void NestedSm_PimVrfStatus::rixDoZombieReactors(bool zombie) {
    if (zombie == isZombie()) return;
    hasNotificationActiveIs(!zombie);
    zombieFlagIs(zombie);
}

void NestedSm_PimVrfStatus::notifierIs(const Lumo::Ptr<const Lumo::Node>& status) {
    const auto pimStatus = Lumo::dynamicCast<const Routing::Pim::Status>(status);
    if (pimStatus == notifier()) return;
    follow(pimStatus);
    isRegisteredNotifieeIs(true);
}

Lumo::Ptr<NestedSm_PimVrfStatus> MembershipJoinStatusSm::pimVrfStatus(const L3::VrfName& vrfName) {
    return pimVrfStatus_.get(vrfName);
}

Lumo::Ptr<NestedSm_PimVrfStatus> MembershipJoinStatusSm::pimVrfStatusIs(
    const Lumo::Ptr<const Routing::Pim::Status>& status) {
    if (!status) throw Rix::NullArgumentError("pimVrfStatus", "MembershipJoinStatusSm");
    const L3::VrfName vrfName = status->vrfName();
    Lumo::Ptr<NestedSm_PimVrfStatus> tracker = pimVrfStatus_.get(vrfName);
    if (tracker) {
        tracker->notifierIs(status);
        return tracker;
    }
    tracker = Lumo::make<NestedSm_PimVrfStatus>(status, this);
    tracker->hasNotificationActiveIs(hasNotificationActive());
    pimVrfStatus_.valueIs(vrfName, tracker);
    Lumo::Delivery::deliver({*this, pimVrfStatusField, &vrfName, nullptr});
    return tracker;
}

void MembershipJoinStatusSm::pimVrfStatusDel(const L3::VrfName& vrfName) {
    const Lumo::Ptr<NestedSm_PimVrfStatus> tracker = pimVrfStatus_.del(vrfName);
    if (!tracker) return;
    Rix::FirstError error;
    tracker->rixDoZombieReactors(true);
    error.run([&] { Lumo::Delivery::deliver({*this, pimVrfStatusField, &vrfName, nullptr}); });
    tracker->parentIs(nullptr);
    tracker->hasNotificationActiveIs(false);
    error.raise();
}

void MembershipJoinStatusSm::pimVrfStatusDelAll() {
    for (const auto [vrfName, tracker] : pimVrfStatus_)
        pimVrfStatusDel(vrfName);
}

}  // namespace Irb::Multicast::Ingress::Detail
