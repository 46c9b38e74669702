// VRFs, SBD VLANs, DR roles, PIM and interfaces in the model, worked by hand.
#include "model/ModelFixture.h"

namespace model {
namespace {

using namespace events;
using testing::ElementsAre;
using testing::IsEmpty;
using ModelFabricTest = ModelTest;

constexpr const char* g1 = "239.1.1.1";
constexpr const char* s1 = "10.0.0.1";
constexpr const char* rangeError = "Bridging::VlanId::value < 1 or > 4094 not allowed";

TEST_F(ModelFabricTest, AVlanThatMovesToAnotherVrfWithdrawsThenWrites) {
    fabric();
    has(start());
    has(join(10, g1, s1, "swp1"));
    has(ofIntf(Op::l3Vrf, "vlan10", "blue"));
    EXPECT_THAT(table(), ElementsAre("blue vlan10 10.0.0.1 239.1.1.1 include"));
    EXPECT_THAT(
        texts(3),
        ElementsAre("L3 intf change vlan10",
                    "Update VLAN: 10, isSbdVlan: false, isDrForSbdVlan: false, deleteVlan: true, "
                    "isPimEnabled: false",
                    "Update VLAN: 10, isSbdVlan: false, isDrForSbdVlan: false, deleteVlan: false, "
                    "isPimEnabled: false"));
    EXPECT_TRUE(traced("handleL3IntfStatus(), Set vrfName blue for 10"));
    EXPECT_TRUE(traced("updateVrfName( 10 ), old name: red, new name: blue vlan is 10"));
    EXPECT_TRUE(traced("updateVrfName, gmpVrfApp blue.irb"));
}

TEST_F(ModelFabricTest, AVlanThatLosesItsInterfaceWithdraws) {
    fabric();
    has(start());
    has(join(10, g1, s1, "swp1"));
    has(ofIntf(Op::l3Del, "vlan10"));
    EXPECT_TRUE(model().table().empty());
    has(ofIntf(Op::l3Set, "vlan10", "red"));
    EXPECT_THAT(table(), ElementsAre("red vlan10 10.0.0.1 239.1.1.1 include"));
}

TEST_F(ModelFabricTest, AnInterfaceChangeThatChangesNoVrfDoesNothing) {
    fabric();
    has(start());
    has(join(10, g1, s1, "swp1"));
    has(ofIntf(Op::l3Set, "vlan10", "red"));
    EXPECT_THAT(texts(), IsEmpty());
    has(ofIntf(Op::l3Vrf, "vlan10", "red"));
    EXPECT_THAT(texts(), IsEmpty());
}

TEST_F(ModelFabricTest, InterfacesThatAreNoVlansAreTracedAndPassedOver) {
    has(start());
    for (const char* intf : {"swp1", "mtunnel1", "vlan4096", "vlan16383", "vlan30"}) {
        has(ofIntf(Op::l3Set, intf, "red"));
        EXPECT_THAT(texts(), ElementsAre(text("L3 intf change ", intf)));
        EXPECT_EQ(error(), "");
    }
    for (const char* intf : {"vlan0", "vlan4095", "vlan16384", "vlan65535"}) {
        has(ofIntf(Op::l3Set, intf, "red"));
        EXPECT_EQ(error(), rangeError);
        has(ofIntf(Op::l3Vrf, intf, "blue"));
        EXPECT_THAT(texts(), IsEmpty());
    }
}

TEST_F(ModelFabricTest, UnderMplsVlan1IsTheSbdVlanOfAVrfWithoutAMap) {
    has(ofIntf(Op::l3Set, "vlan1", "red"));
    has(start());
    has(join(1, g1, s1, "swp1"));
    EXPECT_TRUE(traced("handleInclude: Not PEG DR or Pim enabled for SBD VLAN1"));
    EXPECT_THAT(table(), IsEmpty());
}

TEST_F(ModelFabricTest, UnderVxlanAVrfWithoutAMapHasNoSbdVlan) {
    toggle("OismMplsTunnel", false);
    has(ofIntf(Op::l3Set, "vlan1", "red"));
    has(start());
    has(join(1, g1, s1, "swp1"));
    EXPECT_THAT(table(), ElementsAre("red vlan1 10.0.0.1 239.1.1.1 include"));
}

TEST_F(ModelFabricTest, WithTheMplsToggleOffItsMapIsTracedAndPassedOver) {
    toggle("OismMplsTunnel", false);
    has(start());
    has(ofVrf(Op::mplsVrfSet, "red", 10));
    EXPECT_THAT(texts(), ElementsAre("handleMplsVrfToSbdVlan( red )"));
    has(ofVrf(Op::vxlanVrfSet, "red", 10));
    EXPECT_THAT(texts(2), ElementsAre("VRF to SBD VLAN change, old: 0 new: 10"));
}

TEST_F(ModelFabricTest, AVrfThatMovesToAnotherSbdVlanTellsTheOldOneFirst) {
    has(start());
    has(ofVrf(Op::mplsVrfSet, "red", 10));
    has(ofVrf(Op::mplsVrfSet, "red", 20));
    EXPECT_THAT(
        texts(),
        ElementsAre("handleMplsVrfToSbdVlan( red )", "VRF to SBD VLAN change, old: 10 new: 20",
                    "updateSbdVlanMembership, No membership or VRF association for SBD VLAN 10",
                    "updateSbdVlanMembership, No membership or VRF association for SBD VLAN 20"));
    has(ofVrf(Op::mplsVrfDel, "red"));
    EXPECT_THAT(texts(2), ElementsAre("VRF to SBD VLAN change, old: 20 new: 0"));
}

TEST_F(ModelFabricTest, AMapReplacedByAnEqualOneIsReplayedWithEqualValues) {
    has(ofVrf(Op::vxlanVrfSet, "red", 10));
    has(start());
    Event event = life(Op::vxlanReplace);
    event.vrfToSbd = {{"red", 10}};
    event.sbdToVrf = {{10, "red"}};
    has(event);
    EXPECT_THAT(texts(2), ElementsAre("VRF to SBD VLAN change, old: 10 new: 10",
                                      "SBD VLAN to VRF change, VLAN: 10"));
}

TEST_F(ModelFabricTest, AMapGivenToAMachineThatHadNoneIsReplayedAsAdded) {
    has(ofVrf(Op::vxlanVrfSet, "red", 10));
    has(startWithout(input::vxlan));
    has(life(Op::vxlanReplace));
    EXPECT_THAT(texts(), IsEmpty());
    has(ofVrf(Op::vxlanVrfSet, "red", 20));
    EXPECT_THAT(texts(2), ElementsAre("VRF to SBD VLAN change, old: 0 new: 20"));
}

TEST_F(ModelFabricTest, AVxlanMapMayHoldNumbersThatNoVlanHasAndTheyAreRefusedWhenUsed) {
    has(start());
    has(ofVrf(Op::vxlanVrfSet, "red", 10));
    has(ofVrf(Op::vxlanVrfSet, "red", 0));
    EXPECT_EQ(error(), rangeError);
    EXPECT_EQ(texts().size(), 3u);
    has(ofVrf(Op::vxlanSbdSet, "red", 70000));
    EXPECT_EQ(error(), rangeError);
    EXPECT_THAT(texts(), ElementsAre("SBD VLAN to VRF change, VLAN: 70000"));
}

TEST_F(ModelFabricTest, ARoleChangeOnAnSbdVlanWritesAndWithdraws) {
    fabric();
    has(start());
    has(join(100, g1, s1, "mtunnel1"));
    has(pegDrSet(100, 1));
    EXPECT_THAT(table(), ElementsAre("red vlan100 10.0.0.1 239.1.1.1 include"));
    EXPECT_THAT(texts(8), ElementsAre("100:1"));
    has(pegDrSet(100, 2));
    EXPECT_THAT(table(), IsEmpty());
    has(pegDrSet(30, 1));
    EXPECT_THAT(texts(), ElementsAre(" PEG DR change, VLAN: 30",
                                     "handlePegDrStatus, No SBD VRF name associated with VLAN 30"));
}

TEST_F(ModelFabricTest, TheDomainSelectsTheRoleAndTheGatewayToggleTheThirdOne) {
    fabric();
    has(join(100, g1, s1, "mtunnel1"));
    has(pegDrSet(100, 1, 2, 3));
    has(start(0, 1));
    EXPECT_TRUE(traced("100:1"));
    has(life(Op::stop));
    has(start(0, 2));
    EXPECT_TRUE(traced("100:2"));
    has(life(Op::stop));
}

TEST_F(ModelFabricTest, WithTheGatewayToggleOffTheRecordsOwnRoleCounts) {
    toggle("OismGateway", false);
    fabric();
    has(join(100, g1, s1, "mtunnel1"));
    has(pegDrSet(100, 1, 1, 0));
    has(start());
    EXPECT_TRUE(traced("100:0"));
}

TEST_F(ModelFabricTest, AStandaloneRouterIsDrWithoutLookingAtTheRecord) {
    fabric();
    has(join(100, g1, s1, "mtunnel1"));
    has(start(0, 1, 1, "standalone"));
    EXPECT_THAT(table(), ElementsAre("red vlan100 10.0.0.1 239.1.1.1 include"));
    EXPECT_FALSE(traced("100:0"));
}

TEST_F(ModelFabricTest, ACorruptRecordIsReportedOnceAndMeansNotDr) {
    fabric();
    has(pegDrSet(100, 1));
    has(ofVrf(Op::pegDrCorrupt, {}, 100));
    has(join(100, g1, s1, "mtunnel1"));
    has(start());
    EXPECT_EQ(answer().corruptions, 1);
    EXPECT_TRUE(traced("100:0"));
}

TEST_F(ModelFabricTest, ASbdVlanThatNoVlanCanBeStopsTheVrfChangeHalfWay) {
    toggle("OismMplsTunnel", false);
    has(ofIntf(Op::l3Set, "vlan10", "red"));
    has(start());
    has(join(10, g1, s1, "swp1"));
    has(ofVrf(Op::vxlanVrfSet, "blue", 5000));
    has(ofIntf(Op::l3Vrf, "vlan10", "blue"));
    EXPECT_EQ(error(), rangeError);
    EXPECT_THAT(table(), IsEmpty());
    has(ofIntf(Op::l3Vrf, "vlan10", "red"));
    EXPECT_THAT(texts(), ElementsAre("L3 intf change vlan10"));
    EXPECT_THAT(table(), IsEmpty());
}

TEST_F(ModelFabricTest, APimInterfaceOfAnSbdVlanSwitchesItOnAndOff) {
    fabric();
    has(start());
    has(join(100, g1, s1, "mtunnel1"));
    has(pimSet("red", {"vlan100"}));
    EXPECT_THAT(table(), ElementsAre("red vlan100 10.0.0.1 239.1.1.1 include"));
    Event event = ofIntf(Op::pimIntfDel, "vlan100", "red");
    has(event);
    EXPECT_THAT(table(), IsEmpty());
}

TEST_F(ModelFabricTest, APimInterfaceThatConcernsNoSbdVlanSaysWhy) {
    has(start());
    has(join(10, g1, s1, "swp1"));
    has(pimSet("red", {"swp1", "vlan4096", "vlan20", "vlan10"}));
    EXPECT_THAT(
        texts(),
        ElementsAre("handlePimTransitIntf( red, swp1 )", "handlePimTransitIntf, Not a VLAN swp1",
                    "handlePimTransitIntf( red, vlan4096 )", "handlePimTransitIntf( red, vlan20 )",
                    "handlePimTransitIntf, No membership for VLAN 20",
                    "handlePimTransitIntf( red, vlan10 )",
                    "handlePimTransitIntf, No IntfStatus for vlan10"));
    has(ofIntf(Op::l3Set, "vlan10", ""));
    has(pimSet("red", {"vlan10", "vlan0", "vlan20"}));
    EXPECT_EQ(error(), rangeError);
    EXPECT_THAT(texts(), ElementsAre("handlePimTransitIntf( red, vlan10 )",
                                     "handlePimTransitIntf, Not SBD vlan vlan10",
                                     "handlePimTransitIntf( red, vlan0 )"));
}

TEST_F(ModelFabricTest, APimStatusThatWasReplacedUnheardIsStillTheOneFollowed) {
    has(pimSet("red", {}));
    has(start());
    has(life(Op::notifications, false));
    has(pimSet("red", {}));
    has(life(Op::notifications, true));
    has(ofIntf(Op::pimIntfAdd, "vlan10", "red"));
    EXPECT_THAT(texts(), IsEmpty());
}

TEST_F(ModelFabricTest, AVrfNameOver100BytesIsRefused) {
    has(ofIntf(Op::l3Set, "vlan10", std::string(101, 'v')));
    EXPECT_EQ(error(), "Rix::String::bytes > maxLength() not allowed");
    has(ofIntf(Op::l3Set, "vlan10", std::string(100, 'v')));
    EXPECT_EQ(error(), "");
}

TEST_F(ModelFabricTest, AnEmptyVrfNameInTheReverseMapMakesNoSbdVlan) {
    fabric();
    has(ofVrf(Op::mplsSbdSet, "", 10));
    has(start());
    has(pegDrSet(10, 1));
    EXPECT_TRUE(traced("handlePegDrStatus, No SBD VRF name associated with VLAN 10"));
}

}  // namespace
}  // namespace model
