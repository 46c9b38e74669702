#pragma once

#include <cstddef>
#include <limits>
#include <string_view>
#include <type_traits>

#include "Lumo/Argument.h"
#include "Lumo/TypeData.h"
#include "Rix/Export.h"

namespace Lumo {

/// Takes the arguments of an operation that is called by its name, one after the other, each as
/// the type that the operation wants. Lives on the stack of such a call.
class RIX_EXPORT ArgumentReader {
  public:
    /// @param operation the operation's name, for messages
    /// @param count how many arguments it takes
    /// @throws ArgumentError if there are not `count` arguments
    ArgumentReader(std::string_view operation, Arguments arguments, std::size_t count);

    /// The next argument as a number that fits `Number`: an integer, an enumeration or bool.
    /// @throws ArgumentError if it is a reference, or does not fit
    template <class Number>
    Number number() {
        if constexpr (std::is_enum_v<Number>) {
            return static_cast<Number>(number<std::underlying_type_t<Number>>());
        } else {
            return static_cast<Number>(numberUpTo(std::numeric_limits<Number>::max()));
        }
    }

    /// The next argument as a reference to an `Object`; null stays null.
    /// @throws ArgumentError if it is a number, an object of another type, or one that may only be
    ///         read where `Object` is not const
    template <class Object>
    Ptr<Object> reference() {
        const auto node = nodeFor(std::is_const<Object>{});
        Ptr<Object> object = dynamicCast<Object>(node);
        if (node && !object) refuse(node->typeData().name());
        return object;
    }

  private:
    const Argument& next();
    std::uint64_t numberUpTo(std::uint64_t limit);
    Ptr<const Node> nodeFor(std::true_type readOnly);
    Ptr<Node> nodeFor(std::false_type readOnly);
    [[noreturn]] void refuse(std::string_view given) const;

    std::string_view operation_;
    Arguments arguments_;
    std::size_t taken_ = 0;
};

}  // namespace Lumo
