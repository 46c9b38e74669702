#pragma once

#include <string>
#include <string_view>
#include <system_error>

#include "Replay/Report.h"

namespace Irbmc {

/// Standard output, or another file, could not be written: a closed pipe, a full disk.
class OutputError : public std::system_error {
  public:
    explicit OutputError(int error)
        : std::system_error(error, std::generic_category(), "cannot write the output") {}

    /// Whether whoever read it went away, as `head` does, which is nothing to complain about.
    bool isNobodyReading() const { return code() == std::errc::broken_pipe; }
};

/// The command's output: buffered, and no failure to write it is lost. Whoever writes calls
/// flush() at the end. Refers to a file descriptor that outlives it; one thread. The process must
/// ignore SIGPIPE.
class Output : public Replay::Sink {
  public:
    explicit Output(int descriptor) : descriptor_(descriptor) {}

    /// @throws OutputError
    void write(std::string_view bytes) override;
    /// Hands everything to the operating system. @throws OutputError
    void flush();
    /// For who has nothing to write for long. @throws OutputError if nobody reads it any more
    void checkReader() const;
    /// Whether a person looks at it.
    bool isTerminal() const;

  private:
    int descriptor_;
    std::string buffer_;
};

/// When to use colours.
enum class Colour { automatic, always, never };

/// Whether an output is to be coloured: by default on a terminal, and there unless the environment
/// has a NO_COLOR that is not empty, or says that the terminal is dumb.
bool isColoured(const Output& output, Colour colour);

}  // namespace Irbmc
