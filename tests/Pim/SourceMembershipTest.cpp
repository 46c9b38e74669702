// The sources of a group: what their include and exclude joins write.
#include "Pim/Fabric.h"

namespace Irb::Multicast::Ingress {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class SourceMembership : public Fabric {
  protected:
    SourceMembership() { bind("vlan10", "red"); }
};

TEST_F(SourceMembership, ALocalIncludeJoinIsPublishedAndTraced) {
    start();
    forget();
    join(10, "239.1.1.1", "10.0.0.1", "swp1");
    EXPECT_THAT(table(), ElementsAre("red.irb vlan10 (10.0.0.1, 239.1.1.1) include"));
    EXPECT_TRUE(traced(
        "8 handleInclude | handleInclude: Update gmpStatus (red) for Smet ( Vlan 10, 10.0.0.1, "
        "239.1.1.1 ), add include: true"));
}

TEST_F(SourceMembership, AnIncludeJoinOfTunnelsAloneIsNotPublished) {
    start();
    join(10, "239.1.1.1", "10.0.0.1", "mtunnel1");
    EXPECT_THAT(table(), IsEmpty());
}

TEST_F(SourceMembership, OnTheSbdVlanOfTheDrAnIncludeJoinOfTunnelsIsPublished) {
    sbd("red", 10);
    pegDr(10, 1);
    start();
    join(10, "239.1.1.1", "10.0.0.1", "mtunnel1");
    EXPECT_THAT(table(), ElementsAre("red.irb vlan10 (10.0.0.1, 239.1.1.1) include"));
}

TEST_F(SourceMembership, StoppingWithdrawsEverything) {
    start();
    join(10, "239.1.1.1", "10.0.0.1", "swp1");
    join(10, "239.1.1.1", "10.0.0.2", "swp1", Mode::exclude);
    EXPECT_THAT(table(), ElementsAre("red.irb vlan10 (0.0.0.0, 239.1.1.1) include",
                                     "red.irb vlan10 (10.0.0.1, 239.1.1.1) include",
                                     "red.irb vlan10 (10.0.0.2, 239.1.1.1) exclude"));
    stop();
    EXPECT_THAT(table(), IsEmpty());
    EXPECT_THAT(statuses(), IsEmpty());
}

}  // namespace
}  // namespace Irb::Multicast::Ingress
