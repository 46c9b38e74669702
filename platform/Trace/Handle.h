#pragma once

#include <atomic>
#include <cstdint>
#include <string>
#include <string_view>

#include "Trace/Levels.h"

namespace Trace {

/// A named source of trace messages, and which of its levels are written as text. The process
/// owns one object per name and never destroys it, so a reference may be kept for ever, static
/// destructors included. Any thread may call anything, at any time.
///
/// Levels start as the environment variable IRBMC_TRACE has them when the process first asks for a
/// handle: NAME/LEVELS, several of them separated by blanks or semicolons, for example
/// IRBMC_TRACE='Pim::MembershipJoinStatusSm/2,3,7'. What is malformed in it is reported once, on
/// standard error, and the rest holds. A name that is not mentioned starts with no level enabled.
class Handle {
  public:
    /// The handle of that name, made on first use.
    static Handle& get(std::string_view name);

    Handle(const Handle&) = delete;
    Handle& operator=(const Handle&) = delete;

    std::string_view name() const { return name_; }

    /// The levels that are written as text. The ring buffer gets every message, whatever they are.
    Levels levels() const { return Levels::fromBits(levels_.load(std::memory_order_relaxed)); }
    void levelsIs(Levels levels) { levels_.store(levels.bits(), std::memory_order_relaxed); }
    bool isEnabled(unsigned level) const noexcept {
        return (levels_.load(std::memory_order_relaxed) >> level & 1u) != 0;
    }

  private:
    Handle(std::string_view name, Levels levels) : name_(name), levels_(levels.bits()) {}

    const std::string name_;
    std::atomic<std::uint16_t> levels_;
};

}  // namespace Trace
