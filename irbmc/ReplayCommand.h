#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Command.h"
#include "Output.h"
#include "Replay/Engine.h"
#include "Replay/LineReader.h"
#include "Replay/Report.h"

namespace Irbmc {

/// `irbmc replay`: feeds a recording to a state machine and reports what became of the table.
class ReplayCommand : public Command {
  public:
    explicit ReplayCommand(CLI::App& app);

    int run() override;

  private:
    void setToggles(Replay::Engine& engine) const;
    /// Replays line by line, to the end or to the line that is malformed. Returns what is wrong
    /// with that one, or the empty text.
    std::string replay(Replay::LineReader& lines, Replay::Engine& engine, Replay::Report& report,
                       Output& output, Replay::Totals& totals) const;
    std::unique_ptr<Replay::Report> report(Output& output) const;

    std::string file_;
    bool isJson_ = false;
    bool isQuiet_ = false;
    Colour colour_ = Colour::automatic;
    std::optional<std::string> levels_;
    std::string tableDirectory_;
    std::string library_;
    std::vector<std::string> toggles_;
};

}  // namespace Irbmc
