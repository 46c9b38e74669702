// How readers sleep until the table changes: the order of steps, whatever carries them out.
#pragma once

#include <cstdint>

namespace Routing::Gmp::Tessel::Storage {

/// The writer's half. `Steps` are its single accesses to what it shares with the readers; in a
/// process they are system calls and words of shared memory.
///
/// A reader that is about to sleep raises a word of its own, `asked`, to the count of changes that
/// it saw; readers alone write that word. The writer looks at it behind each change. It calls the
/// operating system only if somebody went to sleep since its last call, and not more than once in
/// a while, however the word is kept. No barrier stands between its change and its look: the
/// reader's first sleep is so short, and yet so much longer than a store takes to become visible,
/// that a change that was overtaken by the look is met when that sleep ends.
class Waker {
  public:
    /// Behind each change.
    /// @param count the number of changes, this one included
    template <class Steps>
    void changed(Steps& steps, std::uint64_t count) {
        if (steps.asked() < woken_) return;
        if (steps.isTooSoon()) return;
        woken_ = count;
        steps.countWake();
        steps.wakeAll();
    }

  private:
    std::uint64_t woken_ = 0;  ///< the count of changes at the last call
};

/// A reader's half: one wait, however many sleeps it takes.
///
/// Readers sleep on the number of times that the writer woke them, not on the count of changes: a
/// call that comes between two sleeps shows in it. A full sleep follows only on a brief one during
/// all of which no call came, so that the writer is not in the while that it keeps between calls.
class Waiter {
  public:
    enum class Length { brief, full };

    /// @param seen the count of changes that the reader knows
    explicit Waiter(std::uint64_t seen) : seen_(seen) {}

    /// Sleeps once, if there is nothing new yet. Whatever ends the sleep, the caller looks again.
    template <class Steps>
    void sleep(Steps& steps) {
        const Length length = isRested_ ? Length::full : Length::brief;
        isRested_ = false;
        if (length == Length::brief) {
            wakes_ = steps.wakes();
            steps.ask(seen_);
        }
        if (steps.changes() != seen_) return;
        const bool isSleptOut = steps.sleepOn(wakes_, length);
        isRested_ = isSleptOut && length == Length::brief;
    }

  private:
    std::uint64_t seen_;
    std::uint64_t wakes_ = 0;  ///< the number of calls before the last brief sleep
    bool isRested_ = false;    ///< whether that sleep passed without a call
};

}  // namespace Routing::Gmp::Tessel::Storage
