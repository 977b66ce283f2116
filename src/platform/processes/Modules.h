// Shared objects loaded at run time; "X.dll" means "X.so".
#pragma once

#include <string>

namespace platform {

using Module = void*;

std::string ModuleFileName(const std::string& name);        // "Twl1394api.so" for "Twl1394api.dll"
std::string ModulePath(const std::string& path);            // of the file that LoadLibraryA opens
[[nodiscard]] Module LoadLibraryA(const std::string& path); // null on failure, the reason in LastModuleError
[[nodiscard]] void* GetProcAddress(Module module, const char* name);
bool FreeLibrary(Module module);
const std::string& LastModuleError();

} // namespace platform
