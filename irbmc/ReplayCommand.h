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
    /// Why a replay ended before its time, if it did, as an exit status and for people.
    struct Ending {
        int status = exitDone;
        std::string message;
    };
    /// How a replay went so far.
    struct Course {
        Replay::Totals totals;
        /// The first event that was refused: its place and why.
        std::string firstRefusal;
        /// Whether there was an event that only a state machine can make something of.
        bool isForMachine = false;
    };

    /// Replays line by line, to the end or to the line that ends it.
    Ending replay(Replay::LineReader& lines, Replay::Engine& engine, Replay::Report& report,
                  Output& output, Course& course) const;
    void tellAfterwards(const Course& course, bool wasWhole, bool hasStarted) const;
    std::unique_ptr<Replay::Report> report(Output& output) const;

    std::string file_;
    bool isJson_ = false;
    bool isQuiet_ = false;
    bool isStrict_ = false;
    std::string colour_ = "auto";
    std::optional<std::string> trace_;
    std::string tableDirectory_;
    std::string library_;
    std::vector<std::string> toggles_;
};

}  // namespace Irbmc
