#pragma once

#include <cstdint>

namespace Lumo {

/// The identity of an attribute of a type: its place among the type's attributes, from 0, in
/// declaration order (see TypeData::attributes). Unique within one type.
enum class FieldId : std::uint16_t {};

}  // namespace Lumo
