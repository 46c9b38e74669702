#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "model/Generator.h"
#include "model/Trial.h"

namespace model {

/// Many random trials, one after the other, each with a mix of its own. Each is determined by its
/// own seed, which is drawn from the campaign's.
struct Campaign {
    Toggles toggles;
    std::uint64_t seed = 0;
    std::size_t maxEvents = SIZE_MAX;
    std::chrono::steady_clock::time_point deadline = std::chrono::steady_clock::time_point::max();

    // Results.
    std::size_t trials = 0;
    std::size_t events = 0;
    std::size_t undecided = 0;  ///< trials cut short, see Trial::isUndecided

    /// Runs until enough events have happened, or the time is over. The first difference ends it,
    /// shrunk.
    std::optional<Difference> run(const SubjectMaker& makeSubject);
};

/// Where a recording of the difference was saved, for a message: a new file among the temporary
/// ones, to be kept.
std::string saved(const std::string& recording, std::uint64_t seed);

/// The number in an environment variable, or nothing.
std::optional<std::uint64_t> environmentNumber(const char* name);

/// The seed to begin with: that of IRBMC_SEED, or a random one.
std::uint64_t campaignSeed();

}  // namespace model
