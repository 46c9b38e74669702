#include "Replay/Inputs.h"

#include <string>
#include <string_view>

#include "Replay/FormatError.h"
#include "Rix/CorruptionError.h"

namespace Irbmc::Replay {

namespace {

using Bridging::VlanId;
using L3::VrfName;
using Lumo::make;
using Lumo::Ptr;
using Routing::Multicast::PegDrRole;

std::string groupText(const GroupPlace& place) {
    return "group " + place.group.text() + " in VLAN " + std::to_string(place.vlan);
}

std::string sourceText(const SourcePlace& place) {
    return "source " + place.source.text() + " of " + groupText({place.vlan, place.group});
}

/// Adds an interface to one of a source's sets, or removes it.
void change(Irb::Multicast::Gmp::SourceMembershipJoin& source, JoinMode set, Change change,
            Ondel::IntfId intf) {
    if (set == JoinMode::include) {
        change == Change::add ? source.includeIntfIs(intf) : source.includeIntfDel(intf);
    } else {
        change == Change::add ? source.excludeIntfIs(intf) : source.excludeIntfDel(intf);
    }
}

/// Whether a reading reports corruption. It does so once.
template <class Read>
bool reportsCorruption(Read read) {
    try {
        read();
    } catch (const Rix::CorruptionError&) {
        return true;
    }
    return false;
}

}  // namespace

Inputs::Inputs(Rix::CorruptionHandler& handler)
    : membershipJoinStatus(make<Irb::Multicast::Gmp::MembershipJoinStatus>("default")),
      pegDrStatus(make<Routing::Multicast::PegDrStatus>()),
      l3IntfStatusDir(make<L3::Intf::StatusDir>()),
      enabledStatus(make<Vxlan::EnabledStatus>()),
      pimStatusColl(make<Routing::Pim::StatusColl>()),
      gmpProxyStatus(make<Irb::Multicast::GmpProxyStatus>()),
      handler_(handler) {
    pegDrStatus->corruptionHandlerIs(&handler_);
}

Ptr<Inputs::SourceJoins> Inputs::made(const SourceJoin& join) {
    auto source = make<SourceJoins>(join.source);
    source->corruptionHandlerIs(&handler_);
    for (const Ondel::IntfId intf : join.include)
        source->includeIntfIs(intf);
    for (const Ondel::IntfId intf : join.exclude)
        source->excludeIntfIs(intf);
    return source;
}

Ptr<Inputs::GroupJoins> Inputs::made(const GroupJoin& join) {
    auto group = make<GroupJoins>(join.group);
    for (const SourceJoin& source : join.sources)
        group->sourceIs(made(source));
    return group;
}

Ptr<Inputs::VlanJoins> Inputs::vlanAt(VlanNumber vlan) {
    auto joins = membershipJoinStatus->vlan(VlanId(vlan));
    if (!joins) throw FormatError("no VLAN " + std::to_string(vlan));
    return joins;
}

Ptr<Inputs::GroupJoins> Inputs::groupAt(const GroupPlace& place) {
    auto joins = vlanAt(place.vlan)->group(place.group);
    if (!joins) throw FormatError("no " + groupText(place));
    return joins;
}

Ptr<Inputs::SourceJoins> Inputs::sourceAt(const SourcePlace& place) {
    auto joins = groupAt({place.vlan, place.group})->source(place.source);
    if (!joins) throw FormatError("no " + sourceText(place));
    return joins;
}

Ptr<Routing::Pim::Status> Inputs::pimStatusOf(const VrfText& vrf) {
    auto status = pimStatusColl->vrfStatus(VrfName(vrf));
    if (!status) throw FormatError("no PIM status of VRF \"" + vrf + '"');
    return status;
}

Ptr<Inputs::SourceJoins> Inputs::sourceMadeAt(const SourcePlace& place) {
    const VlanId vlanId(place.vlan);
    auto vlan = membershipJoinStatus->vlan(vlanId);
    if (!vlan) {
        vlan = make<VlanJoins>(vlanId);
        membershipJoinStatus->vlanIs(vlan);
    }
    auto group = vlan->group(place.group);
    if (!group) {
        group = make<GroupJoins>(place.group);
        vlan->groupIs(group);
    }
    auto source = group->source(place.source);
    if (!source) {
        source = made(SourceJoin{place.source, {}, {}});
        group->sourceIs(source);
    }
    return source;
}

void Inputs::apply(const VlanSet& event) {
    auto vlan = make<VlanJoins>(VlanId(event.vlan));
    for (const GroupJoin& group : event.groups)
        vlan->groupIs(made(group));
    membershipJoinStatus->vlanIs(vlan);
}

void Inputs::apply(const VlanDel& event) {
    membershipJoinStatus->vlanDel(VlanId(event.vlan));
}

void Inputs::apply(const GroupSet& event) {
    vlanAt(event.vlan)->groupIs(made(event.join));
}

void Inputs::apply(const GroupDel& event) {
    vlanAt(event.place.vlan)->groupDel(event.place.group);
}

void Inputs::apply(const SourceSet& event) {
    groupAt(event.place)->sourceIs(made(event.join));
}

void Inputs::apply(const SourceDel& event) {
    groupAt({event.place.vlan, event.place.group})->sourceDel(event.place.source);
}

void Inputs::apply(const IntfChange& event) {
    change(*sourceAt(event.place), event.set, event.change, event.intf);
}

void Inputs::apply(const Join& event) {
    change(*sourceMadeAt(event.place), event.mode, Change::add, event.intf);
}

void Inputs::apply(const Leave& event) {
    const auto source = sourceAt(event.place);
    const auto vlan = vlanAt(event.place.vlan);
    const auto group = vlan->group(event.place.group);
    change(*source, event.mode, Change::del, event.intf);
    if (!source->includeIntfs().isEmpty() || !source->excludeIntfs().isEmpty()) return;
    group->sourceDel(event.place.source);
    if (!group->source().empty()) return;
    vlan->groupDel(event.place.group);
    if (!vlan->group().empty()) return;
    membershipJoinStatus->vlanDel(VlanId(event.place.vlan));
}

void Inputs::apply(const L3Set& event) {
    l3IntfStatusDir->intfStatusIs(make<L3::Intf::Status>(event.intf, VrfName(event.vrf)));
}

void Inputs::apply(const L3Vrf& event) {
    const VrfName vrf(event.vrf);
    const auto status = l3IntfStatusDir->intfStatus(event.intf);
    if (!status) throw FormatError("no L3 status of interface " + event.intf.shortName());
    status->vrfIs(vrf);
}

void Inputs::apply(const L3Del& event) {
    l3IntfStatusDir->intfStatusDel(event.intf);
}

void Inputs::apply(const PimSet& event) {
    auto status = make<Routing::Pim::Status>(VrfName(event.vrf));
    for (const Ondel::IntfId intf : event.intfs)
        status->intfIs(make<Routing::Pim::Intf>(intf));
    pimStatusColl->vrfStatusIs(status);
}

void Inputs::apply(const PimDel& event) {
    pimStatusColl->vrfStatusDel(VrfName(event.vrf));
}

void Inputs::apply(const PimIntfChange& event) {
    const auto status = pimStatusOf(event.vrf);
    if (event.change == Change::del) {
        status->intfDel(event.intf);
    } else if (!status->intf(event.intf)) {
        status->intfIs(make<Routing::Pim::Intf>(event.intf));
    }
}

void Inputs::apply(const PegDrSet& event) {
    pegDrStatus->pegDrVlanIs({VlanId(event.vlan), static_cast<PegDrRole>(event.first),
                              static_cast<PegDrRole>(event.second),
                              static_cast<PegDrRole>(event.role)});
}

void Inputs::apply(const PegDrDel& event) {
    pegDrStatus->pegDrVlanDel(VlanId(event.vlan));
}

void Inputs::apply(const VrfToSbdSet& event) {
    const VrfName vrf(event.vrf);
    if (event.maps == SbdMaps::vxlan) {
        enabledStatus->vrfToSBDVlanIs(vrf, static_cast<std::uint16_t>(event.vlan));
    } else {
        gmpProxyStatus->vrfToSbdVlanIs(vrf, VlanId(event.vlan));
    }
}

void Inputs::apply(const VrfToSbdDel& event) {
    const VrfName vrf(event.vrf);
    event.maps == SbdMaps::vxlan ? enabledStatus->vrfToSBDVlanDel(vrf)
                                 : gmpProxyStatus->vrfToSbdVlanDel(vrf);
}

void Inputs::apply(const SbdToVrfSet& event) {
    if (event.maps == SbdMaps::vxlan) {
        enabledStatus->sbdVlanToVrfIs(event.vlan, VrfName(event.vrf));
    } else {
        // Not in the call: which of two wrong values is refused must not be the compiler's choice.
        const VlanId vlan(event.vlan);
        gmpProxyStatus->sbdVlanToVrfIs(vlan, VrfName(event.vrf));
    }
}

void Inputs::apply(const SbdToVrfDel& event) {
    event.maps == SbdMaps::vxlan ? enabledStatus->sbdVlanToVrfDel(event.vlan)
                                 : gmpProxyStatus->sbdVlanToVrfDel(VlanId(event.vlan));
}

void Inputs::apply(const SbdReplace& event) {
    if (event.maps == SbdMaps::vxlan) {
        auto maps = make<Vxlan::EnabledStatus>();
        for (const auto& [vrf, vlan] : event.vrfToSbd)
            maps->vrfToSBDVlanIs(VrfName(vrf), static_cast<std::uint16_t>(vlan));
        for (const auto& [vlan, vrf] : event.sbdToVrf)
            maps->sbdVlanToVrfIs(vlan, VrfName(vrf));
        enabledStatus = maps;
    } else {
        auto maps = make<Irb::Multicast::GmpProxyStatus>();
        for (const auto& [vrf, vlan] : event.vrfToSbd) {
            const VrfName name(vrf);
            maps->vrfToSbdVlanIs(name, VlanId(vlan));
        }
        for (const auto& [vlan, vrf] : event.sbdToVrf) {
            const VlanId number(vlan);
            maps->sbdVlanToVrfIs(number, VrfName(vrf));
        }
        gmpProxyStatus = maps;
    }
}

void Inputs::apply(const PegDrCorrupt& event) {
    pegDrStatus->corruptionIs(
        VlanId(event.vlan), "PEG DR record of VLAN " + std::to_string(event.vlan) + " is damaged");
}

void Inputs::apply(const SetCorrupt& event) {
    const auto source = sourceAt(event.place);
    const std::string ofSource = " set of " + sourceText(event.place) + " is damaged";
    if (event.set == JoinMode::include) {
        source->includeIntfsCorruptionIs("include" + ofSource);
    } else {
        source->excludeIntfsCorruptionIs("exclude" + ofSource);
    }
}

std::vector<Inputs::Arming> Inputs::disarm() {
    std::vector<Arming> armed;
    for (VlanNumber vlan = 1; vlan <= 4094; ++vlan) {
        if (reportsCorruption([&] { pegDrStatus->pegDrVlan(VlanId(vlan)); }))
            armed.emplace_back(PegDrCorrupt{vlan});
    }
    for (const auto& vlan : membershipJoinStatus->vlan()) {
        for (const auto& group : vlan.value->group()) {
            for (const auto& source : group.value->source()) {
                const SourcePlace place{vlan.key.value(), group.key, source.key};
                if (reportsCorruption([&] { source.value->includeIntfs().size(); }))
                    armed.emplace_back(SetCorrupt{place, JoinMode::include});
                if (reportsCorruption([&] { source.value->excludeIntfs().size(); }))
                    armed.emplace_back(SetCorrupt{place, JoinMode::exclude});
            }
        }
    }
    return armed;
}

}  // namespace Irbmc::Replay
