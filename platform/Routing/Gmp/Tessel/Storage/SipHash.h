#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>

namespace Routing::Gmp::Tessel::Storage {

/// SipHash-1-3 of whole words: who does not know the two seeds finds no colliding keys, and who
/// does must try them out.
template <std::size_t count>
std::uint64_t sipHash(const std::array<std::uint64_t, 2>& seeds,
                      const std::array<std::uint64_t, count>& words) {
    std::uint64_t v0 = seeds[0] ^ 0x736f6d6570736575;
    std::uint64_t v1 = seeds[1] ^ 0x646f72616e646f6d;
    std::uint64_t v2 = seeds[0] ^ 0x6c7967656e657261;
    std::uint64_t v3 = seeds[1] ^ 0x7465646279746573;
    const auto round = [&] {
        v0 += v1;
        v1 = std::rotl(v1, 13) ^ v0;
        v0 = std::rotl(v0, 32);
        v2 += v3;
        v3 = std::rotl(v3, 16) ^ v2;
        v0 += v3;
        v3 = std::rotl(v3, 21) ^ v0;
        v2 += v1;
        v1 = std::rotl(v1, 17) ^ v2;
        v2 = std::rotl(v2, 32);
    };
    const auto take = [&](std::uint64_t word) {
        v3 ^= word;
        round();
        v0 ^= word;
    };
    for (const std::uint64_t word : words)
        take(word);
    take(std::uint64_t{count * sizeof(std::uint64_t)} << 56);
    v2 ^= 0xff;
    for (int i = 0; i < 3; ++i)
        round();
    return v0 ^ v1 ^ v2 ^ v3;
}

}  // namespace Routing::Gmp::Tessel::Storage
