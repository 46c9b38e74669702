#include "MembershipJoinStatusSm/SmTrace.h"

namespace Irb::Multicast::Ingress::Detail {

Trace::Handle& smTrace() {
    static Trace::Handle& handle = Trace::Handle::get("Pim::MembershipJoinStatusSm");
    return handle;
}

}  // namespace Irb::Multicast::Ingress::Detail
