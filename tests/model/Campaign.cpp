#include "model/Campaign.h"

#include <charconv>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>
#include <string_view>
#include <utility>
#include <vector>

#include "model/Events.h"

namespace model {

namespace {

/// A membership in each VRF that no rule touches, its interface being none that the machine looks
/// at: statuses that never go empty are not made anew time and again, which is slow.
std::vector<Event> anchors(const Universe& universe) {
    std::vector<Event> events;
    for (const std::string& vrf : universe.vrfs)
        events.push_back(events::ofTable(Op::tableSet, vrf, 1, "vlan4096"));
    return events;
}

/// One trial: mostly over a planned fabric, of a length between a handful of events and thousands.
std::optional<Difference> runTrial(const SubjectMaker& makeSubject, Campaign& campaign,
                                   const Universe& universe, std::uint64_t seed) {
    Random random(seed);
    const Mix mix = Mix::drawn(random);
    const bool planned = random.chance(75);
    const bool anchored = random.chance(60);
    const std::size_t length = 20 + random.below(random.chance(20) ? 5000 : 500);
    Generator generator(universe, mix, random);
    Trial trial(makeSubject, campaign.toggles);
    std::vector<Event> prelude = planned ? generator.plan() : std::vector<Event>();
    if (anchored) {
        for (Event& event : anchors(universe))
            prelude.push_back(std::move(event));
    }
    std::optional<std::string> what;
    for (std::size_t i = 0; i < prelude.size() && !what; ++i)
        what = trial.step(prelude[i]);
    while (!what && trial.events().size() < length && !trial.isUndecided())
        what = trial.step(generator.next(trial.model()));
    ++campaign.trials;
    campaign.events += trial.events().size();
    if (trial.isUndecided()) ++campaign.undecided;
    if (!what) return std::nullopt;
    return Difference{trial.events(), *what};
}

}  // namespace

std::optional<Difference> Campaign::run(const SubjectMaker& makeSubject) {
    const Universe universe = Universe::small();
    Random seeds(seed);
    while (events < maxEvents && std::chrono::steady_clock::now() < deadline) {
        if (auto found = runTrial(makeSubject, *this, universe, seeds.next())) {
            return shrunk(makeSubject, toggles, std::move(*found));
        }
    }
    return std::nullopt;
}

std::string saved(const std::string& recording, std::uint64_t seed) {
    const std::filesystem::path path = std::filesystem::temp_directory_path() /
                                       ("irbmc-difference-" + std::to_string(seed) + ".jsonl");
    std::ofstream(path) << recording;
    return path.string();
}

std::optional<std::uint64_t> environmentNumber(const char* name) {
    const char* text = std::getenv(name);
    if (text == nullptr) return std::nullopt;
    const std::string_view digits(text);
    std::uint64_t number = 0;
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), number);
    if (error != std::errc() || end != digits.data() + digits.size()) return std::nullopt;
    return number;
}

std::uint64_t campaignSeed() {
    if (const auto seed = environmentNumber("IRBMC_SEED")) return *seed;
    return std::random_device()();
}

}  // namespace model
