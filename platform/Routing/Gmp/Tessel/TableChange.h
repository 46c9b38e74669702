#pragma once

#include "Routing/Gmp/Tessel/MembershipChange.h"

namespace Routing::Gmp::Tessel {

/// One change of a table, as a reader learns of it. A plain value.
struct TableChange {
    enum class Kind { membership, statusAdded, statusRemoved };

    Kind kind = Kind::membership;
    /// What happened to which membership; only `status` is set for a status that came or went. One
    /// that went took all its memberships along: no change of theirs follows.
    MembershipChange membership;

    friend bool operator==(const TableChange&, const TableChange&) = default;
};

}  // namespace Routing::Gmp::Tessel
