// How values and events read in what the command prints for people.
#pragma once

#include <string>
#include <string_view>

#include "Replay/Event.h"

namespace Irbmc::Replay {

/// `text` as it may safely go to a terminal: control characters and bytes that are not UTF-8 are
/// replaced by what they are.
std::string printable(std::string_view text);

/// "10.0.0.1", or "*" for any source.
std::string sourceText(const Ondel::IpGenAddr& source);
/// "(10.0.0.1, 239.1.1.1)", "(*, 239.1.1.1)".
std::string routeText(const Ondel::IpGenAddr& source, const Ondel::IpGenAddr& group);
/// "include" or "exclude".
std::string_view modeText(JoinMode mode);
/// "1 membership", "2 memberships".
std::string countText(std::size_t count, std::string_view singular);
/// The name of a status: "red.irb".
std::string statusText(const StatusPlace& status);
/// "red.irb  vlan10  (10.0.0.1, 239.1.1.1)  include".
std::string membershipText(const TableEntry& entry);

/// What an event says, after its op, in words close to its fields: for a `join`,
/// "vlan10 (10.0.0.1, 239.1.1.1) include on swp1".
std::string describe(const Action& action);

/// The UTC day of a time in seconds since the epoch, "2026-11-21"; empty if it is no such time.
std::string dayText(const std::string& time);
/// The UTC time of that day to the millisecond, "05:51:35.472"; the text itself if it is no time.
std::string clockText(const std::string& time);

}  // namespace Irbmc::Replay
