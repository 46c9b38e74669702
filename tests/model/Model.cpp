// The inputs' side of the model: what each event changes, and which change the machine is told of.
#include "model/Model.h"

#include <algorithm>
#include <utility>

#include "Ondel/VlanIntfId.h"

namespace model {

namespace {

bool isVlanNumber(std::uint32_t number) {
    return number >= 1 && number <= 4094;
}

std::shared_ptr<SourceJoin> sourceJoin(const SourceSpec& spec) {
    auto join = std::make_shared<SourceJoin>();
    join->source = spec.source;
    join->include.intfs = {spec.include.begin(), spec.include.end()};
    join->exclude.intfs = {spec.exclude.begin(), spec.exclude.end()};
    return join;
}

std::shared_ptr<GroupJoin> groupJoin(const Addr& group, const std::vector<SourceSpec>& sources) {
    auto join = std::make_shared<GroupJoin>();
    join->group = group;
    for (const SourceSpec& spec : sources)
        join->sources.put(spec.source, sourceJoin(spec));
    return join;
}

SbdMaps replacement(const Event& event, bool ofVlanIds) {
    SbdMaps maps;
    for (const auto& [vrf, vlan] : event.vrfToSbd) {
        requireVrfName(vrf);
        if (ofVlanIds) requireVlanId(vlan);
        maps.vrfToSbd.put(vrf, static_cast<std::uint16_t>(vlan));
    }
    for (const auto& [vlan, vrf] : event.sbdToVrf) {
        requireVrfName(vrf);
        if (ofVlanIds) requireVlanId(vlan);
        maps.sbdToVrf.put(vlan, vrf);
    }
    return maps;
}

}  // namespace

bool Model::accepts(const Event& event) const {
    switch (event.op) {
        case Op::toggle:
            return !everStarted_ && (event.name == "OismGateway" || event.name == "OismMplsTunnel");
        case Op::start:
            return !machine_;
        case Op::stop:
        case Op::abandon:
        case Op::reap:
        case Op::notifications:
            return machine_.has_value();
        case Op::groupSet:
        case Op::groupDel:
            return !isVlanNumber(event.vlan) || vlan(event.vlan) != nullptr;
        case Op::sourceSet:
        case Op::sourceDel:
            return !isVlanNumber(event.vlan) || group(event) != nullptr;
        case Op::includeAdd:
        case Op::includeDel:
        case Op::excludeAdd:
        case Op::excludeDel:
        case Op::leave:
        case Op::setCorrupt:
            return !isVlanNumber(event.vlan) || source(event) != nullptr;
        case Op::l3Vrf:
            return world_.inputs.intfs.find(event.intf) != nullptr;
        case Op::pimIntfAdd:
        case Op::pimIntfDel:
            return world_.inputs.pim.find(event.vrf) != nullptr;
        case Op::vxlanVrfSet:
            return event.vlan <= 65535;
        case Op::vxlanReplace:
        case Op::mplsReplace:
            return std::all_of(event.vrfToSbd.begin(), event.vrfToSbd.end(),
                               [](const auto& entry) { return entry.second <= 65535; });
        case Op::tableSet:
        case Op::tableDel:
            return Ondel::VlanIntfId::isVlanIntfId(event.intf);
        default:
            return true;
    }
}

Answer Model::apply(const Event& event) {
    world_.answer = {};
    try {
        carryOut(event);
    } catch (const Refusal& refusal) {
        world_.answer.error = refusal.message;
    }
    return std::exchange(world_.answer, {});
}

void Model::carryOut(const Event& event) {
    if (event.op == Op::start) {
        start(event);
    } else if (event.op == Op::toggle) {
        (event.name == "OismGateway" ? world_.toggles.oismGateway : world_.toggles.oismMplsTunnel) =
            event.on;
    } else if (event.op == Op::stop) {
        machine_->stop();
        machine_.reset();
    } else if (event.op == Op::abandon) {
        machine_.reset();
    } else if (event.op == Op::reap) {
        machine_->reap();
    } else if (event.op == Op::notifications) {
        machine_->notificationsAre(event.on);
    } else if (event.op <= Op::leave || event.op == Op::setCorrupt) {
        changeJoins(event);
    } else if (event.op <= Op::pegDrDel || event.op == Op::pegDrCorrupt) {
        changeFabric(event);
    } else if (event.op <= Op::mplsReplace) {
        changeMaps(event);
    } else {
        changeTable(event);
    }
}

/// A machine whose start fails is gone; the table stays as that left it.
void Model::start(const Event& event) {
    everStarted_ = true;
    world_.inputs.joinName = event.name;
    machine_.emplace(world_, event.domain, event.app, event.without);
    try {
        machine_->start();
    } catch (const Refusal&) {
        machine_.reset();
        throw;
    }
}

void Model::changeJoins(const Event& event) {
    requireVlanId(event.vlan);
    switch (event.op) {
        case Op::vlanSet:
            return setVlan(event.vlan, event.groups);
        case Op::vlanDel:
            return delVlan(event.vlan);
        case Op::groupSet:
            return setGroup(event, event.sources);
        case Op::groupDel:
            return delGroup(event);
        case Op::sourceSet:
            return setSource(event, {event.source, event.include, event.exclude});
        case Op::sourceDel:
            return delSource(event);
        case Op::includeAdd:
        case Op::includeDel:
            return changeSet(event, Mode::include, event.op == Op::includeAdd);
        case Op::excludeAdd:
        case Op::excludeDel:
            return changeSet(event, Mode::exclude, event.op == Op::excludeAdd);
        case Op::join:
            return join(event);
        case Op::leave:
            return leave(event);
        default:  // set.corrupt
            const auto join = source(event);
            (event.mode == Mode::include ? join->include : join->exclude).corrupt = true;
    }
}

std::shared_ptr<VlanJoin> Model::vlan(std::uint32_t number) const {
    if (!isVlanNumber(number)) return nullptr;
    const auto* join = world_.inputs.vlans.find(static_cast<std::uint16_t>(number));
    return join != nullptr ? *join : nullptr;
}

std::shared_ptr<GroupJoin> Model::group(const Event& event) const {
    const auto parent = vlan(event.vlan);
    const auto* join = parent != nullptr ? parent->groups.find(event.group) : nullptr;
    return join != nullptr ? *join : nullptr;
}

std::shared_ptr<SourceJoin> Model::source(const Event& event) const {
    const auto parent = group(event);
    const auto* join = parent != nullptr ? parent->sources.find(event.source) : nullptr;
    return join != nullptr ? *join : nullptr;
}

void Model::setVlan(std::uint32_t number, const std::vector<GroupSpec>& groups) {
    const auto id = static_cast<std::uint16_t>(number);
    auto join = std::make_shared<VlanJoin>();
    join->vlan = id;
    for (const GroupSpec& spec : groups)
        join->groups.put(spec.group, groupJoin(spec.group, spec.sources));
    world_.inputs.vlans.put(id, std::move(join));
    if (machine_) machine_->vlanChanged(id);
}

void Model::delVlan(std::uint32_t number) {
    const auto id = static_cast<std::uint16_t>(number);
    if (world_.inputs.vlans.erase(id) && machine_) machine_->vlanChanged(id);
}

void Model::setGroup(const Event& event, const std::vector<SourceSpec>& sources) {
    const auto parent = vlan(event.vlan);
    parent->groups.put(event.group, groupJoin(event.group, sources));
    if (machine_) machine_->groupChanged(parent, event.group);
}

void Model::delGroup(const Event& event) {
    const auto parent = vlan(event.vlan);
    if (parent->groups.erase(event.group) && machine_) machine_->groupChanged(parent, event.group);
}

void Model::setSource(const Event& event, const SourceSpec& spec) {
    const auto parent = group(event);
    parent->sources.put(event.source, sourceJoin(spec));
    if (machine_) {
        machine_->sourceChanged(static_cast<std::uint16_t>(event.vlan), parent, event.source);
    }
}

void Model::delSource(const Event& event) {
    const auto parent = group(event);
    if (parent->sources.erase(event.source) && machine_) {
        machine_->sourceChanged(static_cast<std::uint16_t>(event.vlan), parent, event.source);
    }
}

void Model::changeSet(const Event& event, Mode set, bool add) {
    const auto join = source(event);
    auto& intfs = (set == Mode::include ? join->include : join->exclude).intfs;
    const bool changed = add ? intfs.insert(event.intf).second : intfs.erase(event.intf) != 0;
    if (changed && machine_) {
        machine_->setChanged(static_cast<std::uint16_t>(event.vlan), event.group, join, set);
    }
}

void Model::join(const Event& event) {
    if (vlan(event.vlan) == nullptr) setVlan(event.vlan, {});
    if (group(event) == nullptr) setGroup(event, {});
    if (source(event) == nullptr) setSource(event, {event.source, {}, {}});
    changeSet(event, event.mode, true);
}

void Model::leave(const Event& event) {
    const auto join = source(event);
    changeSet(event, event.mode, false);
    if (!join->include.intfs.empty() || !join->exclude.intfs.empty()) return;
    delSource(event);
    if (!group(event)->sources.empty()) return;
    delGroup(event);
    if (vlan(event.vlan)->groups.empty()) delVlan(event.vlan);
}

void Model::changeFabric(const Event& event) {
    if (event.op >= Op::pegDrSet) {
        requireVlanId(event.vlan);
        changePegDr(event);
        return;
    }
    if (event.op != Op::l3Del) requireVrfName(event.vrf);
    if (event.op <= Op::l3Del) {
        changeIntf(event);
    } else {
        changePim(event);
    }
}

void Model::changePegDr(const Event& event) {
    const auto id = static_cast<std::uint16_t>(event.vlan);
    if (event.op == Op::pegDrCorrupt) {
        world_.inputs.corruptPegDr.insert(id);
        return;
    }
    auto& records = world_.inputs.pegDr;
    const PegDr record{event.first, event.second, event.role};
    const auto at = records.find(id);
    if (event.op == Op::pegDrSet) {
        if (at != records.end() && at->second == record) return;
        records[id] = record;
    } else {
        if (at == records.end()) return;
        records.erase(at);
    }
    if (machine_) machine_->pegDrChanged(id);
}

void Model::changeIntf(const Event& event) {
    auto& intfs = world_.inputs.intfs;
    if (event.op == Op::l3Vrf) {
        const auto status = *intfs.find(event.intf);
        if (status->vrf == event.vrf) return;
        status->vrf = event.vrf;
        if (machine_) machine_->intfVrfChanged(status);
        return;
    }
    if (event.op == Op::l3Set) {
        intfs.put(event.intf, std::make_shared<IntfStatus>(IntfStatus{event.intf, event.vrf}));
    } else if (!intfs.erase(event.intf)) {
        return;
    }
    if (machine_) machine_->intfChanged(event.intf);
}

void Model::changePim(const Event& event) {
    auto& statuses = world_.inputs.pim;
    if (event.op == Op::pimIntfAdd || event.op == Op::pimIntfDel) {
        const auto status = *statuses.find(event.vrf);
        const auto at = std::find(status->intfs.begin(), status->intfs.end(), event.intf);
        const bool add = event.op == Op::pimIntfAdd;
        if (add == (at != status->intfs.end())) return;
        if (add) {
            status->intfs.push_back(event.intf);
        } else {
            status->intfs.erase(at);
        }
        if (machine_) machine_->pimIntfChanged(status, event.intf);
        return;
    }
    if (event.op == Op::pimSet) {
        statuses.put(event.vrf, std::make_shared<PimStatus>(PimStatus{event.vrf, event.intfs}));
    } else if (!statuses.erase(event.vrf)) {
        return;
    }
    if (machine_) machine_->pimChanged(event.vrf);
}

void Model::changeMaps(const Event& event) {
    const bool ofVxlan = event.op <= Op::vxlanSbdDel || event.op == Op::vxlanReplace;
    if (event.op >= Op::vxlanReplace) {
        replaceMaps(event, ofVxlan);
    } else if (event.op == Op::vxlanVrfSet || event.op == Op::vxlanVrfDel ||
               event.op == Op::mplsVrfSet || event.op == Op::mplsVrfDel) {
        changeVrfToSbd(event, ofVxlan);
    } else {
        changeSbdToVrf(event, ofVxlan);
    }
}

void Model::replaceMaps(const Event& event, bool ofVxlan) {
    SbdMaps& maps = ofVxlan ? world_.inputs.vxlan : world_.inputs.mpls;
    const SbdMaps before = std::exchange(maps, replacement(event, !ofVxlan));
    if (!machine_) return;
    if (ofVxlan) {
        machine_->vxlanReplaced(before);
    } else {
        machine_->mplsReplaced(before);
    }
}

void Model::changeVrfToSbd(const Event& event, bool ofVxlan) {
    auto& map = (ofVxlan ? world_.inputs.vxlan : world_.inputs.mpls).vrfToSbd;
    requireVrfName(event.vrf);
    const auto* there = map.find(event.vrf);
    const auto before = there != nullptr ? std::optional(*there) : std::nullopt;
    if (event.op == Op::vxlanVrfSet || event.op == Op::mplsVrfSet) {
        if (!ofVxlan) requireVlanId(event.vlan);
        if (before == event.vlan) return;
        map.put(event.vrf, static_cast<std::uint16_t>(event.vlan));
    } else if (!map.erase(event.vrf)) {
        return;
    }
    if (!machine_) return;
    const std::uint16_t* was = before ? &*before : nullptr;
    if (ofVxlan) {
        machine_->vxlanVrfChanged(event.vrf, was);
    } else {
        machine_->mplsVrfChanged(event.vrf, was);
    }
}

void Model::changeSbdToVrf(const Event& event, bool ofVxlan) {
    auto& map = (ofVxlan ? world_.inputs.vxlan : world_.inputs.mpls).sbdToVrf;
    if (!ofVxlan) requireVlanId(event.vlan);
    if (event.op == Op::vxlanSbdSet || event.op == Op::mplsSbdSet) {
        requireVrfName(event.vrf);
        const auto* there = map.find(event.vlan);
        if (there != nullptr && *there == event.vrf) return;
        map.put(event.vlan, event.vrf);
    } else if (!map.erase(event.vlan)) {
        return;
    }
    if (!machine_) return;
    if (ofVxlan) {
        machine_->vxlanSbdChanged(event.vlan);
    } else {
        machine_->mplsSbdChanged(event.vlan);
    }
}

void Model::changeTable(const Event& event) {
    requireVrfName(event.vrf);
    const StatusKey status{event.vrf, event.app};
    const MembershipKey key{event.intf, event.source, event.group};
    if (event.op == Op::tableStatus) {
        world_.table.try_emplace(status);
    } else if (event.op == Op::tableSet) {
        world_.table[status][key] = event.mode;
    } else if (const auto at = world_.table.find(status); at != world_.table.end()) {
        at->second.erase(key);
    }
}

}  // namespace model
