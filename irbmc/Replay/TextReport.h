#pragma once

#include <string>
#include <string_view>

#include "Replay/Report.h"

namespace Irbmc::Replay {

/// A replay's report for people: each event with what it did to the table, then the table in
/// columns and a line of counts. With `isQuiet`, the table alone. With `isColoured`, in the colours
/// of a terminal.
class TextReport : public Report {
  public:
    struct Options {
        bool isQuiet = false;
        bool isColoured = false;
    };

    TextReport(Sink& sink, Options options) : sink_(sink), options_(options) {}

    void begin(std::string_view title) override;
    void event(std::uint64_t number, std::uint64_t line, const Event& event,
               const Outcome& outcome) override;
    void finish(const std::vector<StatusContent>& table, const Totals& totals) override;

  private:
    std::string timeColumn(const Event& event);
    /// One indented line: a mark and what it marks.
    std::string effect(std::string_view mark, std::string_view colour, const std::string& text);
    std::string effects(std::string_view mark, std::string_view colour,
                        const std::vector<TableEntry>& entries);
    std::string coloured(std::string_view colour, std::string_view text) const;
    /// The memberships of one status in columns.
    void block(const StatusContent& status);
    void summary(const Totals& totals);

    Sink& sink_;
    Options options_;
    /// The day that the last printed time lies in.
    std::string day_;
    /// How far an event's effects are indented: to below its description.
    std::size_t indent_ = 0;
};

}  // namespace Irbmc::Replay
