#pragma once

#include <string>

#include "Command.h"
#include "Routing/Gmp/Tessel/defaultTableDirectory.h"
#include "TableView.h"

namespace Irbmc {

/// `irbmc check`: whether the table in a directory is sound, and what is wrong with it if not.
class CheckCommand : public Command {
  public:
    explicit CheckCommand(CLI::App& app);

    int run() override;

  private:
    std::string directory_ = Routing::Gmp::Tessel::defaultTableDirectory();
};

}  // namespace Irbmc
