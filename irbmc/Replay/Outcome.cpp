#include "Replay/Outcome.h"

#include <tuple>

namespace Irbmc::Replay {

bool statusOrder(const StatusPlace& left, const StatusPlace& right) {
    return std::tie(left.vrf, left.app) < std::tie(right.vrf, right.app);
}

bool tableOrder(const TableEntry& left, const TableEntry& right) {
    const MembershipPlace& a = left.place;
    const MembershipPlace& b = right.place;
    return std::tie(a.status.vrf, a.status.app, a.intf, a.group, a.source, left.mode) <
           std::tie(b.status.vrf, b.status.app, b.intf, b.group, b.source, right.mode);
}

}  // namespace Irbmc::Replay
