#include "Routing/Gmp/Tessel/Storage/ChangeWaiter.h"

#include <chrono>
#include <thread>
#include <utility>

namespace Routing::Gmp::Tessel::Storage {

namespace {

/// True as long as it lives.
class While {
  public:
    explicit While(std::atomic<bool>& flag) : flag_(flag) { flag_.store(true); }
    While(const While&) = delete;
    While& operator=(const While&) = delete;
    ~While() { flag_ = false; }

  private:
    std::atomic<bool>& flag_;
};

}  // namespace

ChangeWaiter::ChangeWaiter(std::shared_ptr<const TableFile> file, std::optional<FileWatch> watch,
                           std::shared_ptr<Sleepers> sleepers)
    : file_(std::move(file)), watch_(std::move(watch)), sleepers_(std::move(sleepers)) {}

std::unique_ptr<ChangeWaiter> ChangeWaiter::another() const {
    return std::make_unique<ChangeWaiter>(file_, watch_, watch_ ? nullptr : sleepers_);
}

void ChangeWaiter::openSleepers() {
    sleepers_ = std::make_shared<Sleepers>(Sleepers::forReader(*watch_->directory()));
}

void ChangeWaiter::check() {
    file_->checkWhole();
    if (!watch_ || !watch_->isDueByClock()) return;
    watch_->look();
    // The writer made them anew.
    if (sleepers_ && !sleepers_->isIn(*watch_->directory())) openSleepers();
}

bool ChangeWaiter::wait(std::uint64_t seen, Deadline deadline) {
    const While waiting(isWaiting_);
    if (!sleepers_) openSleepers();
    SleepSteps steps(control(), deadline);
    Waiter waiter(seen);
    for (;;) {
        check();
        if (isCancelled_) return false;
        if (isChanged(seen)) return true;
        if (deadline && std::chrono::steady_clock::now() >= *deadline) return false;
        steps.sleepersAre(*sleepers_);
        waiter.sleep(steps);
    }
}

void ChangeWaiter::cancel() {
    isCancelled_ = true;
    // A wait that looked just before is about to sleep, and is woken when it does.
    while (isWaiting_) {
        wakeSleepers(control());
        std::this_thread::yield();
    }
}

}  // namespace Routing::Gmp::Tessel::Storage
