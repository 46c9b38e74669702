// What was written and is not there any more: zeroed memory, old copies of it, and what else has no
// wrong checksum.
#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstring>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "Fixture.h"
#include "Routing/Gmp/Tessel/Storage/GroupTags.h"
#include "Routing/Gmp/Tessel/Storage/Header.h"
#include "Routing/Gmp/Tessel/Storage/Segment.h"

namespace Tessel::Test {

namespace {

namespace Storage = Routing::Gmp::Tessel::Storage;

/// A table with a status red, which its writer closed, and the words of its file.
class Vanished : public ::testing::Test {
  protected:
    static constexpr std::uint32_t count = 50;

    Vanished() {
        const auto coll = StatusColl::open(directory.path(), {}, TableOptions{64});
        const auto red = statusOf(*coll, vrf("red"));
        for (std::uint32_t i = 0; i < count; ++i)
            red->membershipIs(include(numberedKey(i)));
        map();
    }
    ~Vanished() override { munmap(words, bytes); }

    void map() {
        bytes = std::filesystem::file_size(directory.table());
        const int file = open(directory.table().c_str(), O_RDWR);
        words = static_cast<std::uint64_t*>(
            mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0));
        close(file);
    }
    std::uint64_t* page(std::uint64_t number) const {
        return words + number * Storage::pageBytes / 8;
    }
    std::uint64_t* entry() const { return page(Storage::Dimensions{64}.statusPage()); }
    std::uint64_t* directoryPage() const { return page(entry()[16] & 0xffffffff); }
    std::uint64_t* segment() const { return page(directoryPage()[9] & 0xffffffff); }

    bool isFoundByTheCheck() const { return !TableReader(directory.path()).faults().empty(); }
    bool isFoundByAReader() const {
        auto statuses = TableReader(directory.path()).statuses();
        if (!statuses.damage.empty()) return true;
        for (StatusReader& status : statuses.readers) {
            static_cast<void>(sorted(status));
            if (!status.damage().empty()) return true;
        }
        return false;
    }
    bool isFoundByTheNextWriter() const {
        bool isFound = false;
        const auto coll = StatusColl::open(directory.path());
        coll->corruptionHandlerIs([&](std::string_view) { isFound = true; });
        for (const auto& [key, status] : *coll)
            static_cast<void>(sorted(*status));
        return isFound;
    }
    void expectFound() const {
        EXPECT_TRUE(isFoundByTheCheck());
        EXPECT_TRUE(isFoundByAReader());
        EXPECT_TRUE(isFoundByTheNextWriter());
        EXPECT_FALSE(isFoundByTheCheck()) << "after the next writer";
    }
    static void zero(std::uint64_t* page) { std::memset(page, 0, Storage::pageBytes); }

    const TempDirectory directory;
    std::uint64_t* words = nullptr;
    std::size_t bytes = 0;
};

TEST_F(Vanished, NothingIsFoundInASoundTable) {
    EXPECT_FALSE(isFoundByTheCheck());
    EXPECT_FALSE(isFoundByAReader());
    EXPECT_FALSE(isFoundByTheNextWriter());
}

TEST_F(Vanished, AControlPageIsFound) {
    zero(page(Storage::controlPage));
    expectFound();
    EXPECT_EQ(StatusColl::open(directory.path())->gmpStatus(vrf("red"))->memberships(), count);
}

TEST_F(Vanished, APageOfStatusEntriesIsFound) {
    zero(entry());
    expectFound();
}

TEST_F(Vanished, AnyWordOfAStatusEntryIsFound) {
    for (std::size_t word = 0; word < sizeof(Storage::StatusEntry) / 8; ++word) {
        if (entry()[word] == 0) continue;
        const std::uint64_t before = std::exchange(entry()[word], 0);
        EXPECT_TRUE(isFoundByTheCheck()) << word;
        EXPECT_TRUE(isFoundByAReader()) << word;
        auto status = TableReader(directory.path()).status(vrf("red"));
        EXPECT_FALSE(status && status->membership(numberedKey(1)).damage.empty()) << word;
        entry()[word] = before;
    }
    EXPECT_FALSE(isFoundByTheCheck());
}

TEST_F(Vanished, ADirectoryIsFound) {
    zero(directoryPage());
    expectFound();
}

TEST_F(Vanished, ASegmentIsFound) {
    zero(segment());
    expectFound();
}

TEST_F(Vanished, ALineOfTagsIsFoundAndRestored) {
    std::memset(segment(), 0, 64);
    expectFound();
    EXPECT_EQ(StatusColl::open(directory.path())->gmpStatus(vrf("red"))->memberships(), count);
}

TEST_F(Vanished, EveryFreePlaceUnderARunningWriterIsFoundAgain) {
    const auto coll = StatusColl::open(directory.path());
    const auto red = coll->gmpStatus(vrf("red"));
    ASSERT_EQ(red->memberships(), count);
    // Every tag word is sound, and says that all of its places are used.
    const std::uint32_t salt =
        Storage::segmentSalt(Storage::statusChecksum(entry()[1]), directoryPage()[9] & 0xffffffff);
    for (std::uint32_t word = 0; word < 2 * Storage::segmentGroups(1); ++word) {
        ASSERT_EQ(Storage::unsoundBits(segment()[word], salt + word), 0u);
        segment()[word] = Storage::sealedTags(Storage::everyTag(5), salt + word);
    }
    for (std::uint32_t i = count; i < count + 5; ++i)
        red->membershipIs(include(numberedKey(i)));
    EXPECT_EQ(sorted(*red).size(), count + 5u);
    EXPECT_FALSE(isFoundByTheCheck());
}

TEST_F(Vanished, AnOldCopyOfASegmentIsFound) {
    const std::vector<std::uint64_t> old(segment(), segment() + Storage::pageBytes / 8);
    StatusColl::open(directory.path())->gmpStatus(vrf("red"))->membershipDel(numberedKey(7));
    std::copy(old.begin(), old.end(), segment());
    expectFound();
}

TEST_F(Vanished, AnOldCopyOfAStatusEntryIsFound) {
    const std::vector<std::uint64_t> old(entry(), entry() + Storage::pageBytes / 8);
    StatusColl::open(directory.path())->gmpStatusDel(vrf("red"));
    std::copy(old.begin(), old.end(), entry());
    EXPECT_TRUE(isFoundByTheCheck());
    EXPECT_TRUE(isFoundByAReader());
    EXPECT_TRUE(isFoundByTheNextWriter());
}

/// Statuses whose entries lie on two pages, of which the first one comes back from the past.
class OldEntries : public Vanished {
  protected:
    OldEntries() {
        const auto coll = StatusColl::open(directory.path());
        for (std::size_t i = 0; i <= last; ++i)
            put(*coll, i, 1);
        map();
        old.assign(entry(), entry() + Storage::pageBytes / 8);
    }

    static VrfApp name(std::size_t i) { return vrf("v" + std::to_string(i)); }
    static void put(StatusColl& coll, std::size_t i, std::uint32_t memberships) {
        const auto status = statusOf(coll, name(i));
        for (std::uint32_t number = 0; number < memberships; ++number)
            status->membershipIs(include(numberedKey(number)));
    }
    /// What the next writer finds in the statuses, once the page is as it was.
    std::map<std::string, std::size_t> foundAgain() {
        std::copy(old.begin(), old.end(), entry());
        EXPECT_TRUE(isFoundByTheCheck());
        std::map<std::string, std::size_t> found;
        const auto coll = StatusColl::open(directory.path());
        coll->corruptionHandlerIs([&](std::string_view message) { told += message; });
        for (const auto& [key, status] : *coll)
            found[std::string(key.vrfName.text())] = status->memberships();
        return found;
    }

    /// The last status is on the second page.
    static constexpr std::size_t last = Storage::statusEntriesAPage + 15;
    std::vector<std::uint64_t> old;
    std::string told;
};

TEST_F(OldEntries, ThatClaimThePagesOfAnotherStatusLoseThemselvesAlone) {
    std::size_t others = Storage::statusEntriesAPage;
    {
        const auto coll = StatusColl::open(directory.path());
        const std::uint64_t* const claimed =
            page(page(old[2 * 24 + 16] & 0xffffffff)[9] & 0xffffffff);
        put(*coll, 1, 80);  // it grows, and gives pages back
        const std::uint64_t before = *claimed;
        while (*claimed == before && others <= last)
            put(*coll, others++, 80);  // they grow, until one takes the first of them
        ASSERT_NE(*claimed, before);
    }
    const auto found = foundAgain();
    EXPECT_EQ(found.size(), last + 1) << told;  // red is one of them
    EXPECT_FALSE(found.contains("v1"));
    while (--others >= Storage::statusEntriesAPage)
        EXPECT_EQ(found.at("v" + std::to_string(others)), 80u);
    EXPECT_NE(told.find("'v1.irb' uses pages of another one"), std::string::npos) << told;
    EXPECT_FALSE(isFoundByTheCheck());
}

TEST_F(OldEntries, OfAStatusThatWasMadeAnewDoNotTakeItsPlace) {
    {
        const auto coll = StatusColl::open(directory.path());
        put(*coll, last + 1, 1);
        coll->gmpStatusDel(name(0));
        put(*coll, 0, 3);
    }
    const auto found = foundAgain();
    EXPECT_EQ(found.size(), last + 3) << told;  // red is one of them
    EXPECT_EQ(found.at("v0"), 3u);
    EXPECT_NE(told.find("'v0.irb'"), std::string::npos) << told;
    EXPECT_FALSE(isFoundByTheCheck());
}

TEST_F(Vanished, AnEntryOfTheChangeLogIsFoundByTheCheck) {
    std::memset(page(Storage::logPage) + 8 * 20, 0, 64);
    EXPECT_TRUE(isFoundByTheCheck());
}

TEST_F(Vanished, AnIdentifierIsNotUsedAgainAfterAWriterThatWasKilledWhileItWroteIt) {
    const std::uint64_t latest = page(Storage::controlPage)[9];
    // As a writer leaves it that was killed right before it wrote the identity.
    page(Storage::controlPage)[9] = Storage::paired(Storage::numberOf(latest) + 1);
    const auto coll = StatusColl::open(directory.path());
    statusOf(*coll, vrf("blue"));
    EXPECT_EQ(Storage::numberOf(entry()[24]), Storage::numberOf(latest) + 2);
}

TEST_F(Vanished, ATableOfAnOlderVersionIsReplacedByItsWriterAndRefusedToReaders) {
    for (std::uint64_t version = 1; version < Storage::formatVersion; ++version) {
        words[1] = (words[1] & 0xffffffff) | version << 32;
        words[9] &= 0xffffffff;
        words[9] |= std::uint64_t{Storage::checksum(0xffffffff, words, 10)} << 32;
        EXPECT_THROW(TableReader(directory.path()), std::runtime_error);
        EXPECT_EQ(StatusColl::open(directory.path())->gmpStatuses(), 0u);
        EXPECT_FALSE(isFoundByTheCheck());
        munmap(words, bytes);
        map();
    }
}

TEST(TagWords, DifferInFourBitsWhereverTwoAreSoundAtOnePlace) {
    // The checksum is linear, so it is enough that no sum of up to three columns is zero.
    const std::uint64_t zero = Storage::sealedTags(0, 0);
    std::vector<std::uint64_t> columns;
    for (unsigned bit = 0; bit < 63; ++bit) {
        const std::uint64_t one = std::uint64_t{1} << bit;
        const bool isTag = (Storage::tagBits & one) != 0;
        columns.push_back(isTag ? (Storage::sealedTags(one, 0) ^ zero) & Storage::tagChecksumBits
                                : one);
    }
    for (std::size_t a = 0; a < columns.size(); ++a) {
        ASSERT_NE(columns[a], 0u);
        for (std::size_t b = a + 1; b < columns.size(); ++b) {
            ASSERT_NE(columns[a], columns[b]);
            for (std::size_t c = b + 1; c < columns.size(); ++c)
                ASSERT_NE(columns[a] ^ columns[b], columns[c]);
        }
    }
}

TEST(TagWords, OfZerosAreNeverSound) {
    for (std::uint32_t salt = 0; salt < 100000; ++salt)
        ASSERT_NE(Storage::unsoundBits(0, salt), 0u);
}

}  // namespace

}  // namespace Tessel::Test
