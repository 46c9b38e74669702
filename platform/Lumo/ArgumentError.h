#pragma once

#include <stdexcept>

#include "Rix/Export.h"

namespace Lumo {

/// An operation called by its name does not exist, or was given too many or too few arguments, or
/// one of a kind or type that it does not take. Nothing was done. The message names the operation
/// and the argument.
class RIX_EXPORT ArgumentError : public std::invalid_argument {
  public:
    using std::invalid_argument::invalid_argument;
    ArgumentError(const ArgumentError&) = default;
    ~ArgumentError() override;
};

}  // namespace Lumo
