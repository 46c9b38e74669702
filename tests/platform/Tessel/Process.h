// Other processes of a test.
#pragma once

#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <new>
#include <stdexcept>

#include "endProcess.h"

namespace Tessel::Test {

/// A value that a test shares with the processes it forks.
template <class Value>
class Shared {
  public:
    Shared() {
        void* const memory =
            mmap(nullptr, sizeof(Value), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
        if (memory == MAP_FAILED) throw std::runtime_error("no shared memory");
        value_ = new (memory) Value{};
    }
    Shared(const Shared&) = delete;
    Shared& operator=(const Shared&) = delete;
    ~Shared() { munmap(value_, sizeof(Value)); }

    Value& operator*() const { return *value_; }
    Value* operator->() const { return value_; }

  private:
    Value* value_;
};

/// A process that runs a function of the test's, and is killed and waited for with this object.
class Process {
  public:
    /// The process ends with status 0 when `run` returns, and with 1 when it throws.
    template <class Run>
    explicit Process(Run run) : pid_(fork()) {
        if (pid_ < 0) throw std::runtime_error("cannot fork");
        if (pid_ != 0) return;
        // Not even a test that is killed leaves it behind.
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        try {
            run();
        } catch (...) {
            endProcess(1);
        }
        endProcess(0);
    }
    Process(const Process&) = delete;
    Process& operator=(const Process&) = delete;
    ~Process() {
        if (pid_ > 0) kill();
    }

    pid_t pid() const { return pid_; }
    /// Whether it ended already, which wait() then tells more of.
    bool hasEnded() const {
        siginfo_t end{};
        return waitid(P_PID, static_cast<id_t>(pid_), &end, WEXITED | WNOHANG | WNOWAIT) != 0 ||
               end.si_pid != 0;
    }
    void signal(int number) const { ::kill(pid_, number); }
    void kill() {
        signal(SIGKILL);
        wait();
    }
    /// How it ended, as waitpid says.
    int wait() {
        int status = 0;
        waitpid(pid_, &status, 0);
        pid_ = 0;
        return status;
    }
    bool endedWell() {
        const int status = wait();
        return WIFEXITED(status) && WEXITSTATUS(status) == 0;
    }

  private:
    pid_t pid_;
};

}  // namespace Tessel::Test
