// The protocol of waiting between processes, with delays between any two of its steps, and readers
// that are stopped and go on anywhere: no change may be slept through. Beside it, readers of a real
// table that wait for its changes.
#include <atomic>
#include <thread>

#include "Run.h"
#include "Witness.h"
#include "platform/Tessel/Process.h"
#include "platform/Tessel/WaitingSteps.h"

namespace Tessel::Attack {

namespace {

using namespace std::chrono_literals;
namespace Waiting = Test::Waiting;

/// What the processes of the attack share.
struct Shared {
    Waiting::Memory memory;
    Witness witness;
    std::atomic<bool> isOver{false};
    std::atomic<bool> isFollowed{false};
    std::atomic<std::uint64_t> waits{0};
};

/// Waits for the changes of a table, of which each comes when the one before was seen.
void waitForChanges(const std::filesystem::path& directory, Shared& shared) {
    Test::TableReader reader(directory);
    shared.isFollowed = true;
    const auto act = [&] {
        const bool isChanged = reader.waitForChange(2s);
        promise(isChanged || shared.isOver, "a reader slept through a change of its table");
        reader.changes();
        ++shared.waits;
    };
    shared.witness.watch(act, shared.isOver);
}

/// Writes a table, one change whenever the reader has seen the one before.
void makeChanges(const std::filesystem::path& directory, Shared& shared) {
    const auto coll = Test::StatusColl::open(directory);
    const auto red = Test::statusOf(*coll, Test::vrf("red"));
    std::uint64_t made = 0;
    while (!shared.isOver) {
        if (!shared.isFollowed || shared.waits < made) {
            std::this_thread::yield();
            continue;
        }
        red->membershipIs({Test::numberedKey(1), made++ % 2 == 0 ? Test::FilterMode::include
                                                                 : Test::FilterMode::exclude});
    }
}

void run(Run& run) {
    const std::filesystem::path directory = run.directory() / "table";
    Test::statusOf(*Test::StatusColl::open(directory), Test::vrf("red"));
    const Test::Shared<Shared> shared;
    const std::uint64_t seed = run.random().below(1u << 30);
    const auto read = [&](int reader) {
        Waiting::readChanges(shared->memory, reader, seed + static_cast<unsigned>(reader),
                             UINT64_MAX, shared->isOver);
    };
    Test::Process one([&] { read(0); });
    Test::Process other([&] { read(1); });
    Test::Process waker([&] { Waiting::makeChanges(shared->memory, seed + 2); });
    Test::Process writer([&] { makeChanges(directory, *shared); });
    Test::Process waiter([&] { waitForChanges(directory, *shared); });
    while (!run.isOver() && !shared->witness.isWrong() && shared->memory.lost == 0) {
        Test::Process& stopped = run.random().below(2) == 0 ? one : other;
        stopped.signal(SIGSTOP);
        std::this_thread::sleep_for(std::chrono::microseconds(run.random().below(2000)));
        stopped.signal(SIGCONT);
        std::this_thread::sleep_for(std::chrono::microseconds(run.random().below(5000)));
        ++run.figure("preemptions");
    }
    shared->isOver = true;
    bool endedWell = one.endedWell() && other.endedWell() && waker.endedWell();
    endedWell = writer.endedWell() && waiter.endedWell() && endedWell;
    run.figure("waits") = shared->memory.waits;
    run.figure("sleeps") = shared->memory.sleeps;
    run.figure("waits for a real table") = shared->waits;
    shared->witness.raise();
    promise(shared->memory.lost == 0,
            std::to_string(shared->memory.lost) + " changes were slept through");
    promise(endedWell, "a process died");
}

}  // namespace

const Attack waits{"waits", "NoChangeIsSleptThroughWhereverReadersAndWriterAreHeldUp", run};

}  // namespace Tessel::Attack
