#pragma once

#include <sys/types.h>

#include <cstdint>
#include <optional>

namespace Routing::Gmp::Tessel {

/// Who gets into a table beside its writer, whose user always may. A plain value; nobody else, if
/// nothing is said.
struct TableAccess {
    enum class Who : std::uint8_t { owner, group, all };

    /// Who may read the table.
    Who mayRead = Who::owner;
    /// Who may ask to be woken by a change, by writing the file `sleepers`; whoever may read but
    /// not ask looks for changes by himself, every 20 ms while he waits. Not more than may read.
    Who mayWait = Who::owner;
    /// The group that is meant, and that the files get; the process's own if none is named.
    std::optional<gid_t> group;
};

}  // namespace Routing::Gmp::Tessel
