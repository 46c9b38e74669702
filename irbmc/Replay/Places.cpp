#include "Replay/Places.h"

namespace Irbmc::Replay {

using Routing::Gmp::Tessel::App;
using Routing::Gmp::Tessel::RouteIntfKey;
using Routing::Gmp::Tessel::VrfApp;

VrfApp keyOf(const StatusPlace& place) {
    return {L3::VrfName(place.vrf), static_cast<App>(place.app)};
}

RouteIntfKey keyOf(const MembershipPlace& place) {
    return {place.intf, place.source, place.group};
}

StatusPlace placeOf(const VrfApp& key) {
    return {std::string(key.vrfName.text()), static_cast<std::uint8_t>(key.app)};
}

MembershipPlace placeOf(const VrfApp& status, const RouteIntfKey& key) {
    return {placeOf(status), key.intf, key.source, key.group};
}

}  // namespace Irbmc::Replay
