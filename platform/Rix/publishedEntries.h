// Changes of keyed attributes that are announced by the object that has them.
#pragma once

#include <cstddef>

#include "Lumo/TypeData.h"
#include "Lumo/publish.h"
#include "Rix/Collection.h"
#include "Rix/NullArgumentError.h"
#include "Rix/Optional.h"
#include "Rix/ValueMap.h"

namespace Rix {

/// Puts an object under its key, in place of any there, and publishes that; does nothing if it is
/// there already. There must be an object: see refuseNull.
template <class Key, class Object>
void publishedEntryIs(const Lumo::Node& owner, Lumo::FieldId attribute,
                      Collection<Key, Lumo::Ptr<Object>>& entries, const Key& key,
                      const Lumo::Ptr<Object>& object) {
    if (entries.get(key) == object) return;
    entries.valueIs(key, object);
    Lumo::publish(owner, attribute, key);
}

/// Removes the object under a key and publishes that; does nothing if there is none.
template <class Key, class Object>
void publishedEntryDel(const Lumo::Node& owner, Lumo::FieldId attribute,
                       Collection<Key, Lumo::Ptr<Object>>& entries, const Key& key) {
    const Lumo::Ptr<Object> removed = entries.del(key);
    if (removed) Lumo::publish(owner, attribute, key);
}

/// The error for a mutator of `attribute` that was given no object.
[[noreturn]] inline void refuseNull(const Lumo::TypeData& type, Lumo::FieldId attribute) {
    throw NullArgumentError(type.attributes().at(static_cast<std::size_t>(attribute)).name,
                            type.name());
}

/// Sets the value under a key and publishes that with the previous one; does nothing if it is the
/// same.
template <class Key, class Value>
void publishedValueIs(const Lumo::Node& owner, Lumo::FieldId attribute,
                      ValueMap<Key, Value>& values, const Key& key, const Value& value) {
    const Value* found = values.find(key);
    const Optional<Value> previous = found ? Optional<Value>(*found) : std::nullopt;
    if (previous == value) return;
    values.valueIs(key, value);
    Lumo::publish(owner, attribute, key, previous ? &*previous : nullptr);
}

/// Removes the value under a key and publishes that with the value; does nothing if there is none.
template <class Key, class Value>
void publishedValueDel(const Lumo::Node& owner, Lumo::FieldId attribute,
                       ValueMap<Key, Value>& values, const Key& key) {
    if (!values.contains(key)) return;
    const Value previous = values.del(key);
    Lumo::publish(owner, attribute, key, &previous);
}

}  // namespace Rix
