#include "Replay/Names.h"

#include <algorithm>
#include <array>

#include "Routing/Gmp/Tessel/App.h"

namespace Irbmc::Replay {

namespace {

constexpr std::array<std::string_view, 3> domains{"unknown", "vxlan", "mpls"};
constexpr std::array<std::string_view, 3> roles{"none", "dr", "nonDr"};

using Names = std::array<std::string_view, 3>;

std::string textIn(const Names& names, std::uint8_t value) {
    return value < names.size() ? std::string(names[value]) : std::to_string(value);
}

std::optional<std::uint8_t> valueIn(const Names& names, std::string_view name) {
    const auto found = std::find(names.begin(), names.end(), name);
    if (found == names.end()) return std::nullopt;
    return static_cast<std::uint8_t>(found - names.begin());
}

}  // namespace

std::string domainText(std::uint8_t domain) {
    return textIn(domains, domain);
}

std::optional<std::uint8_t> domainNamed(std::string_view name) {
    return valueIn(domains, name);
}

std::string roleText(std::uint8_t role) {
    return textIn(roles, role);
}

std::optional<std::uint8_t> roleNamed(std::string_view name) {
    return valueIn(roles, name);
}

std::string appText(std::uint8_t app) {
    return stringValue(static_cast<Routing::Gmp::Tessel::App>(app));
}

std::optional<std::uint8_t> appNamed(std::string_view name) {
    for (unsigned app = 0; app <= UINT8_MAX; ++app) {
        if (appText(static_cast<std::uint8_t>(app)) == name) return static_cast<std::uint8_t>(app);
    }
    return std::nullopt;
}

}  // namespace Irbmc::Replay
