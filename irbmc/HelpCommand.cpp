#include "HelpCommand.h"

#include <unistd.h>

#include <stdexcept>

#include "CommandLine.h"
#include "Nearest.h"
#include "Output.h"

namespace Irbmc {

HelpCommand::HelpCommand(CLI::App& app)
    : Command(app, "help", "Tell what the command, or one of its subcommands, takes."), app_(app) {
    options().add_option("COMMAND", command_, "a subcommand")->type_name("");
}

int HelpCommand::run() {
    const CLI::App* about = &app_;
    if (!command_.empty()) {
        const auto named = app_.get_subcommands(
            [this](const CLI::App* command) { return command->get_name() == command_; });
        if (named.empty()) throw std::invalid_argument(noCommand(app_, command_));
        about = named.front();
    }
    Output output(STDOUT_FILENO);
    // The parser's own help is always about the subcommand that was chosen: this one.
    output.write(app_.get_formatter()->make_help(
        about, about == &app_ ? app_.get_name() : app_.get_name() + " " + about->get_name(),
        CLI::AppFormatMode::Normal));
    output.flush();
    return exitDone;
}

}  // namespace Irbmc
