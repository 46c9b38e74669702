// What goes with a group, and in which order: its deletion, its reaping, its revival.
#include "MembershipJoinStatusSm/GroupMembership.h"
#include "Pim/VlanTen.h"

namespace Irb::Multicast::Ingress::Detail {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

using GroupRemoval = VlanTen;

TEST_F(GroupRemoval, DeletingAGroupOfTwoSourcesDeletesFiveEntriesInOrder) {
    start();
    include(S1);
    include(S2);
    stale("red", "vlan10", any, G);
    forget();
    delGroup(10, G);
    EXPECT_THAT(writes(), ElementsAre(del(S1), del(S1, Mode::exclude), del(S2),
                                      del(S2, Mode::exclude), del(any)));
    EXPECT_THAT(statuses(), IsEmpty());
}

TEST_F(GroupRemoval, TheDeletionOfAGroupIsTraced) {
    start();
    include(S1);
    include(S1, "swp2");
    exclude(S2);
    forget();
    group()->handleGroupDel();
    EXPECT_EQ(trace().front(), "5 handleGroupDel | Delete group: 239.1.1.1, VLAN 10, members: 2");
    EXPECT_THAT(trace(8),
                ElementsAre("handleGroupDel deleting source 10.0.0.1 includeIntfs 2 excludeIntfs 0",
                            "handleGroupDel deleting source 10.0.0.2 includeIntfs 0 excludeIntfs "
                            "1"));
    EXPECT_TRUE(
        traced("8 handleGroupDel | handleGroupDel deleting source 10.0.0.1 includeIntfs 2 "
               "excludeIntfs 0"));
    EXPECT_THAT(sources(), ElementsAre(S1, S2));
}

TEST_F(GroupRemoval, DeletingAGroupDeletesTheAnySourceEntryInBothModes) {
    start();
    include(any);
    include(S1);
    forget();
    group()->handleGroupDel();
    EXPECT_THAT(writes(), ElementsAre(del(any), del(any, Mode::exclude), del(S1)));
    EXPECT_THAT(statuses(), IsEmpty());
}

TEST_F(GroupRemoval, DeletingAGroupAsksNeitherForSbdNorForDrNorForPim) {
    sbdVlanTen();
    start();
    include(S1);
    stale("red", "vlan10", S1, G);
    EXPECT_FALSE(vlan(10)->isDrForSbdVlan());
    group()->handleGroupDel();
    EXPECT_THAT(table(), IsEmpty());
}

TEST_F(GroupRemoval, OnAVlanWithoutAVrfDeletingAGroupWritesNothing) {
    unbind("vlan10");
    start();
    stale("red", "vlan10", S1, G);
    stale("red", "vlan10", any, G);
    include(S1);
    forget();
    delGroup(10, G);
    EXPECT_TRUE(traced("5 handleGroupDel | Delete group: 239.1.1.1, VLAN 10, members: 1"));
    EXPECT_TRUE(traced("8 handleGroupDel | handleGroupDel: No vrfName for vlan 10"));
    EXPECT_THAT(writes(), IsEmpty());
    EXPECT_EQ(memberships().size(), 2u);
}

TEST_F(GroupRemoval, ASourceWithoutARecordIsDeletedAsTheDefaultAddress) {
    start();
    include(S1);
    source(S1)->notifierIs(nullptr);
    forget();
    group()->handleGroupDel();
    EXPECT_TRUE(
        traced("8 handleGroupDel | handleGroupDel deleting source none includeIntfs 0 "
               "excludeIntfs 0"));
    EXPECT_THAT(writes(), ElementsAre(del("none", Mode::exclude)));
    source(S1)->notifierIs(sourceJoin(10, G, S1));
}

TEST_F(GroupRemoval, ADamagedSetCountsAsNoneAndIsReported) {
    start();
    include(S1);
    exclude(S1, "swp2");
    const auto join = sourceJoin(10, G, S1);
    join->includeIntfsCorruptionIs("include set of 10.0.0.1");
    join->excludeIntfsCorruptionIs("exclude set of 10.0.0.1");
    forget();
    group()->handleGroupDel();
    EXPECT_THAT(trace(8), ElementsAre("handleGroupDel deleting source 10.0.0.1 includeIntfs 0 "
                                      "excludeIntfs 0"));
    EXPECT_THAT(corruptions(), ElementsAre("include set of 10.0.0.1", "exclude set of 10.0.0.1"));
    EXPECT_THAT(table(), IsEmpty());
}

TEST_F(GroupRemoval, OnlyTheDamagedSetCountsAsNone) {
    start();
    include(S1);
    exclude(S1, "swp2");
    forget();
    sourceJoin(10, G, S1)->includeIntfsCorruptionIs("include set of 10.0.0.1");
    group()->handleGroupDel();
    EXPECT_THAT(trace(8), ElementsAre(HasSubstr("includeIntfs 0 excludeIntfs 1")));
    forget();
    sourceJoin(10, G, S1)->excludeIntfsCorruptionIs("exclude set of 10.0.0.1");
    group()->handleGroupDel();
    EXPECT_THAT(trace(8), ElementsAre(HasSubstr("includeIntfs 1 excludeIntfs 0")));
}

TEST_F(GroupRemoval, ReapingDeletesTheGroupFirstThenEachSource) {
    start();
    include(S1);
    include(S2);
    forget();
    group()->rixDoZombieReactors(true);
    EXPECT_THAT(trace(8), ElementsAre(HasSubstr("handleGroupDel deleting source 10.0.0.1"),
                                      HasSubstr("handleGroupDel deleting source 10.0.0.2"),
                                      HasSubstr("handleSourceDel( 10.0.0.1 )"),
                                      HasSubstr("handleSourceDel( 10.0.0.2 )")));
    EXPECT_TRUE(source(S1)->isZombie());
    EXPECT_FALSE(group()->hasNotificationActive());
    EXPECT_FALSE(source(S1)->hasNotificationActive());
}

TEST_F(GroupRemoval, RevivalDeletesTheGroupOnceMore) {
    start();
    include(S1);
    group()->rixDoZombieReactors(true);
    forget();
    group()->rixDoZombieReactors(false);
    EXPECT_THAT(trace(5), ElementsAre("Delete group: 239.1.1.1, VLAN 10, members: 1"));
    EXPECT_THAT(trace(8), Contains(HasSubstr("handleSourceDel( 10.0.0.1 )")));
    EXPECT_FALSE(group()->isZombie());
    EXPECT_FALSE(source(S1)->isZombie());
    EXPECT_TRUE(group()->hasNotificationActive());
}

TEST_F(GroupRemoval, TheStateThatItIsInAgainDoesNothing) {
    start();
    include(S1);
    forget();
    group()->rixDoZombieReactors(false);
    EXPECT_THAT(trace(), IsEmpty());
}

TEST_F(GroupRemoval, ReapingLeavesTheNotificationsOfATrackerWithoutARecordAlone) {
    start();
    include(S1);
    group()->notifierIs(nullptr);
    group()->rixDoZombieReactors(true);
    EXPECT_TRUE(group()->hasNotificationActive());
}

TEST_F(GroupRemoval, NotificationsAreSwitchedForEverySourceAndLeaveItsStateAlone) {
    start();
    include(S1);
    group()->hasNotificationActiveIs(false);
    EXPECT_FALSE(source(S1)->hasNotificationActive());
    EXPECT_FALSE(group()->isZombie());
    source(S1)->hasNotificationActiveIs(true);
    group()->hasNotificationActiveIs(false);
    EXPECT_TRUE(source(S1)->hasNotificationActive());
}

TEST_F(GroupRemoval, ReapedSourcesThatExcludeWriteStarGBackAndItGoesLastOfAll) {
    start();
    exclude(S1);
    exclude(S2);
    forget();
    group()->rixDoZombieReactors(true);
    EXPECT_THAT(writes(), ElementsAre(del(S1, Mode::exclude), del(S2, Mode::exclude), del(any),
                                      add(any), del(S2, Mode::exclude), add(any), del(any)));
    EXPECT_THAT(statuses(), IsEmpty());
}

TEST_F(GroupRemoval, NothingIsLeftBehindByAGroupWithAnySourceInBothModes) {
    start();
    exclude(any);
    include(any, "swp2");
    exclude(S1);
    delGroup(10, G);
    EXPECT_THAT(statuses(), IsEmpty());
}

TEST_F(GroupRemoval, AStarGThatTheTableHoldsInExcludeModeGoesWithTheGroup) {
    start();
    exclude(S1);
    include(S2);
    exclude(any);
    ASSERT_THAT(memberships(), Contains("(0.0.0.0, 239.1.1.1) exclude"));
    delGroup(10, G);
    EXPECT_THAT(statuses(), IsEmpty());
}

TEST_F(GroupRemoval, AStarGThatIsGoneAlreadyIsNotDeletedAgain) {
    bind("vlan20", "red");
    start();
    join(20, G, S1, "swp1");
    include(S1);
    forget();
    delGroup(10, G);
    EXPECT_THAT(writes(), Not(Contains(del(any))));
    EXPECT_THAT(writes(), Not(Contains(del(any, Mode::exclude))));
}

TEST_F(GroupRemoval, RevivalLeavesAStarGThatItsSourcesWriteBack) {
    start();
    exclude(S1);
    exclude(S2);
    group()->rixDoZombieReactors(true);
    group()->rixDoZombieReactors(false);
    EXPECT_THAT(memberships(), ElementsAre("(0.0.0.0, 239.1.1.1) include"));
}

TEST_F(GroupRemoval, ATrackerThatOutlivesItsRemovalWritesNothingWhenItIsDestroyed) {
    start();
    include(S1);
    {
        const auto kept = group();
        delGroup(10, G);
        forget();
    }
    EXPECT_THAT(trace(), IsEmpty());
}

/// Takes a group out of its VLAN as soon as it came.
struct Spoiler final : Lumo::Subscriber {
    explicit Spoiler(const Lumo::Ptr<Gmp::VlanMembershipJoin>& watched) : join(watched) {
        join->publisher()->subscriberIs(*this);
    }
    ~Spoiler() override { join->publisher()->subscriberDel(*this); }
    Spoiler(const Spoiler&) = delete;
    Spoiler& operator=(const Spoiler&) = delete;
    void onNotification(const Lumo::Notification& change) override {
        join->groupDel(change.keyAs<Ondel::IpGenAddr>());
    }
    const Lumo::Ptr<Gmp::VlanMembershipJoin> join;
};

TEST_F(GroupRemoval, AGroupThatIsGoneBeforeTheMachineHearsOfItLeavesNothing) {
    const auto join = Lumo::make<Gmp::VlanMembershipJoin>(VlanId(10));
    membershipJoinStatus->vlanIs(join);
    const Spoiler spoiler(join);
    start();
    join->groupIs(groupRecord({S1}));
    EXPECT_FALSE(group());
    EXPECT_THAT(table(), IsEmpty());
    EXPECT_THAT(trace(5), IsEmpty());
}

TEST_F(GroupRemoval, AGroupThatGoesWhileTheMachineHearsOfItIsWithdrawn) {
    start();
    const auto join = Lumo::make<Gmp::VlanMembershipJoin>(VlanId(10));
    membershipJoinStatus->vlanIs(join);
    const Spoiler spoiler(join);
    join->groupIs(groupRecord({S1}));
    EXPECT_FALSE(group());
    EXPECT_THAT(writes(), ElementsAre(add(S1), del(S1)));
    EXPECT_THAT(table(), IsEmpty());
}

TEST_F(GroupRemoval, AnErrorWhileOneSourceIsReapedReachesTheMakerAndTheOthersAreReaped) {
    start();
    include(S1);
    include(S2);
    gmpStatusLocalColl->membershipObserverIs([](const auto& change) {
        if (change.key.source == address(S1)) throw std::runtime_error("refused");
    });
    EXPECT_EQ(errorOf([this] { delGroup(10, G); }), "refused");
    gmpStatusLocalColl->membershipObserverIs({});
    EXPECT_FALSE(group());
    EXPECT_THAT(table(), IsEmpty());
}

}  // namespace
}  // namespace Irb::Multicast::Ingress::Detail
