#pragma once

#include <cstdint>

#include "Ondel/IntfId.h"

/// Conversions between VLAN interfaces and VLAN numbers.
namespace Ondel::VlanIntfId {

inline bool isVlanIntfId(IntfId intf) {
    return intf.kind() == IntfId::Kind::vlan;
}

/// The VLAN number of a VLAN interface, 0..65535. Numbers outside 1..4094 are no VLAN id.
/// `intf` must be a VLAN interface.
inline std::uint16_t vlanId(IntfId intf) {
    return static_cast<std::uint16_t>(intf.number());
}

/// The VLAN interface of a VLAN number.
inline IntfId vlanIdToIntfId(std::uint16_t vlanId) {
    return {IntfId::Kind::vlan, vlanId};
}

}  // namespace Ondel::VlanIntfId
