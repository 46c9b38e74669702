#pragma once

#include <cstdint>
#include <span>
#include <variant>

#include "Lumo/Ptr.h"

namespace Lumo {

/// One argument of an operation that is called by its name: a number (flags and enumerations
/// too), a reference to an object that the callee may only read, or one that it may change. An
/// object that may be changed is accepted where one to be read is asked for.
using Argument = std::variant<std::uint64_t, Ptr<const Node>, Ptr<Node>>;
using Arguments = std::span<const Argument>;

}  // namespace Lumo
