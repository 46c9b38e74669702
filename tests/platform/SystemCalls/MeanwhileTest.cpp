// What a writer does between two steps of a reader is taken for what it is: wherever it comes,
// nothing that is sound is called damaged, nothing is missed that is there all along, and nothing
// met twice.
#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <functional>
#include <optional>
#include <set>
#include <utility>

#include "../Tessel/Fixture.h"
#include "FailingCalls.h"
#include "FailingMemory.h"
#include "Routing/Gmp/Tessel/Storage/Format.h"

namespace Tessel::Test {

namespace {

namespace Storage = Routing::Gmp::Tessel::Storage;

/// Does something, and something else at one moment of it: before or after a call of the operating
/// system, or before an allocation.
/// @returns whether it had so many moments
bool doMeanwhile(std::uint64_t moment, const std::function<void()>& other,
                 const std::function<void()>& action) {
    std::uint64_t left = moment;
    const auto pass = [&] {
        if (left == 0 || --left != 0) return;
        const bool isCounted = std::exchange(memory.isCounted, false);
        const bool areCounted = std::exchange(calls.isCounted, false);
        other();
        memory.isCounted = isCounted;
        calls.isCounted = areCounted;
    };
    memory.before = pass;
    calls.before = calls.after = [&](std::string_view) { pass(); };
    memory.isCounted = calls.isCounted = true;
    action();
    memory.isCounted = calls.isCounted = false;
    memory.before = nullptr;
    calls = {};
    return left == 0;
}

using Texts = std::vector<std::string>;

/// A table of the statuses red and blue, with a reader that has met red.
struct Scene {
    static constexpr std::uint32_t count = 50;

    Scene() {
        for (std::uint32_t i = 0; i < count; ++i) {
            red->membershipIs(include(numberedKey(i)));
            blue->membershipIs(include(numberedKey(i)));
        }
    }
    StatusReader& seen() { return status.emplace(reader.status(vrf("red")).value()); }
    static void add(const Lumo::Ptr<Status>& to, std::uint32_t number) {
        for (std::uint32_t i = count; i < count + number; ++i)
            to->membershipIs(include(numberedKey(i)));
    }

    const TempDirectory directory;
    const Lumo::Ptr<StatusColl> coll = StatusColl::open(directory.path(), {}, TableOptions{1024});
    const Lumo::Ptr<Status> red = statusOf(*coll, vrf("red"));
    const Lumo::Ptr<Status> blue = statusOf(*coll, vrf("blue"));
    TableReader reader{directory.path()};
    std::optional<StatusReader> status;
};

/// What a writer may do meanwhile.
struct Event {
    const char* name;
    void (*happen)(Scene& scene);
    bool isRedThere;
};

const Event events[] = {
    {"its status grows", [](Scene& scene) { Scene::add(scene.red, 60); }, true},
    {"others take the pages that it left",
     [](Scene& scene) {
         Scene::add(scene.red, 60);
         Scene::add(scene.blue, 60);
         for (std::uint32_t i = 0; i < 4; ++i)
             Scene::add(statusOf(*scene.coll, vrf("v" + std::to_string(i))), 1);
     },
     true},
    {"the file grows", [](Scene& scene) { Scene::add(scene.red, 12000); }, true},
    {"all is removed and put back the other way round",
     [](Scene& scene) {
         for (std::uint32_t i = 0; i < Scene::count; ++i)
             scene.red->membershipDel(numberedKey(i));
         for (std::uint32_t i = Scene::count; i-- > 0;)
             scene.red->membershipIs(include(numberedKey(i)));
     },
     false},
    {"its status goes", [](Scene& scene) { scene.coll->gmpStatusDel(vrf("red")); }, false},
    {"its status goes and comes back",
     [](Scene& scene) {
         scene.coll->gmpStatusDel(vrf("red"));
         Scene::add(statusOf(*scene.coll, vrf("red")), 10);
     },
     false},
    {"statuses come and go",
     [](Scene& scene) {
         for (std::uint32_t i = 0; i < 30; ++i)
             statusOf(*scene.coll, vrf("v" + std::to_string(i)));
         for (std::uint32_t i = 0; i < 30; i += 2)
             scene.coll->gmpStatusDel(vrf("v" + std::to_string(i)));
     },
     true},
};

/// Lets each event come at each moment of an action.
/// @param prepare makes what the action is done with
void forEachMoment(const std::function<void(Scene&)>& prepare,
                   const std::function<void(Scene&, const Event&)>& action) {
    for (const Event& event : events) {
        std::uint64_t moment = 1;
        for (bool isOver = false; !isOver; ++moment) {
            SCOPED_TRACE(std::string(event.name) + " at moment " + std::to_string(moment));
            Scene scene;
            prepare(scene);
            isOver = !doMeanwhile(
                moment, [&] { event.happen(scene); }, [&] { action(scene, event); });
            EXPECT_EQ(scene.reader.faults(), Texts());
            if (::testing::Test::HasFailure()) return;
        }
        EXPECT_GT(moment, 3u);
    }
}

TEST(Meanwhile, AWalkMeetsEachMembershipOnceAndNoDamage) {
    forEachMoment([](Scene& scene) { scene.seen(); },
                  [](Scene& scene, const Event& event) {
                      std::multiset<RouteIntfKey> met;
                      for (const Membership& membership : *scene.status)
                          met.insert(membership.key());
                      EXPECT_EQ(scene.status->damage(), Texts());
                      for (auto key = met.begin(); key != met.end(); key = met.upper_bound(*key))
                          EXPECT_EQ(met.count(*key), 1u) << numberOf(*key);
                      for (std::uint32_t i = 0; event.isRedThere && i < Scene::count; ++i)
                          EXPECT_EQ(met.count(numberedKey(i)), 1u) << i;
                  });
}

TEST(Meanwhile, AMembershipThatIsThereIsFound) {
    forEachMoment([](Scene& scene) { scene.seen(); },
                  [](Scene& scene, const Event& event) {
                      const auto reading = scene.status->membership(numberedKey(7));
                      EXPECT_EQ(reading.damage, "");
                      if (event.isRedThere) {
                          EXPECT_TRUE(reading.isPresent);
                      }
                  });
}

TEST(Meanwhile, StatusesAreListedWithoutDamage) {
    forEachMoment([](Scene&) {},
                  [](Scene& scene, const Event& event) {
                      const auto statuses = scene.reader.statuses();
                      EXPECT_EQ(statuses.damage, Texts());
                      std::multiset<std::string> names;
                      for (const StatusReader& status : statuses.readers)
                          names.insert(status.key().name());
                      EXPECT_EQ(names.count("blue.irb"), 1u);
                      EXPECT_LE(names.count("red.irb"), 1u);
                      if (event.isRedThere) {
                          EXPECT_EQ(names.count("red.irb"), 1u);
                      }
                  });
}

TEST(Meanwhile, ChangesAreToldOrTheTableIsToBeWalked) {
    const auto prepare = [](Scene& scene) { scene.red->membershipDel(numberedKey(3)); };
    forEachMoment(prepare, [](Scene& scene, const Event&) {
        const auto changes = scene.reader.changes();
        EXPECT_TRUE(changes.isWalkNeeded || !changes.changes.empty());
    });
}

TEST(Meanwhile, ACheckFindsNoFault) {
    forEachMoment([](Scene&) {},
                  [](Scene& scene, const Event&) { EXPECT_EQ(scene.reader.faults(), Texts()); });
}

TEST(Meanwhile, AStatusThatChangesForEverIsCalledSo) {
    Scene scene;
    StatusReader& status = scene.seen();
    // The word of the root changes whenever the reader asks how long the file is.
    const int file = open(scene.directory.table().c_str(), O_RDWR | O_CLOEXEC);
    const auto page = static_cast<off_t>(Storage::Dimensions{1024}.statusPage());
    const auto pageBytes = static_cast<off_t>(Storage::pageBytes);
    void* const entries = mmap(nullptr, Storage::pageBytes, PROT_READ | PROT_WRITE, MAP_SHARED,
                               file, page * pageBytes);
    ASSERT_NE(entries, MAP_FAILED);
    auto* const root =
        static_cast<std::uint64_t*>(entries) + offsetof(Storage::StatusEntry, root) / 8;
    const std::uint64_t sound = *root;
    calls.only = "fstat";
    calls.before = [&](std::string_view) { *root += std::uint64_t{1} << 32; };
    calls.isCounted = true;
    const auto met = sorted(status);
    const auto reading = status.membership(numberedKey(1));
    calls = {};
    EXPECT_TRUE(met.empty());
    ASSERT_EQ(status.damage().size(), 1u);
    EXPECT_TRUE(status.damage()[0].ends_with("changes too fast to be read"));
    EXPECT_TRUE(reading.damage.ends_with("changes too fast to be read"));
    *root = sound;
    EXPECT_EQ(sorted(status).size(), Scene::count);
    munmap(entries, Storage::pageBytes);
    close(file);
}

TEST(Meanwhile, AListThatChangesForEverIsReadAllTheSame) {
    Scene scene;
    std::uint32_t times = 0;
    memory.before = [&] {
        if (++times > 10000) return;
        statusOf(*scene.coll, vrf("green"));
        scene.coll->gmpStatusDel(vrf("green"));
    };
    memory.isCounted = true;
    const auto statuses = scene.reader.statuses();
    memory.isCounted = false;
    memory.before = nullptr;
    EXPECT_LT(times, 10000u);
    EXPECT_EQ(statuses.damage, Texts());
    EXPECT_EQ(statuses.readers.size(), 2u);
}

}  // namespace

}  // namespace Tessel::Test
