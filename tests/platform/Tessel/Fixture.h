// What the tests of the GMP status table share.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "Ondel/VlanIntfId.h"
#include "Routing/Gmp/Tessel/StatusColl.h"
#include "Routing/Gmp/Tessel/TableReader.h"
#include "TemporaryDirectory.h"

namespace Tessel::Test {

using Routing::Gmp::Tessel::App;
using Routing::Gmp::Tessel::FilterMode;
using Routing::Gmp::Tessel::Membership;
using Routing::Gmp::Tessel::MembershipChange;
using Routing::Gmp::Tessel::RouteIntfKey;
using Routing::Gmp::Tessel::Status;
using Routing::Gmp::Tessel::StatusColl;
using Routing::Gmp::Tessel::StatusReader;
using Routing::Gmp::Tessel::TableChange;
using Routing::Gmp::Tessel::TableOptions;
using Routing::Gmp::Tessel::TableReader;
using Routing::Gmp::Tessel::VrfApp;

/// Whether a sanitizer watches, which slows everything down: the long tests do less then.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool isSanitized = true;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
constexpr bool isSanitized = true;
#else
constexpr bool isSanitized = false;
#endif
#else
constexpr bool isSanitized = false;
#endif

/// Whether the thread sanitizer does: it takes a lock of its own around each atomic access, and its
/// accesses in the handler of a fault that such an access raised wait for that lock for ever.
#if defined(__SANITIZE_THREAD__)
constexpr bool isThreadSanitized = true;
#elif defined(__has_feature)
constexpr bool isThreadSanitized = __has_feature(thread_sanitizer);
#else
constexpr bool isThreadSanitized = false;
#endif

/// A directory of the test's own in shared memory, gone with the test.
class TempDirectory : public TemporaryDirectory {
  public:
    TempDirectory() : TemporaryDirectory("/dev/shm") {}
    std::filesystem::path table() const { return path() / "table"; }
};

/// A series of random numbers that is the same for the same seed.
class Random {
  public:
    explicit Random(std::uint64_t seed) : state_(seed * 2 + 1) { below(1); }

    /// The next number, from 0 to below the limit.
    std::uint32_t below(std::uint32_t limit) {
        state_ += 0x9e3779b97f4a7c15;
        std::uint64_t mixed = (state_ ^ state_ >> 30) * 0xbf58476d1ce4e5b9;
        mixed = (mixed ^ mixed >> 27) * 0x94d049bb133111eb;
        return static_cast<std::uint32_t>((mixed >> 32) % limit);
    }

  private:
    std::uint64_t state_;
};

inline VrfApp vrf(std::string_view name, App app = App::irb) {
    return {L3::VrfName(name), app};
}

inline RouteIntfKey key(std::uint16_t vlan, std::string_view source, std::string_view group) {
    return {Ondel::VlanIntfId::vlanIdToIntfId(vlan), Ondel::IpGenAddr::parse(source).value(),
            Ondel::IpGenAddr::parse(group).value()};
}

/// The membership number `number` of an endless series of different ones.
inline RouteIntfKey numberedKey(std::uint32_t number) {
    Ondel::IpGenAddr::Bytes source{10};
    Ondel::IpGenAddr::Bytes group{239};
    for (unsigned i = 0; i < 3; ++i) {
        source[i + 1] = static_cast<std::uint8_t>(number >> 8 * i);
        group[i + 1] = static_cast<std::uint8_t>(number >> (8 + 8 * i));
    }
    const auto family = Ondel::IpGenAddr::Family::ipv4;
    return {Ondel::VlanIntfId::vlanIdToIntfId(static_cast<std::uint16_t>(number % 200 + 1)),
            {family, source},
            {family, group}};
}

/// The number that the key would have in the series.
inline std::uint32_t numberOf(const RouteIntfKey& key) {
    const auto& source = key.source.bytes();
    return std::uint32_t{source[1]} | std::uint32_t{source[2]} << 8 |
           std::uint32_t{source[3]} << 16;
}

inline Membership include(const RouteIntfKey& key) {
    return {key, FilterMode::include};
}
inline Membership exclude(const RouteIntfKey& key) {
    return {key, FilterMode::exclude};
}

/// The status of that name, which is added if it is not there.
inline Lumo::Ptr<Status> statusOf(StatusColl& coll, const VrfApp& key) {
    if (!coll.gmpStatus(key)) coll.gmpStatusIs(key, Lumo::make<Status>(key.name()));
    return coll.gmpStatus(key);
}

/// Everything a status holds, in an order that does not depend on the table.
template <class Walkable>
std::vector<Membership> sorted(Walkable&& status) {
    std::vector<Membership> all;
    for (const Membership& membership : status)
        all.push_back(membership);
    std::sort(all.begin(), all.end());
    return all;
}

}  // namespace Tessel::Test
