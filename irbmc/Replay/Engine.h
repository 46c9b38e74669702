#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "Replay/Event.h"
#include "Replay/Inputs.h"
#include "Replay/Machine.h"
#include "Replay/Outcome.h"
#include "Replay/Table.h"
#include "Rix/CorruptionHandler.h"
#include "Trace/Selection.h"
#include "Trace/TextSink.h"

namespace Irbmc::Replay {

/// Replays events, one after the other, on real inputs, a real table and a real state machine.
///
/// Owned by whoever runs the replay, on one thread. One at a time in a process: feature toggles,
/// whose state it forgets when it is made, and the trace are the process's. When it is destroyed,
/// a state machine that still runs is dropped as `abandon` drops it: a table in a directory stays
/// as it is.
class Engine : private Rix::CorruptionHandler {
  public:
    struct Options {
        /// The file that holds the state machine.
        std::filesystem::path library;
        /// Where the table is kept; if empty, the table is private and goes with the engine.
        std::filesystem::path tableDirectory;
        /// What of the state machine's trace is reported.
        Trace::Selection trace;
    };

    /// @throws std::runtime_error naming what cannot be loaded or opened
    explicit Engine(const Options& options);
    Engine(const Engine&) = delete;
    Engine& operator=(const Engine&) = delete;
    ~Engine() override;

    /// Applies an event and tells what it led to. What the system refuses is in the outcome, and so
    /// is what the computer fails at.
    /// @throws FormatError if the event cannot stand where it does; nothing is changed then
    Outcome apply(const Event& event);

    /// Whether a `start` was applied.
    bool hasStarted() const { return hasStarted_; }
    /// The table as it stands, in the order of reports.
    std::vector<StatusContent> table() const { return table_.content(); }

  private:
    void onCorruption(std::string_view message) override;
    void onTrace(const Trace::TextRecord& record);

    void perform(const Toggle& event) const;
    void perform(const Start& event);
    void perform(const Stop& event);
    void perform(const Abandon& event);
    void perform(const Reap& event);
    void perform(const Notifications& event);
    void perform(const SbdReplace& event);
    void perform(const TableSet& event) { table_.set(event.entry); }
    void perform(const TableDel& event) { table_.del(event.place); }
    void perform(const TableStatus& event) { table_.statusIs(event.status); }
    void perform(const Expect& event);
    /// Every other event changes an input and nothing else.
    template <class InputEvent>
    requires requires(Inputs& inputs, const InputEvent& event) { inputs.apply(event); }
    void perform(const InputEvent& event) { inputs_.apply(event); }

    /// What `abandon` does to a machine that runs.
    void abandon();
    void needMachine(std::string_view op) const;

    const Trace::Selection trace_;
    Machine machine_;
    Inputs inputs_;
    Table table_;
    /// What the event under way led to so far; null between events.
    Outcome* outcome_ = nullptr;
    bool hasStarted_ = false;
};

}  // namespace Irbmc::Replay
