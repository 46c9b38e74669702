#pragma once

#include <stdexcept>

namespace Irbmc::Replay {

/// A recording is malformed at the line being read or applied. The message says what is wrong and
/// names the offending value; whoever knows the file and the line puts them before it. The line's
/// event has not been applied, not even in part.
class FormatError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

}  // namespace Irbmc::Replay
