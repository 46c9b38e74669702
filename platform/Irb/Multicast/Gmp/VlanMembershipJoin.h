#pragma once

#include "Bridging/VlanId.h"
#include "Irb/Multicast/Gmp/GroupMembershipJoin.h"
#include "Lumo/Object.h"
#include "Lumo/Observable.h"
#include "Rix/Collection.h"
#include "Rix/Export.h"

namespace Irb::Multicast::Gmp {

/// The joins of one VLAN, group by group.
///
/// Published by the agent that learns joins; readers hold shared read-only references. Belongs to
/// the thread of the event loop on which it is published.
///
/// A setter also raises what those who follow the record raise at the change, which was made then:
/// a state machine a std::system_error if its table finds no room or its file is gone, a
/// Rix::RangeError if a VLAN number cannot be one, std::bad_alloc. The record and everybody who
/// follows it stay usable; the machine's `reconcile` makes up for what it missed.
class RIX_EXPORT VlanMembershipJoin final
    : public Lumo::Object<VlanMembershipJoin, Lumo::Observable> {
  public:
    /// Keyed by Ondel::IpGenAddr.
    static constexpr Lumo::FieldId groupField{1};

    explicit VlanMembershipJoin(Bridging::VlanId vlanId) : vlanId_(vlanId) {}
    static const Lumo::TypeData& type();

    /// The record's key.
    Bridging::VlanId vlanId() const { return vlanId_; }

    /// The joins of the groups, keyed by group address.
    const Rix::Collection<Ondel::IpGenAddr, Lumo::Ptr<GroupMembershipJoin>>& group() const {
        return group_;
    }
    /// The entry under a key, or null.
    Lumo::Ptr<const GroupMembershipJoin> group(const Ondel::IpGenAddr& groupAddr) const {
        return group_.get(groupAddr);
    }
    Lumo::Ptr<GroupMembershipJoin> group(const Ondel::IpGenAddr& groupAddr) {
        return group_.get(groupAddr);
    }
    /// Puts an entry under its key, in place of any there, and publishes that.
    /// @throws Rix::NullArgumentError if there is no entry
    void groupIs(const Lumo::Ptr<GroupMembershipJoin>& group);
    /// Removes an entry and publishes that; nothing if there is none.
    void groupDel(const Ondel::IpGenAddr& groupAddr);

  private:
    Bridging::VlanId vlanId_;
    Rix::Collection<Ondel::IpGenAddr, Lumo::Ptr<GroupMembershipJoin>> group_;
};

}  // namespace Irb::Multicast::Gmp
