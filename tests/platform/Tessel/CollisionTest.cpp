// Keys that a host chose so that the table's hash, whose seeds everybody may read, is the same for
// all of them or begins or ends alike.
#include <chrono>
#include <cstring>
#include <fstream>

#include "Fixture.h"
#include "Routing/Gmp/Tessel/Storage/Format.h"
#include "Routing/Gmp/Tessel/Storage/Record.h"

namespace Tessel::Test {

namespace {

namespace Storage = Routing::Gmp::Tessel::Storage;

class ChosenKeys : public ::testing::Test {
  protected:
    ChosenKeys() {
        Storage::Header header{};
        std::ifstream(directory.table(), std::ios::binary)
            .read(reinterpret_cast<char*>(&header), sizeof header);
        std::memcpy(seeds.data(), header.hashSeed, sizeof header.hashSeed);
    }

    static RouteIntfKey ofWords(std::uint64_t first, std::uint64_t second, std::uint64_t group) {
        Ondel::IpGenAddr::Bytes source{};
        Ondel::IpGenAddr::Bytes groupBytes{0xff, 0x0e};
        std::memcpy(source.data(), &first, 8);
        std::memcpy(source.data() + 8, &second, 8);
        std::memcpy(groupBytes.data() + 8, &group, 8);
        const auto ipv6 = Ondel::IpGenAddr::Family::ipv6;
        return {Ondel::VlanIntfId::vlanIdToIntfId(10), {ipv6, source}, {ipv6, groupBytes}};
    }
    std::uint64_t hashOf(const RouteIntfKey& key) const {
        return Storage::hashOf(Storage::keyWords(key), seeds);
    }
    /// One of many sources that all give the same hash: half of it cancels the other half.
    RouteIntfKey ofOneHash(std::uint32_t number) const {
        return ofWords(seeds[0], 0x1000 + number, 1);
    }
    /// The first keys of a series whose hashes have something in common.
    template <class Wanted>
    std::vector<RouteIntfKey> like(std::uint32_t count, Wanted wanted) const {
        std::vector<RouteIntfKey> keys;
        for (std::uint64_t i = 0; keys.size() < count; ++i) {
            const RouteIntfKey key = ofWords(i, 7, 1);
            if (wanted(hashOf(key))) keys.push_back(key);
        }
        return keys;
    }
    /// The bytes that as many keys take that nobody chose.
    static std::uintmax_t usualBytes(std::uint32_t count) {
        const TempDirectory other;
        const auto writer = StatusColl::open(other.path());
        const auto status = statusOf(*writer, vrf("red"));
        for (std::uint32_t i = 0; i < count; ++i)
            status->membershipIs(include(numberedKey(i)));
        return std::filesystem::file_size(other.table());
    }
    /// Inserts all of them and expects the table to be none the worse for it.
    void expectHarmless(const std::vector<RouteIntfKey>& keys) {
        const auto count = static_cast<std::uint32_t>(keys.size());
        const std::clock_t begin = std::clock();
        for (const RouteIntfKey& key : keys)
            red->membershipIs(include(key));
        const double seconds = static_cast<double>(std::clock() - begin) / CLOCKS_PER_SEC;
        // A millisecond each would be far too long already; a sanitizer has its share, too.
        EXPECT_LT(seconds / count, isSanitized ? 1e-3 : 1e-4);
        EXPECT_LE(static_cast<double>(std::filesystem::file_size(directory.table())),
                  1.3 * static_cast<double>(usualBytes(count)));
        ASSERT_EQ(red->memberships(), count);
        auto seen = TableReader(directory.path()).status(vrf("red")).value();
        for (const RouteIntfKey& key : keys)
            ASSERT_TRUE(seen.membership(key).isPresent);
        EXPECT_EQ(sorted(seen), sorted(*red));
        EXPECT_EQ(sorted(seen).size(), count);
        EXPECT_EQ(TableReader(directory.path()).faults(), std::vector<std::string>());
    }

    const TempDirectory directory;
    Lumo::Ptr<StatusColl> coll = StatusColl::open(directory.path());
    Lumo::Ptr<Status> red = statusOf(*coll, vrf("red"));
    Storage::HashSeed seeds{};
};

TEST_F(ChosenKeys, OfOneHashAreReallyOfOneHash) {
    for (std::uint32_t i = 1; i < 100; ++i)
        EXPECT_EQ(hashOf(ofOneHash(0)), hashOf(ofOneHash(i)));
}

TEST_F(ChosenKeys, OfOneHashNeitherSlowTheWriterNorLengthenTheFile) {
    for (const std::uint32_t count : {4692u, isSanitized ? 10000u : 100000u}) {
        std::vector<RouteIntfKey> keys;
        for (std::uint32_t i = 0; i < count; ++i)
            keys.push_back(ofOneHash(i));
        expectHarmless(keys);
    }
}

TEST_F(ChosenKeys, WhoseHashesBeginAlikeNeitherSlowTheWriterNorLengthenTheFile) {
    expectHarmless(like(12000, [](std::uint64_t hash) { return hash >> 58 == 0x15; }));
}

TEST_F(ChosenKeys, WhoseHashesEndAlikeNeitherSlowTheWriterNorLengthenTheFile) {
    expectHarmless(like(12000, [](std::uint64_t hash) { return (hash >> 26 & 0x3f) == 0x15; }));
}

TEST_F(ChosenKeys, LiveAmongOthersAndOutliveTheWriter) {
    for (std::uint32_t i = 0; i < 20000; ++i) {
        red->membershipIs(include(numberedKey(i)));
        red->membershipIs(exclude(ofOneHash(i)));
    }
    for (std::uint32_t i = 0; i < 20000; i += 2)
        red->membershipDel(ofOneHash(i));
    const auto before = sorted(*red);
    red = nullptr;
    coll = nullptr;
    coll = StatusColl::open(directory.path());
    red = coll->gmpStatus(vrf("red"));
    EXPECT_EQ(sorted(*red), before);
    EXPECT_EQ(before.size(), 30000u);
    EXPECT_EQ(red->membership(ofOneHash(1)), exclude(ofOneHash(1)));
    EXPECT_EQ(red->membership(ofOneHash(2)), Membership());
}

}  // namespace

}  // namespace Tessel::Test
