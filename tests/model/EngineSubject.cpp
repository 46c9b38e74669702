#include "model/EngineSubject.h"

#include <string>
#include <utility>

#include "Routing/Gmp/Tessel/App.h"

namespace model {

namespace {

namespace Replay = Irbmc::Replay;

Replay::JoinMode modeOf(Mode mode) {
    return mode == Mode::include ? Replay::JoinMode::include : Replay::JoinMode::exclude;
}

Replay::SourceJoin joinOf(const SourceSpec& spec) {
    return {spec.source, spec.include, spec.exclude};
}

Replay::GroupJoin joinOf(const GroupSpec& spec) {
    Replay::GroupJoin join{spec.group, {}};
    for (const SourceSpec& source : spec.sources)
        join.sources.push_back(joinOf(source));
    return join;
}

Replay::Action startOf(const Event& e) {
    Replay::Start start{e.domain, e.app, e.name, {}};
    for (unsigned bit = 0; bit < 7; ++bit) {
        if (e.without >> bit & 1u) start.without.push_back(static_cast<Replay::Input>(bit));
    }
    return start;
}

Replay::Action lifeOf(const Event& e) {
    switch (e.op) {
        case Op::toggle:
            return Replay::Toggle{e.name, e.on};
        case Op::start:
            return startOf(e);
        case Op::stop:
            return Replay::Stop{};
        case Op::abandon:
            return Replay::Abandon{};
        case Op::reap:
            return Replay::Reap{};
        default:
            return Replay::Notifications{e.on};
    }
}

Replay::Action changeOf(const Event& e, Mode set, Replay::Change change) {
    return Replay::IntfChange{modeOf(set), change, {e.vlan, e.group, e.source}, e.intf};
}

Replay::Action joinsOf(const Event& e) {
    const Replay::GroupPlace group{e.vlan, e.group};
    const Replay::SourcePlace source{e.vlan, e.group, e.source};
    Replay::VlanSet vlanSet{e.vlan, {}};
    switch (e.op) {
        case Op::vlanSet:
            for (const GroupSpec& spec : e.groups)
                vlanSet.groups.push_back(joinOf(spec));
            return vlanSet;
        case Op::vlanDel:
            return Replay::VlanDel{e.vlan};
        case Op::groupSet:
            return Replay::GroupSet{e.vlan, joinOf(GroupSpec{e.group, e.sources})};
        case Op::groupDel:
            return Replay::GroupDel{group};
        case Op::sourceSet:
            return Replay::SourceSet{group, joinOf(SourceSpec{e.source, e.include, e.exclude})};
        case Op::sourceDel:
            return Replay::SourceDel{source};
        case Op::includeAdd:
            return changeOf(e, Mode::include, Replay::Change::add);
        case Op::includeDel:
            return changeOf(e, Mode::include, Replay::Change::del);
        case Op::excludeAdd:
            return changeOf(e, Mode::exclude, Replay::Change::add);
        case Op::excludeDel:
            return changeOf(e, Mode::exclude, Replay::Change::del);
        case Op::join:
            return Replay::Join{source, e.intf, modeOf(e.mode)};
        default:
            return Replay::Leave{source, e.intf, modeOf(e.mode)};
    }
}

Replay::Action fabricOf(const Event& e) {
    switch (e.op) {
        case Op::l3Set:
            return Replay::L3Set{e.intf, e.vrf};
        case Op::l3Vrf:
            return Replay::L3Vrf{e.intf, e.vrf};
        case Op::l3Del:
            return Replay::L3Del{e.intf};
        case Op::pimSet:
            return Replay::PimSet{e.vrf, e.intfs};
        case Op::pimDel:
            return Replay::PimDel{e.vrf};
        case Op::pimIntfAdd:
            return Replay::PimIntfChange{Replay::Change::add, e.vrf, e.intf};
        case Op::pimIntfDel:
            return Replay::PimIntfChange{Replay::Change::del, e.vrf, e.intf};
        case Op::pegDrSet:
            return Replay::PegDrSet{e.vlan, e.first, e.second, e.role};
        default:
            return Replay::PegDrDel{e.vlan};
    }
}

Replay::Action mapsOf(const Event& e) {
    using Replay::SbdMaps;
    switch (e.op) {
        case Op::vxlanVrfSet:
            return Replay::VrfToSbdSet{SbdMaps::vxlan, e.vrf, e.vlan};
        case Op::vxlanVrfDel:
            return Replay::VrfToSbdDel{SbdMaps::vxlan, e.vrf};
        case Op::vxlanSbdSet:
            return Replay::SbdToVrfSet{SbdMaps::vxlan, e.vlan, e.vrf};
        case Op::vxlanSbdDel:
            return Replay::SbdToVrfDel{SbdMaps::vxlan, e.vlan};
        case Op::mplsVrfSet:
            return Replay::VrfToSbdSet{SbdMaps::mpls, e.vrf, e.vlan};
        case Op::mplsVrfDel:
            return Replay::VrfToSbdDel{SbdMaps::mpls, e.vrf};
        case Op::mplsSbdSet:
            return Replay::SbdToVrfSet{SbdMaps::mpls, e.vlan, e.vrf};
        case Op::mplsSbdDel:
            return Replay::SbdToVrfDel{SbdMaps::mpls, e.vlan};
        case Op::vxlanReplace:
            return Replay::SbdReplace{SbdMaps::vxlan, e.vrfToSbd, e.sbdToVrf};
        default:
            return Replay::SbdReplace{SbdMaps::mpls, e.vrfToSbd, e.sbdToVrf};
    }
}

Replay::Action restOf(const Event& e) {
    const Replay::StatusPlace status{e.vrf, e.app};
    const Replay::MembershipPlace membership{status, e.intf, e.source, e.group};
    switch (e.op) {
        case Op::tableSet:
            return Replay::TableSet{{membership, modeOf(e.mode)}};
        case Op::tableDel:
            return Replay::TableDel{membership};
        case Op::tableStatus:
            return Replay::TableStatus{status};
        case Op::pegDrCorrupt:
            return Replay::PegDrCorrupt{e.vlan};
        default:
            return Replay::SetCorrupt{{e.vlan, e.group, e.source}, modeOf(e.mode)};
    }
}

}  // namespace

Replay::Event toReplay(const Event& event) {
    if (event.op <= Op::notifications) return {lifeOf(event)};
    if (event.op <= Op::leave) return {joinsOf(event)};
    if (event.op <= Op::pegDrDel) return {fabricOf(event)};
    if (event.op <= Op::mplsReplace) return {mapsOf(event)};
    return {restOf(event)};
}

EngineSubject::EngineSubject(const std::filesystem::path& library, Toggles toggles,
                             Trace::Levels levels)
    : engine_({library, {}, {levels, {}}}) {
    engine_.apply({Replay::Toggle{"OismGateway", toggles.oismGateway}});
    engine_.apply({Replay::Toggle{"OismMplsTunnel", toggles.oismMplsTunnel}});
}

Observation EngineSubject::apply(const Event& event) {
    Replay::Outcome outcome = engine_.apply(toReplay(event));
    Observation seen;
    seen.error = std::move(outcome.error);
    seen.corruptions = outcome.corruptions.size();
    for (Replay::TraceLine& line : outcome.trace)
        seen.trace.push_back(
            {static_cast<int>(line.level), std::move(line.function), std::move(line.text)});
    return seen;
}

Table EngineSubject::table() const {
    Table table;
    for (const Replay::StatusContent& status : engine_.table()) {
        const auto& [vrf, app] = status.status;
        const std::string name =
            vrf + "." + stringValue(static_cast<Routing::Gmp::Tessel::App>(app));
        // A status of a wrong name counts as one that the model does not know.
        Memberships& entries =
            table[{status.name == name ? vrf : vrf + " named " + status.name, app}];
        for (const auto& [place, mode] : status.memberships) {
            entries[{place.intf, place.source, place.group}] =
                mode == Replay::JoinMode::include ? Mode::include : Mode::exclude;
        }
    }
    return table;
}

SubjectMaker engineSubjects(std::filesystem::path library, Toggles toggles) {
    return [library = std::move(library), toggles] {
        return std::make_unique<EngineSubject>(library, toggles);
    };
}

}  // namespace model
