// A fabric's long life: memory stays, and the table is what the model says. IRBMC_LONG_SECONDS
// makes it last; without, it is a few days of that life.
#include <gtest/gtest.h>
#include <malloc.h>

#include <algorithm>
#include <cstdint>
#include <iostream>
#include <vector>

#include "FailingMemory.h"
#include "Lumo/TypeData.h"
#include "model/Campaign.h"
#include "model/EngineSubject.h"
#include "model/Events.h"
#include "model/Generator.h"

namespace model {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t eventsADay = 100'000;
constexpr std::size_t daysInCi = 2;

struct Memory {
    std::size_t heapBytes = 0;
    std::int64_t pieces = 0;
    std::uint64_t objects = 0;

    static Memory now() {
        Memory now;
        now.heapBytes = mallinfo2().uordblks;
        now.pieces = memory.pieces;
        for (const Lumo::TypeData* type : Lumo::TypeData::types())
            now.objects += type->allocations().live;
        return now;
    }
};

std::ostream& operator<<(std::ostream& out, const Memory& seen) {
    return out << seen.objects << " objects, " << seen.pieces << " allocations, " << seen.heapBytes
               << " bytes";
}

/// What takes everything away again, so that memory can be compared.
std::vector<Event> evening(const Model& model) {
    using namespace events;
    std::vector<Event> events;
    if (model.isRunning()) events.push_back(life(Op::stop));
    const Inputs& in = model.inputs();
    for (const auto& [vlan, join] : in.vlans)
        events.push_back(ofJoin(Op::vlanDel, vlan));
    for (const auto& [vlan, record] : in.pegDr)
        events.push_back(ofVrf(Op::pegDrDel, {}, vlan));
    for (const auto& [intf, status] : in.intfs) {
        events.push_back(life(Op::l3Del));
        events.back().intf = intf;
    }
    for (const auto& [vrf, status] : in.pim)
        events.push_back(ofVrf(Op::pimDel, vrf));
    events.push_back(life(Op::vxlanReplace));
    events.push_back(life(Op::mplsReplace));
    for (const auto& [status, entries] : model.table()) {
        for (const auto& [key, mode] : entries) {
            events.push_back(ofTable(Op::tableDel, status.vrf, status.app));
            events.back().intf = key.intf;
            events.back().source = key.source;
            events.back().group = key.group;
        }
        // A start takes away statuses that are empty.
        events.push_back(start(0, 1, status.app));
        events.push_back(life(Op::stop));
    }
    return events;
}

class Fabric {
  public:
    Fabric(std::uint64_t seed, const SubjectMaker& makeSubject)
        : universe_(Universe::fabric()),
          generator_(universe_, Mix::everyday(), Random(rc::Random(seed))),
          subject_(makeSubject()) {}

    /// Whether model and machine hold the same table at the end of the day, and in the evening.
    bool day() {
        for (const Event& event : generator_.plan())
            apply(event);
        for (std::size_t i = 0; i < eventsADay; ++i)
            apply(generator_.next(model_));
        most_ = std::max(most_, memberships());
        const bool alike = subject_->table() == model_.table();
        for (const Event& event : evening(model_))
            apply(event);
        return alike && subject_->table() == model_.table();
    }

    std::size_t events() const { return events_; }
    std::size_t most() const { return most_; }

  private:
    void apply(const Event& event) {
        model_.apply(event);
        subject_->apply(event);
        ++events_;
    }
    std::size_t memberships() const {
        std::size_t count = 0;
        for (const auto& [status, entries] : model_.table())
            count += entries.size();
        return count;
    }

    const Universe universe_;
    Generator generator_;
    Model model_;
    std::unique_ptr<Subject> subject_;
    std::size_t events_ = 0;
    std::size_t most_ = 0;
};

TEST(Soak, AFabricsLifeLeavesTheTableRightAndTakesNoMoreMemory) {
    const std::uint64_t seed = rc::detail::configuration().testParams.seed;
    const auto seconds = environmentNumber("IRBMC_LONG_SECONDS");
    const auto deadline = Clock::now() + std::chrono::seconds(seconds.value_or(0));
    Fabric fabric(seed, [] {
        return std::make_unique<EngineSubject>(IRBMC_MACHINE_LIBRARY, Toggles{}, Trace::Levels());
    });
    ASSERT_TRUE(fabric.day());
    const Memory first = Memory::now();
    Memory last = first;
    std::size_t days = 1;
    for (; seconds ? Clock::now() < deadline : days <= daysInCi; ++days) {
        ASSERT_TRUE(fabric.day()) << "day " << days;
        last = Memory::now();
        ASSERT_EQ(last.objects, first.objects) << "day " << days;
        // The runs of pages that are free in the table, and what containers keep in reserve, vary.
        ASSERT_LE(last.pieces, first.pieces + 32) << "day " << days;
        ASSERT_LE(last.heapBytes, first.heapBytes + 64 * 1024) << "day " << days;
    }
    std::cout << fabric.events() << " events in " << days << " days, " << fabric.most()
              << " memberships at most; in the first evening " << first << ", in the last " << last
              << std::endl;
}

}  // namespace
}  // namespace model
