// The protocol of waiting on a real machine, as fast as it can.
#include <gtest/gtest.h>

#include <string>
#include <thread>

#include "WaitingSteps.h"

namespace Tessel::Test {

namespace {

TEST(Waiting, LosesNoChangeUnderLoad) {
    constexpr std::uint64_t wanted = 20'000;
    Waiting::Memory memory;
    const std::atomic<bool> isOver{false};
    std::thread one([&] { Waiting::readChanges(memory, 0, 1, wanted, isOver); });
    std::thread other([&] { Waiting::readChanges(memory, 1, 2, wanted, isOver); });
    Waiting::makeChanges(memory, 3);
    one.join();
    other.join();
    EXPECT_EQ(memory.lost, 0u) << "of " << memory.waits << " waits, " << memory.sleeps << " sleeps";
    EXPECT_GE(memory.waits, wanted);
    EXPECT_GT(memory.sleeps, 0u);
    RecordProperty("sleeps", std::to_string(memory.sleeps));
}

}  // namespace

}  // namespace Tessel::Test
