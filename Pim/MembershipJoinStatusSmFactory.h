#pragma once

#include "MembershipJoinStatusSm.h"

namespace Irb::Multicast::Ingress {

/// Makes a state machine over its inputs, brings the table into line with them, and lets it react.
/// The machine lives as long as the reference that is returned, on the thread that called.
///
/// @param domain               the IRB multicast domain that the machine serves
/// @param membershipJoinStatus the joins; every reference may be null, which counts as an input
///                             that holds nothing
/// @param pegDrStatus          this router's PEG DR roles
/// @param l3IntfStatusDir      the VRFs of the L3 interfaces
/// @param enabledStatus        the SBD VLANs of the VXLAN domain
/// @param pimStatusColl        where PIM runs
/// @param gmpStatusLocalColl   the table that the machine writes; the only one it changes
/// @param gmpProxyStatus       the SBD VLANs of the MPLS domain
/// @param gmpStatusApp         the application under which it writes: statuses of any other are
///                             left alone
/// @throws Rix::RangeError if an input names a VLAN that cannot be one; the table stays as it was
///         when that was met, for the next start to reconcile
RIX_EXPORT Lumo::Ptr<MembershipJoinStatusSm> membershipJoinStatusSmFactory(
    Domain domain, const Lumo::Ptr<const Gmp::MembershipJoinStatus>& membershipJoinStatus,
    const Lumo::Ptr<const Routing::Multicast::PegDrStatus>& pegDrStatus,
    const Lumo::Ptr<const L3::Intf::StatusDir>& l3IntfStatusDir,
    const Lumo::Ptr<const Vxlan::EnabledStatus>& enabledStatus,
    const Lumo::Ptr<const Routing::Pim::StatusColl>& pimStatusColl,
    const Lumo::Ptr<Routing::Gmp::Tessel::StatusColl>& gmpStatusLocalColl,
    const Lumo::Ptr<const GmpProxyStatus>& gmpProxyStatus, Routing::Gmp::Tessel::App gmpStatusApp);

}  // namespace Irb::Multicast::Ingress
