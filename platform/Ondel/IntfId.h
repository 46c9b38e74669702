#pragma once

#include <compare>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <ostream>
#include <string>
#include <string_view>

#include "Rix/Export.h"
#include "Rix/Hash.h"

namespace Ondel {

/// The identifier of an interface: 32 bits, a kind and a number. A plain value.
///
/// "vlan<N>", N in 0..65535, is a VLAN interface; "mtunnel<N>", N in 0..2^30-1, a multicast tunnel
/// interface; numbers are written without leading zeros. Every other name is a local port, whose
/// number is its place in this process's table of names: a port's identifier must never leave the
/// process. VLAN and tunnel identifiers mean the same everywhere. The default identifier is that
/// of the port with the empty name: no interface.
///
/// The table of names only grows; it may be used from any thread.
class RIX_EXPORT IntfId {
  public:
    enum class Kind : std::uint8_t { port = 0, vlan = 1, mcastTunnel = 2 };

    /// The longest interface name that an input may carry, in bytes.
    static constexpr std::size_t maxNameLength = 32;

    constexpr IntfId() = default;
    /// The interface of that name; the empty name gives the default identifier.
    /// @throws Rix::RangeError if the name is over maxNameLength bytes
    explicit IntfId(std::string_view name);
    /// @param number within the kind's range; for a port, a number that an earlier call gave out
    constexpr IntfId(Kind kind, std::uint32_t number)
        : value_(static_cast<std::uint32_t>(kind) << numberBits | number) {}

    Kind kind() const { return static_cast<Kind>(value_ >> numberBits); }
    std::uint32_t number() const { return value_ & ((1u << numberBits) - 1); }
    /// All 32 bits, for storage; only VLAN and tunnel identifiers may be stored.
    constexpr std::uint32_t value() const { return value_; }

    /// The name, for people: "vlan10", "mtunnel3", "swp1"; empty for the default identifier.
    std::string shortName() const;
    /// The name of a local port, without a copy: valid for ever. Empty for any other interface.
    std::string_view portName() const;

    friend constexpr auto operator<=>(IntfId, IntfId) = default;
    friend std::ostream& operator<<(std::ostream& out, IntfId id) { return out << id.shortName(); }

  private:
    static constexpr unsigned numberBits = 30;

    std::uint32_t value_ = 0;
};

}  // namespace Ondel

template <>
struct std::hash<Ondel::IntfId> {
    std::size_t operator()(Ondel::IntfId id) const noexcept {
        return Rix::hashWord(Rix::hashSeed(), id.value());
    }
};
