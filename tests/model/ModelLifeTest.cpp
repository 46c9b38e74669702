// Start, stop, reaping, missed notifications and old tables in the model, worked by hand.
#include "model/ModelFixture.h"

namespace model {
namespace {

using namespace events;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;
using ModelLifeTest = ModelTest;

constexpr const char* g1 = "239.1.1.1";
constexpr const char* s1 = "10.0.0.1";

TEST_F(ModelLifeTest, AMachineWithoutInputsStartsAndStops) {
    has(startWithout(input::all));
    EXPECT_EQ(error(), "");
    EXPECT_THAT(texts(), ElementsAre("handleInitialized: "));
    has(life(Op::stop));
    EXPECT_THAT(texts(), IsEmpty());
}

TEST_F(ModelLifeTest, AStartDeletesWhatNothingJustifiesAndLeavesOtherApplicationsAlone) {
    has(ofTable(Op::tableSet, "red", 1, "vlan30", s1));
    has(ofTable(Op::tableSet, "red", 2, "vlan30", s1));
    has(ofTable(Op::tableStatus, "blue", 1));
    has(start());
    EXPECT_THAT(table(), ElementsAre("red vlan30 10.0.0.1 239.1.1.1 include"));
    EXPECT_EQ(model().table().size(), 1u);
    EXPECT_THAT(texts(),
                UnorderedElementsAre(
                    "handleInitialized: default",
                    "handleInitialized: gmpLocalColl red.gmp not applicable to default",
                    "handleInitialized(): No VLAN30, delete gmp membership ( 10.0.0.1,239.1.1.1 )",
                    "handleInitialized: del gmpStatusLocalColl red.irb",
                    "handleInitialized: del gmpStatusLocalColl blue.irb"));
}

TEST_F(ModelLifeTest, AStartKeepsWhatIsStillJoinedAndDeletesTheRest) {
    fabric();
    has(join(10, g1, s1, "swp1"));
    has(start());
    has(life(Op::abandon));
    has(ofTable(Op::tableSet, "red", 1, "vlan10", "10.0.0.9"));
    has(ofTable(Op::tableSet, "red", 1, "vlan10", s1, "239.9.9.9"));
    has(ofTable(Op::tableSet, "blue", 1, "vlan10", s1));
    has(start());
    EXPECT_THAT(table(), ElementsAre("red vlan10 10.0.0.1 239.1.1.1 include"));
    for (const char* why :
         {"(S,G) not needed in 10, delete gmp membership ( 10.0.0.9,239.1.1.1 )",
          "No group in VLAN 10, delete gmp membership ( 10.0.0.1,239.9.9.9 )",
          "VRF name has changed for VLAN10, delete gmp membership ( 10.0.0.1,239.1.1.1 )"}) {
        EXPECT_TRUE(traced(text("handleInitialized(): ", why))) << why;
    }
}

TEST_F(ModelLifeTest, AStartAsksForStarGWithTheGroupsOwnAddressLeftOut) {
    fabric();
    has(ofJoin(Op::vlanSet, 10));
    has(join(10, g1, g1, "swp1", Mode::exclude));
    has(start());
    EXPECT_THAT(table(), ElementsAre("red vlan10 239.1.1.1 239.1.1.1 exclude"));
    EXPECT_TRUE(
        traced("handleInitialized(): (*,G) not needed in 10, delete gmp membership ( "
               "0.0.0.0,239.1.1.1 )"));
}

TEST_F(ModelLifeTest, AStartDeletesEntriesOfVlansWithoutVrfAndOfSbdVlansThatDoNotPull) {
    fabric();
    has(join(100, g1, s1, "mtunnel1"));
    has(join(20, g1, s1, "swp1"));
    has(ofTable(Op::tableSet, "red", 1, "vlan100", s1));
    has(ofTable(Op::tableSet, "red", 1, "vlan20", s1));
    has(start());
    EXPECT_THAT(table(), IsEmpty());
    EXPECT_TRUE(
        traced("handleInitialized(): Not PEG DR or Pim enabled for SBD VLAN 100, delete "
               "gmp membership ( 10.0.0.1,239.1.1.1 )"));
    EXPECT_TRUE(
        traced("handleInitialized(): VRF is not set for VLAN20, delete gmp membership ( "
               "10.0.0.1,239.1.1.1 )"));
}

TEST_F(ModelLifeTest, HighVlanInterfacesInTheTableAreLeftAloneAndImpossibleOnesEndTheStart) {
    has(ofTable(Op::tableSet, "red", 1, "vlan4096"));
    has(ofTable(Op::tableSet, "red", 1, "vlan16383"));
    has(start());
    EXPECT_EQ(error(), "");
    EXPECT_EQ(table().size(), 2u);
    has(life(Op::stop));
    for (const char* intf : {"vlan0", "vlan4095", "vlan16384"}) {
        has(ofTable(Op::tableSet, "red", 1, intf));
        has(start());
        EXPECT_EQ(error(), "Bridging::VlanId::value < 1 or > 4094 not allowed") << intf;
        EXPECT_TRUE(answer().walkCut);
        EXPECT_FALSE(model().isRunning());
        has(ofTable(Op::tableDel, "red", 1, intf));
    }
}

TEST_F(ModelLifeTest, AStopWithdrawsTheMembershipsOfVlansThatHaveAVrf) {
    fabric();
    has(start());
    has(join(10, g1, s1, "swp1"));
    has(life(Op::stop));
    EXPECT_TRUE(model().table().empty());
}

TEST_F(ModelLifeTest, AnAbandonedMachineLeavesItsMemberships) {
    fabric();
    has(start());
    has(join(10, g1, s1, "swp1"));
    has(life(Op::abandon));
    EXPECT_THAT(table(), ElementsAre("red vlan10 10.0.0.1 239.1.1.1 include"));
}

TEST_F(ModelLifeTest, AReapedMachineStopsWithoutWriting) {
    fabric();
    has(join(10, g1, s1, "swp1"));
    has(start());
    has(life(Op::reap));
    EXPECT_THAT(table(), IsEmpty());
    has(ofVrf(Op::mplsSbdSet, "red", 10));
    EXPECT_THAT(table(), ElementsAre("red vlan10 10.0.0.1 239.1.1.1 include"));
    has(life(Op::stop));
    EXPECT_THAT(texts(), IsEmpty());
    EXPECT_THAT(table(), ElementsAre("red vlan10 10.0.0.1 239.1.1.1 include"));
}

TEST_F(ModelLifeTest, AReapedMachineHearsNoPegDrAndNoPimButKeepsItsTrackers) {
    fabric();
    has(start());
    has(life(Op::reap));
    has(pegDrSet(100, 1));
    EXPECT_THAT(texts(), IsEmpty());
    has(pimSet("red", {"vlan100"}));
    EXPECT_THAT(texts(), IsEmpty());
    Event event = ofVrf(Op::pimIntfAdd, "red");
    event.intf = Intf("vlan10");
    has(event);
    EXPECT_THAT(texts(), ElementsAre("handlePimTransitIntf( red, vlan10 )",
                                     "handlePimTransitIntf, No membership for VLAN 10"));
}

TEST_F(ModelLifeTest, AVlanThatComesAfterReapingLivesAndItsGroupsWithdraw) {
    fabric();
    has(start());
    has(life(Op::reap));
    has(join(10, g1, s1, "swp1"));
    EXPECT_THAT(table(), ElementsAre("red vlan10 10.0.0.1 239.1.1.1 include"));
    has(life(Op::stop));
    EXPECT_THAT(table(), IsEmpty());
    EXPECT_THAT(texts(3), IsEmpty());
}

TEST_F(ModelLifeTest, AGroupThatComesToAReapedVlanIsWrittenAndWithdrawn) {
    fabric();
    has(start());
    has(ofJoin(Op::vlanSet, 10));
    has(life(Op::reap));
    Event event = ofJoin(Op::vlanSet, 10);
    event.groups = {{addr(g1), {{addr(s1), {Intf("swp1")}, {}}}}};
    has(event);
    EXPECT_TRUE(
        traced("addMembership: Add gmpStatus: red- ( 10.0.0.1, 239.1.1.1, vlan10 , "
               "include ) irb"));
    EXPECT_THAT(table(), IsEmpty());
}

TEST_F(ModelLifeTest, ReapingGoesOnBehindAnInterfaceThatFails) {
    fabric();
    has(ofIntf(Op::l3Set, "vlan0", "red"));
    has(join(10, g1, s1, "swp1"));
    has(start());
    has(life(Op::reap));
    EXPECT_EQ(error(), "Bridging::VlanId::value < 1 or > 4094 not allowed");
    EXPECT_THAT(table(), IsEmpty());
    has(life(Op::stop));
    EXPECT_EQ(error(), "");
}

TEST_F(ModelLifeTest, WhatWasMissedWithNotificationsOffStaysMissed) {
    fabric();
    has(start());
    has(join(10, g1, s1, "swp1"));
    has(life(Op::notifications, false));
    has(ofJoin(Op::vlanSet, 10));
    has(life(Op::notifications, true));
    EXPECT_THAT(table(), ElementsAre("red vlan10 10.0.0.1 239.1.1.1 include"));
    has(join(10, "239.2.2.2", s1, "swp1"));
    EXPECT_THAT(texts(), IsEmpty());
    has(ofJoin(Op::vlanSet, 10));
    EXPECT_THAT(table(), IsEmpty());
}

TEST_F(ModelLifeTest, AnInterfaceThatWasMissedIsComparedWithTheStatusThatIsFollowed) {
    fabric();
    has(start());
    has(join(10, g1, s1, "swp1"));
    has(life(Op::notifications, false));
    has(ofIntf(Op::l3Vrf, "vlan10", "blue"));
    has(life(Op::notifications, true));
    has(ofIntf(Op::l3Set, "vlan10", "blue"));
    EXPECT_THAT(texts(), IsEmpty());
    has(ofIntf(Op::l3Set, "vlan10", "green"));
    EXPECT_THAT(table(), ElementsAre("green vlan10 10.0.0.1 239.1.1.1 include"));
}

TEST_F(ModelLifeTest, TheMapsAreHeardWithNotificationsOff) {
    fabric();
    has(pegDrSet(100, 1));
    has(start());
    has(join(100, g1, s1, "mtunnel1"));
    has(life(Op::notifications, false));
    has(ofVrf(Op::mplsVrfDel, "red"));
    EXPECT_TRUE(traced("Update SBD VLAN 100"));
    EXPECT_THAT(table(), IsEmpty());
}

TEST_F(ModelLifeTest, AStartThatFailsWithdrawsNothing) {
    fabric();
    has(join(10, g1, s1, "swp1"));
    has(ofVrf(Op::vxlanVrfSet, "blue", 5000));
    has(start());
    EXPECT_EQ(error(), "Bridging::VlanId::value < 1 or > 4094 not allowed");
    EXPECT_THAT(table(), ElementsAre("red vlan10 10.0.0.1 239.1.1.1 include"));
    has(ofVrf(Op::vxlanVrfDel, "blue"));
    has(start());
    EXPECT_EQ(error(), "");
    EXPECT_THAT(table(), ElementsAre("red vlan10 10.0.0.1 239.1.1.1 include"));
}

TEST_F(ModelLifeTest, AMachineWithoutTableTracesWhatItWouldWrite) {
    fabric();
    has(startWithout(input::table));
    has(join(10, g1, s1, "swp1"));
    EXPECT_TRUE(
        traced("addMembership: Add gmpStatus: red- ( 10.0.0.1, 239.1.1.1, vlan10 , "
               "include ) irb"));
    EXPECT_TRUE(model().table().empty());
}

TEST_F(ModelLifeTest, EqualHistoriesHaveEqualStatesAndAMissedRecordTellsThemApart) {
    Model other;
    for (const Event& event : {start(), join(10, g1, s1, "swp1"), life(Op::notifications, false),
                               ofJoin(Op::vlanSet, 10), life(Op::notifications, true)}) {
        has(event);
        if (event.op != Op::notifications) other.apply(event);
    }
    EXPECT_NE(model().stateText(), other.stateText());
    has(ofJoin(Op::vlanSet, 10));
    EXPECT_EQ(model().stateText(), other.stateText());
}

}  // namespace
}  // namespace model
