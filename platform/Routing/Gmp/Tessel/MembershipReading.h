#pragma once

#include <string>

#include "Routing/Gmp/Tessel/Membership.h"

namespace Routing::Gmp::Tessel {

/// What a reader found under a key. A plain value.
struct MembershipReading {
    /// The membership; the default record if there is none, or it is damaged.
    Membership membership;
    bool isPresent = false;
    /// What is damaged, with the file, the status and the slot; empty if nothing is.
    std::string damage;
};

}  // namespace Routing::Gmp::Tessel
