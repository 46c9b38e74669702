#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "Lumo/Argument.h"
#include "Rix/Export.h"

namespace Lumo {

/// What the runtime knows about a type of object: its name, its attributes, what can be called by
/// name, and how many objects there are.
///
/// There is one for each type, made on the type's first use and kept for the life of the process.
/// Everything but the allocation statistics is constant; all may be read from any thread.
class RIX_EXPORT TypeData {
  public:
    /// An attribute, with a way to print its value in an object of the type.
    struct Attribute {
        std::string_view name;
        std::string (*text)(const Node& object);
    };
    /// An operation on an object of the type that can be called without the type's header.
    struct Operation {
        std::string_view name;
        void (*call)(Node& object, Arguments arguments);
    };
    /// Makes an object from an argument list, in the order of the type's own constructor.
    using Construct = Ptr<Node> (*)(Arguments arguments);

    /// How many objects of the type there are, how many there ever were, and the bytes that the
    /// objects themselves take now.
    struct Allocations {
        std::uint64_t live;
        std::uint64_t ever;
        std::uint64_t liveBytes;
    };

    explicit TypeData(std::string_view name, std::vector<Attribute> attributes = {},
                      std::vector<Operation> operations = {}, Construct constructor = nullptr);
    TypeData(const TypeData&) = delete;
    TypeData& operator=(const TypeData&) = delete;

    /// The type of that full name, or null if no object of it was ever made and no module that
    /// holds it is loaded.
    static const TypeData* type(std::string_view name);
    /// Every type known so far, in the order in which they became known.
    static std::vector<const TypeData*> types();

    const std::string& name() const { return name_; }
    const std::vector<Attribute>& attributes() const { return attributes_; }
    const std::vector<Operation>& operations() const { return operations_; }
    /// The value of the attribute of that name in an object of this type.
    /// @throws ArgumentError if the type has no such attribute
    std::string attributeText(const Node& object, std::string_view attribute) const;

    /// Makes an object; the caller owns it.
    /// @throws ArgumentError if the type cannot be made so, or not from these arguments, and
    ///         whatever the type's constructor raises
    Ptr<Node> construct(Arguments arguments) const;
    /// Calls the operation of that name on an object of this type.
    /// @throws ArgumentError if there is none, or it does not take these arguments, and whatever
    ///         the operation raises
    void call(Node& object, std::string_view operation, Arguments arguments) const;

    Allocations allocations() const;
    /// For Lumo::Object alone: counts an object that comes or goes.
    void allocated(std::size_t bytes) const noexcept;
    void released(std::size_t bytes) const noexcept;
    /// For Lumo::Object alone: takes back the count of an object whose constructor failed.
    void allocationFailed(std::size_t bytes) const noexcept;

  private:
    const std::string name_;
    const std::vector<Attribute> attributes_;
    const std::vector<Operation> operations_;
    const Construct construct_;
    mutable std::atomic<std::uint64_t> live_{0};
    mutable std::atomic<std::uint64_t> ever_{0};
    mutable std::atomic<std::uint64_t> liveBytes_{0};
};

}  // namespace Lumo
