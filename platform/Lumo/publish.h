#pragma once

#include <optional>

#include "Lumo/Delivery.h"
#include "Lumo/Ptr.h"

namespace Lumo {

/// Tells the listeners of `owner` that the entry of a keyed attribute changed: at once, or after
/// the delivery under way. Nothing is allocated unless it has to wait.
/// @param previous the entry's value before, or null
template <class Key, class Value>
void publish(const Node& owner, FieldId attribute, const Key& key, const Value* previous) {
    if (!Delivery::isUnderWay()) {
        return Delivery::deliver({owner, attribute, &key, previous});
    }
    Delivery::postpone([kept = Ptr<const Node>(&owner), attribute, key,
                        before = previous ? std::optional<Value>(*previous) : std::nullopt] {
        Delivery::deliver({*kept, attribute, &key, before ? &*before : nullptr});
    });
}

/// The same for an entry of a collection of objects, whose previous object is not told.
template <class Key>
void publish(const Node& owner, FieldId attribute, const Key& key) {
    publish<Key, Key>(owner, attribute, key, nullptr);
}

/// The same for an attribute that is not keyed.
template <class Value>
void publishValue(const Node& owner, FieldId attribute, const Value& previous) {
    if (!Delivery::isUnderWay()) {
        return Delivery::deliver({owner, attribute, nullptr, &previous});
    }
    Delivery::postpone([kept = Ptr<const Node>(&owner), attribute, previous] {
        Delivery::deliver({*kept, attribute, nullptr, &previous});
    });
}

}  // namespace Lumo
