#pragma once

#include <map>
#include <optional>

#include "Replay/Outcome.h"

namespace Irbmc::Replay {

/// Sums up the changes of the table during one event: a membership that came and went is no
/// change. Owned by the engine; one thread.
class TableChanges {
  public:
    /// A membership had one mode, or was not there, and now has another, or is gone.
    void note(const MembershipPlace& place, std::optional<JoinMode> before,
              std::optional<JoinMode> after);
    /// Puts the net effect since the last call into the outcome's three lists, and forgets it.
    void moveTo(Outcome& outcome);

  private:
    struct Modes {
        std::optional<JoinMode> before;
        std::optional<JoinMode> after;
    };
    struct PlaceOrder {
        bool operator()(const MembershipPlace& left, const MembershipPlace& right) const {
            return placeOrder(left, right);
        }
    };

    std::map<MembershipPlace, Modes, PlaceOrder> changes_;
};

}  // namespace Irbmc::Replay
