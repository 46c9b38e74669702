#pragma once

#include <optional>

#include "Routing/Gmp/Tessel/FilterMode.h"
#include "Routing/Gmp/Tessel/RouteIntfKey.h"
#include "Routing/Gmp/Tessel/VrfApp.h"

namespace Routing::Gmp::Tessel {

/// One membership that came, changed or went: what it was before and what it is after the change.
/// A plain value. At least one of the two is there, and they differ.
struct MembershipChange {
    VrfApp status;
    RouteIntfKey key;
    /// The filter mode before; nothing if there was no such membership.
    std::optional<FilterMode> before;
    /// The filter mode after; nothing if there is no such membership any more.
    std::optional<FilterMode> after;

    friend bool operator==(const MembershipChange&, const MembershipChange&) = default;
};

}  // namespace Routing::Gmp::Tessel
