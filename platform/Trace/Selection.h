#pragma once

#include <string_view>

#include "Rix/Export.h"
#include "Trace/Filter.h"
#include "Trace/Levels.h"

namespace Trace {

/// Which messages of a handle are written as text: those of these levels that the filter takes. A
/// plain value.
struct RIX_EXPORT Selection {
    Levels levels;
    Filter filter;

    /// LEVELS or LEVELS@FILTER: "8", "0-9@vlan=10,vrf=red".
    /// @throws std::invalid_argument for any other text, quoting the part that is wrong
    static Selection parse(std::string_view text);

    friend bool operator==(const Selection&, const Selection&) = default;
};

}  // namespace Trace
