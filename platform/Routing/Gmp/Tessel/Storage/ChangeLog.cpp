#include "Routing/Gmp/Tessel/Storage/ChangeLog.h"

#include <algorithm>

namespace Routing::Gmp::Tessel::Storage {

namespace {

/// A mode that is not there is 0, so these are all.
bool arePossible(ChangeKind kind, const KeyWords& key, std::uint64_t before, std::uint64_t after) {
    constexpr auto lastMode = static_cast<std::uint64_t>(FilterMode::include);
    if (before > lastMode || after > lastMode) return false;
    switch (kind) {
        case ChangeKind::inserted:
        case ChangeKind::overwritten:
        case ChangeKind::removed:
            return isPossibleKey(key);
        case ChangeKind::statusAdded:
        case ChangeKind::statusRemoved:
        case ChangeKind::lost:
            return true;
    }
    return false;
}

/// The change of that number, counted from 1; nothing if the entry holds another or is damaged.
std::optional<LoggedChange> read(const LogEntry& entry, std::uint64_t number) {
    if (entry.number.load(std::memory_order_acquire) != number) return std::nullopt;
    const std::uint64_t statusId = entry.statusId.load(std::memory_order_acquire);
    const std::uint64_t intf = entry.intf.load(std::memory_order_acquire);
    const KeyWords key{entry.source[0].load(std::memory_order_acquire),
                       entry.source[1].load(std::memory_order_acquire),
                       entry.group[0].load(std::memory_order_acquire),
                       entry.group[1].load(std::memory_order_acquire), intf & 0xffffffffffff};
    const std::uint64_t outcome = entry.outcome.load(std::memory_order_acquire);
    if (entry.number.load(std::memory_order_relaxed) != number) return std::nullopt;
    const std::uint32_t sum = checksum(0xffffffff, number, statusId, intf, key[0], key[1], key[2],
                                       key[3], outcome & ~std::uint64_t{0xffffffff});
    if (sum != static_cast<std::uint32_t>(outcome)) return std::nullopt;
    const auto byte = [&](unsigned shift) { return static_cast<std::uint8_t>(outcome >> shift); };
    const auto kind = static_cast<ChangeKind>(byte(32));
    if (!arePossible(kind, key, byte(40), byte(48))) return std::nullopt;
    return LoggedChange{kind,
                        statusId,
                        static_cast<std::uint16_t>(intf >> 48),
                        key,
                        static_cast<FilterMode>(byte(40)),
                        static_cast<FilterMode>(byte(48))};
}

}  // namespace

ChangeLogWriter::ChangeLogWriter(const TableFile& file, Dimensions dimensions)
    : file_(file),
      control_(file.at<Control>(controlPage)),
      ring_(&file.at<LogEntry>(logPage)),
      mask_(dimensions.logEntries - 1),
      count_(control_.changes.load(std::memory_order_relaxed)) {}

bool ChangeLogWriter::isCountSound() const {
    return count_ == 0 || read(ring_[(count_ - 1) & mask_], count_).has_value();
}

void ChangeLogWriter::countAnew() {
    count_ = 0;
    for (std::uint64_t i = 0; i <= mask_; ++i) {
        const std::uint64_t number = ring_[i].number.load(std::memory_order_relaxed);
        if (number > count_ && ((number - 1) & mask_) == i && read(ring_[i], number)) {
            count_ = number;
        }
    }
    // The entry behind it may be the damaged one, and a reader may have come so far.
    append({});
    append({});
}

void ChangeLogWriter::mapAhead(std::uint64_t first) const {
    const std::uint64_t entries = std::min(entriesMapped, mask_ + 1);
    file_.pagesMap(logPage + static_cast<PageNumber>((first & mask_) / logEntriesAPage),
                   static_cast<PageNumber>(entries / logEntriesAPage));
}

ChangeLogReader::ChangeLogReader(const TableFile& file, Dimensions dimensions)
    : control_(file.at<const Control>(controlPage)),
      ring_(&file.at<const LogEntry>(logPage)),
      mask_(dimensions.logEntries - 1) {}

std::optional<LoggedChange> ChangeLogReader::change(std::uint64_t number) const {
    return read(ring_[number & mask_], number + 1);
}

std::vector<std::uint64_t> ChangeLogReader::faults() const {
    std::vector<std::uint64_t> places;
    const std::uint64_t length = mask_ + 1;
    const std::uint64_t last = count();
    for (std::uint64_t number = last; number > last - std::min(last, length); --number) {
        const std::uint64_t place = (number - 1) & mask_;
        const auto change = read(ring_[place], number);
        // Whoever has not read so far walks the table, and reads no change before this one.
        if (change && change->kind == ChangeKind::lost) break;
        // The entry is written over once as many changes as the log is long came after it.
        if (!change && count() < number + length - 1) places.push_back(place);
    }
    return places;
}

}  // namespace Routing::Gmp::Tessel::Storage
