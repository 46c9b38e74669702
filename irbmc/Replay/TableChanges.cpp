#include "Replay/TableChanges.h"

namespace Irbmc::Replay {

void TableChanges::note(const MembershipPlace& place, std::optional<JoinMode> before,
                        std::optional<JoinMode> after) {
    const auto [change, isFirst] = changes_.try_emplace(place, Modes{before, after});
    if (!isFirst) change->second.after = after;
}

void TableChanges::moveTo(Outcome& outcome) {
    for (const auto& [place, modes] : changes_) {
        const auto& [before, after] = modes;
        if (before == after) continue;
        if (!before) {
            outcome.added.push_back({place, *after});
        } else if (!after) {
            outcome.removed.push_back({place, *before});
        } else {
            outcome.changed.push_back({place, *after});
        }
    }
    changes_.clear();
}

}  // namespace Irbmc::Replay
