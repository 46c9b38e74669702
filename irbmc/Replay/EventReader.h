#pragma once

#include <string_view>

#include "Replay/Event.h"

namespace Irbmc::Replay {

/// Whether a line of a recording is skipped: blank, or with '#' as its first character.
bool isSkipped(std::string_view line);

/// The event that a line of a recording spells. The check is strict: an unknown op, a field that
/// is unknown, missing, given twice or of the wrong type, a value that no field of its kind can
/// hold, and text that is not UTF-8 are all refused. Values whose range their objects check (VLAN
/// ids, the length of VRF names) are passed on as they were written.
/// @throws FormatError
Event readEvent(std::string_view line);

}  // namespace Irbmc::Replay
