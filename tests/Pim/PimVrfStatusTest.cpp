// The trackers of the VRFs' PIM statuses, through which a PIM interface reaches the machine.
#include "MembershipJoinStatusSm/PimVrfStatus.h"
#include "MembershipJoinStatusSm/RixVlanMembership.h"
#include "Pim/Fabric.h"
#include "Pim/RootObserver.h"
#include "Rix/NullArgumentError.h"

namespace Irb::Multicast::Ingress::Detail {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class PimVrfStatus : public Fabric {
  protected:
    /// The calls of handlePimTransitIntf: "( red, vlan100 )".
    Texts transitIntfs() const {
        static const std::string prefix = "handlePimTransitIntf( ";
        Texts calls;
        for (const std::string& text : trace(9)) {
            if (text.starts_with(prefix)) calls.push_back(text.substr(prefix.size() - 2));
        }
        return calls;
    }

    /// PIM's status in a VRF, on no interface.
    static Lumo::Ptr<Routing::Pim::Status> status(const char* name) {
        return Lumo::make<Routing::Pim::Status>(vrf(name));
    }
};

TEST_F(PimVrfStatus, ANewInterfaceReachesTheMachineOnce) {
    pim("red", {});
    start();
    forget();
    pimIntf("red", "vlan100");
    EXPECT_THAT(transitIntfs(), ElementsAre("( red, vlan100 )"));
}

TEST_F(PimVrfStatus, AnInterfaceThatLeavesReachesTheMachineOnce) {
    pim("red", {"vlan100"});
    start();
    forget();
    delPimIntf("red", "vlan100");
    EXPECT_THAT(transitIntfs(), ElementsAre("( red, vlan100 )"));
}

TEST_F(PimVrfStatus, ANewStatusReachesTheMachineOnceForEachInterfaceThatItHas) {
    start();
    forget();
    pim("red", {"vlan100", "swp1", "vlan200"});
    EXPECT_THAT(transitIntfs(),
                ElementsAre("( red, vlan100 )", "( red, swp1 )", "( red, vlan200 )"));
}

TEST_F(PimVrfStatus, AStatusThatIsThereAtTheStartReachesNoHandler) {
    pim("red", {"vlan100"});
    start();
    EXPECT_THAT(transitIntfs(), IsEmpty());
    EXPECT_TRUE(machine->pimVrfStatus(vrf("red")));
}

TEST_F(PimVrfStatus, AnotherStatusOfTheVrfIsFollowedFromThenOn) {
    pim("red", {"vlan100"});
    start();
    const auto tracker = machine->pimVrfStatus(vrf("red"));
    const auto old = pimStatusColl->vrfStatus(vrf("red"));
    forget();
    pim("red", {"vlan200"});
    EXPECT_EQ(machine->pimVrfStatus(vrf("red")), tracker);
    EXPECT_THAT(transitIntfs(), ElementsAre("( red, vlan200 )"));
    forget();
    old->intfDel(IntfId("vlan100"));
    EXPECT_THAT(transitIntfs(), IsEmpty());
    pimIntf("red", "vlan300");
    EXPECT_THAT(transitIntfs(), ElementsAre("( red, vlan300 )"));
}

TEST_F(PimVrfStatus, ItsInterfacesSwitchTheSbdVlanOnAndOff) {
    bind("vlan100", "red");
    sbd("red", 100);
    pim("red", {});
    join(100, "239.1.1.1", "10.0.0.1", "mtunnel1");
    start();
    EXPECT_THAT(table(), IsEmpty());
    pimIntf("red", "vlan100");
    EXPECT_THAT(table(), ElementsAre("red.irb vlan100 (10.0.0.1, 239.1.1.1) include"));
    delPimIntf("red", "vlan100");
    EXPECT_THAT(table(), IsEmpty());
}

TEST_F(PimVrfStatus, IsThereWhenTheMachinesObserversHearOfIt) {
    start();
    RootObserver observer(*machine);
    bool isThere = false;
    observer.then = [&] { isThere = machine->pimVrfStatus(vrf("red")) != nullptr; };
    pim("red", {"vlan10"});
    EXPECT_TRUE(isThere);
}

TEST_F(PimVrfStatus, ANullStatusIsRefused) {
    start();
    const RootObserver observer(*machine);
    EXPECT_THROW(machine->pimVrfStatusIs(nullptr), Rix::NullArgumentError);
    EXPECT_EQ(errorOf([&] { machine->pimVrfStatusIs(nullptr); }),
              "null argument for 'pimVrfStatus' of 'MembershipJoinStatusSm'");
    EXPECT_THAT(observer.heard(), IsEmpty());
}

TEST_F(PimVrfStatus, IsMadeOnceAndThenRepointed) {
    start();
    const auto first = status("red");
    const auto second = status("red");
    const auto tracker = machine->pimVrfStatusIs(first);
    EXPECT_EQ(machine->pimVrfStatusIs(first), tracker);
    EXPECT_EQ(machine->pimVrfStatusIs(second), tracker);
    EXPECT_EQ(tracker->notifier(), second);
    EXPECT_EQ(tracker->vrfName(), vrf("red"));
    EXPECT_EQ(first->publisher()->subscribers(), 0u);
}

TEST_F(PimVrfStatus, TakesTheMachinesNotificationsFlag) {
    start();
    EXPECT_TRUE(machine->pimVrfStatusIs(status("red"))->hasNotificationActive());
    machine->hasNotificationActiveIs(false);
    EXPECT_FALSE(machine->pimVrfStatusIs(status("blue"))->hasNotificationActive());
}

TEST_F(PimVrfStatus, RemovedItIsAZombieThatHearsNothing) {
    start();
    const auto red = status("red");
    const auto tracker = machine->pimVrfStatusIs(red);
    machine->pimVrfStatusDel(vrf("red"));
    EXPECT_TRUE(tracker->isZombie());
    EXPECT_FALSE(tracker->hasNotificationActive());
    tracker->hasNotificationActiveIs(true);
    forget();
    red->intfIs(Lumo::make<Routing::Pim::Intf>(IntfId("vlan100")));
    EXPECT_THAT(trace(), IsEmpty());
}

TEST_F(PimVrfStatus, RevivedWithoutAMachineItStillDoesNothing) {
    start();
    const auto red = status("red");
    const auto tracker = machine->pimVrfStatusIs(red);
    machine->pimVrfStatusDel(vrf("red"));
    tracker->rixDoZombieReactors(false);
    forget();
    red->intfIs(Lumo::make<Routing::Pim::Intf>(IntfId("vlan100")));
    EXPECT_THAT(trace(), IsEmpty());
}

TEST_F(PimVrfStatus, AsAZombieItIgnoresInterfacesUntilItIsRevived) {
    pim("red", {});
    start();
    machine->rixDoZombieReactors(true);
    forget();
    pimIntf("red", "vlan100");
    EXPECT_THAT(trace(), IsEmpty());
    machine->rixDoZombieReactors(false);
    pimIntf("red", "vlan200");
    EXPECT_THAT(transitIntfs(), ElementsAre("( red, vlan200 )"));
}

TEST_F(PimVrfStatus, RemovingOneThatIsNotThereDoesNothing) {
    start();
    const RootObserver observer(*machine);
    machine->pimVrfStatusDel(vrf("red"));
    EXPECT_THAT(observer.heard(), IsEmpty());
}

TEST_F(PimVrfStatus, AllAreRemovedOneByOne) {
    pim("red", {});
    pim("blue", {});
    start();
    const RootObserver observer(*machine);
    machine->pimVrfStatusDelAll();
    EXPECT_TRUE(machine->pimVrfStatus().empty());
    EXPECT_THAT(observer.heard(), ElementsAre("pimVrfStatus red", "pimVrfStatus blue"));
}

TEST_F(PimVrfStatus, PointedAtNothingItHasTheEmptyVrfName) {
    pim("red", {});
    start();
    const auto tracker = machine->pimVrfStatus(vrf("red"));
    tracker->notifierIs(nullptr);
    EXPECT_FALSE(tracker->notifier());
    EXPECT_TRUE(tracker->vrfName().empty());
    const Ondel::IntfId intf("vlan100");
    forget();
    tracker->onAttribute(Routing::Pim::Status::intfField, &intf);
    EXPECT_THAT(transitIntfs(), ElementsAre("( , vlan100 )"));
}

TEST_F(PimVrfStatus, PointedAtItsOwnStatusItGoesOnHearingItOnce) {
    pim("red", {});
    start();
    const auto tracker = machine->pimVrfStatus(vrf("red"));
    tracker->notifierIs(pimStatusColl->vrfStatus(vrf("red")));
    forget();
    pimIntf("red", "vlan100");
    EXPECT_THAT(transitIntfs(), ElementsAre("( red, vlan100 )"));
}

TEST_F(PimVrfStatus, TheStateThatItIsInAgainDoesNothing) {
    pim("red", {});
    start();
    const auto tracker = machine->pimVrfStatus(vrf("red"));
    tracker->hasNotificationActiveIs(false);
    tracker->rixDoZombieReactors(false);
    EXPECT_FALSE(tracker->hasNotificationActive());
}

TEST_F(PimVrfStatus, TellsItsTypeAndItsVrf) {
    pim("red", {});
    start();
    const auto tracker = machine->pimVrfStatus(vrf("red"));
    EXPECT_EQ(tracker->typeData().name(), "MembershipJoinStatusSm::NestedSm_PimVrfStatus");
    EXPECT_EQ(tracker->typeData().attributeText(*tracker, "vrfName"), "red");
}

TEST_F(PimVrfStatus, IgnoresEveryOtherAttribute) {
    pim("red", {});
    start();
    forget();
    const Ondel::IntfId intf("vlan100");
    machine->pimVrfStatus(vrf("red"))->onAttribute(Lumo::FieldId{0}, &intf);
    EXPECT_THAT(trace(), IsEmpty());
}

}  // namespace
}  // namespace Irb::Multicast::Ingress::Detail
