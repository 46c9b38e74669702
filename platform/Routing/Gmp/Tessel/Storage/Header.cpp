#include "Routing/Gmp/Tessel/Storage/Header.h"

#include <array>
#include <cstring>
#include <random>
#include <string>

#include "Rix/CorruptionError.h"
#include "Routing/Gmp/Tessel/Storage/Checksum.h"

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

std::uint64_t randomWord() {
    std::random_device device;
    return std::uint64_t{device()} << 32 | device();
}

std::string problem(const TableFile& file) {
    if (file.pages() == 0) return "is empty or too short to be a GMP status table";
    Header header{};
    std::memcpy(&header, file.page(0), sizeof header);
    if (header.magic != headerMagic) return "is not a GMP status table";
    if (header.byteOrder != byteOrderMark) {
        return "is a GMP status table of another byte order";
    }
    if (header.version != formatVersion) {
        return "is a GMP status table of version " + std::to_string(header.version) + ", not " +
               std::to_string(formatVersion);
    }
    if (headerChecksum(header) != header.checksum) return "has a damaged header";
    if (header.bytesAPage != pageBytes || header.logEntries != logEntries) {
        return "is a GMP status table of other dimensions";
    }
    if (file.pages() < firstPages) return "is truncated";
    return {};
}

}  // namespace

void writeHeader(const TableFile& file) {
    Header header{};
    header.magic = headerMagic;
    header.byteOrder = byteOrderMark;
    header.version = formatVersion;
    header.bytesAPage = pageBytes;
    header.logEntries = logEntries;
    header.tableId = randomWord();
    for (std::uint64_t& seed : header.hashSeed)
        seed = randomWord();
    header.checksum = headerChecksum(header);
    std::memcpy(file.page(0), &header, sizeof header);
}

HashSeed checkedHashSeed(const TableFile& file) {
    if (const std::string what = problem(file); !what.empty()) {
        throw Rix::CorruptionError(file.path() + ": " + what);
    }
    HashSeed seed{};
    std::memcpy(seed.data(), file.at<const Header>(0).hashSeed, sizeof seed);
    return seed;
}

}  // namespace Routing::Gmp::Tessel::Storage
