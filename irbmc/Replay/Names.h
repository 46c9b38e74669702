// The names that numbers of a recording have, to be read and to be written.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace Irbmc::Replay {

/// An IRB multicast domain: "unknown", "vxlan", "mpls"; any other number has no name but itself.
std::string domainText(std::uint8_t domain);
std::optional<std::uint8_t> domainNamed(std::string_view name);

/// A PEG DR role: "none", "dr", "nonDr"; any other number has no name but itself.
std::string roleText(std::uint8_t role);
std::optional<std::uint8_t> roleNamed(std::string_view name);

/// An application: "none", "irb", "gmp", "static", and "app<N>" for any other number N.
std::string appText(std::uint8_t app);
std::optional<std::uint8_t> appNamed(std::string_view name);

}  // namespace Irbmc::Replay
