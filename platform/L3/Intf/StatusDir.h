#pragma once

#include "L3/Intf/Status.h"
#include "Lumo/Object.h"
#include "Lumo/Observable.h"
#include "Rix/Collection.h"
#include "Rix/Export.h"

namespace L3::Intf {

/// The status of every L3 interface.
///
/// Published by the agent that configures interfaces; readers hold shared read-only references.
/// Belongs to the thread of the event loop on which it is published.
///
/// A setter also raises what those who follow the record raise at the change, which was made then:
/// a state machine a std::system_error if its table finds no room or its file is gone, a
/// Rix::RangeError if a VLAN number cannot be one, std::bad_alloc. The record and everybody who
/// follows it stay usable; the machine's `reconcile` makes up for what it missed.
class RIX_EXPORT StatusDir final : public Lumo::Object<StatusDir, Lumo::Observable> {
  public:
    /// Keyed by Ondel::IntfId.
    static constexpr Lumo::FieldId intfStatusField{0};

    static const Lumo::TypeData& type();

    /// The statuses, keyed by interface.
    const Rix::Collection<Ondel::IntfId, Lumo::Ptr<Status>>& intfStatus() const {
        return intfStatus_;
    }
    /// The entry under a key, or null.
    Lumo::Ptr<const Status> intfStatus(Ondel::IntfId intfId) const {
        return intfStatus_.get(intfId);
    }
    Lumo::Ptr<Status> intfStatus(Ondel::IntfId intfId) { return intfStatus_.get(intfId); }
    /// Puts an entry under its key, in place of any there, and publishes that.
    /// @throws Rix::NullArgumentError if there is no entry
    void intfStatusIs(const Lumo::Ptr<Status>& intfStatus);
    /// Removes an entry and publishes that; nothing if there is none.
    void intfStatusDel(Ondel::IntfId intfId);

  private:
    Rix::Collection<Ondel::IntfId, Lumo::Ptr<Status>> intfStatus_;
};

}  // namespace L3::Intf
