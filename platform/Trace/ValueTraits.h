// What can be traced: for each type its kind in the ring, its bytes there, and its text. A type
// that is not listed here cannot be traced, and using it says so when compiled.
#pragma once

#include <algorithm>
#include <array>
#include <charconv>
#include <concepts>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "Bridging/VlanId.h"
#include "Ondel/IntfId.h"
#include "Ondel/IpGenAddr.h"
#include "Rix/String.h"
#include "Routing/Gmp/Tessel/App.h"
#include "Routing/Gmp/Tessel/FilterMode.h"
#include "Routing/Gmp/Tessel/VrfApp.h"
#include "Trace/RecordBuffer.h"
#include "Trace/ValueKind.h"
#include "Trace/VlanNumber.h"

namespace Trace {

/// `kind`, `encode` (adds the value to a record, without allocation) and `print` (appends its
/// text).
template <class T>
struct ValueTraits;

template <class T>
concept Traceable = requires(RecordBuffer& record, std::string& out, const T& value) {
    { ValueTraits<T>::kind } -> std::convertible_to<ValueKind>;
    ValueTraits<T>::encode(record, value);
    ValueTraits<T>::print(out, value);
};

/// Texts: literals, std::string, std::string_view, and character pointers that are not null.
template <class T>
requires std::convertible_to<const T&, std::string_view>
struct ValueTraits<T> {
    static constexpr ValueKind kind = ValueKind::text;
    static void encode(RecordBuffer& record, std::string_view text) { record.addText(text); }
    static void print(std::string& out, std::string_view text) { out += text; }
};

template <std::size_t maxBytes>
struct ValueTraits<Rix::String<maxBytes>> : ValueTraits<std::string_view> {
    using Text = ValueTraits<std::string_view>;
    static void encode(RecordBuffer& record, const Rix::String<maxBytes>& value) {
        Text::encode(record, value.text());
    }
    static void print(std::string& out, const Rix::String<maxBytes>& value) {
        Text::print(out, value.text());
    }
};

/// A text that may be absent: absent, it is the empty text.
template <std::size_t maxBytes>
struct ValueTraits<std::optional<Rix::String<maxBytes>>> {
    using Text = ValueTraits<std::string_view>;
    static constexpr ValueKind kind = ValueKind::text;
    static std::string_view textOf(const std::optional<Rix::String<maxBytes>>& value) {
        return value ? value->text() : std::string_view();
    }
    static void encode(RecordBuffer& record, const std::optional<Rix::String<maxBytes>>& value) {
        Text::encode(record, textOf(value));
    }
    static void print(std::string& out, const std::optional<Rix::String<maxBytes>>& value) {
        Text::print(out, textOf(value));
    }
};

template <>
struct ValueTraits<bool> {
    static constexpr ValueKind kind = ValueKind::boolean;
    static void encode(RecordBuffer& record, bool value) {
        record.addNumber(static_cast<std::uint8_t>(value));
    }
    static void print(std::string& out, bool value) { out += value ? "true" : "false"; }
};

/// Numbers in decimal; characters are no numbers.
template <class T>
requires(std::integral<T> && !std::same_as<T, bool> &&
         !std::same_as<T, char>) struct ValueTraits<T> {
    static constexpr ValueKind kind = std::signed_integral<T> ? ValueKind::signed64
                                      : sizeof(T) == 1        ? ValueKind::unsigned8
                                      : sizeof(T) == 2        ? ValueKind::unsigned16
                                      : sizeof(T) == 4        ? ValueKind::unsigned32
                                                              : ValueKind::unsigned64;
    static void encode(RecordBuffer& record, T value) {
        if constexpr (std::signed_integral<T>) {
            record.addNumber(static_cast<std::int64_t>(value));
        } else {
            record.addNumber(value);
        }
    }
    static void print(std::string& out, T value) { out += std::to_string(value); }
};

template <>
struct ValueTraits<Bridging::VlanId> : ValueTraits<std::uint16_t> {
    static void encode(RecordBuffer& record, Bridging::VlanId id) { record.addNumber(id.value()); }
    static void print(std::string& out, Bridging::VlanId id) { out += std::to_string(id.value()); }
};

template <>
struct ValueTraits<VlanNumber> : ValueTraits<std::uint32_t> {
    static void encode(RecordBuffer& record, VlanNumber vlan) { record.addNumber(vlan.number); }
    static void print(std::string& out, VlanNumber vlan) { out += std::to_string(vlan.number); }
};

/// None is the number 0.
template <>
struct ValueTraits<Bridging::VlanId::Optional> : ValueTraits<std::uint16_t> {
    using Optional = Bridging::VlanId::Optional;
    static void encode(RecordBuffer& record, Optional id) { record.addNumber(id.value()); }
    static void print(std::string& out, Optional id) { out += std::to_string(id.value()); }
};

template <>
struct ValueTraits<Ondel::IpGenAddr> {
    static constexpr ValueKind kind = ValueKind::address;
    /// How many bytes follow the family: a family of another value is carried with all of them.
    static std::size_t bytesOf(Ondel::IpGenAddr::Family family) {
        if (family == Ondel::IpGenAddr::Family::none) return 0;
        return family == Ondel::IpGenAddr::Family::ipv4 ? 4 : 16;
    }
    static void encode(RecordBuffer& record, const Ondel::IpGenAddr& address) {
        std::array<std::uint8_t, 17> bytes{static_cast<std::uint8_t>(address.family())};
        std::copy_n(address.bytes().begin(), 16, bytes.begin() + 1);
        record.addBytes(bytes.data(), 1 + bytesOf(address.family()));
    }
    static void print(std::string& out, const Ondel::IpGenAddr& address) { out += address.text(); }
};

template <>
struct ValueTraits<Ondel::IntfId> {
    static constexpr ValueKind kind = ValueKind::interface;
    static void encode(RecordBuffer& record, Ondel::IntfId intf) {
        if (intf.kind() == Ondel::IntfId::Kind::port) {
            record.addText(intf.portName());
            return;
        }
        const bool isVlan = intf.kind() == Ondel::IntfId::Kind::vlan;
        const std::string_view prefix = isVlan ? "vlan" : "mtunnel";
        std::array<char, 32> name{};
        char* const number = std::copy(prefix.begin(), prefix.end(), name.data());
        const char* end = std::to_chars(number, name.data() + name.size(), intf.number()).ptr;
        record.addText({name.data(), static_cast<std::size_t>(end - name.data())});
    }
    static void print(std::string& out, Ondel::IntfId intf) { out += intf.shortName(); }
};

template <>
struct ValueTraits<Routing::Gmp::Tessel::FilterMode> {
    using FilterMode = Routing::Gmp::Tessel::FilterMode;
    static constexpr ValueKind kind = ValueKind::filterMode;
    static void encode(RecordBuffer& record, FilterMode mode) { record.addNumber(mode); }
    static void print(std::string& out, FilterMode mode) {
        out += mode == FilterMode::include ? "include" : "exclude";
    }
};

template <>
struct ValueTraits<Routing::Gmp::Tessel::App> {
    using App = Routing::Gmp::Tessel::App;
    static constexpr ValueKind kind = ValueKind::application;
    static void encode(RecordBuffer& record, App app) { record.addNumber(app); }
    static void print(std::string& out, App app) { out += stringValue(app); }
};

/// The key of a status, as the text of its name.
template <>
struct ValueTraits<Routing::Gmp::Tessel::VrfApp> {
    using VrfApp = Routing::Gmp::Tessel::VrfApp;
    static constexpr ValueKind kind = ValueKind::text;
    static void encode(RecordBuffer& record, const VrfApp& key) {
        // An application's text is short enough to be held in place.
        const std::string app = stringValue(key.app);
        std::array<char, L3::VrfName::maxLength() + 16> name{};
        char* end = std::copy_n(key.vrfName.text().data(), key.vrfName.text().size(), name.data());
        *end++ = '.';
        end = std::copy(app.begin(), app.end(), end);
        record.addText({name.data(), static_cast<std::size_t>(end - name.data())});
    }
    static void print(std::string& out, const VrfApp& key) { out += key.name(); }
};

}  // namespace Trace
