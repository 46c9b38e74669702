#pragma once

#include <cstdint>
#include <memory>

#include "Routing/Gmp/Tessel/Storage/ChangeWaiter.h"
#include "Routing/Gmp/Tessel/Storage/ProcessMark.h"

namespace Routing::Gmp::Tessel::Storage {

/// A file descriptor that becomes readable when a table changed, for readers that wait for several
/// things at once. A thread of its own waits for the change. Owned by the reader; belongs to his
/// thread.
class ChangeBell {
  public:
    /// @param seen the count of changes that the reader knows
    /// @throws std::system_error if there is no descriptor or no thread to be had
    ChangeBell(std::unique_ptr<ChangeWaiter> waiter, std::uint64_t seen);
    ChangeBell(const ChangeBell&) = delete;
    ChangeBell& operator=(const ChangeBell&) = delete;
    /// Ends the thread at once. In a process that was forked from the bell's own, where there is no
    /// such thread, does nothing.
    ~ChangeBell();

    int descriptor() const;
    /// The count of changes that the reader knows now: the descriptor is not readable until there
    /// are more. It stays readable if the table can no longer be waited for, which the reader is
    /// told when he asks for changes.
    void seenIs(std::uint64_t seen);

  private:
    struct State;

    const ProcessMark process_;
    std::unique_ptr<State> state_;
};

}  // namespace Routing::Gmp::Tessel::Storage
