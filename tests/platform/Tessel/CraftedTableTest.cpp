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
#include "Routing/Gmp/Tessel/Storage/Segment.h"

namespace Tessel::Test {

namespace {

namespace Storage = Routing::Gmp::Tessel::Storage;

constexpr std::size_t wordsAPage = Storage::pageBytes / 8;
constexpr std::size_t wordsAnEntry = sizeof(Storage::StatusEntry) / 8;
constexpr std::size_t rootInEntry = offsetof(Storage::StatusEntry, root) / 8;
constexpr std::size_t nodesInDirectory = sizeof(Storage::DirectoryHeader) / 8;
constexpr std::size_t entriesInDirectory = nodesInDirectory + Storage::nodeHeaderWords;

constexpr std::uint64_t extent(std::uint64_t page, std::uint64_t pages, std::uint64_t number = 0) {
    return number << 40 | pages << 32 | page;
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

    Storage::Dimensions dimensions() const { return {static_cast<std::uint32_t>(words_[2] >> 32)}; }
    /// The first word of the status in one of the places of the first page of entries.
    std::size_t entry(std::size_t place) const {
        return dimensions().statusPage() * wordsAPage + place * wordsAnEntry;
    }
    std::size_t directory(std::size_t place) const {
        return (words_[entry(place) + rootInEntry] & 0xffffffff) * wordsAPage;
    }
    /// The first page of its first segment.
    std::uint64_t segmentPage(std::size_t place) const {
        return words_[directory(place) + entriesInDirectory] & 0xffffffff;
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
    /// Gives a directory one node of these entries, whose number is a power of two.
    void directoryIs(std::size_t place, const std::vector<std::uint64_t>& entries,
                     std::uint64_t segments) {
        std::vector<std::uint64_t> nodes{
            static_cast<std::uint64_t>(std::countr_zero(entries.size())), 0, 0};
        nodes.insert(nodes.end(), entries.begin(), entries.end());
        nodesAre(place, nodes, 1, segments);
    }
    void nodesAre(std::size_t place, const std::vector<std::uint64_t>& nodes, std::uint64_t number,
                  std::uint64_t segments) {
        const std::size_t first = directory(place);
        words_[first + 2] = number << 32 | (words_[first + 2] & 0xffffffff);
        words_[first + 3] = segments << 32 | nodes.size();
        std::vector<std::uint64_t> checked(&words_[first], &words_[first + 4]);
        checked.insert(checked.end(), nodes.begin(), nodes.end());
        words_[first + 4] =
            Storage::paired(Storage::checksum(0xffffffff, checked.data(), checked.size()));
        std::copy(nodes.begin(), nodes.end(), &words_[first + nodesInDirectory]);
    }
    /// The first word of the latest change in the log.
    std::size_t latestChange() const {
        const std::uint64_t changes = words_[Storage::controlPage * wordsAPage];
        return Storage::logPage * wordsAPage + (changes - 1) % dimensions().logEntries * 8;
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
        const auto coll = StatusColl::open(directory.path(), {}, TableOptions{64});
        statusOf(*coll, vrf("red"))->membershipIs(include(numberedKey(1)));
        statusOf(*coll, vrf("blue"))->membershipIs(include(numberedKey(2)));
    }

    /// A report without the file's name, which it must start with.
    std::string withoutPath(const std::string& text) const {
        const std::string begin = directory.table().string() + ": ";
        EXPECT_TRUE(text.starts_with(begin)) << text;
        return text.starts_with(begin) ? text.substr(begin.size()) : text;
    }
    /// Why neither writer nor reader opens the table.
    std::string refusal() const {
        EXPECT_THROW(TableReader(directory.path()), Rix::CorruptionError);
        try {
            StatusColl::open(directory.path());
        } catch (const Rix::CorruptionError& error) {
            return withoutPath(error.what());
        }
        return "opened";
    }
    /// What the check finds.
    std::vector<std::string> faults() const {
        std::vector<std::string> all;
        for (const std::string& fault : TableReader(directory.path()).faults())
            all.push_back(withoutPath(fault));
        return all;
    }
    /// What a writer reports when it opens the table. The status blue is as it was, and the check
    /// finds nothing any more.
    std::vector<std::string> reportsOfStart() const {
        std::vector<std::string> reports;
        const auto coll = StatusColl::open(directory.path());
        coll->corruptionHandlerIs([&](std::string_view message) {
            reports.push_back(withoutPath(std::string(message)));
        });
        for (const auto& [key, status] : *coll)
            EXPECT_EQ(sorted(*status).size(), status->memberships());
        const auto blue = coll->gmpStatus(vrf("blue"));
        EXPECT_TRUE(blue);
        if (!blue) return reports;
        EXPECT_EQ(sorted(*blue), std::vector<Membership>{include(numberedKey(2))});
        EXPECT_EQ(faults(), Texts());
        return reports;
    }
    using Texts = std::vector<std::string>;
    Crafted craft() const { return Crafted(directory.table()); }

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

TEST_F(CraftedTable, WithTwoStatusesOfOneNameLosesTheSecond) {
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
              std::vector<Membership>{include(numberedKey(1))});
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
    EXPECT_TRUE(reports[0].ends_with("is there twice; the second one is lost")) << reports[0];
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

/// The status red with a directory that is sealed and makes no sense. Its memberships are lost, and
/// nothing else.
class CraftedDirectory : public CraftedTable {
  protected:
    void expectLost(const std::string& why) const {
        EXPECT_EQ(faults(), Texts{"status 'red.irb': " + why});
        EXPECT_TRUE(sorted(TableReader(directory.path()).status(vrf("red")).value()).empty());
        EXPECT_EQ(reportsOfStart(),
                  Texts{"status 'red.irb': " + why + "; its memberships are lost"});
    }
};

TEST_F(CraftedDirectory, WithASegmentOutsideItsFile) {
    const std::uint64_t pages = craft().pages();
    craft().directoryIs(0, {extent(pages - 1, 2)}, 1);
    expectLost("a segment lies outside the file");
}

TEST_F(CraftedDirectory, WithASegmentInsideTheChangeLog) {
    craft().directoryIs(0, {extent(Storage::logPage + 5, 1)}, 1);
    expectLost("a segment lies outside the file");
}

TEST_F(CraftedDirectory, WithASegmentOfAnImpossibleLength) {
    craft().directoryIs(0, {extent(craft().segmentPage(0), 3)}, 1);
    expectLost("its directory makes no sense");
}

TEST_F(CraftedDirectory, WithASegmentAtTwoPlaces) {
    const std::uint64_t a = craft().segmentPage(0);
    const std::uint64_t b = craft().pages() - 1;
    craft().directoryIs(0, {extent(a, 1), extent(b, 1, 1), extent(a, 1), extent(b, 1, 1)}, 2);
    expectLost("its directory makes no sense");
}

TEST_F(CraftedDirectory, WithTwoSegmentsOfOneNumber) {
    const std::uint64_t a = craft().segmentPage(0);
    craft().directoryIs(0, {extent(a, 1), extent(craft().pages() - 1, 1)}, 1);
    expectLost("its directory makes no sense");
}

TEST_F(CraftedDirectory, WithANodeThatNamesItself) {
    craft().directoryIs(0, {Storage::nodeEntryBit}, 0);
    expectLost("its directory makes no sense");
}

TEST_F(CraftedDirectory, WithANodeThatNobodyNames) {
    const std::uint64_t a = craft().segmentPage(0);
    craft().nodesAre(0, {0, 0, 0, extent(a, 1), 0, 7, 7, extent(craft().pages() - 1, 1, 1)}, 2, 2);
    expectLost("its directory makes no sense");
}

TEST_F(CraftedDirectory, WithMoreNodesThanItHasRoomFor) {
    craft().nodesAre(0, {0, 0, 0, extent(craft().segmentPage(0), 1)}, 3, 1);
    expectLost("its directory is damaged");
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

/// The byte of a place's tag in a segment.
std::size_t tagByte(std::size_t segment, std::size_t place) {
    return segment + place / Storage::wordPlaces * 8 + place % Storage::wordPlaces;
}

std::uint8_t tagAt(Crafted& table, std::size_t segment, std::size_t place) {
    return table.byte(tagByte(segment, place)) & 0x7f;
}

/// Gives a place of the status in place 0 a tag, in a sound word.
void tagIs(Crafted& table, std::size_t place, std::uint8_t tag) {
    const std::size_t segment = table.segmentPage(0) * Storage::pageBytes;
    const std::size_t number = place / Storage::wordPlaces;
    std::uint8_t& byte = table.byte(tagByte(segment, place));
    byte = static_cast<std::uint8_t>((byte & 0x80) | tag);
    std::uint64_t& word = table.word(segment / 8 + number);
    const std::uint32_t salt =
        Storage::segmentSalt(Storage::statusChecksum(table.word(table.entry(0) + 1)),
                             static_cast<Storage::PageNumber>(table.segmentPage(0)));
    word = Storage::sealedTags(word & Storage::tagBits, salt + static_cast<std::uint32_t>(number));
}

Places placesOf(Crafted& table, std::size_t segment) {
    constexpr std::uint8_t removedKind = 2;
    Places places;
    for (std::size_t place = 0; place < std::size_t{groups} * Storage::groupPlaces; ++place) {
        const std::uint8_t tag = tagAt(table, segment, place);
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
