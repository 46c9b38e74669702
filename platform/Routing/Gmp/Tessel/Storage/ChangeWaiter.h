#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <optional>

#include "Routing/Gmp/Tessel/Storage/FileWatch.h"
#include "Routing/Gmp/Tessel/Storage/Format.h"
#include "Routing/Gmp/Tessel/Storage/Sleepers.h"
#include "Routing/Gmp/Tessel/Storage/TableFile.h"

namespace Routing::Gmp::Tessel::Storage {

/// A reader that waits for its table to change, and looks meanwhile whether it is still the table.
/// Owned by the reader. Belongs to one thread, but for cancel().
class ChangeWaiter {
  public:
    /// @param watch    nothing for a table without files
    /// @param sleepers where to ask for being woken, if not in the file beside the table
    ChangeWaiter(std::shared_ptr<const TableFile> file, std::optional<FileWatch> watch,
                 std::shared_ptr<Sleepers> sleepers);
    ChangeWaiter(const ChangeWaiter&) = delete;
    ChangeWaiter& operator=(const ChangeWaiter&) = delete;

    /// One for another thread, over the same table.
    std::unique_ptr<ChangeWaiter> another() const;

    /// Sleeps until the count of changes is no longer `seen`.
    /// @returns whether it is; false if the deadline came, or cancel()
    /// @throws what check() raises
    bool wait(std::uint64_t seen, Deadline deadline);
    /// @throws std::system_error if the file was cut short
    /// @throws TableGoneError    if the directory or a file in it was removed or replaced, half a
    ///                           second later at the latest
    void check();
    /// Ends a wait, and all that follow. From any thread.
    void cancel();

  private:
    const Control& control() const { return file_->at<const Control>(controlPage); }
    bool isChanged(std::uint64_t seen) const {
        return control().changes.load(std::memory_order_acquire) != seen;
    }
    void openSleepers();

    std::shared_ptr<const TableFile> file_;
    std::optional<FileWatch> watch_;
    std::shared_ptr<Sleepers> sleepers_;
    std::atomic<bool> isCancelled_{false};
    std::atomic<bool> isWaiting_{false};
};

}  // namespace Routing::Gmp::Tessel::Storage
