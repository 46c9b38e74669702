#include <chrono>
#include <system_error>
#include <thread>

#include "Fixture.h"

namespace Tessel::Test {

namespace {

using namespace std::chrono_literals;

class GmpTableReader : public ::testing::Test {
  protected:
    static TableChange changeOf(const VrfApp& status, const RouteIntfKey& key,
                                std::optional<FilterMode> before, std::optional<FilterMode> after) {
        return {TableChange::Kind::membership, {status, key, before, after}};
    }

    const TempDirectory directory;
    const Lumo::Ptr<StatusColl> coll = StatusColl::open(directory.path());
    const RouteIntfKey join = key(10, "10.0.0.1", "239.1.1.1");
    TableReader reader{directory.path()};
};

TEST_F(GmpTableReader, SeesEachChangeAsSoonAsItIsMade) {
    EXPECT_FALSE(reader.status(vrf("red")));
    const auto red = statusOf(*coll, vrf("red"));
    auto seen = reader.status(vrf("red"));
    ASSERT_TRUE(seen);
    EXPECT_FALSE(seen->membership(join).isPresent);
    red->membershipIs(include(join));
    EXPECT_TRUE(seen->membership(join).isPresent);
    EXPECT_EQ(seen->membership(join).membership, include(join));
    red->membershipIs(exclude(join));
    EXPECT_EQ(seen->membership(join).membership, exclude(join));
    red->membershipDel(join);
    EXPECT_FALSE(seen->membership(join).isPresent);
    EXPECT_EQ(seen->membership(join).membership, Membership());
}

TEST_F(GmpTableReader, FollowsAStatusThroughItsGrowth) {
    const auto red = statusOf(*coll, vrf("red"));
    auto seen = reader.status(vrf("red")).value();
    for (std::uint32_t i = 0; i < 30000; ++i) {
        red->membershipIs(include(numberedKey(i)));
        if (i % 997 != 0) continue;
        ASSERT_TRUE(seen.membership(numberedKey(i / 2)).isPresent) << i;
    }
    EXPECT_EQ(sorted(seen), sorted(*red));
    EXPECT_TRUE(seen.damage().empty());
    EXPECT_TRUE(reader.faults().empty());
}

TEST_F(GmpTableReader, MeetsEachMembershipOnceWhileTheTableGrowsUnderTheWalk) {
    const auto red = statusOf(*coll, vrf("red"));
    for (std::uint32_t i = 0; i < 20000; ++i)
        red->membershipIs(include(numberedKey(i)));
    auto seen = reader.status(vrf("red")).value();
    std::vector<Membership> met;
    std::uint32_t added = 20000;
    for (const Membership& membership : seen) {
        met.push_back(membership);
        for (int i = 0; i < 3; ++i)
            red->membershipIs(include(numberedKey(added++)));
    }
    std::sort(met.begin(), met.end());
    EXPECT_EQ(std::adjacent_find(met.begin(), met.end()), met.end());
    for (std::uint32_t i = 0; i < 20000; ++i) {
        ASSERT_TRUE(std::binary_search(met.begin(), met.end(), include(numberedKey(i)))) << i;
    }
}

TEST_F(GmpTableReader, ReadsARemovedStatusAsEmptyForGood) {
    statusOf(*coll, vrf("red"))->membershipIs(include(join));
    auto seen = reader.status(vrf("red")).value();
    coll->gmpStatusDel(vrf("red"));
    statusOf(*coll, vrf("red"))->membershipIs(include(join));
    EXPECT_TRUE(seen.isGone());
    EXPECT_FALSE(seen.membership(join).isPresent);
    EXPECT_TRUE(sorted(seen).empty());
    EXPECT_TRUE(reader.status(vrf("red"))->membership(join).isPresent);
}

TEST_F(GmpTableReader, ReadsATableWhoseWriterIsGone) {
    const TempDirectory other;
    statusOf(*StatusColl::open(other.path()), vrf("red"));
    statusOf(*StatusColl::open(other.path()), vrf("red"))->name();
    {
        const auto writer = StatusColl::open(other.path());
        statusOf(*writer, vrf("red"))->membershipIs(include(join));
    }
    EXPECT_TRUE(TableReader(other.path()).status(vrf("red"))->membership(join).isPresent);
}

TEST_F(GmpTableReader, LearnsWhatChangedInOrder) {
    const auto red = statusOf(*coll, vrf("red"));
    red->membershipIs(include(join));
    red->membershipIs(exclude(join));
    red->membershipDel(join);
    coll->gmpStatusDel(vrf("red"));
    const auto changes = reader.changes();
    const auto in = FilterMode::include;
    const auto ex = FilterMode::exclude;
    const VrfApp status = vrf("red");
    EXPECT_FALSE(changes.isWalkNeeded);
    EXPECT_EQ(changes.changes,
              (std::vector<TableChange>{{TableChange::Kind::statusAdded, {status, {}, {}, {}}},
                                        changeOf(status, join, {}, in),
                                        changeOf(status, join, in, ex),
                                        changeOf(status, join, ex, {}),
                                        {TableChange::Kind::statusRemoved, {status, {}, {}, {}}}}));
    EXPECT_TRUE(reader.changes().changes.empty());
}

TEST_F(GmpTableReader, IsToldToWalkAgainWhenItFellTooFarBehind) {
    const TempDirectory other;
    const auto writer = StatusColl::open(other.path(), {}, TableOptions{64});
    TableReader follower(other.path());
    const auto red = statusOf(*writer, vrf("red"));
    for (std::uint32_t i = 0; i < 64; ++i)
        red->membershipIs(include(numberedKey(i)));
    EXPECT_TRUE(follower.changes().isWalkNeeded);
    red->membershipIs(include(join));
    const auto changes = follower.changes();
    EXPECT_FALSE(changes.isWalkNeeded);
    EXPECT_EQ(changes.changes.size(), 1u);
}

TEST_F(GmpTableReader, IsToldToWalkAgainWhenAnotherWriterTookOver) {
    const TempDirectory other;
    auto writer = StatusColl::open(other.path());
    TableReader follower(other.path());
    writer = nullptr;
    writer = StatusColl::open(other.path());
    EXPECT_TRUE(follower.waitForChange(0ms));
    EXPECT_TRUE(follower.changes().isWalkNeeded);
}

TEST_F(GmpTableReader, WaitsNoLongerThanItsTimeoutForAChangeThatDoesNotCome) {
    const auto before = std::chrono::steady_clock::now();
    EXPECT_FALSE(reader.waitForChange(30ms));
    EXPECT_GE(std::chrono::steady_clock::now() - before, 30ms);
}

TEST_F(GmpTableReader, IsWokenByEachChange) {
    const auto red = statusOf(*coll, vrf("red"));
    static_cast<void>(reader.changes());
    std::uint32_t woken = 0;
    std::thread waiter([&] {
        while (woken < 200) {
            ASSERT_TRUE(reader.waitForChange(10s));
            const auto changes = reader.changes();
            ASSERT_FALSE(changes.isWalkNeeded);
            woken += static_cast<std::uint32_t>(changes.changes.size());
        }
    });
    for (std::uint32_t i = 0; i < 200; ++i) {
        red->membershipIs(include(numberedKey(i)));
        std::this_thread::yield();
    }
    waiter.join();
    EXPECT_EQ(woken, 200u);
}

TEST_F(GmpTableReader, WaitsForAsLongAsItTakesWhereItIsToldNoTimeout) {
    const auto red = statusOf(*coll, vrf("red"));
    static_cast<void>(reader.changes());
    std::thread waiter([&] {
        for (std::uint32_t seen = 0; seen < 50;) {
            EXPECT_TRUE(reader.waitForChange());
            seen += static_cast<std::uint32_t>(reader.changes().changes.size());
        }
    });
    for (std::uint32_t i = 0; i < 50; ++i) {
        red->membershipIs(include(numberedKey(i)));
        std::this_thread::yield();
    }
    waiter.join();
}

TEST_F(GmpTableReader, WaitsThoughItCannotAskTheWriterForACall) {
    const TempDirectory other;
    const auto writer = StatusColl::open(other.path());
    const auto red = statusOf(*writer, vrf("red"));
    std::filesystem::remove(other.path() / "sleepers");
    TableReader follower(other.path());
    EXPECT_FALSE(follower.waitForChange(5ms));
    std::thread writing([&] { red->membershipIs(include(join)); });
    EXPECT_TRUE(follower.waitForChange());
    writing.join();
}

TEST_F(GmpTableReader, WaitsForAsLongAsItTakesWhereTheTimeoutIsTheLongestThereIs) {
    const auto red = statusOf(*coll, vrf("red"));
    static_cast<void>(reader.changes());
    std::thread writing([&] {
        std::this_thread::yield();
        red->membershipIs(include(join));
    });
    EXPECT_TRUE(reader.waitForChange(std::chrono::milliseconds::max()));
    writing.join();
    EXPECT_EQ(reader.changes().changes.size(), 1u);
}

TEST_F(GmpTableReader, ChecksAStatusThatIsGoneAsOneWithoutFaults) {
    statusOf(*coll, vrf("red"))->membershipIs(include(join));
    auto red = reader.status(vrf("red")).value();
    EXPECT_TRUE(red.faults().empty());
    coll->gmpStatusDel(vrf("red"));
    EXPECT_TRUE(red.isGone());
    EXPECT_TRUE(red.faults().empty());
}

TEST_F(GmpTableReader, ReadsTheTableOfItsOwnProcessOverTheSameMapping) {
    const auto writer = StatusColl::anonymous();
    TableReader own(*writer);
    statusOf(*writer, vrf("red"))->membershipIs(include(join));
    EXPECT_TRUE(own.status(vrf("red"))->membership(join).isPresent);
    EXPECT_EQ(own.changes().changes.size(), 2u);
}

}  // namespace

}  // namespace Tessel::Test
