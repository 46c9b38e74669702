#pragma once

#include <cstdint>
#include <optional>

#include "Routing/Gmp/Tessel/Storage/Format.h"
#include "Routing/Gmp/Tessel/VrfApp.h"

namespace Routing::Gmp::Tessel::Storage {

/// What identifies a status in the table's list of statuses. A plain value.
struct StatusIdentity {
    VrfApp key;
    std::uint64_t id = 0;

    /// What an entry says, whether its status lives or not; nothing if it was never written, is
    /// being written, or is damaged.
    static std::optional<StatusIdentity> read(const StatusEntry& entry);
    /// Writes all of an entry that identifies a status, but for `life`.
    void write(StatusEntry& entry) const;

    friend bool operator==(const StatusIdentity&, const StatusIdentity&) = default;
};

}  // namespace Routing::Gmp::Tessel::Storage
