#pragma once

#include <stdexcept>
#include <string>
#include <string_view>

#include "Rix/Export.h"

namespace Rix {

/// A mutator that needs an object was given a null reference. Nothing was changed. The message is
/// "null argument for '<attribute>' of '<type>'".
class RIX_EXPORT NullArgumentError : public std::invalid_argument {
  public:
    /// @param attribute the attribute that was to take the object
    /// @param type      the type whose attribute it is
    NullArgumentError(std::string_view attribute, std::string_view type)
        : std::invalid_argument("null argument for '" + std::string(attribute) + "' of '" +
                                std::string(type) + "'") {}
    NullArgumentError(const NullArgumentError&) = default;
    NullArgumentError& operator=(const NullArgumentError&) = default;
    ~NullArgumentError() override;
};

}  // namespace Rix
