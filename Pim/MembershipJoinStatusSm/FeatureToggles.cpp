#include "MembershipJoinStatusSm/FeatureToggles.h"

#include "Toggle/FeatureToggle.h"

namespace Irb::Multicast::Ingress::Detail {

namespace {

// With static storage: their names are known as soon as the library is loaded.
Toggle::FeatureToggle oismMplsTunnel("MvpnLib.json", "OismMplsTunnel", true);
Toggle::FeatureToggle oismGateway("McastVpnLib.json", "OismGateway", true);

}  // namespace

bool isOismMplsTunnel() {
    return oismMplsTunnel.enabled();
}

bool isOismGateway() {
    return oismGateway.enabled();
}

}  // namespace Irb::Multicast::Ingress::Detail
