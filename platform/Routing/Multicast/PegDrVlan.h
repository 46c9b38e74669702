#pragma once

#include "Bridging/VlanId.h"
#include "Routing/Multicast/PegDrRole.h"

namespace Routing::Multicast {

/// This router's PEG DR roles for one VLAN. A plain value; the default record has no role.
class PegDrVlan {
  public:
    PegDrVlan() = default;
    /// @param pegDrRole what pegDrRole() returns
    PegDrVlan(Bridging::VlanId vlan, PegDrRole vxlan, PegDrRole mpls, PegDrRole pegDrRole)
        : vlanId(vlan), vxlanRole(vxlan), mplsRole(mpls), pegDrRole_(pegDrRole) {}

    /// The record's key.
    Bridging::VlanId vlanId;
    /// The role in the VXLAN domain.
    PegDrRole vxlanRole = PegDrRole::none;
    /// The role in every other domain.
    PegDrRole mplsRole = PegDrRole::none;

    /// The role of a router that makes no difference between the domains.
    PegDrRole pegDrRole() const { return pegDrRole_; }

    friend bool operator==(const PegDrVlan&, const PegDrVlan&) = default;

  private:
    PegDrRole pegDrRole_ = PegDrRole::none;
};

}  // namespace Routing::Multicast
