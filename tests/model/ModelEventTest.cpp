#include <gtest/gtest.h>

#include "model/Events.h"

namespace model {
namespace {

using namespace events;

TEST(ModelEvent, PrintsAsALineOfARecording) {
    EXPECT_EQ(toJson(join(10, "239.1.1.1", "0.0.0.0", "swp1", Mode::exclude)),
              R"({"op":"join","vlan":10,"group":"239.1.1.1","source":"0.0.0.0","intf":"swp1",)"
              R"("mode":"exclude"})");
    EXPECT_EQ(toJson(startWithout(input::pegDr | input::mpls)),
              R"({"op":"start","domain":1,"app":1,"name":"default",)"
              R"("without":["pegDrStatus","gmpProxyStatus"]})");
    EXPECT_EQ(toJson(pimSet("red", {"vlan10", "vlan20"})),
              R"({"op":"pim.set","vrf":"red","intfs":["vlan10","vlan20"]})");
    EXPECT_EQ(toJson(ofTable(Op::tableStatus, "red", 2)),
              R"({"op":"table.status","vrf":"red","app":2})");
    EXPECT_EQ(toJson(life(Op::stop)), R"({"op":"stop"})");
    EXPECT_EQ(toJson(ofVrf(Op::pegDrCorrupt, {}, 10)), R"({"op":"pegdr.corrupt","vlan":10})");
}

TEST(ModelEvent, NestsWhatARecordHolds) {
    Event event = ofJoin(Op::vlanSet, 10);
    event.groups = {{addr("239.1.1.1"), {{addr("10.0.0.1"), {Intf("swp1")}, {}}}}};
    EXPECT_EQ(toJson(event),
              R"({"op":"vlan.set","vlan":10,"groups":[{"group":"239.1.1.1","sources":[)"
              R"({"source":"10.0.0.1","include":["swp1"],"exclude":[]}]}]})");
    event = life(Op::mplsReplace);
    event.vrfToSbd = {{"red", 10}};
    event.sbdToVrf = {{10, "red"}};
    EXPECT_EQ(toJson(event),
              R"({"op":"mpls.replace","vrfToSbd":{"red":10},"sbdToVrf":{"10":"red"}})");
}

TEST(ModelEvent, ATableCanBeExpected) {
    const Table table{
        {{"red", 1}, {{{Intf("vlan10"), addr("::"), addr("ff3e::1")}, Mode::include}}}};
    EXPECT_EQ(expectation(table),
              R"({"op":"expect","table":[{"vrf":"red","app":1,"intf":"vlan10","source":"::",)"
              R"("group":"ff3e::1","mode":"include"}]})");
}

}  // namespace
}  // namespace model
