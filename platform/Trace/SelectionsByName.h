#pragma once

#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "Trace/Selection.h"

namespace Trace {

/// What is written of several handles, as one text has it: the value of IRBMC_TRACE. A plain value.
struct SelectionsByName {
    /// By the handle's name. A name that is given twice has the levels and the conditions of both.
    std::map<std::string, Selection, std::less<>> selections;
    /// What is wrong with each malformed entry, for people. The other entries hold.
    std::vector<std::string> problems;

    /// Reads NAME/LEVELS and NAME/LEVELS@FILTER entries, separated by blanks or semicolons. Never
    /// fails: what is malformed is in `problems`.
    static SelectionsByName parse(std::string_view text);
};

}  // namespace Trace
