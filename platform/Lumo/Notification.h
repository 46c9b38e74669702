#pragma once

#include "Lumo/FieldId.h"
#include "Lumo/Node.h"

namespace Lumo {

/// One change, as those who listen are told of it. Lives only while it is delivered.
///
/// What `key` and `previous` point at has the type that the attribute's declaration names; read
/// them with keyAs and previousAs where the attribute is known.
struct Notification {
    /// The object that changed.
    const Node& publisher;
    FieldId attribute;
    /// The key of the entry that changed; null for an attribute that is not keyed.
    const void* key;
    /// The entry's or the attribute's value before the change; null where there was none, and for
    /// collections of objects.
    const void* previous;

    template <class Key>
    const Key& keyAs() const {
        return *static_cast<const Key*>(key);
    }
    template <class Value>
    const Value* previousAs() const {
        return static_cast<const Value*>(previous);
    }
};

}  // namespace Lumo
