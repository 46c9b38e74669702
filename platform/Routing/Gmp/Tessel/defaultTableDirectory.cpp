#include "Routing/Gmp/Tessel/defaultTableDirectory.h"

#include <unistd.h>

#include <cstdlib>
#include <string>

namespace Routing::Gmp::Tessel {

std::filesystem::path defaultTableDirectory() {
    constexpr const char* below = "irbmc/table";
    const uid_t user = geteuid();
    if (user == 0) return std::filesystem::path("/run") / below;
    const char* const told = secure_getenv("XDG_RUNTIME_DIR");
    const std::filesystem::path runtime = told == nullptr ? "" : told;
    // A relative path is to be taken for none.
    if (runtime.is_absolute()) return runtime / below;
    return std::filesystem::path("/run/user") / std::to_string(user) / below;
}

}  // namespace Routing::Gmp::Tessel
