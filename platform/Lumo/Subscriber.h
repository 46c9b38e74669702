#pragma once

#include "Lumo/Notification.h"
#include "Rix/Export.h"

namespace Lumo {

/// Someone who listens to the changes of an object. Belongs to the thread of that object, and must
/// unsubscribe before it is destroyed.
class RIX_EXPORT Subscriber {
  public:
    Subscriber() = default;
    Subscriber(const Subscriber&) = delete;
    Subscriber& operator=(const Subscriber&) = delete;
    virtual ~Subscriber() = default;

    /// Told of a change right after it was made. May subscribe and unsubscribe anyone, destroy
    /// this subscriber, and change the very object it is told of. What it throws ends the delivery
    /// and reaches whoever made the change.
    virtual void onNotification(const Notification& change) = 0;
};

}  // namespace Lumo
