// What a change costs in memory: this program counts its allocations.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <new>

#include "platform/Lumo/Sample.h"

namespace {

thread_local std::uint64_t allocations = 0;

}  // namespace

void* operator new(std::size_t bytes) {
    ++allocations;
    if (void* memory = std::malloc(bytes == 0 ? 1 : bytes)) return memory;
    throw std::bad_alloc();
}

void operator delete(void* memory) noexcept {
    std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}

namespace {

struct Counter final : Lumo::Subscriber {
    int heard = 0;
    void onNotification(const Lumo::Notification&) override { ++heard; }
};

TEST(Allocation, AChangeIsDeliveredWithoutOne) {
    const auto sample = Lumo::make<Sample>();
    sample->entryIs(1, 1);
    Counter a;
    Counter b;
    sample->publisher()->subscriberIs(a);
    sample->publisher()->subscriberIs(b);
    const std::uint64_t before = allocations;
    for (int value = 2; value < 100; ++value) {
        sample->entryIs(1, value);
        sample->valueIs(value);
    }
    EXPECT_EQ(allocations, before);
    EXPECT_EQ(a.heard + b.heard, 4 * 98);
    sample->publisher()->subscriberDel(a);
    sample->publisher()->subscriberDel(b);
}

TEST(Allocation, CopyingAReferenceAndWalkingACollectionNeedNone) {
    const auto sample = Lumo::make<Sample>();
    for (int key = 0; key < 100; ++key)
        sample->entryIs(key, key);
    const std::uint64_t before = allocations;
    const Lumo::Ptr<const Sample> copy = sample;
    int sum = 0;
    for (const auto [key, value] : copy->entries())
        sum += value;
    EXPECT_EQ(sum, 4950);
    EXPECT_EQ(allocations, before);
}

}  // namespace
