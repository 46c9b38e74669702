#pragma once

#include <compare>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <ostream>

#include "Rix/Hash.h"
#include "Rix/RangeError.h"

namespace Bridging {

/// The number of a VLAN, 1..4094 (IEEE 802.1Q). A plain value. The default is VLAN 1.
class VlanId {
  public:
    class Optional;

    constexpr VlanId() = default;

    /// @param value 1..4094; any other number is refused, however wide it came
    /// @throws Rix::RangeError "Bridging::VlanId::value < 1 or > 4094 not allowed"
    explicit constexpr VlanId(std::uint32_t value) : value_(checked(value)) {}

    constexpr std::uint16_t value() const { return value_; }

    friend constexpr auto operator<=>(VlanId, VlanId) = default;
    friend std::ostream& operator<<(std::ostream& out, VlanId id) { return out << id.value_; }

  private:
    static constexpr std::uint16_t checked(std::uint32_t value) {
        if (value < 1 || value > 4094) {
            throw Rix::RangeError("Bridging::VlanId::value < 1 or > 4094 not allowed");
        }
        return static_cast<std::uint16_t>(value);
    }

    std::uint16_t value_ = 1;
};

/// A VLAN id or none; none is carried as the number 0.
class VlanId::Optional {
  public:
    constexpr Optional() = default;
    constexpr Optional(VlanId id) : value_(id.value()) {}  // NOLINT(google-explicit-constructor)

    constexpr explicit operator bool() const { return value_ != 0; }
    /// The number, 0 for none.
    constexpr std::uint16_t value() const { return value_; }
    /// The id. There must be one: none raises the range error of VlanId.
    constexpr VlanId operator*() const { return VlanId(value_); }

    friend constexpr bool operator==(Optional, Optional) = default;
    friend std::ostream& operator<<(std::ostream& out, Optional id) { return out << id.value_; }

  private:
    std::uint16_t value_ = 0;
};

}  // namespace Bridging

template <>
struct std::hash<Bridging::VlanId> {
    std::size_t operator()(Bridging::VlanId id) const noexcept {
        return Rix::hashWord(Rix::hashSeed(), id.value());
    }
};
