#include "Trace/Handle.h"

#include <cstdlib>
#include <map>
#include <stdexcept>
#include <utility>

#include "Trace/SelectionsByName.h"
#include "Trace/StandardError.h"

namespace Trace {

namespace {

std::string listed(const std::vector<std::string>& problems) {
    std::string text;
    for (const std::string& problem : problems)
        text += (text.empty() ? "" : "; ") + problem;
    return text;
}

void reportUnknownNames() {
    for (const std::string& name : Handle::unknownNames())
        writeLine("trace: IRBMC_TRACE names '" + name + "', a handle that nobody has");
}

SelectionsByName selectionsOfEnvironment() {
    const char* text = secure_getenv("IRBMC_TRACE");
    if (text == nullptr) return {};
    SelectionsByName result = SelectionsByName::parse(text);
    if (!result.problems.empty())
        writeLine("trace: malformed in IRBMC_TRACE: " + listed(result.problems));
    if (!result.selections.empty()) std::atexit(reportUnknownNames);
    return result;
}

struct Handles {
    std::mutex mutex;
    std::map<std::string, std::unique_ptr<Handle>, std::less<>> byName;
    SelectionsByName selected = selectionsOfEnvironment();

    /// What is to be written of a handle. Under the mutex.
    Selection selectionOf(std::string_view name) const {
        const auto found = selected.selections.find(name);
        return found == selected.selections.end() ? Selection() : found->second;
    }
};

Handles& handles() {
    // Never destroyed: static destructors may still trace.
    static Handles& all = *new Handles;
    return all;
}

}  // namespace

Handle::Handle(std::string_view name, const Selection& selection) : name_(name) {
    selectionIs(selection);
}

Handle& Handle::get(std::string_view name) {
    Handles& all = handles();
    const std::lock_guard lock(all.mutex);
    if (const auto found = all.byName.find(name); found != all.byName.end()) return *found->second;
    std::unique_ptr<Handle> handle(new Handle(name, all.selectionOf(name)));
    return *all.byName.emplace(name, std::move(handle)).first->second;
}

void Handle::selectionsAre(std::string_view text) {
    SelectionsByName selected = SelectionsByName::parse(text);
    if (!selected.problems.empty()) throw std::invalid_argument(listed(selected.problems));
    Handles& all = handles();
    const std::lock_guard lock(all.mutex);
    all.selected = std::move(selected);
    for (const auto& [name, handle] : all.byName)
        handle->selectionIs(all.selectionOf(name));
}

std::vector<std::string> Handle::unknownNames() {
    Handles& all = handles();
    const std::lock_guard lock(all.mutex);
    std::vector<std::string> names;
    for (const auto& [name, selection] : all.selected.selections) {
        if (!all.byName.contains(name)) names.push_back(name);
    }
    return names;
}

void Handle::selectionIs(const Selection& selection) {
    std::shared_ptr<const Filter> filter;
    if (selection.filter != Filter()) filter = std::make_shared<const Filter>(selection.filter);
    {
        const std::lock_guard lock(filterMutex_);
        filter_.swap(filter);
    }
    levelsIs(selection.levels);
}

std::shared_ptr<const Filter> Handle::filter() const {
    const std::lock_guard lock(filterMutex_);
    return filter_;
}

}  // namespace Trace
