#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "Lumo/Notification.h"
#include "Lumo/Subscriber.h"
#include "Rix/Export.h"

namespace Lumo {

/// The list of those who listen to one object, in the order in which they subscribed. Part of that
/// object; belongs to its thread.
class RIX_EXPORT Publisher {
  public:
    Publisher() = default;
    Publisher(const Publisher&) = delete;
    Publisher& operator=(const Publisher&) = delete;
    /// Nobody may be subscribed any more.
    ~Publisher();

    /// Appends a subscriber, which must not be subscribed. One that subscribes during a delivery
    /// first hears the next.
    void subscriberIs(Subscriber& subscriber);
    /// Removes a subscriber; one that does so during a delivery hears no more of it. Nothing
    /// happens if it is not subscribed.
    void subscriberDel(Subscriber& subscriber);
    std::size_t subscribers() const;

    /// Tells every subscriber. For Delivery alone: others use publish, which keeps the order of
    /// changes.
    void deliver(const Notification& change);

  private:
    /// Holds null where someone unsubscribed during a delivery.
    std::vector<Subscriber*> subscribers_;
    std::uint32_t deliveries_ = 0;
    bool hasGaps_ = false;
};

}  // namespace Lumo
