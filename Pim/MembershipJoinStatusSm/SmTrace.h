#pragma once

#include "Trace/Trace.h"

namespace Irb::Multicast::Ingress::Detail {

/// The handle to which the whole state machine traces: "Pim::MembershipJoinStatusSm".
Trace::Handle& smTrace();

}  // namespace Irb::Multicast::Ingress::Detail
