#pragma once

#include "MembershipJoinStatusSm/Root.h"
#include "MembershipJoinStatusSm/Tracker.h"

namespace Irb::Multicast::Ingress::Detail {

/// Follows the status of one L3 interface, so that a change of its VRF reaches the machine.
///
/// Made by l3IntfStatusIs for each status of the directory, keyed by the interface; removed by
/// l3IntfStatusDel when the status goes. The machine owns it; it points back at the machine until
/// it is removed. As a zombie it ignores changes of the VRF.
class MembershipJoinStatusSm::NestedSm_L3IntfStatus final
    : public Lumo::Object<NestedSm_L3IntfStatus,
                          Tracker<L3::Intf::Status, MembershipJoinStatusSm>> {
  public:
    /// Applies the status's VRF to the VLAN at once.
    NestedSm_L3IntfStatus(const Lumo::Ptr<const L3::Intf::Status>& status,
                          MembershipJoinStatusSm* parent);
    static const Lumo::TypeData& type();

    void onAttribute(Lumo::FieldId attribute, const void* key) override;
    /// Becoming a zombie is what clears a VLAN's VRF when its interface status is deleted.
    void rixDoZombieReactors(bool zombie) override;

    /// Points it at another status; one of another VRF counts as a change of the VRF.
    void notifierIs(const Lumo::Ptr<const Lumo::Node>& status);

    void rix_handleL3IntfStatus_vrf();

    /// The key: the interface; the default while no status is followed.
    Ondel::IntfId intfId() const { return notifier() ? notifier()->intfId() : Ondel::IntfId(); }
};

}  // namespace Irb::Multicast::Ingress::Detail
