#pragma once

#include <functional>
#include <map>
#include <mutex>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "Toggle/FeatureToggle.h"

namespace Toggle {

/// What the process knows of its toggles. One object, which lives for ever; any thread may call it.
class Toggles {
  public:
    static Toggles& instance();

    std::string directory();
    void directoryIs(std::string directory);
    /// Writes "toggles: <path><what>" to standard error, unless something was written of that file.
    void report(const std::string& path, const std::string& what);

    void toggleIs(FeatureToggle& toggle);
    void toggleDel(FeatureToggle& toggle);
    std::vector<std::string> names();
    bool isKnown(std::string_view name);

    /// The toggle's state, read if nobody did, and kept in the object.
    bool read(FeatureToggle& toggle);
    void overrideIs(std::string_view name, bool on);
    void forget();

  private:
    using States = std::map<std::string, bool, std::less<>>;

    bool isKnownLocked(std::string_view name) const;

    // Held for a whole first read, so that a state is read once; the other mutex is taken inside.
    std::mutex statesMutex_;
    std::vector<FeatureToggle*> toggles_;
    /// By name: states in use, and overrides.
    States states_;
    States overrides_;

    std::mutex filesMutex_;
    std::string directory_;
    std::set<std::string> reported_;
};

}  // namespace Toggle
