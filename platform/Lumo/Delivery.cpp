#include "Lumo/Delivery.h"

#include <deque>
#include <utility>

#include "Lumo/Ptr.h"
#include "Lumo/Publisher.h"
#include "Rix/Assert.h"
#include "Rix/FirstError.h"

namespace Lumo::Delivery {

namespace {

struct Loop {
    unsigned depth = 0;
    std::deque<std::function<void()>> waiting;
};

thread_local Loop loop;

class UnderWay {
  public:
    UnderWay() { ++loop.depth; }
    ~UnderWay() { --loop.depth; }
    UnderWay(const UnderWay&) = delete;
    UnderWay& operator=(const UnderWay&) = delete;
};

void deliverWaiting(Rix::FirstError& error) {
    while (!loop.waiting.empty()) {
        const auto delivery = std::move(loop.waiting.front());
        loop.waiting.pop_front();
        error.run(delivery);
    }
}

}  // namespace

bool isUnderWay() noexcept {
    return loop.depth != 0;
}

void deliver(const Notification& change) {
    Publisher* publisher = change.publisher.publisher();
    RIX_ASSERT(publisher);
    // A reaction may drop the last reference to the object that changed.
    const Ptr<const Node> kept(change.publisher.references() ? &change.publisher : nullptr);
    if (isUnderWay()) return publisher->deliver(change);
    const UnderWay underWay;
    Rix::FirstError error;
    error.run([&] { publisher->deliver(change); });
    deliverWaiting(error);
    error.raise();
}

void postpone(std::function<void()> delivery) {
    RIX_ASSERT(isUnderWay());
    loop.waiting.push_back(std::move(delivery));
}

}  // namespace Lumo::Delivery
