#pragma once

#include "MembershipJoinStatusSm/Root.h"
#include "MembershipJoinStatusSm/Tracker.h"

namespace Irb::Multicast::Ingress::Detail {

/// Follows the PIM status of one VRF, so that a change of its interfaces reaches the machine.
///
/// Made by pimVrfStatusIs for each VRF that has a PIM status, keyed by the VRF's name; removed by
/// pimVrfStatusDel when the status goes. The machine owns it; it points back at the machine until
/// it is removed. As a zombie it ignores changes.
class MembershipJoinStatusSm::NestedSm_PimVrfStatus final
    : public Lumo::Object<NestedSm_PimVrfStatus,
                          Tracker<Routing::Pim::Status, MembershipJoinStatusSm>> {
  public:
    NestedSm_PimVrfStatus(const Lumo::Ptr<const Routing::Pim::Status>& status,
                          MembershipJoinStatusSm* parent);
    static const Lumo::TypeData& type();

    void onAttribute(Lumo::FieldId attribute, const void* key) override;
    void rixDoZombieReactors(bool zombie) override;

    /// Points it at another status.
    void notifierIs(const Lumo::Ptr<const Lumo::Node>& status);

    /// The key: the name of the VRF; empty while no status is followed.
    L3::VrfName vrfName() const { return notifier() ? notifier()->vrfName() : L3::VrfName(); }
};

}  // namespace Irb::Multicast::Ingress::Detail
