// Between the GMP status table's own keys and what recordings and reports say.
#pragma once

#include "Replay/Event.h"
#include "Routing/Gmp/Tessel/RouteIntfKey.h"
#include "Routing/Gmp/Tessel/VrfApp.h"

namespace Irbmc::Replay {

/// @throws Rix::RangeError if the VRF name is longer than such a name can be
Routing::Gmp::Tessel::VrfApp keyOf(const StatusPlace& place);
Routing::Gmp::Tessel::RouteIntfKey keyOf(const MembershipPlace& place);

StatusPlace placeOf(const Routing::Gmp::Tessel::VrfApp& key);
MembershipPlace placeOf(const Routing::Gmp::Tessel::VrfApp& status,
                        const Routing::Gmp::Tessel::RouteIntfKey& key);

}  // namespace Irbmc::Replay
