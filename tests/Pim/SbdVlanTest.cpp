// Which VLAN is the SBD VLAN of which VRF, in either domain, and what a change of that leads to.
#include "MembershipJoinStatusSm/RixVlanMembership.h"
#include "Pim/Fabric.h"

namespace Irb::Multicast::Ingress::Detail {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

const std::string root = "void Irb::Multicast::Ingress::MembershipJoinStatusSm::";

class SbdVlan : public Fabric {
  protected:
    /// VLANs 100 and 200 in the VRF red, each with a join behind a tunnel; this router is DR for
    /// both.
    void twoCandidates() {
        for (const unsigned number : {100u, 200u}) {
            bind(("vlan" + std::to_string(number)).c_str(), "red");
            pegDr(number, 1);
            join(number, "239.1.1.1", "10.0.0.1", "mtunnel1");
        }
    }

    static std::string noMembership(unsigned number) {
        return "9 updateSbdVlanMembership | updateSbdVlanMembership, No membership or VRF "
               "association for SBD VLAN " +
               std::to_string(number);
    }

    const std::string host100 = "red.irb vlan100 (10.0.0.1, 239.1.1.1) include";
    const std::string host200 = "red.irb vlan200 (10.0.0.1, 239.1.1.1) include";
};

TEST_F(SbdVlan, AVrfWithoutOneHasVlan1InTheMplsDomainAndNoneInTheVxlanDomain) {
    sbd("red", 100);
    start();
    EXPECT_EQ(machine->vrfNameToSbdVlan(vrf("blue")), VlanId(1));
    EXPECT_EQ(machine->vrfToSbdVlan(vrf("blue")), 0u);
}

TEST_F(SbdVlan, AVrfHasTheOneOfEachDomainsMap) {
    enabledStatus->vrfToSBDVlanIs(vrf("red"), 100);
    gmpProxyStatus->vrfToSbdVlanIs(vrf("red"), VlanId(200));
    start();
    EXPECT_EQ(machine->vrfToSbdVlan(vrf("red")), 100u);
    EXPECT_EQ(machine->vrfNameToSbdVlan(vrf("red")), VlanId(200));
}

TEST_F(SbdVlan, WithoutTheMapsTheAnswersAreThoseForAVrfThatIsInNone) {
    enabledStatus = nullptr;
    gmpProxyStatus = nullptr;
    start();
    EXPECT_EQ(machine->vrfNameToSbdVlan(vrf("red")), VlanId(1));
    EXPECT_EQ(machine->vrfToSbdVlan(vrf("red")), 0u);
    EXPECT_TRUE(machine->sbdVlanToVrf(VlanId(100)).empty());
}

TEST_F(SbdVlan, TheVrfThatItServesIsThatOfTheDomainThatTheToggleNames) {
    enabledStatus->sbdVlanToVrfIs(100, vrf("red"));
    gmpProxyStatus->sbdVlanToVrfIs(VlanId(100), vrf("blue"));
    start();
    EXPECT_EQ(machine->sbdVlanToVrf(VlanId(100)), vrf("blue"));
    toggles({.oismMplsTunnel = false});
    EXPECT_EQ(machine->sbdVlanToVrf(VlanId(100)), vrf("red"));
}

TEST_F(SbdVlan, AVrfThatChangesItReevaluatesTheOldOneFirst) {
    start();
    forget();
    machine->handleMplsVrfToSbdVlan(vrf("red"), VlanId(10), VlanId(20));
    EXPECT_THAT(trace(),
                ElementsAre("9 handleMplsVrfToSbdVlan | handleMplsVrfToSbdVlan( red )",
                            "2 handleMplsVrfToSbdVlan | VRF to SBD VLAN change, old: 10 new: 20",
                            noMembership(10), noMembership(20)));
    forget();
    machine->handleVxlanVrfToSbdVlan(vrf("red"), std::uint16_t{10}, std::uint16_t{20});
    EXPECT_THAT(trace(),
                ElementsAre("9 handleVxlanVrfToSbdVlan | handleVxlanVrfToSbdVlan( red )",
                            "2 handleVxlanVrfToSbdVlan | VRF to SBD VLAN change, old: 10 new: 20",
                            noMembership(10), noMembership(20)));
}

TEST_F(SbdVlan, AVrfThatGetsOneReevaluatesThatOneAlone) {
    start();
    forget();
    machine->handleMplsVrfToSbdVlan(vrf("red"), {}, VlanId(20));
    machine->handleVxlanVrfToSbdVlan(vrf("red"), {}, std::uint16_t{20});
    EXPECT_THAT(trace(2), ElementsAre("VRF to SBD VLAN change, old: 0 new: 20",
                                      "VRF to SBD VLAN change, old: 0 new: 20"));
    EXPECT_EQ(trace().size(), 6u);
    EXPECT_EQ(trace()[2], noMembership(20));
    EXPECT_EQ(trace()[5], noMembership(20));
}

TEST_F(SbdVlan, AVrfThatLosesOneReevaluatesThatOneAlone) {
    start();
    forget();
    machine->handleMplsVrfToSbdVlan(vrf("red"), VlanId(10), {});
    machine->handleVxlanVrfToSbdVlan(vrf("red"), std::uint16_t{10}, {});
    EXPECT_THAT(trace(2), ElementsAre("VRF to SBD VLAN change, old: 10 new: 0",
                                      "VRF to SBD VLAN change, old: 10 new: 0"));
    EXPECT_EQ(trace().size(), 6u);
    EXPECT_EQ(trace()[2], noMembership(10));
    EXPECT_EQ(trace()[5], noMembership(10));
}

TEST_F(SbdVlan, AVrfThatMovesWithdrawsOnTheOldOneBeforeItWritesOnTheNew) {
    twoCandidates();
    sbd("red", 100);
    gmpProxyStatus->sbdVlanToVrfIs(VlanId(200), vrf("red"));
    start();
    EXPECT_THAT(table(), ElementsAre(host100));
    forget();
    gmpProxyStatus->vrfToSbdVlanIs(vrf("red"), VlanId(200));
    EXPECT_THAT(table(), ElementsAre(host200));
    Texts includes;
    for (const std::string& text : trace(7)) {
        if (text.ends_with("include ) irb")) includes.push_back(text);
    }
    EXPECT_THAT(includes,
                ElementsAre("delMembership: Del gmpStatus: red- ( 10.0.0.1, 239.1.1.1, vlan100 , "
                            "include ) irb",
                            "addMembership: Add gmpStatus: red- ( 10.0.0.1, 239.1.1.1, vlan200 , "
                            "include ) irb"));
}

TEST_F(SbdVlan, AVrfThatMovesInTheVxlanDomainTakesItsMembershipsAlong) {
    toggles({.oismMplsTunnel = false});
    twoCandidates();
    sbd("red", 100);
    start();
    EXPECT_THAT(table(), ElementsAre(host100));
    enabledStatus->vrfToSBDVlanIs(vrf("red"), 200);
    EXPECT_THAT(table(), IsEmpty());
    enabledStatus->sbdVlanToVrfIs(200, vrf("red"));
    EXPECT_THAT(table(), ElementsAre(host200));
}

TEST_F(SbdVlan, InTheVxlanDomainAChangeOfTheMplsMapEndsAfterItsFirstTrace) {
    toggles({.oismMplsTunnel = false});
    start();
    forget();
    gmpProxyStatus->vrfToSbdVlanIs(vrf("red"), VlanId(100));
    EXPECT_THAT(trace(), ElementsAre("9 handleMplsVrfToSbdVlan | handleMplsVrfToSbdVlan( red )"));
}

TEST_F(SbdVlan, AChangeOfTheVxlanMapIsHandledUnderEitherToggle) {
    for (const bool oismMplsTunnel : {false, true}) {
        toggles({.oismMplsTunnel = oismMplsTunnel});
        start();
        forget();
        enabledStatus->vrfToSBDVlanIs(vrf("red"), 100);
        EXPECT_THAT(
            trace(),
            ElementsAre("9 handleVxlanVrfToSbdVlan | handleVxlanVrfToSbdVlan( red )",
                        "2 handleVxlanVrfToSbdVlan | VRF to SBD VLAN change, old: 0 new: 100",
                        noMembership(100)));
        stop();
        enabledStatus->vrfToSBDVlanDel(vrf("red"));
    }
}

TEST_F(SbdVlan, AVlanWithoutATrackerIsNotUpdated) {
    start();
    forget();
    machine->updateSbdVlanMembership(VlanId(100));
    EXPECT_THAT(trace(), ElementsAre(noMembership(100)));
}

TEST_F(SbdVlan, AVlanWithoutAVrfIsNotUpdated) {
    sbd("red", 100);
    pegDr(100, 1);
    join(100, "239.1.1.1", "10.0.0.1", "swp1");
    start();
    forget();
    machine->updateSbdVlanMembership(VlanId(100));
    EXPECT_THAT(trace(), ElementsAre(noMembership(100)));
    EXPECT_FALSE(vlan(100)->isDrForSbdVlan());
    EXPECT_THAT(table(), IsEmpty());
}

TEST_F(SbdVlan, AVlanThatIsOneAsksForItsRoleAndIsRefreshed) {
    sbd("red", 100);
    twoCandidates();
    start();
    forget();
    machine->updateSbdVlanMembership(VlanId(100));
    ASSERT_GE(trace().size(), 3u);
    EXPECT_EQ(trace()[0], "2 updateSbdVlanMembership | Update SBD VLAN 100");
    EXPECT_EQ(trace()[1], "8 MembershipJoinStatusSm | 100:1");
    EXPECT_EQ(trace()[2],
              "3 updateGmpStatus | Update VLAN: 100, isSbdVlan: true, isDrForSbdVlan: true, "
              "deleteVlan: false, isPimEnabled: false");
}

TEST_F(SbdVlan, AVlanThatIsNoneAnyMoreLosesItsFlagWithoutItsRoleBeingAsked) {
    sbd("red", 100);
    twoCandidates();
    start();
    EXPECT_TRUE(vlan(100)->isDrForSbdVlan());
    forget();
    gmpProxyStatus->sbdVlanToVrfDel(VlanId(100));
    EXPECT_FALSE(vlan(100)->isDrForSbdVlan());
    EXPECT_FALSE(traced("8 MembershipJoinStatusSm | 100:1"));
    EXPECT_THAT(table(), IsEmpty());
}

TEST_F(SbdVlan, AVlanThatServesAnotherVrfIsNotTheOneOfItsOwn) {
    twoCandidates();
    sbd("red", 100);
    start();
    gmpProxyStatus->sbdVlanToVrfIs(VlanId(100), vrf("blue"));
    EXPECT_FALSE(vlan(100)->isDrForSbdVlan());
}

TEST_F(SbdVlan, AVlanThatServesTheEmptyVrfCountsAsNone) {
    for (const bool oismMplsTunnel : {false, true}) {
        toggles({.oismMplsTunnel = oismMplsTunnel});
        bind("vlan100", "red");
        join(100, "239.1.1.1", "10.0.0.1", "mtunnel1");
        gmpProxyStatus->sbdVlanToVrfIs(VlanId(100), vrf(""));
        enabledStatus->sbdVlanToVrfIs(100, vrf(""));
        start();
        forget();
        machine->handlePegDrStatus(VlanId(100));
        machine->handlePimTransitIntf(vrf("red"), IntfId("vlan100"));
        EXPECT_TRUE(
            traced("9 handlePegDrStatus | handlePegDrStatus, No SBD VRF name associated "
                   "with VLAN 100"));
        EXPECT_TRUE(traced("9 handlePimTransitIntf | handlePimTransitIntf, Not SBD vlan vlan100"));
        EXPECT_THAT(trace(3), ElementsAre(" PEG DR change, VLAN: 100"));
        stop();
    }
}

TEST_F(SbdVlan, OverANullMapAnUpdateFindsNoVrf) {
    twoCandidates();
    sbd("red", 100);
    start();
    const auto mpls = gmpProxyStatus;
    machine->gmpProxyStatusIs(nullptr);
    forget();
    machine->updateSbdVlanMembership(VlanId(100));
    EXPECT_FALSE(vlan(100)->isDrForSbdVlan());
    EXPECT_EQ(trace()[1],
              "3 updateGmpStatus | Update VLAN: 100, isSbdVlan: false, isDrForSbdVlan: false, "
              "deleteVlan: false, isPimEnabled: false");
}

TEST_F(SbdVlan, AReverseEntryOfAVlanThatCannotBeOneIsRefusedAfterItsTrace) {
    start();
    for (const std::uint32_t number : {0u, 4095u, 65536u + 100u}) {
        forget();
        EXPECT_EQ(errorOf([&] { machine->handleSbdVlanToVrf(number); }), rangeError);
        EXPECT_THAT(trace(), ElementsAre("2 handleSbdVlanToVrf | SBD VLAN to VRF change, VLAN: " +
                                         std::to_string(number)));
    }
}

TEST_F(SbdVlan, AReverseEntryUpdatesItsVlan) {
    start();
    forget();
    machine->handleSbdVlanToVrf(100);
    EXPECT_THAT(trace(), ElementsAre("2 handleSbdVlanToVrf | SBD VLAN to VRF change, VLAN: 100",
                                     noMembership(100)));
}

TEST_F(SbdVlan, AnOldVlanThatCannotBeOneStopsTheChange) {
    start();
    forget();
    EXPECT_EQ(errorOf([&] {
                  machine->handleVxlanVrfToSbdVlan(vrf("red"), std::uint16_t{5000},
                                                   std::uint16_t{100});
              }),
              rangeError);
    EXPECT_EQ(trace().back(),
              "2 handleVxlanVrfToSbdVlan | VRF to SBD VLAN change, old: 5000 new: 100");
}

TEST_F(SbdVlan, ANewVlanThatCannotBeOneIsRefusedOnceTheOldOneWasReevaluated) {
    start();
    forget();
    for (const auto number : {std::uint16_t{0}, std::uint16_t{4095}}) {
        EXPECT_EQ(errorOf([&] {
                      machine->handleVxlanVrfToSbdVlan(vrf("red"), std::uint16_t{100}, number);
                  }),
                  rangeError);
        EXPECT_EQ(trace().back(), noMembership(100));
    }
}

TEST_F(SbdVlan, AVrfNameOfMoreThanAHundredBytesIsRefused) {
    EXPECT_NO_THROW(vrf(std::string(100, 'x').c_str()));
    EXPECT_EQ(errorOf([] { vrf(std::string(101, 'x').c_str()); }),
              "Rix::String::bytes > maxLength() not allowed");
}

TEST_F(SbdVlan, ItsHandlersAreTimed) {
    start();
    forget();
    machine->handleVxlanVrfToSbdVlan(vrf("red"), {}, {});
    machine->handleMplsVrfToSbdVlan(vrf("red"), {}, {});
    machine->handleSbdVlanToVrf(100);
    const std::string vxlan = root +
                              "handleVxlanVrfToSbdVlan(const L3::VrfName&, Rix::Optional<short "
                              "unsigned int>, Rix::Optional<short unsigned int>)";
    const std::string mpls = root +
                             "handleMplsVrfToSbdVlan(const L3::VrfName&, "
                             "Bridging::VlanId::Optional, Bridging::VlanId::Optional)";
    const std::string reverse = root + "handleSbdVlanToVrf(U32)";
    const std::string update = root + "updateSbdVlanMembership(Bridging::VlanId)";
    EXPECT_THAT(blocks(), ElementsAre("BEGIN " + vxlan, "END " + vxlan, "BEGIN " + mpls,
                                      "END " + mpls, "BEGIN " + reverse, "BEGIN " + update,
                                      "END " + update, "END " + reverse));
}

TEST_F(SbdVlan, AHandlerThatFailsEndsItsTimedBlock) {
    start();
    forget();
    EXPECT_ANY_THROW(machine->handleSbdVlanToVrf(0));
    EXPECT_THAT(blocks(), ElementsAre("BEGIN " + root + "handleSbdVlanToVrf(U32)",
                                      "END " + root + "handleSbdVlanToVrf(U32)"));
}

}  // namespace
}  // namespace Irb::Multicast::Ingress::Detail
