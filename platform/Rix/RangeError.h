#pragma once

#include <stdexcept>

#include "Rix/Export.h"

namespace Rix {

/// A value outside the range of the type that was to take it. The message names the type, the
/// attribute and the limit, for example "Bridging::VlanId::value < 1 or > 4094 not allowed".
/// Raised where the value is built; whatever was there before is unchanged.
class RIX_EXPORT RangeError : public std::range_error {
  public:
    using std::range_error::range_error;
    RangeError(const RangeError&) = default;
    RangeError& operator=(const RangeError&) = default;
    ~RangeError() override;
};

}  // namespace Rix
