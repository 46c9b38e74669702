#pragma once

#include <optional>
#include <string>

#include "Command.h"
#include "Output.h"
#include "TableView.h"

namespace Irbmc {

/// `irbmc show`: the table in a directory as it is now, and with --watch as it changes from then
/// on.
class ShowCommand : public Command {
  public:
    explicit ShowCommand(CLI::App& app);

    int run() override;

  private:
    TableFilter filter() const;
    /// Writes the whole table. Returns whether it was undamaged.
    bool writeTable(Output& output, const Routing::Gmp::Tessel::TableReader& reader,
                    const TableFilter& filter) const;
    /// Follows the table until the process is ended, or the output cannot be written any more.
    [[noreturn]] void watch(Output& output, Routing::Gmp::Tessel::TableReader& reader,
                            const TableFilter& filter) const;

    std::string directory_ = defaultTableDirectory;
    bool isJson_ = false;
    bool isWatch_ = false;
    std::optional<std::string> vrf_;
    std::optional<std::uint16_t> vlan_;
    std::string group_;
};

}  // namespace Irbmc
