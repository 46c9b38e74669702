// The machine against the model: random sequences of events, and every sequence of a few.
// IRBMC_LONG_SECONDS makes each test run that long; RapidCheck's RC_PARAMS repeats random events.
#include <gtest/gtest.h>

#include <iostream>
#include <set>
#include <string_view>
#include <vector>

#include "LittleRoom.h"
#include "Lumo/TypeData.h"
#include "Replay/EventReader.h"
#include "model/Campaign.h"
#include "model/EngineSubject.h"
#include "model/Exploration.h"
#include "model/Sequences.h"
#include "model/TinyUniverses.h"

namespace model {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t batchesInCi = 3;  // of RapidCheck's hundred sequences each, 85,000 events
/// With sanitizers, which find their faults on the shorter sequences too: a depth less.
constexpr std::size_t transitionsInCi = std::string_view(IRBMC_SANITIZERS).empty() ? 4'000 : 400;

/// The end of one of several equal parts of a long run; nothing if this is no long run.
std::optional<Clock::time_point> longDeadline(std::size_t parts = 1) {
    const auto seconds = environmentNumber("IRBMC_LONG_SECONDS");
    if (!seconds) return std::nullopt;
    return Clock::now() + std::chrono::seconds(*seconds / parts);
}

std::string nameOf(const testing::TestParamInfo<Toggles>& info) {
    return std::string("Gateway") + (info.param.oismGateway ? "On" : "Off") + "Mpls" +
           (info.param.oismMplsTunnel ? "On" : "Off");
}

std::uint64_t liveObjects() {
    std::uint64_t live = 0;
    for (const Lumo::TypeData* type : Lumo::TypeData::types())
        live += type->allocations().live;
    return live;
}

/// The time that the depths of an exploration take. The next is taken to need as many times more
/// than the last as that one needed more than the one before.
class Deepening {
  public:
    /// Whether another depth will end before the deadline.
    bool fits(Clock::time_point deadline) const {
        const double growth = before_ > 0 ? last_ / before_ : 1;
        const std::chrono::duration<double> left = deadline - Clock::now();
        return last_ * growth < left.count();
    }
    void done() {
        before_ = last_;
        last_ = seconds() - total_;
        total_ += last_;
    }
    double seconds() const { return std::chrono::duration<double>(Clock::now() - begin_).count(); }

  private:
    Clock::time_point begin_ = Clock::now();
    double before_ = 0;
    double last_ = 0;
    double total_ = 0;
};

class DifferentialTest : public testing::TestWithParam<Toggles> {
  protected:
    SubjectMaker machines() { return engineSubjects(IRBMC_MACHINE_LIBRARY, GetParam()); }

    void expectNone(const std::optional<Difference>& found, std::uint64_t number) {
        if (!found) return;
        const std::string lines = recording(*found, GetParam());
        FAIL() << "model and machine differ; recording " << saved(lines, number) << ":\n"
               << lines << found->what;
    }

  private:
    LittleRoom littleRoom_;
};

TEST_P(DifferentialTest, RandomEventsEndAlike) {
    Campaign campaign{GetParam()};
    rc::detail::TestParams params = rc::detail::configuration().testParams;
    const auto deadline = longDeadline();
    for (std::size_t batch = 0; deadline ? Clock::now() < *deadline : batch < batchesInCi;
         ++batch) {
        expectNone(campaign.run(machines(), params), params.seed);
        if (HasFatalFailure()) return;
        ++params.seed;
    }
    std::cout << campaign.events << " events in " << campaign.sequences << " sequences, "
              << campaign.undecided << " of them cut short" << std::endl;
}

TEST_P(DifferentialTest, NoObjectOutlivesATrial) {
    const auto before = liveObjects();
    rc::detail::TestParams params = rc::detail::configuration().testParams;
    params.maxSuccess = 5;
    expectNone(Campaign{GetParam()}.run(machines(), params), params.seed);
    EXPECT_EQ(liveObjects(), before);
}

TEST_P(DifferentialTest, EverySequenceOfTinyUniversesEndsAlike) {
    std::vector<TinyUniverse> universes = tinyUniverses();
    for (TinyUniverse& universe : universes) {
        const std::string name = universe.name;
        const auto deadline = longDeadline(universes.size());
        Exploration exploration(std::move(universe), GetParam());
        Deepening deepening;
        bool more = true;
        while (more && (deadline ? deepening.fits(*deadline)
                                 : exploration.transitions() < transitionsInCi)) {
            more = exploration.deepen();
            expectNone(exploration.walk(machines()), exploration.depth());
            if (HasFatalFailure()) return;
            deepening.done();
        }
        std::cout << name << ": depth " << exploration.depth() << (more ? "" : ", closed") << ", "
                  << exploration.states() << " states, " << exploration.transitions()
                  << " transitions, " << exploration.walkedEvents() << " events, "
                  << deepening.seconds() << " s" << std::endl;
    }
}

TEST(Recording, EveryEventReadsBackAsTheOneThatWasCompared) {
    const Universe universe = Universe::small();
    std::set<Op> seen;
    const auto sequence = sequences(universe, {});
    for (std::uint64_t seed = 0; seed < 100; ++seed) {
        for (const Event& event : sequence(rc::Random(seed), 15).value()) {
            seen.insert(event.op);
            ASSERT_TRUE(Irbmc::Replay::readEvent(toJson(event)) == toReplay(event))
                << toJson(event);
        }
    }
    EXPECT_EQ(seen.size(), static_cast<std::size_t>(Op::last));  // all but toggle
}

INSTANTIATE_TEST_SUITE_P(Toggles, DifferentialTest,
                         testing::Values(Toggles{true, true}, Toggles{true, false},
                                         Toggles{false, true}, Toggles{false, false}),
                         nameOf);

}  // namespace
}  // namespace model
