// A machine whose constructor fails: the table stays as it was at that moment.
#include <stdexcept>
#include <string>

#include "MembershipJoinStatusSm/GroupMembership.h"
#include "MembershipJoinStatusSm/SourceMembership.h"
#include "Pim/TwoJoins.h"
#include "Trace/TextSink.h"

namespace Irb::Multicast::Ingress::Detail {
namespace {

using testing::ElementsAre;

class FailedStart : public TwoJoins {
  protected:
    /// A table in which an earlier machine left one membership that nobody wants any more.
    void oldTable() {
        gmpStatusLocalColl = Routing::Gmp::Tessel::StatusColl::anonymous();
        stale("red", "vlan30", "10.0.0.9", "239.9.9.9");
    }
    const std::string old = "red.irb vlan30 (10.0.0.9, 239.9.9.9) include";

    /// How many objects of a type there are now.
    template <class Type>
    static std::uint64_t live() {
        return Type::type().allocations().live;
    }
};

TEST_F(FailedStart, AtTheLastStepWithdrawsNothing) {
    redWithTwoJoins();
    enabledStatus->sbdVlanToVrfIs(5000, vrf("blue"));
    EXPECT_ANY_THROW(start());
    EXPECT_THAT(table(), ElementsAre(host10, host100));
}

TEST_F(FailedStart, BeforeTheReconciliationLeavesWhatAnEarlierMachineWrote) {
    toggles({.oismMplsTunnel = false});
    oldTable();
    bind("vlan10", "red");
    bind("vlan20", "blue");
    enabledStatus->vrfToSBDVlanIs(vrf("blue"), 4095);
    join(10, "239.1.1.1", "10.0.0.1", "swp1");
    join(20, "239.1.1.1", "10.0.0.1", "swp1");
    EXPECT_ANY_THROW(start());
    EXPECT_THAT(table(), ElementsAre(host10, old));
}

TEST_F(FailedStart, AtWhateverMomentLeavesTheTableAsItWasThenAndNothingElse) {
    redWithTwoJoins();
    join(10, "239.1.1.1", "10.0.0.2", "swp1", Mode::exclude);
    join(10, "239.1.1.2", "0.0.0.0", "swp1");
    join(100, "239.1.1.2", "10.0.0.1", "mtunnel1", Mode::exclude);
    unsigned moment = 0;
    unsigned traced = 0;
    Texts atThatMoment;
    do {
        ++moment;
        oldTable();
        traced = 0;
        Trace::textSinkIs([&](const Trace::TextRecord&) {
            if (++traced != moment) return;
            atThatMoment = table();
            throw std::runtime_error("no text");
        });
        if (startError().empty()) break;
        EXPECT_EQ(traced, moment) << "more was done";
        EXPECT_EQ(table(), atThatMoment) << "at moment " << moment;
        EXPECT_EQ(live<RixVlanMembership>(), 0u);
        EXPECT_EQ(live<RixVlanMembership::NestedSm_GroupMembership>(), 0u);
        expectInputsUnreferenced();
    } while (!HasFailure());
    EXPECT_GT(moment, 50u) << "hardly anything was tried";
    Trace::textSinkIs([](const Trace::TextRecord&) {});
}

}  // namespace
}  // namespace Irb::Multicast::Ingress::Detail
