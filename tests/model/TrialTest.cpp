// The comparison itself: what it finds, and how small it makes what it found.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "model/Events.h"
#include "model/Exploration.h"
#include "model/Sequences.h"
#include "model/TinyUniverses.h"
#include "model/Trial.h"

namespace model {
namespace {

using namespace events;

/// A subject that is a model, of which one thing can be made wrong.
class ModelSubject : public Subject {
  public:
    using Fault = std::function<void(const Event&, Model&, Observation&)>;
    explicit ModelSubject(Fault fault) : fault_(std::move(fault)) {}

    Observation apply(const Event& event) override {
        const Answer answer = model_.apply(event);
        Observation seen{answer.error.value_or(""), answer.trace,
                         static_cast<std::size_t>(answer.corruptions)};
        if (fault_) fault_(event, model_, seen);
        return seen;
    }
    Table table() const override { return model_.table(); }

  private:
    Model model_;
    Fault fault_;
};

SubjectMaker faulty(ModelSubject::Fault fault) {
    return [fault = std::move(fault)] { return std::make_unique<ModelSubject>(fault); };
}

std::vector<Event> generated(std::uint64_t seed) {
    static const Universe universe = Universe::small();
    return sequences(universe, {})(rc::Random(seed), 20).value();
}

TEST(Trial, AModelAgreesWithItself) {
    for (std::uint64_t seed = 0; seed < 200; ++seed) {
        const auto found = tryEvents(faulty({}), {}, generated(seed));
        ASSERT_FALSE(found) << "seed " << seed << "\n" << found->what;
    }
}

TEST(Trial, AWrongErrorTraceCountOrTableIsADifference) {
    const std::vector<Event> one{start()};
    EXPECT_TRUE(tryEvents(faulty([](const Event&, Model&, Observation& seen) { seen.error = "x"; }),
                          {}, one));
    EXPECT_TRUE(tryEvents(
        faulty([](const Event&, Model&, Observation& seen) { seen.trace.pop_back(); }), {}, one));
    EXPECT_TRUE(tryEvents(
        faulty([](const Event&, Model&, Observation& seen) { ++seen.corruptions; }), {}, one));
    EXPECT_TRUE(tryEvents(faulty([](const Event&, Model& model, Observation&) {
                              model.tableIs({{{"red", 1}, {}}});
                          }),
                          {}, one));
}

TEST(Trial, TheOrderOfTheTracesCountsExceptInTheWalkOverAnOldTable) {
    const auto turned = faulty([](const Event& event, Model&, Observation& seen) {
        if (event.op == Op::start && seen.trace.size() > 2) {
            std::swap(seen.trace.end()[-1], seen.trace.end()[-2]);
        }
    });
    const std::vector<Event> walk{ofTable(Op::tableStatus, "red", 1),
                                  ofTable(Op::tableStatus, "blue", 1), start()};
    EXPECT_FALSE(tryEvents(turned, {}, walk));
    const std::vector<Event> joins{join(10, "239.1.1.1", "10.0.0.1", "swp1"),
                                   ofVrf(Op::mplsSbdSet, "red", 10), start()};
    EXPECT_TRUE(tryEvents(turned, {}, joins));
}

TEST(Trial, AWalkThatIsCutShortMayHaveDeletedAnyPartOfWhatItWould) {
    const std::vector<Event> events{ofTable(Op::tableSet, "red", 1, "vlan0"),
                                    ofTable(Op::tableSet, "red", 1, "vlan20"), start()};
    const auto early = faulty([](const Event& event, Model& model, Observation& seen) {
        if (event.op != Op::start) return;
        seen.trace.resize(1);
        Table table = model.table();
        table[{"red", 1}][{Intf("vlan20"), addr("0.0.0.0"), addr("239.1.1.1")}] = Mode::include;
        model.tableIs(std::move(table));
    });
    EXPECT_FALSE(tryEvents(early, {}, events));
    const auto wrong = faulty([](const Event& event, Model& model, Observation&) {
        if (event.op == Op::start) model.tableIs({});
    });
    EXPECT_TRUE(tryEvents(wrong, {}, events));
}

TEST(Trial, ADifferenceShrinksToTheEventsThatItNeeds) {
    const auto fault = faulty([](const Event& event, Model& model, Observation& seen) {
        if (event.op == Op::groupDel && !model.table().empty()) seen.trace.clear();
    });
    std::optional<Difference> found;
    for (std::uint64_t seed = 0; !found; ++seed)
        found = tryEvents(fault, {}, generated(seed));
    const Difference small = shrunk(fault, {}, *found);
    EXPECT_LE(small.events.size(), 5u) << recording(small, {});
    EXPECT_TRUE(tryEvents(fault, {}, small.events));
    EXPECT_EQ(small.events.back().op, Op::groupDel);
}

TEST(Trial, ARecordingBeginsWithTheTogglesAndEndsWithWhatTheTableMustHold) {
    const Difference difference{{start()}, "trace"};
    EXPECT_EQ(recording(difference, {true, false}),
              "{\"op\":\"toggle\",\"name\":\"OismMplsTunnel\",\"on\":false}\n"
              "{\"op\":\"start\",\"domain\":1,\"app\":1,\"name\":\"default\"}\n"
              "{\"op\":\"expect\",\"table\":[]}\n");
}

TEST(Exploration, WalksEveryTransitionOfEveryStateThatItFinds) {
    Exploration exploration(livesOfAMachine(), {});
    while (exploration.depth() < 3)
        ASSERT_TRUE(exploration.deepen());
    EXPECT_GT(exploration.states(), 200u);
    const auto found = exploration.walk(faulty({}));
    ASSERT_FALSE(found) << recording(*found, {}) << found->what;
    EXPECT_GE(exploration.walkedEvents(), exploration.transitions());
}

TEST(Exploration, FindsAFaultThatNeedsThreeEventsInOneOrder) {
    Exploration exploration(livesOfAMachine(), {});
    const auto fault = faulty([](const Event& event, Model& model, Observation& seen) {
        if (event.op == Op::stop && !model.table().empty()) seen.error = "x";
    });
    while (exploration.depth() < 4)
        ASSERT_TRUE(exploration.deepen());
    const auto found = exploration.walk(fault);
    ASSERT_TRUE(found);
    EXPECT_EQ(found->events.back().op, Op::stop);
}

}  // namespace
}  // namespace model
