#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "model/Table.h"

namespace model {

struct TraceLine {
    int level = 0;
    std::string function;
    std::string text;

    friend auto operator<=>(const TraceLine&, const TraceLine&) = default;
};

/// Why an event was not carried out to its end: the message of the error.
struct Refusal {
    std::string message;
};

/// What one event did, beside the table that it left.
struct Answer {
    std::optional<std::string> error;
    std::vector<TraceLine> trace;
    /// How many reads reported corruption.
    int corruptions = 0;

    /// The lines [walkBegin, walkEnd) come from the walk over an old table, whose order is the
    /// table's own: only which lines there are is known, not their order.
    std::size_t walkBegin = 0;
    std::size_t walkEnd = 0;
    /// The walk met an error. How far it had come, so which lines were written and which of
    /// `walkMayDelete`'s entries went, depends on the table's order; the lines are those of a walk
    /// that would have gone on.
    bool walkCut = false;
    /// What the table held when such a walk began.
    Table walkedTable;
    /// Corruption was read during the walk, by whichever entry came first.
    bool walkCorrupt = false;
};

}  // namespace model
