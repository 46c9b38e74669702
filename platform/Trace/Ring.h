#pragma once

#include <atomic>
#include <cstdint>
#include <string>

#include "Rix/Export.h"
#include "Trace/RecordBuffer.h"
#include "Trace/RingLayout.h"

namespace Trace {

/// The process's trace ring: the latest records in binary, always on. One per process, in private
/// memory unless a file was named for it; never destroyed. Any thread may write and none waits: a
/// record costs some tens of nanoseconds and allocates nothing. RingReader decodes it. A child that
/// is forked writes to a ring of its own if this one is in memory, and to the same one if in a
/// file.
class RIX_EXPORT Ring {
  public:
    /// See ringFileIs.
    static void fileIs(const std::string& path, std::uint32_t slotCount);

    /// The ring that records go to now.
    static Ring& current() noexcept {
        Ring* ring = current_.load(std::memory_order_acquire);
        return ring != nullptr ? *ring : first();
    }

    /// Writes the values of `record` as one record of the site with that number.
    void write(RecordType type, std::uint32_t site, std::int64_t timeNs,
               RecordBuffer& record) noexcept;

  private:
    friend class RingReader;
    friend class RingSites;

    using Word = std::atomic<std::uint64_t>;

    Ring(void* memory, std::uint32_t slotCount) noexcept;

    static Ring& first() noexcept;
    char* sites() const;

    static std::atomic<Ring*> current_;

    RingHeader* const header_;
    Word* const slots_;
    const std::uint64_t slotMask_;
};

}  // namespace Trace
