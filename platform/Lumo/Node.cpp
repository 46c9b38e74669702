#include "Lumo/Node.h"

namespace Lumo {

namespace Detail {
std::atomic<bool> threadSafeReferences{false};
}

void threadSafeReferencesIs(bool threadSafe) noexcept {
    Detail::threadSafeReferences.store(threadSafe, std::memory_order_relaxed);
}

void Node::isRegisteredNotifieeIs(bool) {}

void Node::onZeroReferences() const {
    lastUserGone();
    delete this;
}

}  // namespace Lumo
