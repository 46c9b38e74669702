// Keyed collections: their order, and what may happen to them while they are walked.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <list>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <type_traits>
#include <vector>

#include "Rix/Collection.h"
#include "platform/Lumo/Sample.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

/// A key whose hash is that of every other, so that all of them collide.
struct Colliding {
    int number;
    friend bool operator==(Colliding, Colliding) = default;
};

}  // namespace

template <>
struct std::hash<Colliding> {
    std::size_t operator()(Colliding) const noexcept { return 5; }
};

namespace {

using Collection = Rix::Collection<int, std::string>;
using Texts = std::vector<std::string>;

void fill(Collection& collection, int first, int last) {
    for (int key = first; key <= last; ++key)
        collection.valueIs(key, "v" + std::to_string(key));
}

/// What a walk meets: "key=value", in order. `step` is done at each entry.
template <class Step>
Texts walk(Collection& collection, const Step& step) {
    Texts met;
    for (const auto [key, value] : collection) {
        met.push_back(std::to_string(key) + "=" + value);
        step(key);
    }
    return met;
}

Texts walk(Collection& collection) {
    return walk(collection, [](int) {});
}

TEST(Collection, HoldsWhatWasPutUnderAKey) {
    Collection collection;
    EXPECT_TRUE(collection.empty());
    collection.valueIs(1, "a");
    EXPECT_EQ(collection.size(), 1u);
    EXPECT_TRUE(collection.contains(1));
    EXPECT_EQ(*collection.find(1), "a");
    EXPECT_EQ(collection.get(1), "a");
    EXPECT_EQ(collection.del(1), "a");
    EXPECT_TRUE(collection.empty());
}

TEST(Collection, AnswersTheDefaultValueForAKeyThatIsNotThere) {
    Collection collection;
    fill(collection, 1, 20);
    EXPECT_FALSE(collection.contains(21));
    EXPECT_EQ(collection.find(21), nullptr);
    EXPECT_EQ(collection.get(21), "");
    EXPECT_EQ(collection.del(21), "");
    EXPECT_EQ(collection.size(), 20u);
}

TEST(Collection, HandsOutObjectsThatMayOnlyBeReadWhereItMayOnlyBeReadItself) {
    Rix::Collection<int, Lumo::Ptr<Sample>> collection;
    collection.valueIs(1, Lumo::make<Sample>());
    const auto& readOnly = collection;
    EXPECT_TRUE((std::is_same_v<decltype(readOnly.get(1)), Lumo::Ptr<const Sample>>));
    EXPECT_TRUE((std::is_same_v<decltype(collection.get(1)), Lumo::Ptr<Sample>>));
    for (const auto [key, object] : readOnly)
        EXPECT_TRUE((std::is_same_v<decltype(object), const Lumo::Ptr<const Sample>>));
    EXPECT_EQ(readOnly.get(1), collection.get(1));
    EXPECT_FALSE(readOnly.get(2));
}

TEST(Collection, IsWalkedInTheOrderOfInsertion) {
    Collection collection;
    for (const int key : {5, 1, 9, 3})
        collection.valueIs(key, "v");
    EXPECT_THAT(walk(collection), ElementsAre("5=v", "1=v", "9=v", "3=v"));
}

TEST(Collection, AnEntryThatIsReplacedKeepsItsPlace) {
    Collection collection;
    fill(collection, 1, 3);
    collection.valueIs(1, "new");
    EXPECT_THAT(walk(collection), ElementsAre("1=new", "2=v2", "3=v3"));
    EXPECT_EQ(collection.size(), 3u);
}

TEST(Collection, AnEntryThatLeftAndCameBackIsLast) {
    Collection collection;
    fill(collection, 1, 3);
    collection.del(1);
    collection.valueIs(1, "back");
    EXPECT_THAT(walk(collection), ElementsAre("2=v2", "3=v3", "1=back"));
}

TEST(Collection, KeepsItsOrderBeyondTheSizeAtWhichItIsIndexedAndSwept) {
    Collection collection;
    fill(collection, 1, 100);
    for (int key = 1; key <= 100; ++key) {
        if (key % 25 != 0) collection.del(key);
    }
    collection.valueIs(7, "back");
    EXPECT_THAT(walk(collection), ElementsAre("25=v25", "50=v50", "75=v75", "100=v100", "7=back"));
    EXPECT_EQ(collection.get(50), "v50");
    EXPECT_FALSE(collection.contains(51));
}

TEST(Collection, FindsKeysWhoseHashesCollide) {
    Rix::Collection<Colliding, int> collection;
    for (int key = 0; key < 50; ++key)
        collection.valueIs({key}, key);
    for (int key = 0; key < 50; key += 2)
        EXPECT_EQ(collection.del({key}), key);
    for (int key = 0; key < 50; ++key)
        EXPECT_EQ(collection.contains({key}), key % 2 == 1) << key;
}

TEST(Collection, TheCurrentEntryMayLeaveDuringAWalk) {
    Collection collection;
    fill(collection, 1, 3);
    EXPECT_THAT(walk(collection, [&](int key) { collection.del(key); }),
                ElementsAre("1=v1", "2=v2", "3=v3"));
    EXPECT_TRUE(collection.empty());
    EXPECT_THAT(walk(collection), IsEmpty());
}

TEST(Collection, AnEntryThatLeavesDuringAWalkIsNotMetAnyMore) {
    Collection collection;
    fill(collection, 1, 4);
    EXPECT_THAT(walk(collection,
                     [&](int key) {
                         if (key != 2) return;
                         collection.del(1);
                         collection.del(3);
                     }),
                ElementsAre("1=v1", "2=v2", "4=v4"));
}

TEST(Collection, AnEntryThatComesDuringAWalkIsMetLast) {
    Collection collection;
    fill(collection, 1, 3);
    EXPECT_THAT(walk(collection,
                     [&](int key) {
                         if (key == 1) collection.valueIs(9, "new");
                         if (key == 9) collection.valueIs(8, "newer");
                     }),
                ElementsAre("1=v1", "2=v2", "3=v3", "9=new", "8=newer"));
}

TEST(Collection, AnEntryThatIsReplacedDuringAWalkIsMetInItsPlaceWithItsNewValue) {
    Collection collection;
    fill(collection, 1, 3);
    EXPECT_THAT(walk(collection,
                     [&](int key) {
                         if (key != 2) return;
                         collection.valueIs(1, "new");
                         collection.valueIs(3, "new");
                     }),
                ElementsAre("1=v1", "2=v2", "3=new"));
}

TEST(Collection, AnEntryThatLeavesAndComesBackDuringAWalkIsMetLast) {
    Collection collection;
    fill(collection, 1, 3);
    EXPECT_THAT(walk(collection,
                     [&](int key) {
                         if (key != 1) return;
                         collection.del(2);
                         collection.valueIs(2, "back");
                     }),
                ElementsAre("1=v1", "3=v3", "2=back"));
}

TEST(Collection, EveryEntryMayLeaveAtOnceDuringAWalk) {
    Collection collection;
    fill(collection, 1, 100);
    EXPECT_THAT(walk(collection,
                     [&](int) {
                         for (int key = 1; key <= 100; ++key)
                             collection.del(key);
                     }),
                ElementsAre("1=v1"));
    EXPECT_TRUE(collection.empty());
}

TEST(Collection, MayGrowPastItsIndexDuringAWalk) {
    Collection collection;
    fill(collection, 1, 1);
    const Texts met = walk(collection, [&](int key) {
        if (key < 1000) collection.valueIs(key + 1, "v" + std::to_string(key + 1));
    });
    EXPECT_EQ(met.size(), 1000u);
    EXPECT_EQ(met.back(), "1000=v1000");
    EXPECT_EQ(collection.get(500), "v500");
}

TEST(Collection, TwoWalksDoNotDisturbEachOther) {
    Collection collection;
    fill(collection, 1, 3);
    Texts inner;
    const Texts outer = walk(collection, [&](int key) {
        if (key != 1) return;
        inner = walk(collection, [&](int other) { collection.del(other == 2 ? 2 : 0); });
    });
    EXPECT_THAT(inner, ElementsAre("1=v1", "2=v2", "3=v3"));
    EXPECT_THAT(outer, ElementsAre("1=v1", "3=v3"));
}

TEST(Collection, AWalkThatIsLeftEarlyLeavesTheCollectionFreeToSweep) {
    Collection collection;
    fill(collection, 1, 100);
    for (const auto [key, value] : collection) {
        if (key == 3) break;
    }
    for (int key = 1; key < 100; ++key)
        collection.del(key);
    EXPECT_THAT(walk(collection), ElementsAre("100=v100"));
}

TEST(Collection, AnEntryThatWasHandedOutOutlivesItsRemoval) {
    Rix::Collection<int, Lumo::Ptr<Sample>> collection;
    const std::uint64_t before = Sample::live();
    collection.valueIs(1, Lumo::make<Sample>());
    for (const auto [key, object] : collection) {
        collection.del(key);
        EXPECT_EQ(Sample::live(), before + 1);
        EXPECT_EQ(object->references(), 1u);
    }
    EXPECT_EQ(Sample::live(), before);
}

/// Looks at the collection that it is in when it goes.
struct Witness {
    std::function<void()> atEnd;
    ~Witness() {
        if (atEnd) atEnd();
    }
};

TEST(Collection, AValueThatIsReplacedGoesWhenTheNewOneIsInPlace) {
    Rix::Collection<int, std::shared_ptr<Witness>> collection;
    const auto next = std::make_shared<Witness>();
    bool wasSeen = false;
    collection.valueIs(
        1, std::make_shared<Witness>(Witness{[&] { wasSeen = collection.get(1) == next; }}));
    wasSeen = false;
    collection.valueIs(1, next);
    EXPECT_TRUE(wasSeen);
}

TEST(Collection, AValueThatLeavesGoesWhenItsEntryIsGone) {
    Rix::Collection<int, std::shared_ptr<Witness>> collection;
    bool isGone = false;
    collection.valueIs(1, std::make_shared<Witness>());
    collection.get(1)->atEnd = [&] { isGone = !collection.contains(1); };
    collection.del(1);
    EXPECT_TRUE(isGone);
}

/// The plainest thing that behaves like a collection: a map, and the keys in the order of
/// insertion.
struct Reference {
    std::map<int, int> values;
    std::list<int> order;

    void valueIs(int key, int value) {
        if (!values.contains(key)) order.push_back(key);
        values[key] = value;
    }
    void del(int key) {
        if (values.erase(key) != 0) order.remove(key);
    }
};

TEST(Collection, BehavesLikeAMapWithAListThroughRandomChanges) {
    for (unsigned seed = 1; seed <= 20; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        std::mt19937 random(seed);
        Rix::Collection<int, int> collection;
        Reference reference;
        for (int step = 0; step < 2000; ++step) {
            const int key = static_cast<int>(random() % (1 + seed * 7));
            // It grows for a while, then shrinks, so that it is indexed, swept and unindexed.
            const unsigned insertions = step / 500 % 2 == 0 ? 7 : 2;
            if (random() % 10 < insertions) {
                collection.valueIs(key, step);
                reference.valueIs(key, step);
            } else {
                EXPECT_EQ(collection.del(key),
                          reference.values.contains(key) ? reference.values.at(key) : 0);
                reference.del(key);
            }
            ASSERT_EQ(collection.size(), reference.values.size());
            ASSERT_EQ(collection.contains(key), reference.values.contains(key));
            if (step % 50 != 0) continue;
            std::list<int> order;
            for (const auto [met, value] : collection) {
                order.push_back(met);
                ASSERT_EQ(value, reference.values.at(met));
            }
            ASSERT_EQ(order, reference.order);
        }
    }
}

}  // namespace
