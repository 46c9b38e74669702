// Who gets into a table, and what others can do to one: links, foreign files, modes, locks.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>
#include <functional>
#include <stdexcept>
#include <system_error>
#include <thread>

#include "Fixture.h"
#include "Process.h"
#include "Rix/CorruptionError.h"
#include "Routing/Gmp/Tessel/defaultTableDirectory.h"

namespace Tessel::Test {

namespace {

using Routing::Gmp::Tessel::TableAccess;
using Who = TableAccess::Who;
using namespace std::chrono_literals;

constexpr uid_t nobody = 65534;

mode_t modeOf(const std::filesystem::path& path) {
    struct stat status {};
    return lstat(path.c_str(), &status) == 0 ? status.st_mode & 07777 : 0;
}

/// The message of whatever error `action` raises; empty if it raises none.
std::string errorOf(const std::function<void()>& action) {
    try {
        action();
    } catch (const std::exception& error) {
        return error.what();
    }
    return {};
}

/// Whether `action` succeeds for the user nobody, in that group.
bool succeedsForNobody(gid_t group, const std::function<void()>& action) {
    Process process([&] {
        if (setgid(group) != 0 || setuid(nobody) != 0) throw std::runtime_error("cannot change");
        action();
    });
    return process.endedWell();
}

class TableAccessControl : public ::testing::Test {
  protected:
    /// The directory that the tests let a writer make.
    std::filesystem::path made() const { return directory.path() / "made"; }
    void expectRefused(const std::filesystem::path& culprit, std::string_view reason) const {
        const std::string message = errorOf([&] { StatusColl::open(made()); });
        EXPECT_NE(message.find(culprit.string()), std::string::npos) << message;
        EXPECT_NE(message.find(reason), std::string::npos) << message;
    }

    const TempDirectory directory;
};

TEST_F(TableAccessControl, LetsNobodyInButTheOwnerWhateverTheUmask) {
    for (const mode_t mask : {0u, 022u, 0777u}) {
        const mode_t before = umask(mask);
        const TempDirectory other;
        chmod(other.path().c_str(), 0700);
        const auto coll = StatusColl::open(other.path() / "above" / "made");
        umask(before);
        EXPECT_EQ(modeOf(other.path() / "above") & 022, 0u);
        EXPECT_EQ(modeOf(other.path() / "above" / "made"), 0700u);
        for (const char* name : {"table", "writer", "sleepers"})
            EXPECT_EQ(modeOf(other.path() / "above" / "made" / name), 0600u) << name << mask;
    }
}

TEST_F(TableAccessControl, GivesTheFilesTheModesThatTheCallerChose) {
    StatusColl::open(made(), {Who::all, Who::group, {}});
    EXPECT_EQ(modeOf(made()), 0755u);
    EXPECT_EQ(modeOf(made() / "table"), 0644u);
    EXPECT_EQ(modeOf(made() / "sleepers"), 0660u);
    EXPECT_EQ(modeOf(made() / "writer"), 0600u);
    StatusColl::open(made(), {Who::group, Who::owner, {}});
    EXPECT_EQ(modeOf(made() / "table"), 0640u);
    EXPECT_EQ(modeOf(made() / "sleepers"), 0600u);
}

TEST_F(TableAccessControl, RefusesToLetMoreWaitThanMayRead) {
    EXPECT_THROW(StatusColl::open(made(), {Who::owner, Who::group, {}}), std::invalid_argument);
    EXPECT_FALSE(std::filesystem::exists(made()));
}

TEST_F(TableAccessControl, LetsAGroupReadAndNobodyElse) {
    if (geteuid() != 0) GTEST_SKIP() << "only root can become somebody else";
    chmod(directory.path().c_str(), 0755);
    const auto coll = StatusColl::open(made(), {Who::group, Who::owner, gid_t{4711}});
    statusOf(*coll, vrf("red"))->membershipIs(include(numberedKey(1)));
    const auto read = [&] {
        if (!TableReader(made()).status(vrf("red"))) throw std::runtime_error("not there");
    };
    EXPECT_TRUE(succeedsForNobody(4711, read));
    EXPECT_FALSE(succeedsForNobody(4712, read));
}

TEST_F(TableAccessControl, LetsAReaderWaitWhoMayNotAskToBeWoken) {
    if (geteuid() != 0) GTEST_SKIP() << "only root can become somebody else";
    chmod(directory.path().c_str(), 0755);
    const auto coll = StatusColl::open(made(), {Who::all, Who::owner, {}});
    const auto red = statusOf(*coll, vrf("red"));
    const Shared<std::atomic<bool>> isWaiting;
    Process reader([&] {
        if (setuid(nobody) != 0) throw std::runtime_error("cannot change");
        TableReader follower(made());
        *isWaiting = true;
        if (!follower.waitForChange(20s)) throw std::runtime_error("not noticed");
    });
    while (!*isWaiting)
        std::this_thread::yield();
    red->membershipIs(include(numberedKey(1)));
    EXPECT_TRUE(reader.endedWell());
}

TEST_F(TableAccessControl, KeepsItsLockFromEveryoneElse) {
    if (geteuid() != 0) GTEST_SKIP() << "only root can become somebody else";
    chmod(directory.path().c_str(), 0755);
    StatusColl::open(made(), {Who::all, Who::all, {}});
    // As an older version left it.
    chmod((made() / "writer").c_str(), 0644);
    StatusColl::open(made(), {Who::all, Who::all, {}});
    EXPECT_FALSE(succeedsForNobody(nobody, [&] {
        const int file = ::open((made() / "writer").c_str(), O_RDONLY);
        struct flock whole {};
        whole.l_type = F_RDLCK;
        if (file < 0 || fcntl(file, F_SETLK, &whole) != 0) throw std::runtime_error("kept out");
    }));
}

TEST_F(TableAccessControl, LetsReadersInWhoseUserOwnsNeitherTheDirectoryNorAFile) {
    if (geteuid() != 0) GTEST_SKIP() << "only root can become somebody else";
    chmod(directory.path().c_str(), 0777);
    constexpr uid_t reader = 4711;
    Process others([&] {
        if (seteuid(nobody) != 0) throw std::runtime_error("cannot change");
        StatusColl::open(made(), {Who::all, Who::owner, {}});
        static_cast<void>(TableReader(made()).statuses());
        if (seteuid(0) != 0 || seteuid(reader) != 0) throw std::runtime_error("cannot change");
        static_cast<void>(TableReader(made()).statuses());
        if (seteuid(0) != 0) throw std::runtime_error("cannot change");
    });
    EXPECT_TRUE(others.endedWell());
    // A file that somebody else put there is none of the owner's.
    ASSERT_EQ(chown((made() / "table").c_str(), reader + 1, reader + 1), 0);
    EXPECT_NE(errorOf([&] { TableReader table(made()); }).find("belongs to another user"),
              std::string::npos);
}

TEST_F(TableAccessControl, FollowsNoLinks) {
    for (const char* name : {"table", "writer", "sleepers"}) {
        const TempDirectory other;
        const auto victim = other.path() / "victim";
        std::ofstream(victim) << "precious";
        std::filesystem::create_directory(made());
        chmod(made().c_str(), 0700);
        std::filesystem::create_symlink(victim, made() / name);
        expectRefused(made() / name, "");
        std::string content;
        std::ifstream(victim) >> content;
        EXPECT_EQ(content, "precious");
        std::filesystem::remove_all(made());
    }
}

TEST_F(TableAccessControl, ReplacesALinkInThePlaceOfAnUnfinishedTable) {
    const TempDirectory other;
    const auto victim = other.path() / "victim";
    std::ofstream(victim) << "precious";
    std::filesystem::create_directory(made());
    chmod(made().c_str(), 0700);
    std::filesystem::create_symlink(victim, made() / "table.new");
    EXPECT_TRUE(StatusColl::open(made()));
    std::string content;
    std::ifstream(victim) >> content;
    EXPECT_EQ(content, "precious");
    EXPECT_TRUE(std::filesystem::is_regular_file(made() / "table"));
}

TEST_F(TableAccessControl, RefusesADirectoryThatIsALink) {
    const TempDirectory other;
    std::filesystem::create_directory_symlink(other.path(), made());
    expectRefused(made(), "cannot be opened as a directory");
    EXPECT_TRUE(std::filesystem::is_empty(other.path()));
}

TEST_F(TableAccessControl, RefusesWhatOthersMayWrite) {
    StatusColl::open(made());
    chmod((made() / "table").c_str(), 0620);
    expectRefused(made() / "table", "may be written by others");
    chmod((made() / "table").c_str(), 0600);
    chmod((made() / "writer").c_str(), 0602);
    expectRefused(made() / "writer", "may be written by others");
    chmod((made() / "writer").c_str(), 0600);
    chmod(made().c_str(), 01777);
    expectRefused(made(), "may be written by others");
    EXPECT_NE(errorOf([&] { TableReader reader(made()); }), "");
}

TEST_F(TableAccessControl, RefusesWhatBelongsToSomebodyElse) {
    if (geteuid() != 0) GTEST_SKIP() << "only root can give files away";
    StatusColl::open(made());
    for (const char* name : {"table", "writer", "sleepers", "."}) {
        const auto path = made() / name;
        ASSERT_EQ(chown(path.c_str(), nobody, nobody), 0);
        expectRefused(std::string_view(name) == "." ? made() : path, "belongs to another user");
        ASSERT_EQ(chown(path.c_str(), 0, 0), 0);
    }
}

TEST_F(TableAccessControl, LeavesAForeignFileAsItIs) {
    StatusColl::open(made());
    // A hole, which a table would get memory for.
    std::ofstream(made() / "table", std::ios::trunc).close();
    std::filesystem::resize_file(made() / "table", 8 << 20);
    EXPECT_THROW(StatusColl::open(made()), Rix::CorruptionError);
    struct stat status {};
    ASSERT_EQ(stat((made() / "table").c_str(), &status), 0);
    EXPECT_EQ(status.st_size, 8 << 20);
    EXPECT_LE(status.st_blocks * 512, 4096);
}

TEST_F(TableAccessControl, MakesAnythingOfSleepersThatOthersMadeOfThem) {
    const TempDirectory other;
    for (const std::uintmax_t size :
         {std::uintmax_t{0}, std::uintmax_t{5}, std::uintmax_t{1} << 40}) {
        StatusColl::open(made());
        std::filesystem::resize_file(made() / "sleepers", size);
        EXPECT_TRUE(StatusColl::open(made())) << size;
        EXPECT_EQ(std::filesystem::file_size(made() / "sleepers"), 4096u);
    }
}

TEST_F(TableAccessControl, StartsFromADirectoryThatIsTheUsersOwn) {
    using Routing::Gmp::Tessel::defaultTableDirectory;
    if (geteuid() == 0) {
        EXPECT_EQ(defaultTableDirectory(), "/run/irbmc/table");
    }
    Process user([&] {
        const uid_t before = geteuid();
        if (before == 0 && seteuid(nobody) != 0) throw std::runtime_error("cannot change");
        const auto standard = "/run/user/" + std::to_string(geteuid()) + "/irbmc/table";
        const std::pair<const char*, std::string> cases[] = {
            {"/somewhere", "/somewhere/irbmc/table"}, {"", standard}, {"relative", standard}};
        for (const auto& [told, expected] : cases) {
            setenv("XDG_RUNTIME_DIR", told, 1);
            if (defaultTableDirectory() != expected) throw std::runtime_error(told);
        }
        unsetenv("XDG_RUNTIME_DIR");
        if (defaultTableDirectory() != standard) throw std::runtime_error("not told");
        // What counts what runs may be root's to write.
        if (seteuid(before) != 0) throw std::runtime_error("cannot change back");
    });
    EXPECT_TRUE(user.endedWell());
}

TEST_F(TableAccessControl, LetsAReaderWaitForATableThatIsBeingMade) {
    for (const char* first : {"writer", "table.new"}) {
        std::filesystem::remove_all(made());
        std::filesystem::create_directory(made());
        chmod(made().c_str(), 0700);
        std::ofstream(made() / first).close();
        chmod((made() / first).c_str(), 0600);
        std::thread making([&] { StatusColl::open(made()); });
        EXPECT_NO_THROW(TableReader{made()});
        making.join();
    }
}

TEST_F(TableAccessControl, EndsAReadersWaitForATableThatIsNeverMade) {
    std::filesystem::create_directory(made());
    chmod(made().c_str(), 0700);
    std::ofstream(made() / "writer").close();
    const std::string message = errorOf([&] { TableReader reader(made()); });
    EXPECT_NE(message.find((made() / "table").string()), std::string::npos) << message;
}

}  // namespace

}  // namespace Tessel::Test
