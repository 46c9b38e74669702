#pragma once

#include <string>

namespace Trace {

/// Writes `line` and a newline to standard error in one write, so that lines of several threads and
/// processes do not mix. Control characters in the line are written as \xHH: a name that a
/// stranger chose cannot forge a line. A write that fails is dropped. Any thread.
///
/// Where standard error does not block and is full, it never waits: the line is lost as a whole,
/// and the next one that finds room says how many were. Of a line of which a part found room, the
/// rest is written ahead of the next.
void writeLine(const std::string& line);

}  // namespace Trace
