#pragma once

#include "Irb/Multicast/Domain.h"
#include "Irb/Multicast/Gmp/MembershipJoinStatus.h"
#include "Irb/Multicast/GmpProxyStatus.h"
#include "L3/Intf/StatusDir.h"
#include "Lumo/Ptr.h"
#include "Routing/Gmp/Tessel/App.h"
#include "Routing/Gmp/Tessel/StatusColl.h"
#include "Routing/Multicast/PegDrStatus.h"
#include "Routing/Pim/StatusColl.h"
#include "Vxlan/EnabledStatus.h"

namespace Irb::Multicast::Ingress::Detail {

/// What a machine is made over, in the order in which it is given; membershipJoinStatusSmFactory
/// says what each is. Every reference may be null.
struct Inputs {
    Domain domain;
    Lumo::Ptr<const Gmp::MembershipJoinStatus> membershipJoinStatus;
    Lumo::Ptr<const Routing::Multicast::PegDrStatus> pegDrStatus;
    Lumo::Ptr<const L3::Intf::StatusDir> l3IntfStatusDir;
    Lumo::Ptr<const Vxlan::EnabledStatus> enabledStatus;
    Lumo::Ptr<const Routing::Pim::StatusColl> pimStatusColl;
    Lumo::Ptr<Routing::Gmp::Tessel::StatusColl> gmpStatusLocalColl;
    Lumo::Ptr<const GmpProxyStatus> gmpProxyStatus;
    Routing::Gmp::Tessel::App gmpStatusApp;
};

}  // namespace Irb::Multicast::Ingress::Detail
