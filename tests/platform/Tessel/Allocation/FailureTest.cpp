// Memory runs out while a table is opened and written, at each allocation in turn.
#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <iterator>
#include <new>

#include "../Fixture.h"
#include "FailingMemory.h"

namespace Tessel::Test {
namespace {

/// Does something, and lets the allocation of that number fail, if there are so many.
/// @returns whether there were so many
bool doWithout(std::uint64_t allocation, const std::function<void()>& action) {
    memory.ranOut = false;
    memory.left = allocation;
    memory.isCounted = true;
    try {
        action();
    } catch (const std::bad_alloc&) {
        EXPECT_TRUE(memory.ranOut);
    }
    memory.isCounted = false;
    memory.left = 0;
    return memory.ranOut;
}

std::ptrdiff_t openFiles() {
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"),
                         std::filesystem::directory_iterator());
}

TEST(TableWithoutMemory, IsNotOpenedAndLeavesNoFileOpenAndNoLock) {
    const TempDirectory directory;
    const auto open = [&] { static_cast<void>(StatusColl::open(directory.path())); };
    statusOf(*StatusColl::open(directory.path()), vrf("red"))
        ->membershipIs(include(numberedKey(1)));
    const auto files = openFiles();
    std::uint64_t allocation = 1;
    for (; doWithout(allocation, open); ++allocation)
        ASSERT_EQ(openFiles(), files) << "at allocation " << allocation;
    EXPECT_GT(allocation, 10u);
    const auto coll = StatusColl::open(directory.path());
    EXPECT_EQ(coll->gmpStatus(vrf("red"))->memberships(), 1u);
}

TEST(TableWithoutMemory, IsMadeWholeOrNotAtAll) {
    const TempDirectory directory;
    const auto open = [&] { static_cast<void>(StatusColl::open(directory.path())); };
    std::uint64_t allocation = 1;
    for (; doWithout(allocation, open); ++allocation) {
        ASSERT_FALSE(std::filesystem::exists(directory.path() / "table.new"));
        ASSERT_EQ(StatusColl::open(directory.path())->gmpStatuses(), 0u);
        std::filesystem::remove(directory.table());
    }
    EXPECT_GT(allocation, 10u);
}

TEST(TableWithoutMemory, TakesNoStatusAndNoPagesForIt) {
    const TempDirectory directory;
    const auto coll = StatusColl::open(directory.path());
    const auto size = std::filesystem::file_size(directory.table());
    const auto blue = Lumo::make<Status>("blue");
    const auto add = [&] { coll->gmpStatusIs(vrf("blue"), blue); };
    // Often enough for the file to grow, were as much as a page forgotten each time.
    for (int round = 0; round < 500; ++round) {
        for (std::uint64_t allocation = 1; doWithout(allocation, add); ++allocation) {
            ASSERT_EQ(coll->gmpStatuses(), blue->isStored() ? 1u : 0u);
            coll->gmpStatusDel(vrf("blue"));
        }
        ASSERT_EQ(coll->gmpStatuses(), 1u);
        coll->gmpStatusDel(vrf("blue"));
    }
    EXPECT_EQ(std::filesystem::file_size(directory.table()), size);
}

}  // namespace
}  // namespace Tessel::Test
