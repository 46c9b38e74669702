#include <atomic>
#include <chrono>
#include <thread>

#include "Fixture.h"
#include "Process.h"

namespace Tessel::Test {

namespace {

using namespace std::chrono_literals;

constexpr std::uint32_t series = 4000;

/// What readers found, and what tells them to stop.
struct Findings {
    std::atomic<std::uint64_t> reads{0};
    std::atomic<std::uint64_t> wrong{0};
    std::atomic<bool> stop{false};
};

/// Overwrites, deletes and inserts at full speed. Number `i` is always there if it is a multiple of
/// 4; number `i` is in mode include at all times if it is odd.
void writeOnce(Status& status, Random& random) {
    const std::uint32_t number = random.below(series);
    const bool isInclude = number % 2 == 1 || random.below(2) == 0;
    const Membership membership{numberedKey(number),
                                isInclude ? FilterMode::include : FilterMode::exclude};
    if (number % 4 != 0 && random.below(3) == 0) {
        status.membershipDel(membership.key());
    } else {
        status.membershipIs(membership);
    }
}

bool isPossible(const Membership& membership) {
    const std::uint32_t number = numberOf(membership.key());
    return number < series && membership.key() == numberedKey(number) &&
           (number % 2 == 0 || membership.filterMode() == FilterMode::include);
}

void lookUp(StatusReader& status, Random& random, Findings& findings) {
    const std::uint32_t number = random.below(series);
    const auto reading = status.membership(numberedKey(number));
    const bool isMissing = !reading.isPresent && number % 4 == 0;
    if (isMissing || !reading.damage.empty() ||
        (reading.isPresent && !isPossible(reading.membership))) {
        ++findings.wrong;
    }
}

void walk(StatusReader& status, Findings& findings) {
    std::uint32_t always = 0;
    std::uint64_t read = 0;
    for (const Membership& membership : status) {
        if (!isPossible(membership)) ++findings.wrong;
        if (numberOf(membership.key()) % 4 == 0) ++always;
        ++read;
    }
    if (always != series / 4 || !status.damage().empty()) ++findings.wrong;
    findings.reads += read;
}

void readUntilStopped(TableReader& reader, Findings& findings, unsigned seed) {
    Random random(seed);
    StatusReader status = reader.status(vrf("red")).value();
    while (!findings.stop) {
        for (int i = 0; i < 1000; ++i)
            lookUp(status, random, findings);
        findings.reads += 1000;
        walk(status, findings);
        for (const TableChange& change : reader.changes().changes) {
            if (change.kind != TableChange::Kind::membership) continue;
            const MembershipChange& one = change.membership;
            if (!isPossible({one.key, one.after.value_or(FilterMode::include)})) ++findings.wrong;
        }
    }
}

void fill(Status& status) {
    for (std::uint32_t i = 0; i < series; ++i)
        status.membershipIs(include(numberedKey(i)));
}

TEST(ConcurrentReaders, SeeNoTornAndNoInventedMembershipInTenMillionReads) {
    const TempDirectory directory;
    const auto coll = StatusColl::open(directory.path());
    const auto red = statusOf(*coll, vrf("red"));
    fill(*red);
    const Shared<Findings> findings;
    const auto read = [&] {
        TableReader reader(directory.path());
        readUntilStopped(reader, *findings, static_cast<unsigned>(getpid()));
    };
    Process first(read);
    Process second(read);
    Random random(1);
    std::uint64_t written = 0;
    while (findings->reads < (isSanitized ? 1'000'000 : 10'000'000)) {
        for (int i = 0; i < 1000; ++i)
            writeOnce(*red, random);
        written += 1000;
    }
    findings->stop = true;
    EXPECT_TRUE(first.endedWell());
    EXPECT_TRUE(second.endedWell());
    EXPECT_EQ(findings->wrong, 0u);
    EXPECT_GT(written, 1000u);
}

TEST(ConcurrentReaders, DoNotHoldTheWriterUpWhenTheyAreStoppedAnywhere) {
    const TempDirectory directory;
    const auto coll = StatusColl::open(directory.path());
    const auto red = statusOf(*coll, vrf("red"));
    fill(*red);
    const Shared<Findings> findings;
    Process reader([&] {
        TableReader own(directory.path());
        readUntilStopped(own, *findings, 1);
    });
    Random random(1);
    for (int stop = 0; stop < 100; ++stop) {
        const std::uint64_t before = findings->reads;
        while (findings->reads == before)
            std::this_thread::yield();
        reader.signal(SIGSTOP);
        // Growth and removal included.
        for (int i = 0; i < 2000; ++i)
            writeOnce(*red, random);
        statusOf(*coll, vrf("blue"))->membershipIs(include(numberedKey(1)));
        coll->gmpStatusDel(vrf("blue"));
        reader.signal(SIGCONT);
    }
    findings->stop = true;
    EXPECT_TRUE(reader.endedWell());
    EXPECT_EQ(findings->wrong, 0u);
}

/// Looks one membership up again and again.
void lookUpUntilStopped(TableReader& reader, Findings& findings, const RouteIntfKey& key) {
    StatusReader status = reader.status(vrf("red")).value();
    for (; !findings.stop; ++findings.reads) {
        if (!status.membership(key).isPresent) ++findings.wrong;
    }
}

TEST(ConcurrentReaders, FindAMembershipWhoseMemoryBecameAnothersWhileTheyLooked) {
    const TempDirectory directory;
    const auto coll = StatusColl::open(directory.path());
    for (int stop = 0; stop < 100; ++stop) {
        const auto red = statusOf(*coll, vrf("red"));
        red->membershipIs(include(numberedKey(0)));
        const Shared<Findings> findings;
        Process reader([&] {
            TableReader own(directory.path());
            lookUpUntilStopped(own, *findings, numberedKey(0));
        });
        while (findings->reads == 0)
            std::this_thread::yield();
        reader.signal(SIGSTOP);
        // Red moves to longer segments, and blue into the ones that it left.
        for (std::uint32_t i = 1; i < 400; ++i)
            red->membershipIs(include(numberedKey(i)));
        const auto blue = statusOf(*coll, vrf("blue"));
        for (std::uint32_t i = 1000; i < 1300; ++i)
            blue->membershipIs(include(numberedKey(i)));
        const std::uint64_t before = findings->reads;
        reader.signal(SIGCONT);
        while (findings->reads == before)
            std::this_thread::yield();
        findings->stop = true;
        ASSERT_TRUE(reader.endedWell());
        ASSERT_EQ(findings->wrong, 0u) << "at stop " << stop;
        coll->gmpStatusDel(vrf("red"));
        coll->gmpStatusDel(vrf("blue"));
    }
}

TEST(ConcurrentReaders, FindEveryFinishedMembershipWhileItsStatusGrows) {
    const TempDirectory directory;
    const auto coll = StatusColl::open(directory.path());
    const auto red = statusOf(*coll, vrf("red"));
    red->membershipIs(include(numberedKey(0)));
    const Shared<Findings> findings;
    const Shared<std::atomic<std::uint32_t>> finished;
    *finished = 1;
    Process reader([&] {
        TableReader own(directory.path());
        StatusReader status = own.status(vrf("red")).value();
        Random random(1);
        for (; !findings->stop; ++findings->reads) {
            const RouteIntfKey key = numberedKey(random.below(*finished));
            if (!status.membership(key).isPresent) ++findings->wrong;
        }
    });
    while (findings->reads == 0)
        std::this_thread::yield();
    for (std::uint32_t i = 1; i < (isSanitized ? 30'000 : 300'000); ++i) {
        red->membershipIs(include(numberedKey(i)));
        *finished = i + 1;
    }
    findings->stop = true;
    EXPECT_TRUE(reader.endedWell());
    EXPECT_EQ(findings->wrong, 0u);
}

TEST(ConcurrentReaders, AreThreadsOverOneMappingToo) {
    const auto coll = StatusColl::anonymous();
    const auto red = statusOf(*coll, vrf("red"));
    fill(*red);
    Findings findings;
    std::vector<std::thread> threads;
    for (unsigned seed : {1u, 2u}) {
        threads.emplace_back([&findings, seed, reader = TableReader(*coll)]() mutable {
            readUntilStopped(reader, findings, seed);
        });
    }
    Random random(1);
    while (findings.reads < 300'000) {
        for (int i = 0; i < 1000; ++i)
            writeOnce(*red, random);
        // Segments are rebuilt and their pages used again under the readers.
        const auto blue = statusOf(*coll, vrf("blue"));
        for (std::uint32_t i = 0; i < 500; ++i)
            blue->membershipIs(include(numberedKey(i)));
        coll->gmpStatusDel(vrf("blue"));
    }
    findings.stop = true;
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(findings.wrong, 0u);
}

TEST(ConcurrentReaders, AreWokenInAnotherProcess) {
    const TempDirectory directory;
    const auto coll = StatusColl::open(directory.path());
    const auto red = statusOf(*coll, vrf("red"));
    const Shared<Findings> findings;
    Process waiter([&] {
        TableReader reader(directory.path());
        findings->stop = true;
        for (std::uint32_t next = 0; next < 300;) {
            if (!reader.waitForChange(20s)) throw std::runtime_error("not woken");
            const auto changes = reader.changes();
            if (changes.isWalkNeeded) throw std::runtime_error("fell behind");
            for (const TableChange& change : changes.changes) {
                if (change.membership.key != numberedKey(next++)) {
                    throw std::runtime_error("out of order");
                }
            }
            findings->reads = next;
        }
    });
    while (!findings->stop)
        std::this_thread::yield();
    for (std::uint32_t i = 0; i < 300; ++i) {
        red->membershipIs(include(numberedKey(i)));
        // Each other change meets a reader that sleeps, or is about to.
        while (i % 2 == 0 && findings->reads <= i)
            std::this_thread::yield();
    }
    EXPECT_TRUE(waiter.endedWell());
}

TEST(ConcurrentReaders, DoNotStayBehindAsSleepersWhenTheyAreKilled) {
    const TempDirectory directory;
    const auto coll = StatusColl::open(directory.path());
    const auto red = statusOf(*coll, vrf("red"));
    for (std::uint32_t i = 0; i < 50; ++i) {
        Process waiter([&] { TableReader(directory.path()).waitForChange(20s); });
        std::this_thread::yield();
        waiter.kill();
        red->membershipIs(include(numberedKey(i)));
    }
    TableReader reader(directory.path());
    EXPECT_FALSE(reader.waitForChange(1ms));
    red->membershipDel(numberedKey(1));
    EXPECT_TRUE(reader.waitForChange(20s));
}

}  // namespace

}  // namespace Tessel::Test
