// When a change is delivered, and what an error does to that.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <thread>

#include "Lumo/Delivery.h"
#include "platform/Lumo/Sample.h"

namespace {

using testing::ElementsAre;

int keyOf(const Lumo::Notification& change) {
    return change.keyAs<int>();
}

class DeliveryTest : public testing::Test {
  protected:
    ~DeliveryTest() override { EXPECT_FALSE(Lumo::Delivery::isUnderWay()); }

    /// What the step raised.
    template <class Step>
    static std::string errorOf(const Step& step) {
        try {
            step();
        } catch (const std::exception& error) {
            return error.what();
        }
        return "";
    }

    Heard heard;
    Lumo::Ptr<Sample> input = Lumo::make<Sample>();
    Lumo::Ptr<Sample> other = Lumo::make<Sample>();
};

TEST_F(DeliveryTest, AChangeIsDeliveredBeforeItsMakerGoesOn) {
    const Listener a("a", heard, *input);
    input->entryIs(1, 1);
    EXPECT_THAT(heard, ElementsAre("a:1"));
    EXPECT_FALSE(Lumo::Delivery::isUnderWay());
}

TEST_F(DeliveryTest, AChangeMadeInsideAReactionIsDeliveredAfterItHasRunToCompletion) {
    const Listener b("b", heard, *other);
    const Listener a("a", heard, *input, [&](const auto&) {
        other->entryIs(2, 2);
        EXPECT_TRUE(Lumo::Delivery::isUnderWay());
        heard.emplace_back("a done");
    });
    input->entryIs(1, 1);
    EXPECT_THAT(heard, ElementsAre("a:1", "a done", "b:2"));
}

TEST_F(DeliveryTest, AChangeOfTheSameInputReachesEverybodyAfterTheFirst) {
    const Listener a("a", heard, *input, [&](const auto& change) {
        if (keyOf(change) == 1) input->entryIs(2, 2);
    });
    const Listener b("b", heard, *input);
    input->entryIs(1, 1);
    EXPECT_THAT(heard, ElementsAre("a:1", "b:1", "a:2", "b:2"));
}

TEST_F(DeliveryTest, ChangesMadeInsideReactionsAreDeliveredInTheOrderMade) {
    const Listener a("a", heard, *input, [&](const auto& change) {
        if (keyOf(change) != 1) return;
        other->entryIs(2, 2);
        input->entryIs(3, 3);
        other->entryIs(4, 4);
    });
    const Listener b("b", heard, *other, [&](const auto& change) {
        if (keyOf(change) == 2) input->entryIs(5, 5);
    });
    input->entryIs(1, 1);
    EXPECT_THAT(heard, ElementsAre("a:1", "b:2", "a:3", "b:4", "a:5"));
}

TEST_F(DeliveryTest, AChangeThatWaitedTellsItsOwnPreviousValue) {
    std::vector<int> previous;
    const Listener b("b", heard, *other, [&](const auto& change) {
        previous.push_back(change.template previousAs<int>() ? *change.template previousAs<int>()
                                                             : -1);
    });
    const Listener a("a", heard, *input, [&](const auto&) {
        other->entryIs(2, 20);
        other->entryIs(2, 21);
        other->entryDel(2);
        other->valueIs(9);
    });
    input->entryIs(1, 1);
    EXPECT_THAT(previous, ElementsAre(-1, 20, 21, 0));
}

TEST_F(DeliveryTest, OneWhoSubscribesBeforeAWaitingChangeIsDeliveredHearsIt) {
    Listener b("b", heard);
    const Listener a("a", heard, *input, [&](const auto&) {
        other->entryIs(2, 2);
        b.listenTo(*other);
    });
    input->entryIs(1, 1);
    EXPECT_THAT(heard, ElementsAre("a:1", "b:2"));
}

TEST_F(DeliveryTest, AnObjectWhoseChangeWaitsLivesUntilItIsDelivered) {
    const std::uint64_t before = Sample::live();
    Listener b("b", heard, *other, [&](const auto&) {
        EXPECT_EQ(Sample::live(), before);
        b.stop();
    });
    const Listener a("a", heard, *input, [&](const auto&) {
        other->entryIs(2, 2);
        other = nullptr;
    });
    input->entryIs(1, 1);
    EXPECT_THAT(heard, ElementsAre("a:1", "b:2"));
    EXPECT_EQ(Sample::live(), before - 1);
}

TEST_F(DeliveryTest, WhatAnObjectDeliversItselfReachesItsObserversAtOnce) {
    const Listener b("b", heard, *other);
    const Listener a("a", heard, *input, [&](const auto&) {
        const int key = 2;
        Lumo::Delivery::deliver({*other, Sample::entriesField, &key, nullptr});
        heard.emplace_back("a done");
    });
    input->entryIs(1, 1);
    EXPECT_THAT(heard, ElementsAre("a:1", "b:2", "a done"));
}

TEST_F(DeliveryTest, AnInputThatChangesInsideADeliveryAtOnceStillWaits) {
    const Listener c("c", heard, *input);
    const Listener b("b", heard, *other, [&](const auto&) {
        input->entryIs(3, 3);
        heard.emplace_back("b done");
    });
    const int key = 2;
    Lumo::Delivery::deliver({*other, Sample::entriesField, &key, nullptr});
    EXPECT_THAT(heard, ElementsAre("b:2", "b done", "c:3"));
}

TEST_F(DeliveryTest, AnErrorEndsItsDeliveryAndReachesTheMakerOfTheChange) {
    const Listener a("a", heard, *input, [](const auto&) { throw std::runtime_error("first"); });
    const Listener b("b", heard, *input);
    EXPECT_EQ(errorOf([&] { input->entryIs(1, 1); }), "first");
    EXPECT_THAT(heard, ElementsAre("a:1"));
    EXPECT_EQ(input->entries().get(1), 1);
}

TEST_F(DeliveryTest, AfterAnErrorLaterChangesReachEverybody) {
    const Listener a("a", heard, *input, [](const auto& change) {
        if (keyOf(change) == 1) throw std::runtime_error("first");
    });
    const Listener b("b", heard, *input);
    EXPECT_EQ(errorOf([&] { input->entryIs(1, 1); }), "first");
    heard.clear();
    input->entryIs(2, 2);
    EXPECT_THAT(heard, ElementsAre("a:2", "b:2"));
    EXPECT_EQ(input->publisher()->subscribers(), 2u);
}

TEST_F(DeliveryTest, AfterAnErrorTheChangesThatWaitAreStillDelivered) {
    const Listener b("b", heard, *other);
    const Listener a("a", heard, *input, [&](const auto&) {
        other->entryIs(2, 2);
        throw std::runtime_error("first");
    });
    EXPECT_EQ(errorOf([&] { input->entryIs(1, 1); }), "first");
    EXPECT_THAT(heard, ElementsAre("a:1", "b:2"));
}

TEST_F(DeliveryTest, TheErrorOfAChangeThatWaitedReachesTheMakerOfTheFirst) {
    const Listener b("b", heard, *other, [](const auto&) { throw std::runtime_error("waited"); });
    const Listener a("a", heard, *input,
                     [&](const auto&) { EXPECT_EQ(errorOf([&] { other->entryIs(2, 2); }), ""); });
    EXPECT_EQ(errorOf([&] { input->entryIs(1, 1); }), "waited");
}

TEST_F(DeliveryTest, OfSeveralErrorsTheFirstReachesTheMaker) {
    const Listener b("b", heard, *other, [](const auto& change) {
        throw std::runtime_error("waited " + std::to_string(keyOf(change)));
    });
    const Listener a("a", heard, *input, [&](const auto&) {
        other->entryIs(2, 2);
        other->entryIs(3, 3);
    });
    EXPECT_EQ(errorOf([&] { input->entryIs(1, 1); }), "waited 2");
    EXPECT_THAT(heard, ElementsAre("a:1", "b:2", "b:3"));
}

TEST_F(DeliveryTest, AnErrorOfADeliveryAtOnceReachesTheReactionThatMadeIt) {
    const Listener b("b", heard, *other, [](const auto&) { throw std::runtime_error("inner"); });
    const Listener a("a", heard, *input, [&](const auto&) {
        const int key = 2;
        EXPECT_EQ(errorOf([&] {
                      Lumo::Delivery::deliver({*other, Sample::entriesField, &key, nullptr});
                  }),
                  "inner");
    });
    EXPECT_EQ(errorOf([&] { input->entryIs(1, 1); }), "");
}

TEST_F(DeliveryTest, OneWhoLeavesAndThenRaisesAnErrorHearsNoMore) {
    Listener a("a", heard, *input, [&](const auto&) {
        a.stop();
        throw std::runtime_error("first");
    });
    const Listener b("b", heard, *input);
    EXPECT_EQ(errorOf([&] { input->entryIs(1, 1); }), "first");
    input->entryIs(2, 2);
    EXPECT_THAT(heard, ElementsAre("a:1", "b:2"));
}

TEST_F(DeliveryTest, WhoeverLeavesDuringADeliveryAtOnceInsideAnotherHearsNoMoreOfEither) {
    Listener last("last", heard);
    const int inner = 2;
    Listener first("first", heard, *input, [&](const Lumo::Notification& change) {
        if (keyOf(change) == inner) return last.stop();
        Lumo::Delivery::deliver({*input, Sample::entriesField, &inner, nullptr});
    });
    last.listenTo(*input);
    input->entryIs(1, 1);
    EXPECT_THAT(heard, ElementsAre("first:1", "first:2"));
    EXPECT_EQ(input->publisher()->subscribers(), 1u);
}

/// Tells of its end as its last user goes.
class Farewell final : public Lumo::Object<Farewell, Lumo::Observable> {
  public:
    static const Lumo::TypeData& type() {
        static const Lumo::TypeData data("Test::Farewell");
        return data;
    }
    explicit Farewell(Lumo::Subscriber& listener) : listener_(listener) {
        publisher()->subscriberIs(listener_);
    }
    void lastUserGone() const override {
        const int key = 7;
        Lumo::Delivery::deliver({*this, Lumo::FieldId{0}, &key, nullptr});
        publisher()->subscriberDel(listener_);
    }

  private:
    Lumo::Subscriber& listener_;
};

/// Keeps the keys that it hears of.
struct KeyListener final : Lumo::Subscriber {
    std::vector<int> keys;
    void onNotification(const Lumo::Notification& change) override {
        keys.push_back(keyOf(change));
    }
};

TEST_F(DeliveryTest, AnObjectThatGoesMayStillTellOfIt) {
    KeyListener listener;
    Lumo::make<Farewell>(listener);
    EXPECT_THAT(listener.keys, ElementsAre(7));
    EXPECT_EQ(Farewell::type().allocations().live, 0u);
}

TEST_F(DeliveryTest, EachThreadHasAnOrderOfItsOwn) {
    Heard heardThere;
    const Listener a("a", heard, *input, [&](const auto&) {
        std::thread([&] {
            const auto there = Lumo::make<Sample>();
            const Listener t("t", heardThere, *there);
            there->entryIs(2, 2);
            EXPECT_THAT(heardThere, ElementsAre("t:2"));
        }).join();
    });
    input->entryIs(1, 1);
    EXPECT_THAT(heardThere, ElementsAre("t:2"));
}

TEST(DeliveryDeathTest, NothingCanWaitWhereNoDeliveryIsUnderWay) {
    EXPECT_DEATH(Lumo::Delivery::postpone([] {}), "assertion failed: isUnderWay\\(\\)");
}

}  // namespace
