// The tracker of a source: what its include and exclude joins write.
#include "MembershipJoinStatusSm/SourceMembership.h"
#include "Pim/VlanTen.h"

namespace Irb::Multicast::Ingress::Detail {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class SourceMembership : public VlanTen {
  protected:
    /// Everything but timing that a step traces.
    template <class Step>
    Texts traceOf(const Step& step) {
        forget();
        step();
        return trace();
    }
    static std::string included(const char* sourceAddr) {
        return decided("Include", sourceAddr, "true");
    }
    static std::string notIncluded(const char* sourceAddr) {
        return decided("Include", sourceAddr, "false");
    }
    static std::string excluded(const char* sourceAddr) {
        return decided("Exclude", sourceAddr, "true");
    }
    static std::string notExcluded(const char* sourceAddr) {
        return decided("Exclude", sourceAddr, "false");
    }
    /// What a handler traces of the membership of a mode that it writes ("true") or deletes.
    static std::string decided(const std::string& mode, const char* sourceAddr,
                               const char* isAdded) {
        const std::string lower = mode == "Include" ? "include" : "exclude";
        return "8 handle" + mode + " | handle" + mode +
               ": Update gmpStatus (red) for Smet ( Vlan 10, " + sourceAddr +
               ", 239.1.1.1 ), add " + lower + ": " + isAdded;
    }
    static std::string starG() {
        return "8 updateStarG | updateStarG: Update gmpStatus (red) for Smet ( Vlan 10, 0.0.0.0, "
               "239.1.1.1 )";
    }
    static std::string deleted(const char* sourceAddr, int include, int exclude) {
        return std::string("8 handleSourceDel | handleSourceDel( ") + sourceAddr +
               " ), includeIntfs: " + std::to_string(include) +
               ", excludeIntfs: " + std::to_string(exclude);
    }
    static std::string write(const std::string& text) {
        return "7 " + text.substr(0, text.find(':')) + " | " + text;
    }
};

TEST_F(SourceMembership, ALocalIncludeJoinIsPublishedAndTraced) {
    start();
    include(S1, "mtunnel1");
    EXPECT_THAT(traceOf([this] { include(S1); }), ElementsAre(included(S1), write(add(S1))));
    EXPECT_THAT(memberships(), ElementsAre("(10.0.0.1, 239.1.1.1) include"));
}

TEST_F(SourceMembership, AnIncludeJoinOfTunnelsAloneIsDeletedNotPublished) {
    start();
    include(S1);
    EXPECT_THAT(traceOf([this] {
                    include(S1, "mtunnel1");
                    leave(10, G, S1, "swp1");
                }),
                ElementsAre(included(S1), write(add(S1)), notIncluded(S1), write(del(S1))));
    EXPECT_THAT(table(), IsEmpty());
}

TEST_F(SourceMembership, OnTheSbdVlanOfTheDrAnIncludeJoinOfTunnelsIsPublished) {
    sbdVlanTen();
    pegDr(10, 1);
    start();
    include(S1, "mtunnel1");
    EXPECT_THAT(memberships(), ElementsAre("(10.0.0.1, 239.1.1.1) include"));
}

TEST_F(SourceMembership, OnTheSbdVlanWithPimAnIncludeJoinOfTunnelsIsPublished) {
    sbdVlanTen();
    pim("red", {"vlan10"});
    start();
    include(S1, "mtunnel1");
    EXPECT_THAT(memberships(), ElementsAre("(10.0.0.1, 239.1.1.1) include"));
}

TEST_F(SourceMembership, AnIncludeJoinLeavesStarGAlone) {
    start();
    include(S1);
    exclude(S2);
    leave(10, G, S1, "swp1");
    stale("red", "vlan10", any, G, Mode::exclude);
    EXPECT_THAT(traceOf([this] { include(S1, "swp2"); }),
                ElementsAre(included(S1), write(add(S1))));
}

TEST_F(SourceMembership, AnIncludeJoinOfAnySourceIsPublishedAsStarGAlone) {
    start();
    include(any, "mtunnel1");
    EXPECT_THAT(traceOf([this] { include(any); }), ElementsAre(starG(), write(add(any))));
    EXPECT_THAT(memberships(), ElementsAre("(0.0.0.0, 239.1.1.1) include"));
}

TEST_F(SourceMembership, AnIncludeJoinOfASourceOfNeitherFamilyIsPublishedAsStarGAlone) {
    start();
    include(S1);
    const auto record = Lumo::make<Gmp::SourceMembershipJoin>(IpGenAddr(IpGenAddr::Family{9}, {1}));
    groupJoin(10, G)->sourceIs(record);
    EXPECT_THAT(traceOf([&] { record->includeIntfIs(IntfId("swp1")); }),
                ElementsAre(starG(), write(add(any))));
}

TEST_F(SourceMembership, AnExcludeJoinUpdatesStarGBeforeItsOwnEntry) {
    start();
    include(S2);
    exclude(S1, "mtunnel1");
    EXPECT_THAT(traceOf([this] { exclude(S1); }),
                ElementsAre(excluded(S1), starG(), write(add(any)), write(add(S1, Mode::exclude))));
    EXPECT_THAT(
        traceOf([this] { leave(10, G, S1, "swp1", Mode::exclude); }),
        ElementsAre(notExcluded(S1), starG(), write(del(any)), write(del(S1, Mode::exclude))));
}

TEST_F(SourceMembership, AnExcludeJoinOfAnySourceIsHandledLikeThatOfAnyOther) {
    start();
    exclude(any, "mtunnel1");
    EXPECT_THAT(traceOf([this] { exclude(any); }),
                ElementsAre(excluded(any), starG(), write(add(any, Mode::exclude))));
    EXPECT_THAT(memberships(), ElementsAre("(0.0.0.0, 239.1.1.1) exclude"));
}

TEST_F(SourceMembership, ANewSourceIsHandledInIncludeModeThenInExcludeMode) {
    start();
    include(S2);
    const auto record = Lumo::make<Gmp::SourceMembershipJoin>(address(S1));
    record->includeIntfIs(IntfId("swp1"));
    record->excludeIntfIs(IntfId("swp2"));
    EXPECT_THAT(traceOf([&] { groupJoin(10, G)->sourceIs(record); }),
                ElementsAre(included(S1), write(add(S1)), notExcluded(S1), starG()));
}

TEST_F(SourceMembership, IncludeEmptiedBeforeExcludeIsFilledLeavesTheExcludeEntry) {
    start();
    include(S1);
    include(S2);
    EXPECT_THAT(traceOf([this] {
                    leave(10, G, S1, "swp1");
                    exclude(S1);
                }),
                ElementsAre(notIncluded(S1), write(del(S1)), excluded(S1), starG(), write(add(any)),
                            write(add(S1, Mode::exclude))));
    EXPECT_THAT(memberships(),
                ElementsAre("(0.0.0.0, 239.1.1.1) include", "(10.0.0.1, 239.1.1.1) exclude",
                            "(10.0.0.2, 239.1.1.1) include"));
}

TEST_F(SourceMembership, ExcludeFilledBeforeIncludeIsEmptiedLeavesNoEntryUntilTheNextExclude) {
    start();
    include(S1);
    include(S2);
    EXPECT_THAT(traceOf([this] {
                    exclude(S1);
                    leave(10, G, S1, "swp1");
                }),
                ElementsAre(notExcluded(S1), starG(), notIncluded(S1), write(del(S1))));
    EXPECT_THAT(memberships(), ElementsAre("(10.0.0.2, 239.1.1.1) include"));
    exclude(S1, "swp2");
    EXPECT_THAT(memberships(),
                ElementsAre("(0.0.0.0, 239.1.1.1) include", "(10.0.0.1, 239.1.1.1) exclude",
                            "(10.0.0.2, 239.1.1.1) include"));
}

TEST_F(SourceMembership, AnEntryOfTheOtherModeIsNotDeleted) {
    start();
    include(S1);
    stale("red", "vlan10", S1, G, Mode::exclude);
    leave(10, G, S1, "swp1");
    EXPECT_THAT(memberships(), ElementsAre("(10.0.0.1, 239.1.1.1) exclude"));
}

TEST_F(SourceMembership, WithoutAVrfEachHandlerSaysSoAndWritesNothing) {
    unbind("vlan10");
    start();
    include(S1);
    exclude(S1, "swp2");
    stale("red", "vlan10", S1, G);
    EXPECT_THAT(traceOf([this] {
                    source(S1)->handleInclude();
                    source(S1)->handleExclude();
                    source(S1)->handleSourceDel();
                }),
                ElementsAre("8 handleInclude | handleInclude: No vrfName for vlanId 10",
                            "8 handleExclude | handleExclude: No vrfName for vlanId 10",
                            "8 handleSourceDel | handleSourceDel: No vrfName for vlanId 10"));
    EXPECT_THAT(memberships(), ElementsAre("(10.0.0.1, 239.1.1.1) include"));
}

TEST_F(SourceMembership, OnTheSbdVlanWithoutDrAndPimEachHandlerSaysSoAndWritesNothing) {
    sbdVlanTen();
    start();
    include(S1);
    exclude(S1, "swp2");
    stale("red", "vlan10", S1, G);
    const std::string text = ": Not PEG DR or Pim enabled for SBD VLAN10";
    EXPECT_THAT(traceOf([this] {
                    source(S1)->handleInclude();
                    source(S1)->handleExclude();
                    source(S1)->handleSourceDel();
                }),
                ElementsAre("8 handleInclude | handleInclude" + text,
                            "8 handleExclude | handleExclude" + text,
                            "8 handleSourceDel | handleSourceDel" + text));
    EXPECT_THAT(memberships(), ElementsAre("(10.0.0.1, 239.1.1.1) include"));
}

TEST_F(SourceMembership, OnAnOrdinaryVlanNeitherDrNorPimIsNeeded) {
    sbd("red", 100);
    start();
    include(S1);
    exclude(S2);
    EXPECT_EQ(memberships().size(), 3u);
    delSource(10, G, S1);
    EXPECT_EQ(memberships().size(), 2u);
}

TEST_F(SourceMembership, WhatGoesOfAnIncludeJoinIsItsEntryAlone) {
    start();
    include(S2);
    include(S1);
    EXPECT_THAT(traceOf([this] { delSource(10, G, S1); }),
                ElementsAre(deleted(S1, 1, 0), write(del(S1))));
}

TEST_F(SourceMembership, WhatGoesOfAnExcludeJoinIsItsEntryThenStarGWithoutIt) {
    start();
    include(S2);
    exclude(S1);
    const auto trackerOfIt = source(S1);
    EXPECT_THAT(
        traceOf([&] { trackerOfIt->handleSourceDel(); }),
        ElementsAre(deleted(S1, 0, 1), write(del(S1, Mode::exclude)), starG(), write(del(any))));
    EXPECT_THAT(memberships(), ElementsAre("(10.0.0.2, 239.1.1.1) include"));
}

TEST_F(SourceMembership, StarGStaysWhereAnotherSourceIsStillExcluded) {
    start();
    exclude(S1);
    exclude(S2);
    delSource(10, G, S1);
    EXPECT_THAT(memberships(),
                ElementsAre("(0.0.0.0, 239.1.1.1) include", "(10.0.0.2, 239.1.1.1) exclude"));
}

TEST_F(SourceMembership, OfASourceInBothModesBothEntriesGo) {
    start();
    include(S2);
    exclude(S1);
    include(S1, "swp2");
    EXPECT_THAT(traceOf([this] { delSource(10, G, S1); }),
                ElementsAre(deleted(S1, 1, 1), write(del(S1)), write(del(S1, Mode::exclude)),
                            starG(), write(del(any))));
}

TEST_F(SourceMembership, StarGIsReevaluatedWheneverAnySourceGoes) {
    start();
    include(S1);
    include(any);
    leave(10, G, any, "swp1");
    EXPECT_THAT(traceOf([this] { delSource(10, G, any); }),
                ElementsAre(deleted(any, 0, 0), starG()));
    include(any);
    EXPECT_THAT(traceOf([this] { delSource(10, G, any); }),
                ElementsAre(deleted(any, 1, 0), write(del(any)), starG()));
}

TEST_F(SourceMembership, ASourceWhoseSetsWereEmptiedHasNothingToDelete) {
    start();
    include(S1);
    leave(10, G, S1, "swp1");
    stale("red", "vlan10", S1, G);
    EXPECT_THAT(traceOf([this] { delSource(10, G, S1); }), ElementsAre(deleted(S1, 0, 0)));
    EXPECT_THAT(memberships(), ElementsAre("(10.0.0.1, 239.1.1.1) include"));
}

TEST_F(SourceMembership, ADamagedIncludeSetIsReportedAndItsEntryStays) {
    start();
    include(S1);
    sourceJoin(10, G, S1)->includeIntfsCorruptionIs("include set of 10.0.0.1");
    EXPECT_THAT(traceOf([this] { source(S1)->handleSourceDel(); }), ElementsAre(deleted(S1, 0, 0)));
    EXPECT_THAT(corruptions(), ElementsAre("include set of 10.0.0.1"));
    EXPECT_THAT(memberships(), ElementsAre("(10.0.0.1, 239.1.1.1) include"));
}

TEST_F(SourceMembership, ADamagedExcludeSetIsReportedAndItsEntryAndStarGStay) {
    start();
    exclude(S1);
    sourceJoin(10, G, S1)->excludeIntfsCorruptionIs("exclude set of 10.0.0.1");
    EXPECT_THAT(traceOf([this] { source(S1)->handleSourceDel(); }), ElementsAre(deleted(S1, 0, 0)));
    EXPECT_THAT(corruptions(), ElementsAre("exclude set of 10.0.0.1"));
    EXPECT_THAT(memberships(),
                ElementsAre("(0.0.0.0, 239.1.1.1) include", "(10.0.0.1, 239.1.1.1) exclude"));
}

TEST_F(SourceMembership, OneDamagedSetDoesNotKeepTheOtherOnesEntry) {
    start();
    include(S2);
    include(S1);
    exclude(S1, "swp2");
    sourceJoin(10, G, S1)->excludeIntfsCorruptionIs("exclude set of 10.0.0.1");
    EXPECT_THAT(traceOf([this] { source(S1)->handleSourceDel(); }),
                ElementsAre(deleted(S1, 1, 0), write(del(S1))));
    EXPECT_THAT(memberships(), ElementsAre("(10.0.0.2, 239.1.1.1) include"));
}

TEST_F(SourceMembership, ADamagedIncludeSetWithdrawsTheIncludeEntryAtTheNextChange) {
    start();
    include(S1);
    sourceJoin(10, G, S1)->includeIntfsCorruptionIs("include set of 10.0.0.1");
    EXPECT_THAT(traceOf([this] { include(S1, "swp2"); }),
                ElementsAre(notIncluded(S1), write(del(S1))));
    EXPECT_THAT(corruptions(), ElementsAre("include set of 10.0.0.1"));
}

TEST_F(SourceMembership, ADamagedExcludeSetWithdrawsTheExcludeEntryAtTheNextChange) {
    start();
    include(S2);
    exclude(S1);
    sourceJoin(10, G, S1)->excludeIntfsCorruptionIs("exclude set of 10.0.0.1");
    EXPECT_THAT(
        traceOf([this] { exclude(S1, "swp2"); }),
        ElementsAre(notExcluded(S1), starG(), write(add(any)), write(del(S1, Mode::exclude))));
    EXPECT_THAT(corruptions(), ElementsAre("exclude set of 10.0.0.1"));
}

TEST_F(SourceMembership, ANewRecordOfTheSourceKeepsWhatTheOldOneWroteUntilTheNextChange) {
    start();
    include(S1);
    const auto tracker = source(S1);
    const auto record = Lumo::make<Gmp::SourceMembershipJoin>(address(S1));
    EXPECT_THAT(traceOf([&] { groupJoin(10, G)->sourceIs(record); }), IsEmpty());
    EXPECT_EQ(source(S1), tracker);
    EXPECT_EQ(tracker->notifier(), record);
    EXPECT_THAT(memberships(), ElementsAre("(10.0.0.1, 239.1.1.1) include"));
    EXPECT_THAT(traceOf([&] { record->includeIntfIs(IntfId("mtunnel1")); }),
                ElementsAre(notIncluded(S1), write(del(S1))));
}

TEST_F(SourceMembership, TheOldRecordIsNoLongerHeard) {
    start();
    include(S1);
    const auto before = sourceJoin(10, G, S1);
    groupJoin(10, G)->sourceIs(Lumo::make<Gmp::SourceMembershipJoin>(address(S1)));
    EXPECT_THAT(traceOf([&] { before->includeIntfDel(IntfId("swp1")); }), IsEmpty());
}

TEST_F(SourceMembership, ARecordOfAnotherTypeCountsAsNone) {
    start();
    include(S1);
    source(S1)->notifierIs(groupJoin(10, G));
    EXPECT_FALSE(source(S1)->notifier());
    EXPECT_EQ(source(S1)->source(), IpGenAddr());
    source(S1)->notifierIs(sourceJoin(10, G, S1));
}

TEST_F(SourceMembership, PointedAtItsOwnRecordItGoesOnHearingItOnce) {
    start();
    include(S1);
    const auto record = sourceJoin(10, G, S1);
    EXPECT_THAT(traceOf([&] { source(S1)->notifierIs(record); }), IsEmpty());
    EXPECT_EQ(record->publisher()->subscribers(), 1u);
}

TEST_F(SourceMembership, WithoutARecordItIsNoSourceThatNobodyJoined) {
    start();
    include(S1);
    const auto tracker = Lumo::make<SourceTracker>(nullptr, group().get());
    EXPECT_EQ(tracker->source(), IpGenAddr());
    EXPECT_EQ(tracker->includeIntfs(), 0u);
    EXPECT_EQ(tracker->excludeIntfs(), 0u);
    EXPECT_THAT(memberships(), ElementsAre("(10.0.0.1, 239.1.1.1) include"));
}

TEST_F(SourceMembership, ChangesOfOtherAttributesAreIgnored) {
    start();
    include(S1);
    EXPECT_THAT(traceOf([this] { source(S1)->onAttribute(Lumo::FieldId{0}, nullptr); }), IsEmpty());
}

TEST_F(SourceMembership, AZombieIgnoresTheChangesOfItsJoins) {
    start();
    include(S1);
    source(S1)->rixDoZombieReactors(true);
    EXPECT_THAT(traceOf([this] {
                    using Join = Gmp::SourceMembershipJoin;
                    source(S1)->hasNotificationActiveIs(true);
                    include(S1, "swp2");
                    exclude(S1);
                    source(S1)->onAttribute(Join::includeIntfsField, nullptr);
                    source(S1)->onAttribute(Join::excludeIntfsField, nullptr);
                }),
                IsEmpty());
}

TEST_F(SourceMembership, ReapingAndRevivalBothWithdrawTheSource) {
    start();
    include(S1);
    EXPECT_THAT(traceOf([this] { source(S1)->rixDoZombieReactors(true); }),
                ElementsAre(deleted(S1, 1, 0), write(del(S1))));
    EXPECT_FALSE(source(S1)->hasNotificationActive());
    stale("red", "vlan10", S1, G);
    EXPECT_THAT(traceOf([this] { source(S1)->rixDoZombieReactors(false); }),
                ElementsAre(deleted(S1, 1, 0), write(del(S1))));
    EXPECT_TRUE(source(S1)->hasNotificationActive());
    EXPECT_FALSE(source(S1)->isZombie());
}

TEST_F(SourceMembership, TheStateThatItIsInAgainDoesNothing) {
    start();
    include(S1);
    EXPECT_THAT(traceOf([this] { source(S1)->rixDoZombieReactors(false); }), IsEmpty());
}

TEST_F(SourceMembership, NoLocalReceiverIsFoundAmongTunnelsOrInAnEmptySet) {
    const auto record = Lumo::make<Gmp::SourceMembershipJoin>(address(S1));
    EXPECT_FALSE(hasLocalInclude(record));
    EXPECT_FALSE(hasLocalExclude(record));
    record->includeIntfIs(IntfId("mtunnel1"));
    record->excludeIntfIs(IntfId("mtunnel2"));
    EXPECT_FALSE(hasLocalInclude(record));
    EXPECT_FALSE(hasLocalExclude(record));
    record->includeIntfIs(IntfId("swp1"));
    EXPECT_TRUE(hasLocalInclude(record));
    EXPECT_FALSE(hasLocalExclude(record));
    record->excludeIntfIs(IntfId("vlan20"));
    EXPECT_TRUE(hasLocalExclude(record));
}

TEST_F(SourceMembership, AnIpv6SourceIsPublishedInBothModesAndWithdrawn) {
    start();
    join(10, "ff3e::1", "2001:db8::1", "swp1");
    EXPECT_THAT(memberships(), ElementsAre("(2001:db8::1, ff3e::1) include"));
    leave(10, "ff3e::1", "2001:db8::1", "swp1");
    join(10, "ff3e::1", "2001:db8::1", "swp1", Mode::exclude);
    EXPECT_THAT(memberships(),
                ElementsAre("(2001:db8::1, ff3e::1) exclude", "(::, ff3e::1) include"));
    EXPECT_TRUE(
        traced("8 handleExclude | handleExclude: Update gmpStatus (red) for Smet ( Vlan "
               "10, 2001:db8::1, ff3e::1 ), add exclude: true"));
    delSource(10, "ff3e::1", "2001:db8::1");
    EXPECT_THAT(statuses(), IsEmpty());
}

TEST_F(SourceMembership, StoppingWithdrawsEverything) {
    start();
    include(S1);
    exclude(S2);
    EXPECT_THAT(memberships(),
                ElementsAre("(0.0.0.0, 239.1.1.1) include", "(10.0.0.1, 239.1.1.1) include",
                            "(10.0.0.2, 239.1.1.1) exclude"));
    stop();
    EXPECT_THAT(table(), IsEmpty());
    EXPECT_THAT(statuses(), IsEmpty());
}

TEST_F(SourceMembership, TellsItsTypeAndAttributes) {
    start();
    include(S1);
    const auto& type = source(S1)->typeData();
    EXPECT_EQ(type.name(),
              "MembershipJoinStatusSm::RixVlanMembership::NestedSm_GroupMembership::"
              "NestedSm_SourceMembership");
    EXPECT_EQ(type.attributeText(*source(S1), "source"), S1);
}

TEST_F(SourceMembership, EachHandlerIsTimedUnderItsFullSignature) {
    const std::string name =
        "void Irb::Multicast::Ingress::MembershipJoinStatusSm::RixVlanMembership::"
        "NestedSm_GroupMembership::NestedSm_SourceMembership::";
    unbind("vlan10");
    start();
    include(S1);
    forget();
    source(S1)->handleInclude();
    source(S1)->handleExclude();
    source(S1)->handleSourceDel();
    EXPECT_THAT(
        blocks(),
        ElementsAre("BEGIN " + name + "handleInclude()", "END " + name + "handleInclude()",
                    "BEGIN " + name + "handleExclude()", "END " + name + "handleExclude()",
                    "BEGIN " + name + "handleSourceDel()", "END " + name + "handleSourceDel()"));
}

TEST_F(SourceMembership, TheQuestionsForALocalReceiverAreTimed) {
    const auto record = Lumo::make<Gmp::SourceMembershipJoin>(address(S1));
    const std::string include_ = "bool Irb::Multicast::Ingress::hasLocalInclude(const PtrConst&)";
    const std::string exclude_ = "bool Irb::Multicast::Ingress::hasLocalExclude(const PtrConst&)";
    forget();
    hasLocalInclude(record);
    hasLocalExclude(record);
    EXPECT_THAT(blocks(), ElementsAre("BEGIN " + include_, "END " + include_, "BEGIN " + exclude_,
                                      "END " + exclude_));
}

TEST_F(SourceMembership, ABlockEndsWhereAHandlerRaisesAnError) {
    start();
    include(S1, "mtunnel1");
    gmpStatusLocalColl->membershipObserverIs(
        [](const auto&) { throw std::runtime_error("refused"); });
    forget();
    EXPECT_EQ(errorOf([this] { include(S1); }), "refused");
    gmpStatusLocalColl->membershipObserverIs({});
    const Texts ended = blocks();
    EXPECT_EQ(ended.back(),
              "END void Irb::Multicast::Ingress::MembershipJoinStatusSm::"
              "RixVlanMembership::NestedSm_GroupMembership::"
              "NestedSm_SourceMembership::handleInclude()");
}

}  // namespace
}  // namespace Irb::Multicast::Ingress::Detail
