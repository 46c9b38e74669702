#include "Fixture.h"
#include "Rix/NullArgumentError.h"

namespace Tessel::Test {

namespace {

class GmpStatusColl : public ::testing::Test {
  protected:
    std::vector<std::string> names() const {
        std::vector<std::string> all;
        for (const auto& [key, status] : *coll)
            all.push_back(status->name());
        std::sort(all.begin(), all.end());
        return all;
    }

    Lumo::Ptr<StatusColl> coll = StatusColl::anonymous();
    const RouteIntfKey join = key(10, "10.0.0.1", "239.1.1.1");
};

TEST_F(GmpStatusColl, GivesNothingForAKeyThatWasNeverPut) {
    EXPECT_EQ(coll->gmpStatus(vrf("red")), nullptr);
    coll->gmpStatusDel(vrf("red"));
}

TEST_F(GmpStatusColl, KeepsStatusesOfOneVrfApartByApplication) {
    statusOf(*coll, vrf("red"))->membershipIs(include(join));
    const auto other = statusOf(*coll, vrf("red", App::gmp));
    EXPECT_EQ(other->memberships(), 0u);
    EXPECT_EQ(names(), (std::vector<std::string>{"red.gmp", "red.irb"}));
}

TEST_F(GmpStatusColl, RemovesAStatusWithAllItsMemberships) {
    const auto red = statusOf(*coll, vrf("red"));
    red->membershipIs(include(join));
    coll->gmpStatusDel(vrf("red"));
    EXPECT_EQ(coll->gmpStatus(vrf("red")), nullptr);
    EXPECT_FALSE(red->isStored());
    EXPECT_EQ(statusOf(*coll, vrf("red"))->memberships(), 0u);
}

TEST_F(GmpStatusColl, TakesTheSameStatusAgainWithoutAnyChange) {
    const auto red = statusOf(*coll, vrf("red"));
    red->membershipIs(include(join));
    coll->gmpStatusIs(vrf("red"), red);
    EXPECT_EQ(red->memberships(), 1u);
}

TEST_F(GmpStatusColl, PutsAnotherStatusInPlaceOfTheOneThatWasThere) {
    statusOf(*coll, vrf("red"))->membershipIs(include(join));
    coll->gmpStatusIs(vrf("red"), Lumo::make<Status>("red.irb"));
    EXPECT_EQ(coll->gmpStatus(vrf("red"))->memberships(), 0u);
}

TEST_F(GmpStatusColl, RefusesNoStatusAndOneThatIsStoredElsewhere) {
    EXPECT_THROW(coll->gmpStatusIs(vrf("red"), nullptr), Rix::NullArgumentError);
    const auto red = statusOf(*coll, vrf("red"));
    EXPECT_THROW(coll->gmpStatusIs(vrf("blue"), red), std::invalid_argument);
    EXPECT_EQ(names(), std::vector<std::string>{"red.irb"});
}

TEST_F(GmpStatusColl, IsWalkedOverWhileStatusesComeAndGo) {
    for (int i = 0; i < 30; ++i)
        statusOf(*coll, vrf("vrf" + std::to_string(i)));
    int met = 0;
    for (const auto& [key, status] : *coll) {
        ++met;
        EXPECT_TRUE(status->isStored());
        coll->gmpStatusDel(key);
        coll->gmpStatusDel(vrf("vrf29"));
        statusOf(*coll, vrf("new" + std::to_string(met)));
    }
    EXPECT_GE(met, 29);
    EXPECT_EQ(coll->gmpStatus(vrf("vrf0")), nullptr);
}

TEST_F(GmpStatusColl, TellsItsObserverOfEveryChangeOnce) {
    std::vector<MembershipChange> heard;
    coll->membershipObserverIs([&](const MembershipChange& change) { heard.push_back(change); });
    const auto red = statusOf(*coll, vrf("red"));
    const RouteIntfKey other = key(11, "0.0.0.0", "239.1.1.1");
    red->membershipIs(include(join));
    red->membershipIs(include(join));
    red->membershipIs(exclude(join));
    red->membershipDel(join);
    red->membershipDel(join);
    red->membershipIs(include(other));
    coll->gmpStatusDel(vrf("red"));
    const VrfApp status = vrf("red");
    const auto in = FilterMode::include;
    const auto ex = FilterMode::exclude;
    EXPECT_EQ(heard, (std::vector<MembershipChange>{{status, join, {}, in},
                                                    {status, join, in, ex},
                                                    {status, join, ex, {}},
                                                    {status, other, {}, in},
                                                    {status, other, in, {}}}));
}

TEST_F(GmpStatusColl, TellsItsObserverOfEveryMembershipOfABigStatusThatGoes) {
    const auto red = statusOf(*coll, vrf("red"));
    for (std::uint32_t i = 0; i < 30000; ++i)
        red->membershipIs(include(numberedKey(i)));
    std::vector<bool> isGone(30000);
    coll->membershipObserverIs([&](const MembershipChange& change) {
        EXPECT_FALSE(change.after);
        isGone.at(numberOf(change.key)) = true;
    });
    coll->gmpStatusDel(vrf("red"));
    EXPECT_EQ(std::count(isGone.begin(), isGone.end(), true), 30000);
}

TEST_F(GmpStatusColl, HandsItsStorageOverWholeAndIsEmptyAfterwards) {
    const auto red = statusOf(*coll, vrf("red"));
    red->membershipIs(include(join));
    int changes = 0;
    coll->membershipObserverIs([&](const MembershipChange&) { ++changes; });

    const auto heir = coll->handOver();
    EXPECT_EQ(heir->gmpStatus(vrf("red"))->membership(join), include(join));
    EXPECT_EQ(coll->gmpStatus(vrf("red")), nullptr);
    red->membershipDel(join);
    statusOf(*coll, vrf("red"))->membershipIs(exclude(join));
    EXPECT_EQ(heir->gmpStatus(vrf("red"))->membership(join), include(join));
    EXPECT_EQ(changes, 0);
    heir->gmpStatus(vrf("red"))->membershipDel(join);
    EXPECT_EQ(changes, 1);
}

TEST_F(GmpStatusColl, TakesAsManyStatusesAsItHasEntriesForAndSaysSoAtTheEnd) {
    int added = 0;
    try {
        for (; added < 20000; ++added)
            statusOf(*coll, vrf("v" + std::to_string(added)));
    } catch (const std::exception& error) {
        EXPECT_NE(std::string(error.what()).find("statuses not allowed"), std::string::npos);
    }
    EXPECT_EQ(added, 10752);
    EXPECT_EQ(coll->gmpStatuses(), 10752u);
    coll->gmpStatusDel(vrf("v7"));
    EXPECT_EQ(statusOf(*coll, vrf("again"))->memberships(), 0u);
}

}  // namespace

}  // namespace Tessel::Test
