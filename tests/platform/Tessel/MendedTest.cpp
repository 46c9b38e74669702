// What leads to a status's memberships, damaged under a running writer, which knows better.
#include <functional>

#include "Crafted.h"

namespace Tessel::Test {

namespace {

class MendedTable : public ::testing::Test {
  protected:
    static constexpr std::uint32_t count = 60;

    MendedTable() {
        for (std::uint32_t i = 0; i < count; ++i)
            red->membershipIs(include(numberedKey(i)));
        blue->membershipIs(include(numberedKey(1)));
        coll->corruptionHandlerIs([&](std::string_view message) { reports.emplace_back(message); });
    }
    Crafted craft() const { return Crafted(directory.table()); }
    std::vector<std::string> faults() const { return TableReader(directory.path()).faults(); }
    /// Damages a word, and expects the next walk over the status to write it right.
    void expectMended(const std::function<std::size_t(const Crafted&)>& place, std::uint64_t bits) {
        reports.clear();
        {
            Crafted table = craft();
            table.word(place(table)) ^= bits;
        }
        EXPECT_NE(faults(), std::vector<std::string>());
        EXPECT_EQ(sorted(*red).size(), count);
        EXPECT_EQ(faults(), std::vector<std::string>());
        EXPECT_EQ(reports, std::vector<std::string>{directory.table().string() +
                                                    ": status 'red.irb' had a damaged directory "
                                                    "or entry"});
        EXPECT_EQ(sorted(*red).size(), count);
        EXPECT_EQ(reports.size(), 1u);
    }
    void expectMendedEntry(std::size_t word, std::uint64_t bits) {
        expectMended([&](const Crafted& table) { return table.entry(0) + word; }, bits);
    }
    void expectMendedDirectory(std::size_t word, std::uint64_t bits) {
        expectMended([&](const Crafted& table) { return table.directory(0) + word; }, bits);
    }

    const TempDirectory directory;
    const Lumo::Ptr<StatusColl> coll = StatusColl::open(directory.path(), {}, TableOptions{64});
    const Lumo::Ptr<Status> red = statusOf(*coll, vrf("red"));
    const Lumo::Ptr<Status> blue = statusOf(*coll, vrf("blue"));
    std::vector<std::string> reports;
};

TEST_F(MendedTable, HasItsEntryWrittenRight) {
    for (const std::size_t word : {0u, 1u, 2u, 3u})  // life, identifier, description, name
        expectMendedEntry(word, 4);
    expectMendedEntry(rootInEntry, 1);
    expectMendedEntry(rootInEntry, std::uint64_t{1} << 32);
}

TEST_F(MendedTable, HasTheEntryWrittenRightOfAStatusThatSeemedToBeGone) {
    const std::uint64_t life = craft().word(craft().entry(0));
    expectMendedEntry(0, life ^ Storage::noLife);
}

TEST_F(MendedTable, HasItsControlPageWrittenRight) {
    const std::size_t guards = lastStatusWord + 1;
    for (const std::size_t word : {statusPagesWord, lastStatusWord})
        expectMended([=](const Crafted&) { return word; }, 1);
    // Both words of the sum: one alone would still be right.
    {
        Crafted table = craft();
        table.word(guards) ^= 1;
    }
    expectMended([=](const Crafted&) { return guards + 1; }, 1);
}

TEST_F(MendedTable, HasItsDirectoryWrittenRight) {
    for (std::size_t word = 0; word < 5; ++word)  // the header, with its checksum
        expectMendedDirectory(word, 4);
    for (std::size_t word = 0; word < 4; ++word)  // the one node
        expectMendedDirectory(nodesInDirectory + word, 1);
}

TEST_F(MendedTable, HasTheSumOverASegmentWrittenRight) {
    const std::size_t guards = nodesInDirectory + Storage::nodeHeaderWords + 1;
    {
        Crafted table = craft();
        table.word(table.directory(0) + guards) ^= 1;
    }
    expectMendedDirectory(guards + 1, 1);
}

TEST_F(MendedTable, HasATagWrittenRightThatAWalkMeets) {
    {
        Crafted table = craft();
        table.word(table.segmentPage(1) * wordsAPage) ^= 1;
    }
    EXPECT_EQ(sorted(*blue), std::vector<Membership>{include(numberedKey(1))});
    EXPECT_EQ(reports.size(), 1u);
    EXPECT_EQ(faults(), std::vector<std::string>());
}

TEST_F(MendedTable, RemovesAMembershipBesideADamagedTagAndNoOther) {
    {
        Crafted table = craft();
        const std::size_t segment = table.segmentPage(1) * Storage::pageBytes;
        const std::size_t live = placesOf(table, segment).live;
        // The other word of its group.
        table.word(segment / 8 + (live / Storage::wordPlaces ^ 1)) ^= 1;
    }
    blue->membershipDel(numberedKey(1));
    EXPECT_EQ(reports.size(), 1u);
    EXPECT_EQ(sorted(*blue), std::vector<Membership>());
    EXPECT_EQ(reports.size(), 1u);
    EXPECT_EQ(faults(), std::vector<std::string>());
}

TEST_F(MendedTable, FindsAPlaceInAPageThatIsNothingButOnes) {
    {
        Crafted table = craft();
        const std::size_t page = table.segmentPage(1) * wordsAPage;
        for (std::size_t i = 0; i < wordsAPage; ++i)
            table.word(page + i) = ~std::uint64_t{0};
    }
    blue->membershipIs(include(numberedKey(2)));
    EXPECT_EQ(sorted(*blue), std::vector<Membership>{include(numberedKey(2))});
    EXPECT_FALSE(reports.empty());
    EXPECT_EQ(faults(), std::vector<std::string>());
}

TEST_F(MendedTable, LeavesADamagedMembershipBehindWhenItGrows) {
    constexpr std::uint32_t fewest = 30;
    const auto green = statusOf(*coll, vrf("green"));
    for (std::uint32_t i = 0; i < fewest; ++i)
        green->membershipIs(include(numberedKey(i)));
    const auto rootOf = [&] { return craft().word(craft().entry(2) + rootInEntry); };
    const std::uint64_t before = rootOf();
    {
        Crafted table = craft();
        const std::size_t segment = table.segmentPage(2) * Storage::pageBytes;
        table.byte(record(segment, placesOf(table, segment).live)) ^= 1;
    }
    std::uint32_t next = fewest;
    while (rootOf() == before)
        green->membershipIs(include(numberedKey(next++)));
    EXPECT_EQ(sorted(*green).size(), next - 1);
    EXPECT_EQ(green->memberships(), next - 1);
    EXPECT_EQ(reports.size(), 1u);
    EXPECT_EQ(faults(), std::vector<std::string>());
}

TEST(MendedTableWithoutAListener, KeepsTheFirstThousandReports) {
    const TempDirectory directory;
    constexpr std::uint32_t many = 1500;
    const auto coll = StatusColl::open(directory.path());
    const auto red = statusOf(*coll, vrf("red"));
    for (std::uint32_t i = 0; i < many; ++i)
        red->membershipIs(include(numberedKey(i)));
    std::vector<std::string> reports;
    {
        Crafted table(directory.table());
        const std::size_t segment = table.segmentPage(0) * wordsAPage;
        for (std::size_t word = segment; word < table.pages() * wordsAPage; ++word)
            table.word(word) = ~std::uint64_t{0};
    }
    EXPECT_EQ(sorted(*red).size(), 0u);
    coll->corruptionHandlerIs([&](std::string_view message) { reports.emplace_back(message); });
    EXPECT_EQ(reports.size(), 1000u);
}

}  // namespace

}  // namespace Tessel::Test
