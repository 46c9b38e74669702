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

    /// The identifier of the status of that number: no single flipped bit makes it 0.
    static std::uint64_t idOf(std::uint32_t number) {
        return std::uint64_t{number} << 32 | static_cast<std::uint32_t>(~number);
    }
    static std::uint32_t numberOf(std::uint64_t id) { return static_cast<std::uint32_t>(id >> 32); }

    /// What an entry says, whether its status lives or not; nothing if it was never written, is
    /// being written, or is damaged.
    static std::optional<StatusIdentity> read(const StatusEntry& entry);
    /// Writes all of an entry that identifies a status, but for `life`, which must be 0.
    void write(StatusEntry& entry) const;
};

}  // namespace Routing::Gmp::Tessel::Storage
