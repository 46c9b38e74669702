#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

#include "Replay/Event.h"
#include "Replay/Outcome.h"

namespace Irbmc::Replay {

/// The counts that end a report.
struct Totals {
    std::uint64_t events = 0;
    std::uint64_t expectations = 0;
    std::uint64_t unmet = 0;
    /// Events that the system refused.
    std::uint64_t refused = 0;
    /// Sums of the events' net effects.
    std::uint64_t added = 0;
    std::uint64_t changed = 0;
    std::uint64_t removed = 0;
};

/// Where bytes of a report go, in the order written.
class Sink {
  public:
    virtual ~Sink() = default;
    virtual void write(std::string_view bytes) = 0;
};

/// Writes what a replay reports, in one of its forms. Made by whoever runs the replay, over a sink
/// that outlives it; one thread.
class Report {
  public:
    virtual ~Report() = default;

    /// Before the first event. @param title what is being replayed
    virtual void begin(std::string_view title) = 0;
    /// One event: its number, counted from 1, the line it stands on, and what it led to.
    virtual void event(std::uint64_t number, std::uint64_t line, const Event& event,
                       const Outcome& outcome) = 0;
    /// The end: the table as it stands, in the order of reports.
    virtual void finish(const std::vector<StatusContent>& table, const Totals& totals) = 0;
};

}  // namespace Irbmc::Replay
