#include <sys/stat.h>

#include "Crafted.h"

namespace Tessel::Test {

namespace {

TEST_F(CraftedTable, OfOtherDimensionsIsRefused) {
    const std::uint64_t dimensions = craft().word(2);
    for (const std::uint64_t other : {dimensions + 1, dimensions + (std::uint64_t{1} << 32)}) {
        {
            Crafted table = craft();
            table.word(2) = other;
            table.sealHeader();
        }
        EXPECT_EQ(refusal(), "is a GMP status table of other dimensions");
    }
}

TEST_F(CraftedTable, WithRoomForAnotherNumberOfStatusesIsRefused) {
    {
        Crafted table = craft();
        table.word(9) -= 1;
        table.sealHeader();
    }
    EXPECT_EQ(refusal(), "is a GMP status table of other dimensions");
}

TEST_F(CraftedTable, OfAnObsoleteVersionWithADamagedHeaderIsRefusedAndNotReplaced) {
    craft().word(1) ^= std::uint64_t{Storage::formatVersion ^ 1u} << 32;
    EXPECT_EQ(refusal(), "is a GMP status table of version 1, not 3");
}

TEST_F(CraftedTable, WithTheLastIdentifierUsedTakesNoMoreStatuses) {
    craft().word(lastStatusWord) = Storage::paired(0xffffffff);
    const auto coll = StatusColl::open(directory.path());
    EXPECT_THROW(statusOf(*coll, vrf("green")), Rix::RangeError);
    EXPECT_EQ(coll->gmpStatuses(), 2u);
    coll->gmpStatus(vrf("red"))->membershipIs(include(numberedKey(5)));
    EXPECT_EQ(sorted(*coll->gmpStatus(vrf("red"))).size(), 2u);
    EXPECT_EQ(faults(), Texts());
}

TEST_F(CraftedTable, WithMorePagesOfStatusesThanItHasRoomForKeepsThem) {
    craft().word(statusPagesWord) = Storage::paired(Storage::maxStatusPages + 1);
    EXPECT_EQ(faults(), Texts{"the number of status entries is damaged"});
    EXPECT_EQ(reportsOfStart(), Texts{"the number of status entries is damaged"});
    EXPECT_EQ(StatusColl::open(directory.path())->gmpStatuses(), 2u);
}

TEST_F(CraftedTable, WithAVrfNameThatIsTooLongLosesThatStatus) {
    {
        Crafted table = craft();
        table.word(table.entry(0) + 2) = 101u << 8 | 1u;
        table.sealIdentity(0);
    }
    EXPECT_EQ(faults(), Texts{"entry 0 of the list of statuses is damaged"});
    EXPECT_EQ(reportsOfStart(),
              Texts{"entry 0 of the list of statuses is damaged; its status is lost"});
    EXPECT_FALSE(StatusColl::open(directory.path())->gmpStatus(vrf("red")));
}

TEST_F(CraftedTable, WithTwoStatusesOfOneNameLosesTheOlder) {
    {
        Crafted table = craft();
        for (std::size_t i = 2; i < 16; ++i)
            table.word(table.entry(1) + i) = table.word(table.entry(0) + i);
        table.sealIdentity(1);
    }
    EXPECT_EQ(faults(), Texts{"status 'red.irb' is there twice"});
    const auto coll = StatusColl::open(directory.path());
    EXPECT_EQ(coll->gmpStatuses(), 1u);
    EXPECT_EQ(sorted(*coll->gmpStatus(vrf("red"))),
              std::vector<Membership>{include(numberedKey(2))});
}

TEST_F(CraftedTable, WithAnIdentifierThatTwoStatusesHaveLosesTheSecond) {
    {
        Crafted table = craft();
        for (std::size_t i = 0; i < 24; ++i)
            table.word(table.entry(2) + i) = table.word(table.entry(0) + i);
        table.word(table.entry(2) + 3) ^= 1;
        table.sealIdentity(2);
    }
    const Texts found = faults();
    EXPECT_EQ(std::count_if(found.begin(), found.end(),
                            [](const std::string& fault) {
                                return fault.ends_with("has the identifier of another one");
                            }),
              1);
    const Texts reports = reportsOfStart();
    ASSERT_EQ(reports.size(), 1u);
    EXPECT_TRUE(reports[0].ends_with("is there twice; the older one is lost")) << reports[0];
}

TEST_F(CraftedTable, WithAPageThatTwoStatusesUseLosesOneOfThem) {
    {
        Crafted table = craft();
        table.directoryIs(0, {extent(table.directory(1) / wordsAPage, 1)}, 1);
        table.word(table.entry(1) + rootInEntry) += 0;
    }
    const Texts found = faults();
    EXPECT_EQ(
        std::count_if(found.begin(), found.end(),
                      [](const std::string& fault) { return fault.ends_with("of another one"); }),
        1);
    EXPECT_EQ(StatusColl::open(directory.path())->gmpStatuses(), 1u);
}

TEST_F(CraftedTable, WithATagButNoRecordHasThatFault) {
    {
        const auto coll = StatusColl::open(directory.path());
        coll->gmpStatus(vrf("red"))->membershipIs(include(numberedKey(3)));
        coll->gmpStatus(vrf("red"))->membershipDel(numberedKey(3));
    }
    {
        Crafted table = craft();
        const std::size_t segment = table.segmentPage(0) * Storage::pageBytes;
        const Places places = placesOf(table, segment);
        tagIs(table, places.removed, tagAt(table, segment, places.live));
    }
    const auto faults = TableReader(directory.path()).faults();
    ASSERT_EQ(faults.size(), 1u);
    EXPECT_TRUE(faults[0].ends_with("has a tag but no record")) << faults[0];
    const auto coll = StatusColl::open(directory.path());
    const auto red = coll->gmpStatus(vrf("red"));
    EXPECT_EQ(sorted(*red), std::vector<Membership>{include(numberedKey(1))});
    for (std::uint32_t i = 10; i < 2000; ++i)
        red->membershipIs(include(numberedKey(i)));
    EXPECT_EQ(sorted(*red).size(), 1991u);
    EXPECT_EQ(TableReader(directory.path()).faults(), std::vector<std::string>());
}

/// The one live record of the status red, with another state or another key that are sealed.
class CraftedRecord : public CraftedTable {
  protected:
    void recordIs(const Storage::KeyWords& key, std::uint8_t mode) const {
        Crafted table = craft();
        const std::size_t segment = table.segmentPage(0) * Storage::pageBytes;
        place = placesOf(table, segment).live;
        std::uint64_t* const found = &table.word(record(segment, place) / 8);
        std::copy(key.begin(), key.end(), found);
        found[5] = Storage::RecordState::live(
                       key, static_cast<FilterMode>(mode), Storage::RecordState(found[5]),
                       Storage::statusChecksum(table.word(table.entry(0) + 1)))
                       .word();
    }
    void expectDamaged() const {
        const Texts found = faults();
        ASSERT_EQ(found.size(), 1u);
        EXPECT_TRUE(found[0].starts_with("status 'red.irb': slot " + std::to_string(place)));
        EXPECT_TRUE(found[0].ends_with(" is damaged")) << found[0];
        EXPECT_EQ(reportsOfStart().size(), 1u);
        EXPECT_EQ(StatusColl::open(directory.path())->gmpStatus(vrf("red"))->memberships(), 0u);
    }

    const Storage::KeyWords words = Storage::keyWords(numberedKey(1));
    mutable std::size_t place = 0;
};

TEST_F(CraftedRecord, ThatIsAsItWasIsNoFault) {
    recordIs(words, static_cast<std::uint8_t>(FilterMode::include));
    // But for the guard, which knows that it was written again.
    EXPECT_EQ(faults().size(), 1u);
    EXPECT_TRUE(faults()[0].ends_with("memberships may be missing or old"));
}

TEST_F(CraftedRecord, OfAFilterModeThatThereIsNotIsDamaged) {
    recordIs(words, 7);
    expectDamaged();
}

TEST_F(CraftedRecord, OfAnInterfaceThatIsNoVlanIsDamaged) {
    Storage::KeyWords other = words;
    other[4] ^= std::uint64_t{3} << 30;
    recordIs(other, static_cast<std::uint8_t>(FilterMode::include));
    expectDamaged();
}

TEST_F(CraftedRecord, OfAnAddressFamilyThatThereIsNotIsDamaged) {
    Storage::KeyWords other = words;
    other[4] |= std::uint64_t{3} << 32;
    recordIs(other, static_cast<std::uint8_t>(FilterMode::include));
    expectDamaged();
}

/// A table whose one live record of the status red has a damaged tag.
class CraftedTag : public CraftedTable {
  protected:
    CraftedTag() { damage(false); }

    /// @param record whether the record is damaged, too
    void damage(bool isRecordToo) const {
        Crafted table = craft();
        const std::size_t segment = table.segmentPage(0) * Storage::pageBytes;
        const std::size_t live = placesOf(table, segment).live;
        if (isRecordToo) {
            table.byte(record(segment, live)) ^= 1;
        } else {
            table.byte(tagByte(segment, live)) ^= 1;
        }
    }
    void open() {
        coll = StatusColl::open(directory.path());
        coll->corruptionHandlerIs([&](std::string_view message) { reports.emplace_back(message); });
        red = coll->gmpStatus(vrf("red"));
    }

    Lumo::Ptr<StatusColl> coll;
    Lumo::Ptr<Status> red;
    std::vector<std::string> reports;
};

TEST_F(CraftedTag, IsMendedWhenTheStatusIsWalked) {
    open();
    EXPECT_EQ(red->memberships(), 1u);
    EXPECT_EQ(sorted(*red), std::vector<Membership>{include(numberedKey(1))});
    ASSERT_EQ(reports.size(), 1u);
    EXPECT_TRUE(reports[0].ends_with("had a damaged tag")) << reports[0];
    EXPECT_EQ(TableReader(directory.path()).faults(), std::vector<std::string>());
}

TEST_F(CraftedTag, IsMendedWhenTheStatusGrows) {
    open();
    for (std::uint32_t i = 10; i < 2000; ++i)
        red->membershipIs(include(numberedKey(i)));
    EXPECT_EQ(sorted(*red).size(), 1991u);
    EXPECT_EQ(reports.size(), 1u);
}

TEST_F(CraftedTag, OfADamagedRecordCannotBeMendedAndTheMembershipIsLost) {
    damage(true);
    open();
    EXPECT_TRUE(sorted(*red).empty());
    ASSERT_EQ(reports.size(), 2u);
    EXPECT_TRUE(reports[1].ends_with("is damaged; its membership is lost")) << reports[1];
    EXPECT_EQ(red->memberships(), 0u);
}

TEST_F(CraftedTable, WithARecordThatItsKeyDoesNotFindHasThatFault) {
    {
        Crafted table = craft();
        const std::size_t segment = table.segmentPage(0) * Storage::pageBytes;
        const Places places = placesOf(table, segment);
        for (std::size_t i = 0; i < sizeof(Storage::Record); ++i) {
            table.byte(record(segment, places.unused) + i) =
                table.byte(record(segment, places.live) + i);
        }
        tagIs(table, places.unused, tagAt(table, segment, places.live));
    }
    const auto faults = TableReader(directory.path()).faults();
    ASSERT_EQ(faults.size(), 1u);
    EXPECT_TRUE(faults[0].ends_with("cannot be found by its key")) << faults[0];
}

TEST_F(CraftedTable, OfAWriterThatWasKilledBeforeItTaggedARecordTakesTheMembershipAgain) {
    {
        Crafted table = craft();
        const std::size_t segment = table.segmentPage(0) * Storage::pageBytes;
        tagIs(table, placesOf(table, segment).live, Storage::emptyTag);
    }
    const auto coll = StatusColl::open(directory.path());
    const auto red = coll->gmpStatus(vrf("red"));
    EXPECT_EQ(red->membership(numberedKey(1)), Membership());
    red->membershipIs(exclude(numberedKey(1)));
    EXPECT_EQ(sorted(*red), std::vector<Membership>{exclude(numberedKey(1))});
    EXPECT_EQ(TableReader(directory.path()).faults(), std::vector<std::string>());
}

TEST_F(CraftedTable, WithHolesGetsItsMemoryBeforeItIsWritten) {
    std::string content(std::filesystem::file_size(directory.table()), '\0');
    std::ifstream(directory.table(), std::ios::binary)
        .read(content.data(), static_cast<std::streamsize>(content.size()));
    std::filesystem::remove(directory.table());
    {
        std::ofstream file(directory.table(), std::ios::binary);
        for (std::size_t at = 0; at < content.size(); at += Storage::pageBytes) {
            const auto page = content.substr(at, Storage::pageBytes);
            file.seekp(static_cast<std::streamoff>(at));
            if (page.find_first_not_of('\0') != std::string::npos) file << page;
        }
    }
    std::filesystem::resize_file(directory.table(), content.size());
    struct stat before {};
    ASSERT_EQ(stat(directory.table().c_str(), &before), 0);
    ASSERT_LT(before.st_blocks * 512, before.st_size);
    const auto coll = StatusColl::open(directory.path());
    struct stat after {};
    ASSERT_EQ(stat(directory.table().c_str(), &after), 0);
    // But for the status entries that nobody needed yet.
    const auto spared =
        static_cast<std::streamoff>((Storage::maxStatusPages - 1) * Storage::pageBytes);
    EXPECT_GE(after.st_blocks * 512, after.st_size - spared);
    EXPECT_EQ(coll->gmpStatus(vrf("red"))->memberships(), 1u);
}

TEST(PortableChecksum, IsThatOfTheProcessor) {
    std::vector<std::uint64_t> words;
    Random random(7);
    for (std::uint32_t count = 0; count < 40; ++count) {
        EXPECT_EQ(Storage::portableChecksum(0xffffffff, words.data(), words.size()),
                  Storage::checksum(0xffffffff, words.data(), words.size()));
        words.push_back(std::uint64_t{random.below(0xffffffff)} << 32 | random.below(0xffffffff));
    }
}

TEST(PortableChecksum, IsTheCastagnoliPolynomials) {
    const std::uint64_t text = 0x3837363534333231;  // "12345678" in memory
    EXPECT_EQ(Storage::portableChecksum(0xffffffff, &text, 1) ^ 0xffffffff, 0x6087809au);
}

}  // namespace

}  // namespace Tessel::Test
