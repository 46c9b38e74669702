// The machine against the model: random sequences of events, and every sequence of a few.
// IRBMC_LONG_SECONDS makes each test run that long; IRBMC_EVENTS says how many random events there
// are otherwise; IRBMC_SEED repeats a run.
#include <gtest/gtest.h>

#include <iostream>
#include <set>
#include <vector>

#include "Lumo/TypeData.h"
#include "Replay/EventReader.h"
#include "model/Campaign.h"
#include "model/EngineSubject.h"
#include "model/Exploration.h"
#include "model/TinyUniverses.h"

namespace model {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t eventsInCi = 250'000;
constexpr std::size_t transitionsInCi = 4'000;

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

class DifferentialTest : public testing::TestWithParam<Toggles> {
  protected:
    SubjectMaker machines() { return engineSubjects(IRBMC_MACHINE_LIBRARY, GetParam()); }

    void expectNone(const std::optional<Difference>& found, std::uint64_t seed) {
        if (!found) return;
        const std::string lines = recording(*found, GetParam());
        FAIL() << "model and machine differ; recording " << saved(lines, seed) << ":\n"
               << lines << found->what;
    }
};

TEST_P(DifferentialTest, RandomEventsEndAlike) {
    Campaign campaign;
    campaign.toggles = GetParam();
    campaign.seed = campaignSeed();
    if (const auto deadline = longDeadline()) {
        campaign.deadline = *deadline;
    } else {
        campaign.maxEvents = environmentNumber("IRBMC_EVENTS").value_or(eventsInCi);
    }
    std::cout << "IRBMC_SEED=" << campaign.seed << std::endl;
    const auto found = campaign.run(machines());
    std::cout << campaign.events << " events in " << campaign.trials << " trials, "
              << campaign.undecided << " of them cut short" << std::endl;
    expectNone(found, campaign.seed);
}

TEST_P(DifferentialTest, NoObjectOutlivesATrial) {
    const auto before = liveObjects();
    Campaign campaign;
    campaign.toggles = GetParam();
    campaign.seed = campaignSeed();
    campaign.maxEvents = 5'000;
    expectNone(campaign.run(machines()), campaign.seed);
    EXPECT_EQ(liveObjects(), before);
}

TEST_P(DifferentialTest, EverySequenceOfTinyUniversesEndsAlike) {
    std::vector<TinyUniverse> universes = tinyUniverses();
    for (TinyUniverse& universe : universes) {
        const std::string name = universe.name;
        const auto deadline = longDeadline(universes.size());
        Exploration exploration(std::move(universe), GetParam());
        bool more = true;
        while (more && (deadline ? Clock::now() < *deadline
                                 : exploration.transitions() < transitionsInCi)) {
            more = exploration.deepen();
            expectNone(exploration.walk(machines()), exploration.depth());
            if (HasFatalFailure()) return;
        }
        std::cout << name << ": depth " << exploration.depth() << (more ? "" : ", closed") << ", "
                  << exploration.states() << " states, " << exploration.transitions()
                  << " transitions, " << exploration.walkedEvents() << " events" << std::endl;
    }
}

TEST(Recording, EveryEventReadsBackAsTheOneThatWasCompared) {
    const Universe universe = Universe::small();
    std::set<Op> seen;
    for (std::uint64_t seed = 0; seed < 100; ++seed) {
        Random random(seed);
        const Mix mix = Mix::drawn(random);
        Generator generator(universe, mix, random);
        Model model;
        for (int i = 0; i < 100; ++i) {
            const Event event = generator.next(model);
            model.apply(event);
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
