// The values of options that more than one subcommand takes. Each refusal is an exception whose
// message names the option, what it takes and what it was given.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "Ondel/IpGenAddr.h"
#include "Output.h"
#include "Replay/Event.h"

namespace Irbmc {

/// @throws std::invalid_argument
std::uint16_t vlanArgument(const std::string& option, const std::string& value);
std::uint8_t appArgument(const std::string& option, const std::string& value);
Ondel::IpGenAddr addressArgument(const std::string& option, const std::string& value);
Replay::JoinMode modeArgument(const std::string& option, const std::string& value);
Colour colourArgument(const std::string& option, const std::string& value);

}  // namespace Irbmc
