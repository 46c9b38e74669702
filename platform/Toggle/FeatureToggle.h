#pragma once

#include <atomic>
#include <string>
#include <string_view>
#include <vector>

#include "Rix/Export.h"

namespace Toggle {

/// A feature toggle of the library that defines it: an object with static storage, so that its name
/// is known to the process as soon as the library is loaded, and until it is unloaded. Its state is
/// read on first use and then kept for the life of the process; objects of the same name share it,
/// and so does a library that is loaded again. Any thread may call it.
class RIX_EXPORT FeatureToggle {
  public:
    /// @param file, name the texts must live as long as the object: literals
    FeatureToggle(std::string_view file, std::string_view name, bool defaultState);
    FeatureToggle(const FeatureToggle&) = delete;
    FeatureToggle& operator=(const FeatureToggle&) = delete;
    ~FeatureToggle();

    std::string_view file() const { return file_; }
    std::string_view name() const { return name_; }
    bool defaultState() const { return defaultState_; }

    /// What the process was told with overrideIs, else what the file says, see getToggleState.
    bool enabled() {
        const State state = state_.load(std::memory_order_relaxed);
        return state == State::unread ? firstRead() : state == State::on;
    }

  private:
    friend class Toggles;
    enum class State : unsigned char { unread, off, on };

    bool firstRead();

    const std::string_view file_;
    const std::string_view name_;
    const bool defaultState_;
    std::atomic<State> state_{State::unread};
};

/// The names of the toggles of all loaded libraries, sorted.
RIX_EXPORT std::vector<std::string> knownNames();
RIX_EXPORT bool isKnown(std::string_view name);

/// Sets a toggle for the process, whatever its file says.
/// @throws std::invalid_argument if no toggle of that name is known
/// @throws std::logic_error if its state was used already: it stays what it was
RIX_EXPORT void overrideIs(std::string_view name, bool on);

/// Drops every state read, every override and what was reported: the next use of a toggle reads it
/// again. For tests, and for whoever runs a recording as a fresh process would.
RIX_EXPORT void forget();

}  // namespace Toggle
