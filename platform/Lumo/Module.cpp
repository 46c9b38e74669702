#include "Lumo/Module.h"

#include <dlfcn.h>

#include <stdexcept>
#include <string>

namespace Lumo::Module {

void load(const std::filesystem::path& file) {
    void* library = dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (!library) throw std::runtime_error(dlerror());
    const auto types = reinterpret_cast<void (*)()>(dlsym(library, "lumoModuleTypes"));
    if (!types) {
        dlclose(library);
        throw std::runtime_error(file.string() + ": no module: it lacks lumoModuleTypes");
    }
    types();
}

}  // namespace Lumo::Module
