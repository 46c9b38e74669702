#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "model/Answer.h"
#include "model/Event.h"
#include "model/Table.h"

namespace model {

/// What a subject did on one event.
struct Observation {
    std::string error;  ///< empty if there was none
    std::vector<TraceLine> trace;
    std::size_t corruptions = 0;
};

/// What is compared with the model: something that events happen to, from empty inputs on.
class Subject {
  public:
    Subject() = default;
    Subject(const Subject&) = delete;
    Subject& operator=(const Subject&) = delete;
    virtual ~Subject() = default;

    virtual Observation apply(const Event& event) = 0;
    /// The table as it is now.
    virtual Table table() const = 0;
};

/// Makes a fresh subject, over an empty table of its own.
using SubjectMaker = std::function<std::unique_ptr<Subject>()>;

}  // namespace model
