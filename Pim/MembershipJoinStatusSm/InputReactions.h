// How changes of the inputs reach the handlers of the state machine.
#pragma once

#include <cstdint>
#include <utility>

#include "Bridging/VlanId.h"
#include "Irb/Multicast/GmpProxyStatus.h"
#include "L3/VrfName.h"
#include "Lumo/Ptr.h"
#include "Lumo/Subscriber.h"
#include "Ondel/IntfId.h"
#include "Rix/Optional.h"
#include "Rix/ValueMap.h"
#include "Vxlan/EnabledStatus.h"

namespace Irb::Multicast::Ingress::Detail {

class MembershipJoinStatusSm;

/// Turns each change of one keyed attribute of an input into one reaction of the state machine.
/// Part of the machine; holds no state but its subscription. A null input is never subscribed to.
template <class Input, class Key>
class CollectionDispatch final : Lumo::Subscriber {
  public:
    using Reaction = void (*)(MembershipJoinStatusSm& root, const Key& key);

    /// Not subscribed yet.
    CollectionDispatch(MembershipJoinStatusSm& root, Lumo::Ptr<const Input> input,
                       Lumo::FieldId served, Reaction reaction)
        : root_(root), input_(std::move(input)), served_(served), reaction_(reaction) {}
    ~CollectionDispatch() override { isSubscribedIs(false); }
    CollectionDispatch(const CollectionDispatch&) = delete;
    CollectionDispatch& operator=(const CollectionDispatch&) = delete;

    void isSubscribedIs(bool subscribed);

  private:
    void onNotification(const Lumo::Notification& change) override;

    MembershipJoinStatusSm& root_;
    const Lumo::Ptr<const Input> input_;
    const Lumo::FieldId served_;
    const Reaction reaction_;
    bool subscribed_ = false;
};

/// The reactions of the four collection dispatchers.
void dispatchVlan(MembershipJoinStatusSm& root, const Bridging::VlanId& vlanId);
void dispatchPegDrVlan(MembershipJoinStatusSm& root, const Bridging::VlanId& vlanId);
void dispatchIntfStatus(MembershipJoinStatusSm& root, const Ondel::IntfId& intfId);
void dispatchVrfStatus(MembershipJoinStatusSm& root, const L3::VrfName& vrfName);

/// The maps of the VXLAN domain, as SbdVlanMapReactor sees them.
struct VxlanSbdVlanMaps {
    using Input = Vxlan::EnabledStatus;
    using Vlan = std::uint16_t;
    using OptionalVlan = Rix::Optional<std::uint16_t>;
    using SbdVlan = std::uint32_t;
    static constexpr Lumo::FieldId vrfToSbdVlanField = Input::vrfToSBDVlanField;

    static const auto& vrfToSbdVlan(const Input& input) { return input.vrfToSBDVlan(); }
    static std::uint32_t number(SbdVlan vlan) { return vlan; }
    static void handleVrfToSbdVlan(MembershipJoinStatusSm& root, const L3::VrfName& vrfName,
                                   OptionalVlan oldSbdVlan, OptionalVlan newSbdVlan);
};

/// The maps of the MPLS domain, as SbdVlanMapReactor sees them.
struct MplsSbdVlanMaps {
    using Input = GmpProxyStatus;
    using Vlan = Bridging::VlanId;
    using OptionalVlan = Bridging::VlanId::Optional;
    using SbdVlan = Bridging::VlanId;
    static constexpr Lumo::FieldId vrfToSbdVlanField = Input::vrfToSbdVlanField;

    static const auto& vrfToSbdVlan(const Input& input) { return input.vrfToSbdVlan(); }
    static std::uint32_t number(SbdVlan vlan) { return vlan.value(); }
    static void handleVrfToSbdVlan(MembershipJoinStatusSm& root, const L3::VrfName& vrfName,
                                   OptionalVlan oldSbdVlan, OptionalVlan newSbdVlan);
};

/// Reacts to the two maps of one VRF-to-SBD-VLAN input, and to the replacement of that input. Part
/// of the machine. It calls handlers only while the machine is referenced: during its destruction
/// nothing is replayed.
template <class Maps>
class SbdVlanMapReactor final : Lumo::Subscriber {
  public:
    using Input = typename Maps::Input;
    using InputPtr = Lumo::Ptr<const Input>;

    /// Not attached to an input yet.
    explicit SbdVlanMapReactor(MembershipJoinStatusSm& root) : root_(root) {}
    ~SbdVlanMapReactor() override { on_shutdown(); }
    SbdVlanMapReactor(const SbdVlanMapReactor&) = delete;
    SbdVlanMapReactor& operator=(const SbdVlanMapReactor&) = delete;

    /// An entry of the VRF-to-SBD-VLAN map changed; `previous` is null where it was added.
    void on_child(const L3::VrfName& vrfName, const typename Maps::Vlan* previous);
    /// An entry of the SBD-VLAN-to-VRF map changed.
    void on_child(typename Maps::SbdVlan vlan);
    /// The input was replaced: listens to the new one from now on.
    void on_selfPublisher(const InputPtr& oldInput, const InputPtr& newInput);
    /// The input was replaced: replays the VRF-to-SBD-VLAN maps of both, the old one's entries
    /// first.
    void on_self0(const InputPtr& oldInput, const InputPtr& newInput);
    /// The input was replaced: replays the SBD-VLAN-to-VRF maps of both in the same way.
    void on_self1(const InputPtr& oldInput, const InputPtr& newInput);
    /// Listens to nothing any more.
    void on_shutdown();

  private:
    void onNotification(const Lumo::Notification& change) override;
    bool isRootReferenced() const;

    MembershipJoinStatusSm& root_;
    InputPtr input_;
};

}  // namespace Irb::Multicast::Ingress::Detail
