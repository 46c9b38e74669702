#include "Routing/Gmp/Tessel/Storage/Header.h"

#include <array>
#include <bit>
#include <cstring>
#include <random>
#include <string>

#include "Rix/CorruptionError.h"
#include "Routing/Gmp/Tessel/Storage/Checksum.h"
#include "Routing/Gmp/Tessel/Storage/Guard.h"

namespace Routing::Gmp::Tessel::Storage {

namespace {

constexpr std::size_t headerWords = sizeof(Header) / sizeof(std::uint64_t);
static_assert(sizeof(Header) % sizeof(std::uint64_t) == 0);

/// Of everything but the checksum itself, which counts as 0.
std::uint32_t headerChecksum(Header header) {
    header.checksum = 0;
    std::array<std::uint64_t, headerWords> words{};
    std::memcpy(words.data(), &header, sizeof header);
    return checksum(0xffffffff, words.data(), words.size());
}

Header headerOf(const TableFile& file) {
    Header header{};
    if (file.pages() != 0) std::memcpy(&header, file.page(0), sizeof header);
    return header;
}

std::string problem(const TableFile& file, const Header& header) {
    if (file.pages() == 0) return "is empty or too short to be a GMP status table";
    if (header.magic != headerMagic) return "is not a GMP status table";
    if (header.byteOrder != byteOrderMark) {
        return "is a GMP status table of another byte order";
    }
    if (header.version != formatVersion) {
        return "is a GMP status table of version " + std::to_string(header.version) + ", not " +
               std::to_string(formatVersion);
    }
    if (headerChecksum(header) != header.checksum) return "has a damaged header";
    if (header.bytesAPage != pageBytes || !isLogLength(header.logEntries) ||
        header.statusPages != maxStatusPages) {
        return "is a GMP status table of other dimensions";
    }
    if (file.pages() < Dimensions{header.logEntries}.firstPages()) return "is truncated";
    return {};
}

}  // namespace

bool isLogLength(std::uint32_t entries) {
    return std::has_single_bit(entries) && entries >= leastLogEntries && entries <= mostLogEntries;
}

std::uint64_t randomWord() {
    std::random_device device;
    return std::uint64_t{device()} << 32 | device();
}

void writeHeader(const TableFile& file, Dimensions dimensions) {
    Header header{};
    header.magic = headerMagic;
    header.byteOrder = byteOrderMark;
    header.version = formatVersion;
    header.bytesAPage = pageBytes;
    header.logEntries = dimensions.logEntries;
    header.tableId = randomWord();
    for (std::uint64_t& seed : header.hashSeed)
        seed = randomWord();
    header.statusPages = maxStatusPages;
    header.checksum = headerChecksum(header);
    std::memcpy(file.page(0), &header, sizeof header);
    auto& control = file.at<Control>(controlPage);
    control.statusPages.store(paired(0), std::memory_order_relaxed);
    control.lastStatus.store(paired(0), std::memory_order_relaxed);
    const Guard nothing = Guard::empty(statusesSalt(header.tableId));
    control.statuses.current.store(nothing.word(), std::memory_order_relaxed);
    control.statuses.next.store(nothing.word(), std::memory_order_relaxed);
}

CheckedHeader checkedHeader(const TableFile& file) {
    const Header header = headerOf(file);
    if (const std::string what = problem(file, header); !what.empty()) {
        throw Rix::CorruptionError(file.path() + ": " + what);
    }
    CheckedHeader checked{{}, {header.logEntries}, statusesSalt(header.tableId)};
    std::memcpy(checked.hashSeed.data(), header.hashSeed, sizeof header.hashSeed);
    return checked;
}

bool isObsoleteTable(const TableFile& file) {
    const Header header = headerOf(file);
    return header.magic == headerMagic && header.byteOrder == byteOrderMark &&
           header.version != 0 && header.version < formatVersion &&
           header.checksum == headerChecksum(header);
}

}  // namespace Routing::Gmp::Tessel::Storage
