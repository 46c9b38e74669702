#include "model/Generator.h"

#include <numeric>

#include "model/Events.h"

namespace model {

namespace {

using Weights = std::initializer_list<std::pair<Op, unsigned>>;

void set(Mix& mix, Weights weights) {
    for (const auto& [op, weight] : weights)
        mix.weights[static_cast<std::size_t>(op)] = weight;
}

void joins(Mix& mix) {
    set(mix, {{Op::vlanSet, 2},
              {Op::vlanDel, 2},
              {Op::groupSet, 3},
              {Op::groupDel, 3},
              {Op::sourceSet, 4},
              {Op::sourceDel, 4},
              {Op::includeAdd, 12},
              {Op::includeDel, 12},
              {Op::excludeAdd, 12},
              {Op::excludeDel, 12},
              {Op::join, 20},
              {Op::leave, 12}});
}

void fabric(Mix& mix) {
    set(mix, {{Op::l3Set, 4},
              {Op::l3Vrf, 8},
              {Op::l3Del, 3},
              {Op::pimSet, 3},
              {Op::pimDel, 2},
              {Op::pimIntfAdd, 6},
              {Op::pimIntfDel, 6},
              {Op::pegDrSet, 8},
              {Op::pegDrDel, 2},
              {Op::vxlanVrfSet, 4},
              {Op::vxlanVrfDel, 2},
              {Op::vxlanSbdSet, 4},
              {Op::vxlanSbdDel, 2},
              {Op::mplsVrfSet, 4},
              {Op::mplsVrfDel, 2},
              {Op::mplsSbdSet, 4},
              {Op::mplsSbdDel, 2},
              {Op::vxlanReplace, 2},
              {Op::mplsReplace, 2}});
}

void life(Mix& mix) {
    set(mix, {{Op::start, 8},
              {Op::stop, 2},
              {Op::abandon, 2},
              {Op::reap, 2},
              {Op::notifications, 4},
              {Op::tableSet, 6},
              {Op::tableDel, 2},
              {Op::tableStatus, 2},
              {Op::pegDrCorrupt, 1},
              {Op::setCorrupt, 2}});
}

}  // namespace

Universe Universe::small() {
    using events::addr;
    Universe all;
    all.vlans = {1, 10, 20, 4094};
    all.vrfs = {"red", "blue"};
    all.groups = {addr("239.1.1.1"), addr("232.1.1.1"), addr("ff3e::1")};
    all.sources = {addr("0.0.0.0"), addr("10.0.0.1"),    addr("10.0.0.2"),
                   addr("::"),      addr("2001:db8::1"), addr("239.1.1.1")};
    all.receivers = {Intf("swp1"), Intf("swp2"), Intf("mtunnel1"), Intf("vlan30")};
    all.intfs = {Intf("vlan1"), Intf("vlan10"), Intf("vlan20"), Intf("vlan4094")};
    all.oddVlans = {0, 4095, 70000};
    all.oddMapVlans = {0, 4095, 5000, 65535};
    all.oddVrfs = {"", std::string(100, 'v'), std::string(101, 'v')};
    all.oddIntfs = {Intf("swp1"),     Intf("mtunnel1"),  Intf("vlan0"),     Intf("vlan4095"),
                    Intf("vlan4096"), Intf("vlan16383"), Intf("vlan16384"), Intf("vlan30")};
    return all;
}

Universe Universe::fabric() {
    Universe all = small();
    all.vlans = {10, 20, 30, 40, 50, 60, 100, 200};
    all.vrfs = {"red", "blue", "green", "grey"};
    for (unsigned i = 0; i < 14; ++i) {
        const std::string number = std::to_string(i);
        all.groups.push_back(events::addr(("239.2.0." + number).c_str()));
        all.groups.push_back(events::addr(("ff3e::2:" + number).c_str()));
        if (i < 4) all.sources.push_back(events::addr(("10.0.1." + number).c_str()));
        if (i < 6) all.receivers.emplace_back("swp" + std::to_string(10 + i));
    }
    all.intfs.clear();
    for (const std::uint32_t vlan : all.vlans)
        all.intfs.emplace_back("vlan" + std::to_string(vlan));
    return all;
}

Mix Mix::everyday() {
    Mix mix;
    joins(mix);
    fabric(mix);
    set(mix, {{Op::join, 400},
              {Op::leave, 400},
              {Op::vlanDel, 1},
              {Op::start, 40},
              {Op::stop, 1},
              {Op::abandon, 1}});
    mix.oddPercent = 1;
    return mix;
}

Mix Mix::drawn(Random& random) {
    Mix mix;
    const std::size_t kind = random.below(4);
    if (kind != 1) joins(mix);
    if (kind != 0) fabric(mix);
    life(mix);
    if (kind < 2) {
        // Long lives: little but the start that the others need.
        set(mix, {{Op::stop, 1}, {Op::abandon, 1}, {Op::reap, 1}, {Op::tableSet, 1}});
    }
    if (kind == 1) set(mix, {{Op::join, 30}, {Op::leave, 6}, {Op::excludeAdd, 6}});
    mix.oddPercent = random.chance(40) ? 4 : 0;
    return mix;
}

Generator::Generator(const Universe& universe, Mix mix, Random random)
    : universe_(universe),
      mix_(mix),
      total_(std::accumulate(mix.weights.begin(), mix.weights.end(), 0u)),
      random_(random) {}

Event Generator::next(const Model& model) {
    for (int attempt = 0; attempt < 20; ++attempt) {
        Event event = draw(model);
        if (model.accepts(event)) return event;
    }
    Event event;
    event.op = Op::join;
    fillJoin(event, model);
    return event;
}

std::vector<Event> Generator::plan() {
    std::vector<Event> events;
    const auto add = [&](Op op, const std::string& vrf, std::uint32_t vlan) {
        events.push_back(events::ofVrf(op, vrf, vlan));
    };
    for (const Intf intf : universe_.intfs) {
        if (!random_.chance(80)) continue;
        add(Op::l3Set, random_.of(universe_.vrfs), 0);
        events.back().intf = intf;
    }
    for (const std::string& vrf : universe_.vrfs) {
        const std::uint32_t vlan = random_.of(universe_.vlans);
        if (random_.chance(70)) add(Op::mplsVrfSet, vrf, vlan);
        if (random_.chance(70)) add(Op::mplsSbdSet, vrf, vlan);
        if (random_.chance(70)) add(Op::vxlanVrfSet, vrf, vlan);
        if (random_.chance(70)) add(Op::vxlanSbdSet, vrf, vlan);
        if (random_.chance(50)) {
            events.push_back(events::pegDrSet(vlan, 1, 1, 1));
        }
        if (!random_.chance(40)) continue;
        add(Op::pimSet, vrf, 0);
        events.back().intfs = some(universe_.intfs, 50);
    }
    return events;
}

Op Generator::drawOp() {
    auto left = static_cast<unsigned>(random_.below(total_));
    std::size_t op = 0;
    while (left >= mix_.weights[op])
        left -= mix_.weights[op++];
    return static_cast<Op>(op);
}

Event Generator::draw(const Model& model) {
    Event event;
    event.op = drawOp();
    event.on = random_.chance(50);
    if (event.op == Op::notifications && !event.on) event.on = random_.chance(50);
    if (event.op == Op::start) {
        fillStart(event);
    } else if (event.op <= Op::notifications) {
        return event;
    } else if (event.op <= Op::leave || event.op == Op::setCorrupt) {
        fillJoin(event, model);
    } else if (event.op <= Op::pegDrDel || event.op == Op::pegDrCorrupt) {
        fillFabric(event, model);
    } else if (event.op <= Op::mplsReplace) {
        fillMaps(event);
    } else {
        fillTable(event, model);
    }
    return event;
}

void Generator::fillStart(Event& event) {
    event.domain = random_.chance(70) ? 1 : static_cast<std::uint8_t>(random_.below(3));
    event.app = random_.chance(85) ? 1 : random_.of(std::array<std::uint8_t, 3>{0, 2, 255});
    event.name = random_.chance(80)
                     ? "default"
                     : random_.of(std::array<std::string, 3>{"standalone", "vxlan", ""});
    if (random_.chance(10)) event.without = static_cast<std::uint8_t>(1 << random_.below(7));
    if (random_.chance(2)) event.without = static_cast<std::uint8_t>(random_.below(128));
}

/// Where a join is: at a record that is there, as far down as there is one, or anywhere.
void Generator::fillJoin(Event& event, const Model& model) {
    event.vlan = vlan();
    event.group = random_.of(universe_.groups);
    event.source = random_.of(universe_.sources);
    event.intf = random_.of(universe_.receivers);
    event.mode = random_.chance(60) ? Mode::include : Mode::exclude;
    const auto& vlans = model.inputs().vlans;
    if (!vlans.empty() && random_.chance(mix_.knownPercent)) {
        const auto& vlanJoin = *random_.of(vlans).second;
        event.vlan = vlanJoin.vlan;
        if (!vlanJoin.groups.empty() && random_.chance(mix_.knownPercent)) {
            const auto& groupJoin = *random_.of(vlanJoin.groups).second;
            event.group = groupJoin.group;
            if (!groupJoin.sources.empty() && random_.chance(mix_.knownPercent)) {
                event.source = random_.of(groupJoin.sources).second->source;
            }
        }
    }
    if (event.op == Op::vlanSet) {
        for (const Addr& group : universe_.groups) {
            if (random_.chance(40)) event.groups.push_back({group, sources()});
        }
    } else if (event.op == Op::groupSet) {
        event.sources = sources();
    } else if (event.op == Op::sourceSet) {
        SourceSpec spec = sourceSpec(event.source);
        event.include = std::move(spec.include);
        event.exclude = std::move(spec.exclude);
    }
}

SourceSpec Generator::sourceSpec(const Addr& source) {
    return {source, some(universe_.receivers, 25), some(universe_.receivers, 25)};
}

std::vector<SourceSpec> Generator::sources() {
    std::vector<SourceSpec> specs;
    for (const Addr& source : universe_.sources) {
        if (random_.chance(30)) specs.push_back(sourceSpec(source));
    }
    return specs;
}

void Generator::fillFabric(Event& event, const Model& model) {
    event.vlan = vlan();
    event.vrf = vrf();
    event.intf = intf();
    // Not 101 bytes where a record is looked up under the name.
    if (event.op == Op::pimIntfAdd || event.op == Op::pimIntfDel) {
        const auto& pim = model.inputs().pim;
        if (!pim.empty()) event.vrf = random_.of(pim).first;
    } else if (event.op == Op::l3Vrf) {
        const auto& intfs = model.inputs().intfs;
        if (!intfs.empty()) event.intf = random_.of(intfs).first;
        if (random_.chance(15)) event.vrf.clear();
    } else if (event.op == Op::pimSet) {
        event.intfs = some(universe_.intfs, 40);
        if (odd()) event.intfs.push_back(random_.of(universe_.oddIntfs));
    }
    event.first = static_cast<std::uint8_t>(random_.below(3));
    event.second = static_cast<std::uint8_t>(random_.below(3));
    event.role = random_.chance(95) ? static_cast<std::uint8_t>(random_.below(3)) : 255;
}

/// One odd value at most, so that there is one reason to refuse the event.
void Generator::fillMaps(Event& event) {
    const bool ofVlanIds =
        event.op == Op::mplsReplace || (event.op >= Op::mplsVrfSet && event.op <= Op::mplsSbdDel);
    const bool reverse = event.op == Op::vxlanSbdSet || event.op == Op::vxlanSbdDel;
    event.vrf = vrf();
    event.vlan = event.vrf.size() <= 100 ? mapVlan(ofVlanIds) : random_.of(universe_.vlans);
    if (reverse && odd()) {
        event.vrf = random_.of(universe_.vrfs);
        event.vlan = 70000;
    }
    if (event.op < Op::vxlanReplace) return;
    for (const std::string& vrfName : universe_.vrfs) {
        if (random_.chance(60)) event.vrfToSbd.emplace_back(vrfName, random_.of(universe_.vlans));
    }
    for (const std::uint32_t number : universe_.vlans) {
        if (random_.chance(40)) event.sbdToVrf.emplace_back(number, random_.of(universe_.vrfs));
    }
    if (odd() && !event.vrfToSbd.empty()) event.vrfToSbd.back().second = mapVlan(ofVlanIds);
    if (odd() && !event.sbdToVrf.empty()) event.sbdToVrf.back().second.clear();
}

void Generator::fillTable(Event& event, const Model& model) {
    event.vrf = vrf();
    event.app = random_.chance(85) ? 1 : 2;
    event.intf = intf();
    if (event.intf.kind() != Intf::Kind::vlan) event.intf = Intf("vlan4096");
    event.source = random_.of(universe_.sources);
    event.group = random_.of(universe_.groups);
    event.mode = random_.chance(70) ? Mode::include : Mode::exclude;
    if (event.op != Op::tableDel || model.table().empty()) return;
    // Mostly something that is there.
    const auto status = std::next(model.table().begin(),
                                  static_cast<std::ptrdiff_t>(random_.below(model.table().size())));
    if (status->second.empty() || !random_.chance(80)) return;
    event.vrf = status->first.vrf;
    event.app = status->first.app;
    const auto entry = std::next(status->second.begin(),
                                 static_cast<std::ptrdiff_t>(random_.below(status->second.size())));
    event.intf = entry->first.intf;
    event.source = entry->first.source;
    event.group = entry->first.group;
}

std::uint32_t Generator::vlan() {
    return random_.of(odd() ? universe_.oddVlans : universe_.vlans);
}

std::uint32_t Generator::mapVlan(bool ofVlanIds) {
    if (!odd()) return random_.of(universe_.vlans);
    return random_.of(ofVlanIds ? universe_.oddVlans : universe_.oddMapVlans);
}

std::string Generator::vrf() {
    return random_.of(odd() ? universe_.oddVrfs : universe_.vrfs);
}

Intf Generator::intf() {
    return random_.of(odd() ? universe_.oddIntfs : universe_.intfs);
}

std::vector<Intf> Generator::some(const std::vector<Intf>& intfs, unsigned percent) {
    std::vector<Intf> chosen;
    for (const Intf intf : intfs) {
        if (random_.chance(percent)) chosen.push_back(intf);
    }
    return chosen;
}

}  // namespace model
