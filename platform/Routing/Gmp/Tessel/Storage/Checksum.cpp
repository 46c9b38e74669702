#include "Routing/Gmp/Tessel/Storage/Checksum.h"

#include <array>
#include <cstring>

namespace Routing::Gmp::Tessel::Storage {

namespace {

using CrcTable = std::array<std::uint32_t, 256>;

constexpr CrcTable crcTable() {
    constexpr std::uint32_t reversedCastagnoli = 0x82f63b78;
    CrcTable table{};
    for (std::uint32_t byte = 0; byte < table.size(); ++byte) {
        std::uint32_t crc = byte;
        for (int bit = 0; bit < 8; ++bit) {
            crc = (crc >> 1) ^ ((crc & 1) != 0 ? reversedCastagnoli : 0);
        }
        table[byte] = crc;
    }
    return table;
}

}  // namespace

std::uint32_t portableChecksum(std::uint32_t crc, const std::uint64_t* words,
                               std::size_t count) noexcept {
    static constexpr CrcTable table = crcTable();
    for (std::size_t i = 0; i < count; ++i) {
        std::array<std::uint8_t, sizeof(std::uint64_t)> bytes{};
        std::memcpy(bytes.data(), words + i, bytes.size());
        for (const std::uint8_t byte : bytes)
            crc = (crc >> 8) ^ table[(crc ^ byte) & 0xff];
    }
    return crc;
}

#if defined(__x86_64__)
const bool hasChecksumInstruction = __builtin_cpu_supports("sse4.2") != 0;
#else
const bool hasChecksumInstruction = false;
#endif

}  // namespace Routing::Gmp::Tessel::Storage
