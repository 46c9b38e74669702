// What tracing costs the code that traces. Each figure is to be read against the floor that is
// measured beside it: an empty loop for a level that is not enabled, one reading of the clock for a
// record of the ring, which holds the time.
#include <benchmark/benchmark.h>

#include "Trace/Trace.h"

namespace {

Trace::Handle& handle() {
    static Trace::Handle& handle = Trace::Handle::get("TraceBench");
    return handle;
}

void emptyLoop(benchmark::State& state) {
    std::uint32_t value = 0;
    for ([[maybe_unused]] auto step : state)
        benchmark::DoNotOptimize(++value);
}
BENCHMARK(emptyLoop);

void disabledText(benchmark::State& state) {
    const Trace::Handle& silent = handle();
    std::uint32_t value = 0;
    for ([[maybe_unused]] auto step : state) {
        benchmark::DoNotOptimize(++value);
        TRACE_TEXT(silent, 8, "f", "{}", std::to_string(value));
    }
}
BENCHMARK(disabledText);

void clockReading(benchmark::State& state) {
    for ([[maybe_unused]] auto step : state)
        benchmark::DoNotOptimize(Trace::wallClockNs());
}
BENCHMARK(clockReading);

void ringCount(benchmark::State& state) {
    std::uint32_t value = 0;
    for ([[maybe_unused]] auto step : state)
        TRACE(handle(), 8, "f", "deleted: {}", ++value);
}
BENCHMARK(ringCount);

/// The longest of the messages that are written for each join.
void ringMembership(benchmark::State& state) {
    const L3::VrfName vrf("red");
    const Ondel::IpGenAddr source = Ondel::IpGenAddr::parse("10.0.0.1").value();
    const Ondel::IpGenAddr group = Ondel::IpGenAddr::parse("239.1.1.1").value();
    const Ondel::IntfId intf("vlan10");
    const auto mode = Routing::Gmp::Tessel::FilterMode::include;
    const auto app = Routing::Gmp::Tessel::App::irb;
    for ([[maybe_unused]] auto step : state) {
        TRACE(handle(), 7, "addMembership",
              "addMembership: Add gmpStatus: {}- ( {}, {}, {} , {} ) {}", vrf, source, group, intf,
              mode, app);
    }
}
BENCHMARK(ringMembership);

void ringBlock(benchmark::State& state) {
    for ([[maybe_unused]] auto step : state) {
        TRACE_BLOCK(handle(), "void Sm::handleSbdVlanToVrf(U32)");
    }
}
BENCHMARK(ringBlock);

}  // namespace

BENCHMARK_MAIN();
