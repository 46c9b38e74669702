#include <sys/mount.h>
#include <sys/resource.h>
#include <unistd.h>

#include <atomic>
#include <fstream>
#include <functional>
#include <system_error>
#include <thread>

#include "Fixture.h"
#include "Process.h"

namespace Tessel::Test {

namespace {

/// A file system of its own, of a size of its own.
class SmallFileSystem {
  public:
    SmallFileSystem(const std::filesystem::path& path, const std::string& size) : path_(path) {
        std::filesystem::create_directories(path_);
        mounted_ =
            mount("tmpfs", path_.c_str(), "tmpfs", 0, ("mode=0700,size=" + size).c_str()) == 0;
    }
    SmallFileSystem(const SmallFileSystem&) = delete;
    SmallFileSystem& operator=(const SmallFileSystem&) = delete;
    ~SmallFileSystem() {
        if (mounted_) umount2(path_.c_str(), MNT_DETACH);
    }
    bool isMounted() const { return mounted_; }

  private:
    std::filesystem::path path_;
    bool mounted_ = false;
};

/// What leaves the most room for memberships.
constexpr TableOptions smallest{64};

/// The message of the system error that `action` raises; empty if it raises none.
std::string errorOf(const std::function<void()>& action) {
    try {
        action();
    } catch (const std::system_error& error) {
        return error.what();
    }
    return {};
}

/// Inserts until the table says that it cannot, and checks that nothing is lost by that.
void fillUntilRefused(const std::filesystem::path& directory) {
    const auto coll = StatusColl::open(directory, {}, smallest);
    const auto red = statusOf(*coll, vrf("red"));
    std::uint32_t count = 0;
    const std::string message = errorOf([&] {
        for (; count < 200000; ++count)
            red->membershipIs(include(numberedKey(count)));
    });
    ASSERT_NE(message.find((directory / "table").string()), std::string::npos) << message;
    ASSERT_EQ(red->memberships(), count);
    ASSERT_EQ(sorted(*red).size(), count);
    ASSERT_FALSE(red->membership(numberedKey(count)).key() == numberedKey(count));
    // Overwriting and deleting need no memory, and what they free can be used.
    red->membershipIs(exclude(numberedKey(0)));
    red->membershipDel(numberedKey(1));
    ASSERT_EQ(red->membership(numberedKey(0)), exclude(numberedKey(0)));
    red->membershipIs(include(numberedKey(1)));
    ASSERT_EQ(red->memberships(), count);
    ASSERT_EQ(TableReader(directory).faults(), std::vector<std::string>());
}

class TableLimits : public ::testing::Test {
  protected:
    const TempDirectory directory;
};

TEST_F(TableLimits, AreToldWhenTheFileSystemIsFullAndNothingIsLost) {
    const auto path = directory.path() / "small";
    const SmallFileSystem small(path, "3m");
    if (!small.isMounted()) GTEST_SKIP() << "only root may mount a small file system";
    fillUntilRefused(path);
    EXPECT_GT(StatusColl::open(path)->gmpStatus(vrf("red"))->memberships(), 10000u);
}

TEST_F(TableLimits, AreToldWhenThereIsNoRoomForATableAtAllAndNoneIsLeftBehind) {
    const auto path = directory.path() / "tiny";
    const SmallFileSystem tiny(path, "256k");
    if (!tiny.isMounted()) GTEST_SKIP() << "only root may mount a small file system";
    const std::string message = errorOf([&] { StatusColl::open(path); });
    EXPECT_NE(message.find(path.string()), std::string::npos) << message;
    EXPECT_FALSE(std::filesystem::exists(path / "table"));
    EXPECT_FALSE(std::filesystem::exists(path / "table.new"));
}

TEST_F(TableLimits, AreToldWhenAStatusFindsNoMemoryAndTheOthersStay) {
    const auto path = directory.path() / "small";
    const SmallFileSystem small(path, "768k");
    if (!small.isMounted()) GTEST_SKIP() << "only root may mount a small file system";
    const auto coll = StatusColl::open(path, {}, smallest);
    std::size_t count = 0;
    const std::string message = errorOf([&] {
        for (; count < 10000; ++count) {
            statusOf(*coll, vrf("v" + std::to_string(count)))
                ->membershipIs(include(numberedKey(1)));
        }
    });
    EXPECT_NE(message.find((path / "table").string()), std::string::npos) << message;
    EXPECT_EQ(coll->gmpStatuses(), count);
    coll->gmpStatusDel(vrf("v0"));
    EXPECT_EQ(statusOf(*coll, vrf("again"))->memberships(), 0u);
}

TEST_F(TableLimits, AreToldWhenTheProcessMayNotWriteLongerFiles) {
    Process limited([&] {
        const struct rlimit limit = {4 << 20, 4 << 20};
        setrlimit(RLIMIT_FSIZE, &limit);
        fillUntilRefused(directory.path());
        if (::testing::Test::HasFailure()) throw std::runtime_error("see above");
    });
    EXPECT_TRUE(limited.endedWell());
}

TEST_F(TableLimits, AreToldWhenThereAreNoMoreFileDescriptors) {
    if (isSanitized) GTEST_SKIP() << "a sanitizer looks at memory through a pipe, which needs two";
    StatusColl::open(directory.path());
    Process limited([&] {
        const struct rlimit none = {0, 0};
        setrlimit(RLIMIT_NOFILE, &none);
        const std::string asWriter = errorOf([&] { StatusColl::open(directory.path()); });
        const std::string asReader = errorOf([&] { TableReader reader(directory.path()); });
        if (asWriter.find(directory.path().string()) == std::string::npos ||
            asReader.find(directory.table().string()) == std::string::npos) {
            throw std::runtime_error("not told");
        }
    });
    EXPECT_TRUE(limited.endedWell());
    EXPECT_TRUE(StatusColl::open(directory.path()));
}

/// Leaves this process so much address space beside what it has.
void addressSpaceLeftIs(std::size_t bytes) {
    std::size_t pages = 0;
    std::ifstream("/proc/self/statm") >> pages;
    const struct rlimit limit = {pages * 4096 + bytes, pages * 4096 + bytes};
    setrlimit(RLIMIT_AS, &limit);
}

TEST_F(TableLimits, LeaveTheTableUsableInLittleAddressSpace) {
    if (isSanitized) GTEST_SKIP() << "a sanitizer needs more address space than the limit";
    StatusColl::open(directory.path());
    // Also where the largest part that is there leaves nothing for anything else.
    for (const std::size_t megabytes : {40u, 65u, 130u, 513u, 520u, 1025u}) {
        Process limited([&] {
            addressSpaceLeftIs(megabytes << 20);
            const auto coll = StatusColl::open(directory.path());
            for (std::uint32_t i = 0; i < 50000; ++i)
                statusOf(*coll, vrf("red"))->membershipIs(include(numberedKey(i)));
            TableReader reader(directory.path());
            if (sorted(*reader.status(vrf("red"))).size() != 50000) {
                throw std::runtime_error("incomplete");
            }
        });
        EXPECT_TRUE(limited.endedWell()) << megabytes;
        StatusColl::open(directory.path())->gmpStatusDel(vrf("red"));
    }
}

class TableThatGrows : public ::testing::TestWithParam<bool> {};

TEST_P(TableThatGrows, IsNeverCalledDamagedByAReaderWithLittleAddressSpace) {
    if (isSanitized) GTEST_SKIP() << "a sanitizer needs more address space than the limit";
    const bool isEnough = GetParam();
    const TempDirectory directory;
    const auto coll = StatusColl::open(directory.path());
    const auto red = statusOf(*coll, vrf("red"));
    const Shared<std::atomic<bool>> isOpen;
    const Shared<std::atomic<bool>> hasGrown;
    Process follower([&] {
        addressSpaceLeftIs(std::size_t{isEnough ? 64u : 12u} << 20);
        TableReader reader(directory.path());
        auto status = reader.status(vrf("red")).value();
        *isOpen = true;
        while (!*hasGrown)
            std::this_thread::yield();
        std::size_t count = 0;
        const std::string message = errorOf([&] {
            for (auto walk = status.begin(); walk != std::default_sentinel; ++walk)
                ++count;
        });
        if (!status.damage().empty()) throw std::runtime_error("called damaged");
        const std::string complaint = directory.table().string() + ": has no address space";
        if (isEnough ? count != 200000 : message.rfind(complaint, 0) != 0) {
            throw std::runtime_error("neither read nor told why not");
        }
    });
    while (!*isOpen)
        std::this_thread::yield();
    for (std::uint32_t i = 0; i < 200000; ++i)
        red->membershipIs(include(numberedKey(i)));
    *hasGrown = true;
    EXPECT_TRUE(follower.endedWell());
}

INSTANTIATE_TEST_SUITE_P(, TableThatGrows, ::testing::Bool());

TEST_F(TableLimits, AreToldWhenPermissionIsMissing) {
    if (geteuid() != 0) GTEST_SKIP() << "only root can become somebody else";
    StatusColl::open(directory.path());
    Process nobody([&] {
        if (setuid(65534) != 0) throw std::runtime_error("cannot become nobody");
        const std::string asWriter = errorOf([&] { StatusColl::open(directory.path()); });
        const std::string asReader = errorOf([&] { TableReader reader(directory.path()); });
        if (asWriter.find(directory.path().string()) == std::string::npos ||
            asReader.find(directory.table().string()) == std::string::npos) {
            throw std::runtime_error("not told");
        }
    });
    EXPECT_TRUE(nobody.endedWell());
}

TEST_F(TableLimits, AreToldWhenTheDirectoryVanishesAndTheTableStaysAsItWas) {
    const auto coll = StatusColl::open(directory.path());
    const auto red = statusOf(*coll, vrf("red"));
    red->membershipIs(include(numberedKey(0)));
    std::filesystem::remove_all(directory.path());
    std::uint32_t count = 1;
    const std::string message = errorOf([&] {
        for (; count < 200000; ++count)
            red->membershipIs(include(numberedKey(count)));
    });
    // Whichever comes first: the table cannot grow, or the writer looks after its files.
    EXPECT_NE(message.find(directory.path().string()), std::string::npos) << message;
    EXPECT_EQ(red->memberships(), count);
    EXPECT_EQ(sorted(*red).size(), count);
}

TEST_F(TableLimits, AreToldWhenThePlaceForTheDirectoryIsAFile) {
    StatusColl::open(directory.path());
    const auto below = directory.table() / "below";
    const std::string message = errorOf([&] { StatusColl::open(below); });
    EXPECT_NE(message.find(below.string()), std::string::npos) << message;
}

TEST(TwoWriters, InTwoProcessesAreOneTooManyUntilTheFirstIsDead) {
    const TempDirectory directory;
    const Shared<std::atomic<bool>> isOpen;
    const Shared<std::atomic<pid_t>> child;
    Process first([&] {
        const auto coll = StatusColl::open(directory.path());
        // A child that inherits everything and outlives its parent holds nobody up.
        const pid_t inheritor = fork();
        if (inheritor == 0) pause();
        child->store(inheritor);
        isOpen->store(true);
        pause();
    });
    while (!*isOpen)
        std::this_thread::yield();
    EXPECT_NE(errorOf([&] { StatusColl::open(directory.path()); }).find("another writer"),
              std::string::npos);
    first.kill();
    EXPECT_TRUE(StatusColl::open(directory.path()));
    kill(*child, SIGKILL);
}

TEST(TwoWriters, DoNotMeetInAnAgentThatKeepsItsTableUntilItExits) {
    const TempDirectory directory;
    Process agent([&] {
        static Lumo::Ptr<StatusColl> kept;
        kept = StatusColl::open(directory.path());
        std::exit(EXIT_SUCCESS);
    });
    EXPECT_TRUE(agent.endedWell());
    EXPECT_TRUE(StatusColl::open(directory.path()));
}

}  // namespace

}  // namespace Tessel::Test
