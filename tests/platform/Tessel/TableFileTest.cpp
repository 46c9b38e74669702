#include <sys/stat.h>

#include <fstream>
#include <system_error>

#include "Fixture.h"
#include "Rix/CorruptionError.h"
#include "Rix/RangeError.h"

namespace Tessel::Test {

namespace {

class GmpTableFile : public ::testing::Test {
  protected:
    /// What opening says, as writer and as reader; both must name the file and leave it alone.
    void expectRefused(std::string_view reason) const {
        const std::string before = content();
        for (const bool asWriter : {true, false}) {
            try {
                if (asWriter) {
                    StatusColl::open(directory.path());
                } else {
                    TableReader reader(directory.path());
                }
                FAIL() << "opened, as " << (asWriter ? "writer" : "reader");
            } catch (const Rix::CorruptionError& error) {
                EXPECT_NE(std::string(error.what()).find(directory.table().string()),
                          std::string::npos);
                EXPECT_NE(std::string(error.what()).find(reason), std::string::npos)
                    << error.what();
            }
        }
        EXPECT_EQ(content(), before);
    }
    std::string content() const {
        std::ifstream file(directory.table(), std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }
    void contentIs(const std::string& bytes) const {
        std::ofstream(directory.table(), std::ios::binary | std::ios::trunc) << bytes;
    }
    /// A table with a few memberships, closed.
    void makeTable() const {
        const auto red =
            statusOf(*StatusColl::open(directory.path(), {}, TableOptions{64}), vrf("red"));
    }

    const TempDirectory directory;
    const RouteIntfKey join = key(10, "10.0.0.1", "239.1.1.1");
};

TEST_F(GmpTableFile, OutlivesItsWriter) {
    {
        const auto coll = StatusColl::open(directory.path());
        statusOf(*coll, vrf("red"))->membershipIs(include(join));
        for (std::uint32_t i = 0; i < 30000; ++i) {
            statusOf(*coll, vrf("blue", App::gmp))->membershipIs(exclude(numberedKey(i)));
        }
    }
    const auto coll = StatusColl::open(directory.path());
    EXPECT_EQ(coll->gmpStatuses(), 2u);
    EXPECT_EQ(coll->gmpStatus(vrf("red"))->membership(join), include(join));
    EXPECT_EQ(coll->gmpStatus(vrf("red"))->name(), "red.irb");
    const auto blue = coll->gmpStatus(vrf("blue", App::gmp));
    EXPECT_EQ(blue->memberships(), 30000u);
    EXPECT_EQ(blue->membership(numberedKey(29999)), exclude(numberedKey(29999)));
}

TEST_F(GmpTableFile, MakesItsDirectoryIfThatIsMissing) {
    StatusColl::open(directory.path() / "deep" / "er");
    EXPECT_TRUE(std::filesystem::exists(directory.path() / "deep" / "er" / "table"));
}

TEST_F(GmpTableFile, IsRefusedToASecondWriterWhileTheFirstOneLives) {
    auto first = StatusColl::open(directory.path());
    try {
        StatusColl::open(directory.path());
        FAIL() << "two writers";
    } catch (const std::system_error& error) {
        EXPECT_EQ(error.code(), std::errc::device_or_resource_busy);
        EXPECT_NE(std::string(error.what()).find(directory.path().string()), std::string::npos);
    }
    first = nullptr;
    EXPECT_TRUE(StatusColl::open(directory.path()));
}

TEST_F(GmpTableFile, KeepsTheWritersLockThroughAHandOver) {
    const auto first = StatusColl::open(directory.path());
    auto heir = first->handOver();
    EXPECT_THROW(StatusColl::open(directory.path()), std::system_error);
    heir = nullptr;
    EXPECT_TRUE(StatusColl::open(directory.path()));
}

TEST_F(GmpTableFile, IsRefusedWhenItIsEmpty) {
    contentIs("");
    expectRefused("is empty or too short");
}

TEST_F(GmpTableFile, IsRefusedWhenItIsSomethingElse) {
    contentIs(std::string(100000, 'x'));
    expectRefused("is not a GMP status table");
}

TEST_F(GmpTableFile, IsRefusedWhenItIsOfAnotherByteOrder) {
    makeTable();
    std::string bytes = content();
    std::reverse(bytes.begin() + 8, bytes.begin() + 12);
    contentIs(bytes);
    expectRefused("of another byte order");
}

TEST_F(GmpTableFile, IsRefusedWhenItIsOfAnotherVersion) {
    makeTable();
    std::string bytes = content();
    bytes[12] = 7;
    contentIs(bytes);
    expectRefused("of version 7, not 3");
}

TEST_F(GmpTableFile, IsRefusedWhenItsHeaderIsDamaged) {
    makeTable();
    std::string bytes = content();
    bytes[40] = static_cast<char>(bytes[40] ^ 1);
    contentIs(bytes);
    expectRefused("has a damaged header");
}

TEST_F(GmpTableFile, IsRefusedWhenItIsTruncated) {
    makeTable();
    contentIs(content().substr(0, std::size_t{500} * 4096));
    expectRefused("is truncated");
}

TEST_F(GmpTableFile, ThatIsADirectoryOrAPipeIsRefusedAndStays) {
    std::filesystem::create_directory(directory.table());
    EXPECT_THROW(StatusColl::open(directory.path()), std::system_error);
    std::filesystem::remove(directory.table());
    ASSERT_EQ(mkfifo(directory.table().c_str(), 0600), 0);
    EXPECT_THROW(StatusColl::open(directory.path()), std::system_error);
    EXPECT_TRUE(std::filesystem::is_fifo(directory.table()));
}

TEST_F(GmpTableFile, CannotBeMadeOrWrittenWhereSomethingElseIsInTheWay) {
    for (const char* name : {"table.new", "writer", "sleepers"}) {
        const TempDirectory other;
        std::filesystem::create_directories(other.path() / name / "in the way");
        try {
            StatusColl::open(other.path());
            FAIL() << name << " was no hindrance";
        } catch (const std::system_error& error) {
            EXPECT_NE(std::string(error.what()).find(name), std::string::npos) << error.what();
        }
    }
}

TEST_F(GmpTableFile, SurvivesAnAttemptToReadADirectoryWithoutATable) {
    try {
        const TableReader reader(directory.path());
        FAIL() << "nothing there to read";
    } catch (const std::system_error& error) {
        EXPECT_NE(std::string(error.what()).find(directory.table().string()), std::string::npos);
    }
}

TEST_F(GmpTableFile, RemembersOnlySoManyChangesAsItMay) {
    for (const std::uint32_t entries : {0u, 32u, 100u, 1u << 25}) {
        EXPECT_THROW(StatusColl::open(directory.path() / "new", {}, TableOptions{entries}),
                     Rix::RangeError);
        EXPECT_FALSE(std::filesystem::exists(directory.path() / "new"));
    }
}

}  // namespace

}  // namespace Tessel::Test
