// Bringing the table back into line while the machine runs, after changes whose reactions failed.
#include <stdexcept>
#include <string>
#include <system_error>

#include "FileLimit.h"
#include "MembershipJoinStatusSm/GroupMembership.h"
#include "MembershipJoinStatusSm/L3IntfStatus.h"
#include "MembershipJoinStatusSm/PimVrfStatus.h"
#include "MembershipJoinStatusSm/RixVlanMembership.h"
#include "MembershipJoinStatusSm/SourceMembership.h"
#include "Pim/Life.h"
#include "Pim/TableDirectory.h"
#include "Pim/TwoJoins.h"
#include "Trace/TextSink.h"

namespace Irb::Multicast::Ingress::Detail {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

/// Lets something fail once, at one moment of a machine's life, and has the table reconciled at the
/// life's end. Whether there was such a moment.
template <class Arm, class Disarm>
void reconciledAfterAFaultAtAnyMoment(const Arm& arm, const Disarm& disarm) {
    unsigned moment = 0;
    for (unsigned left = 0; left == 0;) {
        left = ++moment;
        Life life;
        life.begin();
        arm(life, left);
        life.day();
        disarm(life);
        life.machine->reconcile();
        ASSERT_EQ(life.held(), life.wanted()) << "after a fault at moment " << moment;
    }
    EXPECT_GT(moment, 10u) << "hardly anything was tried";
}

/// To be called at each moment: raises an error at the one that was counted down to.
void failAtLast(unsigned& left) {
    if (left != 0 && --left == 0) throw std::runtime_error("failed");
}

TEST(Reconciliation, MendsWhatAFailingObserverOfTheTableLeftUndone) {
    reconciledAfterAFaultAtAnyMoment(
        [](Life& life, unsigned& left) {
            life.gmpStatusLocalColl->membershipObserverIs([&](const auto&) { failAtLast(left); });
        },
        [](Life& life) { life.gmpStatusLocalColl->membershipObserverIs({}); });
}

TEST(Reconciliation, MendsWhatAFailingTraceLeftUndone) {
    reconciledAfterAFaultAtAnyMoment(
        [](Life&, unsigned& left) {
            Trace::textSinkIs([&](const Trace::TextRecord&) { failAtLast(left); });
        },
        [](Life&) { Trace::textSinkIs([](const Trace::TextRecord&) {}); });
}

class Reconcile : public TwoJoins {
  protected:
    /// What a machine writes that finds the inputs as they are now, and no table.
    Texts wanted() {
        const auto kept =
            std::exchange(gmpStatusLocalColl, Routing::Gmp::Tessel::StatusColl::anonymous());
        const auto living = std::exchange(machine, nullptr);
        start();
        const Texts texts = table();
        stop();
        gmpStatusLocalColl = kept;
        machine = living;
        return texts;
    }

    /// Whatever is traced in that function raises an error, until `recovers`.
    static void failsIn(const std::string& function) {
        Trace::textSinkIs([function](const Trace::TextRecord& record) {
            if (record.function == function) throw std::runtime_error("failed");
        });
    }
    static void recovers() {
        Trace::textSinkIs([](const Trace::TextRecord&) {});
    }
    /// A record of a group in which one host wants a source.
    static Lumo::Ptr<Gmp::GroupMembershipJoin> groupOfOne(const char* group, const char* source) {
        const auto join = Lumo::make<Gmp::GroupMembershipJoin>(*IpGenAddr::parse(group));
        const auto sourceOfIt = Lumo::make<Gmp::SourceMembershipJoin>(*IpGenAddr::parse(source));
        sourceOfIt->includeIntfIs(IntfId("swp1"));
        join->sourceIs(sourceOfIt);
        return join;
    }

    /// The joins of many hosts on VLANs 10 to 29; how many of them raised an error.
    unsigned joinMany() {
        unsigned refused = 0;
        for (unsigned i = 0; i < 4000; ++i) {
            const std::string group =
                "239.1." + std::to_string(i / 250) + "." + std::to_string(i % 250 + 1);
            const auto mode = i % 3 == 0 ? Mode::exclude : Mode::include;
            const std::string error =
                errorOf([&] { join(10 + i % 20, group.c_str(), "10.0.0.1", "swp1", mode); });
            if (!error.empty()) ++refused;
        }
        return refused;
    }
};

TEST_F(Reconcile, OfATableThatFoundNoRoomWritesWhatWasLostOnceThereIsSome) {
    const TableDirectory directory;
    {
        // A table that is made with little room is small.
        const FileLimit full(5 << 19);
        gmpStatusLocalColl = Routing::Gmp::Tessel::StatusColl::open(directory.path(), {}, {64});
    }
    for (unsigned vlanId = 10; vlanId < 30; ++vlanId)
        bind(("vlan" + std::to_string(vlanId)).c_str(), vlanId % 2 == 0 ? "red" : "blue");
    start();
    {
        const FileLimit full(1);
        EXPECT_GT(joinMany(), 1000u);
        EXPECT_THROW(machine->reconcile(), std::system_error);
    }
    const Texts lost = table();
    machine->reconcile();
    EXPECT_EQ(table(), wanted());
    EXPECT_GT(table().size(), lost.size());
    // And the machine hears of everything again.
    for (unsigned vlanId = 10; vlanId < 30; ++vlanId)
        membershipJoinStatus->vlanDel(VlanId(vlanId));
    EXPECT_THAT(table(), IsEmpty());
    stop();
    gmpStatusLocalColl = nullptr;
}

TEST_F(Reconcile, OfATableThatIsInLineChangesNothingAndSaysWhatAStartSays) {
    redWithTwoJoins();
    start();
    forget();
    unsigned changes = 0;
    gmpStatusLocalColl->membershipObserverIs([&](const auto&) { ++changes; });
    machine->reconcile();
    gmpStatusLocalColl->membershipObserverIs({});
    EXPECT_EQ(changes, 0u);
    EXPECT_THAT(table(), ElementsAre(host10, host100));
    EXPECT_TRUE(traced("8 handleInitialized | handleInitialized: default"));
}

TEST_F(Reconcile, DeletesWhatAnotherHandWrote) {
    redWithTwoJoins();
    start();
    stale("red", "vlan10", "10.0.0.9", "239.1.1.1");
    stale("green", "vlan30", "10.0.0.9", "239.1.1.1");
    machine->reconcile();
    EXPECT_THAT(table(), ElementsAre(host10, host100));
    EXPECT_THAT(statuses(), ElementsAre("red.irb"));
}

TEST_F(Reconcile, LearnsWhatHappenedWhileNotificationsWereOff) {
    redWithTwoJoins();
    pim("red", {"vlan10"});
    join(20, "239.1.1.1", "10.0.0.1", "swp1");
    join(10, "239.1.1.2", "10.0.0.1", "swp1");
    join(10, "239.1.1.1", "10.0.0.2", "swp1");
    start();
    machine->hasNotificationActiveIs(false);
    bind("vlan10", "blue");
    unbind("vlan100");
    delPim("red");
    pim("blue", {"vlan10"});
    delVlan(20);
    delGroup(10, "239.1.1.2");
    delSource(10, "239.1.1.1", "10.0.0.2");
    join(30, "239.1.1.1", "10.0.0.1", "swp1");
    bind("vlan30", "blue");
    machine->reconcile();
    EXPECT_EQ(table(), wanted());
    EXPECT_EQ(machine->rixVlanMembership().size(), 3u);
    EXPECT_FALSE(vlan(10)->groupMembership(*IpGenAddr::parse("239.1.1.2")));
    const auto group = vlan(10)->groupMembership(*IpGenAddr::parse("239.1.1.1"));
    EXPECT_EQ(group->sourceMembership().size(), 1u);
    EXPECT_EQ(machine->l3IntfStatus().size(), 2u);
    EXPECT_EQ(machine->pimVrfStatus().size(), 1u);
    EXPECT_TRUE(machine->pimVrfStatus(vrf("blue")));
}

TEST_F(Reconcile, GoesThroughInterfacesThenTheJoinsInBothModesThenTheTable) {
    start();
    join(10, "239.1.1.1", "10.0.0.1", "swp1");
    failsIn("handleL3IntfStatus");
    EXPECT_EQ(errorOf([&] { bind("vlan10", "red"); }), "failed");
    Texts functions;
    Trace::textSinkIs([&](const Trace::TextRecord& record) {
        const bool isHandler = record.function.starts_with("handle");
        if (isHandler && (functions.empty() || functions.back() != record.function)) {
            functions.emplace_back(record.function);
        }
    });
    machine->reconcile();
    recovers();
    EXPECT_THAT(functions, ElementsAre("handleL3IntfStatus", "handleInclude", "handleExclude",
                                       "handleInitialized"));
}

TEST_F(Reconcile, HearsOfAVlanAgainWhoseReplacementFailed) {
    redWithTwoJoins();
    start();
    const auto replacement = Lumo::make<Gmp::VlanMembershipJoin>(VlanId(10));
    replacement->groupIs(groupOfOne("239.1.1.2", "10.0.0.2"));
    failsIn("handleInclude");
    EXPECT_EQ(errorOf([&] { membershipJoinStatus->vlanIs(replacement); }), "failed");
    EXPECT_EQ(errorOf([&] { machine->reconcile(); }), "failed");
    recovers();
    join(10, "239.1.1.3", "10.0.0.3", "swp1");
    EXPECT_THAT(table(), testing::Contains("red.irb vlan10 (10.0.0.3, 239.1.1.3) include"));
    machine->reconcile();
    EXPECT_EQ(table(), wanted());
}

TEST_F(Reconcile, HearsOfAGroupAgainWhoseReplacementFailed) {
    redWithTwoJoins();
    start();
    failsIn("handleInclude");
    EXPECT_EQ(errorOf([&] { vlanJoin(10)->groupIs(groupOfOne("239.1.1.1", "10.0.0.2")); }),
              "failed");
    EXPECT_EQ(errorOf([&] { machine->reconcile(); }), "failed");
    recovers();
    join(10, "239.1.1.1", "10.0.0.3", "swp1");
    EXPECT_THAT(table(), testing::Contains("red.irb vlan10 (10.0.0.3, 239.1.1.1) include"));
    machine->reconcile();
    EXPECT_EQ(table(), wanted());
}

TEST_F(Reconcile, TakesTheRoleThatThisRouterHasNow) {
    redWithTwoJoins();
    start();
    machine->hasNotificationActiveIs(false);
    pegDr(100, 2);
    machine->reconcile();
    EXPECT_THAT(table(), ElementsAre(host10));
    pegDr(100, 1);
    machine->reconcile();
    EXPECT_THAT(table(), ElementsAre(host10, host100));
}

TEST_F(Reconcile, IsNotKeptFromTheRestByAnInterfaceThatCannotBeOne) {
    redWithTwoJoins();
    start();
    EXPECT_THAT(errorOf([&] { bind("vlan0", "red"); }), Not(IsEmpty()));
    stale("red", "vlan10", "10.0.0.9", "239.1.1.1");
    EXPECT_EQ(errorOf([&] { machine->reconcile(); }),
              "Bridging::VlanId::value < 1 or > 4094 not allowed");
    EXPECT_THAT(table(), ElementsAre(host10, host100));
}

TEST_F(Reconcile, DeletesNothingWhileAVlanCannotBeFollowed) {
    toggles({.oismMplsTunnel = false});
    redWithTwoJoins();
    start();
    errorOf([&] { enabledStatus->vrfToSBDVlanIs(vrf("blue"), 4095); });
    EXPECT_THAT(errorOf([&] { bind("vlan10", "blue"); }), Not(IsEmpty()));
    stale("red", "vlan30", "10.0.0.1", "239.1.1.1");
    EXPECT_EQ(errorOf([&] { machine->reconcile(); }),
              "Bridging::VlanId::value < 1 or > 4094 not allowed");
    EXPECT_THAT(table(), ElementsAre(host100, "red.irb vlan30 (10.0.0.1, 239.1.1.1) include"));
    errorOf([&] { enabledStatus->vrfToSBDVlanDel(vrf("blue")); });
    machine->reconcile();
    EXPECT_EQ(table(), wanted());
}

TEST_F(Reconcile, OfAMachineThatWasReapedWritesNothing) {
    redWithTwoJoins();
    start();
    machine->rixDoZombieReactors(true);
    forget();
    machine->reconcile();
    EXPECT_THAT(table(), IsEmpty());
    EXPECT_THAT(trace(), IsEmpty());
}

TEST_F(Reconcile, WithoutAnyInputSaysOnlyThatItWasDone) {
    membershipJoinStatus = nullptr;
    l3IntfStatusDir = nullptr;
    pimStatusColl = nullptr;
    start();
    forget();
    machine->reconcile();
    EXPECT_THAT(trace(), ElementsAre("8 handleInitialized | handleInitialized: "));
}

TEST_F(Reconcile, WithoutInterfacesLeavesEveryVlanWithoutAVrf) {
    l3IntfStatusDir = nullptr;
    join(10, "239.1.1.1", "10.0.0.1", "swp1");
    start();
    machine->reconcile();
    EXPECT_TRUE(vlan(10)->vrfName().empty());
    EXPECT_THAT(table(), IsEmpty());
}

}  // namespace
}  // namespace Irb::Multicast::Ingress::Detail
