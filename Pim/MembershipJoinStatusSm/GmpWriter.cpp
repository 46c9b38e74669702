// The one place where the machine writes to the GMP status table.
#include <string>

#include "MembershipJoinStatusSm/Root.h"
#include "MembershipJoinStatusSm/SmTrace.h"
#include "Ondel/VlanIntfId.h"
#include "Rix/Assert.h"
#include "Rix/CorruptionError.h"

namespace Irb::Multicast::Ingress::Detail {

using Routing::Gmp::Tessel::FilterMode;
using Routing::Gmp::Tessel::Membership;
using Routing::Gmp::Tessel::RouteIntfKey;
using Routing::Gmp::Tessel::Status;

namespace {

/// The status's entry for a key; the default record where there is none, or where the entry is
/// damaged, which is reported.
Membership entryOf(const Status& status, const RouteIntfKey& key) {
    try {
        return status.membership(key);
    } catch (const Rix::CorruptionError& corruption) {
        status.handleCorruption(corruption.what());
        return {};
    }
}

}  // namespace

Lumo::Ptr<Status> MembershipJoinStatusSm::gmpStatus(
    const Routing::Gmp::Tessel::VrfApp& gmpVrfApp) const {
    return inputs_.gmpStatusLocalColl ? inputs_.gmpStatusLocalColl->gmpStatus(gmpVrfApp) : nullptr;
}

void MembershipJoinStatusSm::addMembership(const L3::VrfName& vrfName,
                                           const Routing::Gmp::Tessel::VrfApp& gmpVrfApp,
                                           const Ondel::IpGenAddr& source,
                                           const Ondel::IpGenAddr& groupAddr,
                                           Bridging::VlanId vlanId, FilterMode mode) {
    TRACE_BLOCK(smTrace(),
                "void Irb::Multicast::Ingress::MembershipJoinStatusSm::addMembership("
                "const L3::VrfName&, const Routing::Gmp::Tessel::VrfApp&, const Ondel::IpGenAddr&, "
                "const Ondel::IpGenAddr&, Bridging::VlanId, bool)");
    RIX_ASSERT(vrfName);
    const Ondel::IntfId intfId = Ondel::VlanIntfId::vlanIdToIntfId(vlanId.value());
    const Membership membership({intfId, source, groupAddr}, mode);
    TRACE(smTrace(), 7, "addMembership", "addMembership: Add gmpStatus: {}- ( {}, {}, {} , {} ) {}",
          vrfName, source, groupAddr, intfId, membership.filterMode(), gmpVrfApp.app);
    if (!inputs_.gmpStatusLocalColl) return;
    if (!gmpStatus(gmpVrfApp)) {
        const std::string name =
            std::string(vrfName.text()) + "." + Routing::Gmp::Tessel::stringValue(gmpVrfApp.app);
        inputs_.gmpStatusLocalColl->gmpStatusIs(gmpVrfApp, Lumo::make<Status>(name));
    }
    gmpStatus(gmpVrfApp)->membershipIs(membership);
}

void MembershipJoinStatusSm::delMembership(const L3::VrfName& vrfName,
                                           const Routing::Gmp::Tessel::VrfApp& gmpVrfApp,
                                           const Ondel::IpGenAddr& source,
                                           const Ondel::IpGenAddr& groupAddr,
                                           Bridging::VlanId vlanId, FilterMode mode) {
    TRACE_BLOCK(smTrace(),
                "void Irb::Multicast::Ingress::MembershipJoinStatusSm::delMembership("
                "const L3::VrfName&, const Routing::Gmp::Tessel::VrfApp&, const Ondel::IpGenAddr&, "
                "const Ondel::IpGenAddr&, Bridging::VlanId, bool)");
    RIX_ASSERT(vrfName);
    const Ondel::IntfId intfId = Ondel::VlanIntfId::vlanIdToIntfId(vlanId.value());
    const RouteIntfKey key{intfId, source, groupAddr};
    const Lumo::Ptr<Status> status = gmpStatus(gmpVrfApp);
    if (!status) return;
    if (entryOf(*status, key).filterMode() == mode) {
        TRACE(smTrace(), 7, "delMembership",
              "delMembership: Del gmpStatus: {}- ( {}, {}, {} , {} ) {}", vrfName, source,
              groupAddr, intfId, mode, gmpVrfApp.app);
        status->membershipDel(key);
    }
    if (status->memberships() == 0) inputs_.gmpStatusLocalColl->gmpStatusDel(gmpVrfApp);
}

void MembershipJoinStatusSm::delMembershipOfAnyMode(const L3::VrfName& vrfName,
                                                    const Routing::Gmp::Tessel::VrfApp& gmpVrfApp,
                                                    const Ondel::IpGenAddr& source,
                                                    const Ondel::IpGenAddr& groupAddr,
                                                    Bridging::VlanId vlanId) {
    const Lumo::Ptr<Status> status = gmpStatus(gmpVrfApp);
    if (!status) return;
    const RouteIntfKey key{Ondel::VlanIntfId::vlanIdToIntfId(vlanId.value()), source, groupAddr};
    const Membership entry = entryOf(*status, key);
    if (entry.key() != key) return;
    delMembership(vrfName, gmpVrfApp, source, groupAddr, vlanId, entry.filterMode());
}

}  // namespace Irb::Multicast::Ingress::Detail
