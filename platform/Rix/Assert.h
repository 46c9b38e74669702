// Assertions that stay in every build type.
#pragma once

#include "Rix/Export.h"

namespace Rix {

/// Prints "assertion failed: <text>, <file>:<line>" to standard error and aborts the process.
[[noreturn]] RIX_EXPORT void assertionFailed(const char* text, const char* file, int line) noexcept;

}  // namespace Rix

/// Ends the process when `condition` does not hold: a broken invariant, never a data condition.
/// The condition must have no side effect. It is checked in every build type.
#define RIX_ASSERT(condition) \
    (static_cast<bool>(condition) ? void() : ::Rix::assertionFailed(#condition, __FILE__, __LINE__))
