#include "Routing/Gmp/Tessel/Storage/ChangeLog.h"

namespace Routing::Gmp::Tessel::Storage {

ChangeLogWriter::ChangeLogWriter(const TableFile& file)
    : control_(file.at<Control>(controlPage)),
      ring_(&file.at<LogEntry>(logPage)),
      count_(control_.changes.load(std::memory_order_relaxed)) {}

ChangeLogReader::ChangeLogReader(const TableFile& file)
    : control_(file.at<const Control>(controlPage)), ring_(&file.at<const LogEntry>(logPage)) {}

std::optional<LoggedChange> ChangeLogReader::change(std::uint64_t number) const {
    const LogEntry& entry = ring_[number % logEntries];
    if (entry.number.load(std::memory_order_acquire) != number + 1) return std::nullopt;
    const std::uint64_t statusId = entry.statusId.load(std::memory_order_acquire);
    const std::uint64_t intf = entry.intf.load(std::memory_order_acquire);
    const KeyWords key{entry.source[0].load(std::memory_order_acquire),
                       entry.source[1].load(std::memory_order_acquire),
                       entry.group[0].load(std::memory_order_acquire),
                       entry.group[1].load(std::memory_order_acquire), intf & 0xffffffffffff};
    const std::uint64_t outcome = entry.outcome.load(std::memory_order_acquire);
    if (entry.number.load(std::memory_order_relaxed) != number + 1) return std::nullopt;
    const std::uint64_t words[] = {
        number + 1, statusId, intf,   key[0],
        key[1],     key[2],   key[3], outcome & ~std::uint64_t{0xffffffff}};
    if (checksum(0xffffffff, words, 8) != static_cast<std::uint32_t>(outcome)) return std::nullopt;
    const auto byte = [&](unsigned shift) { return static_cast<std::uint8_t>(outcome >> shift); };
    return LoggedChange{static_cast<ChangeKind>(byte(32)),      statusId,
                        static_cast<std::uint16_t>(intf >> 48), key,
                        static_cast<FilterMode>(byte(40)),      static_cast<FilterMode>(byte(48))};
}

}  // namespace Routing::Gmp::Tessel::Storage
