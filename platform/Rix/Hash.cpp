#include "Rix/Hash.h"

#include <cstring>
#include <random>

namespace Rix {

std::uint64_t hashSeed() noexcept {
    static const std::uint64_t seed = [] {
        std::random_device device;
        return (std::uint64_t{device()} << 32) | device();
    }();
    return seed;
}

std::uint64_t hashBytes(std::uint64_t hash, std::string_view bytes) noexcept {
    hash = hashWord(hash, bytes.size());
    while (!bytes.empty()) {
        std::uint64_t word = 0;
        const std::size_t step = bytes.size() < sizeof word ? bytes.size() : sizeof word;
        std::memcpy(&word, bytes.data(), step);
        hash = hashWord(hash, word);
        bytes.remove_prefix(step);
    }
    return hash;
}

}  // namespace Rix
