#pragma once

#include <functional>

#include "Lumo/Notification.h"
#include "Rix/Export.h"

/// The order in which changes reach those who listen, for each thread's event loop by itself.
///
/// A change of an input is delivered at once, and runs to completion before the next: one that is
/// made from inside a reaction is delivered when the delivery under way has come to its end, in
/// the order in which such changes were made. What a reaction throws ends that one delivery; the
/// changes that wait are still delivered, and then the first error reaches whoever made the first
/// change.
namespace Lumo::Delivery {

/// Whether a delivery is under way on this thread.
RIX_EXPORT bool isUnderWay() noexcept;

/// Delivers a change now, whatever is under way, and, if nothing was, then the changes that
/// waited for it.
RIX_EXPORT void deliver(const Notification& change);

/// Lets a change wait until the delivery under way is done. There must be one.
/// @param delivery delivers the change; owns what it needs for that
RIX_EXPORT void postpone(std::function<void()> delivery);

}  // namespace Lumo::Delivery
