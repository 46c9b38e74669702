#pragma once

#include <stdexcept>

#include "Rix/Export.h"

namespace Rix {

/// A shared table or set found its own content damaged while it was read. Whoever reads catches
/// it, hands the message to that object's corruption handler and goes on with the default record.
class RIX_EXPORT CorruptionError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
    CorruptionError(const CorruptionError&) = default;
    CorruptionError& operator=(const CorruptionError&) = default;
    ~CorruptionError() override;
};

}  // namespace Rix
