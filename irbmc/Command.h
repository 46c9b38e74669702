#pragma once

#include <CLI/CLI.hpp>
#include <string>

namespace Irbmc {

/// The exit statuses of every subcommand.
enum ExitStatus : int {
    exitDone = 0,
    /// What was to be checked does not hold.
    exitUnmet = 1,
    /// The command line is wrong, or what it names cannot be read or written.
    exitFailure = 2,
};

/// A subcommand: its options, which it adds to the command line when it is made, and what it does.
/// Lives as long as the command line's parser; one thread.
class Command {
  public:
    Command(const Command&) = delete;
    Command& operator=(const Command&) = delete;
    virtual ~Command() = default;

    /// Whether the command line names this subcommand.
    bool isChosen() const { return options_->parsed(); }
    /// Does what the command line says. Returns an exit status; failures to read or write are
    /// raised as exceptions whose message is for people.
    virtual int run() = 0;

  protected:
    Command(CLI::App& app, const std::string& name, const std::string& summary)
        : options_(app.add_subcommand(name, summary)) {}

    CLI::App& options() { return *options_; }

    /// Refuses an empty value: a shell gives one for a variable that is not set, and that must not
    /// count as an option that was not given.
    static CLI::Validator notEmpty() {
        return {[](const std::string& value) {
                    return std::string(value.empty() ? "must not be empty" : "");
                },
                ""};
    }

  private:
    CLI::App* options_;
};

}  // namespace Irbmc
