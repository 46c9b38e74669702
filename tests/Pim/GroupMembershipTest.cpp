// The tracker of a group: its (*,G) membership, its sources, and what goes with it.
#include "MembershipJoinStatusSm/GroupMembership.h"
#include "Pim/VlanTen.h"
#include "Rix/NullArgumentError.h"

namespace Irb::Multicast::Ingress::Detail {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

class GroupMembership : public VlanTen {
  protected:
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

TEST_F(GroupMembership, MadeWithoutARecordItIsNoGroupAndHasNoSources) {
    start();
    include(S1);
    forget();
    {
        const auto tracker = Lumo::make<GroupTracker>(nullptr, vlan(10).get());
        EXPECT_EQ(tracker->groupAddr(), IpGenAddr());
        EXPECT_TRUE(tracker->sourceMembership().empty());
        EXPECT_THAT(trace(), IsEmpty());
    }
    EXPECT_THAT(memberships(), ElementsAre("(10.0.0.1, 239.1.1.1) include"));
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
}  // namespace Irb::Multicast::Ingress::Detail
