#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "Rix/Export.h"
#include "Trace/Filter.h"
#include "Trace/Levels.h"
#include "Trace/Selection.h"

namespace Trace {

/// A named source of trace messages, and which of its levels are written as text. The process
/// owns one object per name and never destroys it, so a reference may be kept for ever, static
/// destructors included. Any thread may call anything, at any time.
///
/// Levels start as the environment variable IRBMC_TRACE has them when the process first asks for a
/// handle: NAME/LEVELS or NAME/LEVELS@FILTER, several of them separated by blanks or semicolons,
/// for example IRBMC_TRACE='Pim::MembershipJoinStatusSm/2,3,7@vlan=10,vrf=red' (see Filter). What
/// is malformed in it is reported once, on standard error, and the rest holds. A name that is not
/// mentioned starts with no level enabled; one that nobody has is reported when the process exits.
class RIX_EXPORT Handle {
  public:
    /// The handle of that name, made on first use.
    static Handle& get(std::string_view name);

    /// Switches every handle of the process, those that are still to come included: those that the
    /// text names, as IRBMC_TRACE would, get what it says of them, and all others get nothing. For
    /// an agent that lets its operator switch traces while it runs.
    /// @throws std::invalid_argument saying what is malformed; nothing is changed then
    static void selectionsAre(std::string_view text);
    /// The names that IRBMC_TRACE, or selectionsAre since, gave and that no handle has so far.
    static std::vector<std::string> unknownNames();

    Handle(const Handle&) = delete;
    Handle& operator=(const Handle&) = delete;

    std::string_view name() const { return name_; }

    /// The levels that are written as text. The ring buffer gets every message, whatever they are.
    Levels levels() const { return Levels::fromBits(levels_.load(std::memory_order_relaxed)); }
    void levelsIs(Levels levels) { levels_.store(levels.bits(), std::memory_order_relaxed); }
    /// Both the levels and the filter.
    void selectionIs(const Selection& selection);
    /// Whether the filter takes a message of these values; only asked where its level is enabled.
    template <class... Values>
    bool takes(const Values&... values) const {
        const std::shared_ptr<const Filter> filter = this->filter();
        return !filter || filter->takes(values...);
    }
    bool isEnabled(unsigned level) const noexcept {
        return (levels_.load(std::memory_order_relaxed) >> level & 1u) != 0;
    }

  private:
    Handle(std::string_view name, const Selection& selection);
    /// Null if every message is taken.
    std::shared_ptr<const Filter> filter() const;

    const std::string name_;
    std::atomic<std::uint16_t> levels_{0};
    mutable std::mutex filterMutex_;
    std::shared_ptr<const Filter> filter_;
};

}  // namespace Trace
