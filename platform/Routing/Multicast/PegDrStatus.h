#pragma once

#include <string>
#include <string_view>

#include "Lumo/Object.h"
#include "Lumo/Observable.h"
#include "Rix/CorruptionHandler.h"
#include "Rix/Export.h"
#include "Rix/ValueMap.h"
#include "Routing/Multicast/PegDrVlan.h"

namespace Routing::Multicast {

/// The table of this router's PEG DR roles, VLAN by VLAN.
///
/// Published by the agent that runs the election; readers hold shared read-only references. Belongs
/// to the thread of the event loop on which it is published. A record may turn out damaged when it
/// is read: whoever reads hands the error's message to handleCorruption and goes on with the
/// default record.
///
/// A setter also raises what those who follow the record raise at the change, which was made then:
/// a state machine a std::system_error if its table finds no room or its file is gone, a
/// Rix::RangeError if a VLAN number cannot be one, std::bad_alloc. The record and everybody who
/// follows it stay usable; the machine's `reconcile` makes up for what it missed.
class RIX_EXPORT PegDrStatus final : public Lumo::Object<PegDrStatus, Lumo::Observable> {
  public:
    /// Keyed by Bridging::VlanId.
    static constexpr Lumo::FieldId pegDrVlanField{0};

    static const Lumo::TypeData& type();

    /// The record of a VLAN, or the default record.
    /// @throws Rix::CorruptionError once for each corruptionIs of that VLAN
    PegDrVlan pegDrVlan(Bridging::VlanId vlanId) const;
    /// The records, keyed by VLAN id. Never reports corruption.
    const Rix::ValueMap<Bridging::VlanId, PegDrVlan>& pegDrVlan() const { return pegDrVlan_; }
    /// Sets a VLAN's record, and publishes that if it differs.
    void pegDrVlanIs(const PegDrVlan& record);
    /// Removes a VLAN's record and publishes that; nothing if there is none.
    void pegDrVlanDel(Bridging::VlanId vlanId);

    /// Lets the next look-up of that VLAN, whether it has a record or not, report corruption.
    void corruptionIs(Bridging::VlanId vlanId, std::string message);
    /// Who is told of corruption; null for standard error. Not owned.
    void corruptionHandlerIs(Rix::CorruptionHandler* handler) { corruptionHandler_ = handler; }
    /// For readers that met a Rix::CorruptionError: reports its message.
    void handleCorruption(std::string_view message) const {
        Rix::reportCorruption(corruptionHandler_, message);
    }

  private:
    Rix::ValueMap<Bridging::VlanId, PegDrVlan> pegDrVlan_;
    mutable Rix::ValueMap<Bridging::VlanId, std::string> corruptions_;
    Rix::CorruptionHandler* corruptionHandler_ = nullptr;
};

}  // namespace Routing::Multicast
