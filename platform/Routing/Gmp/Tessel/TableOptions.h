#pragma once

#include <cstdint>

namespace Routing::Gmp::Tessel {

/// What whoever makes a table chooses about it. A table that is there already stays as it was made.
/// A plain value.
struct TableOptions {
    /// How many changes the table remembers for those who follow it: whoever falls behind further
    /// must walk it again. A power of two from 64 to 2^24; each takes 64 bytes.
    std::uint32_t logEntries = 65536;
};

}  // namespace Routing::Gmp::Tessel
