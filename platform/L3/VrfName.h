#pragma once

#include "Rix/String.h"

namespace L3 {

/// The name of a VRF: at most 100 bytes, any bytes. The empty name means "no VRF".
/// A longer name raises Rix::RangeError "Rix::String::bytes > maxLength() not allowed".
using VrfName = Rix::String<100>;

}  // namespace L3
