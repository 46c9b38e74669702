#include "ChosenKeys.h"

namespace Tessel::Test {

namespace {

class HarmlessKeys : public ChosenKeys {
  protected:
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
        for (const RouteIntfKey& key : keys)
            red->membershipIs(include(key));
        // What an insertion looks at: so many nodes, and so many groups of a segment.
        const SeenDirectory now = seen();
        EXPECT_LE(now.levels(), 3u);
        for (const RouteIntfKey& key : keys)
            ASSERT_LE(now.distance(key), 33u);
        EXPECT_LE(static_cast<double>(std::filesystem::file_size(directory.table())),
                  1.3 * static_cast<double>(usualBytes(count)));
        ASSERT_EQ(red->memberships(), count);
        auto status = TableReader(directory.path()).status(vrf("red")).value();
        for (const RouteIntfKey& key : keys)
            ASSERT_TRUE(status.membership(key).isPresent);
        EXPECT_EQ(sorted(status), sorted(*red));
        EXPECT_EQ(sorted(status).size(), count);
        EXPECT_EQ(TableReader(directory.path()).faults(), std::vector<std::string>());
    }
};

TEST_F(HarmlessKeys, OfOneHashAreReallyOfOneHash) {
    for (std::uint32_t i = 1; i < 100; ++i)
        EXPECT_EQ(hashOf(ofOneHash(0)), hashOf(ofOneHash(i)));
}

TEST_F(HarmlessKeys, OfOneHashNeitherSlowTheWriterNorLengthenTheFile) {
    for (const std::uint32_t count : {4692u, isSanitized ? 10000u : 100000u}) {
        std::vector<RouteIntfKey> keys;
        for (std::uint32_t i = 0; i < count; ++i)
            keys.push_back(ofOneHash(i));
        expectHarmless(keys);
    }
}

TEST_F(HarmlessKeys, WhoseHashesBeginAlikeNeitherSlowTheWriterNorLengthenTheFile) {
    expectHarmless(like(12000, [](std::uint64_t hash) { return hash >> 58 == 0x15; }));
}

TEST_F(HarmlessKeys, WhoseHashesEndAlikeNeitherSlowTheWriterNorLengthenTheFile) {
    expectHarmless(like(12000, [](std::uint64_t hash) { return (hash >> 26 & 0x3f) == 0x15; }));
}

TEST_F(HarmlessKeys, ThatCrowdANearlyFullSegmentAsChanceMayDivideItLikeAnyOther) {
    for (std::uint32_t i = 0; i < 4200; ++i)
        red->membershipIs(include(numberedKey(i)));
    ASSERT_EQ(seen().segments(), 1u);
    for (const RouteIntfKey& key :
         like(200, [](std::uint64_t hash) { return (hash >> 24 & 0xff) == 0x15; }))
        red->membershipIs(include(key));
    EXPECT_EQ(seen().levels(), 1u);
    EXPECT_EQ(seen().segments(), 2u);
}

TEST_F(HarmlessKeys, LiveAmongOthersAndOutliveTheWriter) {
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

/// Keys that collide in one node after the other.
using DeepKeys = ChosenKeys;

TEST_F(DeepKeys, AreFoundBelowNodesThatStandSideBySide) {
    for (std::uint32_t i = 0; i < 12000; ++i) {
        red->membershipIs(include(numberedKey(i)));
        inserted.push_back(include(numberedKey(i)));
    }
    // Of two hashes whose places in the root differ.
    std::uint64_t other = 2;
    while ((hashOf(ofOneHash(0, 1)) ^ hashOf(ofOneHash(0, other))) >> 63 == 0)
        ++other;
    deepen(1);
    EXPECT_EQ(seen().levels(), 2u);
    deepen(other);
    EXPECT_EQ(seen().levels(), 2u);
    deepen(other);
    EXPECT_EQ(seen().levels(), 3u);
    deepen(1);
    EXPECT_EQ(seen().nodes(), 5u);
    EXPECT_EQ(seen().levels(), 3u);
    expectInserted();
}

TEST_F(DeepKeys, AreTakenOnTheLowestLevelTooAsLongAsThereIsRoom) {
    while (seen().levels() < Storage::maxDirectoryLevels)
        deepen();
    crowd(1, 600);
    EXPECT_EQ(seen().levels(), Storage::maxDirectoryLevels);
    expectInserted();
}

}  // namespace

}  // namespace Tessel::Test
