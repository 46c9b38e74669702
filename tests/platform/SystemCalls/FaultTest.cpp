// Faults that are not the table's go to whoever handled them before. Each test is a process of its
// own: a table looks for that handler once.
#include <sys/mman.h>
#include <unistd.h>

#include <csignal>
#include <stdexcept>

#include "../Tessel/Fixture.h"
#include "FailingCalls.h"
#include "endProcess.h"

namespace Tessel::Test {

namespace {

constexpr int handled = 17;

const void* expectedAddress = nullptr;

void plainHandler(int) {
    endProcess(handled);
}

void exactHandler(int, siginfo_t* info, void*) {
    endProcess(info->si_addr == expectedAddress ? handled : 1);
}

class FaultElsewhere : public ::testing::Test {
  protected:
    FaultElsewhere() { GTEST_FLAG_SET(death_test_style, "threadsafe"); }

    static void plainHandlerIs() {
        struct sigaction action {};
        action.sa_handler = plainHandler;
        sigaction(SIGBUS, &action, nullptr);
    }
    static void exactHandlerIs() {
        struct sigaction action {};
        action.sa_sigaction = exactHandler;
        action.sa_flags = SA_SIGINFO;
        sigaction(SIGBUS, &action, nullptr);
    }
    /// Reads a page of a file that is shorter.
    static void fault() {
        const int file = memfd_create("short", MFD_CLOEXEC);
        void* const memory = mmap(nullptr, 4096, PROT_READ, MAP_SHARED, file, 0);
        if (memory == MAP_FAILED) throw std::runtime_error("no memory");
        expectedAddress = memory;
        static_cast<void>(*static_cast<volatile char*>(memory));
    }
    static Lumo::Ptr<StatusColl> openTable(const TempDirectory& directory) {
        const auto coll = StatusColl::open(directory.path());
        statusOf(*coll, vrf("red"));
        return coll;
    }
};

TEST_F(FaultElsewhere, GoesToAHandlerThatTakesTheNumberAlone) {
    EXPECT_EXIT(
        {
            plainHandlerIs();
            const TempDirectory directory;
            const auto coll = openTable(directory);
            fault();
        },
        testing::ExitedWithCode(handled), "");
}

TEST_F(FaultElsewhere, GoesToAHandlerThatAsksWhereItWas) {
    EXPECT_EXIT(
        {
            exactHandlerIs();
            const TempDirectory directory;
            const auto coll = openTable(directory);
            fault();
        },
        testing::ExitedWithCode(handled), "");
}

TEST_F(FaultElsewhere, IsNotOneThatAProcessSent) {
    EXPECT_EXIT(
        {
            plainHandlerIs();
            const TempDirectory directory;
            const auto coll = openTable(directory);
            kill(getpid(), SIGBUS);
        },
        testing::ExitedWithCode(handled), "");
}

TEST_F(FaultElsewhere, EndsTheProcessWhereNobodyHandledIt) {
    EXPECT_DEATH(
        {
            struct sigaction action {};
            action.sa_handler = SIG_IGN;
            sigaction(SIGBUS, &action, nullptr);
            const TempDirectory directory;
            const auto coll = openTable(directory);
            fault();
        },
        "");
}

TEST_F(FaultElsewhere, IsWhatAFaultOfTheTableBecomesWithoutMemoryForAPage) {
    EXPECT_EXIT(
        {
            plainHandlerIs();
            const TempDirectory directory;
            const auto coll = openTable(directory);
            std::filesystem::resize_file(directory.table(), 0);
            calls.only = "mmap";
            calls.left = 1;
            calls.isCounted = true;
            coll->gmpStatus(vrf("red"))->membershipIs(include(numberedKey(1)));
        },
        testing::ExitedWithCode(handled), "");
}

}  // namespace

}  // namespace Tessel::Test
