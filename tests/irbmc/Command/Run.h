// Running the built command as a user does.
#pragma once

#include <sys/resource.h>
#include <sys/types.h>

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "TemporaryDirectory.h"

/// What a run of the command left.
struct Result {
    /// The exit status; 128 and the signal's number if a signal ended it.
    int status = 0;
    std::string out;
    std::string err;
};

/// How much of something a process may have.
struct Limit {
    decltype(RLIMIT_AS) resource;
    rlim_t most;
};

/// Runs `irbmc` with these arguments, waits for it, and gives what it left.
Result runIrbmc(const std::vector<std::string>& arguments, std::string_view input = "",
                std::optional<Limit> limit = {});

/// Starts it over these three streams, and does not wait for it.
pid_t startIrbmc(const std::vector<std::string>& arguments, int in, int out, int err,
                 std::optional<Limit> limit = {});
/// The exit status of what was started, once it ended; 128 and the signal's number if a signal
/// ended it.
int statusOf(pid_t process);

/// Replays a recording from standard input.
Result replay(std::string_view recording, std::vector<std::string> options = {});

/// The same, for what a JSON report says: the lines of it, of which the last is the final one.
std::vector<std::string> replayJson(std::string_view recording,
                                    std::vector<std::string> options = {});

/// What the report for people has below the last event of a recording, line by line, without the
/// indentation: "+ red.irb  vlan10  (10.0.0.1, 239.1.1.1)  include".
std::vector<std::string> lastEffects(std::string_view recording,
                                     std::vector<std::string> options = {});

/// The command while it runs: its input and output are pipes to the test.
class RunningIrbmc {
  public:
    explicit RunningIrbmc(const std::vector<std::string>& arguments);
    RunningIrbmc(const RunningIrbmc&) = delete;
    RunningIrbmc& operator=(const RunningIrbmc&) = delete;
    /// Kills it if nobody did.
    ~RunningIrbmc();

    void write(std::string_view text) const;
    /// The next line of its output, without the newline; waits for it.
    std::string readLine();
    pid_t process() const { return process_; }
    /// The memory that it has in use.
    long residentKb() const;
    /// Ends it with a signal, at once.
    void kill();

  private:
    pid_t process_ = -1;
    int input_ = -1;
    int output_ = -1;
};

/// A folder of this test's own, removed with what is in it.
class TemporaryFolder : public TemporaryDirectory {
  public:
    /// Writes a file into it. Returns its path.
    std::string file(const std::string& name, std::string_view content) const;
};
