// Readers in a loop beside a writer at full speed: no false alarm, nothing torn, invented or met
// twice, and a check that cries over nothing.
#include <atomic>

#include "Operation.h"
#include "Run.h"
#include "Witness.h"
#include "platform/Tessel/Process.h"

namespace Tessel::Attack {

namespace {

constexpr std::uint32_t series = 3000;

/// What the processes of the attack share.
struct Findings {
    Witness witness;
    std::atomic<bool> isOver{false};
    std::atomic<std::uint64_t> walks{0};
    std::atomic<std::uint64_t> met{0};
    std::atomic<std::uint64_t> lookups{0};
    std::atomic<std::uint64_t> changes{0};
    std::atomic<std::uint64_t> checks{0};
};

/// Multiples of 4 are always there; odd numbers are included at all times.
bool isPossible(std::uint32_t number, FilterMode mode) {
    return number < series && (number % 2 == 0 || mode == FilterMode::include);
}

void writeOnce(Test::StatusColl& coll, Test::Random& random) {
    const auto red = coll.gmpStatus(Test::vrf("red"));
    const std::uint32_t number = random.below(series);
    if (number % 4 != 0 && random.below(3) == 0) {
        red->membershipDel(Test::numberedKey(number));
    } else {
        const bool isInclude = number % 2 == 1 || random.below(2) == 0;
        red->membershipIs(
            {Test::numberedKey(number), isInclude ? FilterMode::include : FilterMode::exclude});
    }
    // Statuses come, grow and go, so that pages are added, given back and used again.
    const auto guest = Test::vrf("guest" + std::to_string(random.below(40)));
    const std::uint32_t chance = random.below(50);
    if (chance == 0) {
        coll.gmpStatusDel(guest);
    } else if (chance < 10) {
        const auto status = Test::statusOf(coll, guest);
        for (std::uint32_t i = 0; i < 10; ++i)
            status->membershipIs(Test::include(Test::numberedKey(random.below(series))));
    }
}

void walk(const Test::TableReader& reader, Findings& findings) {
    const Content content = contentOf(reader);
    std::uint32_t always = 0;
    for (const auto& [number, mode] : content.at("red")) {
        promise(isPossible(number, mode), "a membership that nobody wrote");
        if (number % 4 == 0) ++always;
    }
    promise(always == series / 4, "memberships that are always there were not met");
    findings.met += content.at("red").size();
    ++findings.walks;
}

void lookUp(Test::StatusReader& red, Test::Random& random, Findings& findings) {
    for (int i = 0; i < 1000; ++i, ++findings.lookups) {
        const std::uint32_t number = random.below(series);
        const auto reading = red.membership(Test::numberedKey(number));
        promise(reading.damage.empty(), reading.damage);
        promise(reading.isPresent || number % 4 != 0, "a membership was not found");
        promise(!reading.isPresent || isPossible(number, reading.membership.filterMode()),
                "a membership that nobody wrote was found");
    }
}

void follow(Test::TableReader& reader, Findings& findings) {
    for (const Test::TableChange& change : reader.changes().changes) {
        if (change.kind != Test::TableChange::Kind::membership) continue;
        const auto& one = change.membership;
        const std::uint32_t number = Test::numberOf(one.key);
        promise(one.key == Test::numberedKey(number) && number < series, "an invented change");
        ++findings.changes;
    }
}

void run(Run& run) {
    const std::filesystem::path directory = run.directory() / "table";
    const Test::Shared<Findings> findings;
    const auto coll = Test::StatusColl::open(directory);
    const auto red = Test::statusOf(*coll, Test::vrf("red"));
    for (std::uint32_t i = 0; i < series; ++i)
        red->membershipIs(Test::include(Test::numberedKey(i)));
    const unsigned seed = run.random().below(1000);
    Test::Process walker([&] {
        const Test::TableReader reader(directory);
        findings->witness.watch([&] { walk(reader, *findings); }, findings->isOver);
    });
    Test::Process finder([&] {
        Test::TableReader reader(directory);
        auto status = reader.status(Test::vrf("red")).value();
        Test::Random random(seed);
        const auto read = [&] {
            lookUp(status, random, *findings);
            follow(reader, *findings);
        };
        findings->witness.watch(read, findings->isOver);
    });
    Test::Process checker([&] {
        const Test::TableReader reader(directory);
        const auto check = [&] {
            const auto faults = reader.faults();
            promise(faults.empty(), faults.empty() ? "" : "check cries: " + faults.front());
            ++findings->checks;
        };
        findings->witness.watch(check, findings->isOver);
    });
    for (; !run.isOver() && !findings->witness.isWrong(); run.figure("writes") += 1000) {
        for (int i = 0; i < 1000; ++i)
            writeOnce(*coll, run.random());
    }
    findings->isOver = true;
    const bool endedWell = walker.endedWell() && finder.endedWell() && checker.endedWell();
    run.figure("walks") = findings->walks;
    run.figure("memberships walked over") = findings->met;
    run.figure("lookups") = findings->lookups;
    run.figure("changes followed") = findings->changes;
    run.figure("checks") = findings->checks;
    findings->witness.raise();
    promise(endedWell, "a reader died");
}

}  // namespace

const Attack readers{"readers",
                     "ReadersBesideAWriterAtFullSpeedMeetNothingTornInventedTwiceOrDamaged", run};

}  // namespace Tessel::Attack
