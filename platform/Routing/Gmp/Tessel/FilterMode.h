#pragma once

#include <cstdint>
#include <ostream>

namespace Routing::Gmp::Tessel {

/// The filter mode of a membership (RFC 3376, RFC 3810). `exclude` is 0, the mode of the default
/// record.
enum class FilterMode : std::uint8_t { exclude = 0, include = 1 };

inline std::ostream& operator<<(std::ostream& out, FilterMode mode) {
    return out << (mode == FilterMode::include ? "include" : "exclude");
}

}  // namespace Routing::Gmp::Tessel
