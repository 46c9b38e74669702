// Each call of the operating system that a table makes fails in turn, while it is made, opened,
// written, read and followed.
#include <fcntl.h>
#include <poll.h>
#include <pthread.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <functional>
#include <iterator>
#include <map>
#include <set>
#include <system_error>
#include <utility>

#include "../Tessel/Fixture.h"
#include "../Tessel/Process.h"
#include "FailingCalls.h"
#include "LittleRoom.h"
#include "Routing/Gmp/Tessel/Storage/Format.h"
#include "Routing/Gmp/Tessel/Storage/TableFile.h"
#include "Routing/Gmp/Tessel/TableAccess.h"

namespace Tessel::Test {

namespace {

namespace Storage = Routing::Gmp::Tessel::Storage;

using Routing::Gmp::Tessel::TableAccess;
using Who = TableAccess::Who;
using namespace std::chrono_literals;

/// How a call fails.
struct Failure {
    std::uint64_t times;
    int error;
};

/// Once, for good, so often that a mapping gets as small as its file, and because of a signal.
constexpr Failure failures[] = {
    {1, 0}, {FailingCalls::always, 0}, {12, 0}, {1, EINTR}, {FailingCalls::always, EOPNOTSUPP}};

std::ptrdiff_t openFiles() {
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"),
                         std::filesystem::directory_iterator());
}

/// What came of an action during which calls failed.
struct Outcome {
    std::string failed;  ///< the call; empty if none failed
    std::string error;   ///< the message; empty if all went well
};

Outcome attempt(const std::function<void()>& action) {
    Outcome outcome;
    calls.isCounted = true;
    try {
        action();
    } catch (const std::system_error& error) {
        calls.isCounted = false;
        outcome.error = error.what();
    }
    calls.isCounted = false;
    outcome.failed = calls.failed;
    calls = {};
    return outcome;
}

class FailingSystem : public ::testing::Test {
  protected:
    std::filesystem::path made() const { return directory.path() / "made"; }
    std::filesystem::path table() const { return made() / "table"; }
    Lumo::Ptr<StatusColl> open() const {
        return StatusColl::open(made(), {Who::group, Who::group, getegid()}, TableOptions{64});
    }
    /// Lets the calls that an action makes fail in every way, one after the other, until it makes
    /// no more. An action that fails must say where, and leave no file open.
    /// @param prepare comes before each attempt, `check` after it
    void forEachCall(const std::function<void()>& prepare, const std::function<void()>& action,
                     const std::function<void(const Outcome&)>& check) {
        for (const Failure& failure : failures) {
            std::uint64_t number = 1;
            for (bool isOver = false; !isOver; ++number) {
                prepare();
                const auto files = openFiles();
                calls.left = number;
                calls.times = failure.times;
                calls.error = failure.error;
                const Outcome outcome = attempt(action);
                SCOPED_TRACE("call " + std::to_string(number) + ", " + outcome.failed + ", error " +
                             std::to_string(failure.error) + ": " + outcome.error);
                isOver = outcome.failed.empty();
                if (isOver) {
                    EXPECT_EQ(outcome.error, "");
                } else if (!outcome.error.empty()) {
                    EXPECT_NE(outcome.error.find(made().string()), std::string::npos);
                    EXPECT_EQ(openFiles(), files);
                    reached[outcome.failed].insert(failure.error);
                }
                check(outcome);
                if (HasFailure()) return;
            }
            EXPECT_GT(number, 2u) << "nothing failed";
        }
    }
    /// Whether any of the calls of that name made an action fail.
    bool isFatal(const std::string& call) const { return reached.contains(call); }

    const TempDirectory directory;
    std::map<std::string, std::set<int>> reached;
};

mode_t modeOf(const std::filesystem::path& path) {
    return static_cast<mode_t>(std::filesystem::status(path).permissions());
}

TEST_F(FailingSystem, LeavesNoTableThatIsHalfMade) {
    const auto above = directory.path() / "made";
    const auto deep = above / "deep" / "er";
    const TableAccess access{Who::group, Who::group, getegid()};
    forEachCall([&] { std::filesystem::remove_all(above); },
                [&] { StatusColl::open(deep, access, TableOptions{64}); },
                [&](const Outcome&) {
                    EXPECT_EQ(StatusColl::open(deep, access)->gmpStatuses(), 0u);
                    EXPECT_FALSE(std::filesystem::exists(deep / "table.new"));
                    // Whoever may read gets in, whatever failed before.
                    EXPECT_EQ(modeOf(deep), 0750u);
                    EXPECT_EQ(modeOf(deep / "table"), 0640u);
                    EXPECT_EQ(TableReader(deep).faults(), std::vector<std::string>());
                });
    for (const char* call : {"open", "openat", "fstat", "mmap", "fcntl", "fchmod", "fchown",
                             "unlinkat", "renameat", "pwrite", "ftruncate", "fallocate"})
        EXPECT_TRUE(isFatal(call)) << call;
}

TEST_F(FailingSystem, IsNamedWithTheTableFromTheFirstCallOn) {
    // What a process needs once for all of its tables comes first.
    for (const char* call : {"madvise", "mmap"}) {
        calls.only = call;
        calls.left = 1;
        const Outcome outcome = attempt([&] { open(); });
        EXPECT_EQ(outcome.failed, call);
        if (!outcome.error.empty()) {
            EXPECT_NE(outcome.error.find(made().string()), std::string::npos) << outcome.error;
        }
        EXPECT_TRUE(open());
    }
}

TEST_F(FailingSystem, MakesATableAlthoughSignalsInterruptIt) {
    for (const char* call : {"fallocate", "posix_fallocate"}) {
        calls.only = call;
        calls.left = 1;
        calls.times = 5;
        calls.error = EINTR;
        const Outcome outcome = attempt([&] { open(); });
        EXPECT_EQ(outcome.failed, call);
        EXPECT_EQ(outcome.error, "");
        std::filesystem::remove_all(made());
    }
}

/// With a table that its writer closed, with memberships of two statuses.
class FailingSystemOverATable : public FailingSystem {
  protected:
    static constexpr std::uint32_t few = 100;

    FailingSystemOverATable() { fill(); }

    void fill() {
        std::filesystem::remove_all(made());
        const auto coll = open();
        for (std::uint32_t i = 0; i < few; ++i) {
            statusOf(*coll, vrf("red"))->membershipIs(include(numberedKey(i)));
            statusOf(*coll, vrf("blue"))->membershipIs(exclude(numberedKey(i)));
        }
    }
    /// Whether writer and reader find all of it, and nothing wrong.
    void expectAll() const {
        std::vector<std::string> reports;
        const auto coll = open();
        coll->corruptionHandlerIs([&](std::string_view message) { reports.emplace_back(message); });
        EXPECT_EQ(coll->gmpStatuses(), 2u);
        for (const auto& [key, status] : *coll)
            EXPECT_EQ(sorted(*status).size(), few) << key.name();
        const TableReader reader(made());
        EXPECT_EQ(sorted(reader.status(vrf("red")).value()), sorted(*coll->gmpStatus(vrf("red"))));
        EXPECT_EQ(reader.faults(), std::vector<std::string>());
        EXPECT_EQ(reports, std::vector<std::string>());
    }
};

TEST_F(FailingSystemOverATable, LosesNothingWhenItIsOpened) {
    forEachCall([] {}, [&] { open(); }, [&](const Outcome&) { expectAll(); });
    for (const char* call : {"open", "openat", "fstat", "mmap", "fcntl", "fchmod", "ftruncate"})
        EXPECT_TRUE(isFatal(call)) << call;
}

TEST_F(FailingSystemOverATable, LosesNothingWhenItIsCopiedForItsLockIsNew) {
    forEachCall([&] { std::filesystem::remove(made() / "writer"); }, [&] { open(); },
                [&](const Outcome& outcome) {
                    if (!outcome.error.empty()) std::filesystem::remove(made() / "writer");
                    expectAll();
                    EXPECT_FALSE(std::filesystem::exists(made() / "table.new"));
                });
    for (const char* call : {"openat", "unlinkat", "renameat", "pwrite", "fallocate"})
        EXPECT_TRUE(isFatal(call)) << call;
}

TEST_F(FailingSystemOverATable, GetsTheMemoryOfHolesBeforeItIsWritten) {
    const auto empty = [&] {
        fill();
        // As a copy by a program that leaves pages of zeros out.
        const int file = ::open(table().c_str(), O_RDWR | O_CLOEXEC);
        const auto size = static_cast<off_t>(std::filesystem::file_size(table()));
        const auto end = static_cast<off_t>(8 * Storage::pageBytes);
        EXPECT_EQ(fallocate(file, FALLOC_FL_PUNCH_HOLE | FALLOC_FL_KEEP_SIZE, size - end, end), 0);
        close(file);
    };
    forEachCall(
        empty, [&] { open(); }, [&](const Outcome&) { expectAll(); });
    EXPECT_TRUE(isFatal("posix_fallocate"));
}

TEST_F(FailingSystemOverATable, SaysThatTheWritersLockIsTakenWhereItIs) {
    for (const int error : {EAGAIN, EACCES}) {
        calls.only = "fcntl";
        calls.left = 1;
        calls.error = error;
        const Outcome outcome = attempt([&] { open(); });
        EXPECT_EQ(outcome.failed, "fcntl");
        EXPECT_NE(outcome.error.find("another writer has the table open"), std::string::npos);
        expectAll();
    }
}

TEST_F(FailingSystemOverATable, KeepsItsLockWhateverBefallsASecondWriterOfTheProcess) {
    const auto first = open();
    const auto second = [&] {
        open();
        ADD_FAILURE() << "two writers";
    };
    std::uint64_t number = 1;
    for (bool isOver = false; !isOver; ++number) {
        calls.left = number;
        const Outcome outcome = attempt(second);
        EXPECT_NE(outcome.error.find(made().string()), std::string::npos) << outcome.failed;
        Process other([&] { open(); });
        EXPECT_FALSE(other.endedWell()) << outcome.failed;
        isOver = outcome.failed.empty() || HasFailure();
    }
    EXPECT_GT(number, 2u);
}

TEST_F(FailingSystemOverATable, TakesTheLockThatIsThereWhenItsFileIsRemovedOrReplacedMeanwhile) {
    const auto remove = [&](std::string_view) {
        calls.before = nullptr;
        std::filesystem::remove(made() / "writer");
    };
    // Before it is opened, and after.
    for (const char* call : {"openat", "fcntl"}) {
        calls.only = call;
        calls.before = remove;
        EXPECT_EQ(attempt([&] { open(); }).error, "") << call;
        expectAll();
    }
}

TEST_F(FailingSystemOverATable, GivesUpWhereSomebodyRemovesItsLockAgainAndAgain) {
    int removals = 0;
    calls.only = "fcntl";
    calls.before = [&](std::string_view) {
        ++removals;
        std::filesystem::remove(made() / "writer");
    };
    const Outcome outcome = attempt([&] { open(); });
    EXPECT_NE(outcome.error.find((made() / "writer").string()), std::string::npos);
    EXPECT_LT(removals, 100);
    expectAll();
}

TEST_F(FailingSystemOverATable, TellsReadersOrLetsThemRead) {
    const auto readAll = [&] {
        TableReader reader(made());
        auto red = reader.status(vrf("red")).value();
        EXPECT_EQ(sorted(red).size(), few);
        EXPECT_EQ(red.damage(), std::vector<std::string>());
        EXPECT_TRUE(red.membership(numberedKey(7)).isPresent);
        EXPECT_FALSE(reader.changes().isWalkNeeded);
        EXPECT_FALSE(reader.waitForChange(0ms));
        EXPECT_EQ(reader.faults(), std::vector<std::string>());
    };
    forEachCall([] {}, readAll, [&](const Outcome&) { expectAll(); });
    for (const char* call : {"open", "openat", "fstat", "mmap"})
        EXPECT_TRUE(isFatal(call)) << call;
}

/// With a writer and a reader that have the table open.
class FailingSystemUnderATable : public FailingSystem {
  protected:
    /// A table that holds nothing but a status red.
    void begin() {
        red = nullptr;
        coll = nullptr;
        reader.reset();
        std::filesystem::remove_all(made());
        content.clear();
        next = 0;
        {
            const LittleRoom littleRoom;
            coll = open();
        }
        red = statusOf(*coll, vrf("red"));
        reader = std::make_unique<TableReader>(made());
    }
    std::uintmax_t size() const {
        const bool isCounted = std::exchange(calls.isCounted, false);
        const std::uintmax_t bytes = std::filesystem::file_size(table());
        calls.isCounted = isCounted;
        return bytes;
    }
    /// Inserts until the file is so long, and keeps account of what it did.
    void insertUntil(std::uintmax_t bytes) {
        while (size() < bytes) {
            red->membershipIs(include(numberedKey(next)));
            content.push_back(include(numberedKey(next++)));
        }
    }
    /// Whether writer, reader and the next writer find what was inserted, and nothing else.
    void expectContent() {
        std::sort(content.begin(), content.end());
        EXPECT_EQ(sorted(*red), content);
        EXPECT_EQ(sorted(reader->status(vrf("red")).value()), content);
        EXPECT_EQ(reader->faults(), std::vector<std::string>());
        red = nullptr;
        coll = nullptr;
        coll = open();
        red = coll->gmpStatus(vrf("red"));
        EXPECT_EQ(sorted(*red), content);
    }

    Lumo::Ptr<StatusColl> coll;
    Lumo::Ptr<Status> red;
    std::unique_ptr<TableReader> reader;
    std::vector<Membership> content;
    std::uint32_t next = 0;
};

TEST_F(FailingSystemUnderATable, LosesNothingWhenItGrows) {
    std::uintmax_t wanted = 0;
    const auto prepare = [&] {
        begin();
        wanted = size() + 1;
    };
    const auto check = [&](const Outcome& outcome) {
        // The one that failed is not there; it is with the next try.
        if (!outcome.error.empty()) {
            EXPECT_EQ(red->membership(numberedKey(next)), Membership());
        }
        insertUntil(wanted);
        expectContent();
    };
    forEachCall(
        prepare, [&] { insertUntil(wanted); }, check);
}

TEST_F(FailingSystemUnderATable, TakesAStatusWholeOrNotAtAll) {
    // As many as there are entries on a page, and one more that needs another page.
    std::vector<VrfApp> names;
    for (std::size_t i = 0; i < Storage::statusEntriesAPage; ++i)
        names.push_back(vrf("v" + std::to_string(i)));
    const auto add = [&] {
        for (const VrfApp& name : names)
            statusOf(*coll, name)->membershipIs(include(numberedKey(1)));
    };
    const auto check = [&](const Outcome&) {
        add();
        EXPECT_EQ(coll->gmpStatuses(), names.size() + 1);
        const auto seen = reader->statuses();
        EXPECT_EQ(seen.damage, std::vector<std::string>());
        EXPECT_EQ(seen.readers.size(), names.size() + 1);
        expectContent();
        EXPECT_EQ(coll->gmpStatuses(), names.size() + 1);
    };
    forEachCall([&] { begin(); }, add, check);
    EXPECT_TRUE(isFatal("posix_fallocate"));
}

TEST_F(FailingSystemUnderATable, GrowsWhereTheFileSystemOnlyTakesTheOlderCall) {
    begin();
    calls.only = "fallocate";
    calls.left = 1;
    calls.times = FailingCalls::always;
    calls.error = EOPNOTSUPP;
    const Outcome outcome = attempt([&] { insertUntil(size() + 1); });
    EXPECT_EQ(outcome.failed, "fallocate");
    EXPECT_EQ(outcome.error, "");
    expectContent();
}

TEST_F(FailingSystemUnderATable, SaysThatItsSleepersCannotBeMadeAnewAndTriesAgain) {
    std::vector<std::string> reports;
    const auto spoil = [&] {
        begin();
        coll->corruptionHandlerIs([&](std::string_view message) { reports.emplace_back(message); });
        std::filesystem::remove(made() / "sleepers");
        reports.clear();
    };
    bool isReported = false;
    const auto check = [&](const Outcome&) {
        for (const std::string& report : reports) {
            EXPECT_EQ(report.rfind((made() / "sleepers").string(), 0), 0u) << report;
            isReported |= !report.ends_with("made anew");
        }
        EXPECT_LE(reports.size(), 1u);
        coll->checkFiles();
        EXPECT_EQ(std::filesystem::file_size(made() / "sleepers"), Storage::pageBytes);
        expectContent();
    };
    forEachCall(
        spoil, [&] { coll->checkFiles(); }, check);
    EXPECT_TRUE(isReported);
}

TEST_F(FailingSystem, MakesNoTableOfAProcessByHalves) {
    for (const Failure& failure : failures) {
        std::uint64_t number = 1;
        for (bool isOver = false; !isOver; ++number) {
            const auto files = openFiles();
            calls.left = number;
            calls.times = failure.times;
            calls.error = failure.error;
            const Outcome outcome = attempt([&] {
                const auto anonymous = StatusColl::anonymous();
                const auto red = statusOf(*anonymous, vrf("red"));
                for (std::uint32_t i = 0; i < 100; ++i)
                    red->membershipIs(include(numberedKey(i)));
                EXPECT_EQ(sorted(*red).size(), 100u);
            });
            ASSERT_EQ(openFiles(), files) << outcome.failed;
            isOver = outcome.failed.empty();
        }
        EXPECT_GT(number, 5u);
    }
}

TEST_F(FailingSystemUnderATable, GivesNoDescriptorForChangesOrOneThatWorks) {
    begin();
    calls.only = "eventfd";
    calls.left = 1;
    const auto files = openFiles();
    EXPECT_NE(attempt([&] { reader->changeDescriptor(); }).error, "");
    EXPECT_EQ(openFiles(), files);
    // No thread is to be had: no address space has room for such a stack.
    pthread_attr_t usual;
    pthread_getattr_default_np(&usual);
    pthread_attr_t greedy = usual;
    pthread_attr_setstacksize(&greedy, std::size_t{1} << 50);
    sigset_t before;
    pthread_sigmask(SIG_SETMASK, nullptr, &before);
    ASSERT_EQ(pthread_setattr_default_np(&greedy), 0);
    EXPECT_NE(attempt([&] { reader->changeDescriptor(); }).error, "");
    ASSERT_EQ(pthread_setattr_default_np(&usual), 0);
    sigset_t after;
    pthread_sigmask(SIG_SETMASK, nullptr, &after);
    for (int signal = 1; signal < SIGRTMIN; ++signal)
        EXPECT_EQ(sigismember(&before, signal), sigismember(&after, signal)) << signal;
    EXPECT_EQ(openFiles(), files);

    struct pollfd entry = {reader->changeDescriptor(), POLLIN, 0};
    EXPECT_TRUE(reader->changes().changes.empty());
    EXPECT_EQ(poll(&entry, 1, 0), 0);
    red->membershipIs(include(numberedKey(1)));
    EXPECT_EQ(poll(&entry, 1, 20000), 1);
    EXPECT_EQ(reader->changes().changes.size(), 1u);
}

/// A file of a table, by itself.
class FileOfATable : public FailingSystem {
  protected:
    static constexpr std::uint64_t page = Storage::pageBytes;

    static Storage::TableFile ofPages(Storage::PageNumber pages) {
        return Storage::TableFile::anonymous(pages);
    }
};

TEST_F(FileOfATable, IsMappedAnewInLittleAddressSpaceUntilItWasTooOften) {
    // Nothing larger than what is needed can be mapped: at first that is the last of many sizes
    // that are tried, each half of the one before; later it is the second.
    constexpr std::uint64_t halvings = 22;
    std::uint64_t number = 0;
    calls.only = "mmap";
    calls.before = [&](std::string_view) {
        ++number;
        const bool isTooLarge = number <= halvings || (number > halvings + 2 && number % 2 == 1);
        calls.left = calls.times = isTooLarge ? 1 : 0;
    };
    calls.isCounted = true;
    std::vector<std::byte*> pages;
    std::string error;
    try {
        Storage::TableFile file = ofPages(1);
        for (Storage::PageNumber more = 2; more < 1000; ++more) {
            file.pagesIs(more);
            pages.push_back(file.page(more - 1));
            *pages.back() = std::byte{1};
        }
    } catch (const std::system_error& raised) {
        error = raised.what();
    }
    calls = {};
    EXPECT_NE(error.find("has no address space to be mapped"), std::string::npos) << error;
    EXPECT_GT(pages.size(), 10u);
}

TEST_F(FileOfATable, ThatIsShorterThanItWasIsCut) {
    const Storage::TableFile file = ofPages(8);
    EXPECT_EQ(file.currentPages(), 8u);
    ASSERT_EQ(ftruncate(file.descriptor().number(), 4 * page), 0);
    for (int twice = 0; twice < 2; ++twice) {
        EXPECT_THROW(static_cast<void>(file.currentPages()), std::system_error);
        EXPECT_FALSE(file.isWhole());
        EXPECT_THROW(file.checkWhole(), std::system_error);
    }
}

}  // namespace

}  // namespace Tessel::Test
