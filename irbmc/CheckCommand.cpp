#include "CheckCommand.h"

#include <unistd.h>

#include <vector>

#include "Output.h"
#include "Replay/Wording.h"
#include "Rix/CorruptionError.h"

namespace Irbmc {

namespace {

using Routing::Gmp::Tessel::TableReader;

/// What is wrong with the table, or why it is none.
std::vector<std::string> faultsIn(const std::string& directory, std::string& summary) {
    try {
        const TableReader reader(directory);
        const TableContent content = contentOf(reader, {});
        summary = sizeText(content);
        return reader.faults();
    } catch (const Rix::CorruptionError& error) {
        return {error.what()};
    }
}

}  // namespace

CheckCommand::CheckCommand(CLI::App& app)
    : Command(app, "check",
              "Verify the GMP status table in a directory. Exit status 1 if anything is wrong.") {
    options()
        .add_option("DIR", directory_, "the table's directory (" + directory_ + ")")
        ->type_name("")
        ->check(notEmpty());
}

int CheckCommand::run() {
    Output output(STDOUT_FILENO);
    std::string summary;
    const std::vector<std::string> faults = faultsIn(directory_, summary);
    for (const std::string& fault : faults)
        output.write(Replay::printable(fault) + "\n");
    if (faults.empty()) {
        output.write(Replay::printable(directory_) + ": no fault in " + summary + "\n");
    }
    output.flush();
    return faults.empty() ? exitDone : exitUnmet;
}

}  // namespace Irbmc
