#pragma once

#include <cstdint>

namespace Routing::Multicast {

/// This router's role in the election of a VLAN's PEG DR, the designated router towards multicast
/// outside the EVPN (RFC 9625). Any other 8-bit value is carried as it is and means "not DR".
enum class PegDrRole : std::uint8_t { none = 0, dr = 1, nonDr = 2 };

}  // namespace Routing::Multicast
