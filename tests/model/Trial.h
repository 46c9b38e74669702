#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "model/Event.h"
#include "model/Model.h"
#include "model/Subject.h"

namespace model {

/// Model and subject side by side. Owned by a test; one thread.
class Trial {
  public:
    Trial(const SubjectMaker& makeSubject, Toggles toggles);

    /// Lets the event happen to both, if the model accepts it, and says how they differ, nothing
    /// if they agree. Once they differ, the trial is over.
    std::optional<std::string> step(const Event& event);

    const Model& model() const { return model_; }
    /// The events that happened, in order.
    const std::vector<Event>& events() const { return events_; }
    /// Whether what happens next depends on the order in which the table is walked: the trial
    /// cannot go on.
    bool isUndecided() const { return undecided_; }

  private:
    std::optional<std::string> compare(const Answer& answer, const Observation& seen);
    std::optional<std::string> compareTable(const Answer& answer);

    Model model_;
    std::unique_ptr<Subject> subject_;
    std::vector<Event> events_;
    bool undecided_ = false;
};

/// A difference between model and subject, and a shortest known way there.
struct Difference {
    std::vector<Event> events;
    std::string what;
};

/// Lets the events that the model accepts happen, one after the other.
std::optional<Difference> tryEvents(const SubjectMaker& makeSubject, Toggles toggles,
                                    const std::vector<Event>& events);

/// The same difference, or another, with fewer and plainer events.
Difference shrunk(const SubjectMaker& makeSubject, Toggles toggles, Difference difference);

/// The difference as a recording that shows it: toggles, events, and the table that the model has
/// after the last one.
std::string recording(const Difference& difference, Toggles toggles);

}  // namespace model
