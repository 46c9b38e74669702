// The memberships that every store is filled with, and how a store is asked.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>

#include "Ondel/VlanIntfId.h"
#include "Routing/Gmp/Tessel/Membership.h"
#include "Routing/Gmp/Tessel/Storage/Record.h"
#include "TemporaryDirectory.h"

namespace Bench {

namespace Storage = Routing::Gmp::Tessel::Storage;

using Routing::Gmp::Tessel::FilterMode;
using Routing::Gmp::Tessel::Membership;
using Routing::Gmp::Tessel::RouteIntfKey;

inline std::uint64_t mixed(std::uint64_t number) {
    number = (number ^ number >> 30) * 0xbf58476d1ce4e5b9u;
    number = (number ^ number >> 27) * 0x94d049bb133111ebu;
    return number ^ number >> 31;
}

/// The random membership key of that number, made on the spot so that no array of keys takes part
/// in what is measured. Different numbers give different keys.
inline RouteIntfKey keyOf(std::uint64_t number) {
    const std::uint64_t random = mixed(number);
    Ondel::IpGenAddr::Bytes source{};
    Ondel::IpGenAddr::Bytes group{239};
    for (unsigned i = 0; i < 4; ++i)
        source[i] = static_cast<std::uint8_t>(random >> 8 * i);
    for (unsigned i = 1; i < 4; ++i)
        group[i] = static_cast<std::uint8_t>(random >> (24 + 8 * i));
    const auto vlan = static_cast<std::uint16_t>((random >> 56) % 200 + 1);
    const auto ipv4 = Ondel::IpGenAddr::Family::ipv4;
    return {Ondel::VlanIntfId::vlanIdToIntfId(vlan), {ipv4, source}, {ipv4, group}};
}

/// A key of an IPv6 source of which half cancels the other half in the table's hash: all numbers
/// below 2^32 give one hash.
/// @param seed the first of the table's seeds
inline RouteIntfKey keyOfOneHash(std::uint64_t seed, std::uint64_t number) {
    const std::uint64_t low = 0x1000 + number;
    Ondel::IpGenAddr::Bytes source{};
    std::memcpy(source.data(), &seed, sizeof seed);
    std::memcpy(source.data() + sizeof seed, &low, sizeof low);
    const auto ipv6 = Ondel::IpGenAddr::Family::ipv6;
    return {Ondel::VlanIntfId::vlanIdToIntfId(10), {ipv6, source}, {ipv6, {0xff, 0x0e}}};
}

/// The filter mode that the key's membership has after `round` overwrites of all.
inline FilterMode modeOf(const RouteIntfKey& key, unsigned round) {
    return static_cast<FilterMode>((key.source.bytes()[0] + round) & 1);
}

/// The numbers 0..count-1, each once, in an order without pattern for a hash table.
inline std::uint64_t shuffled(std::uint64_t i, std::uint64_t count) {
    return i * 7919 % count;
}

/// What a store must hold is checked as it is read: a wrong answer ends the benchmark.
inline void expect(bool holds, const char* what) {
    if (!holds) throw std::logic_error(std::string("the store is wrong: ") + what);
}

/// A directory in shared memory, gone with the object.
class SharedDirectory : public TemporaryDirectory {
  public:
    SharedDirectory() : TemporaryDirectory("/dev/shm") {}

    /// The memory that the files take.
    std::uint64_t bytes() const;
};

}  // namespace Bench
