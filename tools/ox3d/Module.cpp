// Modules of commands that other commands do without.
#include "tools/ox3d/Module.h"

#include "tools/ox3d/ExitCode.h"
#include "tools/ox3d/Provider.h"

#include <dlfcn.h>

namespace ox3d::tool {

namespace fs = std::filesystem;

fs::path ModuleFile(const char* name) {
    return ProvidersFolder() / name;
}

void* LoadFromModule(const char* name, const char* symbol, const char* what, const char* package) {
    const fs::path file = ModuleFile(name);
    std::error_code ignored;
    if (!fs::exists(file, ignored)) {
        throw CToolError(EExitCode::File, std::string(what) + " is not installed: there is no " +
                                              file.string() + "; the package " + package + " has it");
    }
    void* const module = dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL);
    void* const found = module == nullptr ? nullptr : dlsym(module, symbol);
    if (found == nullptr) {
        const char* const reason = dlerror();
        throw CToolError(EExitCode::File,
                         std::string(what) + " cannot be loaded: " + (reason == nullptr ? "" : reason));
    }
    return found;
}

} // namespace ox3d::tool
