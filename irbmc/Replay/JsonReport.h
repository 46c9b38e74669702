#pragma once

#include <string>

#include "Replay/Report.h"

namespace Irbmc::Replay {

/// A replay's report for programs: one JSON object a line, its keys always in the same order. With
/// `isQuiet`, the last line alone.
class JsonReport : public Report {
  public:
    JsonReport(Sink& sink, bool isQuiet) : sink_(sink), isQuiet_(isQuiet) {}

    void begin(std::string_view /*title*/) override {}
    void event(std::uint64_t number, std::uint64_t line, const Event& event,
               const Outcome& outcome) override;
    void finish(const std::vector<StatusContent>& table, const Totals& totals) override;

  private:
    Sink& sink_;
    bool isQuiet_;
};

/// The members of a JSON object that tell a status: its VRF, its application by number and by name.
std::string jsonStatusPlace(const StatusPlace& place);
/// A membership as a JSON object, which says its status, too.
std::string jsonMembership(const TableEntry& entry);
/// Statuses with their memberships as a JSON array.
void writeStatuses(Sink& sink, const std::vector<StatusContent>& table);

}  // namespace Irbmc::Replay
