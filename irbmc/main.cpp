#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <exception>
#include <new>
#include <sstream>
#include <string>
#include <system_error>

#include "CheckCommand.h"
#include "CommandLine.h"
#include "HelpCommand.h"
#include "Output.h"
#include "Replay/Streams.h"
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

/// Ends a command line that names nothing to run: one that asks for help, or a wrong one.
int exitWithoutRunning(const CLI::App& app, const CLI::ParseError& error) {
    if (error.get_exit_code() != 0) {
        Irbmc::Replay::tell("irbmc: " + Irbmc::refusal(app, error));
        Irbmc::Replay::tell("irbmc help and irbmc help COMMAND tell what it takes.");
        return Irbmc::exitFailure;
    }
    std::ostringstream help;
    app.exit(error, help);
    Irbmc::Output output(STDOUT_FILENO);
    output.write(help.str());
    output.flush();
    return Irbmc::exitDone;
}

int run(int argc, char** argv) {
    CLI::App app(
        "Multicast joins into routing state, on the desk: replays recordings through the "
        "state machine and shows the GMP status table that it writes.",
        "irbmc");
    app.set_version_flag("--version", "irbmc " IRBMC_VERSION);
    app.require_subcommand(1);
    Irbmc::ReplayCommand replay(app);
    Irbmc::ShowCommand show(app);
    Irbmc::CheckCommand check(app);
    Irbmc::HelpCommand help(app);
    const std::array<Command*, 4> commands{&replay, &show, &check, &help};
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
    } catch (const Irbmc::OutputError& error) {
        if (!error.isNobodyReading()) Irbmc::Replay::tell(std::string("irbmc: ") + error.what());
        return Irbmc::exitFailure;
    } catch (const std::bad_alloc&) {
        Irbmc::Replay::tell("irbmc: out of memory");
        return Irbmc::exitFailure;
    } catch (const std::exception& error) {
        Irbmc::Replay::tell(std::string("irbmc: ") + error.what());
        return Irbmc::exitFailure;
    }
}
