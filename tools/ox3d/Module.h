// Modules of commands that other commands do without, each from a package of its own.
#ifndef OX3D_TOOL_MODULE_H
#define OX3D_TOOL_MODULE_H

#include <filesystem>

namespace ox3d::tool {

// Beside the providers: "viewer/libox3d-viewer.so". Whether it is there or not.
std::filesystem::path ModuleFile(const char* name);
// A function of the module, which is loaded and never closed. `what` it is for begins the sentence where it is not there; the
// package has it. Throws CToolError.
void* LoadFromModule(const char* name, const char* symbol, const char* what, const char* package);

} // namespace ox3d::tool

#endif
