#pragma once

#include <atomic>
#include <cstdint>
#include <span>
#include <string_view>

#include "Rix/Export.h"
#include "Trace/Handle.h"
#include "Trace/Levels.h"
#include "Trace/ValueKind.h"

namespace Trace {

/// One place in the source that traces: what is the same about its messages each time. The trace
/// macros make one each, with static storage; nothing points at it, so a module that holds some may
/// be unloaded. Any thread may call it. A site always traces to the same handle.
class RIX_EXPORT Site {
  public:
    /// @param level    0..9
    /// @param function the name that its messages carry, or "" if each message brings its own
    consteval Site(unsigned level, const char* function, const char* format)
        : function_(function), format_(format), level_(static_cast<std::uint8_t>(level)) {
        if (level >= Levels::count) throw "trace levels are 0 to 9";
    }

    unsigned level() const { return level_; }
    std::string_view function() const { return function_; }

    /// The site's number in the ring's table of sites; the first call puts it there.
    /// @param kinds how the values of its messages lie in a record
    std::uint32_t number(const Handle& handle, std::span<const ValueKind> kinds) {
        const std::uint32_t known = number_.load(std::memory_order_acquire);
        if (known != 0) [[likely]]
            return known;
        return registered(handle, kinds);
    }

  private:
    std::uint32_t registered(const Handle& handle, std::span<const ValueKind> kinds);

    const char* const function_;
    const char* const format_;
    const std::uint8_t level_;
    std::atomic<std::uint32_t> number_{0};
};

}  // namespace Trace
