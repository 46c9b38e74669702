#pragma once

#include <string>
#include <utility>

#include "Bridging/VlanId.h"
#include "Irb/Multicast/Gmp/VlanMembershipJoin.h"
#include "Lumo/Object.h"
#include "Lumo/Observable.h"
#include "Rix/Collection.h"
#include "Rix/Export.h"

namespace Irb::Multicast::Gmp {

/// The joins of an IRB domain, VLAN by VLAN: those of hosts (IGMP, MLD) and those of other switches
/// (SMET routes).
///
/// Published by the agent that learns joins; readers hold shared read-only references. Belongs to
/// the thread of the event loop on which it is published.
///
/// A setter also raises what those who follow the record raise at the change, which was made then:
/// a state machine a std::system_error if its table finds no room or its file is gone, a
/// Rix::RangeError if a VLAN number cannot be one, std::bad_alloc. The record and everybody who
/// follows it stay usable; the machine's `reconcile` makes up for what it missed.
class RIX_EXPORT MembershipJoinStatus final
    : public Lumo::Object<MembershipJoinStatus, Lumo::Observable> {
  public:
    static constexpr Lumo::FieldId nameField{0};
    /// Keyed by Bridging::VlanId.
    static constexpr Lumo::FieldId vlanField{1};

    explicit MembershipJoinStatus(std::string name) : name_(std::move(name)) {}
    static const Lumo::TypeData& type();

    /// The name of the join status; it tells what kind of client it serves (see ClientInstance).
    const std::string& name() const { return name_; }
    /// Renames it, and publishes that if the name differs.
    void nameIs(std::string name);

    /// The joins of the VLANs, keyed by VLAN id.
    const Rix::Collection<Bridging::VlanId, Lumo::Ptr<VlanMembershipJoin>>& vlan() const {
        return vlan_;
    }
    /// The entry under a key, or null.
    Lumo::Ptr<const VlanMembershipJoin> vlan(Bridging::VlanId vlanId) const {
        return vlan_.get(vlanId);
    }
    Lumo::Ptr<VlanMembershipJoin> vlan(Bridging::VlanId vlanId) { return vlan_.get(vlanId); }
    /// Puts an entry under its key, in place of any there, and publishes that.
    /// @throws Rix::NullArgumentError if there is no entry
    void vlanIs(const Lumo::Ptr<VlanMembershipJoin>& vlan);
    /// Removes an entry and publishes that; nothing if there is none.
    void vlanDel(Bridging::VlanId vlanId);

  private:
    std::string name_;
    Rix::Collection<Bridging::VlanId, Lumo::Ptr<VlanMembershipJoin>> vlan_;
};

}  // namespace Irb::Multicast::Gmp
