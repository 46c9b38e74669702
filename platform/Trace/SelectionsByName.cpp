#include "Trace/SelectionsByName.h"

#include <stdexcept>

namespace Trace {

namespace {

constexpr std::string_view separators = " \t\r\n;";

std::string quoted(std::string_view text) {
    std::string result = "'";
    result += text;
    result += '\'';
    return result;
}

void readEntry(std::string_view entry, SelectionsByName& result) {
    // The last slash ahead of the filter: a name may hold one, a list of levels cannot.
    const std::size_t slash = entry.substr(0, entry.find('@')).rfind('/');
    if (slash == 0 || slash == std::string_view::npos) {
        result.problems.push_back(quoted(entry) + " is not NAME/LEVELS");
        return;
    }
    try {
        const Selection more = Selection::parse(entry.substr(slash + 1));
        Selection& selection = result.selections[std::string(entry.substr(0, slash))];
        selection.levels = selection.levels | more.levels;
        selection.filter.add(more.filter);
    } catch (const std::invalid_argument& error) {
        result.problems.push_back(quoted(entry) + ": " + error.what());
    }
}

}  // namespace

SelectionsByName SelectionsByName::parse(std::string_view text) {
    SelectionsByName result;
    for (;;) {
        const std::size_t begin = text.find_first_not_of(separators);
        if (begin == std::string_view::npos) return result;
        const std::size_t end = std::min(text.find_first_of(separators, begin), text.size());
        readEntry(text.substr(begin, end - begin), result);
        text.remove_prefix(end);
    }
}

}  // namespace Trace
