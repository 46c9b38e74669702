#pragma once

#include <cstddef>
#include <cstdint>

namespace model {

/// A small, fast generator of numbers, the same on every machine for the same seed (splitmix64).
class Random {
  public:
    explicit Random(std::uint64_t seed) : state_(seed) {}

    std::uint64_t next() {
        state_ += 0x9e3779b97f4a7c15u;
        std::uint64_t z = state_;
        z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9u;
        z = (z ^ (z >> 27)) * 0x94d049bb133111ebu;
        return z ^ (z >> 31);
    }
    /// 0..limit-1; limit is above 0 and far below 2^32.
    std::size_t below(std::size_t limit) {
        return static_cast<std::size_t>((next() >> 32) * limit >> 32);
    }
    bool chance(unsigned percent) { return below(100) < percent; }
    template <class Range>
    const auto& of(const Range& range) {
        return *(range.begin() + static_cast<std::ptrdiff_t>(below(range.size())));
    }

  private:
    std::uint64_t state_;
};

}  // namespace model
