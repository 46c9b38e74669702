#pragma once

#include <filesystem>

#include "Rix/Export.h"

/// Shared libraries whose types can be made by name.
///
/// Such a library exports the C function `lumoModuleTypes`, which makes the TypeData of each of
/// its types known. A module is never unloaded: objects and type descriptions refer into it.
namespace Lumo::Module {

/// Loads a module, or does nothing if it is loaded already. Afterwards TypeData::type finds its
/// types.
/// @throws std::runtime_error naming the file, if it cannot be loaded or is no module
RIX_EXPORT void load(const std::filesystem::path& file);

}  // namespace Lumo::Module
