// The refresh of a VLAN as a whole, and the rules by which a source is published.
#include "MembershipJoinStatusSm/RixVlanMembership.h"
#include "Pim/VlanTen.h"

namespace Irb::Multicast::Ingress::Detail {
namespace {

using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

class VlanRefresh : public VlanTen {
  protected:
    using Update = RixVlanMembership::Update;

    bool wantsInclude(const char* sourceAddr) {
        return vlan(10)->updateVlanInclude(sourceJoin(10, G, sourceAddr));
    }
    bool wantsExclude(const char* sourceAddr) {
        return vlan(10)->updateVlanExclude(sourceJoin(10, G, sourceAddr));
    }
    /// The writes of one refresh.
    Texts refresh(Update update = Update::asWanted) {
        forget();
        vlan(10)->updateGmpStatus(update);
        return writes();
    }
};

TEST_F(VlanRefresh, AVlanWithoutGroupsIsTracedAndWritesNothing) {
    start();
    membershipJoinStatus->vlanIs(Lumo::make<Gmp::VlanMembershipJoin>(VlanId(10)));
    EXPECT_THAT(refresh(), IsEmpty());
    EXPECT_THAT(trace(), ElementsAre("3 updateGmpStatus | Update VLAN: 10, isSbdVlan: false, "
                                     "isDrForSbdVlan: false, deleteVlan: false, isPimEnabled: "
                                     "false"));
}

TEST_F(VlanRefresh, TellsTheVlansStateInItsTrace) {
    sbdVlanTen();
    pegDr(10, 1);
    pim("red", {"vlan10"});
    start();
    include(S1);
    refresh(Update::deleteVlan);
    EXPECT_THAT(trace(3), ElementsAre("Update VLAN: 10, isSbdVlan: true, isDrForSbdVlan: true, "
                                      "deleteVlan: true, isPimEnabled: true"));
}

TEST_F(VlanRefresh, AVlanWithoutAVrfIsTracedAndNeitherWritesNorDeletes) {
    unbind("vlan10");
    stale("red", "vlan10", S2, G);
    start();
    include(S1);
    stale("red", "vlan10", S2, G);
    EXPECT_THAT(refresh(), IsEmpty());
    EXPECT_THAT(trace(), ElementsAre("9 updateGmpStatus | updateGmpStatus, VLAN: 10 no VRF "
                                     "association"));
    EXPECT_THAT(refresh(Update::deleteVlan), IsEmpty());
    EXPECT_THAT(memberships(), ElementsAre("(10.0.0.2, 239.1.1.1) include"));
}

TEST_F(VlanRefresh, AVlanWhoseInterfaceHasNoStatusKeepsTheVrfThatItHad) {
    unbind("vlan10");
    start();
    include(S1);
    vlan(10)->updateVrfName(vrf("red"));
    forget();
    vlan(10)->handleVlanMembership();
    EXPECT_EQ(vlan(10)->vrfName(), vrf("red"));
    EXPECT_THAT(trace(), ElementsAre("3 handleVlanMembership | Added VLAN :10",
                                     "9 handleVlanMembership | handleVlanMembership, No "
                                     "IntfStatus for vlan10"));
}

TEST_F(VlanRefresh, ResolvingTheVrfRepublishesNothing) {
    start();
    include(S1);
    gmpStatusLocalColl->gmpStatusDel({vrf("red"), app});
    vlan(10)->handleVlanMembership();
    EXPECT_THAT(table(), IsEmpty());
}

TEST_F(VlanRefresh, OfASourceInBothModesOnlyTheIncludeEntryIsPublished) {
    start();
    exclude(S1, "swp2");
    EXPECT_THAT(memberships(),
                ElementsAre("(0.0.0.0, 239.1.1.1) include", "(10.0.0.1, 239.1.1.1) exclude"));
    include(S1);
    refresh();
    EXPECT_THAT(memberships(), ElementsAre("(10.0.0.1, 239.1.1.1) include"));
}

TEST_F(VlanRefresh, WritesWhatLacksAndDeletesWhatIsTooMuch) {
    start();
    include(S1);
    exclude(S2);
    stale("red", "vlan10", S1, G, Mode::exclude);
    stale("red", "vlan10", S2, G, Mode::include);
    EXPECT_THAT(refresh(), ElementsAre(add(S1), del(S2), add(S2, Mode::exclude), add(any)));
    EXPECT_THAT(memberships(),
                ElementsAre("(0.0.0.0, 239.1.1.1) include", "(10.0.0.1, 239.1.1.1) include",
                            "(10.0.0.2, 239.1.1.1) exclude"));
}

TEST_F(VlanRefresh, WithdrawsAStarGThatNothingRequiresAnyMore) {
    start();
    include(S1);
    stale("red", "vlan10", any, G);
    EXPECT_THAT(refresh(), ElementsAre(add(S1), del(any)));
    EXPECT_THAT(memberships(), ElementsAre("(10.0.0.1, 239.1.1.1) include"));
}

TEST_F(VlanRefresh, ALeavingVlanLosesBothEntriesOfEachSourceThenStarG) {
    start();
    include(S1);
    exclude(S2);
    EXPECT_THAT(refresh(Update::deleteVlan),
                ElementsAre(del(S1), del(S1, Mode::exclude), del(S2, Mode::exclude), del(any)));
    EXPECT_THAT(statuses(), IsEmpty());
}

TEST_F(VlanRefresh, ALeavingVlanAddsNothingEvenWhereEverythingIsWanted) {
    sbdVlanTen();
    pegDr(10, 1);
    start();
    include(S1);
    exclude(S2);
    include(any);
    EXPECT_THAT(refresh(Update::deleteVlan), Each(HasSubstr("Del gmpStatus")));
    EXPECT_THAT(table(), IsEmpty());
}

TEST_F(VlanRefresh, GroupsAndSourcesAreRefreshedInTheOrderInWhichTheyCame) {
    start();
    join(10, "239.1.1.9", S2, "swp1");
    join(10, "239.1.1.9", S1, "swp1");
    join(10, G, S1, "swp1");
    const char* const first = "239.1.1.9";
    const auto written = refresh();
    EXPECT_LT(std::find(written.begin(), written.end(), add(S2, Mode::include, first)),
              std::find(written.begin(), written.end(), add(S1, Mode::include, first)));
    EXPECT_LT(std::find(written.begin(), written.end(), add(S1, Mode::include, first)),
              std::find(written.begin(), written.end(), add(S1)));
}

TEST_F(VlanRefresh, AnySourceHasNoEntryOfItsOwnButStarGOfTheGroupsFamily) {
    start();
    join(10, G, any, "swp1");
    join(10, "ff3e::1", "::", "swp1");
    gmpStatusLocalColl->gmpStatusDel({vrf("red"), app});
    EXPECT_THAT(refresh(), ElementsAre(add(any), add("::", Mode::include, "ff3e::1")));
    EXPECT_THAT(memberships(),
                ElementsAre("(0.0.0.0, 239.1.1.1) include", "(::, ff3e::1) include"));
}

TEST_F(VlanRefresh, ASourceOfNeitherFamilyIsSkipped) {
    start();
    include(S1);
    for (const IpGenAddr& odd : {IpGenAddr(), IpGenAddr(IpGenAddr::Family{9}, {1, 2})}) {
        const auto record = Lumo::make<Gmp::SourceMembershipJoin>(odd);
        record->excludeIntfIs(IntfId("swp1"));
        groupJoin(10, G)->sourceIs(record);
    }
    gmpStatusLocalColl->gmpStatusDel({vrf("red"), app});
    refresh();
    EXPECT_THAT(memberships(), ElementsAre("(10.0.0.1, 239.1.1.1) include"));
}

TEST_F(VlanRefresh, AGroupWithoutARecordCountsAsTheAddressOfNoFamily) {
    start();
    include(S1);
    group()->notifierIs(nullptr);
    EXPECT_THAT(refresh(Update::deleteVlan), ElementsAre(del(S1, Mode::exclude, "none")));
    EXPECT_THAT(memberships(), ElementsAre("(10.0.0.1, 239.1.1.1) include"));
}

TEST_F(VlanRefresh, ASourceWithoutARecordIsSkipped) {
    start();
    include(S1);
    source(S1)->notifierIs(nullptr);
    EXPECT_THAT(refresh(Update::deleteVlan), IsEmpty());
    EXPECT_THAT(memberships(), ElementsAre("(10.0.0.1, 239.1.1.1) include"));
    source(S1)->notifierIs(sourceJoin(10, G, S1));
}

TEST_F(VlanRefresh, AVlanWithoutARecordIsRefreshedAsVlan1) {
    start();
    include(S1);
    vlan(10)->notifierIs(nullptr);
    refresh();
    EXPECT_THAT(trace(3), ElementsAre(HasSubstr("Update VLAN: 1, isSbdVlan: true")));
    EXPECT_THAT(table(), Contains("red.irb vlan1 (10.0.0.1, 239.1.1.1) include"));
}

TEST_F(VlanRefresh, OnAnOrdinaryVlanOnlyALocalReceiverPublishesASource) {
    start();
    include(S1, "swp1");
    include(S2, "mtunnel1");
    exclude(S3, "mtunnel1");
    exclude("10.0.0.4", "swp1");
    EXPECT_TRUE(wantsInclude(S1));
    EXPECT_FALSE(wantsInclude(S2));
    EXPECT_FALSE(wantsExclude(S3));
    EXPECT_TRUE(wantsExclude("10.0.0.4"));
}

TEST_F(VlanRefresh, OnTheSbdVlanTheDrPublishesASourceWithoutALocalReceiver) {
    sbdVlanTen();
    pegDr(10, 1);
    start();
    include(S1, "mtunnel1");
    exclude(S2, "mtunnel1");
    EXPECT_TRUE(wantsInclude(S1));
    EXPECT_TRUE(wantsExclude(S2));
    refresh();
    EXPECT_THAT(memberships(),
                ElementsAre("(0.0.0.0, 239.1.1.1) include", "(10.0.0.1, 239.1.1.1) include",
                            "(10.0.0.2, 239.1.1.1) exclude"));
}

TEST_F(VlanRefresh, OnTheSbdVlanPimPublishesASourceWithoutALocalReceiver) {
    sbdVlanTen();
    pim("red", {"vlan10"});
    start();
    include(S1, "mtunnel1");
    exclude(S2, "mtunnel1");
    EXPECT_TRUE(wantsInclude(S1));
    EXPECT_TRUE(wantsExclude(S2));
}

TEST_F(VlanRefresh, OnTheSbdVlanWithoutDrAndPimALocalReceiverStillCounts) {
    sbdVlanTen();
    start();
    include(S1, "swp1");
    include(S2, "mtunnel1");
    exclude(S3, "swp1");
    exclude("10.0.0.4", "mtunnel1");
    EXPECT_TRUE(wantsInclude(S1));
    EXPECT_FALSE(wantsInclude(S2));
    EXPECT_TRUE(wantsExclude(S3));
    EXPECT_FALSE(wantsExclude("10.0.0.4"));
}

TEST_F(VlanRefresh, PimOnAnOrdinaryVlanDoesNotReplaceALocalReceiver) {
    pim("red", {"vlan10"});
    start();
    include(S1, "mtunnel1");
    exclude(S2, "mtunnel1");
    EXPECT_FALSE(wantsInclude(S1));
    EXPECT_FALSE(wantsExclude(S2));
}

TEST_F(VlanRefresh, ASourceThatNobodyJoinedIsPublishedNowhere) {
    sbdVlanTen();
    pegDr(10, 1);
    start();
    include(S1);
    leave(10, G, S1, "swp1");
    EXPECT_FALSE(wantsInclude(S1));
    EXPECT_FALSE(wantsExclude(S1));
}

TEST_F(VlanRefresh, IncludeWinsOverExclude) {
    sbdVlanTen();
    pegDr(10, 1);
    start();
    exclude(S1, "swp1");
    include(S1, "mtunnel1");
    EXPECT_TRUE(wantsInclude(S1));
    EXPECT_FALSE(wantsExclude(S1));
}

TEST_F(VlanRefresh, AnAbsentSourceIsPublishedNowhere) {
    sbdVlanTen();
    pegDr(10, 1);
    start();
    include(S1);
    EXPECT_FALSE(vlan(10)->updateVlanInclude(nullptr));
    EXPECT_FALSE(vlan(10)->updateVlanExclude(nullptr));
}

TEST_F(VlanRefresh, ADamagedIncludeSetIsReportedAndTheSourceNotIncluded) {
    start();
    include(S1);
    sourceJoin(10, G, S1)->includeIntfsCorruptionIs("include set of 10.0.0.1");
    EXPECT_FALSE(wantsInclude(S1));
    EXPECT_THAT(corruptions(), ElementsAre("include set of 10.0.0.1"));
    EXPECT_TRUE(wantsInclude(S1));
}

TEST_F(VlanRefresh, ADamagedSetIsReportedAndTheSourceNotExcluded) {
    start();
    exclude(S1);
    sourceJoin(10, G, S1)->includeIntfsCorruptionIs("include set of 10.0.0.1");
    EXPECT_FALSE(wantsExclude(S1));
    EXPECT_TRUE(wantsExclude(S1));
    sourceJoin(10, G, S1)->excludeIntfsCorruptionIs("exclude set of 10.0.0.1");
    EXPECT_FALSE(wantsExclude(S1));
    EXPECT_TRUE(wantsExclude(S1));
    EXPECT_THAT(corruptions(), ElementsAre("include set of 10.0.0.1", "exclude set of 10.0.0.1"));
}

TEST_F(VlanRefresh, ADamagedSetWithdrawsItsEntryUntilTheNextRefresh) {
    start();
    include(S1);
    sourceJoin(10, G, S1)->includeIntfsCorruptionIs("include set of 10.0.0.1");
    refresh();
    EXPECT_THAT(table(), IsEmpty());
    refresh();
    EXPECT_THAT(memberships(), ElementsAre("(10.0.0.1, 239.1.1.1) include"));
}

TEST_F(VlanRefresh, TheSourcesOfAnIpv6GroupArePublishedLikeThoseOfAnIpv4Group) {
    start();
    join(10, "ff3e::1", "2001:db8::1", "swp1");
    join(10, "ff3e::1", "2001:db8::2", "swp1", Mode::exclude);
    gmpStatusLocalColl->gmpStatusDel({vrf("red"), app});
    refresh();
    EXPECT_THAT(memberships(),
                ElementsAre("(2001:db8::1, ff3e::1) include", "(2001:db8::2, ff3e::1) exclude",
                            "(::, ff3e::1) include"));
    refresh(Update::deleteVlan);
    EXPECT_THAT(table(), IsEmpty());
}

TEST_F(VlanRefresh, AStarGThatTheTableHoldsInExcludeModeGoesWithTheVlan) {
    start();
    include(S1);
    stale("red", "vlan10", any, G, Mode::exclude);
    EXPECT_THAT(refresh(Update::deleteVlan),
                ElementsAre(del(S1), del(S1, Mode::exclude), del(any, Mode::exclude)));
    EXPECT_THAT(statuses(), IsEmpty());
}

TEST_F(VlanRefresh, ARefreshThatDeletesNothingLeavesAStarGInExcludeModeAlone) {
    start();
    include(S1);
    stale("red", "vlan10", any, G, Mode::exclude);
    EXPECT_THAT(refresh(), Not(Contains(del(any, Mode::exclude))));
    EXPECT_THAT(memberships(), Contains("(0.0.0.0, 239.1.1.1) exclude"));
}

TEST_F(VlanRefresh, WhereTheTableHoldsNoStarGNoDeletionOfItIsTraced) {
    bind("vlan20", "red");
    start();
    join(20, G, S1, "swp1");
    include(S1);
    EXPECT_THAT(refresh(Update::deleteVlan), ElementsAre(del(S1), del(S1, Mode::exclude)));
}

TEST_F(VlanRefresh, OfTwoVlansOnlyTheOneRefreshedChanges) {
    bind("vlan20", "red");
    start();
    join(20, G, S1, "swp1");
    include(S1);
    refresh(Update::deleteVlan);
    EXPECT_THAT(table(), ElementsAre("red.irb vlan20 (10.0.0.1, 239.1.1.1) include"));
}

TEST_F(VlanRefresh, IsTimedUnderItsFullSignature) {
    const std::string name = "Irb::Multicast::Ingress::MembershipJoinStatusSm::RixVlanMembership::";
    start();
    forget();
    membershipJoinStatus->vlanIs(Lumo::make<Gmp::VlanMembershipJoin>(VlanId(10)));
    vlan(10)->updateGmpStatus(Update::deleteVlan);
    EXPECT_THAT(blocks(),
                testing::IsSupersetOf({"BEGIN void " + name + "handleVlanMembership()",
                                       "END void " + name + "handleVlanMembership()",
                                       "BEGIN void " + name + "updateVrfName(const L3::VrfName&)",
                                       "END void " + name + "updateVrfName(const L3::VrfName&)",
                                       "BEGIN void " + name + "updateGmpStatus(bool)",
                                       "END void " + name + "updateGmpStatus(bool)"}));
}

}  // namespace
}  // namespace Irb::Multicast::Ingress::Detail
