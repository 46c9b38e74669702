// What the trace says before it is done: whoever reads it after a failure knows what was next.
#include <set>
#include <string>

#include "Pim/VlanTen.h"
#include "Trace/TextSink.h"

namespace Irb::Multicast::Ingress::Detail {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::IsSupersetOf;

class TraceOrder : public VlanTen {
  protected:
    /// Nobody looks at the machine's end any more.
    ~TraceOrder() override {
        Trace::textSinkIs([](const Trace::TextRecord&) {});
    }

    /// Looks at something whenever a function traces.
    template <class Look>
    static void lookAt(const char* function, Look look) {
        Trace::textSinkIs([function, look](const Trace::TextRecord& record) {
            if (record.function == function) look();
        });
    }
};

TEST_F(TraceOrder, ADeletionIsTracedWhileTheTableStillHoldsIt) {
    start();
    include(S1);
    Texts tableThen;
    lookAt("delMembership", [&] { tableThen = table(); });
    leave(10, G, S1, "swp1");
    EXPECT_THAT(tableThen, ElementsAre("red.irb vlan10 (10.0.0.1, 239.1.1.1) include"));
    EXPECT_THAT(table(), IsEmpty());
}

TEST_F(TraceOrder, TheRemovalOfAnEmptyStatusIsTracedWhileItIsThere) {
    start();
    staleStatus("red");
    Texts statusesThen;
    lookAt("handleInitialized", [&] { statusesThen = statuses(); });
    machine->handleInitialized();
    EXPECT_THAT(statusesThen, ElementsAre("red.irb"));
    EXPECT_THAT(statuses(), IsEmpty());
}

TEST_F(TraceOrder, TheStartIsTracedBeforeTheMachineCountsAsInitialized) {
    start();
    machine->initializedIs(false);
    bool initializedThen = true;
    lookAt("handleInitialized", [&] { initializedThen = machine->initialized(); });
    machine->handleInitialized();
    EXPECT_FALSE(initializedThen);
    EXPECT_TRUE(machine->initialized());
}

TEST_F(TraceOrder, ChangesOfInterfacesAreTimedBeforeTheMachineIsInitialized) {
    forget();
    start();
    EXPECT_THAT(blocks(), Contains("BEGIN void Irb::Multicast::Ingress::MembershipJoinStatusSm::"
                                   "handleL3IntfStatus(Ondel::IntfId)"));
}

TEST_F(TraceOrder, BeforeTheMachineIsInitializedNoPimInterfaceIsLookedAt) {
    start();
    machine->initializedIs(false);
    forget();
    machine->handlePimTransitIntf(vrf("red"), IntfId("swp1"));
    EXPECT_THAT(trace(), ElementsAre("9 handlePimTransitIntf | handlePimTransitIntf( red, swp1 )"));
}

TEST_F(TraceOrder, ChangesOfTheFabricAreTimedFromBeforeTheirFirstMessage) {
    include(S1);
    start();
    forget();
    std::set<std::string> timed;
    Trace::textSinkIs([&](const Trace::TextRecord& record) {
        const std::string function(record.function);
        const Texts all = blocks();
        const std::string block = all.empty() ? "" : all.back();
        if (block.starts_with("BEGIN ") && block.find("::" + function + "(") != std::string::npos)
            timed.emplace(record.text);
    });
    join(20, G, S1, "swp1");
    pegDr(10, 1);
    sbd("red", 10);
    rebind("vlan10", "blue");
    EXPECT_THAT(timed,
                IsSupersetOf({" PEG DR change, VLAN: 10", "handleVxlanVrfToSbdVlan( red )",
                              "handleMplsVrfToSbdVlan( red )", "SBD VLAN to VRF change, VLAN: 10",
                              "Added VLAN :20",
                              "updateVrfName( 10 ), old name: red, new name: blue vlan is 10"}));
}

TEST_F(TraceOrder, TheRefreshOfAVlanWithoutAVrfIsTimedToo) {
    start();
    join(20, G, S1, "swp1");
    forget();
    vlan(20)->updateGmpStatus(RixVlanMembership::Update::asWanted);
    EXPECT_THAT(blocks(), Contains(testing::EndsWith("::updateGmpStatus(bool)")));
}

TEST_F(TraceOrder, AVrfThatIsSetAgainIsNoEventAndNotTimed) {
    include(S1);
    start();
    forget();
    vlan(10)->updateVrfName(vrf("red"));
    EXPECT_THAT(blocks(), IsEmpty());
    EXPECT_THAT(trace(), IsEmpty());
}

}  // namespace
}  // namespace Irb::Multicast::Ingress::Detail
