// An input that is replaced while something fails: the machine listens to the new one.
#include <stdexcept>

#include "Pim/Fabric.h"
#include "Trace/TextSink.h"

namespace Irb::Multicast::Ingress::Detail {
namespace {

class ReplacedInput : public Fabric {
  protected:
    static void failAt(const std::string& function) {
        Trace::textSinkIs([function](const Trace::TextRecord& record) {
            if (record.function == function) throw std::runtime_error("no " + function);
        });
    }
};

TEST_F(ReplacedInput, TheVxlanMapsAreListenedToThoughTheirReplayFails) {
    start();
    const auto maps = Lumo::make<Vxlan::EnabledStatus>();
    maps->vrfToSBDVlanIs(vrf("red"), 100);
    failAt("handleVxlanVrfToSbdVlan");
    EXPECT_EQ(errorOf([&] { machine->enabledStatusIs(maps); }), "no handleVxlanVrfToSbdVlan");
    EXPECT_EQ(maps->publisher()->subscribers(), 1u);
    EXPECT_EQ(enabledStatus->publisher()->subscribers(), 0u);
}

TEST_F(ReplacedInput, TheMplsMapsAreListenedToThoughTheirReplayFails) {
    start();
    const auto maps = Lumo::make<GmpProxyStatus>();
    maps->vrfToSbdVlanIs(vrf("red"), VlanId(100));
    failAt("handleMplsVrfToSbdVlan");
    EXPECT_EQ(errorOf([&] { machine->gmpProxyStatusIs(maps); }), "no handleMplsVrfToSbdVlan");
    EXPECT_EQ(maps->publisher()->subscribers(), 1u);
    EXPECT_EQ(gmpProxyStatus->publisher()->subscribers(), 0u);
}

}  // namespace
}  // namespace Irb::Multicast::Ingress::Detail
