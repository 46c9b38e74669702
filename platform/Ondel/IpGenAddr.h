#pragma once

#include <algorithm>
#include <array>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>

#include "Rix/Export.h"
#include "Rix/Hash.h"

namespace Ondel {

/// An IPv4 or IPv6 address with its family. A plain value.
///
/// The default address has no family: it prints as "none" and equals no address of a family. The
/// all-zero address of a family stands for "any source" where a source is meant (RFC 3376, RFC
/// 3810: the source of a (*,G) entry).
class RIX_EXPORT IpGenAddr {
  public:
    enum class Family : std::uint8_t { none = 0, ipv4 = 1, ipv6 = 2 };
    /// An IPv4 address fills the first 4 bytes, an IPv6 address all 16; network byte order. What
    /// the family does not use is zero.
    using Bytes = std::array<std::uint8_t, 16>;

    constexpr IpGenAddr() = default;
    /// `bytes` beyond the family's length are ignored. A family of another value is carried as it
    /// is, with all its bytes, and is never special.
    IpGenAddr(Family family, const Bytes& bytes) : family_(family) {
        if (family == Family::ipv4) {
            std::copy_n(bytes.begin(), 4, bytes_.begin());
        } else if (family != Family::none) {
            // In halves, which stay in registers where the bytes were just put together.
            std::copy_n(bytes.begin(), 8, bytes_.begin());
            std::copy_n(bytes.begin() + 8, 8, bytes_.begin() + 8);
        }
    }

    /// The address that `text` spells ("239.1.1.1", "ff3e::1"), or nothing if it is malformed.
    static std::optional<IpGenAddr> parse(std::string_view text);
    /// The all-zero address of a family; the default address for Family::none.
    static IpGenAddr zero(Family family) { return {family, {}}; }

    Family family() const { return family_; }
    const Bytes& bytes() const { return bytes_; }
    /// The number of bytes that the family uses: 4, 16, or 0 for any other.
    std::size_t length() const;

    /// Whether this is the all-zero address of IPv4 or of IPv6.
    bool isUnspecified() const;
    /// Whether this names one source: an IPv4 or IPv6 address that is not all zero. Any other
    /// address stands for any source, as in a (*,G) entry.
    bool isSpecificSource() const;

    /// A dotted quad; RFC 5952's text for IPv6; "none" for the default address.
    std::string text() const;

    friend constexpr auto operator<=>(const IpGenAddr&, const IpGenAddr&) = default;
    friend std::ostream& operator<<(std::ostream& out, const IpGenAddr& a) {
        return out << a.text();
    }

  private:
    Family family_ = Family::none;
    Bytes bytes_{};
};

}  // namespace Ondel

template <>
struct std::hash<Ondel::IpGenAddr> {
    std::size_t operator()(const Ondel::IpGenAddr& a) const noexcept {
        return Rix::hashBytes(Rix::hashSeed() ^ static_cast<std::uint64_t>(a.family()),
                              {reinterpret_cast<const char*>(a.bytes().data()), a.bytes().size()});
    }
};
