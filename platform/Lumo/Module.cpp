#include "Lumo/Module.h"

#include <dlfcn.h>

#include <stdexcept>
#include <string>

namespace Lumo::Module {

void load(const std::filesystem::path& file) {
    // A bare name would be looked for where the system keeps its libraries.
    const std::filesystem::path path = std::filesystem::absolute(file);
    void* library = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (!library) throw std::runtime_error(dlerror());
    const auto types = reinterpret_cast<void (*)()>(dlsym(library, "lumoModuleTypes"));
    if (!types) {
        dlclose(library);
        throw std::runtime_error(path.string() + ": no module: it lacks lumoModuleTypes");
    }
    types();
}

}  // namespace Lumo::Module
