#pragma once

namespace Irb::Multicast::Ingress::Detail {

/// Follows every record of a collection, and forgets the trackers that have none.
/// @param follow takes a record; called for each, also for those that are followed already
/// @param forget takes the key of a tracker
template <class Records, class Trackers, class Follow, class Forget>
void followAll(const Records& records, const Trackers& trackers, const Follow& follow,
               const Forget& forget) {
    for (const auto& record : records)
        follow(record.value);
    for (const auto& tracker : trackers) {
        if (!records.contains(tracker.key)) forget(tracker.key);
    }
}

}  // namespace Irb::Multicast::Ingress::Detail
