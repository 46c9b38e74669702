// How changes of the inputs reach the machine's handlers, and the replacement of an input.
#include "Lumo/publish.h"
#include "MembershipJoinStatusSm/L3IntfStatus.h"
#include "MembershipJoinStatusSm/PimVrfStatus.h"
#include "MembershipJoinStatusSm/RixVlanMembership.h"
#include "Pim/Fabric.h"
#include "Pim/RootObserver.h"

namespace Irb::Multicast::Ingress::Detail {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class InputReactions : public Fabric {
  protected:
    static Lumo::Ptr<Vxlan::EnabledStatus> vxlanMap(
        const std::vector<std::pair<const char*, unsigned>>& entries) {
        auto status = Lumo::make<Vxlan::EnabledStatus>();
        for (const auto& [name, number] : entries)
            status->vrfToSBDVlanIs(vrf(name), static_cast<std::uint16_t>(number));
        return status;
    }

    static Lumo::Ptr<GmpProxyStatus> mplsMap(
        const std::vector<std::pair<const char*, unsigned>>& entries) {
        auto status = Lumo::make<GmpProxyStatus>();
        for (const auto& [name, number] : entries)
            status->vrfToSbdVlanIs(vrf(name), VlanId(number));
        return status;
    }

    /// What the handlers of one map were called with: "( red )", "old: 100 new: 0", and so on.
    Texts calls(const std::string& handler) const {
        Texts calls;
        for (const std::string& line : trace()) {
            for (const std::string& start :
                 {"9 " + handler + " | " + handler, "2 " + handler + " | VRF to SBD VLAN change, ",
                  "2 " + handler + " | SBD VLAN to VRF change, "}) {
                if (line.starts_with(start)) calls.push_back(line.substr(start.size()));
            }
        }
        return calls;
    }
    Texts vxlanCalls() const { return calls("handleVxlanVrfToSbdVlan"); }
    Texts mplsCalls() const { return calls("handleMplsVrfToSbdVlan"); }
    Texts sbdVlanCalls() const { return calls("handleSbdVlanToVrf"); }
};

TEST_F(InputReactions, ARemovedVlanLosesItsTrackerAndNoOther) {
    bind("vlan10", "red");
    bind("vlan20", "red");
    join(10, "239.1.1.1", "10.0.0.1", "swp1");
    join(20, "239.1.1.1", "10.0.0.1", "swp1");
    start();
    delVlan(10);
    EXPECT_FALSE(vlan(10));
    EXPECT_TRUE(vlan(20));
    EXPECT_THAT(table(), ElementsAre("red.irb vlan20 (10.0.0.1, 239.1.1.1) include"));
}

TEST_F(InputReactions, AVlanThatComesGetsATracker) {
    start();
    join(10, "239.1.1.1", "10.0.0.1", "swp1");
    ASSERT_TRUE(vlan(10));
    EXPECT_EQ(vlan(10)->notifier(), vlanJoin(10));
}

TEST_F(InputReactions, AVlanWithAnotherRecordKeepsItsTracker) {
    join(10, "239.1.1.1", "10.0.0.1", "swp1");
    start();
    const auto tracker = vlan(10);
    membershipJoinStatus->vlanIs(Lumo::make<Gmp::VlanMembershipJoin>(VlanId(10)));
    EXPECT_EQ(vlan(10), tracker);
    EXPECT_EQ(tracker->notifier(), vlanJoin(10));
}

TEST_F(InputReactions, AnInterfaceStatusThatComesAndGoesTakesItsTrackerAlong) {
    start();
    bind("swp1", "red");
    EXPECT_TRUE(machine->l3IntfStatus(IntfId("swp1")));
    unbind("swp1");
    EXPECT_FALSE(machine->l3IntfStatus(IntfId("swp1")));
}

TEST_F(InputReactions, APimStatusThatComesAndGoesTakesItsTrackerAlong) {
    start();
    pim("red", {});
    EXPECT_TRUE(machine->pimVrfStatus(vrf("red")));
    delPim("red");
    EXPECT_FALSE(machine->pimVrfStatus(vrf("red")));
}

TEST_F(InputReactions, APegDrRecordMakesNoTracker) {
    start();
    pegDr(10, 1);
    EXPECT_TRUE(traced("3 handlePegDrStatus |  PEG DR change, VLAN: 10"));
    EXPECT_FALSE(vlan(10));
}

TEST_F(InputReactions, ARemovedPegDrRecordIsAChangeToo) {
    pegDr(10, 1);
    start();
    forget();
    pegDrStatus->pegDrVlanDel(VlanId(10));
    EXPECT_TRUE(traced("3 handlePegDrStatus |  PEG DR change, VLAN: 10"));
}

TEST_F(InputReactions, OnceReapedAPegDrChangeIsIgnored) {
    sbd("red", 100);
    start();
    machine->rixDoZombieReactors(true);
    forget();
    pegDr(100, 1);
    EXPECT_THAT(trace(), IsEmpty());
    EXPECT_THAT(blocks(), IsEmpty());
}

TEST_F(InputReactions, OnceReapedAPimStatusStillGetsItsTrackerButNoHandler) {
    start();
    machine->rixDoZombieReactors(true);
    forget();
    pim("red", {"vlan100"});
    EXPECT_TRUE(machine->pimVrfStatus(vrf("red")));
    delPim("red");
    EXPECT_FALSE(machine->pimVrfStatus(vrf("red")));
    EXPECT_THAT(trace(), IsEmpty());
    EXPECT_THAT(blocks(), IsEmpty());
}

TEST_F(InputReactions, AChangeOfAnyOtherAttributeIsIgnored) {
    bind("vlan0", "red");
    sbd("red", 100);
    start();
    forget();
    constexpr Lumo::FieldId other{42};
    Lumo::publish(*membershipJoinStatus, other, VlanId(10));
    Lumo::publish(*pegDrStatus, other, VlanId(100));
    Lumo::publish(*l3IntfStatusDir, other, IntfId("vlan0"));
    Lumo::publish(*pimStatusColl, other, vrf("red"));
    Lumo::publish(*enabledStatus, other, vrf("red"));
    Lumo::publish(*gmpProxyStatus, other, vrf("red"));
    EXPECT_THAT(trace(), IsEmpty());
    EXPECT_THAT(blocks(), IsEmpty());
}

TEST_F(InputReactions, AnEntryOfTheVxlanMapIsHandledWithItsOldAndItsNewVlan) {
    start();
    enabledStatus->vrfToSBDVlanIs(vrf("red"), 100);
    EXPECT_THAT(vxlanCalls(), ElementsAre("( red )", "old: 0 new: 100"));
    forget();
    enabledStatus->vrfToSBDVlanIs(vrf("red"), 200);
    EXPECT_THAT(vxlanCalls(), ElementsAre("( red )", "old: 100 new: 200"));
    forget();
    enabledStatus->vrfToSBDVlanDel(vrf("red"));
    EXPECT_THAT(vxlanCalls(), ElementsAre("( red )", "old: 200 new: 0"));
    EXPECT_THAT(mplsCalls(), IsEmpty());
}

TEST_F(InputReactions, AnEntryOfTheMplsMapIsHandledWithItsOldAndItsNewVlan) {
    start();
    gmpProxyStatus->vrfToSbdVlanIs(vrf("red"), VlanId(100));
    EXPECT_THAT(mplsCalls(), ElementsAre("( red )", "old: 0 new: 100"));
    forget();
    gmpProxyStatus->vrfToSbdVlanIs(vrf("red"), VlanId(200));
    EXPECT_THAT(mplsCalls(), ElementsAre("( red )", "old: 100 new: 200"));
    EXPECT_THAT(vxlanCalls(), IsEmpty());
}

TEST_F(InputReactions, AVrfThatLeavesTheMplsMapIsHandledWithoutANewVlan) {
    gmpProxyStatus->vrfToSbdVlanIs(vrf("red"), VlanId(100));
    start();
    forget();
    gmpProxyStatus->vrfToSbdVlanDel(vrf("red"));
    EXPECT_THAT(mplsCalls(), ElementsAre("( red )", "old: 100 new: 0"));
}

TEST_F(InputReactions, TheReverseMapsOfBothDomainsReachOneHandler) {
    start();
    enabledStatus->sbdVlanToVrfIs(100, vrf("red"));
    gmpProxyStatus->sbdVlanToVrfIs(VlanId(200), vrf("red"));
    enabledStatus->sbdVlanToVrfDel(100);
    gmpProxyStatus->sbdVlanToVrfDel(VlanId(200));
    EXPECT_THAT(sbdVlanCalls(), ElementsAre("VLAN: 100", "VLAN: 200", "VLAN: 100", "VLAN: 200"));
}

TEST_F(InputReactions, AtTheStartTheMapsAreReplayedAsAdditionsForwardMapsFirst) {
    enabledStatus->vrfToSBDVlanIs(vrf("red"), 100);
    enabledStatus->sbdVlanToVrfIs(101, vrf("red"));
    gmpProxyStatus->vrfToSbdVlanIs(vrf("blue"), VlanId(200));
    gmpProxyStatus->sbdVlanToVrfIs(VlanId(201), vrf("blue"));
    start();
    EXPECT_THAT(trace(2), ElementsAre("VRF to SBD VLAN change, old: 0 new: 100",
                                      "VRF to SBD VLAN change, old: 0 new: 200",
                                      "SBD VLAN to VRF change, VLAN: 101",
                                      "SBD VLAN to VRF change, VLAN: 201"));
    EXPECT_EQ(trace().front(), "8 handleInitialized | handleInitialized: default");
}

TEST_F(InputReactions, AnotherVxlanInputWithTheSameMapIsHandledOnceAVrfWithEqualVlans) {
    enabledStatus = vxlanMap({{"red", 100}, {"blue", 200}});
    start();
    forget();
    enabledStatus = vxlanMap({{"red", 100}, {"blue", 200}});
    machine->enabledStatusIs(enabledStatus);
    EXPECT_THAT(vxlanCalls(), ElementsAre("( red )", "old: 100 new: 100",  //
                                          "( blue )", "old: 200 new: 200"));
}

TEST_F(InputReactions, AnotherVxlanInputReplaysTheOldVrfsFirstThenThoseThatAreNew) {
    enabledStatus = vxlanMap({{"red", 100}, {"blue", 200}});
    start();
    forget();
    enabledStatus = vxlanMap({{"green", 300}, {"blue", 201}});
    machine->enabledStatusIs(enabledStatus);
    EXPECT_THAT(vxlanCalls(), ElementsAre("( red )", "old: 100 new: 0",     //
                                          "( blue )", "old: 200 new: 201",  //
                                          "( green )", "old: 0 new: 300"));
}

TEST_F(InputReactions, AnotherMplsInputReplaysTheOldVrfsFirstThenThoseThatAreNew) {
    gmpProxyStatus = mplsMap({{"red", 100}, {"blue", 200}});
    start();
    forget();
    gmpProxyStatus = mplsMap({{"green", 300}, {"blue", 200}});
    machine->gmpProxyStatusIs(gmpProxyStatus);
    EXPECT_THAT(mplsCalls(), ElementsAre("( red )", "old: 100 new: 0",     //
                                         "( blue )", "old: 200 new: 200",  //
                                         "( green )", "old: 0 new: 300"));
}

TEST_F(InputReactions, AnotherInputReplaysItsReverseMapLastOldVlansFirst) {
    enabledStatus->vrfToSBDVlanIs(vrf("red"), 100);
    enabledStatus->sbdVlanToVrfIs(100, vrf("red"));
    enabledStatus->sbdVlanToVrfIs(200, vrf("blue"));
    start();
    forget();
    enabledStatus = vxlanMap({{"red", 100}});
    enabledStatus->sbdVlanToVrfIs(300, vrf("green"));
    enabledStatus->sbdVlanToVrfIs(200, vrf("blue"));
    machine->enabledStatusIs(enabledStatus);
    EXPECT_THAT(trace(2), ElementsAre("VRF to SBD VLAN change, old: 100 new: 100",
                                      "SBD VLAN to VRF change, VLAN: 100",
                                      "SBD VLAN to VRF change, VLAN: 200",
                                      "SBD VLAN to VRF change, VLAN: 300"));
}

TEST_F(InputReactions, AnotherMplsInputReplaysItsReverseMapToo) {
    gmpProxyStatus->sbdVlanToVrfIs(VlanId(100), vrf("red"));
    start();
    forget();
    gmpProxyStatus = mplsMap({});
    gmpProxyStatus->sbdVlanToVrfIs(VlanId(200), vrf("red"));
    machine->gmpProxyStatusIs(gmpProxyStatus);
    EXPECT_THAT(sbdVlanCalls(), ElementsAre("VLAN: 100", "VLAN: 200"));
}

TEST_F(InputReactions, AnInputThatWasReplacedIsHeardNoMore) {
    start();
    const auto oldVxlan = enabledStatus;
    const auto oldMpls = gmpProxyStatus;
    enabledStatus = vxlanMap({});
    gmpProxyStatus = mplsMap({});
    machine->enabledStatusIs(enabledStatus);
    machine->gmpProxyStatusIs(gmpProxyStatus);
    EXPECT_EQ(machine->enabledStatus(), enabledStatus);
    EXPECT_EQ(machine->gmpProxyStatus(), gmpProxyStatus);
    EXPECT_EQ(oldVxlan->references() + oldMpls->references(), 2u);
    oldVxlan->vrfToSBDVlanIs(vrf("red"), 100);
    oldMpls->vrfToSbdVlanIs(vrf("red"), VlanId(100));
    EXPECT_THAT(trace(2), IsEmpty());
    enabledStatus->vrfToSBDVlanIs(vrf("red"), 200);
    gmpProxyStatus->vrfToSbdVlanIs(vrf("red"), VlanId(201));
    EXPECT_THAT(trace(2), ElementsAre("VRF to SBD VLAN change, old: 0 new: 200",
                                      "VRF to SBD VLAN change, old: 0 new: 201"));
}

TEST_F(InputReactions, AnInputMayGoAndComeBack) {
    sbd("red", 100);
    start();
    forget();
    machine->enabledStatusIs(nullptr);
    machine->gmpProxyStatusIs(nullptr);
    EXPECT_THAT(vxlanCalls(), ElementsAre("( red )", "old: 100 new: 0"));
    EXPECT_THAT(mplsCalls(), ElementsAre("( red )", "old: 100 new: 0"));
    EXPECT_THAT(sbdVlanCalls(), ElementsAre("VLAN: 100", "VLAN: 100"));
    forget();
    machine->enabledStatusIs(enabledStatus);
    machine->gmpProxyStatusIs(gmpProxyStatus);
    EXPECT_THAT(vxlanCalls(), ElementsAre("( red )", "old: 0 new: 100"));
    EXPECT_THAT(mplsCalls(), ElementsAre("( red )", "old: 0 new: 100"));
}

TEST_F(InputReactions, TheSameInputAgainDoesNothing) {
    sbd("red", 100);
    start();
    forget();
    machine->enabledStatusIs(enabledStatus);
    machine->gmpProxyStatusIs(gmpProxyStatus);
    EXPECT_THAT(trace(), IsEmpty());
    EXPECT_EQ(enabledStatus->publisher()->subscribers(), 1u);
}

TEST_F(InputReactions, AnotherInputMovesTheMembershipsOfTheSbdVlan) {
    bind("vlan100", "red");
    bind("vlan200", "red");
    sbd("red", 100);
    pegDr(100, 1);
    pegDr(200, 1);
    join(100, "239.1.1.1", "10.0.0.1", "mtunnel1");
    join(200, "239.1.1.1", "10.0.0.1", "mtunnel1");
    start();
    EXPECT_THAT(table(), ElementsAre("red.irb vlan100 (10.0.0.1, 239.1.1.1) include"));
    gmpProxyStatus = mplsMap({{"red", 200}});
    gmpProxyStatus->sbdVlanToVrfIs(VlanId(200), vrf("red"));
    machine->gmpProxyStatusIs(gmpProxyStatus);
    EXPECT_THAT(table(), ElementsAre("red.irb vlan200 (10.0.0.1, 239.1.1.1) include"));
}

TEST_F(InputReactions, AVlanThatCannotBeOneReachesWhoeverPutItIntoTheMap) {
    start();
    EXPECT_EQ(errorOf([&] { enabledStatus->vrfToSBDVlanIs(vrf("red"), 5000); }), rangeError);
    EXPECT_EQ(errorOf([&] { enabledStatus->sbdVlanToVrfIs(5000, vrf("red")); }), rangeError);
    forget();
    enabledStatus->vrfToSBDVlanIs(vrf("blue"), 100);
    EXPECT_THAT(vxlanCalls(), ElementsAre("( blue )", "old: 0 new: 100"));
}

TEST_F(InputReactions, AChangeMadeInTheMidstOfAReactionWaitsForItsEnd) {
    start();
    forget();
    RootObserver observer(*machine);
    observer.then = [&] { enabledStatus->sbdVlanToVrfIs(100, vrf("blue")); };
    pim("red", {"swp1"});
    EXPECT_THAT(trace(),
                ElementsAre("9 handlePimTransitIntf | handlePimTransitIntf( red, swp1 )",
                            "9 handlePimTransitIntf | handlePimTransitIntf, Not a VLAN swp1",
                            "2 handleSbdVlanToVrf | SBD VLAN to VRF change, VLAN: 100",
                            "9 updateSbdVlanMembership | updateSbdVlanMembership, No membership "
                            "or VRF association for SBD VLAN 100"));
}

}  // namespace
}  // namespace Irb::Multicast::Ingress::Detail
