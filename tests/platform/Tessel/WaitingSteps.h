// The protocol of waiting carried out on a real machine: its steps as system calls and shared
// words, with delays between any two of them.
#pragma once

#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <climits>
#include <cstdint>
#include <ctime>
#include <thread>

#include "Fixture.h"
#include "Routing/Gmp/Tessel/Storage/WakeProtocol.h"

namespace Tessel::Test::Waiting {

using Clock = std::chrono::steady_clock;
using Routing::Gmp::Tessel::Storage::Waiter;
using Routing::Gmp::Tessel::Storage::Waker;

/// Shorter than the real ones, in the same proportion, so that there are more waits.
constexpr std::chrono::nanoseconds pause = std::chrono::microseconds(5);
constexpr std::chrono::nanoseconds briefSleep = std::chrono::microseconds(50);

/// What writer and readers share, each word on a line of its own.
struct Memory {
    alignas(64) std::atomic<std::uint64_t> asked{0};
    alignas(64) std::atomic<std::uint64_t> changes{0};
    alignas(64) std::atomic<std::uint32_t> wakes{0};
    /// What each of the two readers knows; UINT64_MAX when it has waited often enough.
    alignas(64) std::atomic<std::uint64_t> known[2] = {0, 0};
    /// The last that each knew when there was more and the writer had told so, and when that was,
    /// as the clock counts. A writer who is held up ahead of that makes nobody sleep too long.
    std::atomic<std::uint64_t> told[2] = {UINT64_MAX, UINT64_MAX};
    std::atomic<Clock::rep> toldAt[2] = {0, 0};
    alignas(64) std::atomic<std::uint64_t> waits{0};
    std::atomic<std::uint64_t> sleeps{0};
    std::atomic<std::uint64_t> lost{0};
};

/// Between any two steps the processor may be somebody else's for a while.
class Delays {
  public:
    explicit Delays(std::uint64_t seed) : random_(seed) {}
    void maybe() {
        const std::uint32_t number = random_.below(256);
        if (number == 0) std::this_thread::yield();
        for (std::uint32_t i = 0; number < 16 && i < number * 32; ++i)
            std::atomic_signal_fence(std::memory_order_seq_cst);
    }
    bool coin() { return random_.below(2) == 0; }

  private:
    Random random_;
};

class WriterSteps {
  public:
    WriterSteps(Memory& memory, Delays& delays) : memory_(memory), delays_(delays) {}

    std::uint64_t asked() {
        delays_.maybe();
        return memory_.asked.load(std::memory_order_relaxed);
    }
    bool isTooSoon() {
        delays_.maybe();
        const auto now = Clock::now();
        if (now < next_) return true;
        next_ = now + pause;
        return false;
    }
    void countWake() {
        delays_.maybe();
        memory_.wakes.store(++wakes_, std::memory_order_release);
    }
    void wakeAll() {
        delays_.maybe();
        syscall(SYS_futex, &memory_.wakes, FUTEX_WAKE, INT_MAX, nullptr, nullptr, 0);
    }

  private:
    Memory& memory_;
    Delays& delays_;
    Clock::time_point next_{};
    std::uint32_t wakes_ = 0;
};

class ReaderSteps {
  public:
    ReaderSteps(Memory& memory, Delays& delays, int reader, std::uint64_t seen)
        : memory_(memory), delays_(delays), reader_(reader), seen_(seen) {}

    std::uint64_t wakes() {
        delays_.maybe();
        return memory_.wakes.load();
    }
    void ask(std::uint64_t seen) {
        delays_.maybe();
        std::uint64_t asked = memory_.asked.load();
        while (asked < seen && !memory_.asked.compare_exchange_weak(asked, seen)) {
        }
    }
    std::uint64_t changes() {
        delays_.maybe();
        return memory_.changes.load();
    }
    bool sleepOn(std::uint64_t wakes, Waiter::Length length) {
        delays_.maybe();
        ++memory_.sleeps;
        const bool isFull = length == Waiter::Length::full;
        const timespec left = isFull ? timespec{0, 500'000'000} : timespec{0, briefSleep.count()};
        const bool isSleptOut =
            syscall(SYS_futex, &memory_.wakes, FUTEX_WAIT, static_cast<std::uint32_t>(wakes), &left,
                    nullptr, 0) != 0 &&
            errno == ETIMEDOUT;
        const bool isTold = memory_.told[reader_].load() == seen_;
        const auto age = Clock::now().time_since_epoch().count() - memory_.toldAt[reader_].load();
        // A change that comes just when the sleep ends anyway is not lost.
        if (isFull && isSleptOut && isTold &&
            Clock::duration(age) > std::chrono::milliseconds(100)) {
            ++memory_.lost;
        }
        return isSleptOut;
    }

  private:
    Memory& memory_;
    Delays& delays_;
    int reader_;
    std::uint64_t seen_;
};

/// One reader: waits for changes until that many waits were made in all, or `isOver`.
inline void readChanges(Memory& memory, int reader, std::uint64_t seed, std::uint64_t wanted,
                        const std::atomic<bool>& isOver) {
    Delays delays(seed);
    for (std::uint64_t seen = 0; memory.waits < wanted && !isOver;
         seen = memory.changes.load(), ++memory.waits) {
        memory.known[reader] = seen;
        Waiter waiter(seen);
        ReaderSteps steps(memory, delays, reader, seen);
        while (memory.changes.load() == seen)
            waiter.sleep(steps);
    }
    memory.known[reader] = UINT64_MAX;
}

/// The writer: makes changes until both readers are done.
inline void makeChanges(Memory& memory, std::uint64_t seed) {
    Delays delays(seed);
    WriterSteps steps(memory, delays);
    Waker waker;
    std::uint64_t changes = 0;
    const auto isBehind = [&](std::uint64_t count) {
        return memory.known[0] < count || memory.known[1] < count;
    };
    while (isBehind(UINT64_MAX)) {
        memory.changes.store(++changes, std::memory_order_release);
        waker.changed(steps, changes);
        for (const int reader : {0, 1}) {
            const std::uint64_t known = memory.known[reader];
            if (known >= changes || known == memory.told[reader]) continue;
            memory.toldAt[reader] = Clock::now().time_since_epoch().count();
            memory.told[reader] = known;
        }
        // Half of the changes meet readers that sleep, or are about to.
        while (delays.coin() && isBehind(changes))
            std::this_thread::yield();
    }
}

}  // namespace Tessel::Test::Waiting
