#pragma once

#include <cstdint>
#include <ostream>
#include <string>

#include "Rix/Export.h"

namespace Routing::Gmp::Tessel {

/// The application that owns a status of the GMP status table. Any other 8-bit value is carried as
/// it is.
enum class App : std::uint8_t { none = 0, irb = 1, gmp = 2, staticJoin = 3 };

/// The application's text: "none", "irb", "gmp", "static", and "app<N>" for any other value N.
/// It is part of status names, so it never changes.
RIX_EXPORT std::string stringValue(App app);

inline std::ostream& operator<<(std::ostream& out, App app) {
    return out << stringValue(app);
}

}  // namespace Routing::Gmp::Tessel
