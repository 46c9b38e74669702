#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <fstream>

#include "Fixture.h"
#include "Rix/CorruptionError.h"
#include "Routing/Gmp/Tessel/Storage/Format.h"

namespace Tessel::Test {

namespace {

namespace Storage = Routing::Gmp::Tessel::Storage;

/// The bytes of a table's file, to be damaged, beside whatever else maps them.
class Bytes {
  public:
    explicit Bytes(const std::filesystem::path& path) : size_(std::filesystem::file_size(path)) {
        const int fd = open(path.c_str(), O_RDWR);
        void* const memory = mmap(nullptr, size_, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
        close(fd);
        if (memory == MAP_FAILED) throw std::runtime_error("cannot map the table");
        bytes_ = static_cast<unsigned char*>(memory);
        whole_.assign(bytes_, bytes_ + size_);
        for (std::size_t at = 0; at < size_; at += Storage::pageBytes) {
            isUsed_.push_back(std::any_of(bytes_ + at, bytes_ + at + Storage::pageBytes,
                                          [](auto byte) { return byte != 0; }));
        }
    }
    Bytes(const Bytes&) = delete;
    Bytes& operator=(const Bytes&) = delete;
    ~Bytes() { munmap(bytes_, size_); }

    std::size_t size() const { return size_; }
    void flip(std::size_t bit) const {
        bytes_[bit / 8] = static_cast<unsigned char>(bytes_[bit / 8] ^ 1u << bit % 8);
    }
    /// The first page behind header, log and status entries.
    std::size_t firstSegmentPage() const {
        const auto* const header = reinterpret_cast<const Storage::Header*>(whole_.data());
        return Storage::Dimensions{header->logEntries}.firstPages();
    }
    void restore() const {
        for (std::size_t page = 0; page < size_ / Storage::pageBytes; ++page) {
            // The status entries that nobody needs have no memory and stay so.
            if (page < firstSegmentPage() && !isUsed_[page]) continue;
            const auto first =
                whole_.begin() + static_cast<std::ptrdiff_t>(page * Storage::pageBytes);
            std::copy(first, first + Storage::pageBytes, bytes_ + page * Storage::pageBytes);
        }
    }
    /// Whether an address lies at that place.
    bool startsWith(std::size_t at, const Ondel::IpGenAddr::Bytes& address) const {
        return std::equal(address.begin(), address.end(), bytes_ + at);
    }
    /// Whether a page holds anything but zeros.
    bool isUsed(std::size_t page) const { return isUsed_[page]; }

  private:
    std::size_t size_;
    unsigned char* bytes_;
    std::vector<unsigned char> whole_;
    std::vector<bool> isUsed_;
};

/// The less of a table is log, the more of it is worth damaging.
constexpr TableOptions smallest{64};

class DamagedTable : public ::testing::Test {
  protected:
    static constexpr std::uint32_t few = 30;

    /// Closed, with the memberships of numbers 0..count-1 in mode include.
    void makeTable(std::uint32_t count) const {
        const auto coll = StatusColl::open(directory.path(), {}, smallest);
        const auto red = statusOf(*coll, vrf("red"));
        for (std::uint32_t i = 0; i < count; ++i)
            red->membershipIs(include(numberedKey(i)));
        // A place that was used and is free again.
        red->membershipIs(include(numberedKey(count)));
        red->membershipDel(numberedKey(count));
    }

    /// What reading a table comes to that held the memberships 0..count-1.
    struct Verdict {
        bool isReported = false;
        bool isComplete = false;  ///< everything is there
        bool isWrong = false;     ///< something is there that never was
    };
    Verdict read(std::uint32_t count) const {
        Verdict verdict;
        try {
            const TableReader reader(directory.path());
            auto statuses = reader.statuses();
            verdict.isReported = !statuses.damage.empty();
            std::uint32_t walked = 0;
            std::uint32_t found = 0;
            for (StatusReader& status : statuses.readers) {
                if (!(status.key() == vrf("red"))) verdict.isWrong = true;
                readStatus(status, count, verdict, walked, found);
            }
            verdict.isComplete = walked == count && found == count;
        } catch (const Rix::CorruptionError& error) {
            verdict.isReported = std::string(error.what()).find(directory.table().string()) == 0;
        }
        return verdict;
    }

    const TempDirectory directory;

  private:
    static void readStatus(StatusReader& status, std::uint32_t count, Verdict& verdict,
                           std::uint32_t& walked, std::uint32_t& found) {
        for (const Membership& membership : status) {
            const std::uint32_t number = numberOf(membership.key());
            if (number >= count || membership != include(numberedKey(number))) {
                verdict.isWrong = true;
            }
            ++walked;
        }
        verdict.isReported |= !status.damage().empty();
        for (std::uint32_t i = 0; i <= count; ++i) {
            const auto reading = status.membership(numberedKey(i));
            verdict.isReported |= !reading.damage.empty();
            if (!reading.isPresent) continue;
            ++found;
            if (i == count || reading.membership != include(numberedKey(i))) {
                verdict.isWrong = true;
            }
        }
    }
};

TEST_F(DamagedTable, ReportsEachFlippedBitOrIsNotHarmedByIt) {
    makeTable(few);
    const Bytes bytes(directory.table());
    ASSERT_TRUE(read(few).isComplete);
    ASSERT_FALSE(read(few).isReported);
    std::size_t reported = 0;
    for (std::size_t page = 0; page < bytes.size() / Storage::pageBytes; ++page) {
        const std::size_t first = page * Storage::pageBytes * 8;
        // Nothing refers to what was never written: a few bits stand for all of it.
        const std::size_t usedStep = isSanitized ? 31 : 1;
        const std::size_t step = bytes.isUsed(page) ? usedStep : 4099;
        for (std::size_t bit = first; bit < first + Storage::pageBytes * 8; bit += step) {
            bytes.flip(bit);
            const Verdict verdict = read(few);
            bytes.flip(bit);
            ASSERT_FALSE(verdict.isWrong) << "bit " << bit;
            ASSERT_TRUE(verdict.isReported || verdict.isComplete) << "bit " << bit;
            if (verdict.isReported) ++reported;
        }
    }
    // The records alone have this many bits.
    EXPECT_GT(reported * (isSanitized ? 31 : 1), few * sizeof(Storage::Record) * 8);
}

TEST_F(DamagedTable, GoesOnBeingWrittenAfterAnyFlippedBit) {
    makeTable(few);
    const Bytes bytes(directory.table());
    // A prime step meets every position within a byte and within a record.
    for (std::size_t bit = 0; bit < bytes.size() * 8; bit += isSanitized ? 499 : 61) {
        if (!bytes.isUsed(bit / 8 / Storage::pageBytes)) continue;
        bytes.restore();
        bytes.flip(bit);
        Lumo::Ptr<StatusColl> coll;
        try {
            coll = StatusColl::open(directory.path());
        } catch (const Rix::CorruptionError&) {
            // Only the header decides whether this is a table at all.
            ASSERT_LT(bit, sizeof(Storage::Header) * 8);
            continue;
        }
        bool isReported = false;
        coll->corruptionHandlerIs([&](std::string_view) { isReported = true; });
        ASSERT_TRUE(coll->gmpStatus(vrf("red")) || isReported) << "bit " << bit;
        const auto red = statusOf(*coll, vrf("red"));
        for (std::uint32_t i = 0; i <= few; ++i)
            red->membershipIs(include(numberedKey(i)));
        ASSERT_EQ(red->memberships(), few + 1) << "bit " << bit;
        ASSERT_EQ(sorted(*red).size(), few + 1) << "bit " << bit;
        for (std::uint32_t i = 0; i <= few; ++i) {
            ASSERT_EQ(red->membership(numberedKey(i)), include(numberedKey(i))) << "bit " << bit;
        }
    }
}

TEST_F(DamagedTable, NeverShowsAWrongMembershipAfterAHundredThousandRandomFlips) {
    constexpr std::uint32_t count = 50000;
    makeTable(count);
    const Bytes bytes(directory.table());
    Random random(1);
    for (int round = 0; round < 50; ++round) {
        bytes.restore();
        for (int i = 0; i < 2000; ++i) {
            bytes.flip(random.below(static_cast<std::uint32_t>(bytes.size() * 8)));
        }
        const Verdict verdict = read(count);
        ASSERT_FALSE(verdict.isWrong) << "round " << round;
        ASSERT_TRUE(verdict.isReported) << "round " << round;
    }
}

TEST_F(DamagedTable, IsRefusedOrWholeOrToldToBeDamagedWhereverItIsTruncated) {
    makeTable(5000);
    std::string content(std::filesystem::file_size(directory.table()), '\0');
    std::ifstream(directory.table(), std::ios::binary)
        .read(content.data(), static_cast<std::streamsize>(content.size()));
    const std::uintmax_t size = content.size() / Storage::pageBytes;
    for (std::uintmax_t cut = 1; cut <= size; cut += cut < 200 ? 1 : 31) {
        const std::uintmax_t pages = size - cut;
        std::ofstream(directory.table(), std::ios::binary) << content;
        std::filesystem::resize_file(directory.table(), pages * Storage::pageBytes + pages % 2);
        const Verdict verdict = read(5000);
        ASSERT_FALSE(verdict.isWrong) << pages;
        ASSERT_TRUE(verdict.isReported || verdict.isComplete) << pages;
        bool isTold = false;
        try {
            const auto coll = StatusColl::open(directory.path());
            coll->corruptionHandlerIs([&](std::string_view) { isTold = true; });
            const auto red = coll->gmpStatus(vrf("red"));
            ASSERT_TRUE(isTold || (red && red->memberships() == 5000u)) << pages;
        } catch (const Rix::CorruptionError& error) {
            isTold = std::string(error.what()).find(directory.table().string()) == 0;
        }
        ASSERT_TRUE(isTold || verdict.isComplete) << pages;
    }
}

/// A table that is damaged while its writer has it open.
class DamageUnderTheWriter : public ::testing::Test {
  protected:
    void SetUp() override {
        for (std::uint32_t i = 0; i < 100; ++i)
            red->membershipIs(include(numberedKey(i)));
        coll->corruptionHandlerIs([&](std::string_view message) { reports.emplace_back(message); });
    }
    /// Flips a bit of every live record.
    void damageRecords() const {
        const Bytes bytes(directory.table());
        for (std::uint32_t number = 0; number < 100; ++number) {
            const auto source = numberedKey(number).source.bytes();
            for (std::size_t at = 0; at + 16 <= bytes.size(); at += 16) {
                if (at / Storage::pageBytes < bytes.firstSegmentPage()) continue;
                if (bytes.startsWith(at, source)) bytes.flip((at + 9) * 8);
            }
        }
    }

    const TempDirectory directory;
    const Lumo::Ptr<StatusColl> coll = StatusColl::open(directory.path());
    const Lumo::Ptr<Status> red = statusOf(*coll, vrf("red"));
    std::vector<std::string> reports;
};

TEST_F(DamageUnderTheWriter, IsRaisedByALookupWithTheStatusAndTheSlot) {
    damageRecords();
    try {
        static_cast<void>(red->membership(numberedKey(5)));
        FAIL() << "damage not met";
    } catch (const Rix::CorruptionError& error) {
        const std::string message = error.what();
        EXPECT_NE(message.find("'red.irb'"), std::string::npos) << message;
        EXPECT_NE(message.find("slot"), std::string::npos) << message;
        red->handleCorruption(message);
        EXPECT_EQ(reports, std::vector<std::string>{message});
    }
}

TEST_F(DamageUnderTheWriter, IsClearedAwayByWritingToTheKey) {
    damageRecords();
    red->membershipIs(exclude(numberedKey(5)));
    EXPECT_EQ(red->membership(numberedKey(5)), exclude(numberedKey(5)));
    EXPECT_FALSE(reports.empty());
    for (std::uint32_t i = 0; i < 100; ++i)
        red->membershipIs(include(numberedKey(i)));
    EXPECT_EQ(red->memberships(), 100u);
    EXPECT_EQ(sorted(*red).size(), 100u);
}

TEST_F(DamageUnderTheWriter, IsReportedByAWalkThatInventsNothingAndGoesOn) {
    damageRecords();
    EXPECT_TRUE(sorted(*red).empty());
    EXPECT_EQ(reports.size(), 100u);
    EXPECT_EQ(red->memberships(), 0u);
    red->membershipIs(include(numberedKey(5)));
    EXPECT_EQ(sorted(*red), std::vector<Membership>{include(numberedKey(5))});
}

TEST_F(DamageUnderTheWriter, LeavesAStatusInPlaceWhoseRemovalFailsBecauseTheReportOfItDid) {
    coll->membershipObserverIs([](const MembershipChange&) {});
    coll->corruptionHandlerIs([](std::string_view) { throw std::runtime_error("refused"); });
    damageRecords();
    EXPECT_THROW(coll->gmpStatusDel(vrf("red")), std::runtime_error);
    EXPECT_EQ(coll->gmpStatus(vrf("red")), red);
    EXPECT_TRUE(red->isStored());
    coll->corruptionHandlerIs({});
    coll->gmpStatusDel(vrf("red"));
    statusOf(*coll, vrf("red"));
    EXPECT_EQ(TableReader(directory.path()).statuses().readers.size(), 1u);
}

TEST_F(DamageUnderTheWriter, MakesReadersWalkAgainOnceItIsClearedAway) {
    TableReader reader(directory.path());
    damageRecords();
    static_cast<void>(sorted(*red));
    EXPECT_TRUE(reader.changes().isWalkNeeded);
}

TEST_F(DamageUnderTheWriter, IsNotCarriedAlongWhenTheTableGrows) {
    damageRecords();
    for (std::uint32_t i = 100; i < 2000; ++i)
        red->membershipIs(include(numberedKey(i)));
    EXPECT_EQ(reports.size(), 100u);
    EXPECT_EQ(red->memberships(), 1900u);
    EXPECT_EQ(sorted(*red).size(), 1900u);
    EXPECT_EQ(TableReader(directory.path()).faults(), std::vector<std::string>());
}

TEST_F(DamageUnderTheWriter, IsFoundByACheckOfTheTable) {
    EXPECT_EQ(TableReader(directory.path()).faults(), std::vector<std::string>());
    damageRecords();
    EXPECT_EQ(TableReader(directory.path()).faults().size(), 100u);
}

}  // namespace

}  // namespace Tessel::Test
