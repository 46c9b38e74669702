// How a VLAN gets its VRF from its interface, and what PIM on that interface changes.
#include "MembershipJoinStatusSm/L3IntfStatus.h"
#include "MembershipJoinStatusSm/RixVlanMembership.h"
#include "Pim/Fabric.h"
#include "Pim/RootObserver.h"
#include "Rix/NullArgumentError.h"

namespace Irb::Multicast::Ingress::Detail {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class L3IntfStatus : public Fabric {
  protected:
    void hostOnVlan10() { join(10, "239.1.1.1", "10.0.0.1", "swp1"); }

    /// The steps of a change of VRF, in order: of levels 8, 7 and 3, without the sources.
    Texts steps() const {
        Texts steps;
        for (const std::string& line : trace()) {
            if (!line.starts_with("9 ") && line.find("Update gmpStatus") == std::string::npos &&
                line.find("0.0.0.0") == std::string::npos)
                steps.push_back(line.substr(line.find(" | ") + 3));
        }
        return steps;
    }

    static Lumo::Ptr<L3::Intf::Status> status(const char* intf, const char* name = "") {
        return Lumo::make<L3::Intf::Status>(IntfId(intf), vrf(name));
    }

    static std::string transit(const std::string& text) {
        return "9 handlePimTransitIntf | handlePimTransitIntf" + text;
    }
};

TEST_F(L3IntfStatus, BeforeInitializationAnInterfaceDoesNothingAndPimEndsAfterItsFirstTrace) {
    bind("vlan10", "red");
    hostOnVlan10();
    start();
    machine->initializedIs(false);
    forget();
    rebind("vlan10", "blue");
    EXPECT_THAT(trace(), IsEmpty());
    EXPECT_EQ(vlan(10)->vrfName(), vrf("red"));
    machine->handlePimTransitIntf(vrf("red"), IntfId("vlan10"));
    EXPECT_THAT(trace(), ElementsAre(transit("( red, vlan10 )")));
}

TEST_F(L3IntfStatus, AtTheStartItIsSilent) {
    bind("vlan10", "red");
    start();
    EXPECT_THAT(trace(3), IsEmpty());
}

TEST_F(L3IntfStatus, AMoveToAnotherVrfWithdrawsThenRenamesThenWrites) {
    bind("vlan10", "red");
    hostOnVlan10();
    start();
    forget();
    rebind("vlan10", "blue");
    EXPECT_THAT(
        steps(),
        ElementsAre("L3 intf change vlan10",
                    "Update VLAN: 10, isSbdVlan: false, isDrForSbdVlan: false, deleteVlan: true, "
                    "isPimEnabled: false",
                    "delMembership: Del gmpStatus: red- ( 10.0.0.1, 239.1.1.1, vlan10 , include ) "
                    "irb",
                    "handleL3IntfStatus(), Set vrfName blue for 10",
                    "updateVrfName( 10 ), old name: red, new name: blue vlan is 10", "1:0",
                    "updateVrfName, gmpVrfApp blue.irb",
                    "Update VLAN: 10, isSbdVlan: false, isDrForSbdVlan: false, deleteVlan: false, "
                    "isPimEnabled: false",
                    "addMembership: Add gmpStatus: blue- ( 10.0.0.1, 239.1.1.1, vlan10 , include "
                    ") irb"));
    EXPECT_THAT(table(), ElementsAre("blue.irb vlan10 (10.0.0.1, 239.1.1.1) include"));
}

TEST_F(L3IntfStatus, AMoveFromNoVrfSkipsTheWithdrawal) {
    bind("vlan10", "");
    hostOnVlan10();
    start();
    forget();
    rebind("vlan10", "red");
    EXPECT_THAT(trace(3), ElementsAre("L3 intf change vlan10",
                                      "Update VLAN: 10, isSbdVlan: false, isDrForSbdVlan: false, "
                                      "deleteVlan: false, isPimEnabled: false"));
    EXPECT_THAT(trace(9), IsEmpty());
    EXPECT_TRUE(traced("8 handleL3IntfStatus | handleL3IntfStatus(), Set vrfName red for 10"));
    EXPECT_THAT(table(), ElementsAre("red.irb vlan10 (10.0.0.1, 239.1.1.1) include"));
}

TEST_F(L3IntfStatus, AMoveToNoVrfSkipsTheWrite) {
    bind("vlan10", "red");
    hostOnVlan10();
    start();
    forget();
    rebind("vlan10", "");
    EXPECT_THAT(trace(3), ElementsAre("L3 intf change vlan10",
                                      "Update VLAN: 10, isSbdVlan: false, isDrForSbdVlan: false, "
                                      "deleteVlan: true, isPimEnabled: false"));
    EXPECT_TRUE(traced("8 handleL3IntfStatus | handleL3IntfStatus(), Set vrfName  for 10"));
    EXPECT_THAT(trace(9), IsEmpty());
    EXPECT_THAT(statuses(), IsEmpty());
}

TEST_F(L3IntfStatus, ADeletedOneClearsTheVlansVrf) {
    bind("vlan10", "red");
    hostOnVlan10();
    start();
    forget();
    unbind("vlan10");
    EXPECT_TRUE(vlan(10)->vrfName().empty());
    EXPECT_THAT(statuses(), IsEmpty());
    EXPECT_EQ(trace().front(), "3 handleL3IntfStatus | L3 intf change vlan10");
    EXPECT_TRUE(traced("8 handleL3IntfStatus | handleL3IntfStatus(), Set vrfName  for 10"));
}

TEST_F(L3IntfStatus, ANewOneGivesTheVlanItsVrf) {
    hostOnVlan10();
    start();
    bind("vlan10", "red");
    EXPECT_EQ(vlan(10)->vrfName(), vrf("red"));
    EXPECT_THAT(table(), ElementsAre("red.irb vlan10 (10.0.0.1, 239.1.1.1) include"));
}

TEST_F(L3IntfStatus, TheSameVrfChangesNothing) {
    bind("vlan10", "red");
    hostOnVlan10();
    start();
    forget();
    machine->handleL3IntfStatus(IntfId("vlan10"));
    EXPECT_THAT(trace(), ElementsAre("3 handleL3IntfStatus | L3 intf change vlan10"));
    EXPECT_THAT(table(), ElementsAre("red.irb vlan10 (10.0.0.1, 239.1.1.1) include"));
}

TEST_F(L3IntfStatus, OneInPlaceOfAnotherCountsAsAChangeWhereTheVrfsDiffer) {
    bind("vlan10", "red");
    hostOnVlan10();
    start();
    const auto tracker = machine->l3IntfStatus(IntfId("vlan10"));
    forget();
    bind("vlan10", "blue");
    EXPECT_EQ(machine->l3IntfStatus(IntfId("vlan10")), tracker);
    EXPECT_EQ(trace().front(), "3 handleL3IntfStatus | L3 intf change vlan10");
    EXPECT_THAT(table(), ElementsAre("blue.irb vlan10 (10.0.0.1, 239.1.1.1) include"));
}

TEST_F(L3IntfStatus, OneInPlaceOfAnotherInTheSameVrfRunsNothing) {
    bind("vlan10", "red");
    hostOnVlan10();
    start();
    const auto old = l3IntfStatusDir->intfStatus(IntfId("vlan10"));
    forget();
    bind("vlan10", "red");
    EXPECT_THAT(trace(), IsEmpty());
    old->vrfIs(vrf("blue"));
    EXPECT_THAT(trace(), IsEmpty());
    rebind("vlan10", "green");
    EXPECT_THAT(table(), ElementsAre("green.irb vlan10 (10.0.0.1, 239.1.1.1) include"));
}

TEST_F(L3IntfStatus, AZombieThatIsRepointedRunsNothing) {
    bind("vlan10", "red");
    hostOnVlan10();
    start();
    machine->rixDoZombieReactors(true);
    forget();
    bind("vlan10", "blue");
    EXPECT_THAT(trace(), IsEmpty());
    EXPECT_EQ(machine->l3IntfStatus(IntfId("vlan10"))->notifier(),
              l3IntfStatusDir->intfStatus(IntfId("vlan10")));
}

TEST_F(L3IntfStatus, AZombieIgnoresItsVrfButRunsWhenItIsRevived) {
    bind("vlan10", "red");
    start();
    const auto tracker = machine->l3IntfStatus(IntfId("vlan10"));
    tracker->rixDoZombieReactors(true);
    forget();
    rebind("vlan10", "blue");
    EXPECT_THAT(trace(), IsEmpty());
    tracker->rixDoZombieReactors(false);
    EXPECT_THAT(trace(), ElementsAre("3 handleL3IntfStatus | L3 intf change vlan10"));
    tracker->rixDoZombieReactors(false);
    EXPECT_EQ(trace().size(), 1u);
}

TEST_F(L3IntfStatus, AnInterfaceThatIsNoVlanEndsAfterItsFirstTrace) {
    start();
    for (const char* intf : {"swp1", "mtunnel1", "vlan4096", "vlan16383", "vlan20"}) {
        forget();
        bind(intf, "red");
        EXPECT_THAT(trace(),
                    ElementsAre(std::string("3 handleL3IntfStatus | L3 intf change ") + intf));
    }
}

TEST_F(L3IntfStatus, AVlanThatCannotBeOneIsRefused) {
    start();
    for (const char* intf : {"vlan0", "vlan4095", "vlan16384", "vlan65535"}) {
        EXPECT_EQ(errorOf([&] { bind(intf, "red"); }), rangeError) << intf;
        EXPECT_FALSE(machine->l3IntfStatus(IntfId(intf)));
        EXPECT_EQ(errorOf([&] { machine->handlePimTransitIntf(vrf("red"), IntfId(intf)); }),
                  rangeError)
            << intf;
    }
}

TEST_F(L3IntfStatus, ARefusedOneThatWasThereAtTheStartCanBeRemoved) {
    bind("vlan0", "red");
    start();
    const RootObserver observer(*machine);
    EXPECT_EQ(errorOf([&] { unbind("vlan0"); }), rangeError);
    EXPECT_FALSE(machine->l3IntfStatus(IntfId("vlan0")));
    EXPECT_THAT(observer.heard(), ElementsAre("l3IntfStatus vlan0"));
}

TEST_F(L3IntfStatus, IsThereWhenTheMachinesObserversHearOfIt) {
    start();
    RootObserver observer(*machine);
    bool isThere = false;
    observer.then = [&] { isThere = machine->l3IntfStatus(IntfId("vlan10")) != nullptr; };
    bind("vlan10", "red");
    EXPECT_TRUE(isThere);
}

TEST_F(L3IntfStatus, ANullStatusIsRefused) {
    start();
    EXPECT_THROW(machine->l3IntfStatusIs(nullptr), Rix::NullArgumentError);
    EXPECT_EQ(errorOf([&] { machine->l3IntfStatusIs(nullptr); }),
              "null argument for 'l3IntfStatus' of 'MembershipJoinStatusSm'");
}

TEST_F(L3IntfStatus, ItsTrackerIsMadeOnceAndThenRepointed) {
    start();
    const auto first = status("swp1");
    const auto second = status("swp1");
    const auto tracker = machine->l3IntfStatusIs(first);
    EXPECT_TRUE(tracker->hasNotificationActive());
    EXPECT_EQ(machine->l3IntfStatusIs(first), tracker);
    EXPECT_EQ(machine->l3IntfStatusIs(second), tracker);
    EXPECT_EQ(tracker->notifier(), second);
    EXPECT_EQ(first->publisher()->subscribers(), 0u);
}

TEST_F(L3IntfStatus, ItsTrackerTakesTheMachinesNotificationsFlag) {
    start();
    EXPECT_TRUE(machine->l3IntfStatusIs(status("swp1"))->hasNotificationActive());
    machine->hasNotificationActiveIs(false);
    EXPECT_FALSE(machine->l3IntfStatusIs(status("swp2"))->hasNotificationActive());
}

TEST_F(L3IntfStatus, ARemovedTrackerIsAZombieThatHearsNothing) {
    start();
    const auto port = status("swp1");
    const auto tracker = machine->l3IntfStatusIs(port);
    EXPECT_EQ(machine->l3IntfStatusDel(IntfId("swp1")), tracker);
    EXPECT_TRUE(tracker->isZombie());
    EXPECT_FALSE(tracker->hasNotificationActive());
    tracker->rixDoZombieReactors(false);
    forget();
    port->vrfIs(vrf("red"));
    EXPECT_THAT(trace(), IsEmpty());
}

TEST_F(L3IntfStatus, RemovingOneThatIsNotThereDoesNothing) {
    start();
    const RootObserver observer(*machine);
    EXPECT_FALSE(machine->l3IntfStatusDel(IntfId("swp1")));
    EXPECT_THAT(observer.heard(), IsEmpty());
}

TEST_F(L3IntfStatus, AllAreRemovedOneByOne) {
    bind("vlan10", "red");
    bind("swp1", "red");
    start();
    const RootObserver observer(*machine);
    machine->l3IntfStatusDelAll();
    EXPECT_TRUE(machine->l3IntfStatus().empty());
    EXPECT_THAT(observer.heard(), ElementsAre("l3IntfStatus vlan10", "l3IntfStatus swp1"));
}

TEST_F(L3IntfStatus, PointedAtNothingItIsTheInterfaceWithoutAName) {
    bind("swp1", "red");
    start();
    const auto tracker = machine->l3IntfStatus(IntfId("swp1"));
    forget();
    tracker->notifierIs(nullptr);
    EXPECT_EQ(tracker->intfId(), IntfId());
    EXPECT_THAT(trace(), ElementsAre("3 handleL3IntfStatus | L3 intf change "));
}

TEST_F(L3IntfStatus, IgnoresEveryOtherAttribute) {
    bind("swp1", "red");
    start();
    forget();
    machine->l3IntfStatus(IntfId("swp1"))->onAttribute(Lumo::FieldId{0}, nullptr);
    EXPECT_THAT(trace(), IsEmpty());
}

TEST_F(L3IntfStatus, AZombieIgnoresItsVrfEvenWhereItIsToldOfIt) {
    bind("vlan10", "red");
    start();
    const auto tracker = machine->l3IntfStatus(IntfId("vlan10"));
    tracker->rixDoZombieReactors(true);
    tracker->hasNotificationActiveIs(true);
    forget();
    rebind("vlan10", "blue");
    EXPECT_THAT(trace(), IsEmpty());
}

TEST_F(L3IntfStatus, PointedAtItsOwnStatusItDoesNothing) {
    bind("vlan10", "red");
    start();
    const auto interfaceStatus = l3IntfStatusDir->intfStatus(IntfId("vlan10"));
    forget();
    machine->l3IntfStatus(IntfId("vlan10"))->notifierIs(interfaceStatus);
    EXPECT_THAT(trace(), IsEmpty());
    EXPECT_EQ(interfaceStatus->publisher()->subscribers(), 1u);
}

TEST_F(L3IntfStatus, PointedAtAStatusAfterNothingItTakesItsVrf) {
    bind("vlan10", "red");
    start();
    const auto tracker = machine->l3IntfStatus(IntfId("vlan10"));
    tracker->notifierIs(nullptr);
    forget();
    tracker->notifierIs(l3IntfStatusDir->intfStatus(IntfId("vlan10")));
    EXPECT_THAT(trace(), ElementsAre("3 handleL3IntfStatus | L3 intf change vlan10"));
    EXPECT_EQ(tracker->intfId(), IntfId("vlan10"));
}

TEST_F(L3IntfStatus, WithoutAStatusOrAMachineItIsMadeInSilence) {
    start();
    forget();
    const auto withoutStatus =
        Lumo::make<MembershipJoinStatusSm::NestedSm_L3IntfStatus>(nullptr, machine.get());
    EXPECT_EQ(withoutStatus->intfId(), IntfId());
    const auto withoutMachine =
        Lumo::make<MembershipJoinStatusSm::NestedSm_L3IntfStatus>(status("vlan10"), nullptr);
    EXPECT_EQ(withoutMachine->intfId(), IntfId("vlan10"));
    EXPECT_THAT(trace(), IsEmpty());
}

TEST_F(L3IntfStatus, TellsItsTypeAndItsInterface) {
    bind("vlan10", "red");
    start();
    const auto tracker = machine->l3IntfStatus(IntfId("vlan10"));
    EXPECT_EQ(tracker->typeData().name(), "MembershipJoinStatusSm::NestedSm_L3IntfStatus");
    EXPECT_EQ(tracker->typeData().attributeText(*tracker, "intfId"), "vlan10");
}

TEST_F(L3IntfStatus, PimOnAnInterfaceThatIsNoVlanIsIgnored) {
    start();
    forget();
    machine->handlePimTransitIntf(vrf("red"), IntfId("swp1"));
    EXPECT_THAT(trace(), ElementsAre(transit("( red, swp1 )"), transit(", Not a VLAN swp1")));
}

TEST_F(L3IntfStatus, PimOnAnInternalVlanIsIgnoredWithoutAReason) {
    start();
    for (const char* intf : {"vlan4096", "vlan16383"}) {
        forget();
        machine->handlePimTransitIntf(vrf("red"), IntfId(intf));
        EXPECT_THAT(trace(), ElementsAre(transit(std::string("( red, ") + intf + " )")));
    }
}

TEST_F(L3IntfStatus, PimOnAVlanWithoutJoinsIsIgnored) {
    start();
    forget();
    machine->handlePimTransitIntf(vrf("red"), IntfId("vlan10"));
    EXPECT_THAT(trace(),
                ElementsAre(transit("( red, vlan10 )"), transit(", No membership for VLAN 10")));
}

TEST_F(L3IntfStatus, PimOnAVlanWithoutAnInterfaceStatusIsIgnored) {
    hostOnVlan10();
    start();
    forget();
    machine->handlePimTransitIntf(vrf("red"), IntfId("vlan10"));
    EXPECT_THAT(trace(),
                ElementsAre(transit("( red, vlan10 )"), transit(", No IntfStatus for vlan10")));
}

TEST_F(L3IntfStatus, PimOnAVlanThatIsNoSbdVlanIsIgnored) {
    bind("vlan10", "red");
    hostOnVlan10();
    start();
    forget();
    pim("red", {"vlan10"});
    EXPECT_THAT(trace(), ElementsAre(transit("( red, vlan10 )"), transit(", Not SBD vlan vlan10")));
}

TEST_F(L3IntfStatus, PimOnAnSbdVlanRefreshesItWhateverVrfIsNamed) {
    for (const bool oismMplsTunnel : {false, true}) {
        toggles({.oismMplsTunnel = oismMplsTunnel});
        bind("vlan10", "red");
        hostOnVlan10();
        sbd("blue", 10);
        start();
        forget();
        machine->handlePimTransitIntf(vrf("green"), IntfId("vlan10"));
        EXPECT_EQ(trace()[0], transit("( green, vlan10 )"));
        EXPECT_EQ(trace()[1],
                  "3 updateGmpStatus | Update VLAN: 10, isSbdVlan: false, isDrForSbdVlan: false, "
                  "deleteVlan: false, isPimEnabled: false");
        stop();
    }
}

TEST_F(L3IntfStatus, PimFindsTheSbdVlansOfTheDomainThatTheToggleNames) {
    bind("vlan10", "red");
    hostOnVlan10();
    enabledStatus->sbdVlanToVrfIs(10, vrf("red"));
    for (const bool oismMplsTunnel : {false, true}) {
        toggles({.oismMplsTunnel = oismMplsTunnel});
        start();
        forget();
        machine->handlePimTransitIntf(vrf("red"), IntfId("vlan10"));
        EXPECT_EQ(traced(transit(", Not SBD vlan vlan10")), oismMplsTunnel);
    }
}

TEST_F(L3IntfStatus, ItsHandlersAreTimed) {
    start();
    forget();
    machine->handleL3IntfStatus(IntfId("swp1"));
    machine->handlePimTransitIntf(vrf("red"), IntfId("swp1"));
    const std::string root = "void Irb::Multicast::Ingress::MembershipJoinStatusSm::";
    const std::string intf = root + "handleL3IntfStatus(Ondel::IntfId)";
    const std::string pimIntf = root + "handlePimTransitIntf(const L3::VrfName&, Ondel::IntfId)";
    EXPECT_THAT(blocks(),
                ElementsAre("BEGIN " + intf, "END " + intf, "BEGIN " + pimIntf, "END " + pimIntf));
}

}  // namespace
}  // namespace Irb::Multicast::Ingress::Detail
