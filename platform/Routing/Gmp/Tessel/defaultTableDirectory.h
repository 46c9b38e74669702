#pragma once

#include <filesystem>

#include "Rix/Export.h"

namespace Routing::Gmp::Tessel {

/// Where an agent keeps its table unless it is told otherwise: /run/irbmc/table for root, and
/// irbmc/table in the user's own runtime directory (XDG_RUNTIME_DIR, or /run/user/UID where that is
/// not set or not to be believed) for everybody else. Nothing is made. From any thread.
RIX_EXPORT std::filesystem::path defaultTableDirectory();

}  // namespace Routing::Gmp::Tessel
