#pragma once

#include <cstdint>

#include "Rix/Export.h"
#include "Trace/Handle.h"
#include "Trace/Site.h"

namespace Trace {

/// A stretch of execution as the ring has it: a record when it begins and one, with its duration,
/// when it ends, on whichever way out. It writes no text, whatever levels are enabled. TRACE_BLOCK
/// makes one that lasts to the end of the enclosing scope, on the stack of the thread that runs it.
class RIX_EXPORT Block {
  public:
    /// @param site its function is the operation's full signature
    Block(Site& site, const Handle& handle);
    Block(const Block&) = delete;
    Block& operator=(const Block&) = delete;
    ~Block();

  private:
    const std::uint32_t site_;
    const std::int64_t beganNs_;
    const std::int64_t beganSteadyNs_;
};

}  // namespace Trace
