#pragma once

#include <array>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <ostream>
#include <string_view>

#include "Rix/Hash.h"
#include "Rix/RangeError.h"

namespace Rix {

/// Text of at most `maxBytes` bytes, held in place: copying it never allocates and never fails.
/// The bytes are carried as they are; no encoding is assumed. A plain value, owned by its holder.
template <std::size_t maxBytes>
class String {
    static_assert(maxBytes <= 255, "the length is kept in one byte");

  public:
    String() = default;

    /// @throws RangeError "Rix::String::bytes > maxLength() not allowed" if `text` is too long
    explicit String(std::string_view text) {
        if (text.size() > maxBytes) {
            throw RangeError("Rix::String::bytes > maxLength() not allowed");
        }
        if (!text.empty()) std::memcpy(bytes_.data(), text.data(), text.size());
        length_ = static_cast<std::uint8_t>(text.size());
    }

    static constexpr std::size_t maxLength() { return maxBytes; }

    /// The bytes; valid while this object lives and is not assigned to.
    std::string_view text() const { return {bytes_.data(), length_}; }
    bool empty() const { return length_ == 0; }
    /// Whether there is any text.
    explicit operator bool() const { return length_ != 0; }

    friend bool operator==(const String& a, const String& b) { return a.text() == b.text(); }
    friend auto operator<=>(const String& a, const String& b) { return a.text() <=> b.text(); }
    friend std::ostream& operator<<(std::ostream& out, const String& s) { return out << s.text(); }

  private:
    std::array<char, maxBytes> bytes_{};
    std::uint8_t length_ = 0;
};

}  // namespace Rix

template <std::size_t maxBytes>
struct std::hash<Rix::String<maxBytes>> {
    std::size_t operator()(const Rix::String<maxBytes>& s) const noexcept {
        return Rix::hashBytes(Rix::hashSeed(), s.text());
    }
};
