#pragma once

#include <cstddef>
#include <new>

#include "Lumo/Node.h"
#include "Lumo/TypeData.h"

namespace Lumo {

/// What every concrete type of object derives from: it ties objects to the TypeData that the
/// static `Type::type()` returns, and counts them there. An object whose constructor fails is
/// uncounted again, as if it had never been.
///
/// @tparam Type the concrete type itself
/// @tparam Base Node or a base that derives from it
template <class Type, class Base = Node>
class Object : public Base {
  public:
    const TypeData& typeData() const override { return Type::type(); }

    static void* operator new(std::size_t bytes, Made) {
        const TypeData& type = Type::type();  // the first call may find no memory
        void* memory = ::operator new(bytes);
        type.allocated(bytes);
        return memory;
    }
    /// For the constructor that fails.
    static void operator delete(void* memory, Made) noexcept {
        Type::type().allocationFailed(sizeof(Type));
        ::operator delete(memory);
    }
    static void operator delete(void* memory, std::size_t bytes) noexcept {
        Type::type().released(bytes);
        ::operator delete(memory);
    }

  protected:
    using Base::Base;
};

}  // namespace Lumo
