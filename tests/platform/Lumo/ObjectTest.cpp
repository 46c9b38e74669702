// Objects: references, the end of an object, and what is counted of a type.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "Lumo/Object.h"
#include "Lumo/Ptr.h"
#include "Rix/Assert.h"

namespace {

using testing::ElementsAre;

/// Writes down how it ends.
class Mortal final : public Lumo::Object<Mortal> {
  public:
    static const Lumo::TypeData& type() {
        static const Lumo::TypeData data("Test::Mortal");
        return data;
    }
    explicit Mortal(std::vector<std::string>* end = nullptr, bool fails = false) : end_(end) {
        EXPECT_EQ(references(), 1u);
        if (fails) throw std::runtime_error("refused");
    }
    ~Mortal() override { note("destroyed with " + std::to_string(references())); }
    void lastUserGone() const override { note("last user gone"); }

    void flagsAre(bool active, bool zombie) {
        notificationActiveFlagIs(active);
        zombieFlagIs(zombie);
    }

  private:
    void note(const std::string& text) const {
        if (end_) end_->push_back(text);
    }
    std::vector<std::string>* end_;
};

class Other final : public Lumo::Object<Other> {
  public:
    static const Lumo::TypeData& type() {
        static const Lumo::TypeData data("Test::Other");
        return data;
    }
};

TEST(Object, LivesAsLongAsAReferenceToIt) {
    std::vector<std::string> end;
    auto first = Lumo::make<Mortal>(&end);
    EXPECT_EQ(first->references(), 1u);
    auto second = first;
    EXPECT_EQ(first->references(), 2u);
    first = nullptr;
    EXPECT_EQ(second->references(), 1u);
    EXPECT_TRUE(end.empty());
    second = nullptr;
    EXPECT_THAT(end, ElementsAre("last user gone", "destroyed with 0"));
}

TEST(Object, IsFreshlyMadeNeitherActiveNorReaped) {
    const auto object = Lumo::make<Mortal>();
    EXPECT_FALSE(object->hasNotificationActive());
    EXPECT_FALSE(object->isZombie());
    object->flagsAre(true, false);
    EXPECT_TRUE(object->hasNotificationActive());
    EXPECT_FALSE(object->isZombie());
    object->flagsAre(false, true);
    EXPECT_FALSE(object->hasNotificationActive());
    EXPECT_TRUE(object->isZombie());
}

TEST(Object, WithoutPublisherIsListenedToByNobodyAndFollowsNobody) {
    const auto object = Lumo::make<Mortal>();
    EXPECT_EQ(object->publisher(), nullptr);
    object->isRegisteredNotifieeIs(true);
    EXPECT_EQ(object->references(), 1u);
}

TEST(Ptr, IsCountedWhenItIsCopiedAndNotWhenItIsMoved) {
    const auto object = Lumo::make<Mortal>();
    const Lumo::Ptr<Mortal> copy(object);
    EXPECT_EQ(object->references(), 2u);
    Lumo::Ptr<Mortal> source(object);
    const Lumo::Ptr<Mortal> moved(std::move(source));
    EXPECT_EQ(object->references(), 3u);
    Lumo::Ptr<Mortal> assigned;
    assigned = moved;
    assigned = *&assigned;
    EXPECT_EQ(object->references(), 4u);
}

TEST(Ptr, OfADerivedTypeOrToReadIsTheSameReference) {
    Lumo::Ptr<Mortal> object = Lumo::make<Mortal>();
    const Lumo::Ptr<const Mortal> readOnly = object;
    const Lumo::Ptr<const Lumo::Node> node = readOnly;
    EXPECT_EQ(object->references(), 3u);
    EXPECT_EQ(node.get(), object.get());
}

TEST(Ptr, CanGiveItsReferenceAwayAndTakeOneOver) {
    auto object = Lumo::make<Mortal>();
    Mortal* raw = object.release();
    EXPECT_FALSE(object);
    EXPECT_EQ(raw->references(), 1u);
    const auto again = Lumo::Ptr<Mortal>::adopt(raw);
    EXPECT_EQ(again->references(), 1u);
}

TEST(Ptr, IsNullOrEqualToAnotherOfTheSameObject) {
    const auto object = Lumo::make<Mortal>();
    const Lumo::Ptr<Mortal> same = object;
    const Lumo::Ptr<Mortal> null;
    EXPECT_TRUE(object == same);
    EXPECT_FALSE(object == Lumo::make<Mortal>());
    EXPECT_FALSE(object == nullptr);
    EXPECT_TRUE(null == nullptr);
    EXPECT_FALSE(static_cast<bool>(null));
}

TEST(Ptr, IsCastToTheTypeOfItsObjectAndToNoOther) {
    const Lumo::Ptr<const Lumo::Node> node = Lumo::make<Mortal>();
    EXPECT_EQ(Lumo::dynamicCast<const Mortal>(node).get(), node.get());
    EXPECT_FALSE(Lumo::dynamicCast<const Other>(node));
    EXPECT_FALSE(Lumo::dynamicCast<const Other>(Lumo::Ptr<const Lumo::Node>()));
    EXPECT_EQ(node->references(), 1u);
}

TEST(PtrDeathTest, ANullPtrMustNotBeDereferenced) {
    const Lumo::Ptr<Mortal> null;
    EXPECT_DEATH(static_cast<void>(null->isZombie()), "assertion failed: object_, .*Ptr\\.h:");
    EXPECT_DEATH(static_cast<void>((*null).isZombie()), "assertion failed: object_, .*Ptr\\.h:");
}

TEST(AssertDeathTest, AFailedAssertionTellsItsTextItsFileAndItsLine) {
    const int swans = 2;
    const std::string line = std::to_string(__LINE__ + 1);
    EXPECT_DEATH(RIX_ASSERT(swans == 3),
                 "assertion failed: swans == 3, .*ObjectTest\\.cpp:" + line + "\n");
}

TEST(Allocations, CountWhatLivesWhatEverWasAndItsBytes) {
    const auto before = Mortal::type().allocations();
    {
        const auto first = Lumo::make<Mortal>();
        const auto second = Lumo::make<Mortal>();
        const auto during = Mortal::type().allocations();
        EXPECT_EQ(during.live, before.live + 2);
        EXPECT_EQ(during.ever, before.ever + 2);
        EXPECT_EQ(during.liveBytes, before.liveBytes + 2 * sizeof(Mortal));
    }
    const auto after = Mortal::type().allocations();
    EXPECT_EQ(after.live, before.live);
    EXPECT_EQ(after.ever, before.ever + 2);
    EXPECT_EQ(after.liveBytes, before.liveBytes);
}

TEST(Allocations, AnObjectWhoseConstructorFailsIsUncountedAgain) {
    const auto before = Mortal::type().allocations();
    EXPECT_THROW(Lumo::make<Mortal>(nullptr, true), std::runtime_error);
    EXPECT_EQ(Mortal::type().allocations().live, before.live);
    EXPECT_EQ(Mortal::type().allocations().ever, before.ever);
    EXPECT_EQ(Mortal::type().allocations().liveBytes, before.liveBytes);
}

TEST(Allocations, AreThoseOfEachTypeByItself) {
    const auto before = Other::type().allocations().live;
    const auto object = Lumo::make<Mortal>();
    EXPECT_EQ(Other::type().allocations().live, before);
}

/// Switches to thread-safe references for one test.
class ThreadSafeReferences : public testing::Test {
  protected:
    ThreadSafeReferences() { Lumo::threadSafeReferencesIs(true); }
    ~ThreadSafeReferences() override { Lumo::threadSafeReferencesIs(false); }
};

TEST_F(ThreadSafeReferences, AreCountedRightByManyThreadsAtOnce) {
    const auto object = Lumo::make<Mortal>();
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&object] {
            for (int copies = 0; copies < 20000; ++copies)
                const Lumo::Ptr<Mortal> copy(object);
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(object->references(), 1u);
}

TEST_F(ThreadSafeReferences, TheLastOneToGoOnWhateverThreadDestroysTheObjectOnce) {
    for (int round = 0; round < 200; ++round) {
        std::vector<std::string> end;
        auto object = Lumo::make<Mortal>(&end);
        std::thread other([mine = object]() mutable { mine = nullptr; });
        object = nullptr;
        other.join();
        ASSERT_EQ(end.size(), 2u);
    }
}

TEST_F(ThreadSafeReferences, ObjectsAreCountedRightWhenManyThreadsMakeThem) {
    const auto before = Mortal::type().allocations();
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([] {
            for (int made = 0; made < 1000; ++made)
                Lumo::make<Mortal>();
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(Mortal::type().allocations().live, before.live);
    EXPECT_EQ(Mortal::type().allocations().ever, before.ever + 4000);
}

}  // namespace
