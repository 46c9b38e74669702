// Whether this router is PEG DR for a VLAN, whether PIM runs on it, and what changes lead to.
#include "MembershipJoinStatusSm/RixVlanMembership.h"
#include "Pim/Fabric.h"

namespace Irb::Multicast::Ingress::Detail {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class PegDr : public Fabric {
  protected:
    void startNamed(const char* name) {
        membershipJoinStatus = Lumo::make<Gmp::MembershipJoinStatus>(name);
        start();
        forget();
    }
};

TEST_F(PegDr, ThereIsNoneForVlan0) {
    start();
    forget();
    EXPECT_FALSE(machine->isDrForVlan(0));
    EXPECT_THAT(trace(), IsEmpty());
}

TEST_F(PegDr, AStandaloneRouterIsDrForEveryVlanButVlan0) {
    pegDr(100, 2, 2, 2);
    startNamed("standalone");
    EXPECT_FALSE(machine->isDrForVlan(0));
    EXPECT_TRUE(machine->isDrForVlan(100));
    EXPECT_TRUE(machine->isDrForVlan(200));
    EXPECT_TRUE(machine->isDrForVlan(4095));
    EXPECT_TRUE(machine->isDrForVlan(1u << 31));
    EXPECT_THAT(trace(), IsEmpty());
}

TEST_F(PegDr, AStandaloneRouterDoesNotLookAtTheRoles) {
    pegDrStatus->corruptionIs(VlanId(100), "a damaged record");
    startNamed("standalone");
    EXPECT_TRUE(machine->isDrForVlan(100));
    EXPECT_THAT(corruptions(), IsEmpty());
}

TEST_F(PegDr, ARouterOfAnyOtherKindIsDrWhereItsRoleSaysSo) {
    pegDr(100, 1);
    for (const char* name : {"default", "vxlan", "mpls", "vxlanMpls", "proxy", "else", ""}) {
        startNamed(name);
        EXPECT_TRUE(machine->isDrForVlan(100)) << name;
        EXPECT_FALSE(machine->isDrForVlan(200)) << name;
        stop();
    }
}

TEST_F(PegDr, WithoutAJoinStatusTheRouterIsNotStandalone) {
    membershipJoinStatus = nullptr;
    pegDr(100, 1);
    start();
    EXPECT_TRUE(machine->isDrForVlan(100));
    EXPECT_FALSE(machine->isDrForVlan(200));
}

TEST_F(PegDr, AVlanThatCannotBeOneIsRefused) {
    start();
    EXPECT_EQ(errorOf([&] { machine->isDrForVlan(4095); }), rangeError);
    EXPECT_EQ(errorOf([&] { machine->isDrForVlan(65536 + 100); }), rangeError);
}

TEST_F(PegDr, TheDomainChoosesTheRole) {
    pegDr(100, 1, 2, 2);
    pegDr(200, 2, 1, 2);
    for (const unsigned number : {0u, 1u, 2u, 77u}) {
        domain = static_cast<Domain>(number);
        start();
        EXPECT_EQ(machine->isDrForVlan(100), number == 1) << "domain " << number;
        EXPECT_EQ(machine->isDrForVlan(200), number != 1) << "domain " << number;
    }
}

TEST_F(PegDr, WithoutTheGatewayToggleThePlainRoleHoldsInEveryDomain) {
    toggles({.oismGateway = false});
    pegDr(100, 1, 1, 2);
    pegDr(200, 2, 2, 1);
    for (const unsigned number : {0u, 1u, 2u}) {
        domain = static_cast<Domain>(number);
        start();
        EXPECT_FALSE(machine->isDrForVlan(100)) << "domain " << number;
        EXPECT_TRUE(machine->isDrForVlan(200)) << "domain " << number;
    }
}

TEST_F(PegDr, AnyRoleButOneMeansNotDr) {
    start();
    for (const unsigned role : {0u, 1u, 2u, 3u, 255u}) {
        pegDr(100, role);
        forget();
        EXPECT_EQ(machine->isDrForVlan(100), role == 1) << "role " << role;
        EXPECT_THAT(trace(), ElementsAre("8 MembershipJoinStatusSm | 100:" + std::to_string(role)));
    }
}

TEST_F(PegDr, AVlanWithoutARecordHasNoRole) {
    start();
    forget();
    EXPECT_FALSE(machine->isDrForVlan(100));
    EXPECT_THAT(trace(), ElementsAre("8 MembershipJoinStatusSm | 100:0"));
}

TEST_F(PegDr, ADamagedRecordIsReportedAndCountsAsNone) {
    pegDr(100, 1);
    start();
    forget();
    pegDrStatus->corruptionIs(VlanId(100), "a damaged record");
    EXPECT_FALSE(machine->isDrForVlan(100));
    EXPECT_THAT(corruptions(), ElementsAre("a damaged record"));
    EXPECT_THAT(trace(), ElementsAre("8 MembershipJoinStatusSm | 100:0"));
    EXPECT_TRUE(machine->isDrForVlan(100));
}

TEST_F(PegDr, ADamagedRecordMetInAReactionWithdrawsUntilTheNextChange) {
    bind("vlan100", "red");
    sbd("red", 100);
    pegDr(100, 1);
    join(100, "239.1.1.1", "10.0.0.1", "mtunnel1");
    start();
    pegDrStatus->corruptionIs(VlanId(100), "a damaged record");
    pegDr(100, 1, 1);
    EXPECT_THAT(table(), IsEmpty());
    pegDr(100, 1, 2);
    EXPECT_THAT(table(), ElementsAre("red.irb vlan100 (10.0.0.1, 239.1.1.1) include"));
}

TEST_F(PegDr, AChangeOfTheRoleWritesAndWithdrawsTheSbdVlan) {
    bind("vlan100", "red");
    sbd("red", 100);
    join(100, "239.1.1.1", "10.0.0.1", "mtunnel1");
    start();
    EXPECT_THAT(table(), IsEmpty());
    pegDr(100, 1);
    EXPECT_TRUE(vlan(100)->isDrForSbdVlan());
    EXPECT_THAT(table(), ElementsAre("red.irb vlan100 (10.0.0.1, 239.1.1.1) include"));
    pegDr(100, 2);
    EXPECT_FALSE(vlan(100)->isDrForSbdVlan());
    EXPECT_THAT(table(), IsEmpty());
}

TEST_F(PegDr, AChangeOnAVlanThatIsNoSbdVlanIsTracedAndIgnored) {
    for (const bool oismMplsTunnel : {false, true}) {
        toggles({.oismMplsTunnel = oismMplsTunnel});
        start();
        forget();
        machine->handlePegDrStatus(VlanId(100));
        EXPECT_THAT(trace(), ElementsAre("3 handlePegDrStatus |  PEG DR change, VLAN: 100",
                                         "9 handlePegDrStatus | handlePegDrStatus, No SBD VRF name "
                                         "associated with VLAN 100"));
    }
}

TEST_F(PegDr, AnSbdVlanIsLookedUpInTheDomainThatTheToggleNames) {
    enabledStatus->sbdVlanToVrfIs(100, vrf("red"));
    gmpProxyStatus->sbdVlanToVrfIs(VlanId(200), vrf("red"));
    for (const bool oismMplsTunnel : {false, true}) {
        toggles({.oismMplsTunnel = oismMplsTunnel});
        start();
        forget();
        machine->handlePegDrStatus(VlanId(oismMplsTunnel ? 200 : 100));
        EXPECT_EQ(trace(9).size(), 1u);
        EXPECT_THAT(trace(9)[0], testing::StartsWith("updateSbdVlanMembership, No membership"));
        forget();
        machine->handlePegDrStatus(VlanId(oismMplsTunnel ? 100 : 200));
        EXPECT_THAT(trace(9)[0], testing::StartsWith("handlePegDrStatus, No SBD VRF name"));
    }
}

TEST_F(PegDr, PimRunsOnAVlanWhereTheVrfsStatusListsItsInterface) {
    start();
    EXPECT_FALSE(machine->isPimEnabled(vrf("red"), VlanId(100)));
    pim("red", {"vlan200", "swp1"});
    EXPECT_FALSE(machine->isPimEnabled(vrf("red"), VlanId(100)));
    pimIntf("red", "vlan100");
    EXPECT_TRUE(machine->isPimEnabled(vrf("red"), VlanId(100)));
    EXPECT_FALSE(machine->isPimEnabled(vrf("blue"), VlanId(100)));
    delPimIntf("red", "vlan100");
    EXPECT_FALSE(machine->isPimEnabled(vrf("red"), VlanId(100)));
}

TEST_F(PegDr, PimRunsWhateverTheRoleTheTogglesAndTheDomainAre) {
    pim("red", {"vlan100"});
    for (const bool on : {false, true}) {
        toggles({.oismMplsTunnel = on, .oismGateway = !on});
        domain = on ? Domain::vxlan : Domain::mpls;
        pegDr(100, on ? 1 : 2, on ? 2 : 1);
        start();
        EXPECT_TRUE(machine->isPimEnabled(vrf("red"), VlanId(100)));
        EXPECT_FALSE(machine->isPimEnabled(vrf("red"), VlanId(200)));
    }
}

TEST_F(PegDr, WithoutAPimStatusPimRunsNowhere) {
    pimStatusColl = nullptr;
    start();
    EXPECT_FALSE(machine->isPimEnabled(vrf("red"), VlanId(100)));
    forget();
    machine->handlePimVrf(vrf("red"));
    EXPECT_THAT(trace(), IsEmpty());
}

TEST_F(PegDr, ItsOperationsAreTimed) {
    start();
    forget();
    machine->isDrForVlan(0);
    machine->handlePegDrStatus(VlanId(100));
    machine->handlePimVrf(vrf("red"));
    const std::string root = "Irb::Multicast::Ingress::MembershipJoinStatusSm::";
    const std::string isDr = "bool " + root + "isDrForVlan(U32) const";
    const std::string pegDr = "void " + root + "handlePegDrStatus(Bridging::VlanId)";
    const std::string pimVrf = "void " + root + "handlePimVrf(const L3::VrfName&)";
    EXPECT_THAT(blocks(), ElementsAre("BEGIN " + isDr, "END " + isDr, "BEGIN " + pegDr,
                                      "END " + pegDr, "BEGIN " + pimVrf, "END " + pimVrf));
}

}  // namespace
}  // namespace Irb::Multicast::Ingress::Detail
