#include "Arguments.h"

#include <charconv>
#include <stdexcept>

#include "Replay/Names.h"

namespace Irbmc {

namespace {

[[noreturn]] void refuse(const std::string& option, const std::string& wanted,
                         const std::string& value) {
    throw std::invalid_argument(option + " takes " + wanted + ", not '" + value + "'");
}

/// The number that a text is, as a whole and within the type's range; or nothing.
template <class Number>
std::optional<Number> numberIn(const std::string& text) {
    Number number = 0;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    if (error != std::errc() || stop != end) return std::nullopt;
    return number;
}

}  // namespace

std::uint16_t vlanArgument(const std::string& option, const std::string& value) {
    const auto number = numberIn<std::uint16_t>(value);
    if (!number) refuse(option, "a number 0..65535", value);
    return *number;
}

std::uint8_t appArgument(const std::string& option, const std::string& value) {
    if (const auto app = Replay::appNamed(value)) return *app;
    const auto number = numberIn<std::uint8_t>(value);
    if (!number) refuse(option, "a number 0..255 or one of none, irb, gmp, static", value);
    return *number;
}

Ondel::IpGenAddr addressArgument(const std::string& option, const std::string& value) {
    const auto address = Ondel::IpGenAddr::parse(value);
    if (!address) refuse(option, "an IPv4 or IPv6 address", value);
    return *address;
}

Replay::JoinMode modeArgument(const std::string& option, const std::string& value) {
    if (value == "include") return Replay::JoinMode::include;
    if (value == "exclude") return Replay::JoinMode::exclude;
    refuse(option, "include or exclude", value);
}

Colour colourArgument(const std::string& option, const std::string& value) {
    if (value == "auto") return Colour::automatic;
    if (value == "always") return Colour::always;
    if (value == "never") return Colour::never;
    refuse(option, "auto, always or never", value);
}

}  // namespace Irbmc
