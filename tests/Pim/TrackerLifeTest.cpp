// Trackers beside those that the machine keeps in its collections: without a record, and destroyed
// without having been reaped.
#include "Pim/VlanTen.h"
#include "Trace/TextSink.h"

namespace Irb::Multicast::Ingress {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

class TrackerLife : public VlanTen {
  protected:
    static constexpr const char* H = "239.2.2.2";

    TrackerLife() {
        include(S1);
        start();
    }

    /// A tracker of group H, with a local include join of S2, that no collection holds.
    Lumo::Ptr<GroupTracker> loneGroup() {
        const auto source = Lumo::make<Gmp::SourceMembershipJoin>(address(S2));
        source->includeIntfIs(IntfId("swp1"));
        const auto record = Lumo::make<Gmp::GroupMembershipJoin>(address(H));
        record->sourceIs(source);
        return Lumo::make<GroupTracker>(record, vlan(10).get());
    }
};

TEST_F(TrackerLife, AGroupsTrackerThatNobodyReapedWithdrawsWhatItWrote) {
    auto tracker = loneGroup();
    EXPECT_THAT(memberships(),
                ElementsAre("(10.0.0.1, 239.1.1.1) include", "(10.0.0.2, 239.2.2.2) include"));
    tracker = nullptr;
    EXPECT_THAT(memberships(), ElementsAre("(10.0.0.1, 239.1.1.1) include"));
}

TEST_F(TrackerLife, AGroupsTrackerWithoutARecordHasNoSources) {
    auto tracker = Lumo::make<GroupTracker>(nullptr, vlan(10).get());
    EXPECT_TRUE(tracker->sourceMembership().empty());
    EXPECT_FALSE(tracker->requireStarG(IpGenAddr()));
    forget();
    tracker = nullptr;
    EXPECT_THAT(writes(), IsEmpty());
}

TEST_F(TrackerLife, ADeletionIsTracedWhileTheTableStillHoldsIt) {
    Texts tableThen;
    Trace::textSinkIs([&](const Trace::TextRecord& record) {
        if (record.text == del(S1)) tableThen = table();
    });
    leave(10, G, S1, "swp1");
    EXPECT_THAT(tableThen, ElementsAre("red.irb vlan10 (10.0.0.1, 239.1.1.1) include"));
    EXPECT_THAT(table(), IsEmpty());
}

}  // namespace
}  // namespace Irb::Multicast::Ingress
