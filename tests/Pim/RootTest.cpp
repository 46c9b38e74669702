// The life of the machine: its start over any of its inputs, its flags, its observers, its end.
#include "MembershipJoinStatusSm/L3IntfStatus.h"
#include "MembershipJoinStatusSm/PimVrfStatus.h"
#include "MembershipJoinStatusSm/RixVlanMembership.h"
#include "MembershipJoinStatusSm/SmTrace.h"
#include "Pim/RootObserver.h"
#include "Pim/TwoJoins.h"
#include "Trace/TextSink.h"

namespace Irb::Multicast::Ingress::Detail {
namespace {

using Routing::Gmp::Tessel::App;
using testing::ElementsAre;
using testing::IsEmpty;

class Root : public TwoJoins {
  protected:
    void noInputs() {
        membershipJoinStatus = nullptr;
        pegDrStatus = nullptr;
        l3IntfStatusDir = nullptr;
        enabledStatus = nullptr;
        pimStatusColl = nullptr;
        gmpProxyStatus = nullptr;
        gmpStatusLocalColl = nullptr;
    }
};

TEST_F(Root, WithoutAnyInputItStartsAndOnlySaysSo) {
    noInputs();
    start();
    EXPECT_TRUE(machine->initialized());
    EXPECT_THAT(trace(), ElementsAre("8 handleInitialized | handleInitialized: "));
    EXPECT_TRUE(machine->l3IntfStatus().empty());
    EXPECT_TRUE(machine->pimVrfStatus().empty());
    EXPECT_TRUE(machine->rixVlanMembership().empty());
}

TEST_F(Root, WithoutAnyInputItStillLives) {
    noInputs();
    start();
    machine->hasNotificationActiveIs(false);
    machine->hasNotificationActiveIs(true);
    machine->rixDoZombieReactors(true);
    EXPECT_TRUE(machine->isZombie());
}

TEST_F(Root, HoldsItsInputsAsGiven) {
    domain = Domain::mpls;
    app = App::gmp;
    start();
    EXPECT_EQ(machine->domain(), Domain::mpls);
    EXPECT_EQ(machine->membershipJoinStatus(), membershipJoinStatus);
    EXPECT_EQ(machine->pegDrStatus(), pegDrStatus);
    EXPECT_EQ(machine->l3IntfStatusDir(), l3IntfStatusDir);
    EXPECT_EQ(machine->enabledStatus(), enabledStatus);
    EXPECT_EQ(machine->pimStatusColl(), pimStatusColl);
    EXPECT_EQ(machine->gmpProxyStatus(), gmpProxyStatus);
    EXPECT_EQ(machine->gmpStatusLocalColl(), gmpStatusLocalColl);
    EXPECT_EQ(machine->gmpStatusApp(), App::gmp);
}

TEST_F(Root, MakesATrackerForEachInterfaceVrfAndVlanThatIsThere) {
    redWithTwoJoins();
    pim("red", {});
    pim("blue", {});
    start();
    EXPECT_EQ(machine->l3IntfStatus().size(), 2u);
    EXPECT_EQ(machine->pimVrfStatus().size(), 2u);
    EXPECT_EQ(machine->rixVlanMembership().size(), 2u);
    EXPECT_EQ(machine->l3IntfStatus(IntfId("vlan10"))->intfId(), IntfId("vlan10"));
    EXPECT_EQ(machine->rixVlanMembership(VlanId(100))->vlanId(), VlanId(100));
    EXPECT_FALSE(machine->l3IntfStatus(IntfId("vlan11")));
    EXPECT_FALSE(machine->rixVlanMembership(VlanId(11)));
    EXPECT_THAT(table(), ElementsAre(host10, host100));
}

TEST_F(Root, AVlanThatIsThereAtTheStartFindsItsVrfAndPimInPlace) {
    bind("vlan100", "red");
    sbd("red", 100);
    pim("red", {"vlan100"});
    join(100, "239.1.1.1", "10.0.0.1", "mtunnel1");
    start();
    EXPECT_THAT(table(), ElementsAre(host100));
}

TEST_F(Root, RemovesWhatAnEarlierMachineLeftForVlansWithoutJoins) {
    stale("red", "vlan20", "10.0.0.1", "239.1.1.1");
    stale("red", "vlan20", "10.0.0.1", "239.1.1.1", Mode::include, App::gmp);
    start();
    EXPECT_THAT(table(), ElementsAre("red.gmp vlan20 (10.0.0.1, 239.1.1.1) include"));
}

TEST_F(Root, ItsEndDeletesTheMembershipsOfEveryVlanThatHasAVrf) {
    redWithTwoJoins();
    join(20, "239.1.1.1", "10.0.0.1", "swp1");
    start();
    stale("red", "vlan20", "10.0.0.1", "239.1.1.1");
    stop();
    EXPECT_THAT(table(), ElementsAre("red.irb vlan20 (10.0.0.1, 239.1.1.1) include"));
}

TEST_F(Root, WhatItsEndLeavesIsReconciledByTheNextStart) {
    join(20, "239.1.1.1", "10.0.0.1", "swp1");
    start();
    stale("red", "vlan20", "10.0.0.1", "239.1.1.1");
    stop();
    start();
    EXPECT_THAT(table(), IsEmpty());
}

TEST_F(Root, WhatAnSbdVlanWithoutDrAndPimLeavesIsReconciledByTheNextStart) {
    bind("vlan100", "red");
    sbd("red", 100);
    join(100, "239.1.1.1", "10.0.0.1", "swp1");
    start();
    EXPECT_THAT(table(), ElementsAre(host100));
    delSource(100, "239.1.1.1", "10.0.0.1");
    stop();
    EXPECT_THAT(table(), ElementsAre(host100));
    start();
    EXPECT_THAT(table(), IsEmpty());
}

TEST_F(Root, ItsEndLeavesTheStatusesOfOtherApplicationsAlone) {
    redWithTwoJoins();
    stale("red", "vlan10", "10.0.0.1", "239.1.1.1", Mode::include, App::staticJoin);
    start();
    stop();
    EXPECT_THAT(statuses(), ElementsAre("red.static"));
}

TEST_F(Root, OnceReapedItsEndWritesNothing) {
    redWithTwoJoins();
    start();
    machine->rixDoZombieReactors(true);
    EXPECT_TRUE(machine->isZombie());
    EXPECT_THAT(table(), IsEmpty());
    stale("red", "vlan10", "10.0.0.1", "239.1.1.1");
    forget();
    stop();
    EXPECT_THAT(trace(), IsEmpty());
    EXPECT_THAT(table(), ElementsAre(host10));
}

TEST_F(Root, IsReapedOnce) {
    redWithTwoJoins();
    start();
    machine->rixDoZombieReactors(true);
    forget();
    machine->rixDoZombieReactors(true);
    EXPECT_THAT(trace(), IsEmpty());
}

TEST_F(Root, ReapsInterfacesThenVrfsThenVlans) {
    redWithTwoJoins();
    pim("red", {});
    start();
    forget();
    const auto vrfs = machine->pimVrfStatus(vrf("red"));
    Texts order;
    Trace::textSinkIs([&](const Trace::TextRecord& record) {
        if (record.level != 3) return;
        order.push_back(std::string(record.text) + (vrfs->isZombie() ? ", VRF reaped" : ""));
    });
    machine->rixDoZombieReactors(true);
    stop();
    EXPECT_THAT(order, ElementsAre("L3 intf change vlan10", "L3 intf change vlan100",
                                   "Update VLAN: 10, isSbdVlan: false, isDrForSbdVlan: true, "
                                   "deleteVlan: true, isPimEnabled: false, VRF reaped",
                                   "Update VLAN: 100, isSbdVlan: true, isDrForSbdVlan: true, "
                                   "deleteVlan: true, isPimEnabled: false, VRF reaped"));
}

TEST_F(Root, RevivedItHearsOfJoinsAgain) {
    redWithTwoJoins();
    start();
    machine->rixDoZombieReactors(true);
    machine->rixDoZombieReactors(false);
    EXPECT_FALSE(machine->isZombie());
    join(10, "239.1.1.1", "10.0.0.2", "swp1");
    EXPECT_THAT(table(), ElementsAre("red.irb vlan10 (10.0.0.2, 239.1.1.1) include"));
}

TEST_F(Root, ReapingGoesOnAfterAnErrorWhichIsRaisedAtTheEnd) {
    bind("vlan0", "red");
    redWithTwoJoins();
    start();
    EXPECT_EQ(errorOf([&] { machine->rixDoZombieReactors(true); }), rangeError);
    EXPECT_TRUE(machine->isZombie());
    EXPECT_TRUE(vlan(10)->isZombie());
    EXPECT_THAT(table(), IsEmpty());
}

TEST_F(Root, OfSeveralErrorsWhileItIsReapedTheFirstIsRaised) {
    bind("vlan0", "red");
    redWithTwoJoins();
    start();
    gmpStatusLocalColl->membershipObserverIs(
        [](const auto&) { throw std::runtime_error("refused"); });
    EXPECT_EQ(errorOf([&] { machine->rixDoZombieReactors(true); }), rangeError);
    gmpStatusLocalColl->membershipObserverIs({});
    EXPECT_TRUE(vlan(100)->isZombie());
}

TEST_F(Root, ItsEndDropsAnErrorOfATracker) {
    bind("vlan0", "red");
    redWithTwoJoins();
    start();
    EXPECT_NO_THROW(stop());
    EXPECT_THAT(table(), IsEmpty());
}

TEST_F(Root, AVlanThatComesAfterItWasReapedLivesLikeAnyOther) {
    start();
    machine->rixDoZombieReactors(true);
    bind("vlan10", "red");
    join(10, "239.1.1.1", "10.0.0.1", "swp1");
    EXPECT_THAT(table(), ElementsAre(host10));
    leave(10, "239.1.1.1", "10.0.0.1", "swp1");
    EXPECT_THAT(table(), IsEmpty());
}

TEST_F(Root, AVlanThatCameAfterItWasReapedIsWithdrawnByItsEnd) {
    start();
    machine->rixDoZombieReactors(true);
    bind("vlan10", "red");
    join(10, "239.1.1.1", "10.0.0.1", "swp1");
    stop();
    EXPECT_THAT(table(), IsEmpty());
}

TEST_F(Root, AVlanThatCameAfterItWasReapedLosesEveryGroupThoughAnObserverFailsAtTheFirst) {
    start();
    machine->rixDoZombieReactors(true);
    bind("vlan10", "red");
    join(10, "239.1.1.1", "10.0.0.1", "swp1");
    join(10, "239.1.1.2", "10.0.0.1", "swp1");
    gmpStatusLocalColl->membershipObserverIs([](const auto& change) {
        if (change.key.group == address("239.1.1.1")) throw std::runtime_error("refused");
    });
    EXPECT_NO_THROW(stop());
    gmpStatusLocalColl->membershipObserverIs({});
    EXPECT_THAT(table(), IsEmpty());
}

TEST_F(Root, SwitchedOffItListensToItsCollectionsNoMore) {
    start();
    machine->hasNotificationActiveIs(false);
    EXPECT_EQ(membershipJoinStatus->publisher()->subscribers(), 0u);
    EXPECT_EQ(pegDrStatus->publisher()->subscribers(), 0u);
    EXPECT_EQ(l3IntfStatusDir->publisher()->subscribers(), 0u);
    EXPECT_EQ(pimStatusColl->publisher()->subscribers(), 0u);
    EXPECT_EQ(enabledStatus->publisher()->subscribers(), 1u);
    EXPECT_EQ(gmpProxyStatus->publisher()->subscribers(), 1u);
}

TEST_F(Root, SwitchedOnItListensToEachInputOnce) {
    start();
    EXPECT_TRUE(machine->hasNotificationActive());
    machine->hasNotificationActiveIs(true);
    machine->hasNotificationActiveIs(false);
    machine->hasNotificationActiveIs(true);
    EXPECT_EQ(membershipJoinStatus->publisher()->subscribers(), 1u);
    EXPECT_EQ(pegDrStatus->publisher()->subscribers(), 1u);
    EXPECT_EQ(l3IntfStatusDir->publisher()->subscribers(), 1u);
    EXPECT_EQ(pimStatusColl->publisher()->subscribers(), 1u);
}

TEST_F(Root, SwitchingReachesEveryTracker) {
    redWithTwoJoins();
    pim("red", {});
    start();
    for (const bool active : {false, true}) {
        machine->hasNotificationActiveIs(active);
        EXPECT_EQ(machine->l3IntfStatus(IntfId("vlan10"))->hasNotificationActive(), active);
        EXPECT_EQ(machine->pimVrfStatus(vrf("red"))->hasNotificationActive(), active);
        EXPECT_EQ(vlan(10)->hasNotificationActive(), active);
    }
}

TEST_F(Root, WhileSwitchedOffNoJoinIsHeard) {
    redWithTwoJoins();
    start();
    machine->hasNotificationActiveIs(false);
    join(10, "239.1.1.1", "10.0.0.2", "swp1");
    EXPECT_THAT(table(), ElementsAre(host10, host100));
    machine->hasNotificationActiveIs(true);
    join(10, "239.1.1.1", "10.0.0.3", "swp1");
    EXPECT_THAT(table(),
                ElementsAre(host10, "red.irb vlan10 (10.0.0.3, 239.1.1.1) include", host100));
}

TEST_F(Root, AMachineThatWasNeverSwitchedOnHearsOfItsCollectionsToo) {
    machine = Lumo::make<MembershipJoinStatusSm>(
        Detail::Inputs{domain, membershipJoinStatus, pegDrStatus, l3IntfStatusDir, enabledStatus,
                       pimStatusColl, gmpStatusLocalColl, gmpProxyStatus, app});
    EXPECT_FALSE(machine->hasNotificationActive());
    join(10, "239.1.1.1", "10.0.0.1", "swp1");
    ASSERT_TRUE(vlan(10));
    EXPECT_FALSE(vlan(10)->hasNotificationActive());
}

TEST_F(Root, ToldTwiceThatItIsInitializedItPublishesOneChange) {
    start();
    machine->initializedIs(false);
    const RootObserver observer(*machine);
    machine->initializedIs(true);
    machine->initializedIs(true);
    EXPECT_THAT(observer.heard(), ElementsAre("initialized was false"));
}

TEST_F(Root, TellsItsObserversOfTrackersThatComeAndGo) {
    start();
    const RootObserver observer(*machine);
    bind("vlan10", "red");
    pim("red", {});
    join(10, "239.1.1.1", "10.0.0.1", "swp1");
    delVlan(10);
    delPim("red");
    unbind("vlan10");
    EXPECT_THAT(observer.heard(),
                ElementsAre("l3IntfStatus vlan10", "pimVrfStatus red", "rixVlanMembership 10",
                            "rixVlanMembership 10", "pimVrfStatus red", "l3IntfStatus vlan10"));
}

TEST_F(Root, OfTrackersThatFollowAnotherRecordItsObserversHearOnlyWhereItIsAVlans) {
    start();
    bind("vlan10", "red");
    pim("red", {});
    join(10, "239.1.1.1", "10.0.0.1", "swp1");
    const RootObserver observer(*machine);
    bind("vlan10", "red");
    pim("red", {});
    membershipJoinStatus->vlanIs(Lumo::make<Gmp::VlanMembershipJoin>(VlanId(10)));
    EXPECT_EQ(machine->l3IntfStatus(IntfId("vlan10"))->notifier(),
              l3IntfStatusDir->intfStatus(IntfId("vlan10")));
    EXPECT_EQ(machine->pimVrfStatus(vrf("red"))->notifier(), pimStatusColl->vrfStatus(vrf("red")));
    EXPECT_THAT(observer.heard(), ElementsAre("rixVlanMembership 10"));
}

TEST_F(Root, TheRecordThatATrackerFollowsAlreadyChangesAndPublishesNothing) {
    redWithTwoJoins();
    pim("red", {});
    start();
    const RootObserver observer(*machine);
    forget();
    EXPECT_EQ(machine->vlanMembershipIs(vlanJoin(10)), vlan(10));
    machine->pimVrfStatusIs(pimStatusColl->vrfStatus(vrf("red")));
    machine->l3IntfStatusIs(l3IntfStatusDir->intfStatus(IntfId("vlan10")));
    EXPECT_THAT(observer.heard(), IsEmpty());
    EXPECT_THAT(trace(), IsEmpty());
}

TEST_F(Root, TellsItsObserversInTheMidstOfAReaction) {
    start();
    RootObserver observer(*machine);
    Texts before{"not told"};
    observer.then = [&] { before = trace(); };
    forget();
    pim("red", {"vlan10"});
    EXPECT_THAT(before, IsEmpty());
    EXPECT_TRUE(traced("9 handlePimTransitIntf | handlePimTransitIntf( red, vlan10 )"));
}

TEST_F(Root, AnObserverFindsARemovedTrackerReapedAndGone) {
    redWithTwoJoins();
    start();
    RootObserver observer(*machine);
    observer.then = [&] {
        EXPECT_FALSE(vlan(10));
        EXPECT_THAT(table(), ElementsAre(host100));
    };
    delVlan(10);
    EXPECT_THAT(observer.heard(), ElementsAre("rixVlanMembership 10"));
}

TEST_F(Root, WhatAnObserverRaisesReachesWhoeverChangedTheInput) {
    redWithTwoJoins();
    start();
    RootObserver observer(*machine);
    observer.then = [] { throw std::runtime_error("the observer failed"); };
    EXPECT_EQ(errorOf([&] { delVlan(10); }), "the observer failed");
    EXPECT_FALSE(vlan(10));
    EXPECT_EQ(errorOf([&] { unbind("vlan100"); }), "the observer failed");
    EXPECT_EQ(errorOf([&] { join(30, "239.1.1.1", "10.0.0.1", "swp1"); }), "the observer failed");
    EXPECT_TRUE(vlan(30));
}

TEST_F(Root, AnObserverThatFailedOnceDoesNoLastingHarm) {
    redWithTwoJoins();
    start();
    RootObserver observer(*machine);
    observer.then = [] { throw std::runtime_error("the observer failed"); };
    EXPECT_ANY_THROW(delVlan(10));
    observer.then = [] {};
    join(10, "239.1.1.1", "10.0.0.1", "swp1");
    EXPECT_THAT(table(), ElementsAre(host10, host100));
}

TEST_F(Root, AnObserverMayDropTheLastReferenceInTheMidstOfAReaction) {
    redWithTwoJoins();
    start();
    forget();
    RootObserver observer(*machine);
    observer.then = [&] {
        observer.stop();
        machine = nullptr;
    };
    pim("red", {"swp1"});
    EXPECT_THAT(trace(9), ElementsAre("handlePimTransitIntf( red, swp1 )",
                                      "handlePimTransitIntf, Not a VLAN swp1"));
    EXPECT_EQ(MembershipJoinStatusSm::type().allocations().live, 0u);
    EXPECT_THAT(table(), IsEmpty());
}

TEST_F(Root, TrackersThatOutliveItDoNothing) {
    redWithTwoJoins();
    pim("red", {});
    start();
    const auto interfaces = machine->l3IntfStatus(IntfId("vlan10"));
    const auto pims = machine->pimVrfStatus(vrf("red"));
    const auto vlans = vlan(10);
    stop();
    forget();
    interfaces->rixDoZombieReactors(false);
    pims->rixDoZombieReactors(false);
    rebind("vlan10", "blue");
    pimIntf("red", "vlan10");
    join(10, "239.1.1.2", "10.0.0.1", "swp1");
    EXPECT_THAT(trace(), IsEmpty());
    EXPECT_FALSE(vlans->parent());
}

TEST_F(Root, AnSbdVlanThatCannotBeOneFailsTheStartAndLeavesNothing) {
    toggles({.oismMplsTunnel = false});
    bind("vlan10", "red");
    bind("vlan5", "blue");
    enabledStatus->vrfToSBDVlanIs(vrf("red"), 5000);
    join(5, "239.1.1.1", "10.0.0.1", "swp1");
    join(10, "239.1.1.1", "10.0.0.1", "swp1");
    const auto everBefore = MembershipJoinStatusSm::type().allocations().ever;
    EXPECT_EQ(startError(), rangeError);
    EXPECT_EQ(MembershipJoinStatusSm::type().allocations().ever, everBefore);
    EXPECT_EQ(MembershipJoinStatusSm::type().allocations().live, 0u);
    EXPECT_EQ(RixVlanMembership::type().allocations().live, 0u);
    expectInputsUnreferenced();
}

TEST_F(Root, AfterAStartThatFailedTheNextOneBringsTheTableIntoLine) {
    toggles({.oismMplsTunnel = false});
    bind("vlan10", "red");
    bind("vlan5", "blue");
    enabledStatus->vrfToSBDVlanIs(vrf("red"), 5000);
    join(5, "239.1.1.1", "10.0.0.1", "swp1");
    join(10, "239.1.1.1", "10.0.0.1", "swp1");
    EXPECT_ANY_THROW(start());
    enabledStatus->vrfToSBDVlanDel(vrf("red"));
    delVlan(5);
    start();
    EXPECT_THAT(table(), ElementsAre(host10));
}

TEST_F(Root, TheMapsOfTheVxlanDomainAreCheckedUnderEitherToggle) {
    for (const bool oismMplsTunnel : {false, true}) {
        toggles({.oismMplsTunnel = oismMplsTunnel});
        enabledStatus->vrfToSBDVlanIs(vrf("red"), 5000);
        EXPECT_EQ(startError(), rangeError);
        enabledStatus->vrfToSBDVlanDel(vrf("red"));
        enabledStatus->sbdVlanToVrfIs(5000, vrf("red"));
        EXPECT_EQ(startError(), rangeError);
        enabledStatus->sbdVlanToVrfDel(5000);
        expectInputsUnreferenced();
    }
}

TEST_F(Root, AThousandLivesLeaveNothing) {
    redWithTwoJoins();
    pim("red", {"vlan100"});
    smTrace().levelsIs({});
    const auto everBefore = MembershipJoinStatusSm::type().allocations().ever;
    for (int life = 0; life < 1000; ++life) {
        start();
        stop();
    }
    const auto allocations = MembershipJoinStatusSm::type().allocations();
    EXPECT_EQ(allocations.ever, everBefore + 1000);
    EXPECT_EQ(allocations.live, 0u);
    EXPECT_EQ(allocations.liveBytes, 0u);
    expectInputsUnreferenced();
    EXPECT_THAT(statuses(), IsEmpty());
}

TEST_F(Root, WhileItIsDestroyedItHearsOfNoMap) {
    redWithTwoJoins();
    start();
    Texts heard;
    Trace::textSinkIs([&](const Trace::TextRecord& record) {
        if (record.function == "delMembership") sbd("blue", 200);
        if (record.level == 2) heard.emplace_back(record.text);
    });
    stop();
    EXPECT_THAT(heard, IsEmpty());
    EXPECT_TRUE(enabledStatus->vrfToSBDVlan().contains(vrf("blue")));
}

TEST_F(Root, WhileItIsDestroyedTheMapsOfANewInputAreNotReplayed) {
    redWithTwoJoins();
    start();
    const auto maps = Lumo::make<GmpProxyStatus>();
    maps->vrfToSbdVlanIs(vrf("blue"), VlanId(200));
    maps->sbdVlanToVrfIs(VlanId(200), vrf("blue"));
    Texts heard;
    Trace::textSinkIs([&, root = machine.get()](const Trace::TextRecord& record) {
        if (record.function == "delMembership") root->gmpProxyStatusIs(maps);
        if (record.level == 2) heard.emplace_back(record.text);
    });
    stop();
    EXPECT_THAT(heard, IsEmpty());
    EXPECT_EQ(maps->references(), 1u);
    EXPECT_EQ(maps->publisher()->subscribers(), 0u);
}

TEST_F(Root, ALevelThatIsNotEnabledGivesNoText) {
    redWithTwoJoins();
    smTrace().levelsIs(Trace::Levels::of(7));
    start();
    EXPECT_EQ(trace().size(), trace(7).size());
    EXPECT_FALSE(trace(7).empty());
    smTrace().levelsIs({});
    forget();
    stop();
    EXPECT_THAT(trace(), IsEmpty());
}

TEST_F(Root, EveryMessageIsInTheRingToo) {
    forget();
    stale("red", "vlan20", "10.0.0.1", "239.1.1.1");
    redWithTwoJoins();
    start();
    rebind("vlan10", "blue");
    pim("red", {"vlan100", "swp1"});
    delSource(10, "239.1.1.1", "10.0.0.1");
    stop();
    EXPECT_GT(trace().size(), 50u);
    EXPECT_EQ(ringMessages(), trace());
}

}  // namespace
}  // namespace Irb::Multicast::Ingress::Detail
