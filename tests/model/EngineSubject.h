#pragma once

#include <filesystem>
#include <memory>

#include "Replay/Engine.h"
#include "model/Model.h"
#include "model/Subject.h"

namespace model {

/// The real machine, driven by the replay engine that people run recordings with. One at a time in
/// a process, as the engine is.
class EngineSubject : public Subject {
  public:
    /// @param library the file that holds the state machine
    /// @param levels  those whose trace is observed
    EngineSubject(const std::filesystem::path& library, Toggles toggles,
                  Trace::Levels levels = Trace::Levels::all());

    Observation apply(const Event& event) override;
    Table table() const override;

  private:
    Irbmc::Replay::Engine engine_;
};

/// The event as the replay engine has it.
Irbmc::Replay::Event toReplay(const Event& event);

/// Makes a real machine for each trial.
SubjectMaker engineSubjects(std::filesystem::path library, Toggles toggles);

}  // namespace model
