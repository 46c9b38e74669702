#include "model/TinyUniverses.h"

#include "model/Events.h"

namespace model {

using namespace events;

namespace {

constexpr const char* group = "239.1.1.1";
constexpr const char* any = "0.0.0.0";
constexpr const char* s1 = "10.0.0.1";
constexpr const char* s2 = "10.0.0.2";

std::vector<Event> mplsPlan() {
    return {ofIntf(Op::l3Set, "vlan10", "red"), ofIntf(Op::l3Set, "vlan20", "red"),
            ofVrf(Op::mplsVrfSet, "red", 20),   ofVrf(Op::mplsSbdSet, "red", 20),
            ofVrf(Op::vxlanVrfSet, "red", 20),  ofVrf(Op::vxlanSbdSet, "red", 20)};
}

void addBoth(std::vector<Event>& events, std::uint32_t vlan, const char* source, const char* intf,
             Mode mode) {
    events.push_back(join(vlan, group, source, intf, mode));
    events.push_back(leave(vlan, group, source, intf, mode));
}

}  // namespace

TinyUniverse sourcesOfOneGroup() {
    TinyUniverse all{"sources of one group", mplsPlan(), {}};
    all.prelude.push_back(start());
    for (const Mode mode : {Mode::include, Mode::exclude}) {
        for (const char* source : {any, s1, s2})
            addBoth(all.events, 10, source, "swp1", mode);
        addBoth(all.events, 10, s1, "mtunnel1", mode);
    }
    Event replaced = ofJoin(Op::sourceSet, 10, addr(group), addr(s1));
    all.events.push_back(replaced);
    replaced.exclude = {Intf("swp1")};
    all.events.push_back(replaced);
    all.events.push_back(ofJoin(Op::sourceDel, 10, addr(group), addr(s1)));
    all.events.push_back(ofJoin(Op::groupDel, 10, addr(group)));
    Event other = ofJoin(Op::groupSet, 10, addr(group));
    other.sources = {{addr(s2), {Intf("swp1")}, {}}};
    all.events.push_back(other);
    all.events.push_back(ofJoin(Op::vlanDel, 10));
    return all;
}

TinyUniverse fabricOfOneSbdVlan() {
    TinyUniverse all{"fabric of one SBD VLAN", {}, {}};
    // No rule touches these memberships: the statuses stay, and the walk is faster.
    all.prelude = {ofTable(Op::tableSet, "red", 1, "vlan4096"),
                   ofTable(Op::tableSet, "blue", 1, "vlan4096"),
                   start(),
                   join(20, group, s1, "mtunnel1"),
                   join(20, group, s2, "swp1", Mode::exclude),
                   join(10, group, any, "swp1")};
    for (const char* intf : {"vlan10", "vlan20"}) {
        all.events.push_back(ofIntf(Op::l3Set, intf, "red"));
        all.events.push_back(ofIntf(Op::l3Vrf, intf, "blue"));
        all.events.push_back(ofIntf(Op::l3Del, intf));
    }
    for (const std::uint32_t vlan : {10u, 20u}) {
        all.events.push_back(ofVrf(Op::mplsVrfSet, "red", vlan));
        all.events.push_back(ofVrf(Op::vxlanVrfSet, "red", vlan));
    }
    all.events.push_back(ofVrf(Op::mplsVrfDel, "red"));
    all.events.push_back(ofVrf(Op::vxlanVrfDel, "red"));
    all.events.push_back(ofVrf(Op::mplsSbdSet, "red", 20));
    all.events.push_back(ofVrf(Op::mplsSbdDel, {}, 20));
    all.events.push_back(ofVrf(Op::vxlanSbdSet, "red", 20));
    all.events.push_back(ofVrf(Op::vxlanSbdDel, {}, 20));
    all.events.push_back(pegDrSet(20, 1, 2, 1));
    all.events.push_back(pegDrSet(20, 2, 1, 2));
    all.events.push_back(pimSet("red", {"vlan20"}));
    all.events.push_back(ofVrf(Op::pimDel, "red"));
    all.events.push_back(ofIntf(Op::pimIntfDel, "vlan20", "red"));
    return all;
}

TinyUniverse livesOfAMachine() {
    TinyUniverse all{"lives of a machine", mplsPlan(), {}};
    all.prelude.push_back(pegDrSet(20, 1, 1, 1));
    all.events = {start(),
                  start(0, 2),
                  startWithout(input::pegDr),
                  life(Op::stop),
                  life(Op::abandon),
                  life(Op::reap),
                  life(Op::notifications, false),
                  life(Op::notifications, true),
                  join(10, group, s1, "swp1"),
                  leave(10, group, s1, "swp1"),
                  join(20, group, s1, "mtunnel1", Mode::exclude),
                  leave(20, group, s1, "mtunnel1", Mode::exclude),
                  ofJoin(Op::vlanSet, 10),
                  ofIntf(Op::l3Vrf, "vlan10", "blue"),
                  ofIntf(Op::l3Set, "vlan10", "red"),
                  pegDrSet(20, 2, 2, 2),
                  pimSet("red", {"vlan20"}),
                  ofTable(Op::tableSet, "red", 1, "vlan10", s2, group),
                  ofVrf(Op::mplsVrfDel, "red")};
    return all;
}

}  // namespace model
