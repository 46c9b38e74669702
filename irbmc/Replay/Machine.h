#pragma once

#include <filesystem>

#include "Lumo/Argument.h"
#include "Lumo/Ptr.h"
#include "Replay/Event.h"
#include "Replay/Inputs.h"
#include "Routing/Gmp/Tessel/StatusColl.h"

namespace Irbmc::Replay {

/// The state machine under replay, as an agent has it that knows only its type's name: the library
/// is loaded, the type constructed from an argument list, its operations called by their names.
/// There is a machine between start and stop. Owned by the engine; one thread.
class Machine {
  public:
    /// Loads the library that holds the type.
    /// @throws std::runtime_error naming the file, if it cannot be loaded or lacks the type
    explicit Machine(const std::filesystem::path& library);

    bool isRunning() const { return static_cast<bool>(sm_); }
    /// Makes a state machine over the inputs and the table, null for those that `start` leaves out.
    /// There must be none. Raises what its constructor raises; there is none then.
    void start(const Start& start, const Inputs& inputs,
               const Lumo::Ptr<Routing::Gmp::Tessel::StatusColl>& table);
    /// Destroys the machine.
    void stop() { sm_ = nullptr; }
    /// Forgets the machine, which stays as it is for as long as the process: it withdraws nothing.
    void leave() noexcept;

    // What there must be a machine for.
    void reap();
    void notificationsAre(bool on);
    void enabledStatusIs(const Inputs& inputs);
    void gmpProxyStatusIs(const Inputs& inputs);

  private:
    void call(std::string_view operation, const Lumo::Argument& argument);

    const Lumo::TypeData& type_;
    Lumo::Ptr<Lumo::Node> sm_;
};

}  // namespace Irbmc::Replay
