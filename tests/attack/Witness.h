// What the processes of an attack tell each other.
#pragma once

#include <atomic>
#include <cstddef>
#include <exception>
#include <functional>
#include <string>

#include "Run.h"

namespace Tessel::Attack {

/// The first broken promise that any process of an attack saw. Lies in memory that they share.
class Witness {
  public:
    void tell(const std::string& what) {
        if (isTold_.exchange(true)) return;
        what.copy(text_, sizeof text_ - 1);
        isWrong_ = true;
    }
    bool isWrong() const { return isWrong_; }
    /// @throws BrokenPromise if something was told
    void raise() const { promise(!isWrong_, text_); }

    /// Calls `act` until something is told or `isOver` says so, and tells what it raises.
    void watch(const std::function<void()>& act, const std::atomic<bool>& isOver) {
        try {
            while (!isOver && !isWrong_)
                act();
        } catch (const std::exception& error) {
            tell(error.what());
        }
    }

  private:
    std::atomic<bool> isTold_{false};
    std::atomic<bool> isWrong_{false};
    char text_[400] = {};
};

}  // namespace Tessel::Attack
