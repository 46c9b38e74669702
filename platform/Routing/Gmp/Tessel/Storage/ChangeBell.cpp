#include "Routing/Gmp/Tessel/Storage/ChangeBell.h"

#include <sys/eventfd.h>

#include <cerrno>
#include <condition_variable>
#include <csignal>
#include <exception>
#include <mutex>
#include <system_error>
#include <thread>
#include <utility>

#include "Rix/FileDescriptor.h"

namespace Routing::Gmp::Tessel::Storage {

/// What the two threads share; all but the waiter under the mutex.
struct ChangeBell::State {
    State(std::unique_ptr<ChangeWaiter> itsWaiter, std::uint64_t itsSeen)
        : waiter(std::move(itsWaiter)),
          event(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)),
          seen(itsSeen) {
        if (!event.isOpen()) {
            throw std::system_error(errno, std::generic_category(), "no descriptor for changes");
        }
    }

    /// The thread, from beginning to end.
    void watch();
    /// Waits for a change behind those.
    enum class Outcome { change, cancelled, failure };
    Outcome waitBehind(std::uint64_t known);
    void ring() {
        isRung = true;
        eventfd_write(event.number(), 1);
    }

    const std::unique_ptr<ChangeWaiter> waiter;
    std::mutex mutex;
    std::condition_variable asked;
    const Rix::FileDescriptor event;
    std::uint64_t seen;
    bool isRung = false;
    bool isStuck = false;  ///< rings for good
    bool isOver = false;
    std::thread thread;
};

ChangeBell::State::Outcome ChangeBell::State::waitBehind(std::uint64_t known) {
    try {
        return waiter->wait(known, std::nullopt) ? Outcome::change : Outcome::cancelled;
    } catch (const std::exception&) {
        // The reader meets the same when he is rung.
        return Outcome::failure;
    }
}

void ChangeBell::State::watch() {
    std::unique_lock lock(mutex);
    while (!isOver && !isStuck) {
        if (isRung) {
            asked.wait(lock);
            continue;
        }
        const std::uint64_t known = seen;
        lock.unlock();
        const Outcome outcome = waitBehind(known);
        lock.lock();
        isStuck = outcome == Outcome::failure;
        // The reader may have asked meanwhile, and know of the change.
        if (isStuck || (outcome == Outcome::change && known == seen)) ring();
    }
}

namespace {

/// A thread that gets no signals but those that its own accesses raise.
std::thread quietThread(auto run) {
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    for (const int own : {SIGBUS, SIGSEGV, SIGFPE, SIGILL, SIGTRAP})
        sigdelset(&all, own);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    try {
        std::thread thread(run);
        pthread_sigmask(SIG_SETMASK, &before, nullptr);
        return thread;
    } catch (...) {
        pthread_sigmask(SIG_SETMASK, &before, nullptr);
        throw;
    }
}

}  // namespace

ChangeBell::ChangeBell(std::unique_ptr<ChangeWaiter> waiter, std::uint64_t seen)
    : state_(std::make_unique<State>(std::move(waiter), seen)) {
    state_->thread = quietThread([state = state_.get()] { state->watch(); });
}

ChangeBell::~ChangeBell() {
    if (!process_.isHere()) {
        // There is no thread to be joined, and a lock that it held is held for ever.
        static_cast<void>(state_.release());
        return;
    }
    {
        const std::lock_guard guard(state_->mutex);
        state_->isOver = true;
    }
    state_->asked.notify_one();
    state_->waiter->cancel();
    state_->thread.join();
}

int ChangeBell::descriptor() const {
    return state_->event.number();
}

void ChangeBell::seenIs(std::uint64_t seen) {
    const std::lock_guard guard(state_->mutex);
    state_->seen = seen;
    if (!state_->isRung || state_->isStuck) return;
    eventfd_t count = 0;
    eventfd_read(state_->event.number(), &count);
    state_->isRung = false;
    state_->asked.notify_one();
}

}  // namespace Routing::Gmp::Tessel::Storage
