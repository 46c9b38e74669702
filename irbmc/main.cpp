#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <exception>
#include <iostream>
#include <sstream>
#include <string>
#include <system_error>

#include "CheckCommand.h"
#include "Output.h"
#include "Replay/Wording.h"
#include "ReplayCommand.h"
#include "ShowCommand.h"

namespace {

using Irbmc::Command;

/// Takes the places of standard streams that the caller closed: else the next file to be opened,
/// one of the table's perhaps, would get such a place, and the report would be written into it.
void takeClosedStreams() {
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (::fcntl(stream, F_GETFD) >= 0) continue;
        // The wrong way round, so that reading or writing it is an error, as it is when closed.
        const int mode = stream == STDIN_FILENO ? O_WRONLY : O_RDONLY;
        if (::open("/dev/null", mode) < 0)
            throw std::system_error(errno, std::generic_category(), "/dev/null");
    }
}

std::string failureMessage(const CLI::App* /*app*/, const CLI::Error& error) {
    return "irbmc: " + Irbmc::Replay::printable(error.what()) +
           "\nirbmc --help and irbmc COMMAND --help tell what it takes.\n";
}

/// Ends a command line that names nothing to run: one that asks for help, or a wrong one.
int exitWithoutRunning(const CLI::App& app, const CLI::ParseError& error) {
    std::ostringstream help;
    const int status = app.exit(error, help, std::cerr);
    Irbmc::Output output(STDOUT_FILENO);
    output.write(help.str());
    output.flush();
    return status == 0 ? Irbmc::exitDone : Irbmc::exitFailure;
}

int run(int argc, char** argv) {
    CLI::App app(
        "Multicast joins into routing state, on the desk: replays recordings through the "
        "state machine and shows the GMP status table that it writes.",
        "irbmc");
    app.set_version_flag("--version", "irbmc " IRBMC_VERSION);
    app.failure_message(failureMessage);
    app.require_subcommand(1);
    Irbmc::ReplayCommand replay(app);
    Irbmc::ShowCommand show(app);
    Irbmc::CheckCommand check(app);
    const std::array<Command*, 3> commands{&replay, &show, &check};
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return exitWithoutRunning(app, error);
    }
    for (Command* const command : commands) {
        if (command->isChosen()) return command->run();
    }
    return Irbmc::exitFailure;
}

}  // namespace

int main(int argc, char** argv) {
    // A reader that went away is reported by the write to it.
    std::signal(SIGPIPE, SIG_IGN);
    try {
        takeClosedStreams();
        return run(argc, argv);
    } catch (const std::exception& error) {
        std::cerr << "irbmc: " << Irbmc::Replay::printable(error.what()) << '\n';
        return Irbmc::exitFailure;
    }
}
