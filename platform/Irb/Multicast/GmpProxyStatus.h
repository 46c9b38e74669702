#pragma once

#include "Bridging/VlanId.h"
#include "L3/VrfName.h"
#include "Lumo/Object.h"
#include "Lumo/Observable.h"
#include "Rix/Export.h"
#include "Rix/ValueMap.h"

namespace Irb::Multicast {

/// Which VLAN is the supplementary broadcast domain (SBD, RFC 9625) of which VRF in the MPLS
/// domain.
///
/// Published by the agent that configures the domain; readers hold shared read-only references.
/// Belongs to the thread of the event loop on which it is published.
///
/// A setter also raises what those who follow the record raise at the change, which was made then:
/// a state machine a std::system_error if its table finds no room or its file is gone, a
/// Rix::RangeError if a VLAN number cannot be one, std::bad_alloc. The record and everybody who
/// follows it stay usable; the machine's `reconcile` makes up for what it missed.
class RIX_EXPORT GmpProxyStatus final : public Lumo::Object<GmpProxyStatus, Lumo::Observable> {
  public:
    /// Keyed by L3::VrfName; the previous value is a Bridging::VlanId.
    static constexpr Lumo::FieldId vrfToSbdVlanField{0};
    /// Keyed by Bridging::VlanId; the previous value is an L3::VrfName.
    static constexpr Lumo::FieldId sbdVlanToVrfField{1};

    using HN_VrfToSbdVlan = Rix::ValueMap<L3::VrfName, Bridging::VlanId>;
    using HN_SbdVlanToVrf = Rix::ValueMap<Bridging::VlanId, L3::VrfName>;

    static const Lumo::TypeData& type();

    /// The SBD VLAN of each VRF.
    const HN_VrfToSbdVlan& vrfToSbdVlan() const { return vrfToSbdVlan_; }
    /// Sets or removes the SBD VLAN of a VRF, and publishes that if it changes anything.
    void vrfToSbdVlanIs(const L3::VrfName& vrf, Bridging::VlanId vlan);
    void vrfToSbdVlanDel(const L3::VrfName& vrf);

    /// The VRF of each SBD VLAN; an empty name counts as none.
    const HN_SbdVlanToVrf& sbdVlanToVrf() const { return sbdVlanToVrf_; }
    /// Sets or removes the VRF of an SBD VLAN, and publishes that if it changes anything.
    void sbdVlanToVrfIs(Bridging::VlanId vlan, const L3::VrfName& vrf);
    void sbdVlanToVrfDel(Bridging::VlanId vlan);

  private:
    HN_VrfToSbdVlan vrfToSbdVlan_;
    HN_SbdVlanToVrf sbdVlanToVrf_;
};

}  // namespace Irb::Multicast
