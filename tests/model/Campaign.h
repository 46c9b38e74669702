#pragma once

#include <rapidcheck.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "model/Trial.h"

namespace model {

/// Random sequences of events, made by RapidCheck, each a trial.
struct Campaign {
    Toggles toggles;

    // Results, of all runs together.
    std::size_t sequences = 0;
    std::size_t events = 0;
    std::size_t undecided = 0;  ///< sequences cut short, see Trial::isUndecided

    /// The first difference ends it, shrunk.
    /// @throws std::runtime_error if RapidCheck could not do its work, with what it says
    std::optional<Difference> run(const SubjectMaker& makeSubject,
                                  const rc::detail::TestParams& params);
};

/// Where a recording of the difference was saved, for a message: a new file among the temporary
/// ones, to be kept.
std::string saved(const std::string& recording, std::uint64_t seed);

/// The number in an environment variable, or nothing.
std::optional<std::uint64_t> environmentNumber(const char* name);

}  // namespace model
