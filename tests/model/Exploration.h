#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <unordered_map>
#include <vector>

#include "model/Trial.h"

namespace model {

/// A universe so small that every sequence of its events can be walked.
struct TinyUniverse {
    const char* name = "";
    std::vector<Event> prelude;  ///< what has happened before
    std::vector<Event> events;   ///< what can happen, again and again
};

/// Walks every sequence of a tiny universe's events up to a depth. States of the model that were
/// met before are not walked again: what follows on them was or will be walked from where they
/// were met first. Owned by a test; one thread.
class Exploration {
  public:
    Exploration(TinyUniverse universe, Toggles toggles);

    /// Finds the states one event further than so far. Whether there were any.
    bool deepen();
    std::size_t depth() const { return depth_; }
    std::size_t states() const { return states_.size(); }
    std::size_t transitions() const { return transitions_; }

    /// Lets every transition found so far, and not walked yet, happen to model and subject: walks
    /// that begin with the prelude, go to a state that still has one, and on from there as long as
    /// there are more. The first difference ends it,
    /// shrunk.
    std::optional<Difference> walk(const SubjectMaker& makeSubject);
    /// How many events the walks took.
    std::size_t walkedEvents() const { return walkedEvents_; }

  private:
    using Id = std::uint32_t;
    static constexpr Id notAccepted = UINT32_MAX;
    /// A walk begins anew after so many events: a difference is easier to shrink then.
    static constexpr std::size_t longestWalk = 2000;
    /// How far a walk looks around for a state that still has an event to walk.
    static constexpr std::size_t lookAround = 200;

    struct State {
        Id parent = 0;
        std::uint32_t depth = 0;
        std::size_t event = 0;   ///< how it is reached from its parent
        std::vector<Id> next;    ///< by event; empty until the state is expanded
        std::size_t walked = 0;  ///< how many of its events, in order, were walked
    };

    std::vector<std::size_t> path(Id state) const;
    Id idOf(const Model& model, Id parent, std::size_t event);
    void expand(Id state);
    void apply(Model& model, const std::vector<std::size_t>& path) const;
    /// The next event of the state that was not walked, nothing if all were.
    static std::optional<std::size_t> unwalked(State& state);
    /// The events that lead to a state near `from`, or to `from` itself, that has one that was not
    /// walked; nothing if there is none near.
    std::optional<std::vector<std::size_t>> detour(Id from);
    std::optional<Difference> walkFrom(Id state, const SubjectMaker& makeSubject);

    TinyUniverse universe_;
    Toggles toggles_;
    std::vector<State> states_;
    std::unordered_map<std::string, Id> ids_;  ///< by a digest of the state's text
    std::size_t depth_ = 0;
    std::size_t expanded_ = 0;
    std::size_t transitions_ = 0;
    std::size_t firstUnwalked_ = 0;
    std::size_t walkedEvents_ = 0;
};

}  // namespace model
