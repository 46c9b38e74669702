#pragma once

#include <string>

#include "Command.h"

namespace Irbmc {

/// `irbmc help`: what the command, or one of its subcommands, takes.
class HelpCommand : public Command {
  public:
    explicit HelpCommand(CLI::App& app);

    int run() override;

  private:
    CLI::App& app_;
    std::string command_;
};

}  // namespace Irbmc
