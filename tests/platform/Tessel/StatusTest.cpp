#include <map>

#include "Fixture.h"
#include "Rix/NullArgumentError.h"
#include "Rix/RangeError.h"

namespace Tessel::Test {

namespace {

class GmpStatus : public ::testing::Test {
  protected:
    Lumo::Ptr<StatusColl> coll = StatusColl::anonymous();
    Lumo::Ptr<Status> red = statusOf(*coll, vrf("red"));
    const RouteIntfKey join = key(10, "10.0.0.1", "239.1.1.1");
};

TEST_F(GmpStatus, HoldsWhatWasPutInPlace) {
    red->membershipIs(include(join));
    EXPECT_EQ(red->membership(join), include(join));
    EXPECT_EQ(red->memberships(), 1u);
}

TEST_F(GmpStatus, ReadsAnAbsentKeyAsTheDefaultRecord) {
    EXPECT_EQ(red->membership(join), Membership());
    EXPECT_EQ(red->membership(join).filterMode(), FilterMode::exclude);
}

TEST_F(GmpStatus, OverwritesTheFilterModeUnderTheSameKey) {
    red->membershipIs(include(join));
    red->membershipIs(exclude(join));
    EXPECT_EQ(red->membership(join), exclude(join));
    EXPECT_EQ(red->memberships(), 1u);
}

TEST_F(GmpStatus, ForgetsADeletedMembershipAndIgnoresAnAbsentOne) {
    red->membershipIs(include(join));
    red->membershipDel(key(11, "10.0.0.1", "239.1.1.1"));
    EXPECT_EQ(red->memberships(), 1u);
    red->membershipDel(join);
    red->membershipDel(join);
    EXPECT_EQ(red->memberships(), 0u);
    EXPECT_EQ(red->membership(join), Membership());
}

TEST_F(GmpStatus, TellsVlansSourcesGroupsAndFamiliesApart) {
    const std::vector<RouteIntfKey> keys = {
        join,
        key(11, "10.0.0.1", "239.1.1.1"),
        key(10, "10.0.0.2", "239.1.1.1"),
        key(10, "10.0.0.1", "239.1.1.2"),
        key(10, "0.0.0.0", "239.1.1.1"),
        key(10, "::", "ff3e::1"),
        key(10, "2001:db8::1", "ff3e::1"),
        {join.intf, {}, join.group},
        {join.intf, {}, {}},
    };
    for (const RouteIntfKey& one : keys)
        red->membershipIs(include(one));
    EXPECT_EQ(red->memberships(), keys.size());
    for (const RouteIntfKey& one : keys)
        EXPECT_EQ(red->membership(one), include(one));
}

TEST_F(GmpStatus, TakesOnlyVlanInterfaces) {
    for (const char* name : {"swp1", "mtunnel3", ""}) {
        const RouteIntfKey other{Ondel::IntfId(name), join.source, join.group};
        EXPECT_THROW(red->membershipIs(include(other)), Rix::RangeError) << name;
    }
    EXPECT_EQ(red->memberships(), 0u);
}

TEST_F(GmpStatus, AgreesWithAMapThroughGrowthAndShrinking) {
    std::map<RouteIntfKey, FilterMode> model;
    Random random(1);
    for (std::uint32_t step = 0; step < 60000; ++step) {
        const RouteIntfKey one = numberedKey(random.below(20000));
        // Two of three grow the table at first, and shrink it later.
        const bool grows = step < 40000 ? random.below(3) != 0 : random.below(3) == 0;
        if (grows) {
            const auto mode = static_cast<FilterMode>(random.below(2));
            red->membershipIs({one, mode});
            model[one] = mode;
        } else {
            red->membershipDel(one);
            model.erase(one);
        }
        ASSERT_EQ(red->memberships(), model.size());
    }
    std::vector<Membership> expected;
    for (const auto& [one, mode] : model)
        expected.emplace_back(one, mode);
    EXPECT_EQ(sorted(*red), expected);
    for (const Membership& one : expected)
        ASSERT_EQ(red->membership(one.key()), one);
    EXPECT_EQ(TableReader(*coll).faults(), std::vector<std::string>());
}

TEST_F(GmpStatus, IsWalkedOverWhileTheCurrentEntryAndOthersGo) {
    for (std::uint32_t i = 0; i < 5000; ++i)
        red->membershipIs(include(numberedKey(i)));
    std::size_t met = 0;
    for (const Membership& membership : *red) {
        ++met;
        red->membershipDel(membership.key());
        for (std::uint32_t i = 0; i < 10; ++i)
            red->membershipDel(numberedKey(i));
    }
    EXPECT_GE(met, 4990u);
    EXPECT_LE(met, 5000u);
    EXPECT_EQ(red->memberships(), 0u);
}

TEST_F(GmpStatus, IsWalkedOverWhileEntriesAreAddedUntilItGrows) {
    for (std::uint32_t i = 0; i < 1000; ++i)
        red->membershipIs(include(numberedKey(i)));
    std::map<RouteIntfKey, int> met;
    std::uint32_t added = 1000;
    for (const Membership& membership : *red) {
        ++met[membership.key()];
        if (added < 9000) red->membershipIs(include(numberedKey(added++)));
        if (added < 9000) red->membershipIs(include(numberedKey(added++)));
    }
    for (std::uint32_t i = 0; i < 1000; ++i)
        EXPECT_EQ(met[numberedKey(i)], 1) << i;
    for (const auto& [one, times] : met)
        EXPECT_EQ(times, 1);
}

TEST_F(GmpStatus, ShowsAWalkTheContentThatEntriesHaveByThen) {
    for (std::uint32_t i = 0; i < 100; ++i)
        red->membershipIs(include(numberedKey(i)));
    bool first = true;
    for (const Membership& membership : *red) {
        if (first) {
            for (std::uint32_t i = 0; i < 100; ++i)
                red->membershipIs(exclude(numberedKey(i)));
        } else {
            EXPECT_EQ(membership.filterMode(), FilterMode::exclude);
        }
        first = false;
    }
}

TEST_F(GmpStatus, EndsAWalkWhenTheStatusGoes) {
    for (std::uint32_t i = 0; i < 100; ++i)
        red->membershipIs(include(numberedKey(i)));
    int met = 0;
    for (const Membership& membership : *red) {
        static_cast<void>(membership);
        ++met;
        coll->gmpStatusDel(vrf("red"));
    }
    EXPECT_EQ(met, 1);
}

TEST(GmpStatusByItself, HoldsNothingAndTakesNothing) {
    const auto status = Lumo::make<Status>("red.irb");
    const RouteIntfKey join = key(10, "10.0.0.1", "239.1.1.1");
    EXPECT_EQ(status->name(), "red.irb");
    EXPECT_THROW(status->membershipIs(include(join)), std::logic_error);
    status->membershipDel(join);
    EXPECT_EQ(status->membership(join), Membership());
    EXPECT_EQ(status->memberships(), 0u);
    EXPECT_TRUE(sorted(*status).empty());
    status->handleCorruption("nobody listens");
}

}  // namespace

}  // namespace Tessel::Test
