// The tracker of a group: its (*,G) membership, its sources, and what goes with it.
#include "MembershipJoinStatusSm/GroupMembership.h"
#include "Pim/VlanTen.h"
#include "Rix/NullArgumentError.h"

namespace Irb::Multicast::Ingress {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

class GroupMembership : public VlanTen {
  protected:
    static Lumo::Ptr<Gmp::SourceMembershipJoin> sourceRecord(const char* sourceAddr) {
        const auto record = Lumo::make<Gmp::SourceMembershipJoin>(address(sourceAddr));
        record->includeIntfIs(IntfId("swp1"));
        return record;
    }
    /// A record of the group with a local include join of each source.
    static Lumo::Ptr<Gmp::GroupMembershipJoin> groupRecord(
        const std::vector<const char*>& sourceAddrs) {
        const auto record = Lumo::make<Gmp::GroupMembershipJoin>(address(G));
        for (const char* sourceAddr : sourceAddrs)
            record->sourceIs(sourceRecord(sourceAddr));
        return record;
    }
    bool requiresStarG(const IpGenAddr& skipSource) { return group()->requireStarG(skipSource); }
};

TEST_F(GroupMembership, ALocalJoinOfAnySourceRequiresStarG) {
    start();
    include(any);
    EXPECT_TRUE(requiresStarG(IpGenAddr()));
    EXPECT_TRUE(requiresStarG(address(S1)));
    EXPECT_TRUE(requiresStarG(address("::")));
    EXPECT_THAT(memberships(), ElementsAre("(0.0.0.0, 239.1.1.1) include"));
}

TEST_F(GroupMembership, TheJoinOfAnySourceDoesNotCountWhereItIsTheOneThatGoes) {
    start();
    include(any);
    EXPECT_FALSE(requiresStarG(address(any)));
    forget();
    delSource(10, G, any);
    EXPECT_THAT(writes(), ElementsAre(del(any)));
    EXPECT_THAT(statuses(), IsEmpty());
}

TEST_F(GroupMembership, AJoinOfAnySourceFromTunnelsAloneRequiresNoStarG) {
    start();
    include(any, "mtunnel1");
    EXPECT_FALSE(requiresStarG(IpGenAddr()));
    EXPECT_THAT(table(), IsEmpty());
}

TEST_F(GroupMembership, AnyIpv6SourceIsAnySourceAsInIpv4) {
    start();
    join(10, "ff3e::1", "::", "swp1");
    EXPECT_TRUE(group("ff3e::1")->requireStarG(IpGenAddr()));
    EXPECT_FALSE(group("ff3e::1")->requireStarG(address("::")));
    EXPECT_THAT(memberships(), ElementsAre("(::, ff3e::1) include"));
}

TEST_F(GroupMembership, ASourceOfNeitherFamilyCountsAsAnySource) {
    start();
    include(S1);
    const IpGenAddr odd(IpGenAddr::Family{9}, {1});
    const auto record = Lumo::make<Gmp::SourceMembershipJoin>(odd);
    record->includeIntfIs(IntfId("swp1"));
    groupJoin(10, G)->sourceIs(record);
    EXPECT_TRUE(requiresStarG(IpGenAddr()));
    EXPECT_FALSE(requiresStarG(odd));
    EXPECT_THAT(memberships(), Contains("(0.0.0.0, 239.1.1.1) include"));
}

TEST_F(GroupMembership, AHostThatExcludesASourceRequiresStarG) {
    start();
    exclude(S1);
    EXPECT_TRUE(requiresStarG(IpGenAddr()));
    EXPECT_FALSE(requiresStarG(address(S1)));
    EXPECT_THAT(memberships(), Contains("(0.0.0.0, 239.1.1.1) include"));
}

TEST_F(GroupMembership, AHostThatIncludesASourceRequiresNoStarG) {
    start();
    include(S1);
    EXPECT_FALSE(requiresStarG(IpGenAddr()));
    exclude(S1, "swp2");
    EXPECT_FALSE(requiresStarG(IpGenAddr()));
}

TEST_F(GroupMembership, AnExcludeJoinOfAnySourceRequiresNoStarG) {
    start();
    exclude(any);
    EXPECT_FALSE(requiresStarG(IpGenAddr()));
}

TEST_F(GroupMembership, OneSourceThatRequiresStarGIsEnough) {
    start();
    include(S1);
    exclude(S2, "mtunnel1");
    EXPECT_FALSE(requiresStarG(IpGenAddr()));
    exclude(S3, "swp1");
    EXPECT_TRUE(requiresStarG(IpGenAddr()));
    EXPECT_FALSE(requiresStarG(address(S3)));
}

TEST_F(GroupMembership, StarGIsDecidedByTheJoinsNotByTheTrackers) {
    start();
    exclude(S1);
    group()->sourceMembershipDel(address(S1));
    EXPECT_TRUE(requiresStarG(IpGenAddr()));
    group()->notifierIs(nullptr);
    EXPECT_FALSE(requiresStarG(IpGenAddr()));
}

TEST_F(GroupMembership, TheDecisionOnStarGEndsAtTheFirstSourceThatRequiresIt) {
    start();
    exclude(S1);
    exclude(S2);
    sourceJoin(10, G, S2)->excludeIntfsCorruptionIs("exclude set of 10.0.0.2");
    EXPECT_TRUE(requiresStarG(IpGenAddr()));
    EXPECT_THAT(corruptions(), IsEmpty());
    EXPECT_FALSE(requiresStarG(address(S1)));
    EXPECT_THAT(corruptions(), ElementsAre("exclude set of 10.0.0.2"));
}

TEST_F(GroupMembership, UpdatingStarGIsTracedAndWritesWhatIsRequired) {
    start();
    include(any);
    gmpStatusLocalColl->gmpStatusDel({vrf("red"), app});
    forget();
    group()->updateStarG(IpGenAddr());
    EXPECT_THAT(trace(),
                ElementsAre("8 updateStarG | updateStarG: Update gmpStatus (red) for Smet ( Vlan "
                            "10, 0.0.0.0, 239.1.1.1 )",
                            "7 addMembership | " + add(any)));
    EXPECT_THAT(memberships(), ElementsAre("(0.0.0.0, 239.1.1.1) include"));
}

TEST_F(GroupMembership, UpdatingStarGDeletesWhatIsNotRequiredAndNothingElse) {
    start();
    include(any);
    include(S1);
    forget();
    group()->updateStarG(address(any));
    EXPECT_THAT(writes(), ElementsAre(del(any)));
    EXPECT_THAT(memberships(), ElementsAre("(10.0.0.1, 239.1.1.1) include"));
}

TEST_F(GroupMembership, StarGOfAnIpv6GroupHasTheIpv6ZeroSource) {
    start();
    join(10, "ff3e::1", "2001:db8::1", "swp1", Mode::exclude);
    EXPECT_TRUE(
        traced("8 updateStarG | updateStarG: Update gmpStatus (red) for Smet ( Vlan 10, "
               "::, ff3e::1 )"));
    EXPECT_THAT(memberships(), Contains("(::, ff3e::1) include"));
}

TEST_F(GroupMembership, FollowsTheSourcesThatComeAndGo) {
    start();
    include(S1);
    include(S2);
    EXPECT_THAT(sources(), ElementsAre(S1, S2));
    delSource(10, G, S1);
    EXPECT_THAT(sources(), ElementsAre(S2));
    EXPECT_THAT(memberships(), ElementsAre("(10.0.0.2, 239.1.1.1) include"));
}

TEST_F(GroupMembership, TheSourcesThatThereAreArePublishedInTheirOrder) {
    start();
    membershipJoinStatus->vlanIs(Lumo::make<Gmp::VlanMembershipJoin>(VlanId(10)));
    forget();
    vlanJoin(10)->groupIs(groupRecord({S2, S1}));
    EXPECT_THAT(sources(), ElementsAre(S2, S1));
    const Texts written = writes();
    EXPECT_LT(std::find(written.begin(), written.end(), add(S2)),
              std::find(written.begin(), written.end(), add(S1)));
}

TEST_F(GroupMembership, ChangesOfOtherAttributesAreIgnored) {
    start();
    include(S1);
    const IpGenAddr gone = address(S1);
    group()->hasNotificationActiveIs(false);
    delSource(10, G, S1);
    group()->onAttribute(Lumo::FieldId{0}, &gone);
    EXPECT_THAT(sources(), ElementsAre(S1));
    group()->onAttribute(Gmp::GroupMembershipJoin::sourceField, &gone);
    EXPECT_THAT(sources(), IsEmpty());
}

TEST_F(GroupMembership, WithoutARecordAChangeOfItsSourcesIsIgnored) {
    start();
    include(S1);
    group()->notifierIs(nullptr);
    const IpGenAddr key = address(S1);
    group()->onAttribute(Gmp::GroupMembershipJoin::sourceField, &key);
    EXPECT_THAT(sources(), ElementsAre(S1));
}

TEST_F(GroupMembership, AZombieStillReactsToItsSourcesAndReapsThem) {
    start();
    include(S1);
    group()->rixDoZombieReactors(true);
    group()->hasNotificationActiveIs(true);
    forget();
    include(S2);
    ASSERT_THAT(sources(), ElementsAre(S1, S2));
    EXPECT_TRUE(source(S2)->isZombie());
    delSource(10, G, S1);
    EXPECT_THAT(sources(), ElementsAre(S2));
}

TEST_F(GroupMembership, ANewRecordsSourcesArePublishedBeforeThoseItLacksGo) {
    start();
    include(S1);
    include(S2);
    forget();
    vlanJoin(10)->groupIs(groupRecord({S2, S3}));
    EXPECT_THAT(sources(), ElementsAre(S2, S3));
    EXPECT_THAT(writes(), ElementsAre(add(S3), del(S1)));
    EXPECT_THAT(memberships(),
                ElementsAre("(10.0.0.2, 239.1.1.1) include", "(10.0.0.3, 239.1.1.1) include"));
}

TEST_F(GroupMembership, WithoutARecordItKeepsItsSources) {
    start();
    include(S1);
    forget();
    group()->notifierIs(nullptr);
    EXPECT_THAT(sources(), ElementsAre(S1));
    EXPECT_THAT(trace(), IsEmpty());
}

TEST_F(GroupMembership, ARecordOfAnotherTypeCountsAsNone) {
    start();
    include(S1);
    group()->notifierIs(vlanJoin(10));
    EXPECT_FALSE(group()->notifier());
    EXPECT_THAT(sources(), ElementsAre(S1));
}

TEST_F(GroupMembership, PointedAtItsOwnRecordItDoesNotLookAtItsSourcesAgain) {
    start();
    include(S1);
    group()->hasNotificationActiveIs(false);
    delSource(10, G, S1);
    forget();
    group()->notifierIs(groupJoin(10, G));
    EXPECT_THAT(sources(), ElementsAre(S1));
    EXPECT_THAT(trace(), IsEmpty());
}

TEST_F(GroupMembership, NoSourceIsRefusedByName) {
    start();
    include(S1);
    EXPECT_THROW(group()->sourceMembershipIs(nullptr), Rix::NullArgumentError);
    EXPECT_EQ(errorOf([this] { group()->sourceMembershipIs(nullptr); }),
              "null argument for 'sourceMembership' of "
              "'MembershipJoinStatusSm::RixVlanMembership::NestedSm_GroupMembership'");
}

TEST_F(GroupMembership, TheSourceThatItsTrackerFollowsAgainDoesNothing) {
    start();
    include(S1);
    source(S1)->rixDoZombieReactors(true);
    forget();
    group()->sourceMembershipIs(sourceJoin(10, G, S1));
    EXPECT_TRUE(source(S1)->isZombie());
    EXPECT_THAT(trace(), IsEmpty());
}

TEST_F(GroupMembership, ARepointedSourceIsBroughtToTheGroupsState) {
    start();
    include(S1);
    source(S1)->rixDoZombieReactors(true);
    const auto tracker = source(S1);
    groupJoin(10, G)->sourceIs(sourceRecord(S1));
    EXPECT_EQ(source(S1), tracker);
    EXPECT_FALSE(tracker->isZombie());
}

TEST_F(GroupMembership, ASourceThatComesToAZombieIsPublishedAndReaped) {
    start();
    include(S1);
    group()->rixDoZombieReactors(true);
    forget();
    const auto tracker = group()->sourceMembershipIs(sourceRecord(S2));
    EXPECT_THAT(writes(), ElementsAre(add(S2), del(S2)));
    EXPECT_TRUE(tracker->isZombie());
    EXPECT_FALSE(tracker->hasNotificationActive());
}

TEST_F(GroupMembership, RemovingASourceGivesItsRecordAndDetachesItsTracker) {
    start();
    include(S1);
    const auto tracker = source(S1);
    EXPECT_EQ(group()->sourceMembershipDel(address(S1)), sourceJoin(10, G, S1));
    EXPECT_TRUE(tracker->isZombie());
    EXPECT_FALSE(tracker->hasNotificationActive());
    EXPECT_THAT(table(), IsEmpty());
    EXPECT_FALSE(group()->sourceMembershipDel(address(S1)));
}

TEST_F(GroupMembership, RemovingAllSourcesLeavesThoseWithoutARecord) {
    start();
    include(S1);
    include(S2);
    source(S2)->notifierIs(nullptr);
    group()->sourceMembershipDelAll();
    EXPECT_THAT(sources(), ElementsAre(S2));
    source(S2)->notifierIs(sourceJoin(10, G, S2));
}

TEST_F(GroupMembership, DeletingAGroupOfTwoSourcesDeletesFiveEntriesInOrder) {
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

TEST_F(GroupMembership, TheDeletionOfAGroupIsTraced) {
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

TEST_F(GroupMembership, DeletingAGroupDeletesTheAnySourceEntryInBothModes) {
    start();
    include(any);
    include(S1);
    forget();
    group()->handleGroupDel();
    EXPECT_THAT(writes(), ElementsAre(del(any), del(any, Mode::exclude), del(S1)));
    EXPECT_THAT(statuses(), IsEmpty());
}

TEST_F(GroupMembership, DeletingAGroupAsksNeitherForSbdNorForDrNorForPim) {
    sbdVlanTen();
    start();
    include(S1);
    stale("red", "vlan10", S1, G);
    EXPECT_FALSE(vlan(10)->isDrForSbdVlan());
    group()->handleGroupDel();
    EXPECT_THAT(table(), IsEmpty());
}

TEST_F(GroupMembership, OnAVlanWithoutAVrfDeletingAGroupWritesNothing) {
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

TEST_F(GroupMembership, ASourceWithoutARecordIsDeletedAsTheDefaultAddress) {
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

TEST_F(GroupMembership, ADamagedSetCountsAsNoneAndIsReported) {
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

TEST_F(GroupMembership, OnlyTheDamagedSetCountsAsNone) {
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

TEST_F(GroupMembership, ReapingDeletesTheGroupFirstThenEachSource) {
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

TEST_F(GroupMembership, RevivalDeletesTheGroupOnceMore) {
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

TEST_F(GroupMembership, TheStateThatItIsInAgainDoesNothing) {
    start();
    include(S1);
    forget();
    group()->rixDoZombieReactors(false);
    EXPECT_THAT(trace(), IsEmpty());
}

TEST_F(GroupMembership, ReapingLeavesTheNotificationsOfATrackerWithoutARecordAlone) {
    start();
    include(S1);
    group()->notifierIs(nullptr);
    group()->rixDoZombieReactors(true);
    EXPECT_TRUE(group()->hasNotificationActive());
}

TEST_F(GroupMembership, NotificationsAreSwitchedForEverySourceAndLeaveItsStateAlone) {
    start();
    include(S1);
    group()->hasNotificationActiveIs(false);
    EXPECT_FALSE(source(S1)->hasNotificationActive());
    EXPECT_FALSE(group()->isZombie());
    source(S1)->hasNotificationActiveIs(true);
    group()->hasNotificationActiveIs(false);
    EXPECT_TRUE(source(S1)->hasNotificationActive());
}

TEST_F(GroupMembership, ReapedSourcesThatExcludeWriteStarGBackAndItGoesLastOfAll) {
    start();
    exclude(S1);
    exclude(S2);
    forget();
    group()->rixDoZombieReactors(true);
    EXPECT_THAT(writes(), ElementsAre(del(S1, Mode::exclude), del(S2, Mode::exclude), del(any),
                                      add(any), del(S2, Mode::exclude), add(any), del(any)));
    EXPECT_THAT(statuses(), IsEmpty());
}

TEST_F(GroupMembership, NothingIsLeftBehindByAGroupWithAnySourceInBothModes) {
    start();
    exclude(any);
    include(any, "swp2");
    exclude(S1);
    delGroup(10, G);
    EXPECT_THAT(statuses(), IsEmpty());
}

TEST_F(GroupMembership, AStarGThatTheTableHoldsInExcludeModeGoesWithTheGroup) {
    start();
    exclude(S1);
    include(S2);
    exclude(any);
    ASSERT_THAT(memberships(), Contains("(0.0.0.0, 239.1.1.1) exclude"));
    delGroup(10, G);
    EXPECT_THAT(statuses(), IsEmpty());
}

TEST_F(GroupMembership, AStarGThatIsGoneAlreadyIsNotDeletedAgain) {
    bind("vlan20", "red");
    start();
    join(20, G, S1, "swp1");
    include(S1);
    forget();
    delGroup(10, G);
    EXPECT_THAT(writes(), Not(Contains(del(any))));
    EXPECT_THAT(writes(), Not(Contains(del(any, Mode::exclude))));
}

TEST_F(GroupMembership, RevivalLeavesAStarGThatItsSourcesWriteBack) {
    start();
    exclude(S1);
    exclude(S2);
    group()->rixDoZombieReactors(true);
    group()->rixDoZombieReactors(false);
    EXPECT_THAT(memberships(), ElementsAre("(0.0.0.0, 239.1.1.1) include"));
}

TEST_F(GroupMembership, ATrackerThatOutlivesItsRemovalWritesNothingWhenItIsDestroyed) {
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

TEST_F(GroupMembership, AGroupThatIsGoneBeforeTheMachineHearsOfItLeavesNothing) {
    const auto join = Lumo::make<Gmp::VlanMembershipJoin>(VlanId(10));
    membershipJoinStatus->vlanIs(join);
    const Spoiler spoiler(join);
    start();
    join->groupIs(groupRecord({S1}));
    EXPECT_FALSE(group());
    EXPECT_THAT(table(), IsEmpty());
    EXPECT_THAT(trace(5), IsEmpty());
}

TEST_F(GroupMembership, AGroupThatGoesWhileTheMachineHearsOfItIsWithdrawn) {
    start();
    const auto join = Lumo::make<Gmp::VlanMembershipJoin>(VlanId(10));
    membershipJoinStatus->vlanIs(join);
    const Spoiler spoiler(join);
    join->groupIs(groupRecord({S1}));
    EXPECT_FALSE(group());
    EXPECT_THAT(writes(), ElementsAre(add(S1), del(S1)));
    EXPECT_THAT(table(), IsEmpty());
}

TEST_F(GroupMembership, AnErrorWhileOneSourceIsReapedReachesTheMakerAndTheOthersAreReaped) {
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

TEST_F(GroupMembership, TellsItsTypeAndAttributes) {
    start();
    include(S1);
    const auto& type = group()->typeData();
    EXPECT_EQ(type.name(), "MembershipJoinStatusSm::RixVlanMembership::NestedSm_GroupMembership");
    EXPECT_EQ(type.attributeText(*group(), "groupAddr"), G);
}

TEST_F(GroupMembership, IsTimedUnderItsFullSignature) {
    const std::string name =
        "void Irb::Multicast::Ingress::MembershipJoinStatusSm::RixVlanMembership::"
        "NestedSm_GroupMembership::";
    start();
    include(any);
    forget();
    group()->updateStarG(IpGenAddr());
    EXPECT_EQ(blocks().front(), "BEGIN " + name + "updateStarG(const Ondel::IpGenAddr&)");
    EXPECT_EQ(blocks().back(), "END " + name + "updateStarG(const Ondel::IpGenAddr&)");
    forget();
    group()->handleGroupDel();
    EXPECT_EQ(blocks().front(), "BEGIN " + name + "handleGroupDel()");
    EXPECT_EQ(blocks().back(), "END " + name + "handleGroupDel()");
}

}  // namespace
}  // namespace Irb::Multicast::Ingress
