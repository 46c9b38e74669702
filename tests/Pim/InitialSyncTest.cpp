// What a start deletes from the table that an earlier incarnation wrote, what it keeps, and why.
#include "MembershipJoinStatusSm/GroupMembership.h"
#include "Pim/Fabric.h"
#include "Pim/RootObserver.h"

namespace Irb::Multicast::Ingress::Detail {
namespace {

using Routing::Gmp::Tessel::App;
using testing::ElementsAre;
using testing::IsEmpty;

class InitialSync : public Fabric {
  protected:
    /// Whether one entry of an earlier incarnation is deleted for that reason, in these words, and
    /// its status with it.
    void expectDeleted(const std::string& reason, const char* status = "red.irb",
                       const char* pair = "10.0.0.1,239.1.1.1") {
        EXPECT_THAT(pass(), ElementsAre("handleInitialized: default",
                                        "handleInitialized(): " + reason +
                                            ", delete gmp membership ( " + pair + " )",
                                        std::string("handleInitialized: del gmpStatusLocalColl ") +
                                            status));
        EXPECT_THAT(statuses(), IsEmpty());
    }

    void expectKept() {
        const Texts before = table();
        EXPECT_THAT(pass(), ElementsAre("handleInitialized: default"));
        EXPECT_EQ(table(), before);
    }

    /// What a pass over the table, apart from the machine's other reactions, traces at level 8.
    Texts pass() {
        forget();
        machine->handleInitialized();
        Texts texts;
        for (const std::string& line : trace()) {
            static const std::string prefix = "8 handleInitialized | ";
            if (line.starts_with(prefix)) texts.push_back(line.substr(prefix.size()));
        }
        return texts;
    }
};

TEST_F(InitialSync, LeavesAnotherApplicationsStatusAlone) {
    stale("red", "vlan10", "10.0.0.1", "239.1.1.1", Mode::include, App::gmp);
    staleStatus("blue", App::gmp);
    start();
    EXPECT_THAT(statuses(), ElementsAre("blue.gmp", "red.gmp"));
    EXPECT_THAT(table(), ElementsAre("red.gmp vlan10 (10.0.0.1, 239.1.1.1) include"));
    EXPECT_TRUE(
        traced("8 handleInitialized | handleInitialized: gmpLocalColl red.gmp not applicable to "
               "default"));
    EXPECT_TRUE(
        traced("8 handleInitialized | handleInitialized: gmpLocalColl blue.gmp not applicable to "
               "default"));
}

TEST_F(InitialSync, LeavesTheInterfacesOfInternalVlansAlone) {
    for (const char* intf : {"vlan4096", "vlan10000", "vlan16383"})
        stale("red", intf, "10.0.0.1", "239.1.1.1");
    start();
    EXPECT_THAT(table(), ElementsAre("red.irb vlan10000 (10.0.0.1, 239.1.1.1) include",
                                     "red.irb vlan16383 (10.0.0.1, 239.1.1.1) include",
                                     "red.irb vlan4096 (10.0.0.1, 239.1.1.1) include"));
    EXPECT_THAT(trace(8), ElementsAre("handleInitialized: default"));
}

TEST_F(InitialSync, RefusesTheInterfaceOfAVlanThatCannotBeOne) {
    for (const char* intf : {"vlan0", "vlan4095", "vlan16384", "vlan65535"}) {
        gmpStatusLocalColl->gmpStatusDel({vrf("red"), app});
        stale("red", intf, "10.0.0.1", "239.1.1.1");
        EXPECT_EQ(startError(), "Bridging::VlanId::value < 1 or > 4094 not allowed") << intf;
    }
}

TEST_F(InitialSync, RemovesAStatusThatItEmptied) {
    stale("red", "vlan10", "10.0.0.1", "239.1.1.1");
    stale("red", "vlan20", "10.0.0.2", "239.1.1.1", Mode::exclude);
    stale("blue", "vlan4096", "10.0.0.1", "239.1.1.1");
    start();
    EXPECT_THAT(statuses(), ElementsAre("blue.irb"));
    EXPECT_TRUE(traced("8 handleInitialized | handleInitialized: del gmpStatusLocalColl red.irb"));
}

TEST_F(InitialSync, RemovesAStatusThatWasEmpty) {
    staleStatus("red");
    start();
    EXPECT_THAT(statuses(), IsEmpty());
    EXPECT_THAT(trace(8), ElementsAre("handleInitialized: default",
                                      "handleInitialized: del gmpStatusLocalColl red.irb"));
}

TEST_F(InitialSync, WalksOnAfterWhatItDeleted) {
    bind("vlan10", "red");
    join(10, "239.1.1.1", "10.0.0.1", "swp1");
    stale("red", "vlan10", "10.0.0.1", "239.1.1.1");
    for (unsigned i = 2; i < 100; ++i)
        stale("red", "vlan10", ("10.0.0." + std::to_string(i)).c_str(), "239.1.1.1");
    start();
    EXPECT_THAT(table(), ElementsAre("red.irb vlan10 (10.0.0.1, 239.1.1.1) include"));
}

TEST_F(InitialSync, DeletesAnIncludeEntryWhoseSourceLeftThoughTheGroupStayed) {
    bind("vlan10", "red");
    join(10, "239.1.1.1", "10.0.0.2", "swp1");
    start();
    stale("red", "vlan10", "10.0.0.1", "239.1.1.1");
    pass();
    EXPECT_TRUE(
        traced("8 handleInitialized | handleInitialized(): (S,G) not needed in 10, delete "
               "gmp membership ( 10.0.0.1,239.1.1.1 )"));
    EXPECT_THAT(table(), ElementsAre("red.irb vlan10 (10.0.0.2, 239.1.1.1) include"));
}

TEST_F(InitialSync, DeletesAnExcludeEntryWhoseSourceLeftThoughTheGroupStayed) {
    bind("vlan10", "red");
    join(10, "239.1.1.1", "10.0.0.2", "mtunnel1");
    start();
    stale("red", "vlan10", "10.0.0.1", "239.1.1.1", Mode::exclude);
    expectDeleted("(S,G) not needed in 10");
}

TEST_F(InitialSync, DeletesAnIncludeEntryThatNoLocalHostWants) {
    bind("vlan10", "red");
    join(10, "239.1.1.1", "10.0.0.1", "mtunnel1");
    start();
    stale("red", "vlan10", "10.0.0.1", "239.1.1.1");
    expectDeleted("(S,G) not needed in 10");
}

TEST_F(InitialSync, DeletesAnExcludeEntryThatNoLocalHostWants) {
    bind("vlan10", "red");
    join(10, "239.1.1.1", "10.0.0.1", "mtunnel1", Mode::exclude);
    start();
    stale("red", "vlan10", "10.0.0.1", "239.1.1.1", Mode::exclude);
    expectDeleted("(S,G) not needed in 10");
}

TEST_F(InitialSync, DeletesAnEntryOfTheOtherMode) {
    bind("vlan10", "red");
    join(10, "239.1.1.1", "10.0.0.1", "swp1");
    start();
    stale("red", "vlan10", "10.0.0.1", "239.1.1.1", Mode::exclude);
    expectDeleted("(S,G) not needed in 10");
}

TEST_F(InitialSync, KeepsWhatTheJoinsCallFor) {
    bind("vlan10", "red");
    join(10, "239.1.1.1", "10.0.0.1", "swp1");
    join(10, "239.1.1.1", "10.0.0.2", "swp1", Mode::exclude);
    join(10, "ff3e::1", "::", "swp1");
    start();
    EXPECT_THAT(table(), ElementsAre("red.irb vlan10 (0.0.0.0, 239.1.1.1) include",
                                     "red.irb vlan10 (10.0.0.1, 239.1.1.1) include",
                                     "red.irb vlan10 (10.0.0.2, 239.1.1.1) exclude",
                                     "red.irb vlan10 (::, ff3e::1) include"));
    expectKept();
}

TEST_F(InitialSync, WritesNothingThatIsMissing) {
    bind("vlan10", "red");
    join(10, "239.1.1.1", "10.0.0.1", "swp1");
    start();
    gmpStatusLocalColl->gmpStatusDel({vrf("red"), app});
    pass();
    EXPECT_THAT(statuses(), IsEmpty());
}

TEST_F(InitialSync, DeletesAnEntryOfAVlanWithoutJoins) {
    start();
    stale("red", "vlan10", "10.0.0.1", "239.1.1.1");
    expectDeleted("No VLAN10");
}

TEST_F(InitialSync, DeletesAnEntryOfAVlanWhoseRecordIsGone) {
    bind("vlan10", "red");
    join(10, "239.1.1.1", "10.0.0.1", "mtunnel1");
    start();
    machine->hasNotificationActiveIs(false);
    delVlan(10);
    stale("red", "vlan10", "10.0.0.1", "239.1.1.1");
    expectDeleted("No VLAN10");
}

TEST_F(InitialSync, DeletesAnEntryOfAVlanWithoutAVrf) {
    join(10, "239.1.1.1", "10.0.0.1", "swp1");
    start();
    stale("red", "vlan10", "10.0.0.1", "239.1.1.1");
    expectDeleted("VRF is not set for VLAN10");
}

TEST_F(InitialSync, DeletesAnEntryOfAVlanThatMovedToAnotherVrf) {
    bind("vlan10", "red");
    join(10, "239.1.1.1", "10.0.0.1", "mtunnel1");
    start();
    stale("blue", "vlan10", "10.0.0.1", "239.1.1.1");
    expectDeleted("VRF name has changed for VLAN10", "blue.irb");
}

TEST_F(InitialSync, DeletesAnEntryOfAnSbdVlanWithoutDrAndPim) {
    bind("vlan100", "red");
    sbd("red", 100);
    join(100, "239.1.1.1", "10.0.0.1", "mtunnel1");
    start();
    stale("red", "vlan100", "10.0.0.1", "239.1.1.1");
    expectDeleted("Not PEG DR or Pim enabled for SBD VLAN 100");
}

TEST_F(InitialSync, KeepsAnEntryOfAnSbdVlanWhereTheRouterIsDr) {
    bind("vlan100", "red");
    sbd("red", 100);
    pegDr(100, 1);
    join(100, "239.1.1.1", "10.0.0.1", "mtunnel1");
    start();
    expectKept();
}

TEST_F(InitialSync, KeepsAnEntryOfAnSbdVlanWherePimRuns) {
    bind("vlan100", "red");
    sbd("red", 100);
    pim("red", {"vlan100"});
    join(100, "239.1.1.1", "10.0.0.1", "mtunnel1");
    start();
    EXPECT_THAT(table(), ElementsAre("red.irb vlan100 (10.0.0.1, 239.1.1.1) include"));
    expectKept();
}

TEST_F(InitialSync, DeletesAnEntryOfAGroupThatLeft) {
    bind("vlan10", "red");
    join(10, "239.1.1.2", "10.0.0.1", "mtunnel1");
    start();
    stale("red", "vlan10", "10.0.0.1", "239.1.1.1");
    expectDeleted("No group in VLAN 10");
}

TEST_F(InitialSync, DeletesAnAnySourceEntryThatNobodyWants) {
    bind("vlan10", "red");
    join(10, "239.1.1.1", "0.0.0.0", "mtunnel1");
    start();
    stale("red", "vlan10", "0.0.0.0", "239.1.1.1");
    expectDeleted("(*,G) not needed in 10", "red.irb", "0.0.0.0,239.1.1.1");
}

TEST_F(InitialSync, DeletesAnIpv6AnySourceEntryThatNobodyWants) {
    bind("vlan10", "red");
    join(10, "ff3e::1", "::", "mtunnel1");
    start();
    stale("red", "vlan10", "::", "ff3e::1");
    expectDeleted("(*,G) not needed in 10", "red.irb", "::,ff3e::1");
}

TEST_F(InitialSync, AVlanWithoutJoinsIsTheFirstReason) {
    bind("vlan10", "blue");
    start();
    stale("red", "vlan10", "0.0.0.0", "239.1.1.1");
    expectDeleted("No VLAN10", "red.irb", "0.0.0.0,239.1.1.1");
}

TEST_F(InitialSync, AChangedVrfIsAReasonBeforeTheSbdVlanAndTheGroup) {
    bind("vlan100", "red");
    sbd("red", 100);
    join(100, "239.1.1.2", "10.0.0.1", "mtunnel1");
    start();
    stale("blue", "vlan100", "10.0.0.1", "239.1.1.1");
    expectDeleted("VRF name has changed for VLAN100", "blue.irb");
}

TEST_F(InitialSync, TheSbdVlanIsAReasonBeforeTheGroup) {
    bind("vlan100", "red");
    sbd("red", 100);
    join(100, "239.1.1.2", "10.0.0.1", "mtunnel1");
    start();
    stale("red", "vlan100", "10.0.0.1", "239.1.1.1");
    expectDeleted("Not PEG DR or Pim enabled for SBD VLAN 100");
}

TEST_F(InitialSync, OnceInitializedPublishesNothingButStillReconciles) {
    start();
    stale("red", "vlan10", "10.0.0.1", "239.1.1.1");
    const RootObserver observer(*machine);
    machine->handleInitialized();
    EXPECT_THAT(observer.heard(), IsEmpty());
    EXPECT_THAT(table(), IsEmpty());
}

TEST_F(InitialSync, PublishesThatItIsInitializedBeforeItLooksAtTheTable) {
    start();
    machine->initializedIs(false);
    stale("red", "vlan10", "10.0.0.1", "239.1.1.1");
    RootObserver observer(*machine);
    Texts then;
    observer.then = [&] { then = table(); };
    machine->handleInitialized();
    EXPECT_THAT(observer.heard(), ElementsAre("initialized was false"));
    EXPECT_THAT(then, ElementsAre("red.irb vlan10 (10.0.0.1, 239.1.1.1) include"));
}

TEST_F(InitialSync, WithoutAJoinStatusEveryEntryGoesAndTheNameIsEmpty) {
    membershipJoinStatus = nullptr;
    stale("red", "vlan10", "10.0.0.1", "239.1.1.1");
    stale("blue", "vlan10", "10.0.0.1", "239.1.1.1", Mode::include, App::gmp);
    start();
    EXPECT_THAT(statuses(), ElementsAre("blue.gmp"));
    EXPECT_TRUE(traced("8 handleInitialized | handleInitialized: "));
    EXPECT_TRUE(
        traced("8 handleInitialized | handleInitialized: gmpLocalColl blue.gmp not applicable "
               "to "));
}

TEST_F(InitialSync, WritesTheNameOfTheJoinStatus) {
    membershipJoinStatus = Lumo::make<Gmp::MembershipJoinStatus>("vxlan");
    start();
    EXPECT_TRUE(traced("8 handleInitialized | handleInitialized: vxlan"));
}

TEST_F(InitialSync, IsTimed) {
    start();
    forget();
    machine->handleInitialized();
    const std::string pass =
        "void Irb::Multicast::Ingress::MembershipJoinStatusSm::handleInitialized()";
    EXPECT_THAT(blocks(), ElementsAre("BEGIN " + pass, "END " + pass));
}

using InitialSyncDeathTest = InitialSync;

TEST_F(InitialSyncDeathTest, AnAnySourceEntryOfAGroupWithoutATrackerIsABrokenInvariant) {
    // A process that was forked may not use this one's table: the test runs anew in one of its own.
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    bind("vlan10", "red");
    join(10, "239.1.1.1", "0.0.0.0", "mtunnel1");
    start();
    vlan(10)->groupMembershipDel(address("239.1.1.1"));
    stale("red", "vlan10", "0.0.0.0", "239.1.1.1");
    EXPECT_DEATH(machine->handleInitialized(), "assertion failed: tgm");
}

TEST_F(InitialSync, AnEntryOfIncludeModeGoesThoughItsSourceIsExcluded) {
    bind("vlan10", "red");
    join(10, "239.1.1.1", "10.0.0.1", "swp1", Mode::exclude);
    start();
    stale("red", "vlan10", "10.0.0.1", "239.1.1.1");
    machine->handleInitialized();
    EXPECT_THAT(table(), ElementsAre("red.irb vlan10 (0.0.0.0, 239.1.1.1) include"));
}

}  // namespace
}  // namespace Irb::Multicast::Ingress::Detail
