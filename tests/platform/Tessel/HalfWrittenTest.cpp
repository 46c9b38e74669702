// Memberships that a killed writer left half written, or that are from another time: the next
// writer takes the table for what readers made of it.
#include <algorithm>
#include <array>
#include <memory>

#include "Crafted.h"

namespace Tessel::Test {

namespace {

constexpr std::size_t guardsInDirectory = entriesInDirectory + 1;

class HalfWritten : public CraftedTable {
  protected:
    using Record = std::array<std::uint64_t, sizeof(Storage::Record) / 8>;

    /// The place of a membership of the status red.
    static std::size_t placeOf(Crafted& table, const RouteIntfKey& key) {
        const Storage::KeyWords words = Storage::keyWords(key);
        const std::size_t segment = table.segmentPage(0) * Storage::pageBytes;
        for (std::size_t place = 0; place < std::size_t{groups} * Storage::groupPlaces; ++place) {
            const std::uint64_t* const found = &table.word(record(segment, place) / 8);
            if (std::equal(words.begin(), words.end(), found)) return place;
        }
        throw std::runtime_error("not there");
    }
    static std::uint64_t* recordAt(Crafted& table, std::size_t place) {
        return &table.word(record(table.segmentPage(0) * Storage::pageBytes, place) / 8);
    }
    std::uint64_t guard() const { return craft().word(craft().directory(0) + guardsInDirectory); }
    /// What readers find, and the next writer and the check after them.
    void expectEverywhere(const std::vector<Membership>& content) const {
        auto seen = TableReader(directory.path()).status(vrf("red")).value();
        EXPECT_EQ(sorted(seen), content);
        EXPECT_EQ(seen.damage(), Texts());
        std::vector<std::string> reports;
        const auto coll = StatusColl::open(directory.path());
        coll->corruptionHandlerIs([&](std::string_view message) { reports.emplace_back(message); });
        const auto red = coll->gmpStatus(vrf("red"));
        EXPECT_EQ(red->memberships(), content.size());
        EXPECT_EQ(sorted(*red), content);
        EXPECT_EQ(reports, Texts());
        EXPECT_EQ(faults(), Texts());
    }

    const Membership stays = include(numberedKey(1));
    const Membership other = include(numberedKey(3));
};

TEST_F(HalfWritten, InsertionIsNone) {
    const std::uint64_t before = guard();
    StatusColl::open(directory.path())->gmpStatus(vrf("red"))->membershipIs(other);
    {
        // As its writer had it right before it wrote the tag.
        Crafted table = craft();
        tagIs(table, placeOf(table, other.key()), Storage::emptyTag);
        table.word(table.directory(0) + guardsInDirectory) = before;
    }
    expectEverywhere({stays});
}

TEST_F(HalfWritten, RemovalIsOne) {
    StatusColl::open(directory.path())->gmpStatus(vrf("red"))->membershipIs(other);
    const std::uint64_t before = guard();
    const std::size_t place = [&] {
        Crafted table = craft();
        return placeOf(table, other.key());
    }();
    const std::uint64_t live = recordAt(*std::make_unique<Crafted>(directory.table()), place)[5];
    StatusColl::open(directory.path())->gmpStatus(vrf("red"))->membershipDel(other.key());
    {
        // As its writer had it right after it wrote the tag.
        Crafted table = craft();
        recordAt(table, place)[5] = live;
        table.word(table.directory(0) + guardsInDirectory) = before;
    }
    expectEverywhere({stays});
}

/// A status red in which removed memberships came back from another time, and a tag is damaged.
class OldRecords : public HalfWritten {
  protected:
    /// @param count how many come back
    void comeBack(std::uint32_t count) {
        std::vector<std::pair<std::size_t, std::uint64_t>> states;
        const auto coll = StatusColl::open(directory.path());
        const auto red = coll->gmpStatus(vrf("red"));
        for (std::uint32_t i = 0; i < count; ++i)
            red->membershipIs(include(numberedKey(100 + i)));
        {
            Crafted table = craft();
            for (std::uint32_t i = 0; i < count; ++i) {
                const std::size_t place = placeOf(table, numberedKey(100 + i));
                states.emplace_back(place, recordAt(table, place)[5]);
            }
        }
        for (std::uint32_t i = 0; i < count; ++i)
            red->membershipDel(numberedKey(100 + i));
        Crafted table = craft();
        for (const auto& [place, state] : states)
            recordAt(table, place)[5] = state;
        const std::size_t segment = table.segmentPage(0) * Storage::pageBytes;
        table.byte(tagByte(segment, placeOf(table, stays.key()))) ^= 1;
    }
    std::vector<Membership> nextWriters(Texts& reports) const {
        const auto coll = StatusColl::open(directory.path());
        coll->corruptionHandlerIs([&](std::string_view message) { reports.emplace_back(message); });
        return sorted(*coll->gmpStatus(vrf("red")));
    }
};

TEST_F(OldRecords, AreToldFromThoseWhoseTagIsDamaged) {
    comeBack(1);
    Texts reports;
    EXPECT_EQ(nextWriters(reports), std::vector<Membership>{stays});
    EXPECT_EQ(reports.size(), 1u);
    EXPECT_TRUE(reports[0].ends_with("had a damaged tag")) << reports[0];
    EXPECT_EQ(faults(), Texts());
}

TEST_F(OldRecords, AreLostWithThoseWhoseTagIsDamagedWhereNobodyCanTellAndThatIsTold) {
    comeBack(2);
    Texts reports;
    EXPECT_EQ(nextWriters(reports), std::vector<Membership>());
    EXPECT_EQ(std::count_if(reports.begin(), reports.end(),
                            [](const std::string& report) {
                                return report.ends_with("its membership is lost");
                            }),
              3);
    EXPECT_EQ(faults(), Texts());
}

}  // namespace

}  // namespace Tessel::Test
