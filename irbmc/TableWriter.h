#pragma once

#include <sys/types.h>

#include <string>

namespace Irbmc {

/// Who writes the table in a directory, as its lock tells. A plain value.
struct TableWriter {
    enum class State { alive, gone, unknown };

    State state = State::unknown;
    /// The writer's process, where it is known: while it lives, in this namespace of processes.
    pid_t process = 0;

    /// Asks the lock. Unknown where this user may not.
    static TableWriter of(const std::string& directory);

    /// "written by process 1234", "its writer is gone".
    std::string text() const;
    /// "alive", "gone", "unknown".
    std::string stateText() const;
};

}  // namespace Irbmc
