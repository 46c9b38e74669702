#include "model/Exploration.h"

#include <algorithm>
#include <string>
#include <string_view>
#include <unordered_set>
#include <utility>

namespace model {

namespace {

/// 128 bits of a text: two states with the same digest count as one.
std::string digest(const std::string& text) {
    std::uint64_t a = 0xcbf29ce484222325u;
    std::uint64_t b = 0x9e3779b97f4a7c15u;
    for (const char c : text) {
        a = (a ^ static_cast<unsigned char>(c)) * 0x100000001b3u;
        b = (b + static_cast<unsigned char>(c)) * 0xd6e8feb86659fd93u;
        b ^= b >> 29;
    }
    std::string bytes(16, '\0');
    for (std::size_t i = 0; i < 8; ++i) {
        bytes[i] = static_cast<char>(a >> 8 * i);
        bytes[8 + i] = static_cast<char>(b >> 8 * i);
    }
    return bytes;
}

}  // namespace

Exploration::Exploration(TinyUniverse universe, Toggles toggles)
    : universe_(std::move(universe)), toggles_(toggles) {
    Model model(toggles_);
    apply(model, {});
    idOf(model, 0, 0);
}

void Exploration::apply(Model& model, const std::vector<std::size_t>& path) const {
    for (const Event& event : universe_.prelude)
        model.apply(event);
    for (const std::size_t event : path)
        model.apply(universe_.events[event]);
}

std::vector<std::size_t> Exploration::path(Id state) const {
    std::vector<std::size_t> events;
    for (Id at = state; at != 0; at = states_[at].parent)
        events.push_back(states_[at].event);
    std::reverse(events.begin(), events.end());
    return events;
}

Exploration::Id Exploration::idOf(const Model& model, Id parent, std::size_t event) {
    const auto [at, isNew] =
        ids_.try_emplace(digest(model.stateText()), static_cast<Id>(states_.size()));
    if (isNew) {
        const std::uint32_t depth = states_.empty() ? 0 : states_[parent].depth + 1;
        states_.push_back({parent, depth, event, {}, 0});
    }
    return at->second;
}

void Exploration::expand(Id state) {
    const std::vector<std::size_t> here = path(state);
    std::vector<Id> next;
    for (std::size_t event = 0; event < universe_.events.size(); ++event) {
        Model model(toggles_);
        apply(model, here);
        if (!model.accepts(universe_.events[event])) {
            next.push_back(notAccepted);
            continue;
        }
        model.apply(universe_.events[event]);
        next.push_back(idOf(model, state, event));
        ++transitions_;
    }
    states_[state].next = std::move(next);
}

bool Exploration::deepen() {
    const std::size_t known = states_.size();
    if (expanded_ == known) return false;
    for (; expanded_ < known; ++expanded_)
        expand(static_cast<Id>(expanded_));
    ++depth_;
    return true;
}

std::optional<std::size_t> Exploration::unwalked(State& state) {
    while (state.walked < state.next.size() && state.next[state.walked] == notAccepted)
        ++state.walked;
    if (state.walked == state.next.size()) return std::nullopt;
    return state.walked;
}

std::optional<std::vector<std::size_t>> Exploration::detour(Id from) {
    struct Seen {
        Id state;
        std::size_t parent;
        std::size_t event;
    };
    std::vector<Seen> seen{{from, 0, 0}};
    std::unordered_set<Id> known{from};
    for (std::size_t at = 0; at < seen.size(); ++at) {
        const Id here = seen[at].state;
        if (unwalked(states_[here])) {
            std::vector<std::size_t> events;
            for (; at != 0; at = seen[at].parent)
                events.push_back(seen[at].event);
            std::reverse(events.begin(), events.end());
            return events;
        }
        const std::vector<Id>& next = states_[here].next;
        for (std::size_t event = 0; event < next.size() && seen.size() < lookAround; ++event) {
            if (next[event] != notAccepted && known.insert(next[event]).second) {
                seen.push_back({next[event], at, event});
            }
        }
    }
    return std::nullopt;
}

std::optional<Difference> Exploration::walkFrom(Id state, const SubjectMaker& makeSubject) {
    Trial trial(makeSubject, toggles_);
    std::optional<std::string> what;
    const auto step = [&](const Event& event) {
        ++walkedEvents_;
        what = trial.step(event);
        return !what;
    };
    const auto follow = [&](const std::vector<std::size_t>& events) {
        return std::all_of(events.begin(), events.end(),
                           [&](std::size_t event) { return step(universe_.events[event]); });
    };
    bool agreed = std::all_of(universe_.prelude.begin(), universe_.prelude.end(), step) &&
                  follow(path(state));
    while (agreed && trial.events().size() < longestWalk) {
        const auto way = detour(state);
        if (!way) break;
        for (const std::size_t event : *way)
            state = states_[state].next[event];
        const std::size_t event = states_[state].walked++;
        agreed = follow(*way) && step(universe_.events[event]);
        state = states_[state].next[event];
    }
    if (agreed) return std::nullopt;
    return Difference{trial.events(), *what};
}

std::optional<Difference> Exploration::walk(const SubjectMaker& makeSubject) {
    for (; firstUnwalked_ < expanded_; ++firstUnwalked_) {
        while (unwalked(states_[firstUnwalked_])) {
            if (auto found = walkFrom(static_cast<Id>(firstUnwalked_), makeSubject)) {
                return shrunk(makeSubject, toggles_, std::move(*found));
            }
        }
    }
    return std::nullopt;
}

}  // namespace model
