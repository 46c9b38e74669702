#pragma once

#include <optional>

namespace Rix {

/// A value that may be absent: the value and a presence flag.
template <class Value>
using Optional = std::optional<Value>;

}  // namespace Rix
