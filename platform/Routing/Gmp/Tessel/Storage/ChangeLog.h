#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "Routing/Gmp/Tessel/Storage/Format.h"
#include "Routing/Gmp/Tessel/Storage/Record.h"
#include "Routing/Gmp/Tessel/Storage/TableFile.h"

namespace Routing::Gmp::Tessel::Storage {

/// One change, as the log keeps it. A plain value.
struct LoggedChange {
    ChangeKind kind = ChangeKind::lost;
    std::uint64_t statusId = 0;
    std::uint16_t statusPlace = 0;  ///< the status's place among all entries
    KeyWords key{};
    FilterMode before = FilterMode::exclude;
    FilterMode after = FilterMode::exclude;
};

/// The writer's end of the change log. Belongs to the writer's thread; lives in its table.
class ChangeLogWriter {
  public:
    ChangeLogWriter(const TableFile& file, Dimensions dimensions);

    /// Goes on behind the latest change that the log holds, whatever the count of changes says: for
    /// one that is damaged.
    void countAnew();
    bool isCountSound() const;

    /// Logs a change that took effect, for readers that ask what changed.
    void append(const LoggedChange& change) {
        const std::uint64_t number = count_ + 1;
        if (number % entriesMapped == 0) mapAhead(number);
        LogEntry& entry = ring_[count_ & mask_];
        // The ring is longer than a cache is: entries to come are fetched in time.
        __builtin_prefetch(&ring_[(count_ + 4) & mask_], 1);
        entry.number.store(0, std::memory_order_release);
        entry.statusId.store(change.statusId, std::memory_order_release);
        const std::uint64_t intf = change.key[4] | std::uint64_t{change.statusPlace} << 48;
        entry.intf.store(intf, std::memory_order_release);
        for (std::size_t i = 0; i < 2; ++i) {
            entry.source[i].store(change.key[i], std::memory_order_release);
            entry.group[i].store(change.key[2 + i], std::memory_order_release);
        }
        const std::uint64_t outcome = std::uint64_t{static_cast<std::uint8_t>(change.kind)} << 32 |
                                      std::uint64_t{static_cast<std::uint8_t>(change.before)}
                                          << 40 |
                                      std::uint64_t{static_cast<std::uint8_t>(change.after)} << 48;
        const std::uint32_t sum = checksum(0xffffffff, number, change.statusId, intf, change.key[0],
                                           change.key[1], change.key[2], change.key[3], outcome);
        entry.outcome.store(outcome | sum, std::memory_order_release);
        entry.number.store(number, std::memory_order_release);
        control_.changes.store(number, std::memory_order_release);
        count_ = number;
    }
    /// The number of changes ever logged.
    std::uint64_t count() const { return count_; }

  private:
    /// A table that was just opened has so much of the ring mapped at a time.
    static constexpr std::uint64_t entriesMapped = std::uint64_t{64} * logEntriesAPage;

    void mapAhead(std::uint64_t first) const;

    const TableFile& file_;
    Control& control_;
    LogEntry* ring_;
    std::uint64_t mask_;
    std::uint64_t count_;
};

/// A reader's end of the change log: reads, and keeps nothing but references.
class ChangeLogReader {
  public:
    ChangeLogReader(const TableFile& file, Dimensions dimensions);

    /// The number of changes ever logged.
    std::uint64_t count() const { return control_.changes.load(std::memory_order_acquire); }
    /// The change of that number, counted from 0; nothing if the log has no such change, or no
    /// longer, or it is damaged.
    std::optional<LoggedChange> change(std::uint64_t number) const;
    /// The places of entries in the ring that are damaged, of those that a reader may still read.
    std::vector<std::uint64_t> faults() const;
    /// What a reader looks at to sleep until there is a change.
    const Control& control() const { return control_; }

  private:
    const Control& control_;
    const LogEntry* ring_;
    std::uint64_t mask_;
};

}  // namespace Routing::Gmp::Tessel::Storage
