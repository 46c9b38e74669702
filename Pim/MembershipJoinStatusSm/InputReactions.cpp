#include "MembershipJoinStatusSm/InputReactions.h"

#include "MembershipJoinStatusSm/L3IntfStatus.h"
#include "MembershipJoinStatusSm/PimVrfStatus.h"
#include "MembershipJoinStatusSm/RixVlanMembership.h"
#include "MembershipJoinStatusSm/Root.h"

namespace Irb::Multicast::Ingress::Detail {

template <class Input, class Key>
void CollectionDispatch<Input, Key>::isSubscribedIs(bool subscribed) {
    if (!input_ || subscribed == subscribed_) return;
    subscribed_ = subscribed;
    if (subscribed) {
        input_->publisher()->subscriberIs(*this);
    } else {
        input_->publisher()->subscriberDel(*this);
    }
}

template <class Input, class Key>
void CollectionDispatch<Input, Key>::onNotification(const Lumo::Notification& change) {
    if (change.attribute != served_) return;
    // An observer of the machine may drop the last reference to it.
    const Lumo::Ptr<MembershipJoinStatusSm> kept(&root_);
    reaction_(root_, change.keyAs<Key>());
}

template class CollectionDispatch<Gmp::MembershipJoinStatus, Bridging::VlanId>;
template class CollectionDispatch<Routing::Multicast::PegDrStatus, Bridging::VlanId>;
template class CollectionDispatch<L3::Intf::StatusDir, Ondel::IntfId>;
template class CollectionDispatch<Routing::Pim::StatusColl, L3::VrfName>;

void dispatchVlan(MembershipJoinStatusSm& root, const Bridging::VlanId& vlanId) {
    if (const auto join = root.membershipJoinStatus()->vlan(vlanId)) {
        root.vlanMembershipIs(join);
    } else {
        root.vlanMembershipDel(vlanId);
    }
}

void dispatchPegDrVlan(MembershipJoinStatusSm& root, const Bridging::VlanId& vlanId) {
    if (!root.isZombie()) root.handlePegDrStatus(vlanId);
}

void dispatchIntfStatus(MembershipJoinStatusSm& root, const Ondel::IntfId& intfId) {
    if (const auto status = root.l3IntfStatusDir()->intfStatus(intfId)) {
        root.l3IntfStatusIs(status);
    } else {
        root.l3IntfStatusDel(intfId);
    }
}

void dispatchVrfStatus(MembershipJoinStatusSm& root, const L3::VrfName& vrfName) {
    if (const auto status = root.pimStatusColl()->vrfStatus(vrfName)) {
        root.pimVrfStatusIs(status);
    } else {
        root.pimVrfStatusDel(vrfName);
    }
    if (!root.isZombie()) root.handlePimVrf(vrfName);
}

void VxlanSbdVlanMaps::handleVrfToSbdVlan(MembershipJoinStatusSm& root, const L3::VrfName& vrfName,
                                          OptionalVlan oldSbdVlan, OptionalVlan newSbdVlan) {
    root.handleVxlanVrfToSbdVlan(vrfName, oldSbdVlan, newSbdVlan);
}

void MplsSbdVlanMaps::handleVrfToSbdVlan(MembershipJoinStatusSm& root, const L3::VrfName& vrfName,
                                         OptionalVlan oldSbdVlan, OptionalVlan newSbdVlan) {
    root.handleMplsVrfToSbdVlan(vrfName, oldSbdVlan, newSbdVlan);
}

namespace {

/// The SBD VLAN of a VRF in an input's map; absent where the VRF, or the input, is.
template <class Maps>
typename Maps::OptionalVlan sbdVlanOf(const Lumo::Ptr<const typename Maps::Input>& input,
                                      const L3::VrfName& vrfName) {
    const auto* vlan = input ? Maps::vrfToSbdVlan(*input).find(vrfName) : nullptr;
    return vlan ? typename Maps::OptionalVlan(*vlan) : typename Maps::OptionalVlan();
}

}  // namespace

template <class Maps>
bool SbdVlanMapReactor<Maps>::isRootReferenced() const {
    return root_.references() != 0;
}

template <class Maps>
void SbdVlanMapReactor<Maps>::on_child(const L3::VrfName& vrfName,
                                       const typename Maps::Vlan* previous) {
    const auto oldSbdVlan =
        previous ? typename Maps::OptionalVlan(*previous) : typename Maps::OptionalVlan();
    Maps::handleVrfToSbdVlan(root_, vrfName, oldSbdVlan, sbdVlanOf<Maps>(input_, vrfName));
}

template <class Maps>
void SbdVlanMapReactor<Maps>::on_child(typename Maps::SbdVlan vlan) {
    root_.handleSbdVlanToVrf(Maps::number(vlan));
}

template <class Maps>
void SbdVlanMapReactor<Maps>::on_selfPublisher(const InputPtr& oldInput, const InputPtr& newInput) {
    if (oldInput) oldInput->publisher()->subscriberDel(*this);
    input_ = newInput;
    if (newInput) newInput->publisher()->subscriberIs(*this);
}

template <class Maps>
void SbdVlanMapReactor<Maps>::on_self0(const InputPtr& oldInput, const InputPtr& newInput) {
    if (!isRootReferenced()) return;
    if (oldInput) {
        for (const auto [vrfName, oldSbdVlan] : Maps::vrfToSbdVlan(*oldInput)) {
            Maps::handleVrfToSbdVlan(root_, vrfName, oldSbdVlan,
                                     sbdVlanOf<Maps>(newInput, vrfName));
        }
    }
    if (!newInput) return;
    for (const auto [vrfName, newSbdVlan] : Maps::vrfToSbdVlan(*newInput)) {
        if (oldInput && Maps::vrfToSbdVlan(*oldInput).contains(vrfName)) continue;
        Maps::handleVrfToSbdVlan(root_, vrfName, {}, newSbdVlan);
    }
}

template <class Maps>
void SbdVlanMapReactor<Maps>::on_self1(const InputPtr& oldInput, const InputPtr& newInput) {
    if (!isRootReferenced()) return;
    if (oldInput) {
        for (const auto [vlan, vrfName] : oldInput->sbdVlanToVrf())
            on_child(vlan);
    }
    if (!newInput) return;
    for (const auto [vlan, vrfName] : newInput->sbdVlanToVrf()) {
        if (!oldInput || !oldInput->sbdVlanToVrf().contains(vlan)) on_child(vlan);
    }
}

template <class Maps>
void SbdVlanMapReactor<Maps>::on_shutdown() {
    on_selfPublisher(input_, nullptr);
}

template <class Maps>
void SbdVlanMapReactor<Maps>::onNotification(const Lumo::Notification& change) {
    if (!isRootReferenced()) return;
    // An observer of the machine may drop the last reference to it.
    const Lumo::Ptr<MembershipJoinStatusSm> kept(&root_);
    if (change.attribute == Maps::vrfToSbdVlanField) {
        on_child(change.keyAs<L3::VrfName>(), change.previousAs<typename Maps::Vlan>());
    } else if (change.attribute == Input::sbdVlanToVrfField) {
        on_child(change.keyAs<typename Maps::SbdVlan>());
    }
}

template class SbdVlanMapReactor<VxlanSbdVlanMaps>;
template class SbdVlanMapReactor<MplsSbdVlanMaps>;

}  // namespace Irb::Multicast::Ingress::Detail
