#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <limits>
#include <string_view>

#include "Trace/RingLayout.h"

namespace Trace {

/// One ring record while it is being put together, on the stack of the thread that traces. Values
/// are added in the message's order; from the first that does not fit, nothing more is taken.
// The words are left as they are: only those that were filled are ever read.
class RecordBuffer {  // NOLINT(cppcoreguidelines-pro-type-member-init)
  public:
    /// `size` bytes as they are, or nothing if they do not fit.
    void addBytes(const void* bytes, std::size_t size) noexcept {
        if (isFull_ || size > room()) {
            isFull_ = true;
            return;
        }
        // An empty text may come without bytes at all, which memcpy must not see.
        if (size != 0) std::memcpy(payload() + used_, bytes, size);
        used_ += size;
    }

    template <class Number>
    void addNumber(Number number) noexcept {
        addBytes(&number, sizeof number);
    }

    /// A text: its length and as many of its bytes as fit.
    void addText(std::string_view text) noexcept {
        constexpr std::size_t most = std::numeric_limits<std::uint16_t>::max();
        addNumber(static_cast<std::uint16_t>(std::min(text.size(), most)));
        const std::size_t fitting = isFull_ ? 0 : std::min(text.size(), room());
        addBytes(text.data(), fitting);
        isFull_ = isFull_ || fitting < text.size();
    }

  private:
    friend class Ring;

    std::size_t room() const { return ringPayloadBytes - used_; }
    std::uint8_t* payload() {
        return reinterpret_cast<std::uint8_t*>(words_.data() + ringHeadWords);
    }

    std::array<std::uint64_t, ringSlotWords> words_;
    std::size_t used_ = 0;
    bool isFull_ = false;
};

}  // namespace Trace
