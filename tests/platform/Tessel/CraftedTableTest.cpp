// Tables whose every checksum is right and whose content makes no sense: what no flipped bit makes,
// but a faulty writer could.
#include <sys/stat.h>

#include <bit>
#include <cstddef>
#include <fstream>

#include "Fixture.h"
#include "Rix/CorruptionError.h"
#include "Routing/Gmp/Tessel/Storage/Checksum.h"
#include "Routing/Gmp/Tessel/Storage/Format.h"

namespace Tessel::Test {

namespace {

namespace Storage = Routing::Gmp::Tessel::Storage;

constexpr std::size_t wordsAPage = Storage::pageBytes / 8;
constexpr std::size_t wordsAnEntry = sizeof(Storage::StatusEntry) / 8;
constexpr std::size_t rootInEntry = offsetof(Storage::StatusEntry, root) / 8;
constexpr std::size_t extentsInDirectory = sizeof(Storage::DirectoryHeader) / 8;

constexpr std::uint64_t extent(std::uint64_t page, std::uint64_t pages) {
    return pages << 32 | page;
}

/// The words of a table's file, to be changed and sealed again with their checksums.
class Crafted {
  public:
    explicit Crafted(std::filesystem::path path)
        : path_(std::move(path)), words_(std::filesystem::file_size(path_) / 8) {
        std::ifstream(path_, std::ios::binary)
            .read(reinterpret_cast<char*>(words_.data()), bytes());
    }
    Crafted(const Crafted&) = delete;
    Crafted& operator=(const Crafted&) = delete;
    /// Writes everything back, in place.
    ~Crafted() {
        std::fstream(path_, std::ios::in | std::ios::out | std::ios::binary)
            .write(reinterpret_cast<const char*>(words_.data()), bytes());
    }

    std::uint64_t& word(std::size_t place) { return words_.at(place); }
    std::uint8_t& byte(std::size_t place) {
        return reinterpret_cast<std::uint8_t*>(words_.data())[place];
    }
    std::uint64_t pages() const { return words_.size() / wordsAPage; }

    /// The first word of the status in one of the places of the list's first page.
    std::size_t entry(std::size_t place) const {
        const std::uint64_t page = words_[Storage::statusListPage * wordsAPage] & 0xffffffff;
        return page * wordsAPage + place * wordsAnEntry;
    }
    std::size_t directory(std::size_t place) const {
        return (words_[entry(place) + rootInEntry] & 0xffffffff) * wordsAPage;
    }
    /// The first page of its first segment.
    std::uint64_t segmentPage(std::size_t place) const {
        return words_[directory(place) + extentsInDirectory] & 0xffffffff;
    }

    void sealHeader() {
        words_[9] &= 0xffffffff;
        words_[9] |= std::uint64_t{checksumOf(0, 10)} << 32;
    }
    void sealIdentity(std::size_t place) {
        const std::size_t first = entry(place) + 1;
        words_[first + 1] &= 0xffffffff;
        words_[first + 1] |= std::uint64_t{checksumOf(first, 15)} << 32;
    }
    /// Gives a directory these extents, whose number is a power of two.
    void directoryIs(std::size_t place, const std::vector<std::uint64_t>& extents) {
        const std::size_t first = directory(place);
        const auto depth = static_cast<std::uint64_t>(std::countr_zero(extents.size()));
        words_[first + 2] = depth << 32 | (words_[first + 2] & 0xffffffff);
        std::vector<std::uint64_t> checked(&words_[first], &words_[first + 3]);
        checked.insert(checked.end(), extents.begin(), extents.end());
        words_[first + 3] = Storage::checksum(0xffffffff, checked.data(), checked.size());
        std::copy(extents.begin(), extents.end(), &words_[first + extentsInDirectory]);
    }
    /// The first word of the latest change in the log.
    std::size_t latestChange() const {
        const std::uint64_t changes = words_[Storage::controlPage * wordsAPage];
        return Storage::logPage * wordsAPage + (changes - 1) % Storage::logEntries * 8;
    }
    void sealChange(std::size_t first) {
        words_[first + 7] &= ~std::uint64_t{0xffffffff};
        words_[first + 7] |= checksumOf(first, 8);
    }

  private:
    std::streamsize bytes() const { return static_cast<std::streamsize>(words_.size() * 8); }
    std::uint32_t checksumOf(std::size_t first, std::size_t count) const {
        return Storage::checksum(0xffffffff, &words_[first], count);
    }

    const std::filesystem::path path_;
    std::vector<std::uint64_t> words_;
};

class CraftedTable : public ::testing::Test {
  protected:
    /// Closed, with a status red in place 0 and a status blue in place 1.
    CraftedTable() {
        const auto coll = StatusColl::open(directory.path());
        statusOf(*coll, vrf("red"))->membershipIs(include(numberedKey(1)));
        statusOf(*coll, vrf("blue"))->membershipIs(include(numberedKey(2)));
    }

    std::string writersRefusal() const {
        try {
            StatusColl::open(directory.path());
        } catch (const Rix::CorruptionError& error) {
            return error.what();
        }
        return "opened";
    }
    /// What opening says, as writer; reading reports something, too, or is refused.
    std::string refusal() const {
        try {
            EXPECT_FALSE(TableReader(directory.path()).faults().empty());
        } catch (const Rix::CorruptionError&) {
        }
        const std::string text = writersRefusal();
        const std::string begin = directory.table().string() + ": ";
        return text.starts_with(begin) ? text.substr(begin.size()) : text;
    }
    Crafted craft() const { return Crafted(directory.table()); }
    std::string refusalOfExtents(const std::vector<std::uint64_t>& extents) const {
        craft().directoryIs(0, extents);
        return refusal();
    }

    const TempDirectory directory;
};

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

TEST_F(CraftedTable, WhoseListOfStatusesLeavesTheFileIsRefused) {
    for (const std::uint32_t page : {Storage::statusListPage, 100000u}) {
        craft().word(Storage::statusListPage * wordsAPage) = std::uint64_t{~page} << 32 | page;
        EXPECT_EQ(refusal(), "the list of statuses is damaged");
    }
}

TEST_F(CraftedTable, WithAVrfNameThatIsTooLongIsRefused) {
    {
        Crafted table = craft();
        table.word(table.entry(0) + 2) = 101u << 8 | 1u;
        table.sealIdentity(0);
    }
    EXPECT_EQ(refusal(), "entry 0 of the list of statuses is damaged");
}

TEST_F(CraftedTable, WithTwoStatusesOfOneNameIsRefusedToItsWriter) {
    {
        Crafted table = craft();
        for (std::size_t i = 2; i < 16; ++i)
            table.word(table.entry(1) + i) = table.word(table.entry(0) + i);
        table.sealIdentity(1);
    }
    EXPECT_EQ(writersRefusal(), directory.table().string() + ": status 'red.irb' is there twice");
}

TEST_F(CraftedTable, WithAPageThatTwoStatusesUseIsRefusedToItsWriter) {
    std::uint64_t page = 0;
    {
        Crafted table = craft();
        page = table.segmentPage(0);
        table.directoryIs(1, {extent(page, 1)});
    }
    EXPECT_EQ(writersRefusal(), directory.table().string() + ": page " + std::to_string(page) +
                                    " is used twice or lies outside the file");
}

TEST_F(CraftedTable, WithASegmentOutsideItsFileIsRefused) {
    const std::uint64_t pages = craft().pages();
    for (const std::uint64_t outside :
         {extent(Storage::statusListPage, 1), extent(pages, 1), extent(pages - 1, 2)}) {
        EXPECT_EQ(refusalOfExtents({outside}), "status 'red.irb': a segment lies outside the file");
    }
}

TEST_F(CraftedTable, WithSegmentsOfImpossibleLengthsOrOrderIsRefused) {
    const std::uint64_t a = craft().segmentPage(0);
    const std::uint64_t b = craft().segmentPage(1);
    for (const std::vector<std::uint64_t>& extents :
         {std::vector{extent(a, 3)},
          std::vector{extent(a, 1), extent(b, 1), extent(a, 1), extent(b, 1)}}) {
        EXPECT_EQ(refusalOfExtents(extents), "status 'red.irb': its directory makes no sense");
    }
    std::filesystem::resize_file(directory.table(), std::size_t{256} * Storage::pageBytes);
    EXPECT_EQ(refusalOfExtents({extent(a, 128)}), "status 'red.irb': its directory makes no sense");
}

/// Places of a segment of one page: one that is live, one that was and one that never was.
struct Places {
    std::size_t live = 0;
    std::size_t removed = 0;
    std::size_t unused = 0;
};

constexpr std::uint32_t groups = Storage::segmentGroups(1);

/// The first byte of a record in a segment.
std::size_t record(std::size_t segment, std::size_t place) {
    return segment + Storage::recordsOffset(groups) + place * sizeof(Storage::Record);
}

Places placesOf(Crafted& table, std::size_t segment) {
    constexpr std::uint8_t removedKind = 2;
    Places places;
    for (std::size_t place = 0; place < std::size_t{groups} * Storage::groupPlaces; ++place) {
        const std::uint8_t tag = table.byte(segment + place);
        const std::uint8_t kind =
            table.byte(record(segment, place) + offsetof(Storage::Record, state) + 5);
        if (kind == removedKind) {
            places.removed = place;
        } else {
            (tag == Storage::emptyTag ? places.unused : places.live) = place;
        }
    }
    return places;
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
        table.byte(segment + places.removed) = table.byte(segment + places.live);
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
            table.byte(segment + live) ^= 1;
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
    ASSERT_EQ(reports.size(), 1u);
    EXPECT_TRUE(reports[0].ends_with("is damaged; its membership is lost")) << reports[0];
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
        table.byte(segment + places.unused) = table.byte(segment + places.live);
    }
    const auto faults = TableReader(directory.path()).faults();
    ASSERT_EQ(faults.size(), 1u);
    EXPECT_TRUE(faults[0].ends_with("cannot be found by its key")) << faults[0];
}

TEST_F(CraftedTable, OfAWriterThatWasKilledBeforeItTaggedARecordTakesTheMembershipAgain) {
    {
        Crafted table = craft();
        const std::size_t segment = table.segmentPage(0) * Storage::pageBytes;
        table.byte(segment + placesOf(table, segment).live) = Storage::emptyTag;
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
    EXPECT_GE(after.st_blocks * 512, after.st_size);
    EXPECT_EQ(coll->gmpStatus(vrf("red"))->memberships(), 1u);
}

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
