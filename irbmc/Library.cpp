#include "Library.h"

#include <array>
#include <cstdlib>
#include <stdexcept>

namespace Irbmc {

std::filesystem::path installedLibrary() {
    if (const char* told = secure_getenv("IRBMC_LIBRARY"); told != nullptr && *told != '\0') {
        return told;
    }
    const auto root = std::filesystem::read_symlink("/proc/self/exe").parent_path().parent_path();
    // Debian keeps libraries in a folder for each architecture.
    const std::array<std::filesystem::path, 2> folders{root / "lib", root / IRBMC_LIBRARY_FOLDER};
    for (const auto& folder : folders) {
        auto file = folder / "libMembershipJoinStatusSm.so.0";
        if (std::filesystem::exists(file)) return file;
    }
    throw std::runtime_error("there is no libMembershipJoinStatusSm.so.0 in " +
                             folders.front().string() + "; --library or IRBMC_LIBRARY can name it");
}

}  // namespace Irbmc
