#include "Lumo/TypeData.h"

#include <algorithm>
#include <mutex>
#include <string>
#include <utility>

#include "Lumo/ArgumentError.h"

namespace Lumo {

namespace {

/// Every type that the process knows. Never destroyed: objects may outlive static destruction.
struct Registry {
    std::mutex mutex;
    std::vector<const TypeData*> types;

    static Registry& instance() {
        static auto* registry = new Registry;
        return *registry;
    }
};

}  // namespace

TypeData::TypeData(std::string_view name, std::vector<Attribute> attributes,
                   std::vector<Operation> operations, Construct constructor)
    : name_(name),
      attributes_(std::move(attributes)),
      operations_(std::move(operations)),
      construct_(constructor) {
    Registry& registry = Registry::instance();
    const std::lock_guard lock(registry.mutex);
    registry.types.push_back(this);
}

const TypeData* TypeData::type(std::string_view name) {
    const auto known = types();
    const auto found = std::find_if(known.begin(), known.end(),
                                    [&](const TypeData* type) { return type->name() == name; });
    return found == known.end() ? nullptr : *found;
}

std::vector<const TypeData*> TypeData::types() {
    Registry& registry = Registry::instance();
    const std::lock_guard lock(registry.mutex);
    return registry.types;
}

std::string TypeData::attributeText(const Node& object, std::string_view attribute) const {
    for (const Attribute& candidate : attributes_) {
        if (candidate.name == attribute) return candidate.text(object);
    }
    throw ArgumentError(name_ + " has no attribute '" + std::string(attribute) + "'");
}

Ptr<Node> TypeData::construct(Arguments arguments) const {
    if (!construct_) throw ArgumentError(name_ + " cannot be made from an argument list");
    return construct_(arguments);
}

void TypeData::call(Node& object, std::string_view operation, Arguments arguments) const {
    for (const Operation& candidate : operations_) {
        if (candidate.name == operation) return candidate.call(object, arguments);
    }
    throw ArgumentError(name_ + " has no operation '" + std::string(operation) + "'");
}

TypeData::Allocations TypeData::allocations() const {
    return {live_.load(std::memory_order_relaxed), ever_.load(std::memory_order_relaxed),
            liveBytes_.load(std::memory_order_relaxed)};
}

void TypeData::allocated(std::size_t bytes) const noexcept {
    live_.fetch_add(1, std::memory_order_relaxed);
    ever_.fetch_add(1, std::memory_order_relaxed);
    liveBytes_.fetch_add(bytes, std::memory_order_relaxed);
}

void TypeData::released(std::size_t bytes) const noexcept {
    live_.fetch_sub(1, std::memory_order_relaxed);
    liveBytes_.fetch_sub(bytes, std::memory_order_relaxed);
}

void TypeData::allocationFailed(std::size_t bytes) const noexcept {
    released(bytes);
    ever_.fetch_sub(1, std::memory_order_relaxed);
}

}  // namespace Lumo
