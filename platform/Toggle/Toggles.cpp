#include "Toggle/Toggles.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

#include "Toggle/Toggle.h"
#include "Trace/StandardError.h"

namespace Toggle {

Toggles& Toggles::instance() {
    // Never destroyed: libraries may be unloaded, and toggles with them, at any time.
    static Toggles& toggles = *new Toggles;
    return toggles;
}

std::string Toggles::directory() {
    const std::lock_guard lock(filesMutex_);
    return directory_;
}

void Toggles::directoryIs(std::string directory) {
    const std::lock_guard lock(filesMutex_);
    directory_ = std::move(directory);
}

void Toggles::report(const std::string& path, const std::string& what) {
    const std::lock_guard lock(filesMutex_);
    if (reported_.insert(path).second) Trace::writeLine("toggles: " + path + what);
}

void Toggles::toggleIs(FeatureToggle& toggle) {
    const std::lock_guard lock(statesMutex_);
    toggles_.push_back(&toggle);
}

void Toggles::toggleDel(FeatureToggle& toggle) {
    const std::lock_guard lock(statesMutex_);
    std::erase(toggles_, &toggle);
}

std::vector<std::string> Toggles::names() {
    const std::lock_guard lock(statesMutex_);
    std::set<std::string, std::less<>> names;
    for (const FeatureToggle* toggle : toggles_)
        names.emplace(toggle->name());
    return {names.begin(), names.end()};
}

bool Toggles::isKnown(std::string_view name) {
    const std::lock_guard lock(statesMutex_);
    return isKnownLocked(name);
}

bool Toggles::isKnownLocked(std::string_view name) const {
    return std::any_of(toggles_.begin(), toggles_.end(),
                       [name](const FeatureToggle* toggle) { return toggle->name() == name; });
}

bool Toggles::read(FeatureToggle& toggle) {
    using State = FeatureToggle::State;
    const std::lock_guard lock(statesMutex_);
    auto state = states_.find(toggle.name());
    if (state == states_.end()) {
        const auto set = overrides_.find(toggle.name());
        const bool on = set != overrides_.end()
                            ? set->second
                            : getToggleState(toggle.file(), toggle.name(), toggle.defaultState());
        state = states_.emplace(toggle.name(), on).first;
    }
    toggle.state_.store(state->second ? State::on : State::off, std::memory_order_relaxed);
    return state->second;
}

void Toggles::overrideIs(std::string_view name, bool on) {
    const std::lock_guard lock(statesMutex_);
    if (!isKnownLocked(name)) {
        throw std::invalid_argument("no toggle has the name '" + std::string(name) + "'");
    }
    if (states_.contains(name)) {
        throw std::logic_error("the toggle '" + std::string(name) + "' is in use already");
    }
    overrides_.insert_or_assign(std::string(name), on);
}

void Toggles::forget() {
    const std::scoped_lock lock(statesMutex_, filesMutex_);
    states_.clear();
    overrides_.clear();
    reported_.clear();
    for (FeatureToggle* toggle : toggles_)
        toggle->state_.store(FeatureToggle::State::unread, std::memory_order_relaxed);
}

}  // namespace Toggle
