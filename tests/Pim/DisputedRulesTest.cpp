// Where the rules can be read in two ways: which one the machine follows.
#include "Pim/Fabric.h"

namespace Irb::Multicast::Ingress::Detail {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

class DisputedRules : public Fabric {
  protected:
    static constexpr const char* G = "239.1.1.1";
    static constexpr const char* S = "10.0.0.1";
    static constexpr const char* any = "0.0.0.0";

    /// VRF red on VLAN 10 and on its SBD VLAN 100, where this router is neither DR nor runs PIM.
    DisputedRules() {
        bind("vlan10", "red");
        bind("vlan100", "red");
        sbd("red", 100);
        pim("red", {});
    }

    /// A role that is not DR, for the SBD VLAN that had another: it is refreshed.
    void refreshSbdVlan() {
        pegDr(100, 0);
        pegDr(100, 2);
    }
    /// The record of the source makes room for one that nobody joined.
    void replaceSource() {
        groupJoin(10, G)->sourceIs(Lumo::make<Gmp::SourceMembershipJoin>(address(S)));
    }

    static constexpr auto onVlan10 = "red.irb vlan10 (10.0.0.1, 239.1.1.1) include";
    static constexpr auto onSbdVlan = "red.irb vlan100 (10.0.0.1, 239.1.1.1) include";
    static constexpr auto anyIncluded = "red.irb vlan10 (0.0.0.0, 239.1.1.1) include";
    static constexpr auto anyExcluded = "red.irb vlan10 (0.0.0.0, 239.1.1.1) exclude";
};

TEST_F(DisputedRules, OnAnSbdVlanEitherDrOrPimIsEnough) {
    join(100, G, S, "mtunnel1");
    start();
    EXPECT_THAT(table(), IsEmpty());
    pegDr(100, 1);
    EXPECT_THAT(table(), ElementsAre(onSbdVlan));
    pegDr(100, 2);
    EXPECT_THAT(table(), IsEmpty());
    pimIntf("red", "vlan100");
    EXPECT_THAT(table(), ElementsAre(onSbdVlan));
}

TEST_F(DisputedRules, OnAnyOtherVlanOnlyALocalPortCounts) {
    join(10, G, S, "mtunnel1");
    start();
    pegDr(10, 1);
    pegDr(100, 1);
    pimIntf("red", "vlan10");
    pimIntf("red", "vlan100");
    EXPECT_THAT(table(), IsEmpty());
    join(10, G, S, "swp1");
    EXPECT_THAT(table(), ElementsAre(onVlan10));
}

TEST_F(DisputedRules, OnAnUnservedSbdVlanALocalPortIsWrittenByARefreshAlone) {
    start();
    join(100, G, S, "swp1");
    EXPECT_THAT(table(), IsEmpty());
    refreshSbdVlan();
    EXPECT_THAT(table(), ElementsAre(onSbdVlan));
}

TEST_F(DisputedRules, OnAnUnservedSbdVlanAReconciliationDeletesWhatARefreshWroteForALocalPort) {
    start();
    join(100, G, S, "swp1");
    refreshSbdVlan();
    machine->handleInitialized();
    EXPECT_THAT(table(), IsEmpty());
}

TEST_F(DisputedRules, ASourceThatIsReplacedIsLookedAtWhenItChanges) {
    join(10, G, S, "swp1");
    start();
    replaceSource();
    EXPECT_THAT(table(), ElementsAre(onVlan10));
    join(10, G, S, "mtunnel1");
    EXPECT_THAT(table(), IsEmpty());
}

TEST_F(DisputedRules, WhatAReplacedSourceHadCausedOutlivesItsVlanUntilTheNextStart) {
    join(10, G, S, "swp1");
    start();
    replaceSource();
    delSource(10, G, S);
    delVlan(10);
    EXPECT_THAT(table(), ElementsAre(onVlan10));
    start();
    EXPECT_THAT(table(), IsEmpty());
}

TEST_F(DisputedRules, PimThatGoesWithTheStatusOfItsVrfRefreshesNothing) {
    join(100, G, S, "mtunnel1");
    pim("red", {"vlan100"});
    start();
    delPim("red");
    EXPECT_THAT(table(), ElementsAre(onSbdVlan));
    refreshSbdVlan();
    EXPECT_THAT(table(), IsEmpty());
}

TEST_F(DisputedRules, PimThatIsMissingInAnotherStatusOfTheVrfRefreshesNothing) {
    join(100, G, S, "mtunnel1");
    pim("red", {"vlan100"});
    start();
    pim("red", {});
    EXPECT_THAT(table(), ElementsAre(onSbdVlan));
    refreshSbdVlan();
    EXPECT_THAT(table(), IsEmpty());
}

TEST_F(DisputedRules, AnySourceExcludedIsAnExcludeEntryOfTheZeroSource) {
    start();
    join(10, G, any, "swp1", Mode::exclude);
    EXPECT_THAT(table(), ElementsAre(anyExcluded));
}

TEST_F(DisputedRules, OfTheTwoWritersOfTheAnySourceEntryTheLastOneWins) {
    start();
    join(10, G, any, "swp1", Mode::exclude);
    join(10, G, S, "swp1", Mode::exclude);
    EXPECT_THAT(table(), Contains(anyIncluded));
    join(10, G, any, "swp2", Mode::exclude);
    EXPECT_THAT(table(), Contains(anyExcluded));
}

}  // namespace
}  // namespace Irb::Multicast::Ingress::Detail
