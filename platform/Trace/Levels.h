#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "Rix/Export.h"

namespace Trace {

/// A set of trace levels, each 0..9. A plain value. The default is the empty set.
class RIX_EXPORT Levels {
  public:
    static constexpr unsigned count = 10;

    constexpr Levels() = default;

    static constexpr Levels all() { return Levels((1u << count) - 1); }
    /// The set of `level` alone; a level over 9 gives the empty set.
    static constexpr Levels of(unsigned level) { return Levels(level < count ? 1u << level : 0); }
    /// The set that `text` spells: levels and ranges, separated by commas: "8", "0-9", "2,3,7".
    /// @throws std::invalid_argument for any other text, quoting the part that is wrong
    static Levels parse(std::string_view text);

    constexpr bool contains(unsigned level) const { return (bits_ >> level & 1u) != 0; }
    /// Bit L stands for level L.
    constexpr std::uint16_t bits() const { return bits_; }
    static constexpr Levels fromBits(std::uint16_t bits) { return Levels(bits & all().bits_); }

    friend constexpr Levels operator|(Levels a, Levels b) { return Levels(a.bits_ | b.bits_); }
    friend constexpr bool operator==(Levels, Levels) = default;

  private:
    explicit constexpr Levels(unsigned bits) : bits_(static_cast<std::uint16_t>(bits)) {}

    std::uint16_t bits_ = 0;
};

}  // namespace Trace
