#include "Trace/Levels.h"

#include <stdexcept>

namespace Trace {

namespace {

bool isLevel(char c) {
    return c >= '0' && c <= '9';
}

/// The levels of one part of a list, "3" or "2-5"; the empty set if it is neither.
Levels partLevels(std::string_view part) {
    const bool single = part.size() == 1 && isLevel(part[0]);
    const bool range = part.size() == 3 && isLevel(part[0]) && part[1] == '-' && isLevel(part[2]);
    Levels levels;
    if (!single && !range) return levels;
    for (char c = part.front(); c <= part.back(); ++c) {
        levels = levels | Levels::of(static_cast<unsigned>(c - '0'));
    }
    return levels;
}

}  // namespace

Levels Levels::parse(std::string_view text) {
    Levels levels;
    for (std::size_t begin = 0; begin <= text.size();) {
        const std::size_t comma = std::min(text.find(',', begin), text.size());
        const std::string_view part = text.substr(begin, comma - begin);
        const Levels more = partLevels(part);
        if (more == Levels()) {
            throw std::invalid_argument("trace levels '" + std::string(text) + "': '" +
                                        std::string(part) +
                                        "' is neither a level 0..9 nor a range such as 2-5");
        }
        levels = levels | more;
        begin = comma + 1;
    }
    return levels;
}

}  // namespace Trace
