#pragma once

#include <atomic>
#include <cstdint>

namespace Routing::Gmp::Tessel::Storage {

/// Tells a process from one that it was forked from, however that was done: the system empties the
/// page on which the mark is when it copies the process. May be used from any thread.
class ProcessMark {
  public:
    /// The mark of the process that calls.
    /// @throws std::system_error if memory is full
    ProcessMark();

    /// Whether this is still the process that made the mark.
    bool isHere() const { return page_->load(std::memory_order_relaxed) == value_; }

  private:
    using Page = std::atomic<std::uint64_t>;
    static Page* thePage();

    const Page* page_;
    std::uint64_t value_;
};

}  // namespace Routing::Gmp::Tessel::Storage
