#pragma once

#include <filesystem>

namespace Irbmc {

/// Where the state machine's library is: what the environment variable IRBMC_LIBRARY says, else
/// the one that was built or installed together with this executable.
/// @throws std::runtime_error if there is none, naming where it was looked for
std::filesystem::path installedLibrary();

}  // namespace Irbmc
