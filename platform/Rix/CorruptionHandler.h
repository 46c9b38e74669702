#pragma once

#include <string_view>

#include "Rix/Export.h"

namespace Rix {

/// Takes the reports of damage that reading a shared table or set came upon. Owned by whoever
/// publishes that table; outlives it. Called on the thread of the one who reads.
class RIX_EXPORT CorruptionHandler {
  public:
    CorruptionHandler() = default;
    CorruptionHandler(const CorruptionHandler&) = delete;
    CorruptionHandler& operator=(const CorruptionHandler&) = delete;
    virtual ~CorruptionHandler() = default;

    /// @param message names the table, the entry and what is wrong with it
    virtual void onCorruption(std::string_view message) = 0;
};

/// Hands a message to `handler`, or writes it to standard error where there is none.
RIX_EXPORT void reportCorruption(CorruptionHandler* handler, std::string_view message);

}  // namespace Rix
