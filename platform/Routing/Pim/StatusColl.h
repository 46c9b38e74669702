#pragma once

#include "L3/VrfName.h"
#include "Lumo/Object.h"
#include "Lumo/Observable.h"
#include "Rix/Collection.h"
#include "Rix/Export.h"
#include "Routing/Pim/Status.h"

namespace Routing::Pim {

/// PIM's status in every VRF in which it runs.
///
/// Published by PIM; readers hold shared read-only references. Belongs to the thread of the event
/// loop on which it is published.
///
/// A setter also raises what those who follow the record raise at the change, which was made then:
/// a state machine a std::system_error if its table finds no room or its file is gone, a
/// Rix::RangeError if a VLAN number cannot be one, std::bad_alloc. The record and everybody who
/// follows it stay usable; the machine's `reconcile` makes up for what it missed.
class RIX_EXPORT StatusColl final : public Lumo::Object<StatusColl, Lumo::Observable> {
  public:
    /// Keyed by L3::VrfName.
    static constexpr Lumo::FieldId vrfStatusField{0};

    static const Lumo::TypeData& type();

    /// The statuses, keyed by VRF name.
    const Rix::Collection<L3::VrfName, Lumo::Ptr<Status>>& vrfStatus() const { return vrfStatus_; }
    /// The entry under a key, or null.
    Lumo::Ptr<const Status> vrfStatus(const L3::VrfName& vrfName) const {
        return vrfStatus_.get(vrfName);
    }
    Lumo::Ptr<Status> vrfStatus(const L3::VrfName& vrfName) { return vrfStatus_.get(vrfName); }
    /// Puts an entry under its key, in place of any there, and publishes that.
    /// @throws Rix::NullArgumentError if there is no entry
    void vrfStatusIs(const Lumo::Ptr<Status>& vrfStatus);
    /// Removes an entry and publishes that; nothing if there is none.
    void vrfStatusDel(const L3::VrfName& vrfName);

  private:
    Rix::Collection<L3::VrfName, Lumo::Ptr<Status>> vrfStatus_;
};

}  // namespace Routing::Pim
