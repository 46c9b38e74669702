#pragma once

#include <cstdint>

namespace Irb::Multicast {

/// The IRB multicast domain that a state machine serves. Any other 8-bit value is carried as it is.
enum class Domain : std::uint8_t { unknown = 0, vxlan = 1, mpls = 2 };

}  // namespace Irb::Multicast
