// Another user beside a table that all may read: he tries to lock, wake, rewrite, cut and replace
// whatever there is. Nothing of it succeeds where he may not write, nothing fails, and the writer
// stays as fast as it is without him.
#include <fcntl.h>
#include <grp.h>
#include <linux/futex.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <climits>
#include <ctime>

#include "Operation.h"
#include "Rix/FileDescriptor.h"
#include "Run.h"
#include "Witness.h"
#include "platform/Tessel/Process.h"

namespace Tessel::Attack {

namespace {

using Routing::Gmp::Tessel::TableAccess;
using namespace std::chrono_literals;

constexpr uid_t nobody = 65534;
constexpr gid_t waiters = 65533;
constexpr std::uint32_t series = 1000;
constexpr std::array files = {"table", "writer", "sleepers", "table.new", "sleepers.new"};

/// What the processes of the attack share.
struct Shared {
    Witness witness;
    std::atomic<bool> isOver{false};
    std::atomic<bool> isFollowerOver{false};
    std::atomic<std::uint64_t> tries{0};
    std::atomic<std::uint64_t> waits{0};
};

/// Becomes another user, who is in the group that may wait.
void becomeNobody() {
    if (setgroups(0, nullptr) != 0 || setgid(waiters) != 0 || setuid(nobody) != 0) {
        throw std::runtime_error("cannot become nobody");
    }
    umask(0);
}

/// Holds and drops locks on every file that can be opened, and makes and removes what cannot be.
void meddleWithFiles(const std::filesystem::path& directory, bool mayWait) {
    for (const char* name : files) {
        const std::string path = directory / name;
        const Rix::FileDescriptor toRead(open(path.c_str(), O_RDONLY | O_CLOEXEC));
        struct flock all {};
        all.l_type = F_RDLCK;
        fcntl(toRead.number(), F_SETLK, &all);
        const bool isWaitersFile = std::string_view(name) == "sleepers" && mayWait;
        const Rix::FileDescriptor toWrite(open(path.c_str(), O_RDWR | O_CLOEXEC));
        promise(!toWrite.isOpen() || isWaitersFile, path + " may be written by anybody");
        promise(truncate(path.c_str(), 0) != 0 || isWaitersFile, path + " may be cut by anybody");
        promise(symlink("/etc/passwd", path.c_str()) != 0, path + " may be made by anybody");
        promise(unlink(path.c_str()) != 0, path + " may be removed by anybody");
        promise(chmod(path.c_str(), 0666) != 0, path + " may be opened up by anybody");
    }
    promise(rename(directory.c_str(), (directory.string() + "2").c_str()) != 0,
            "the directory may be renamed by anybody");
}

/// Wakes and moves whoever sleeps on any word of a page of the table.
void meddleWithSleepers(const std::filesystem::path& table, Test::Random& random) {
    const Rix::FileDescriptor file(open(table.c_str(), O_RDONLY | O_CLOEXEC));
    void* const memory = mmap(nullptr, 4096 * 2, PROT_READ, MAP_SHARED, file.number(), 0);
    promise(memory != MAP_FAILED, "a table that all may read cannot be mapped");
    auto* const words = static_cast<std::uint32_t*>(memory);
    for (int i = 0; i < 64; ++i) {
        std::uint32_t* const word = words + 1024 + random.below(64);
        syscall(SYS_futex, word, FUTEX_WAKE, INT_MAX, nullptr, nullptr, 0);
        syscall(SYS_futex, word, FUTEX_REQUEUE, 0, INT_MAX, words, 0);
    }
    munmap(memory, 4096 * 2);
}

/// Rewrites, stretches and cuts the file in which waiters ask to be woken.
void meddleWithAsking(const std::filesystem::path& sleepers, Test::Random& random) {
    const Rix::FileDescriptor file(open(sleepers.c_str(), O_RDWR | O_CLOEXEC));
    promise(file.isOpen(), "who may wait cannot open sleepers");
    const std::uint64_t word = random.below(2) == 0 ? UINT64_MAX : random.below(1000);
    promise(pwrite(file.number(), &word, sizeof word, 0) == sizeof word, "cannot write sleepers");
    const std::uint32_t chance = random.below(20);
    if (chance == 0) promise(ftruncate(file.number(), 0) == 0, "cannot cut sleepers");
    if (chance == 1) promise(ftruncate(file.number(), 1L << 40) == 0, "cannot stretch sleepers");
}

void meddle(const std::filesystem::path& directory, bool mayWait, std::uint64_t seed,
            Shared& shared) {
    becomeNobody();
    Test::Random random(seed);
    const auto act = [&] {
        meddleWithFiles(directory, mayWait);
        meddleWithSleepers(directory / "table", random);
        if (mayWait) meddleWithAsking(directory / "sleepers", random);
        ++shared.tries;
    };
    shared.witness.watch(act, shared.isOver);
}

/// A reader of the writer's own user, who waits for each change.
void follow(const std::filesystem::path& directory, Shared& shared) {
    Test::TableReader reader(directory);
    const auto act = [&] {
        promise(reader.waitForChange(5s), "a reader was kept from waking");
        reader.changes();
        promise(contentOf(reader).contains("red"), "a status is not there");
        ++shared.waits;
    };
    shared.witness.watch(act, shared.isFollowerOver);
}

/// The processor time of so many writes, in nanoseconds each.
double writeTime(Test::Status& red, Test::Random& random) {
    constexpr int writes = 20000;
    timespec begin{};
    timespec end{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &begin);
    for (int i = 0; i < writes; ++i) {
        red.membershipIs(
            {Test::numberedKey(random.below(series)), static_cast<FilterMode>(random.below(2))});
    }
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &end);
    return (static_cast<double>(end.tv_sec - begin.tv_sec) * 1e9 +
            static_cast<double>(end.tv_nsec - begin.tv_nsec)) /
           writes;
}

/// Writes with and without the neighbour by turns, and compares the best of each.
void compareSpeed(Run& run, Test::Status& red, const Test::Process& neighbour, Shared& shared) {
    double alone = 1e9;
    double beside = 1e9;
    const auto end = Clock::now() + (run.end() - Clock::now()) / 2;
    while (Clock::now() < end && !shared.witness.isWrong()) {
        neighbour.signal(SIGSTOP);
        alone = std::min(alone, writeTime(red, run.random()));
        neighbour.signal(SIGCONT);
        beside = std::min(beside, writeTime(red, run.random()));
        run.figure("writes") += 40000;
    }
    run.figure("ns a write alone") = static_cast<std::uint64_t>(alone);
    run.figure("ns a write beside the neighbour") = static_cast<std::uint64_t>(beside);
    promise(beside < alone * 1.5 || alone == 1e9, "a neighbour makes writes much slower");
}

/// The next writer starts however the neighbour left what he may write.
void startAgain(Run& run, const std::filesystem::path& directory, const TableAccess& access) {
    while (!run.isOver()) {
        const auto coll = Test::StatusColl::open(directory, access);
        Test::statusOf(*coll, Test::vrf("red"))->membershipIs(Test::include(Test::numberedKey(1)));
        ++run.figure("starts");
    }
}

void attackFrom(Run& run, bool mayWait, std::chrono::milliseconds share) {
    const std::filesystem::path directory = run.directory() / (mayWait ? "waiter" : "reader");
    const TableAccess access{TableAccess::Who::all,
                             mayWait ? TableAccess::Who::group : TableAccess::Who::owner, waiters};
    Run part(directory, run.random().below(1u << 31), share);
    const Test::Shared<Shared> shared;
    auto coll = Test::StatusColl::open(directory, access);
    auto red = Test::statusOf(*coll, Test::vrf("red"));
    Test::Process neighbour([&] { meddle(directory, mayWait, 1, *shared); });
    Test::Process follower([&] { follow(directory, *shared); });
    compareSpeed(part, *red, neighbour, *shared);
    shared->isFollowerOver = true;
    red->membershipDel(Test::numberedKey(1));
    red->membershipIs(Test::include(Test::numberedKey(1)));
    promise(follower.endedWell(), "a reader died");
    red = nullptr;
    coll = nullptr;
    if (!shared->witness.isWrong()) startAgain(part, directory, access);
    shared->isOver = true;
    promise(neighbour.endedWell(), "the neighbour died");
    shared->witness.raise();
    for (const auto& [name, value] : part.figures())
        run.figure(name + (mayWait ? ", he may wait" : ", he may read")) = value;
    run.figure("tries") += shared->tries;
    run.figure("waits") += shared->waits;
}

void run(Run& run) {
    if (geteuid() != 0) {
        ++run.figure("skipped: only root can become somebody else");
        return;
    }
    std::filesystem::permissions(run.directory(), std::filesystem::perms(0755));
    const auto share =
        std::chrono::duration_cast<std::chrono::milliseconds>(run.end() - Clock::now());
    attackFrom(run, false, share / 2);
    attackFrom(run, true, share / 2);
}

}  // namespace

const Attack neighbours{"neighbours", "AnotherUserCanMakeNothingFailAndNothingSlow", run};

}  // namespace Tessel::Attack
