// The two clocks of the trace.
#pragma once

#include <cstdint>
#include <ctime>

namespace Trace {

/// Nanoseconds since the epoch: when something happened, to be set beside other logs.
inline std::int64_t wallClockNs() noexcept {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    return std::int64_t{now.tv_sec} * 1'000'000'000 + now.tv_nsec;
}

/// Nanoseconds of a clock that nobody sets: how long something took.
inline std::int64_t steadyClockNs() noexcept {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return std::int64_t{now.tv_sec} * 1'000'000'000 + now.tv_nsec;
}

}  // namespace Trace
