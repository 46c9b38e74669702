// The two feature toggles of the state machine: what they are without a setting, and where an
// operator sets them.
#include <gtest/gtest.h>

#include <fstream>
#include <string>

#include "MembershipJoinStatusSm/FeatureToggles.h"
#include "TemporaryDirectory.h"
#include "Toggle/FeatureToggle.h"
#include "Toggle/Toggle.h"

namespace Irb::Multicast::Ingress::Detail {
namespace {

/// A toggle directory of the test's own, and a process that has read no toggle.
class FeatureToggles : public testing::Test {
  protected:
    FeatureToggles() {
        Toggle::toggleDirectoryIs(directory_.path());
        Toggle::forget();
    }
    ~FeatureToggles() override {
        Toggle::toggleDirectoryIs("");
        Toggle::forget();
    }

    void fileIs(const std::string& name, const std::string& text) const {
        std::ofstream(directory_.file(name)) << text;
    }

  private:
    const TemporaryDirectory directory_;
};

TEST_F(FeatureToggles, BothAreOnWhereNobodySetThem) {
    EXPECT_TRUE(isOismMplsTunnel());
    EXPECT_TRUE(isOismGateway());
}

TEST_F(FeatureToggles, TheMplsTunnelIsTurnedOffInItsOwnFile) {
    fileIs("MvpnLib.json", R"({"OismMplsTunnel": false, "OismGateway": false})");
    EXPECT_FALSE(isOismMplsTunnel());
    EXPECT_TRUE(isOismGateway());
}

TEST_F(FeatureToggles, TheGatewayIsTurnedOffInItsOwnFile) {
    fileIs("McastVpnLib.json", R"({"OismMplsTunnel": false, "OismGateway": false})");
    EXPECT_TRUE(isOismMplsTunnel());
    EXPECT_FALSE(isOismGateway());
}

}  // namespace
}  // namespace Irb::Multicast::Ingress::Detail
