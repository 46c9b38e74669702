// Objects that follow another: when they hear of its changes.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>

#include "Rix/NotifieeConst.h"
#include "platform/Lumo/Sample.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

/// Follows a sample, and writes down which entries changed.
class Follower final : public Lumo::Object<Follower, Rix::NotifieeConst<Sample>> {
  public:
    static const Lumo::TypeData& type() {
        static const Lumo::TypeData data("Test::Follower");
        return data;
    }
    explicit Follower(const Lumo::Ptr<const Sample>& sample) { follow(sample); }

    void onAttribute(Lumo::FieldId, const void* key) override {
        heard.push_back(*static_cast<const int*>(key));
        if (reaction) reaction();
    }
    void rixDoZombieReactors(bool) override {}
    void sampleIs(const Lumo::Ptr<const Sample>& sample) { follow(sample); }

    std::vector<int> heard;
    std::function<void()> reaction;
};

class Notifiee : public testing::Test {
  protected:
    Lumo::Ptr<Sample> sample = Lumo::make<Sample>();
    Lumo::Ptr<Follower> follower = Lumo::make<Follower>(sample);

    void listen() {
        follower->isRegisteredNotifieeIs(true);
        follower->hasNotificationActiveIs(true);
    }
};

TEST_F(Notifiee, FreshlyMadeHearsNothing) {
    sample->entryIs(1, 1);
    EXPECT_THAT(follower->heard, IsEmpty());
    EXPECT_EQ(sample->publisher()->subscribers(), 0u);
}

TEST_F(Notifiee, HearsOnlyWhileItIsRegisteredAndItsNotificationsAreActive) {
    follower->isRegisteredNotifieeIs(true);
    sample->entryIs(1, 1);
    follower->hasNotificationActiveIs(true);
    sample->entryIs(2, 2);
    follower->isRegisteredNotifieeIs(false);
    sample->entryIs(3, 3);
    follower->isRegisteredNotifieeIs(true);
    sample->entryIs(4, 4);
    follower->hasNotificationActiveIs(false);
    sample->entryIs(5, 5);
    EXPECT_THAT(follower->heard, ElementsAre(2, 4));
}

TEST_F(Notifiee, RegisteringItOnceMoreDoesNothing) {
    listen();
    follower->isRegisteredNotifieeIs(true);
    sample->entryIs(1, 1);
    EXPECT_THAT(follower->heard, ElementsAre(1));
}

TEST_F(Notifiee, FollowsAnotherObjectOnlyWhenItRegistersAnew) {
    listen();
    const auto other = Lumo::make<Sample>();
    follower->sampleIs(other);
    EXPECT_EQ(sample->publisher()->subscribers(), 0u);
    EXPECT_EQ(sample->references(), 1u);
    other->entryIs(1, 1);
    EXPECT_THAT(follower->heard, IsEmpty());
    follower->isRegisteredNotifieeIs(true);
    other->entryIs(2, 2);
    sample->entryIs(3, 3);
    EXPECT_THAT(follower->heard, ElementsAre(2));
}

TEST_F(Notifiee, MayFollowNothing) {
    listen();
    follower->sampleIs(nullptr);
    follower->isRegisteredNotifieeIs(true);
    follower->isRegisteredNotifieeIs(false);
    EXPECT_FALSE(follower->notifier());
    EXPECT_EQ(sample->publisher()->subscribers(), 0u);
}

TEST_F(Notifiee, SwitchedOffDuringADeliveryHearsNoMoreOfIt) {
    Heard heard;
    const Listener first("a", heard, *sample,
                         [&](const auto&) { follower->hasNotificationActiveIs(false); });
    listen();
    sample->entryIs(1, 1);
    EXPECT_THAT(follower->heard, IsEmpty());
}

TEST_F(Notifiee, LivesUntilItsReactionIsDoneAndIsUnregisteredThen) {
    listen();
    const std::uint64_t before = Follower::type().allocations().live;
    Follower* raw = follower.get();
    raw->reaction = [&] {
        follower = nullptr;
        EXPECT_EQ(Follower::type().allocations().live, before);
        raw->heard.push_back(99);
    };
    sample->entryIs(1, 1);
    EXPECT_EQ(Follower::type().allocations().live, before - 1);
    EXPECT_EQ(sample->publisher()->subscribers(), 0u);
}

}  // namespace
