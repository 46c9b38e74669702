#pragma once

#include <vector>

#include "model/Exploration.h"

namespace model {

/// One VLAN, one group, any source and two others: every order of the sets' changes.
TinyUniverse sourcesOfOneGroup();
/// An SBD VLAN and its VRF: every order of maps, roles, PIM and interfaces around a few joins.
TinyUniverse fabricOfOneSbdVlan();
/// A VLAN and the SBD VLAN through starts, stops, deaths, reaping and missed notifications.
TinyUniverse livesOfAMachine();

inline std::vector<TinyUniverse> tinyUniverses() {
    return {sourcesOfOneGroup(), fabricOfOneSbdVlan(), livesOfAMachine()};
}

}  // namespace model
