#include "Replay/Event.h"

#include <algorithm>
#include <array>

#include "Replay/Overloaded.h"

namespace Irbmc::Replay {

namespace {

constexpr std::array<std::string_view, 7> inputNames = {
    "membershipJoinStatus", "pegDrStatus",        "l3IntfStatusDir", "enabledStatus",
    "pimStatusColl",        "gmpStatusLocalColl", "gmpProxyStatus",
};

/// The op of an action whose map is that of one of the two domains.
std::string_view byMaps(SbdMaps maps, std::string_view vxlan, std::string_view mpls) {
    return maps == SbdMaps::vxlan ? vxlan : mpls;
}

std::string_view intfChangeName(const IntfChange& event) {
    if (event.set == JoinMode::include) {
        return event.change == Change::add ? "include.add" : "include.del";
    }
    return event.change == Change::add ? "exclude.add" : "exclude.del";
}

}  // namespace

std::string_view opName(const Action& action) {
    using Name = std::string_view;
    return std::visit(
        Overloaded{
            [](const Toggle&) -> Name { return "toggle"; },
            [](const Start&) -> Name { return "start"; },
            [](const Stop&) -> Name { return "stop"; },
            [](const Abandon&) -> Name { return "abandon"; },
            [](const Reap&) -> Name { return "reap"; },
            [](const Notifications&) -> Name { return "notifications"; },
            [](const VlanSet&) -> Name { return "vlan.set"; },
            [](const VlanDel&) -> Name { return "vlan.del"; },
            [](const GroupSet&) -> Name { return "group.set"; },
            [](const GroupDel&) -> Name { return "group.del"; },
            [](const SourceSet&) -> Name { return "source.set"; },
            [](const SourceDel&) -> Name { return "source.del"; },
            [](const IntfChange& event) { return intfChangeName(event); },
            [](const Join&) -> Name { return "join"; },
            [](const Leave&) -> Name { return "leave"; },
            [](const L3Set&) -> Name { return "l3.set"; },
            [](const L3Vrf&) -> Name { return "l3.vrf"; },
            [](const L3Del&) -> Name { return "l3.del"; },
            [](const PimSet&) -> Name { return "pim.set"; },
            [](const PimDel&) -> Name { return "pim.del"; },
            [](const PimIntfChange& event) -> Name {
                return event.change == Change::add ? "pim.intf.add" : "pim.intf.del";
            },
            [](const PegDrSet&) -> Name { return "pegdr.set"; },
            [](const PegDrDel&) -> Name { return "pegdr.del"; },
            [](const VrfToSbdSet& e) { return byMaps(e.maps, "vxlan.vrf.set", "mpls.vrf.set"); },
            [](const VrfToSbdDel& e) { return byMaps(e.maps, "vxlan.vrf.del", "mpls.vrf.del"); },
            [](const SbdToVrfSet& e) { return byMaps(e.maps, "vxlan.sbd.set", "mpls.sbd.set"); },
            [](const SbdToVrfDel& e) { return byMaps(e.maps, "vxlan.sbd.del", "mpls.sbd.del"); },
            [](const SbdReplace& e) { return byMaps(e.maps, "vxlan.replace", "mpls.replace"); },
            [](const TableSet&) -> Name { return "table.set"; },
            [](const TableDel&) -> Name { return "table.del"; },
            [](const TableStatus&) -> Name { return "table.status"; },
            [](const PegDrCorrupt&) -> Name { return "pegdr.corrupt"; },
            [](const SetCorrupt&) -> Name { return "set.corrupt"; },
            [](const Expect&) -> Name { return "expect"; },
        },
        action);
}

std::string_view inputName(Input input) {
    return inputNames[static_cast<std::size_t>(input)];
}

std::optional<Input> inputNamed(std::string_view name) {
    const auto* const found = std::find(inputNames.begin(), inputNames.end(), name);
    if (found == inputNames.end()) return std::nullopt;
    return static_cast<Input>(found - inputNames.begin());
}

}  // namespace Irbmc::Replay
