#pragma once

#include <string>

namespace Trace {

/// Writes `line` and a newline to standard error in one write, so that lines of several threads and
/// processes do not mix. Control characters in the line are written as \xHH: a name that a
/// stranger chose cannot forge a line. A write that fails is dropped. Any thread.
void writeLine(const std::string& line);

}  // namespace Trace
