#pragma once

#include <cstddef>
#include <stdexcept>
#include <string>

namespace Toggle {

/// A toggle file's text is malformed. The message says what is wrong, without file and line.
class ToggleFileError : public std::runtime_error {
  public:
    ToggleFileError(std::size_t line, const std::string& what)
        : std::runtime_error(what), line_(line) {}

    /// Counted from 1.
    std::size_t line() const { return line_; }

  private:
    std::size_t line_;
};

}  // namespace Toggle
