// A reader that has other things to wait for, too, and one that is told to stop waiting.
#include <poll.h>

#include <chrono>
#include <memory>
#include <thread>

#include "Fixture.h"
#include "Process.h"
#include "Routing/Gmp/Tessel/TableGoneError.h"

namespace Tessel::Test {

namespace {

using namespace std::chrono_literals;

class ChangeDescriptor : public ::testing::Test {
  protected:
    static bool isReadable(int descriptor, std::chrono::milliseconds timeout) {
        struct pollfd entry = {descriptor, POLLIN, 0};
        return poll(&entry, 1, static_cast<int>(timeout.count())) == 1;
    }

    const TempDirectory directory;
    const Lumo::Ptr<StatusColl> coll = StatusColl::open(directory.path());
    const Lumo::Ptr<Status> red = statusOf(*coll, vrf("red"));
    TableReader reader{directory.path()};
    const int descriptor = reader.changeDescriptor();
};

TEST_F(ChangeDescriptor, IsReadableFromAChangeToTheQuestionWhatChanged) {
    EXPECT_FALSE(isReadable(descriptor, 0ms));
    for (std::uint32_t i = 0; i < 100; ++i) {
        red->membershipIs(include(numberedKey(i)));
        ASSERT_TRUE(isReadable(descriptor, 20s));
        ASSERT_TRUE(isReadable(descriptor, 0ms));
        ASSERT_EQ(reader.changes().changes.size(), 1u);
        ASSERT_FALSE(isReadable(descriptor, 0ms));
    }
    EXPECT_EQ(reader.changeDescriptor(), descriptor);
}

TEST_F(ChangeDescriptor, MissesNoChangeThatComesWhileItIsAsked) {
    std::thread writing([&] {
        for (std::uint32_t i = 0; i < 3000; ++i) {
            red->membershipIs(include(numberedKey(i)));
            std::this_thread::yield();
        }
    });
    for (std::size_t met = 0; met < 3000;) {
        ASSERT_TRUE(isReadable(descriptor, 20s)) << met;
        met += reader.changes().changes.size();
    }
    writing.join();
    EXPECT_FALSE(isReadable(descriptor, 0ms));
}

TEST_F(ChangeDescriptor, IsReadableAtOnceWhereTheReaderIsBehind) {
    TableReader late(directory.path());
    red->membershipIs(include(numberedKey(1)));
    EXPECT_TRUE(isReadable(late.changeDescriptor(), 20s));
}

TEST_F(ChangeDescriptor, IsReadableWhenTheTableIsGoneUntilTheReaderIsToldSo) {
    std::filesystem::remove(directory.path() / "writer");
    ASSERT_TRUE(isReadable(descriptor, 2s));
    const auto followUntilTold = [&] {
        while (isReadable(descriptor, 2s))
            static_cast<void>(reader.changes());
    };
    EXPECT_THROW(followUntilTold(), Routing::Gmp::Tessel::TableGoneError);
}

TEST_F(ChangeDescriptor, ServesATableOfTheSameProcess) {
    const auto own = StatusColl::anonymous();
    const auto blue = statusOf(*own, vrf("blue"));
    TableReader beside(*own);
    EXPECT_FALSE(isReadable(beside.changeDescriptor(), 0ms));
    blue->membershipIs(include(numberedKey(1)));
    EXPECT_TRUE(isReadable(beside.changeDescriptor(), 20s));
}

TEST_F(ChangeDescriptor, DoesNotHoldUpAForkedProcessThatLetsTheReaderGo) {
    auto kept = std::make_unique<TableReader>(directory.path());
    static_cast<void>(kept->changeDescriptor());
    Process child([&] { kept = nullptr; });
    EXPECT_TRUE(child.endedWell());
    red->membershipIs(include(numberedKey(1)));
    EXPECT_TRUE(isReadable(kept->changeDescriptor(), 20s));
}

TEST(CancelledReader, WaitsNoLongerNorEverAgain) {
    const TempDirectory directory;
    const auto coll = StatusColl::open(directory.path());
    for (int i = 0; i < 200; ++i) {
        TableReader reader(directory.path());
        std::thread waiting([&] { EXPECT_FALSE(reader.waitForChange()); });
        if (i % 2 == 0) std::this_thread::yield();
        reader.cancel();
        waiting.join();
        EXPECT_FALSE(reader.waitForChange());
    }
}

}  // namespace

}  // namespace Tessel::Test
