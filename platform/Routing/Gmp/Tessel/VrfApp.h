#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <ostream>
#include <string>

#include "L3/VrfName.h"
#include "Routing/Gmp/Tessel/App.h"

namespace Routing::Gmp::Tessel {

/// The key of a status in the GMP status table: one VRF's memberships, written by one application.
struct VrfApp {
    L3::VrfName vrfName;
    App app = App::none;

    /// The name of the status: the VRF name, a full stop and the application's text ("red.irb").
    std::string name() const { return std::string(vrfName.text()) + "." + stringValue(app); }

    std::uint64_t hash(std::uint64_t seed) const {
        return Rix::hashBytes(seed ^ static_cast<std::uint64_t>(app), vrfName.text());
    }

    friend bool operator==(const VrfApp&, const VrfApp&) = default;
    friend std::ostream& operator<<(std::ostream& out, const VrfApp& key) {
        return out << key.name();
    }
};

}  // namespace Routing::Gmp::Tessel

template <>
struct std::hash<Routing::Gmp::Tessel::VrfApp> {
    std::size_t operator()(const Routing::Gmp::Tessel::VrfApp& key) const noexcept {
        return key.hash(Rix::hashSeed());
    }
};
