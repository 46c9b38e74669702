// A writer that is killed at random instants, starts included, again and again over one table,
// while a reader reads it all the time.
#include <atomic>
#include <thread>

#include "Operation.h"
#include "Run.h"
#include "Witness.h"
#include "platform/Tessel/Process.h"

namespace Tessel::Attack {

namespace {

constexpr std::uint32_t series = 4000;

/// The operation of that number: the same in the writer and in whoever checks.
Operation operationOf(std::uint64_t seed, std::uint32_t number) {
    Test::Random random(seed + number);
    return Operation::random(random, series);
}

/// What a reader and its attack tell each other.
struct Report {
    Witness witness;
    std::atomic<std::uint64_t> walks{0};
    std::atomic<bool> isOver{false};
};

void run(Run& run) {
    const std::filesystem::path directory = run.directory() / "table";
    Test::StatusColl::open(directory);
    const Test::Shared<Report> report;
    Test::Process reader([&] {
        Test::TableReader table(directory);
        const auto read = [&] {
            contentOf(table);
            table.changes();
            ++report->walks;
        };
        report->witness.watch(read, report->isOver);
    });
    const Test::Shared<std::atomic<std::uint32_t>> finished;
    const std::uint64_t seed = run.random().below(1u << 31);
    Content model;
    std::uint32_t known = 0;
    for (; !run.isOver() && !report->witness.isWrong(); ++run.figure("kills")) {
        Test::Process writer([&, first = known] {
            const auto coll = Test::StatusColl::open(directory);
            for (std::uint32_t i = first;; ++i) {
                operationOf(seed, i).applyTo(*coll);
                finished->store(i + 1, std::memory_order_release);
            }
        });
        // Some are killed while they still open the table.
        while (run.random().below(10) != 0 && finished->load() == known)
            std::this_thread::yield();
        std::this_thread::sleep_for(std::chrono::microseconds(run.random().below(300)));
        writer.kill();

        for (; known < finished->load(); ++known)
            operationOf(seed, known).applyTo(model);
        const auto coll = Test::StatusColl::open(directory);
        const Content content = contentOf(*coll);
        if (content != model) {
            operationOf(seed, known++).applyTo(model);
            finished->store(known);
            promise(content == model,
                    "what was finished is lost, or what was not is there by half");
        }
    }
    run.figure("operations") = known;
    run.figure("walks meanwhile") = report->walks;
    report->isOver = true;
    promise(reader.endedWell(), "the reader died");
    report->witness.raise();
    promise(Test::TableReader(directory).faults().empty(), "check cries over a sound table");
}

}  // namespace

const Attack randomKills{"random-kills",
                         "AWriterThatIsKilledAtAnyInstantLosesNothingThatItFinished", run};

}  // namespace Tessel::Attack
