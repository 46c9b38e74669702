#pragma once

#include <rapidcheck.h>

#include <cstddef>
#include <cstdint>

namespace model {

/// RapidCheck's random numbers, as draws: the same on every machine for the same seed.
class Random {
  public:
    explicit Random(rc::Random numbers) : numbers_(numbers) {}

    /// 0..limit-1; limit is above 0 and far below 2^32.
    std::size_t below(std::size_t limit) {
        return static_cast<std::size_t>((numbers_.next() >> 32) * limit >> 32);
    }
    bool chance(unsigned percent) { return below(100) < percent; }
    template <class Range>
    const auto& of(const Range& range) {
        return *(range.begin() + static_cast<std::ptrdiff_t>(below(range.size())));
    }

  private:
    rc::Random numbers_;
};

}  // namespace model
