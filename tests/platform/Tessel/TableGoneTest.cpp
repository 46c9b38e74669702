// Files that are removed, replaced or cut short while the table is in use, and processes that are
// forked from its writer.
#include <sys/mman.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <cstring>
#include <fstream>
#include <functional>
#include <stdexcept>
#include <system_error>
#include <thread>

#include "Fixture.h"
#include "Process.h"
#include "Routing/Gmp/Tessel/TableGoneError.h"
#include "endProcess.h"

namespace Tessel::Test {

namespace {

using Routing::Gmp::Tessel::TableGoneError;
using namespace std::chrono_literals;

class GmpTableThatIsGone : public ::testing::Test {
  protected:
    std::filesystem::path made() const { return directory.path() / "made"; }
    std::filesystem::path aside() const { return directory.path() / "aside"; }
    /// The message of the error that says what is gone; empty if there is none within a second.
    static std::string goneWithinASecond(const std::function<void()>& action) {
        const auto giveUp = std::chrono::steady_clock::now() + 1s;
        do {
            try {
                action();
            } catch (const TableGoneError& error) {
                return error.what();
            }
        } while (std::chrono::steady_clock::now() < giveUp);
        return {};
    }
    /// After `happens`, writer and readers must say what is gone, and how.
    void expectToldOnBothSides(const std::function<void()>& happens,
                               const std::filesystem::path& what, std::string_view how) {
        happens();
        const std::string text = what.string() + ": was " + std::string(how);
        std::uint32_t number = 0;
        const auto write = [&] { red->membershipIs(include(numberedKey(++number % 100))); };
        EXPECT_EQ(goneWithinASecond(write).rfind(text, 0), 0u);
        EXPECT_THROW(coll->checkFiles(), TableGoneError);
        const auto follow = [&] { static_cast<void>(follower->changes()); };
        EXPECT_EQ(goneWithinASecond(follow).rfind(text, 0), 0u);
        const auto wait = [&] { follower->waitForChange(1s); };
        EXPECT_EQ(goneWithinASecond(wait).rfind(text, 0), 0u);
    }

    const TempDirectory directory;
    Lumo::Ptr<StatusColl> coll = StatusColl::open(made());
    const Lumo::Ptr<Status> red = statusOf(*coll, vrf("red"));
    const std::unique_ptr<TableReader> follower = std::make_unique<TableReader>(made());
};

TEST_F(GmpTableThatIsGone, IsToldWhenTheTableIsRemoved) {
    expectToldOnBothSides([&] { std::filesystem::remove(made() / "table"); }, made() / "table",
                          "removed");
}

TEST_F(GmpTableThatIsGone, IsToldWhenTheTableIsReplaced) {
    expectToldOnBothSides(
        [&] {
            std::filesystem::copy_file(made() / "table", made() / "other");
            std::filesystem::rename(made() / "other", made() / "table");
        },
        made() / "table", "replaced");
}

TEST_F(GmpTableThatIsGone, IsToldWhenTheWritersLockIsRemoved) {
    expectToldOnBothSides([&] { std::filesystem::remove(made() / "writer"); }, made() / "writer",
                          "removed");
}

TEST_F(GmpTableThatIsGone, IsToldWhenTheDirectoryIsMoved) {
    expectToldOnBothSides([&] { std::filesystem::rename(made(), aside()); }, made(), "removed");
}

TEST_F(GmpTableThatIsGone, IsToldWhenTheDirectoryIsReplaced) {
    expectToldOnBothSides(
        [&] {
            std::filesystem::rename(made(), aside());
            StatusColl::open(made());
        },
        made(), "replaced");
}

TEST_F(GmpTableThatIsGone, IsToldWhenAFileIsInThePlaceOfTheDirectoryAboveIt) {
    const auto above = directory.path() / "above";
    const auto other = StatusColl::open(above / "deep");
    std::filesystem::rename(above, aside());
    std::ofstream(above) << "a file";
    try {
        other->checkFiles();
        FAIL() << "not told";
    } catch (const TableGoneError& error) {
        EXPECT_EQ(std::string(error.what()).rfind((above / "deep").string() + ": was removed", 0),
                  0u);
    }
}

TEST_F(GmpTableThatIsGone, NeverHasTwoWriters) {
    red->membershipIs(include(numberedKey(1)));
    std::filesystem::remove(made() / "writer");
    const auto next = StatusColl::open(made());
    // The next one has all that was there, in a file that the former one does not reach.
    EXPECT_EQ(next->gmpStatus(vrf("red"))->memberships(), 1u);
    EXPECT_THROW(coll->checkFiles(), TableGoneError);
    TableReader reader(made());
    try {
        red->membershipIs(include(numberedKey(2)));
    } catch (const TableGoneError&) {
        // It may have looked just now, and be told later.
    }
    EXPECT_FALSE(reader.status(vrf("red"))->membership(numberedKey(2)).isPresent);
    EXPECT_EQ(reader.faults(), std::vector<std::string>());
}

TEST_F(GmpTableThatIsGone, IsNotSharedWithAWriterWhoseLockWasPutThereByHand) {
    red->membershipIs(include(numberedKey(1)));
    std::filesystem::copy_file(made() / "writer", made() / "copy");
    std::filesystem::rename(made() / "copy", made() / "writer");
    const auto next = StatusColl::open(made());
    EXPECT_EQ(next->gmpStatus(vrf("red"))->memberships(), 1u);
    EXPECT_THROW(coll->checkFiles(), TableGoneError);
}

TEST_F(GmpTableThatIsGone, StaysTheSameFileForAWriterThatTakesOver) {
    const TempDirectory other;
    StatusColl::open(other.path());
    const TableReader reader(other.path());
    const auto next = StatusColl::open(other.path());
    EXPECT_NO_THROW(next->checkFiles());
    EXPECT_TRUE(statusOf(*next, vrf("red")));
    EXPECT_TRUE(reader.status(vrf("red")));
}

TEST_F(GmpTableThatIsGone, GetsNewSleepersWhenTheyAreSpoiltAndWakesThoseWhoWait) {
    std::vector<std::string> reports;
    coll->corruptionHandlerIs([&](std::string_view message) { reports.emplace_back(message); });
    static_cast<void>(follower->changes());
    for (const bool isRemoved : {false, true}) {
        // A reader has the spoilt file open, and waits.
        EXPECT_FALSE(follower->waitForChange(3ms));
        std::filesystem::resize_file(made() / "sleepers", 0);
        if (isRemoved) std::filesystem::remove(made() / "sleepers");
        reports.clear();
        red->membershipIs(include(numberedKey(isRemoved)));
        coll->checkFiles();
        ASSERT_EQ(reports.size(), 1u);
        EXPECT_NE(reports[0].find((made() / "sleepers").string()), std::string::npos);
        EXPECT_EQ(std::filesystem::file_size(made() / "sleepers"), 4096u);
        EXPECT_TRUE(follower->waitForChange());
        EXPECT_EQ(follower->changes().changes.size(), 1u);
    }
}

// --- cut short ----------------------------------------------------------------------------------

TEST_F(GmpTableThatIsGone, IsToldWhenTheTableIsCutShortAndNobodyDies) {
    if (isThreadSanitized) GTEST_SKIP() << "the thread sanitizer would wait for itself";
    for (std::uint32_t i = 0; i < 1000; ++i)
        red->membershipIs(include(numberedKey(i)));
    auto status = follower->status(vrf("red")).value();
    std::filesystem::resize_file(made() / "table", 0);
    const auto isCutShort = [&](const std::function<void()>& action) {
        try {
            action();
        } catch (const std::system_error& error) {
            return std::string(error.what()).rfind((made() / "table").string() + ": was cut", 0) ==
                   0;
        }
        return false;
    };
    for (int twice = 0; twice < 2; ++twice) {
        EXPECT_TRUE(isCutShort([&] { red->membershipIs(include(numberedKey(7777))); }));
        EXPECT_TRUE(isCutShort([&] { red->membershipDel(numberedKey(1)); }));
        EXPECT_TRUE(isCutShort([&] { static_cast<void>(red->membership(numberedKey(1))); }));
        EXPECT_TRUE(isCutShort([&] { coll->gmpStatusDel(vrf("red")); }));
        EXPECT_TRUE(isCutShort([&] { static_cast<void>(status.membership(numberedKey(1))); }));
        EXPECT_TRUE(isCutShort([&] { sorted(status); }));
        EXPECT_TRUE(isCutShort([&] { static_cast<void>(follower->statuses()); }));
        EXPECT_TRUE(isCutShort([&] { static_cast<void>(follower->changes()); }));
        EXPECT_TRUE(isCutShort([&] { follower->waitForChange(); }));
    }
}

TEST_F(GmpTableThatIsGone, LeavesFaultsElsewhereToWhoeverHandledThem) {
    Process other([&] {
        // A file of the process's own, mapped beyond its end.
        const int file = memfd_create("short", MFD_CLOEXEC);
        void* const memory = mmap(nullptr, 4096, PROT_READ, MAP_SHARED, file, 0);
        if (memory == MAP_FAILED) throw std::runtime_error("no memory");
        static_cast<void>(*static_cast<volatile char*>(memory));
    });
    const int status = other.wait();
    // A sanitizer's own handler ends the process another way.
    EXPECT_TRUE(isSanitized || (WIFSIGNALED(status) && WTERMSIG(status) == SIGBUS)) << status;
    EXPECT_FALSE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
}

// --- fork ---------------------------------------------------------------------------------------

TEST_F(GmpTableThatIsGone, IsOfNoUseInAProcessThatWasForkedFromItsOwn) {
    red->membershipIs(include(numberedKey(1)));
    Process child([&] {
        const std::function<void()> operations[] = {
            [&] { red->membershipIs(include(numberedKey(2))); },
            [&] { red->membershipDel(numberedKey(1)); },
            [&] { static_cast<void>(red->membership(numberedKey(1))); },
            [&] { static_cast<void>(red->memberships()); },
            [&] { sorted(*red); },
            [&] { coll->gmpStatusIs(vrf("blue"), Lumo::make<Status>("blue")); },
            [&] { coll->gmpStatusDel(vrf("red")); },
            [&] { static_cast<void>(coll->begin()); },
            [&] { coll->checkFiles(); },
        };
        for (const auto& operation : operations) {
            try {
                operation();
                throw std::runtime_error("done");
            } catch (const std::logic_error& error) {
                if (std::strstr(error.what(), "open the table after the fork") == nullptr) throw;
            }
        }
    });
    EXPECT_TRUE(child.endedWell());
    red->membershipIs(include(numberedKey(3)));
    EXPECT_EQ(red->memberships(), 2u);
}

TEST_F(GmpTableThatIsGone, IsOpenedAnewByTheChildOfAWriterThatEnded) {
    const TempDirectory other;
    const Shared<std::atomic<int>> result;
    Process parent([&] {
        const auto inherited = StatusColl::open(other.path());
        if (fork() != 0) return;
        // As a daemon does, once its parent has ended.
        while (*result == 0) {
            try {
                const auto own = StatusColl::open(other.path());
                statusOf(*own, vrf("red"))->membershipIs(include(numberedKey(1)));
                *result = 1;
            } catch (const std::system_error&) {
                std::this_thread::yield();
            } catch (...) {
                *result = 2;
            }
        }
        endProcess(0);
    });
    EXPECT_TRUE(parent.endedWell());
    while (*result == 0)
        std::this_thread::yield();
    EXPECT_EQ(*result, 1);
}

TEST_F(GmpTableThatIsGone, KeepsItsLockWhenAChildLetsItsCopyGo) {
    Process child([&] {
        // What a child inherited goes with it, as it would at the end of main().
        coll = nullptr;
    });
    EXPECT_TRUE(child.endedWell());
    Process rival([&] { StatusColl::open(made()); });
    EXPECT_FALSE(rival.endedWell());
    EXPECT_NO_THROW(coll->checkFiles());
}

}  // namespace

}  // namespace Tessel::Test
