#pragma once

#include "L3/VrfName.h"
#include "Lumo/Object.h"
#include "Lumo/Observable.h"
#include "Ondel/IntfId.h"
#include "Rix/Export.h"

namespace L3::Intf {

/// The status of one L3 interface: the VRF to which it is bound.
///
/// Published by the agent that configures interfaces; readers hold shared read-only references.
/// Belongs to the thread of the event loop on which it is published.
///
/// A setter also raises what those who follow the record raise at the change, which was made then:
/// a state machine a std::system_error if its table finds no room or its file is gone, a
/// Rix::RangeError if a VLAN number cannot be one, std::bad_alloc. The record and everybody who
/// follows it stay usable; the machine's `reconcile` makes up for what it missed.
class RIX_EXPORT Status final : public Lumo::Object<Status, Lumo::Observable> {
  public:
    static constexpr Lumo::FieldId vrfField{1};

    explicit Status(Ondel::IntfId intfId, const VrfName& vrf = {}) : intfId_(intfId), vrf_(vrf) {}
    static const Lumo::TypeData& type();

    /// The record's key.
    Ondel::IntfId intfId() const { return intfId_; }
    /// The VRF; the empty name while the interface is bound to none.
    const VrfName& vrf() const { return vrf_; }
    /// Binds the interface to a VRF, and publishes that with the previous one if it differs.
    void vrfIs(const VrfName& vrf);

  private:
    Ondel::IntfId intfId_;
    VrfName vrf_;
};

}  // namespace L3::Intf
