#include "Replay/Outcome.h"

#include <tuple>

namespace Irbmc::Replay {

bool statusOrder(const StatusPlace& left, const StatusPlace& right) {
    return std::tie(left.vrf, left.app) < std::tie(right.vrf, right.app);
}

bool placeOrder(const MembershipPlace& left, const MembershipPlace& right) {
    return std::tie(left.status.vrf, left.status.app, left.intf, left.group, left.source) <
           std::tie(right.status.vrf, right.status.app, right.intf, right.group, right.source);
}

bool tableOrder(const TableEntry& left, const TableEntry& right) {
    if (placeOrder(left.place, right.place)) return true;
    return left.mode < right.mode && !placeOrder(right.place, left.place);
}

}  // namespace Irbmc::Replay
