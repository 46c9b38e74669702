#include "Routing/Gmp/Tessel/Storage/StatusIdentity.h"

#include <array>
#include <cstring>

#include "Routing/Gmp/Tessel/Storage/Checksum.h"

namespace Routing::Gmp::Tessel::Storage {

namespace {

constexpr std::size_t nameWords = 13;

/// The words that the checksum covers: the identifier, the description without the checksum, the
/// name.
using IdentityWords = std::array<std::uint64_t, 2 + nameWords>;

std::uint64_t described(const IdentityWords& words) {
    return words[1] | std::uint64_t{checksum(0xffffffff, words.data(), words.size())} << 32;
}

}  // namespace

std::optional<StatusIdentity> StatusIdentity::read(const StatusEntry& entry) {
    const std::uint64_t description = entry.description.load(std::memory_order_acquire);
    IdentityWords words{entry.id.load(std::memory_order_acquire), description & 0xffffffff};
    for (std::size_t i = 0; i < nameWords; ++i) {
        words[2 + i] = entry.name[i].load(std::memory_order_acquire);
    }
    const std::size_t length = description >> 8 & 0xff;
    if (!isPaired(words[0]) || described(words) != description ||
        length > L3::VrfName::maxLength()) {
        return std::nullopt;
    }
    std::array<char, nameWords * sizeof(std::uint64_t)> name{};
    std::memcpy(name.data(), &words[2], name.size());
    return StatusIdentity{{L3::VrfName(std::string_view(name.data(), length)),
                           static_cast<App>(static_cast<std::uint8_t>(description))},
                          words[0]};
}

void StatusIdentity::write(StatusEntry& entry) const {
    const std::string_view name = key.vrfName.text();
    IdentityWords words{id, name.size() << 8 | static_cast<std::uint64_t>(key.app)};
    std::memcpy(&words[2], name.data(), name.size());
    entry.id.store(id, std::memory_order_release);
    for (std::size_t i = 0; i < nameWords; ++i) {
        entry.name[i].store(words[2 + i], std::memory_order_release);
    }
    entry.description.store(described(words), std::memory_order_release);
}

}  // namespace Routing::Gmp::Tessel::Storage
