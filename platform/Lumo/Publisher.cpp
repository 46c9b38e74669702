#include "Lumo/Publisher.h"

#include <algorithm>

#include "Rix/Assert.h"

namespace Lumo {

Publisher::~Publisher() {
    RIX_ASSERT(subscribers() == 0);
}

void Publisher::subscriberIs(Subscriber& subscriber) {
    subscribers_.push_back(&subscriber);
}

void Publisher::subscriberDel(Subscriber& subscriber) {
    const auto found = std::find(subscribers_.begin(), subscribers_.end(), &subscriber);
    if (found == subscribers_.end()) return;
    if (deliveries_ == 0) {
        subscribers_.erase(found);
    } else {
        *found = nullptr;
        hasGaps_ = true;
    }
}

std::size_t Publisher::subscribers() const {
    return subscribers_.size() -
           static_cast<std::size_t>(std::count(subscribers_.begin(), subscribers_.end(), nullptr));
}

void Publisher::deliver(const Notification& change) {
    struct UnderWay {
        Publisher& publisher;
        explicit UnderWay(Publisher& p) : publisher(p) { ++publisher.deliveries_; }
        ~UnderWay() {
            if (--publisher.deliveries_ == 0 && publisher.hasGaps_) {
                std::erase(publisher.subscribers_, nullptr);
                publisher.hasGaps_ = false;
            }
        }
    };
    const UnderWay underWay(*this);
    const std::size_t count = subscribers_.size();
    for (std::size_t i = 0; i < count; ++i) {
        if (Subscriber* subscriber = subscribers_[i]) subscriber->onNotification(change);
    }
}

}  // namespace Lumo
