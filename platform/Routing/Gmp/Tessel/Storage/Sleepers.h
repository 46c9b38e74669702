#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>

#include "Routing/Gmp/Tessel/Storage/TableFile.h"
#include "Routing/Gmp/Tessel/Storage/WakeProtocol.h"

namespace Routing::Gmp::Tessel::Storage {

/// When a wait ends at the latest; nothing for never.
using Deadline = std::optional<std::chrono::steady_clock::time_point>;
/// The deadline that long from now. One too far away to be told is none.
Deadline deadlineIn(std::optional<std::chrono::milliseconds> timeout);

/// How readers in other processes sleep until the table changes, at no cost to a writer that nobody
/// waits for; WakeProtocol.h says how that is sure. It lives in the file `sleepers` beside the
/// table, the only one that readers write: one word, the highest count of changes that somebody
/// sleeps on. What is wrong with that file, or with what it holds, costs sleepers their haste and
/// nobody anything else. May be used from any thread.
class Sleepers {
  public:
    /// The writer's end; makes the file, one page with the word 0.
    /// @throws std::system_error if it cannot
    static Sleepers forWriter(const TableDirectory& directory);
    /// A reader's end. Where the file is missing or may not be written, nobody can ask through it.
    static Sleepers forReader(const TableDirectory& directory);
    /// For a table without a name: readers are in this process.
    static Sleepers anonymous();

    /// The highest count that somebody sleeps on.
    std::uint64_t asked() const { return asked_->load(std::memory_order_relaxed); }
    /// Whether this is still the file that the directory shows. Not for a table without a name.
    bool isIn(const TableDirectory& directory) const;
    /// Asks the writer for a call when there is a change behind that many.
    /// @returns whether there is somebody who hears it
    bool ask(std::uint64_t seen);

  private:
    explicit Sleepers(std::optional<TableFile> file);

    std::optional<TableFile> file_;
    std::unique_ptr<Word> own_;  ///< where there is no file
    Word* asked_;
};

/// Ends every sleep on the table's count of wakes; whoever slept looks, and sleeps on.
void wakeSleepers(const Control& control);

/// The writer's steps of the protocol. Belongs to the writer's thread.
class WakeCalls {
  public:
    /// A word that asks for a call each time gets one in so long.
    static constexpr std::chrono::microseconds pause{100};

    /// @param control the table's control page, as long as this
    WakeCalls(const Sleepers& sleepers, Control& control)
        : sleepers_(&sleepers),
          control_(control),
          wakes_(control.wakes.load(std::memory_order_relaxed)) {}

    void sleepersAre(const Sleepers& sleepers) { sleepers_ = &sleepers; }

    /// Wakes those who sleep on the table's count of changes, behind each change.
    void changed(std::uint64_t count) { waker_.changed(*this, count); }

    std::uint64_t asked() const { return sleepers_->asked(); }
    bool isTooSoon();
    void countWake();
    void wakeAll() { wakeSleepers(control_); }

  private:
    const Sleepers* sleepers_;
    Control& control_;
    Waker waker_;
    std::uint64_t wakes_;
    std::chrono::steady_clock::time_point next_{};  ///< no call before
};

/// A reader's steps of the protocol, for one wait.
class SleepSteps {
  public:
    /// Ten times the pause between the writer's calls, and longer than any store is under way.
    static constexpr std::chrono::milliseconds briefSleep{1};
    /// Bounds what a neighbour can do who meddles with sleepers.
    static constexpr std::chrono::milliseconds fullSleep{500};
    /// A full sleep where the writer cannot be asked for a call.
    static constexpr std::chrono::milliseconds unheardSleep{20};

    SleepSteps(const Control& control, Deadline deadline)
        : control_(control), deadline_(deadline) {}

    void sleepersAre(Sleepers& sleepers) { sleepers_ = &sleepers; }

    std::uint64_t wakes() const { return control_.wakes.load(std::memory_order_seq_cst); }
    void ask(std::uint64_t seen) { isHeard_ = sleepers_->ask(seen); }
    std::uint64_t changes() const { return control_.changes.load(std::memory_order_seq_cst); }
    /// @returns whether the sleep lasted as long as it should
    bool sleepOn(std::uint64_t wakes, Waiter::Length length);

  private:
    Sleepers* sleepers_ = nullptr;
    const Control& control_;
    Deadline deadline_;
    bool isHeard_ = true;
};

}  // namespace Routing::Gmp::Tessel::Storage
