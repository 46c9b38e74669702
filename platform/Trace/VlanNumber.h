#pragma once

#include <cstdint>

namespace Trace {

/// A number of 32 bits that tells a VLAN, whether it can be one or not: traced as the number that
/// it is, and found by who filters for that VLAN.
struct VlanNumber {
    std::uint32_t number;
};

}  // namespace Trace
