#include "CommandLine.h"

#include <vector>

#include "Nearest.h"

namespace Irbmc {

namespace {

std::vector<std::string> commandNames(const CLI::App& app) {
    std::vector<std::string> names;
    for (const CLI::App* const command : app.get_subcommands([](const CLI::App*) { return true; }))
        names.push_back(command->get_name());
    return names;
}

/// "--json", "-q": every option of a command as it is written.
std::vector<std::string> optionNames(const CLI::App& command) {
    std::vector<std::string> names;
    for (const CLI::Option* const option : command.get_options()) {
        for (const std::string& name : option->get_lnames())
            names.push_back("--" + name);
        for (const std::string& name : option->get_snames())
            names.push_back("-" + name);
    }
    return names;
}

/// " replay, show, check"
std::string listed(const std::vector<std::string>& names) {
    std::string text;
    for (const std::string& name : names)
        text += (text.empty() ? " " : ", ") + name;
    return text;
}

bool looksLikeAnOption(const std::string& word) {
    return word.size() > 1 && word.front() == '-';
}

/// Its name, without a value that is written behind it.
std::string nameOf(const std::string& option) {
    return option.substr(0, option.find('='));
}

}  // namespace

std::string noCommand(const CLI::App& app, const std::string& word) {
    const std::vector<std::string> names = commandNames(app);
    const std::string meant = suggestion(word, names);
    return "no command '" + word + "'" + (meant.empty() ? "; there are" + listed(names) : meant);
}

std::string refusal(const CLI::App& app, const CLI::ParseError& error) {
    const auto chosen = app.get_subcommands();
    const CLI::App& command = chosen.empty() ? app : *chosen.front();
    for (const std::string& word : app.remaining(true)) {
        if (looksLikeAnOption(word)) {
            const std::string name = nameOf(word);
            return "no option '" + name + "'" +
                   (chosen.empty() ? "" : " of " + command.get_name()) +
                   suggestion(name, optionNames(command));
        }
        if (chosen.empty()) return noCommand(app, word);
    }
    if (chosen.empty()) return "name a command:" + listed(commandNames(app));
    return error.what();
}

}  // namespace Irbmc
