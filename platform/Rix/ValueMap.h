#pragma once

#include "Rix/Collection.h"

namespace Rix {

/// A map of plain values: a Collection whose changes are published with the entry's previous
/// value.
template <class Key, class Value>
using ValueMap = Collection<Key, Value>;

}  // namespace Rix
