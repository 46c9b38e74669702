#include "Trace/Handle.h"

#include <cstdlib>
#include <map>
#include <memory>
#include <mutex>

#include "Trace/LevelsByName.h"
#include "Trace/StandardError.h"

namespace Trace {

namespace {

LevelsByName levelsOfEnvironment() {
    const char* text = std::getenv("IRBMC_TRACE");
    if (text == nullptr) return {};
    LevelsByName result = LevelsByName::parse(text);
    if (!result.problems.empty()) {
        std::string message = "trace: malformed in IRBMC_TRACE: ";
        for (const std::string& problem : result.problems) {
            if (&problem != &result.problems.front()) message += "; ";
            message += problem;
        }
        writeLine(message);
    }
    return result;
}

struct Handles {
    std::mutex mutex;
    std::map<std::string, std::unique_ptr<Handle>, std::less<>> byName;
    const LevelsByName environment = levelsOfEnvironment();
};

Handles& handles() {
    // Never destroyed: static destructors may still trace.
    static Handles& all = *new Handles;
    return all;
}

}  // namespace

Handle& Handle::get(std::string_view name) {
    Handles& all = handles();
    const std::lock_guard lock(all.mutex);
    if (const auto found = all.byName.find(name); found != all.byName.end()) return *found->second;
    const auto set = all.environment.levels.find(name);
    const Levels levels = set == all.environment.levels.end() ? Levels() : set->second;
    std::unique_ptr<Handle> handle(new Handle(name, levels));
    return *all.byName.emplace(name, std::move(handle)).first->second;
}

}  // namespace Trace
