#pragma once

#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "Trace/Levels.h"

namespace Trace {

/// The levels of several handles as one text has them: the value of IRBMC_TRACE. A plain value.
struct LevelsByName {
    /// Levels by the handle's name. A name that is given twice has the levels of both.
    std::map<std::string, Levels, std::less<>> levels;
    /// What is wrong with each malformed entry, for people. The other entries hold.
    std::vector<std::string> problems;

    /// Reads NAME/LEVELS entries, separated by blanks or semicolons. Never fails: what is
    /// malformed is in `problems`.
    static LevelsByName parse(std::string_view text);
};

}  // namespace Trace
