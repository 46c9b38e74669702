#include "model/Sequences.h"

#include <algorithm>
#include <utility>

#include "model/Events.h"

namespace model {

namespace {

using Events = std::vector<Event>;

/// A membership in each VRF that no rule touches, its interface being none that the machine looks
/// at: statuses that never go empty are not made anew time and again, which is slow.
Events anchors(const Universe& universe) {
    Events events;
    for (const std::string& vrf : universe.vrfs)
        events.push_back(events::ofTable(Op::tableSet, vrf, 1, "vlan4096"));
    return events;
}

Events drawn(const Universe& universe, Toggles toggles, Random random, std::size_t size) {
    const Mix mix = Mix::drawn(random);
    const bool planned = random.chance(75);
    const bool anchored = random.chance(60);
    const std::size_t length = 20 + random.below(1 + size * size / 2);
    Generator generator(universe, mix, random);
    Events events = planned ? generator.plan() : Events();
    if (anchored) {
        for (Event& event : anchors(universe))
            events.push_back(std::move(event));
    }
    Model model(toggles);
    for (const Event& event : events)
        model.apply(event);
    // What follows on a corrupt walk depends on the order of the walk.
    bool isDecided = true;
    while (events.size() < length && isDecided) {
        events.push_back(generator.next(model));
        isDecided = !model.apply(events.back()).walkCorrupt;
    }
    return events;
}

/// The events without a run of them: without all, either half, any quarter, and so on down to a
/// single one. (RapidCheck's own removeChunks tries every length, which thousands of events make
/// too many.)
class WithoutARun {
  public:
    explicit WithoutARun(Events events) : events_(std::move(events)), length_(events_.size()) {}

    rc::Maybe<Events> operator()() {
        if (at_ >= events_.size()) {
            at_ = 0;
            length_ /= 2;
        }
        if (length_ == 0) return rc::Nothing;
        const auto begin = events_.begin() + static_cast<std::ptrdiff_t>(at_);
        at_ = std::min(at_ + length_, events_.size());
        Events fewer(events_.begin(), begin);
        fewer.insert(fewer.end(), events_.begin() + static_cast<std::ptrdiff_t>(at_),
                     events_.end());
        return fewer;
    }

  private:
    Events events_;
    std::size_t length_;
    std::size_t at_ = 0;
};

/// Plainer forms of an event, the plainest first.
rc::Seq<Event> plainer(const Event& event) {
    std::vector<Event> forms;
    const auto add = [&](auto change) {
        Event form = event;
        change(form);
        if (toJson(form) != toJson(event)) forms.push_back(std::move(form));
    };
    add([](Event& e) { e.groups.clear(); });
    add([](Event& e) { e.sources.clear(); });
    add([](Event& e) { e.include.clear(); });
    add([](Event& e) { e.exclude.clear(); });
    add([](Event& e) { e.intfs.clear(); });
    add([](Event& e) { e.vrfToSbd.clear(); });
    add([](Event& e) { e.sbdToVrf.clear(); });
    add([](Event& e) { e.without = 0; });
    add([](Event& e) { e.app = e.domain = 1; });
    add([](Event& e) {
        if (e.op == Op::start) e.name = "default";
    });
    for (std::size_t i = 0; i < event.groups.size(); ++i) {
        add([i](Event& e) { e.groups.erase(e.groups.begin() + static_cast<std::ptrdiff_t>(i)); });
        add([i](Event& e) { e.groups[i].sources.clear(); });
    }
    for (std::size_t i = 0; i < event.sources.size(); ++i) {
        add([i](Event& e) { e.sources.erase(e.sources.begin() + static_cast<std::ptrdiff_t>(i)); });
    }
    return rc::seq::fromContainer(std::move(forms));
}

}  // namespace

rc::Gen<Events> sequences(const Universe& universe, Toggles toggles) {
    return [&universe, toggles](const rc::Random& random, int size) {
        return shrinkable(drawn(universe, toggles, Random(random), static_cast<std::size_t>(size)));
    };
}

rc::Shrinkable<Events> shrinkable(Events events) {
    const auto fewerOrPlainer = [](const Events& from) {
        return rc::seq::concat(rc::makeSeq<WithoutARun>(from),
                               rc::shrink::eachElement(from, plainer));
    };
    return rc::shrinkable::shrinkRecur(std::move(events), fewerOrPlainer);
}

}  // namespace model
