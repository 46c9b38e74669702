#pragma once

#include <memory>
#include <optional>
#include <string>

#include "Command.h"
#include "Output.h"
#include "Routing/Gmp/Tessel/defaultTableDirectory.h"
#include "TableFileId.h"
#include "TableView.h"

namespace Irbmc {

/// `irbmc show`: the table in a directory as it is now, and with --watch as it changes from then
/// on.
class ShowCommand : public Command {
  public:
    explicit ShowCommand(CLI::App& app);

    int run() override;

  private:
    using TableReader = Routing::Gmp::Tessel::TableReader;

    /// A table that is read, and the file that it was when it was opened.
    struct Watched {
        TableFileId file;
        std::unique_ptr<TableReader> reader;
    };

    TableFilter filter() const;
    Watched open() const;
    /// Waits until there is a table that can be opened.
    Watched awaitTable(Output& output) const;
    /// Writes the whole table. Returns whether it was undamaged.
    bool writeTable(Output& output, const TableReader& reader, const TableFilter& filter) const;
    /// Follows the table, and any other that takes its place, until the process is ended or the
    /// output cannot be written any more.
    [[noreturn]] void watch(Output& output, Watched table, const TableFilter& filter) const;
    /// Writes the changes of a table, until it is removed or replaced.
    void follow(Output& output, Watched& table, const TableFilter& filter) const;

    std::string directory_ = Routing::Gmp::Tessel::defaultTableDirectory();
    bool isJson_ = false;
    bool isWatch_ = false;
    std::string colour_ = "auto";
    bool isColoured_ = false;
    std::optional<std::string> vrf_;
    std::string app_;
    std::string vlan_;
    std::string source_;
    std::string group_;
    std::string mode_;
};

}  // namespace Irbmc
