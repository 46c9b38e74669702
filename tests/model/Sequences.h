#pragma once

#include <rapidcheck.h>

#include <vector>

#include "model/Generator.h"

namespace model {

/// A generator of sequences of events that a model accepts, mostly on a planned fabric, of up to
/// thousands of events where RapidCheck's size is its nominal one. They shrink to fewer and plainer
/// events. Refers to the universe.
rc::Gen<std::vector<Event>> sequences(const Universe& universe, Toggles toggles);

/// Events, and all ways to make them fewer and plainer.
rc::Shrinkable<std::vector<Event>> shrinkable(std::vector<Event> events);

}  // namespace model
