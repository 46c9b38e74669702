#pragma once

#include <stdexcept>

namespace Toggle {

/// A toggle file's text is malformed. The message says what is wrong, and in which line where that
/// is known, without the file's name.
class ToggleFileError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

}  // namespace Toggle
