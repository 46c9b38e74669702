#pragma once

#include <compare>

#include "Ondel/IntfId.h"
#include "Ondel/IpGenAddr.h"

namespace Routing::Gmp::Tessel {

/// The key of one membership in a status. The filter mode is not part of it.
struct RouteIntfKey {
    /// The VLAN interface on which the join is reported.
    Ondel::IntfId intf;
    /// The source; the all-zero address of the group's family for any source, (*,G).
    Ondel::IpGenAddr source;
    /// The multicast group.
    Ondel::IpGenAddr group;

    friend auto operator<=>(const RouteIntfKey&, const RouteIntfKey&) = default;
};

}  // namespace Routing::Gmp::Tessel
