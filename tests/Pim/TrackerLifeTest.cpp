// The lives of trackers: without a record, destroyed without having been reaped, reaped and wanted
// again, removed while something fails.
#include <stdexcept>

#include "MembershipJoinStatusSm/L3IntfStatus.h"
#include "MembershipJoinStatusSm/PimVrfStatus.h"
#include "Pim/RootObserver.h"
#include "Pim/VlanTen.h"
#include "Trace/TextSink.h"

namespace Irb::Multicast::Ingress::Detail {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class TrackerLife : public VlanTen {
  protected:
    static constexpr const char* H = "239.2.2.2";

    TrackerLife() {
        include(S1);
        start();
    }

    /// A record of group H, with a local include join of S2.
    static Lumo::Ptr<Gmp::GroupMembershipJoin> otherGroup() {
        const auto source = Lumo::make<Gmp::SourceMembershipJoin>(address(S2));
        source->includeIntfIs(IntfId("swp1"));
        const auto record = Lumo::make<Gmp::GroupMembershipJoin>(address(H));
        record->sourceIs(source);
        return record;
    }
    /// A record of VLAN 10 with that group alone.
    static Lumo::Ptr<Gmp::VlanMembershipJoin> otherVlan() {
        const auto record = Lumo::make<Gmp::VlanMembershipJoin>(VlanId(10));
        record->groupIs(otherGroup());
        return record;
    }
};

TEST_F(TrackerLife, AGroupsTrackerThatNobodyReapedWithdrawsWhatItWrote) {
    auto tracker = Lumo::make<GroupTracker>(otherGroup(), vlan(10).get());
    EXPECT_THAT(memberships(),
                ElementsAre("(10.0.0.1, 239.1.1.1) include", "(10.0.0.2, 239.2.2.2) include"));
    tracker = nullptr;
    EXPECT_THAT(memberships(), ElementsAre("(10.0.0.1, 239.1.1.1) include"));
}

TEST_F(TrackerLife, ASourcesTrackerThatNobodyReapedWithdrawsWhatItWrote) {
    const auto record = Lumo::make<Gmp::SourceMembershipJoin>(address(S2));
    record->includeIntfIs(IntfId("swp1"));
    auto tracker = Lumo::make<SourceTracker>(record, group().get());
    EXPECT_THAT(memberships(),
                ElementsAre("(10.0.0.1, 239.1.1.1) include", "(10.0.0.2, 239.1.1.1) include"));
    tracker = nullptr;
    EXPECT_THAT(memberships(), ElementsAre("(10.0.0.1, 239.1.1.1) include"));
}

TEST_F(TrackerLife, ATrackerThatNobodyReapedAndThatCannotWithdrawGoesAllTheSame) {
    const auto record = Lumo::make<Gmp::SourceMembershipJoin>(address(S2));
    record->includeIntfIs(IntfId("swp1"));
    auto source = Lumo::make<SourceTracker>(record, group().get());
    auto other = Lumo::make<GroupTracker>(otherGroup(), vlan(10).get());
    unsigned failures = 0;
    Trace::textSinkIs([&](const Trace::TextRecord& one) {
        if (one.function != "handleSourceDel" && one.function != "delMembership") return;
        ++failures;
        throw std::runtime_error("no room");
    });
    source = nullptr;
    other = nullptr;
    Trace::textSinkIs([](const Trace::TextRecord&) {});
    EXPECT_GE(failures, 2u);
    EXPECT_EQ(record->publisher()->subscribers(), 0u);
}

TEST_F(TrackerLife, ASourcesTrackerWithoutARecordKeepsItsNotificationsWhenItIsReaped) {
    const auto tracker = source(S1);
    tracker->notifierIs(nullptr);
    tracker->rixDoZombieReactors(true);
    EXPECT_TRUE(tracker->hasNotificationActive());
}

TEST_F(TrackerLife, AVlansTrackerThatNobodyReapedReapsItsGroups) {
    auto tracker = Lumo::make<RixVlanMembership>(otherVlan(), machine.get());
    const auto keptGroup = tracker->groupMembership(address(H));
    EXPECT_THAT(memberships(),
                ElementsAre("(10.0.0.1, 239.1.1.1) include", "(10.0.0.2, 239.2.2.2) include"));
    tracker = nullptr;
    EXPECT_THAT(memberships(), ElementsAre("(10.0.0.1, 239.1.1.1) include"));
    EXPECT_EQ(keptGroup->parent(), nullptr);
}

TEST_F(TrackerLife, AVlansTrackerThatHadNoRecordPublishesTheGroupsOfANewOne) {
    vlan(10)->notifierIs(nullptr);
    vlan(10)->notifierIs(otherVlan());
    EXPECT_THAT(memberships(), ElementsAre("(10.0.0.2, 239.2.2.2) include"));
}

TEST_F(TrackerLife, AVlansTrackerThatOutlivesTheMachineHearsNothing) {
    machine->hasNotificationActiveIs(false);
    machine->rixDoZombieReactors(true);
    const auto tracker = vlan(10);
    tracker->hasNotificationActiveIs(true);
    stop();
    EXPECT_FALSE(tracker->hasNotificationActive());
    EXPECT_EQ(tracker->parent(), nullptr);
}

TEST_F(TrackerLife, AnInterfacesTrackerThatOutlivesTheMachineHearsNothing) {
    machine->rixDoZombieReactors(true);
    const auto tracker = machine->l3IntfStatus(IntfId("vlan10"));
    tracker->hasNotificationActiveIs(true);
    stop();
    EXPECT_FALSE(tracker->hasNotificationActive());
}

TEST_F(TrackerLife, AGroupsTrackerWithoutARecordHasNoSources) {
    auto tracker = Lumo::make<GroupTracker>(nullptr, vlan(10).get());
    EXPECT_TRUE(tracker->sourceMembership().empty());
    EXPECT_FALSE(tracker->requireStarG(IpGenAddr()));
    forget();
    tracker = nullptr;
    EXPECT_THAT(writes(), IsEmpty());
}

TEST_F(TrackerLife, AVlanWithoutAVrfLeavesTheEntriesOfTheNamelessVrfAlone) {
    join(20, G, S1, "swp1");
    stale("", "vlan20", any, G, Mode::include, vlan(20)->gmpVrfApp().app);
    const Texts before = table();
    vlan(20)->delStarG(address(G));
    EXPECT_EQ(table(), before);
    EXPECT_EQ(before.size(), 2u);
}

TEST_F(TrackerLife, AVrfWhoseSbdVlanCannotBeOneLeavesTheVlanInItsOwn) {
    toggles({.oismMplsTunnel = false});
    start();
    EXPECT_NE(errorOf([&] { enabledStatus->vrfToSBDVlanIs(vrf("blue"), 5000); }), "");
    EXPECT_NE(errorOf([&] { vlan(10)->updateVrfName(vrf("blue")); }), "");
    EXPECT_EQ(vlan(10)->vrfName(), vrf("red"));
    EXPECT_EQ(vlan(10)->gmpVrfApp().vrfName, vrf("red"));
}

TEST_F(TrackerLife, ASourcesTrackerWithoutARecordWritesNothing) {
    forget();
    const auto tracker = Lumo::make<SourceTracker>(nullptr, group().get());
    EXPECT_THAT(trace(), IsEmpty());
    EXPECT_EQ(tracker->includeIntfs(), 0u);
}

TEST_F(TrackerLife, WhatIsReapedHearsNothingUntilItIsWantedAgain) {
    pim("red", {"vlan10"});
    const auto expectIt = [](auto tracker) {
        tracker->rixDoZombieReactors(true);
        EXPECT_FALSE(tracker->hasNotificationActive());
        tracker->rixDoZombieReactors(false);
        EXPECT_TRUE(tracker->hasNotificationActive());
    };
    expectIt(machine->l3IntfStatus(IntfId("vlan10")));
    expectIt(machine->pimVrfStatus(vrf("red")));
    expectIt(vlan(10));
    expectIt(group());
    expectIt(source(S1));
}

TEST_F(TrackerLife, WhoIsToldWhatItIsAlreadyHearsNoMoreThanBefore) {
    pim("red", {"vlan10"});
    machine->hasNotificationActiveIs(false);
    const auto expectSilent = [](auto tracker) {
        tracker->rixDoZombieReactors(false);
        EXPECT_FALSE(tracker->hasNotificationActive());
    };
    expectSilent(machine->l3IntfStatus(IntfId("vlan10")));
    expectSilent(machine->pimVrfStatus(vrf("red")));
    expectSilent(vlan(10));
    expectSilent(group());
    expectSilent(source(S1));
}

/// A tracker that was reaped and then told to hear again.
template <class Tracker>
Tracker heardAgain(Tracker tracker) {
    tracker->rixDoZombieReactors(true);
    tracker->hasNotificationActiveIs(true);
    return tracker;
}

TEST_F(TrackerLife, WhatIsRemovedHearsNothingWhateverWasDoneToItBefore) {
    pim("red", {"vlan10"});
    const auto sourceTracker = heardAgain(source(S1));
    group()->sourceMembershipDel(address(S1));
    EXPECT_FALSE(sourceTracker->hasNotificationActive());
    const auto groupTracker = heardAgain(group());
    vlan(10)->groupMembershipDel(address(G));
    EXPECT_FALSE(groupTracker->hasNotificationActive());
    const auto vlanTracker = heardAgain(vlan(10));
    machine->vlanMembershipDel(VlanId(10));
    EXPECT_FALSE(vlanTracker->hasNotificationActive());
    const auto pimTracker = heardAgain(machine->pimVrfStatus(vrf("red")));
    machine->pimVrfStatusDel(vrf("red"));
    EXPECT_FALSE(pimTracker->hasNotificationActive());
    const auto intfTracker = heardAgain(machine->l3IntfStatus(IntfId("vlan10")));
    machine->l3IntfStatusDel(IntfId("vlan10"));
    EXPECT_FALSE(intfTracker->hasNotificationActive());
}

TEST_F(TrackerLife, WhatCannotBeWithdrawnIsToldToWhoRemovedItAndHearsNothingMore) {
    const auto failAt = [](const std::string& function) {
        Trace::textSinkIs([function](const Trace::TextRecord& record) {
            if (record.function == function) throw std::runtime_error("no " + function);
        });
    };
    const auto sourceTracker = source(S1);
    sourceTracker->notifierIs(nullptr);
    failAt("handleSourceDel");
    EXPECT_EQ(errorOf([&] { group()->sourceMembershipDel(address(S1)); }), "no handleSourceDel");
    EXPECT_FALSE(sourceTracker->hasNotificationActive());
    EXPECT_TRUE(sourceTracker->isZombie());
    const auto groupTracker = group();
    groupTracker->notifierIs(nullptr);
    failAt("handleGroupDel");
    EXPECT_EQ(errorOf([&] { vlan(10)->groupMembershipDel(address(G)); }), "no handleGroupDel");
    EXPECT_FALSE(groupTracker->hasNotificationActive());
    EXPECT_TRUE(groupTracker->isZombie());
    const auto vlanTracker = vlan(10);
    vlanTracker->notifierIs(nullptr);
    failAt("updateGmpStatus");
    EXPECT_EQ(errorOf([&] { machine->vlanMembershipDel(VlanId(10)); }), "no updateGmpStatus");
    EXPECT_FALSE(vlanTracker->hasNotificationActive());
    EXPECT_TRUE(vlanTracker->isZombie());
    Trace::textSinkIs([](const Trace::TextRecord&) {});
}

TEST_F(TrackerLife, AnInterfaceWhoseVlanCannotBeOneIsReapedAllTheSame) {
    stop();
    bind("vlan0", "red");
    start();
    const auto tracker = machine->l3IntfStatus(IntfId("vlan0"));
    EXPECT_ANY_THROW(machine->rixDoZombieReactors(true));
    EXPECT_TRUE(tracker->isZombie());
    EXPECT_NO_THROW(tracker->rixDoZombieReactors(true));
    EXPECT_ANY_THROW(tracker->rixDoZombieReactors(false));
    EXPECT_FALSE(tracker->isZombie());
}

TEST_F(TrackerLife, AnObserverThatFailsAtARemovalKeepsNobodyHearing) {
    pim("red", {"vlan10"});
    RootObserver observer(*machine);
    observer.then = [] { throw std::runtime_error("an observer"); };
    const auto pimTracker = heardAgain(machine->pimVrfStatus(vrf("red")));
    EXPECT_EQ(errorOf([&] { machine->pimVrfStatusDel(vrf("red")); }), "an observer");
    EXPECT_FALSE(pimTracker->hasNotificationActive());
    const auto intfTracker = heardAgain(machine->l3IntfStatus(IntfId("vlan10")));
    EXPECT_EQ(errorOf([&] { machine->l3IntfStatusDel(IntfId("vlan10")); }), "an observer");
    EXPECT_FALSE(intfTracker->hasNotificationActive());
}

TEST_F(TrackerLife, ObserversHearOfARemovedPimStatusWhenItsTrackerIsReaped) {
    pim("red", {"vlan10"});
    const auto tracker = machine->pimVrfStatus(vrf("red"));
    bool isReaped = false;
    RootObserver observer(*machine);
    observer.then = [&] { isReaped = tracker->isZombie(); };
    delPim("red");
    EXPECT_THAT(observer.heard(), ElementsAre("pimVrfStatus red"));
    EXPECT_TRUE(isReaped);
}

TEST_F(TrackerLife, ObserversHearOfARemovedInterfaceWhenItsVlanHasNoVrfAnyMore) {
    L3::VrfName seen = vrf("unseen");
    RootObserver observer(*machine);
    observer.then = [&] { seen = vlan(10)->vrfName(); };
    unbind("vlan10");
    EXPECT_THAT(observer.heard(), ElementsAre("l3IntfStatus vlan10"));
    EXPECT_EQ(seen, vrf(""));
}

}  // namespace
}  // namespace Irb::Multicast::Ingress::Detail
