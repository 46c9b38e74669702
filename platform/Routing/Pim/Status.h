#pragma once

#include "L3/VrfName.h"
#include "Lumo/Object.h"
#include "Lumo/Observable.h"
#include "Rix/Collection.h"
#include "Rix/Export.h"
#include "Routing/Pim/Intf.h"

namespace Routing::Pim {

/// PIM's status in one VRF: the interfaces on which it runs.
///
/// Published by PIM; readers hold shared read-only references. Belongs to the thread of the event
/// loop on which it is published.
///
/// A setter also raises what those who follow the record raise at the change, which was made then:
/// a state machine a std::system_error if its table finds no room or its file is gone, a
/// Rix::RangeError if a VLAN number cannot be one, std::bad_alloc. The record and everybody who
/// follows it stay usable; the machine's `reconcile` makes up for what it missed.
class RIX_EXPORT Status final : public Lumo::Object<Status, Lumo::Observable> {
  public:
    /// Keyed by Ondel::IntfId.
    static constexpr Lumo::FieldId intfField{1};

    explicit Status(const L3::VrfName& vrfName) : vrfName_(vrfName) {}
    static const Lumo::TypeData& type();

    /// The record's key.
    const L3::VrfName& vrfName() const { return vrfName_; }

    /// The PIM interfaces of the VRF, keyed by interface.
    const Rix::Collection<Ondel::IntfId, Lumo::Ptr<Intf>>& intf() const { return intf_; }
    /// The entry under a key, or null.
    Lumo::Ptr<const Intf> intf(Ondel::IntfId intfId) const { return intf_.get(intfId); }
    Lumo::Ptr<Intf> intf(Ondel::IntfId intfId) { return intf_.get(intfId); }
    /// Puts an entry under its key, in place of any there, and publishes that.
    /// @throws Rix::NullArgumentError if there is no entry
    void intfIs(const Lumo::Ptr<Intf>& intf);
    /// Removes an entry and publishes that; nothing if there is none.
    void intfDel(Ondel::IntfId intfId);

  private:
    L3::VrfName vrfName_;
    Rix::Collection<Ondel::IntfId, Lumo::Ptr<Intf>> intf_;
};

}  // namespace Routing::Pim
