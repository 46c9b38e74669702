// The tracker of a VLAN: its VRF, what follows from it, and its groups.
#include "MembershipJoinStatusSm/RixVlanMembership.h"
#include "Pim/RootObserver.h"
#include "Pim/VlanTen.h"
#include "Rix/NullArgumentError.h"

namespace Irb::Multicast::Ingress::Detail {
namespace {

using Routing::Gmp::Tessel::App;
using Routing::Gmp::Tessel::VrfApp;
using testing::ElementsAre;
using testing::IsEmpty;

class RixVlanMembershipTest : public VlanTen {
  protected:
    static constexpr const char* G2 = "239.1.1.2";
    static constexpr const char* G3 = "239.1.1.3";

    /// A record of VLAN 10 with a local include join of S1 in each group.
    static Lumo::Ptr<Gmp::VlanMembershipJoin> record(const std::vector<const char*>& groups) {
        const auto vlanJoin = Lumo::make<Gmp::VlanMembershipJoin>(VlanId(10));
        for (const char* groupAddr : groups) {
            const auto groupJoin = Lumo::make<Gmp::GroupMembershipJoin>(address(groupAddr));
            const auto sourceJoin = Lumo::make<Gmp::SourceMembershipJoin>(address(S1));
            sourceJoin->includeIntfIs(IntfId("swp1"));
            groupJoin->sourceIs(sourceJoin);
            vlanJoin->groupIs(groupJoin);
        }
        return vlanJoin;
    }
    bool hasGroup(const char* groupAddr) { return static_cast<bool>(group(groupAddr)); }
};

TEST_F(RixVlanMembershipTest, AVlanWhoseInterfaceHasNoStatusHasNoVrfAndIsNotDr) {
    unbind("vlan10");
    start();
    forget();
    include(S1);
    EXPECT_TRUE(vlan(10)->vrfName().empty());
    EXPECT_FALSE(vlan(10)->isDrForSbdVlan());
    EXPECT_EQ(vlan(10)->gmpVrfApp(), VrfApp());
    EXPECT_EQ(trace(3), Texts{"Added VLAN :10"});
    EXPECT_TRUE(traced("9 handleVlanMembership | handleVlanMembership, No IntfStatus for vlan10"));
}

TEST_F(RixVlanMembershipTest, AVlanTakesTheVrfOfItsInterface) {
    app = App::gmp;
    start();
    forget();
    include(S1);
    EXPECT_EQ(vlan(10)->vrfName(), vrf("red"));
    EXPECT_EQ(vlan(10)->gmpVrfApp(), (VrfApp{vrf("red"), App::gmp}));
    EXPECT_EQ(trace().front(), "3 handleVlanMembership | Added VLAN :10");
    EXPECT_TRUE(
        traced("7 updateVrfName | updateVrfName( 10 ), old name: , new name: red vlan is 10"));
    EXPECT_TRUE(traced("7 updateVrfName | updateVrfName, gmpVrfApp red.gmp"));
}

TEST_F(RixVlanMembershipTest, TheSameVrfAgainDoesNothingAndTracesNothing) {
    start();
    include(S1);
    forget();
    pegDr(1, 1);
    vlan(10)->updateVrfName(vrf("red"));
    EXPECT_FALSE(vlan(10)->isDrForSbdVlan());
    EXPECT_THAT(trace(7), IsEmpty());
    EXPECT_THAT(trace(8), IsEmpty());
}

TEST_F(RixVlanMembershipTest, AnotherVrfIsTracedAroundTheQuestionWhoIsDr) {
    sbd("blue", 100);
    pegDr(100, 1);
    start();
    include(S1);
    forget();
    vlan(10)->updateVrfName(vrf("blue"));
    EXPECT_TRUE(vlan(10)->isDrForSbdVlan());
    EXPECT_THAT(trace(),
                ElementsAre("7 updateVrfName | updateVrfName( 10 ), old name: red, new name: blue "
                            "vlan is 10",
                            "8 MembershipJoinStatusSm | 100:1",
                            "7 updateVrfName | updateVrfName, gmpVrfApp blue.irb"));
}

TEST_F(RixVlanMembershipTest, AnotherVrfAloneRepublishesNothing) {
    start();
    include(S1);
    vlan(10)->updateVrfName(vrf("blue"));
    EXPECT_THAT(table(), ElementsAre("red.irb vlan10 (10.0.0.1, 239.1.1.1) include"));
}

TEST_F(RixVlanMembershipTest, WhetherItIsDrIsThatOfTheMplsDomainsSbdVlanWhereTheToggleIsOn) {
    toggles({});
    gmpProxyStatus->vrfToSbdVlanIs(vrf("red"), VlanId(100));
    enabledStatus->vrfToSBDVlanIs(vrf("red"), 200);
    pegDr(100, 1);
    start();
    include(S1);
    EXPECT_TRUE(vlan(10)->isDrForSbdVlan());
}

TEST_F(RixVlanMembershipTest, WhetherItIsDrIsThatOfTheVxlanDomainsSbdVlanWhereTheToggleIsOff) {
    toggles({.oismMplsTunnel = false});
    gmpProxyStatus->vrfToSbdVlanIs(vrf("red"), VlanId(100));
    enabledStatus->vrfToSBDVlanIs(vrf("red"), 200);
    pegDr(100, 1);
    start();
    include(S1);
    EXPECT_FALSE(vlan(10)->isDrForSbdVlan());
    pegDr(200, 1);
    rebind("vlan10", "");
    rebind("vlan10", "red");
    EXPECT_TRUE(vlan(10)->isDrForSbdVlan());
}

TEST_F(RixVlanMembershipTest, InTheMplsDomainVlan1IsTheSbdVlanOfEveryVrfWithoutOne) {
    toggles({});
    bind("vlan1", "red");
    start();
    join(1, G, S1, "swp1");
    include(S1);
    EXPECT_TRUE(vlan(1)->isSbdVlan());
    EXPECT_FALSE(vlan(10)->isSbdVlan());
}

TEST_F(RixVlanMembershipTest, InTheMplsDomainATrackerWithoutARecordCountsAsVlan1) {
    toggles({});
    start();
    include(S1);
    vlan(10)->notifierIs(nullptr);
    EXPECT_EQ(vlan(10)->vlanId(), VlanId(1));
    EXPECT_TRUE(vlan(10)->isSbdVlan());
}

TEST_F(RixVlanMembershipTest, InTheVxlanDomainNoVlanIsTheSbdVlanOfAVrfWithoutOne) {
    toggles({.oismMplsTunnel = false});
    bind("vlan1", "red");
    start();
    join(1, G, S1, "swp1");
    include(S1);
    EXPECT_FALSE(vlan(1)->isSbdVlan());
    EXPECT_FALSE(vlan(10)->isSbdVlan());
    vlan(10)->notifierIs(nullptr);
    EXPECT_FALSE(vlan(10)->isSbdVlan());
}

TEST_F(RixVlanMembershipTest, IsTheSbdVlanByTheMapOfTheTogglesDomainAlone) {
    gmpProxyStatus->vrfToSbdVlanIs(vrf("red"), VlanId(10));
    start();
    include(S1);
    EXPECT_TRUE(vlan(10)->isSbdVlan());
    toggles({.oismMplsTunnel = false});
    EXPECT_FALSE(vlan(10)->isSbdVlan());
    enabledStatus->vrfToSBDVlanIs(vrf("red"), 10);
    EXPECT_TRUE(vlan(10)->isSbdVlan());
}

TEST_F(RixVlanMembershipTest, ANewRecordsGroupsComeBeforeThoseItLacksGo) {
    start();
    join(10, G, S1, "swp1");
    join(10, G2, S1, "swp1");
    forget();
    membershipJoinStatus->vlanIs(record({G2, G3}));
    EXPECT_FALSE(hasGroup(G));
    EXPECT_TRUE(hasGroup(G2));
    EXPECT_TRUE(hasGroup(G3));
    EXPECT_THAT(memberships(),
                ElementsAre("(10.0.0.1, 239.1.1.2) include", "(10.0.0.1, 239.1.1.3) include"));
    EXPECT_EQ(writes().front(), add(S1, Mode::include, G3));
    EXPECT_THAT(trace(5), ElementsAre("Delete group: 239.1.1.1, VLAN 10, members: 1"));
}

TEST_F(RixVlanMembershipTest, FollowsTheGroupsOfANewRecordAndNoLongerThoseOfTheOld) {
    start();
    include(S1);
    const auto before = vlanJoin(10);
    membershipJoinStatus->vlanIs(record({G}));
    before->groupIs(Lumo::make<Gmp::GroupMembershipJoin>(address(G2)));
    EXPECT_FALSE(hasGroup(G2));
    join(10, G3, S1, "swp1");
    EXPECT_TRUE(hasGroup(G3));
}

TEST_F(RixVlanMembershipTest, WithoutARecordItKeepsItsGroups) {
    start();
    join(10, G, S1, "swp1");
    join(10, G2, S1, "swp1");
    forget();
    vlan(10)->notifierIs(nullptr);
    EXPECT_TRUE(hasGroup(G));
    EXPECT_TRUE(hasGroup(G2));
    EXPECT_THAT(trace(), IsEmpty());
}

TEST_F(RixVlanMembershipTest, ARecordOfAnotherTypeCountsAsNone) {
    start();
    include(S1);
    vlan(10)->notifierIs(pegDrStatus);
    EXPECT_FALSE(vlan(10)->notifier());
    EXPECT_TRUE(hasGroup(G));
}

TEST_F(RixVlanMembershipTest, PointedAtItsOwnRecordItDoesNotLookAtItsGroupsAgain) {
    start();
    include(S1);
    vlan(10)->hasNotificationActiveIs(false);
    delGroup(10, G);
    vlan(10)->notifierIs(vlanJoin(10));
    EXPECT_TRUE(hasGroup(G));
}

TEST_F(RixVlanMembershipTest, TheRecordThatItFollowsAgainDoesAndPublishesNothing) {
    start();
    include(S1);
    const RootObserver observer(*machine);
    forget();
    EXPECT_EQ(machine->vlanMembershipIs(vlanJoin(10)), vlan(10));
    EXPECT_THAT(observer.heard(), IsEmpty());
    EXPECT_THAT(trace(), IsEmpty());
}

TEST_F(RixVlanMembershipTest, ANewVlanAndANewRecordArePublishedToTheObserversOfTheMachine) {
    start();
    const RootObserver observer(*machine);
    include(S1);
    membershipJoinStatus->vlanIs(record({G}));
    EXPECT_THAT(observer.heard(), ElementsAre("rixVlanMembership 10", "rixVlanMembership 10"));
}

TEST_F(RixVlanMembershipTest, NoRecordIsRefusedByName) {
    start();
    include(S1);
    EXPECT_EQ(errorOf([this] { machine->vlanMembershipIs(nullptr); }),
              "null argument for 'rixVlanMembership' of 'MembershipJoinStatusSm'");
    EXPECT_EQ(errorOf([this] { vlan(10)->groupMembershipIs(nullptr); }),
              "null argument for 'groupMembership' of 'MembershipJoinStatusSm::RixVlanMembership'");
    EXPECT_THROW(vlan(10)->groupMembershipIs(nullptr), Rix::NullArgumentError);
}

TEST_F(RixVlanMembershipTest, RemovingAVlanDeletesItsMembershipsThenPublishesThenDetaches) {
    start();
    include(S1);
    exclude(S2);
    include(any);
    ASSERT_EQ(memberships().size(), 3u);
    const auto tracker = vlan(10);
    RootObserver observer(*machine);
    observer.then = [&] {
        EXPECT_FALSE(machine->rixVlanMembership(VlanId(10)));
        EXPECT_THAT(table(), IsEmpty());
        EXPECT_TRUE(tracker->isZombie());
        EXPECT_EQ(tracker->parent(), machine.get());
    };
    const auto join = vlanJoin(10);
    EXPECT_EQ(machine->vlanMembershipDel(VlanId(10)), join);
    EXPECT_THAT(observer.heard(), ElementsAre("rixVlanMembership 10"));
    EXPECT_EQ(tracker->parent(), nullptr);
    EXPECT_FALSE(tracker->hasNotificationActive());
}

TEST_F(RixVlanMembershipTest, RemovingAVlanThatIsNotThereDoesNothing) {
    start();
    include(S1);
    const RootObserver observer(*machine);
    forget();
    EXPECT_FALSE(machine->vlanMembershipDel(VlanId(20)));
    EXPECT_THAT(observer.heard(), IsEmpty());
    EXPECT_THAT(trace(), IsEmpty());
    EXPECT_EQ(memberships().size(), 1u);
}

TEST_F(RixVlanMembershipTest, ARemovedTrackerHearsNoMoreOfItsVlan) {
    start();
    include(S1);
    const auto tracker = vlan(10);
    const auto join = machine->vlanMembershipDel(VlanId(10));
    vlanJoin(10)->groupIs(Lumo::make<Gmp::GroupMembershipJoin>(address(G2)));
    EXPECT_FALSE(tracker->groupMembership(address(G2)));
    EXPECT_THAT(table(), IsEmpty());
}

TEST_F(RixVlanMembershipTest, RemovingAllVlansWithdrawsEverything) {
    bind("vlan20", "red");
    start();
    include(S1);
    join(20, G, S1, "swp1");
    machine->vlanMembershipDelAll();
    EXPECT_TRUE(machine->rixVlanMembership().empty());
    EXPECT_THAT(statuses(), IsEmpty());
}

TEST_F(RixVlanMembershipTest, RemovingAllVlansRemovesVlan1InPlaceOfATrackerWithoutARecord) {
    bind("vlan1", "red");
    start();
    include(S1);
    join(1, G, S1, "swp1");
    vlan(10)->notifierIs(nullptr);
    machine->vlanMembershipDelAll();
    EXPECT_FALSE(vlan(1));
    EXPECT_TRUE(vlan(10));
}

TEST_F(RixVlanMembershipTest, FollowsTheGroupsThatComeAndGo) {
    start();
    include(S1);
    join(10, G2, S1, "swp1");
    EXPECT_TRUE(hasGroup(G2));
    delGroup(10, G2);
    EXPECT_FALSE(hasGroup(G2));
    EXPECT_THAT(memberships(), ElementsAre("(10.0.0.1, 239.1.1.1) include"));
}

TEST_F(RixVlanMembershipTest, ChangesOfOtherAttributesAreIgnored) {
    start();
    include(S1);
    const IpGenAddr gone = address(G);
    vlan(10)->hasNotificationActiveIs(false);
    delGroup(10, G);
    vlan(10)->onAttribute(Lumo::FieldId{0}, &gone);
    EXPECT_TRUE(hasGroup(G));
    vlan(10)->onAttribute(Gmp::VlanMembershipJoin::groupField, &gone);
    EXPECT_FALSE(hasGroup(G));
}

TEST_F(RixVlanMembershipTest, WithoutARecordAChangeOfItsGroupsIsIgnored) {
    start();
    include(S1);
    vlan(10)->notifierIs(nullptr);
    const IpGenAddr groupAddr = address(G);
    vlan(10)->onAttribute(Gmp::VlanMembershipJoin::groupField, &groupAddr);
    EXPECT_TRUE(hasGroup(G));
}

TEST_F(RixVlanMembershipTest, AGroupsNewRecordTakesTheOldOnesPlaceAndItsTrackerStays) {
    start();
    include(S1);
    const auto tracker = group();
    const auto join = record({G})->group(address(G));
    vlanJoin(10)->groupIs(join);
    EXPECT_EQ(group(), tracker);
    EXPECT_EQ(tracker->notifier(), join);
}

TEST_F(RixVlanMembershipTest, AGroupThatComesToAReapedVlanIsReaped) {
    start();
    include(S1);
    vlan(10)->rixDoZombieReactors(true);
    const auto tracker = vlan(10)->groupMembershipIs(record({G2})->group(address(G2)));
    EXPECT_TRUE(tracker->isZombie());
    EXPECT_THAT(table(), IsEmpty());
}

TEST_F(RixVlanMembershipTest, AGroupThatIsThereIsBroughtToTheVlansStateWithoutANewRecord) {
    start();
    include(S1);
    group()->rixDoZombieReactors(true);
    EXPECT_EQ(vlan(10)->groupMembershipIs(groupJoin(10, G)), group());
    EXPECT_FALSE(group()->isZombie());
}

TEST_F(RixVlanMembershipTest, RemovingAGroupGivesItsRecordAndDetachesItsTracker) {
    start();
    include(S1);
    const auto tracker = group();
    EXPECT_EQ(vlan(10)->groupMembershipDel(address(G)), groupJoin(10, G));
    EXPECT_TRUE(tracker->isZombie());
    EXPECT_EQ(tracker->parent(), nullptr);
    EXPECT_FALSE(tracker->hasNotificationActive());
    EXPECT_FALSE(vlan(10)->groupMembershipDel(address(G)));
    EXPECT_THAT(table(), IsEmpty());
}

TEST_F(RixVlanMembershipTest, RemovingAllGroupsLeavesThoseWithoutARecord) {
    start();
    join(10, G, S1, "swp1");
    join(10, G2, S1, "swp1");
    group(G2)->notifierIs(nullptr);
    vlan(10)->groupMembershipDelAll();
    EXPECT_FALSE(hasGroup(G));
    EXPECT_TRUE(hasGroup(G2));
}

TEST_F(RixVlanMembershipTest, NotificationsAreSwitchedForEveryGroup) {
    start();
    include(S1);
    vlan(10)->hasNotificationActiveIs(false);
    EXPECT_FALSE(group()->hasNotificationActive());
    EXPECT_FALSE(source(S1)->hasNotificationActive());
    vlan(10)->hasNotificationActiveIs(true);
    EXPECT_TRUE(group()->hasNotificationActive());
    EXPECT_TRUE(source(S1)->hasNotificationActive());
}

TEST_F(RixVlanMembershipTest, NotificationsThatAreAlreadySoAreNotSwitchedForTheGroups) {
    start();
    include(S1);
    group()->hasNotificationActiveIs(false);
    vlan(10)->hasNotificationActiveIs(true);
    EXPECT_FALSE(group()->hasNotificationActive());
}

TEST_F(RixVlanMembershipTest, ANewTrackerTakesTheMachinesNotificationsButItsGroupsAreSwitchedOn) {
    start();
    include(S1);
    EXPECT_TRUE(vlan(10)->hasNotificationActive());
    machine->hasNotificationActiveIs(false);
    const auto tracker = machine->vlanMembershipIs(Lumo::make<Gmp::VlanMembershipJoin>(VlanId(20)));
    const auto groupTracker = tracker->groupMembershipIs(record({G})->group(address(G)));
    EXPECT_FALSE(tracker->hasNotificationActive());
    EXPECT_TRUE(groupTracker->hasNotificationActive());
    const auto sourceTracker = groupTracker->sourceMembership().get(address(S1));
    EXPECT_TRUE(sourceTracker->hasNotificationActive());
}

TEST_F(RixVlanMembershipTest, ReapingWithdrawsTheVlanFirstThenEachGroup) {
    start();
    join(10, G, S1, "swp1");
    join(10, G2, S1, "swp1");
    forget();
    vlan(10)->rixDoZombieReactors(true);
    ASSERT_FALSE(trace().empty());
    EXPECT_EQ(trace().front(),
              "3 updateGmpStatus | Update VLAN: 10, isSbdVlan: false, isDrForSbdVlan: false, "
              "deleteVlan: true, isPimEnabled: false");
    EXPECT_THAT(trace(5), ElementsAre("Delete group: 239.1.1.1, VLAN 10, members: 1",
                                      "Delete group: 239.1.1.2, VLAN 10, members: 1"));
    EXPECT_THAT(table(), IsEmpty());
    EXPECT_TRUE(vlan(10)->isZombie());
    EXPECT_FALSE(vlan(10)->hasNotificationActive());
}

TEST_F(RixVlanMembershipTest, RevivalWithdrawsTheVlanOnceMore) {
    start();
    include(S1);
    vlan(10)->rixDoZombieReactors(true);
    stale("red", "vlan10", S1, G);
    forget();
    vlan(10)->rixDoZombieReactors(false);
    EXPECT_THAT(trace(3), ElementsAre("Update VLAN: 10, isSbdVlan: false, isDrForSbdVlan: false, "
                                      "deleteVlan: true, isPimEnabled: false"));
    EXPECT_EQ(writes().front(), del(S1));
    EXPECT_FALSE(vlan(10)->isZombie());
    EXPECT_FALSE(group()->isZombie());
    EXPECT_TRUE(vlan(10)->hasNotificationActive());
}

TEST_F(RixVlanMembershipTest, TheStateThatItIsInAgainDoesNothing) {
    start();
    include(S1);
    forget();
    vlan(10)->rixDoZombieReactors(false);
    EXPECT_THAT(trace(), IsEmpty());
    vlan(10)->rixDoZombieReactors(true);
    forget();
    vlan(10)->rixDoZombieReactors(true);
    EXPECT_THAT(trace(), IsEmpty());
}

TEST_F(RixVlanMembershipTest, ReapingLeavesTheNotificationsOfATrackerWithoutARecordAlone) {
    start();
    include(S1);
    vlan(10)->notifierIs(nullptr);
    vlan(10)->rixDoZombieReactors(true);
    EXPECT_TRUE(vlan(10)->hasNotificationActive());
}

TEST_F(RixVlanMembershipTest, AVlanThatComesAfterTheMachineWasReapedLivesAndIsWithdrawnAtItsEnd) {
    start();
    machine->rixDoZombieReactors(true);
    include(S1);
    EXPECT_FALSE(vlan(10)->isZombie());
    EXPECT_EQ(memberships().size(), 1u);
    include(S2);
    EXPECT_EQ(memberships().size(), 2u);
    stop();
    EXPECT_THAT(table(), IsEmpty());
}

TEST_F(RixVlanMembershipTest, ATrackerThatIsKeptOutlivesTheMachineAndHoldsNothing) {
    start();
    include(S1);
    {
        const auto kept = vlan(10);
        stop();
        EXPECT_EQ(kept->parent(), nullptr);
        EXPECT_FALSE(kept->groupMembership(address(G)));
        include(S2);
        EXPECT_THAT(table(), IsEmpty());
    }
}

TEST_F(RixVlanMembershipTest, TellsItsTypeAndAttributes) {
    start();
    include(S1);
    const auto tracker = vlan(10);
    EXPECT_EQ(tracker->typeData().name(), "MembershipJoinStatusSm::RixVlanMembership");
    EXPECT_EQ(tracker->typeData().attributeText(*tracker, "vlanId"), "10");
    EXPECT_EQ(tracker->typeData().attributeText(*tracker, "vrfName"), "red");
}

}  // namespace
}  // namespace Irb::Multicast::Ingress::Detail
