// Memory runs out in a machine's life, at each allocation in turn.
#include <gtest/gtest.h>

#include <cstdint>

#include "FailingMemory.h"
#include "MembershipJoinStatusSm/SmTrace.h"
#include "Pim/Life.h"

namespace Irb::Multicast::Ingress::Detail {
namespace {

/// Lives a life in which memory runs out at one allocation.
/// @param allocation its number, from 1; 0 for none
/// @param staysOut whether memory is out until the change that was under way was given up
/// @returns whether there were so many allocations
bool liveWithout(std::uint64_t allocation, bool staysOut) {
    Life life;
    smTrace().levelsIs({});
    memory.left = allocation;
    memory.staysOut = staysOut;
    memory.ranOut = false;
    life.before = [] { memory.isCounted = true; };
    life.after = [] {
        memory.isCounted = false;
        if (memory.ranOut) memory.left = 0;
    };
    life.live();
    life.expectRecovery();
    return memory.ranOut;
}

/// Every piece of memory that a life without fail uses is given back; so it is after one with.
void runOutAtEach(bool staysOut) {
    liveWithout(0, staysOut);
    std::uint64_t allocation = 1;
    for (;;) {
        // Messages that were never traced before stay known to the trace: what is left then must
        // not be left again.
        liveWithout(allocation, staysOut);
        const std::int64_t before = memory.pieces;
        const bool ranOut = liveWithout(allocation, staysOut);
        ASSERT_EQ(memory.pieces, before) << "leaked, at allocation " << allocation;
        ASSERT_FALSE(testing::Test::HasFailure()) << "at allocation " << allocation;
        if (!ranOut) break;
        ++allocation;
    }
    EXPECT_GT(allocation, 100u) << "hardly anything was tried";
}

TEST(AllocationFailure, AtAnyOneAllocationLeaksNothingAndTheNextMachineRecovers) {
    runOutAtEach(false);
}

TEST(AllocationFailure, FromAnyAllocationToTheEndOfAChangeLeaksNothingAndTheNextMachineRecovers) {
    runOutAtEach(true);
}

}  // namespace
}  // namespace Irb::Multicast::Ingress::Detail
