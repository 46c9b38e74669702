// The errors' destructors live here, so that each error has one type identity in every module.
#include "Rix/CorruptionError.h"
#include "Rix/NullArgumentError.h"
#include "Rix/RangeError.h"

namespace Rix {

RangeError::~RangeError() = default;
NullArgumentError::~NullArgumentError() = default;
CorruptionError::~CorruptionError() = default;

}  // namespace Rix
