// What is wrong with a command line, for people.
#pragma once

#include <CLI/CLI.hpp>
#include <string>

namespace Irbmc {

/// "no command 'reply'; did you mean 'replay'?"
std::string noCommand(const CLI::App& app, const std::string& word);

/// What is wrong with a command line that could not be parsed: an unknown command or option is
/// named, with the one that was likely meant; anything else as the parser tells it.
std::string refusal(const CLI::App& app, const CLI::ParseError& error);

}  // namespace Irbmc
