#pragma once

#include <cstdint>

#include "L3/VrfName.h"
#include "Lumo/Object.h"
#include "Lumo/Observable.h"
#include "Rix/Export.h"
#include "Rix/ValueMap.h"

namespace Vxlan {

/// Which VLAN is the supplementary broadcast domain (SBD, RFC 9625) of which VRF in the VXLAN
/// domain. VLANs are plain numbers here: whoever takes one for a VLAN id checks it.
///
/// Published by the agent that configures the domain; readers hold shared read-only references.
/// Belongs to the thread of the event loop on which it is published.
///
/// A setter also raises what those who follow the record raise at the change, which was made then:
/// a state machine a std::system_error if its table finds no room or its file is gone, a
/// Rix::RangeError if a VLAN number cannot be one, std::bad_alloc. The record and everybody who
/// follows it stay usable; the machine's `reconcile` makes up for what it missed.
class RIX_EXPORT EnabledStatus final : public Lumo::Object<EnabledStatus, Lumo::Observable> {
  public:
    /// Keyed by L3::VrfName; the previous value is a std::uint16_t.
    static constexpr Lumo::FieldId vrfToSBDVlanField{0};
    /// Keyed by std::uint32_t; the previous value is an L3::VrfName.
    static constexpr Lumo::FieldId sbdVlanToVrfField{1};

    using HN_VrfToSBDVlan = Rix::ValueMap<L3::VrfName, std::uint16_t>;
    using HN_SbdVlanToVrf = Rix::ValueMap<std::uint32_t, L3::VrfName>;

    static const Lumo::TypeData& type();

    /// The SBD VLAN of each VRF.
    const HN_VrfToSBDVlan& vrfToSBDVlan() const { return vrfToSBDVlan_; }
    /// Sets or removes the SBD VLAN of a VRF, and publishes that if it changes anything.
    void vrfToSBDVlanIs(const L3::VrfName& vrf, std::uint16_t vlan);
    void vrfToSBDVlanDel(const L3::VrfName& vrf);

    /// The VRF of each SBD VLAN; an empty name counts as none.
    const HN_SbdVlanToVrf& sbdVlanToVrf() const { return sbdVlanToVrf_; }
    /// Sets or removes the VRF of an SBD VLAN, and publishes that if it changes anything.
    void sbdVlanToVrfIs(std::uint32_t vlan, const L3::VrfName& vrf);
    void sbdVlanToVrfDel(std::uint32_t vlan);

  private:
    HN_VrfToSBDVlan vrfToSBDVlan_;
    HN_SbdVlanToVrf sbdVlanToVrf_;
};

}  // namespace Vxlan
