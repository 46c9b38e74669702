// Who hears of a change, and what one may do to the subscriptions from inside a reaction.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <optional>

#include "platform/Lumo/Sample.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class PublisherTest : public testing::Test {
  protected:
    Heard heard;
    Lumo::Ptr<Sample> sample = Lumo::make<Sample>();
};

TEST_F(PublisherTest, SubscribersHearInTheOrderInWhichTheySubscribed) {
    const Listener c("c", heard, *sample);
    const Listener a("a", heard, *sample);
    const Listener b("b", heard, *sample);
    sample->entryIs(1, 1);
    EXPECT_THAT(heard, ElementsAre("c:1", "a:1", "b:1"));
}

TEST_F(PublisherTest, ANotificationTellsObjectAttributeKeyAndPreviousValue) {
    sample->entryIs(7, 70);
    std::optional<int> previous;
    const Listener a("a", heard, *sample, [&](const Lumo::Notification& change) {
        EXPECT_EQ(&change.publisher, sample.get());
        EXPECT_EQ(change.attribute, Sample::entriesField);
        EXPECT_EQ(sample->entries().get(7), 71);
        previous = *change.previousAs<int>();
    });
    sample->entryIs(7, 71);
    EXPECT_EQ(previous, 70);
}

TEST_F(PublisherTest, AnEntryThatIsNewHasNoPreviousValueAndAPlainAttributeNoKey) {
    int changes = 0;
    const Listener a("a", heard, *sample, [&](const Lumo::Notification& change) {
        const bool isEntry = change.attribute == Sample::entriesField;
        EXPECT_EQ(change.previous == nullptr, isEntry);
        EXPECT_EQ(change.key == nullptr, !isEntry);
        ++changes;
    });
    sample->entryIs(7, 70);
    sample->valueIs(5);
    EXPECT_EQ(changes, 2);
}

TEST_F(PublisherTest, OneWhoUnsubscribesItselfHearsNoMoreAndTheOthersDo) {
    Listener a("a", heard, *sample, [&](const auto&) { a.stop(); });
    const Listener b("b", heard, *sample);
    sample->entryIs(1, 1);
    sample->entryIs(2, 2);
    EXPECT_THAT(heard, ElementsAre("a:1", "b:1", "b:2"));
}

TEST_F(PublisherTest, OneWhoIsUnsubscribedDuringADeliveryHearsNoMoreOfIt) {
    Listener* removed = nullptr;
    const Listener a("a", heard, *sample, [&](const auto&) { removed->stop(); });
    Listener b("b", heard, *sample);
    const Listener c("c", heard, *sample);
    removed = &b;
    sample->entryIs(1, 1);
    EXPECT_THAT(heard, ElementsAre("a:1", "c:1"));
    EXPECT_EQ(sample->publisher()->subscribers(), 2u);
}

TEST_F(PublisherTest, OneWhoHeardAlreadyCanBeUnsubscribedDuringTheDelivery) {
    Listener a("a", heard, *sample);
    const Listener b("b", heard, *sample, [&](const auto&) { a.stop(); });
    const Listener c("c", heard, *sample);
    sample->entryIs(1, 1);
    sample->entryIs(2, 2);
    EXPECT_THAT(heard, ElementsAre("a:1", "b:1", "c:1", "b:2", "c:2"));
}

TEST_F(PublisherTest, OneWhoSubscribesDuringADeliveryFirstHearsTheNext) {
    Listener b("b", heard);
    const Listener a("a", heard, *sample, [&](const auto&) {
        if (!b.isListening()) b.listenTo(*sample);
    });
    sample->entryIs(1, 1);
    EXPECT_THAT(heard, ElementsAre("a:1"));
    sample->entryIs(2, 2);
    EXPECT_THAT(heard, ElementsAre("a:1", "a:2", "b:2"));
}

TEST_F(PublisherTest, OneWhoLeavesAndComesBackDuringADeliveryHearsTheNextAsTheLast) {
    Listener* moved = nullptr;
    bool isMoved = false;
    const Listener a("a", heard, *sample, [&](const auto&) {
        if (std::exchange(isMoved, true)) return;
        moved->stop();
        moved->listenTo(*sample);
    });
    Listener b("b", heard, *sample);
    const Listener c("c", heard, *sample);
    moved = &b;
    sample->entryIs(1, 1);
    EXPECT_THAT(heard, ElementsAre("a:1", "c:1"));
    heard.clear();
    sample->entryIs(2, 2);
    EXPECT_THAT(heard, ElementsAre("a:2", "c:2", "b:2"));
}

TEST_F(PublisherTest, OneWhoComesBackInsideItsOwnReactionHearsTheNextOnce) {
    Listener a("a", heard, *sample, [&](const auto&) {
        a.stop();
        a.listenTo(*sample);
    });
    const Listener b("b", heard, *sample);
    sample->entryIs(1, 1);
    sample->entryIs(2, 2);
    EXPECT_THAT(heard, ElementsAre("a:1", "b:1", "b:2", "a:2"));
}

TEST_F(PublisherTest, OneWhoIsDestroyedDuringADeliveryHearsNoMore) {
    std::unique_ptr<Listener> destroyed;
    const Listener a("a", heard, *sample, [&](const auto&) { destroyed = nullptr; });
    destroyed = std::make_unique<Listener>("b", heard, *sample);
    const Listener c("c", heard, *sample);
    sample->entryIs(1, 1);
    EXPECT_THAT(heard, ElementsAre("a:1", "c:1"));
}

TEST_F(PublisherTest, OneWhoDestroysItselfInItsReactionHearsNoMore) {
    auto* itself = new std::unique_ptr<Listener>;
    *itself = std::make_unique<Listener>("a", heard, *sample, [itself](const auto&) {
        const std::unique_ptr<std::unique_ptr<Listener>> owner(itself);
    });
    const Listener b("b", heard, *sample);
    sample->entryIs(1, 1);
    sample->entryIs(2, 2);
    EXPECT_THAT(heard, ElementsAre("a:1", "b:1", "b:2"));
}

TEST_F(PublisherTest, EverybodyMayLeaveDuringADelivery) {
    Listener* last = nullptr;
    Listener a("a", heard, *sample, [&](const auto&) {
        a.stop();
        last->stop();
    });
    Listener b("b", heard, *sample);
    last = &b;
    sample->entryIs(1, 1);
    EXPECT_THAT(heard, ElementsAre("a:1"));
    EXPECT_EQ(sample->publisher()->subscribers(), 0u);
}

TEST_F(PublisherTest, TheObjectThatChangedMayLoseItsLastReferenceDuringItsDelivery) {
    const std::uint64_t before = Sample::live();
    Listener a("a", heard, *sample, [&](const auto&) {
        a.stop();
        sample = nullptr;
        EXPECT_EQ(Sample::live(), before);
    });
    sample->entryIs(1, 1);
    EXPECT_THAT(heard, ElementsAre("a:1"));
    EXPECT_EQ(Sample::live(), before - 1);
}

TEST_F(PublisherTest, UnsubscribingOneWhoIsNotSubscribedDoesNothing) {
    struct : Lumo::Subscriber {
        void onNotification(const Lumo::Notification&) override { FAIL(); }
    } stranger;
    sample->publisher()->subscriberDel(stranger);
    const Listener a("a", heard, *sample,
                     [&](const auto&) { sample->publisher()->subscriberDel(stranger); });
    sample->entryIs(1, 1);
    EXPECT_THAT(heard, ElementsAre("a:1"));
}

TEST_F(PublisherTest, AChangeThatNobodyListensToIsNotKept) {
    sample->entryIs(1, 1);
    const Listener a("a", heard, *sample);
    EXPECT_THAT(heard, IsEmpty());
}

TEST(PublisherDeathTest, AnObjectThatIsListenedToMustNotGo) {
    EXPECT_DEATH(
        {
            Heard heard;
            auto sample = Lumo::make<Sample>();
            const Listener a("a", heard, *sample);
            sample = nullptr;
        },
        "assertion failed: subscribers\\(\\) == 0, .*Publisher\\.cpp:");
}

}  // namespace
