#include "Crafted.h"

namespace Tessel::Test {

namespace {

/// A reader that follows a table while changes of its log are crafted.
class CraftedLog : public CraftedTable {
  protected:
    /// Adds a membership, crafts the change in the log, and tells what the reader makes of it.
    template <class Change>
    bool isWalkNeededAfter(const Change& change) {
        TableReader reader(directory.path());
        coll->gmpStatus(vrf("red"))->membershipIs(include(numberedKey(++number)));
        {
            Crafted table = craft();
            change(table, table.latestChange());
        }
        return reader.changes().isWalkNeeded;
    }

    const Lumo::Ptr<StatusColl> coll = StatusColl::open(directory.path());
    std::uint32_t number = 10;
};

TEST_F(CraftedLog, ThatIsAsItWasTellsItsChanges) {
    EXPECT_FALSE(isWalkNeededAfter([](Crafted&, std::size_t) {}));
    EXPECT_FALSE(
        isWalkNeededAfter([](Crafted& table, std::size_t change) { table.sealChange(change); }));
}

TEST_F(CraftedLog, WithADamagedChangeSendsReadersToTheTable) {
    EXPECT_TRUE(
        isWalkNeededAfter([](Crafted& table, std::size_t change) { table.word(change + 7) ^= 1; }));
}

TEST_F(CraftedLog, WithAChangeOfAnUnknownKindSendsReadersToTheTable) {
    EXPECT_TRUE(isWalkNeededAfter([](Crafted& table, std::size_t change) {
        table.word(change + 7) |= std::uint64_t{0x70} << 32;
        table.sealChange(change);
    }));
}

TEST_F(CraftedLog, WithAChangeOfAStatusOutsideTheListSendsReadersToTheTable) {
    EXPECT_TRUE(isWalkNeededAfter([](Crafted& table, std::size_t change) {
        table.word(change + 2) |= std::uint64_t{0xfff0} << 48;
        table.sealChange(change);
    }));
}

TEST_F(CraftedLog, WithAChangeOfAStatusThatIsDamagedSendsReadersToTheTable) {
    EXPECT_TRUE(isWalkNeededAfter([](Crafted& table, std::size_t change) {
        const std::uint64_t place = table.word(change + 2) >> 48;
        table.word(table.entry(place) + 3) ^= 1;
    }));
}

TEST_F(CraftedLog, WithAChangeOfAStatusWhosePlaceAnotherTookSendsReadersToTheTable) {
    TableReader reader(directory.path());
    coll->gmpStatusDel(vrf("red"));
    for (std::size_t i = 0; i < Storage::statusEntriesAPage; ++i)
        statusOf(*coll, vrf("green" + std::to_string(i)));
    EXPECT_TRUE(reader.changes().isWalkNeeded);
}

TEST_F(CraftedLog, WithAFilterModeThatThereIsNotSendsReadersToTheTable) {
    for (const unsigned shift : {40u, 48u}) {
        EXPECT_TRUE(isWalkNeededAfter([&](Crafted& table, std::size_t change) {
            table.word(change + 7) |= std::uint64_t{7} << shift;
            table.sealChange(change);
        }));
    }
}

TEST_F(CraftedLog, WithAStatusThatCannotBeToldSendsReadersToTheTable) {
    statusOf(*coll, vrf("green"));
    EXPECT_TRUE(isWalkNeededAfter([](Crafted& table, std::size_t) {
        // More pages of entries than there is room for.
        table.word(statusPagesWord) = Storage::paired(Storage::maxStatusPages + 1);
    }));
}

TEST_F(CraftedLog, HasItsLatestChangeChecked) {
    craft().word(craft().latestChange() + 7) ^= 1;
    EXPECT_EQ(faults(), Texts{"the count of changes or the latest change is damaged"});
}

TEST_F(CraftedLog, HasItsEarlierChangesChecked) {
    const std::size_t change = craft().latestChange();
    {
        Crafted table = craft();
        table.word(change + 7) |= std::uint64_t{7} << 40;
        table.sealChange(change);
    }
    coll->gmpStatus(vrf("red"))->membershipIs(include(numberedKey(9)));
    const std::size_t place = (change - Storage::logPage * wordsAPage) / 8;
    EXPECT_EQ(faults(), Texts{"entry " + std::to_string(place) + " of the change log is damaged"});
}

/// A closed table.
class CraftedCount : public CraftedTable {
  protected:
    /// Whether the next writer tells that the count of changes is wrong, and goes on with one that
    /// sends a reader to the table who came before.
    void expectCountedAnew() {
        EXPECT_EQ(faults(), Texts{"the count of changes or the latest change is damaged"});
        TableReader reader(directory.path());
        EXPECT_EQ(reportsOfStart(), Texts{"the change log is damaged"});
        EXPECT_TRUE(reader.changes().isWalkNeeded);
        const auto coll = StatusColl::open(directory.path());
        static_cast<void>(reader.changes());
        coll->gmpStatus(vrf("red"))->membershipDel(numberedKey(1));
        EXPECT_EQ(reader.changes().changes.size(), 1u);
        EXPECT_EQ(faults(), Texts());
    }
};

TEST_F(CraftedCount, OfChangesThatIsWrongIsCountedAnew) {
    craft().word(changesWord) += 1000;
    expectCountedAnew();
}

TEST_F(CraftedCount, OfChangesIsNotThatOfAChangeAtAPlaceThatIsNotItsOwn) {
    {
        Crafted table = craft();
        const std::size_t latest = table.latestChange();
        for (std::size_t i = 0; i < 8; ++i)
            table.word(latest + 16 + i) = table.word(latest + i);
        // Far ahead, and sealed.
        table.word(latest + 16) += 1000;
        table.sealChange(latest + 16);
        table.word(changesWord) += 500;
    }
    expectCountedAnew();
    EXPECT_LT(craft().word(changesWord), 500u);
}

}  // namespace

}  // namespace Tessel::Test
