#include "model/Campaign.h"

#include <charconv>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string_view>

#include "model/Sequences.h"

namespace model {

std::optional<Difference> Campaign::run(const SubjectMaker& makeSubject,
                                        const rc::detail::TestParams& params) {
    const Universe universe = Universe::small();
    std::optional<Difference> least;
    const auto agree = [&] {
        const auto drawn = *model::sequences(universe, toggles);
        Trial trial(makeSubject, toggles);
        std::optional<std::string> what;
        for (std::size_t i = 0; i < drawn.size() && !what; ++i)
            what = trial.step(drawn[i]);
        ++sequences;
        events += trial.events().size();
        if (trial.isUndecided()) ++undecided;
        if (!what) return;
        // RapidCheck goes on from whatever fails to what is less: the last one is the least.
        least = Difference{trial.events(), *what};
        RC_FAIL(*what);
    };
    const auto result = rc::detail::checkTestable(agree, rc::detail::TestMetadata(), params);
    if (!least && !result.is<rc::detail::SuccessResult>()) {
        std::ostringstream text;
        rc::detail::printResultMessage(result, text);
        throw std::runtime_error(text.str());
    }
    return least;
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

}  // namespace model
