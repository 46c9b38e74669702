#pragma once

#include <compare>
#include <cstdint>
#include <map>
#include <string>

#include "Ondel/IntfId.h"
#include "Ondel/IpGenAddr.h"

namespace model {

/// Which status of the table: a VRF and the application that writes it.
struct StatusKey {
    std::string vrf;
    std::uint8_t app = 1;

    friend auto operator<=>(const StatusKey&, const StatusKey&) = default;
};

/// Which membership of a status.
struct MembershipKey {
    Ondel::IntfId intf;
    Ondel::IpGenAddr source;
    Ondel::IpGenAddr group;

    friend auto operator<=>(const MembershipKey&, const MembershipKey&) = default;
};

enum class Mode : std::uint8_t { exclude = 0, include = 1 };

using Memberships = std::map<MembershipKey, Mode>;

/// The GMP status table as a value: what survives the machine. A status may be empty.
using Table = std::map<StatusKey, Memberships>;

}  // namespace model
