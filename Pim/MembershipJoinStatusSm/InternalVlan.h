#pragma once

#include <cstdint>

namespace Irb::Multicast::Ingress::Detail {

/// Whether the number of a VLAN interface lies beyond those of bridged VLANs, where interfaces have
/// VLAN numbers for internal use: the state machine leaves these alone. Any other number must be a
/// VLAN id.
inline bool isInternalVlan(std::uint16_t number) {
    return number >= 4096 && number <= 16383;
}

}  // namespace Irb::Multicast::Ingress::Detail
