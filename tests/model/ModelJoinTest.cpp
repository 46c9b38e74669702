// Joins, groups and sources in the model, worked by hand.
#include "model/ModelFixture.h"

namespace model {
namespace {

using namespace events;
using testing::ElementsAre;
using testing::IsEmpty;
using ModelJoinTest = ModelTest;

constexpr const char* g1 = "239.1.1.1";
constexpr const char* s1 = "10.0.0.1";
constexpr const char* s2 = "10.0.0.2";
constexpr const char* any = "0.0.0.0";

TEST_F(ModelJoinTest, APortThatJoinsASourceIsAnIncludeEntry) {
    fabric();
    has(start());
    has(join(10, g1, s1, "swp1"));
    EXPECT_THAT(table(), ElementsAre("red vlan10 10.0.0.1 239.1.1.1 include"));
    EXPECT_TRUE(
        traced("handleInclude: Update gmpStatus (red) for Smet ( Vlan 10, 10.0.0.1, "
               "239.1.1.1 ), add include: true"));
    EXPECT_TRUE(
        traced("addMembership: Add gmpStatus: red- ( 10.0.0.1, 239.1.1.1, vlan10 , "
               "include ) irb"));
    has(leave(10, g1, s1, "swp1"));
    EXPECT_THAT(table(), IsEmpty());
    EXPECT_TRUE(model().table().empty());
}

TEST_F(ModelJoinTest, TunnelsAloneAreNoLocalReceiver) {
    fabric();
    has(start());
    has(join(10, g1, s1, "mtunnel1"));
    EXPECT_THAT(table(), IsEmpty());
    EXPECT_TRUE(
        traced("handleInclude: Update gmpStatus (red) for Smet ( Vlan 10, 10.0.0.1, "
               "239.1.1.1 ), add include: false"));
}

TEST_F(ModelJoinTest, OnTheSbdVlanOfTheDrTunnelsAreEnough) {
    fabric();
    has(pegDrSet(100, 1));
    has(start());
    has(join(100, g1, s1, "mtunnel1"));
    EXPECT_THAT(table(), ElementsAre("red vlan100 10.0.0.1 239.1.1.1 include"));
}

TEST_F(ModelJoinTest, OnTheSbdVlanPimIsEnoughToo) {
    fabric();
    has(pimSet("red", {"vlan100"}));
    has(start());
    has(join(100, g1, any, "mtunnel1"));
    EXPECT_THAT(table(), ElementsAre("red vlan100 0.0.0.0 239.1.1.1 include"));
}

TEST_F(ModelJoinTest, OnTheSbdVlanWithoutDrAndPimNothingIsWritten) {
    fabric();
    has(ofJoin(Op::vlanSet, 100));
    has(start());
    has(join(100, g1, s1, "swp1"));
    EXPECT_THAT(table(), IsEmpty());
    EXPECT_THAT(texts(), ElementsAre("handleInclude: Not PEG DR or Pim enabled for SBD VLAN100",
                                     "handleExclude: Not PEG DR or Pim enabled for SBD VLAN100",
                                     "handleInclude: Not PEG DR or Pim enabled for SBD VLAN100"));
}

TEST_F(ModelJoinTest, ARefreshOfThatSbdVlanWritesWhatALocalPortWants) {
    fabric();
    has(start());
    has(join(100, g1, s1, "swp1"));
    has(join(100, g1, s2, "mtunnel1"));
    has(pegDrSet(100, 2));
    EXPECT_THAT(table(), ElementsAre("red vlan100 10.0.0.1 239.1.1.1 include"));
}

TEST_F(ModelJoinTest, AnyJoinedSourceIsTheStarGEntryAlone) {
    fabric();
    has(start());
    has(join(10, g1, any, "swp1"));
    EXPECT_THAT(table(), ElementsAre("red vlan10 0.0.0.0 239.1.1.1 include"));
    has(join(10, "ff3e::1", "::", "swp1"));
    EXPECT_THAT(table(), ElementsAre("red vlan10 0.0.0.0 239.1.1.1 include",
                                     "red vlan10 :: ff3e::1 include"));
}

TEST_F(ModelJoinTest, AnExcludedSourceWantsAllTheOthersFirst) {
    fabric();
    has(ofJoin(Op::vlanSet, 10));
    has(start());
    has(join(10, g1, s1, "swp1", Mode::exclude));
    EXPECT_THAT(table(), ElementsAre("red vlan10 0.0.0.0 239.1.1.1 include",
                                     "red vlan10 10.0.0.1 239.1.1.1 exclude"));
    EXPECT_THAT(texts(7), testing::Contains(testing::HasSubstr("0.0.0.0, 239.1.1.1, vlan10")));
    EXPECT_EQ(texts(7).size(), 2u);
    EXPECT_THAT(texts(7).back(), testing::HasSubstr("( 10.0.0.1, 239.1.1.1, vlan10 , exclude )"));
}

TEST_F(ModelJoinTest, IncludeWinsOverExclude) {
    fabric();
    has(start());
    has(join(10, g1, s1, "swp1"));
    has(ofJoin(Op::excludeAdd, 10, addr(g1), addr(s1), Intf("swp2")));
    EXPECT_THAT(table(), ElementsAre("red vlan10 10.0.0.1 239.1.1.1 include"));
}

TEST_F(ModelJoinTest, AFlipThatFillsTheExcludeSetFirstLeavesNothing) {
    fabric();
    has(start());
    has(join(10, g1, s1, "swp1"));
    has(ofJoin(Op::excludeAdd, 10, addr(g1), addr(s1), Intf("swp1")));
    has(ofJoin(Op::includeDel, 10, addr(g1), addr(s1), Intf("swp1")));
    EXPECT_THAT(table(), IsEmpty());
}

TEST_F(ModelJoinTest, AFlipThatEmptiesTheIncludeSetFirstEndsInExclude) {
    fabric();
    has(start());
    has(join(10, g1, s1, "swp1"));
    has(ofJoin(Op::includeDel, 10, addr(g1), addr(s1), Intf("swp1")));
    has(ofJoin(Op::excludeAdd, 10, addr(g1), addr(s1), Intf("swp1")));
    EXPECT_THAT(table(), ElementsAre("red vlan10 0.0.0.0 239.1.1.1 include",
                                     "red vlan10 10.0.0.1 239.1.1.1 exclude"));
}

TEST_F(ModelJoinTest, AMissingEntryReadsAsExcludeWhenItIsDeleted) {
    fabric();
    has(start());
    has(join(10, g1, s1, "swp1"));
    has(ofJoin(Op::sourceSet, 10, addr(g1), addr(s2)));
    EXPECT_TRUE(
        traced("delMembership: Del gmpStatus: red- ( 10.0.0.2, 239.1.1.1, vlan10 , "
               "exclude ) irb"));
    EXPECT_THAT(table(), ElementsAre("red vlan10 10.0.0.1 239.1.1.1 include"));
}

TEST_F(ModelJoinTest, AGroupThatGoesTakesItsEntriesInOrder) {
    fabric();
    has(start());
    has(join(10, g1, s1, "swp1"));
    has(join(10, g1, s2, "swp1", Mode::exclude));
    has(join(10, "239.9.9.9", s1, "swp1"));
    has(ofJoin(Op::groupDel, 10, addr(g1)));
    EXPECT_THAT(table(), ElementsAre("red vlan10 10.0.0.1 239.9.9.9 include"));
    const auto lines = texts();
    ASSERT_GE(lines.size(), 7u);
    EXPECT_EQ(lines[0], "Delete group: 239.1.1.1, VLAN 10, members: 2");
    EXPECT_EQ(lines[1], "handleGroupDel deleting source 10.0.0.1 includeIntfs 1 excludeIntfs 0");
    EXPECT_THAT(lines[2], testing::HasSubstr("( 10.0.0.1, 239.1.1.1, vlan10 , include )"));
    EXPECT_THAT(lines[3], testing::HasSubstr("( 10.0.0.1, 239.1.1.1, vlan10 , exclude )"));
    EXPECT_THAT(lines[4], testing::HasSubstr("deleting source 10.0.0.2"));
    EXPECT_THAT(lines[5], testing::HasSubstr("( 10.0.0.2, 239.1.1.1, vlan10 , exclude )"));
    EXPECT_THAT(lines[6], testing::HasSubstr("( 0.0.0.0, 239.1.1.1, vlan10 , include )"));
}

TEST_F(ModelJoinTest, AStarGEntryThatReapingWroteBackIsSweptAway) {
    fabric();
    has(start());
    has(join(10, g1, s1, "swp1", Mode::exclude));
    has(join(10, g1, s2, "swp1", Mode::exclude));
    has(ofJoin(Op::groupDel, 10, addr(g1)));
    EXPECT_THAT(table(), IsEmpty());
    const auto writes = texts(7);
    ASSERT_FALSE(writes.empty());
    EXPECT_EQ(writes.back(),
              "delMembership: Del gmpStatus: red- ( 0.0.0.0, 239.1.1.1, vlan10 , include ) irb");
    EXPECT_TRUE(
        traced("addMembership: Add gmpStatus: red- ( 0.0.0.0, 239.1.1.1, vlan10 , "
               "include ) irb"));
}

TEST_F(ModelJoinTest, AGroupInAVlanWithoutVrfLeavesItsTraceOnly) {
    has(start());
    has(join(10, g1, s1, "swp1"));
    has(ofJoin(Op::groupDel, 10, addr(g1)));
    EXPECT_THAT(texts(), ElementsAre("Delete group: 239.1.1.1, VLAN 10, members: 1",
                                     "handleGroupDel: No vrfName for vlan 10",
                                     "handleSourceDel: No vrfName for vlanId 10"));
}

TEST_F(ModelJoinTest, ASourceWithIncludesOnlyGoesWithoutAskingForStarG) {
    fabric();
    has(start());
    has(join(10, g1, s1, "swp1"));
    has(ofJoin(Op::sourceDel, 10, addr(g1), addr(s1)));
    EXPECT_THAT(texts(8),
                ElementsAre("handleSourceDel( 10.0.0.1 ), includeIntfs: 1, excludeIntfs: 0"));
    EXPECT_THAT(table(), IsEmpty());
}

TEST_F(ModelJoinTest, ASourceWithExcludesAsksForStarGWithoutItself) {
    fabric();
    has(start());
    has(join(10, g1, s1, "swp1", Mode::exclude));
    has(ofJoin(Op::sourceDel, 10, addr(g1), addr(s1)));
    EXPECT_THAT(texts(8),
                ElementsAre("handleSourceDel( 10.0.0.1 ), includeIntfs: 0, excludeIntfs: 1",
                            "updateStarG: Update gmpStatus (red) for Smet ( Vlan 10, 0.0.0.0, "
                            "239.1.1.1 )"));
    EXPECT_THAT(table(), IsEmpty());
}

TEST_F(ModelJoinTest, AnExcludeOfAnySourceTakesTheStarGEntrysPlaceUntilTheGroupGoes) {
    fabric();
    has(start());
    has(join(10, g1, any, "swp1", Mode::exclude));
    EXPECT_THAT(table(), ElementsAre("red vlan10 0.0.0.0 239.1.1.1 exclude"));
    has(ofJoin(Op::vlanDel, 10));
    EXPECT_THAT(table(), IsEmpty());
}

TEST_F(ModelJoinTest, AReplacedSourceIsNotLookedAtUntilItChanges) {
    fabric();
    has(start());
    has(join(10, g1, s1, "swp1"));
    has(ofJoin(Op::sourceSet, 10, addr(g1), addr(s1)));
    EXPECT_THAT(texts(), IsEmpty());
    EXPECT_THAT(table(), ElementsAre("red vlan10 10.0.0.1 239.1.1.1 include"));
    has(ofJoin(Op::includeAdd, 10, addr(g1), addr(s1), Intf("mtunnel1")));
    EXPECT_THAT(table(), IsEmpty());
}

TEST_F(ModelJoinTest, AReplacedGroupLosesAndGainsSources) {
    fabric();
    has(start());
    has(join(10, g1, s1, "swp1"));
    Event event = ofJoin(Op::groupSet, 10, addr(g1));
    event.sources = {{addr(s2), {Intf("swp2")}, {}}};
    has(event);
    EXPECT_THAT(table(), ElementsAre("red vlan10 10.0.0.2 239.1.1.1 include"));
}

TEST_F(ModelJoinTest, AReplacedVlanLosesItsOtherGroups) {
    fabric();
    has(start());
    has(join(10, g1, s1, "swp1"));
    Event event = ofJoin(Op::vlanSet, 10);
    event.groups = {{addr("239.2.2.2"), {{addr(s2), {Intf("swp2")}, {}}}}};
    has(event);
    EXPECT_THAT(table(), ElementsAre("red vlan10 10.0.0.2 239.2.2.2 include"));
}

TEST_F(ModelJoinTest, AVlanThatGoesTakesItsOwnEntriesAlone) {
    fabric();
    has(ofIntf(Op::l3Set, "vlan20", "red"));
    has(start());
    has(join(10, g1, s1, "swp1"));
    has(join(10, g1, s2, "swp1", Mode::exclude));
    has(join(20, g1, s1, "swp1"));
    has(ofJoin(Op::vlanDel, 10));
    EXPECT_THAT(table(), ElementsAre("red vlan20 10.0.0.1 239.1.1.1 include"));
}

TEST_F(ModelJoinTest, AnIpv6SourceOfZerosInAnIpv4GroupIsAnySourceWithAnEntryOfItsOwn) {
    fabric();
    has(start());
    has(join(10, g1, "::", "swp1", Mode::exclude));
    EXPECT_THAT(table(), ElementsAre("red vlan10 :: 239.1.1.1 exclude"));
    has(ofIntf(Op::l3Vrf, "vlan10", "blue"));
    EXPECT_THAT(table(), ElementsAre("red vlan10 :: 239.1.1.1 exclude"));
}

TEST_F(ModelJoinTest, ADamagedSetIsReportedOnceAndWantsNothing) {
    fabric();
    has(start());
    has(join(10, g1, s1, "swp1"));
    has(ofJoin(Op::setCorrupt, 10, addr(g1), addr(s1)));
    has(ofJoin(Op::includeAdd, 10, addr(g1), addr(s1), Intf("swp2")));
    EXPECT_EQ(answer().corruptions, 1);
    EXPECT_THAT(table(), IsEmpty());
    has(ofJoin(Op::includeAdd, 10, addr(g1), addr(s1), Intf("swp3")));
    EXPECT_EQ(answer().corruptions, 0);
    EXPECT_THAT(table(), ElementsAre("red vlan10 10.0.0.1 239.1.1.1 include"));
}

TEST_F(ModelJoinTest, ADamagedSetCountsAsEmptyWhenItsSourceGoes) {
    fabric();
    has(start());
    has(join(10, g1, s1, "swp1"));
    has(ofJoin(Op::setCorrupt, 10, addr(g1), addr(s1)));
    has(ofJoin(Op::sourceDel, 10, addr(g1), addr(s1)));
    EXPECT_THAT(texts(),
                ElementsAre("handleSourceDel( 10.0.0.1 ), includeIntfs: 0, excludeIntfs: 0"));
    EXPECT_THAT(table(), ElementsAre("red vlan10 10.0.0.1 239.1.1.1 include"));
}

TEST_F(ModelJoinTest, AVlanNumberOutOfRangeIsRefusedBeforeAnythingIsLookedUp) {
    for (const std::uint32_t vlan : {0u, 4095u, 70000u}) {
        has(join(vlan, g1, s1, "swp1"));
        EXPECT_EQ(error(), "Bridging::VlanId::value < 1 or > 4094 not allowed");
        has(ofJoin(Op::groupDel, vlan, addr(g1)));
        EXPECT_EQ(error(), "Bridging::VlanId::value < 1 or > 4094 not allowed");
    }
}

}  // namespace
}  // namespace model
